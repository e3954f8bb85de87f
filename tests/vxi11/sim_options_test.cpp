// qdx-sim's VXI-11 options, and the front end's refusals at start.
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qdx_sim.h"
#include "vxi11_server.h"

namespace {

TEST(Vxi11SimOptions, CommandLineSelectsPortsAndThePortmapperDefault) {
  const int rootDefault = geteuid() == 0 ? 111 : 0;  // 111 needs root
  struct Case {
    std::vector<std::string> args;
    bool enabled;
    int core;
    int portmap;
  };
  const Case cases[] = {
      {{}, false, 0, 0},
      {{"--vxi11"}, true, 0, rootDefault},
      {{"--vxi11", "--portmap-port", "0"}, true, 0, 0},
      {{"--vxi11-port=4000"}, true, 4000, rootDefault},
      {{"--portmap-port", "4111", "--vxi11-port", "4000"}, true, 4000, 4111},
  };
  for (const Case& c : cases) {
    qdxsim::Config config;
    bool help = false;
    std::string error;
    ASSERT_TRUE(qdxsim::parseCommandLine(c.args, config, help, error)) << error;
    EXPECT_EQ(config.vxi11.enabled, c.enabled);
    EXPECT_EQ(config.vxi11.corePort, c.core);
    EXPECT_EQ(config.vxi11.portmapPort, c.portmap);
  }
  struct Bad {
    std::vector<std::string> args;
    std::string error;
  };
  const Bad bad[] = {
      {{"--vxi11-port", "65536"}, "bad value '65536' for --vxi11-port"},
      {{"--portmap-port", "-1"}, "bad value '-1' for --portmap-port"},
      {{"--vxi11", "--serial-pty"},
       "--vxi11 serves next to the TCP front end and cannot be combined with --serial-pty"},
  };
  for (const Bad& b : bad) {
    qdxsim::Config config;
    bool help = false;
    std::string error;
    EXPECT_FALSE(qdxsim::parseCommandLine(b.args, config, help, error));
    EXPECT_EQ(error, b.error);
  }
  EXPECT_NE(qdxsim::usageText().find("--vxi11"), std::string::npos);
}

TEST(Vxi11SimOptions, FrontEndRefusesToStartWithoutItsEmulatorOrOnATakenPort) {
  qdxsim::Config config;
  config.port = 0;
  config.vxi11.portmapPort = 0;
  qdxsim::Emulator emulator(config);
  qdxsim::Vxi11Server idle(emulator, config);
  std::string error;
  EXPECT_FALSE(idle.start(&error));
  EXPECT_EQ(error, "the VXI-11 front end needs the emulator to be running");

  ASSERT_TRUE(emulator.start(&error)) << error;
  qdxsim::Vxi11Server first(emulator, config);
  ASSERT_TRUE(first.start(&error)) << error;
  EXPECT_NE(first.corePort(), 0);
  EXPECT_NE(first.portmapPort(), 0);
  config.vxi11.portmapPort = first.portmapPort();
  qdxsim::Vxi11Server second(emulator, config);
  EXPECT_FALSE(second.start(&error));
  EXPECT_EQ(error.rfind("cannot listen on 127.0.0.1:" + std::to_string(first.portmapPort()) +
                            " for the portmapper: ",
                        0),
            0u)
      << error;
  EXPECT_EQ(second.corePort(), 0);
  first.stop();
  EXPECT_EQ(first.corePort(), 0);
  first.stop();  // twice is harmless
}

}  // namespace
