// Helpers of the C interface tests: veqdx.h only, simulated or on an emulator on loopback.
#pragma once
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "qdx_sim.h"
#include "veqdx.h"

namespace capi_test {

using Lines = std::vector<std::string>;

constexpr const char* kSimResource = "TCPIP::localhost::INSTR";

// What veqdx_GetError returns for `vi` (VI_NULL: the calling thread's record).
struct Recorded {
  ViStatus code = 0;
  std::string text;
};

inline Recorded LastError(ViSession vi) {
  Recorded r;
  const ViStatus needed = veqdx_GetError(vi, &r.code, 0, nullptr);
  if (needed <= 0) return r;
  std::vector<ViChar> text(static_cast<std::size_t>(needed));
  veqdx_GetError(vi, &r.code, needed, text.data());
  r.text = text.data();
  return r;
}

// An emulated supply: a single unit of `model` ("Output0") without `channels`, else a
// multi-channel unit whose channels 1..n are of these models.
class Sim : public qdxsim::Emulator {
 public:
  explicit Sim(const std::vector<std::string>& channels = {}, const std::string& model = "QDX750ML")
      : Emulator(MakeConfig(channels, model)) {
    started = Start(&error);
  }
  std::string Resource() const {
    return "TCPIP::127.0.0.1::" + std::to_string(Port()) + "::SOCKET";
  }
  // Every message received since the last call. The emulator logs a command when it has
  // handled it, which may be a moment after the driver's call returned: this waits (at most two
  // seconds) for `atLeast` messages, then a little longer so that one beyond them shows too.
  Lines Transcript(std::size_t atLeast = 0) {
    using namespace std::chrono_literals;
    Lines lines = TakeTranscript();
    auto append = [&] {
      for (std::string& line : TakeTranscript()) lines.push_back(std::move(line));
    };
    const auto deadline = std::chrono::steady_clock::now() + 2s;
    while (lines.size() < atLeast && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(1ms);
      append();
    }
    std::this_thread::sleep_for(15ms);
    append();
    return lines;
  }
  bool started = false;
  std::string error;

 private:
  static qdxsim::Config MakeConfig(const std::vector<std::string>& channels,
                                   const std::string& model) {
    qdxsim::Config config;
    config.model = channels.empty() ? model : channels.front();
    config.port = 0;
    for (const std::string& m : channels)
      config.channels.push_back({static_cast<int>(config.channels.size()) + 1, m});
    return config;
  }
};

// A session closed after the test; EmulatedSession's transcript starts empty after Open().
class Session : public testing::Test {
 protected:
  void TearDown() override {
    if (vi != VI_NULL) veqdx_close(vi);
  }
  ViSession vi = VI_NULL;
};

class SimulatedSession : public Session {
 protected:
  void SetUp() override {
    ASSERT_EQ(veqdx_InitWithOptions(kSimResource, 0, 0, "Simulate=true", &vi), VI_SUCCESS)
        << LastError(VI_NULL).text;
  }
};

class EmulatedSession : public Session {
 protected:
  // A single unit of `model`, or one with `channels` channels of it.
  void Open(const std::string& model = "QDX750ML", int channels = 0) {
    OpenChannels(std::vector<std::string>(channels, model), model);
  }
  void OpenChannels(const std::vector<std::string>& channels, const std::string& model = "") {
    sim = std::make_unique<Sim>(channels, model);
    ASSERT_TRUE(sim->started) << sim->error;
    ASSERT_EQ(veqdx_init(sim->Resource().c_str(), VI_TRUE, VI_FALSE, &vi), VI_SUCCESS)
        << LastError(VI_NULL).text;
    sim->Transcript();
  }
  Lines Wire(std::size_t expected = 0) { return sim->Transcript(expected); }
  std::unique_ptr<Sim> sim;
};

// Expects exactly these messages on the wire since the last look (a braced list is fine).
#define EXPECT_WIRE(...)                              \
  do {                                                \
    const ::capi_test::Lines expected_ = __VA_ARGS__; \
    EXPECT_EQ(Wire(expected_.size()), expected_);     \
  } while (0)

}  // namespace capi_test
