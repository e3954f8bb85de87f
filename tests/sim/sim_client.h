// A plain socket client for the emulator tests: every read has a timeout, so a missing reply
// fails a test instead of hanging it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qdx_sim.h"

namespace qdxsim {
class SerialPtyServer;
}  // namespace qdxsim

namespace qdxsim::test {

using namespace std::chrono_literals;

// A client of any front end, for tests that run over each of them.
class LineClient {
 public:
  virtual ~LineClient() = default;
  // Sends one message with a line feed.
  virtual bool send(std::string_view message) = 0;
  // The reply bytes that come next (one recv or read); nullopt when none come within
  // `timeout`, nullopt or "" when the link is gone.
  virtual std::optional<std::string> readSome(std::chrono::milliseconds timeout) = 0;
  // One reply line without its line feed; nullopt on timeout.
  std::optional<std::string> readLine(std::chrono::milliseconds timeout = 2000ms);
  std::string query(std::string_view message, std::chrono::milliseconds timeout = 2000ms);

 private:
  std::string buffer_;
};

// A plain socket client of the emulator.
class SimClient : public LineClient {
 public:
  explicit SimClient(int port);
  ~SimClient() override;
  SimClient(const SimClient&) = delete;
  SimClient& operator=(const SimClient&) = delete;

  bool connected() const { return fd_ >= 0; }
  bool send(std::string_view message) override;
  bool sendRaw(std::string_view bytes);
  // The bytes of one recv() call; nullopt on timeout, "" when the peer closed.
  std::optional<std::string> readSome(std::chrono::milliseconds timeout) override;
  // True when the peer closes the connection within `timeout` (pending data is skipped).
  bool waitForClose(std::chrono::milliseconds timeout);
  // Pops the error queue until it is empty: entries like -222,"Data out of range".
  std::vector<std::string> errors();

 private:
  int fd_ = -1;
};

// Runs an emulator on a free loopback port for one test.
class EmulatorFixture : public ::testing::Test {
 protected:
  void startWith(Config config);
  void TearDown() override;
  std::unique_ptr<SimClient> connect();
  // startWith(config), then one connected client.
  std::unique_ptr<SimClient> startAndConnect(Config config);

  std::unique_ptr<Emulator> emulator_;
};

// A config for tests: free loopback port, everything else default.
Config testConfig(std::string model = "QDX750ML", std::vector<ChannelSpec> channels = {});

// A client on the terminal side of the pseudo-terminal at `path`, opened as a serial port is.
std::unique_ptr<LineClient> connectPty(const std::string& path);

enum class FrontEnd { Socket, SerialPty };
const char* nameOf(FrontEnd kind);

// An emulator reached over one front end: the raw socket or a serial pseudo-terminal sharing
// its instrument and faults.
class FrontEndBench {
 public:
  explicit FrontEndBench(FrontEnd kind, Config config = testConfig());
  ~FrontEndBench();
  FrontEndBench(const FrontEndBench&) = delete;
  FrontEndBench& operator=(const FrontEndBench&) = delete;

  bool started() const { return started_; }
  const std::string& error() const { return error_; }
  Emulator& emulator() { return *emulator_; }
  std::unique_ptr<LineClient> connect();
  // Stops the front end and the emulator behind it.
  void stop();

 private:
  FrontEnd kind_;
  std::unique_ptr<Emulator> emulator_;
  std::unique_ptr<SerialPtyServer> pty_;
  bool started_ = false;
  std::string error_;
};

// Descriptors this process holds once the count has been `expected`, or has waited 5 s for
// it, and then not changed for 200 ms (the emulator runs in-process and closes its side of a
// connection a moment after the client).
int settledDescriptors(int expected = -1);

}  // namespace qdxsim::test
