// Only the I/O lock keeps an output's selection and command together against other threads.
#include <cstdio>
#include <thread>

#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

class ThreadsTest : public SystemOnDevice {};

TEST_F(ThreadsTest, ConcurrentOutputsAndDriverWideTrafficNeverSplitASelection) {
  OpenTwoChannels();
  device->OnQuery("*STB?", "80\n");
  constexpr int kRounds = 200;
  IVelmoraQdxStatusStatusByte* stb = nullptr;
  ASSERT_EQ(status.get_StatusByte(&stb), S_OK);
  for (VARIANT_BOOL cache : {VARIANT_TRUE, VARIANT_FALSE}) {
    ASSERT_EQ(driver.put_Cache(cache), S_OK);
    device->ClearWritten();
    auto drive = [this](const char* name, int channel) {
      for (int i = 0; i < kRounds; ++i)
        EXPECT_EQ(Out(name).put_VoltageLevel(channel * 10 + i % 7), S_OK) << LastError();
    };
    std::thread one(drive, "Output1", 1);
    std::thread two(drive, "Output2", 2);
    for (int i = 0; i < kRounds; ++i) {
      std::uint8_t value = 0;
      EXPECT_EQ(stb->get_ConditionRegister(&value), S_OK) << LastError();
      EXPECT_EQ(value, 80);
      EXPECT_EQ(trigger.Abort(), S_OK) << LastError();
    }
    one.join();
    two.join();

    int selected = -1;
    int commands = 0;
    for (const std::string& line : device->Written()) {
      int n = 0;
      if (std::sscanf(line.c_str(), ":INST:NSEL %d", &n) == 1) {
        selected = n;
      } else if (std::sscanf(line.c_str(), ":VOLT %d", &n) == 1) {
        ++commands;
        ASSERT_EQ(n / 10, selected) << line;
      }
    }
    EXPECT_GT(commands, 2);
    EXPECT_EQ(device->PendingOutput(), 0u);
  }
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
