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

namespace qdxsim::test {

using namespace std::chrono_literals;

class SimClient {
 public:
  explicit SimClient(int port);
  ~SimClient();
  SimClient(const SimClient&) = delete;
  SimClient& operator=(const SimClient&) = delete;

  bool connected() const { return fd_ >= 0; }
  // Sends `message` plus a line feed.
  bool send(std::string_view message);
  bool sendRaw(std::string_view bytes);
  // One reply line without its line feed; nullopt on timeout or when the peer closed.
  std::optional<std::string> readLine(std::chrono::milliseconds timeout = 2000ms);
  // Sends and reads one line; "<no reply>" when none came in time.
  std::string query(std::string_view message, std::chrono::milliseconds timeout = 2000ms);
  // The bytes of one recv() call; nullopt on timeout, "" when the peer closed.
  std::optional<std::string> readSome(std::chrono::milliseconds timeout);
  // True when the peer closes the connection within `timeout` (pending data is skipped).
  bool waitForClose(std::chrono::milliseconds timeout);
  // Pops the error queue until it is empty: entries like -222,"Data out of range".
  std::vector<std::string> errors();

 private:
  int fd_ = -1;
  std::string buffer_;
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

}  // namespace qdxsim::test
