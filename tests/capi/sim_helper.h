// An emulated supply for the C interface tests, so that the test files themselves see nothing
// but veqdx.h and gtest. Wraps an in-process qdx-sim on a free loopback port.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace capi_test {

class Sim {
 public:
  // `channels` 0: a single unit (one output, "Output0"); n > 0: a multi-channel unit with
  // channels 1..n of `model`.
  explicit Sim(const std::string& model = "QDX750ML", int channels = 0);
  // A multi-channel unit whose channels 1..n are of these models.
  explicit Sim(const std::vector<std::string>& channelModels);
  ~Sim();
  Sim(const Sim&) = delete;
  Sim& operator=(const Sim&) = delete;

  bool started() const;
  const std::string& error() const;
  // "TCPIP::127.0.0.1::<port>::SOCKET"
  std::string Resource() const;
  // Every message received since the last call, without line feeds. The emulator logs a
  // message when it has handled it, which for a command may be a moment after the driver's
  // call returned: this waits (at most two seconds) until `atLeast` messages are there, then
  // a little longer so that a message beyond them is seen too.
  std::vector<std::string> Transcript(std::size_t atLeast = 0);

  // Faults and test controls of the emulated instrument.
  void Garbage(const std::string& match, const std::string& reply);
  void Silent(const std::string& match);
  void ClearFaults();
  void RaiseAlarm(int channel, std::uint16_t questionableBits);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace capi_test
