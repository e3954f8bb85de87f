// Driver-wide members from one thread and per-output members from another: the root's and
// the output's node locks are different, so only the I/O lock keeps an output's channel
// selection and its command together on the wire.
#include <thread>

#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

class ThreadsTest : public SystemOnDevice {};

TEST_F(ThreadsTest, DriverWideTrafficNeverSplitsASelectionFromItsCommand) {
  OpenTwoChannels("Cache=false");  // every output command then selects its channel
  device->OnQuery("*STB?", "80\n");
  constexpr int kRounds = 300;

  std::thread outputs([&] {
    for (int i = 0; i < kRounds; ++i) {
      EXPECT_EQ(Output(i % 2 ? "Output1" : "Output2").put_VoltageLevel(1 + i % 7), S_OK)
          << LastError();
    }
  });
  IVelmoraQdxStatusStatusByte* stb = nullptr;
  ASSERT_EQ(status.get_StatusByte(&stb), S_OK);
  for (int i = 0; i < kRounds; ++i) {
    std::uint8_t value = 0;
    EXPECT_EQ(stb->get_ConditionRegister(&value), S_OK) << LastError();
    EXPECT_EQ(value, 80);
    EXPECT_EQ(trigger.Initiate(), S_OK) << LastError();
    EXPECT_EQ(global.put_CurrentLimit(1), S_OK) << LastError();
  }
  outputs.join();

  const Lines written = device->Written();
  ASSERT_EQ(written.size(), static_cast<std::size_t>(5 * kRounds));
  for (std::size_t i = 0; i < written.size(); ++i) {
    const std::string& m = written[i];
    if (m.starts_with(":INST:NSEL")) {
      ASSERT_LT(i + 1, written.size());
      EXPECT_TRUE(written[i + 1].starts_with(":VOLT ")) << "after " << m << ": " << written[i + 1];
    } else if (m.starts_with(":VOLT ")) {
      EXPECT_TRUE(i > 0 && written[i - 1].starts_with(":INST:NSEL")) << m << " without selection";
    }
  }
  EXPECT_EQ(device->PendingOutput(), 0u);
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
