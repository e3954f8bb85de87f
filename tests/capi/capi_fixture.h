// Shared helpers of the C interface tests: sessions opened through veqdx.h, simulated or on an
// in-process emulator, and the recorded errors read back the way an application reads them.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sim_helper.h"
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

// A simulated session, opened by every test of the fixture.
class SimulatedSession : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", &vi),
              VI_SUCCESS)
        << LastError(VI_NULL).text;
  }
  void TearDown() override {
    if (vi != VI_NULL) veqdx_close(vi);
  }
  ViSession vi = VI_NULL;
};

// A session on an emulated supply; Open() starts both. The transcript starts empty after
// initialization.
class EmulatedSession : public testing::Test {
 protected:
  void Open(const std::string& model = "QDX750ML", int channels = 0,
            const char* options = "") {
    Start(std::make_unique<Sim>(model, channels), options);
  }
  void Start(std::unique_ptr<Sim> emulator, const char* options = "") {
    sim = std::move(emulator);
    ASSERT_TRUE(sim->started()) << sim->error();
    ASSERT_EQ(veqdx_InitWithOptions(sim->Resource().c_str(), VI_TRUE, VI_FALSE, options, &vi),
              VI_SUCCESS)
        << LastError(VI_NULL).text;
    sim->Transcript();
  }
  void TearDown() override {
    if (vi != VI_NULL) veqdx_close(vi);
  }
  // The messages the emulator received since the last look, waiting for `expected` of them.
  Lines Wire(std::size_t expected = 0) { return sim->Transcript(expected); }

  std::unique_ptr<Sim> sim;
  ViSession vi = VI_NULL;
};

// Expects exactly these messages on the wire since the last look (a braced list is fine).
#define EXPECT_WIRE(...)                       \
  do {                                         \
    const ::capi_test::Lines expected_ = __VA_ARGS__; \
    EXPECT_EQ(Wire(expected_.size()), expected_); \
  } while (0)

}  // namespace capi_test
