// Identity properties, the call context and the enum formatter (the driver's constant texts
// and the simulated identity through the C attributes: tests/capi).
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "base/call_context.h"
#include "dcpwr/output_factory.h"
#include "driver_fixture.h"
#include "io/formatted_io.h"
#include "veqdx/enums.h"

namespace veqdx::testing {
namespace {

TEST_F(DriverOnDevice, InstrumentIdentityBeforeInitializeAndFromTheReply) {
  auto identity = [&] {
    return Get(driver, &CDriver::get_InstrumentManufacturer) + "|" +
           Get(driver, &CDriver::get_InstrumentModel) + "|" +
           Get(driver, &CDriver::get_InstrumentFirmwareRevision) + "|" +
           Get(driver, &CDriver::get_Identifier);
  };
  EXPECT_EQ(identity(), "|||VelmoraQdx");
  ScriptSingleUnit(*device, "QDX750MH");
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(identity(), "Velmora|QDX750MH|2.1.0|VelmoraQdx");
  EXPECT_EQ(driver.get_InstrumentFirmwareRevision(nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(LastError(), "VelmoraQdx: Null pointer passed for method "
                         "get_InstrumentFirmwareRevision, parameter val.\r\n");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverIdentity");
  EXPECT_EQ(driver.get_SpecificationMinorVersion(nullptr), E_IVI_NULL_POINTER);
}

TEST(CallContext, KeysAndNesting) {
  EXPECT_EQ(CContextKeyText(CurrentCallContext()).view(), "");
  EXPECT_EQ(CContextKeyText("IVelmoraQdxOutput", "put_VoltageLevel").view(), "IVelmoraQdxOutput.VoltageLevel");
  EXPECT_EQ(CContextKeyText("IVelmoraQdxOutput", "get_VoltageLevel").view(), "IVelmoraQdxOutput.VoltageLevel");
  EXPECT_EQ(CContextKeyText("IVelmoraQdxOutput", "Measure").view(), "IVelmoraQdxOutput.Measure");
  {
    CCallContextGuard outer("IIviDriver", "Initialize");
    {
      CCallContextGuard inner("IIviDriverUtility", "Reset");
      EXPECT_EQ(CContextKeyText(CurrentCallContext()).view(), "IIviDriverUtility.Reset");
      EXPECT_EQ(CallContextDepth(), 2u);
    }
    EXPECT_EQ(CurrentInterfaceName(), "IIviDriver");
    EXPECT_EQ(CurrentMemberName(), "Initialize");
  }
  EXPECT_EQ(CallContextDepth(), 0u);
}

TEST(CallContext, EachThreadSeesItsOwn) {
  std::latch bothInside(2);
  std::string seen[2];
  auto run = [&](int i, const char* member) {
    CCallContextGuard guard("IVelmoraQdxOutput", member);
    bothInside.arrive_and_wait();
    seen[i] = std::string(CContextKeyText(CurrentCallContext()).view());
  };
  std::thread a(run, 0, "put_VoltageLevel");
  std::thread b(run, 1, "put_CurrentLimit");
  a.join();
  b.join();
  EXPECT_EQ(seen[0], "IVelmoraQdxOutput.VoltageLevel");
  EXPECT_EQ(seen[1], "IVelmoraQdxOutput.CurrentLimit");
}

// The call context selects the converter table; the formatted I/O engine reaches the same
// converters through the session.
TEST(EnumFormatter, ConvertsByContextAndReportsFailures) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  ASSERT_EQ(OpenSimulated(d), S_OK);
  std::string keyword;
  for (const auto& [interface, member, expected] :
       {std::tuple{"IVelmoraQdxOutputExternalControl", "put_CCControlEnabled", "VOLT"},
        std::tuple{"IVelmoraQdxOutput", "put_Enabled", "1"}}) {
    CCallContextGuard guard(interface, member);
    ASSERT_EQ(d.FormatEnum("VARIANT_BOOL", VARIANT_TRUE, keyword), S_OK);
    EXPECT_EQ(keyword, expected);
  }
  CCallContextGuard guard("IVelmoraQdxOutput", "put_PONState");
  std::int32_t value = -1;
  ASSERT_EQ(d.ParseEnum("PONState", " SAFE \n", value), S_OK);
  EXPECT_EQ(value, 0);
  std::string command;
  ASSERT_EQ(d.Io().Formatted().Sprintf(command, ":OUTP:PON %{VelmoraQdxPONStateEnum}s",
                                       VelmoraQdxPONStateAuto),
            S_OK);
  EXPECT_EQ(command, ":OUTP:PON AUTO");

  EXPECT_TRUE(Failed(d.FormatEnum("Bogus", 1, keyword)));
  EXPECT_NE(LastError().find("Unrecognized enum name 'Bogus'."), std::string::npos);
  EXPECT_TRUE(Failed(d.ParseEnum("VelmoraQdxOutputStateEnum", "1", value)));
  EXPECT_NE(LastError().find("Unrecognized enum name 'VelmoraQdxOutputStateEnum'."),
            std::string::npos);
  EXPECT_EQ(d.FormatEnum("VelmoraQdxPONStateEnum", 7, keyword), E_IVI_INVALID_VALUE);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (7) for method put_PONState, parameter nVal.\r\n");
  EXPECT_TRUE(Failed(d.ParseEnum("VelmoraQdxPONStateEnum", "safe\n", value)));
  EXPECT_NE(LastError().find("Unexpected value 'safe\n' for enum 'VelmoraQdxPONStateEnum'."),
            std::string::npos)
      << LastError();
}

}  // namespace
}  // namespace veqdx::testing
