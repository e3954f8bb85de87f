// Identity properties, the call context and the enum formatter.
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "base/call_context.h"
#include "driver_fixture.h"
#include "veqdx/enums.h"
#include "io/formatted_io.h"
#include "dcpwr/output_factory.h"

namespace veqdx::testing {
namespace {

// "manufacturer|model|firmware" as the identity getters report them.
std::string IdentityOf(CVelmoraQdx& d) {
  return Get(d, &CDriver::get_InstrumentManufacturer) + "|" +
         Get(d, &CDriver::get_InstrumentModel) + "|" +
         Get(d, &CDriver::get_InstrumentFirmwareRevision);
}

TEST(Identity, DriverConstants) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  const std::pair<HRESULT (CDriver::*)(std::string*), std::string> texts[] = {
      {&CDriver::get_Description,
       sizeof(void*) == 8 ? "IVI Driver for Velmora QDX DC Power Supply [Compiled for 64-bit.]"
                          : "IVI Driver for Velmora QDX DC Power Supply [Compiled for 32-bit.]"},
      {&CDriver::get_Vendor, "Velmora"},
      {&CDriver::get_Revision, "1.0.4.0"},
      {&CDriver::get_Identifier, "VelmoraQdx"},
      {&CDriver::get_SupportedInstrumentModels,
       "QDX750L,QDX750ML,QDX750MH,QDX750H,QDX1500H,QDX1500L,QDX1500MH,QDX1500ML"},
      {&CDriver::get_GroupCapabilities,
       "IviDCPwrBase,IviDCPwrTrigger,IviDCPwrSoftwareTrigger,IviDCPwrMeasurement"},
  };
  for (const auto& [getter, text] : texts) EXPECT_EQ(Get(d, getter), text);
  EXPECT_EQ(Get(d, &CDriver::get_SpecificationMajorVersion), 2);
  EXPECT_EQ(Get(d, &CDriver::get_SpecificationMinorVersion), 0);
}

TEST_F(DriverOnDevice, InstrumentIdentityBeforeInitializeFromTheReplyAndSimulated) {
  EXPECT_EQ(IdentityOf(driver), "||");
  ScriptSingleUnit(*device, "QDX750MH");
  ASSERT_EQ(Open(), S_OK);
  EXPECT_EQ(IdentityOf(driver), "Velmora|QDX750MH|2.1.0");

  CVelmoraQdx d{dcpwr::CreateOutput};
  ASSERT_EQ(veqdx::testing::OpenSimulated(d), S_OK);
  EXPECT_EQ(IdentityOf(d), "Velmora|QDX750ML|Sim1.0.4.0");
  EXPECT_EQ(d.get_InstrumentFirmwareRevision(nullptr), MakeHr(0x80047058u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Null pointer passed for method "
                         "get_InstrumentFirmwareRevision, parameter val.\r\n");
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IIviDriverIdentity");
  EXPECT_EQ(d.get_SpecificationMinorVersion(nullptr), MakeHr(0x80047058u));
}

// ---- call context ----

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

// ---- enum formatter ----

TEST(EnumFormatter, ConvertsByContextAndReportsFailures) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  ASSERT_EQ(OpenSimulated(d), S_OK);
  std::string keyword;
  {
    CCallContextGuard guard("IVelmoraQdxOutputExternalControl", "put_CCControlEnabled");
    ASSERT_EQ(d.FormatEnum("VARIANT_BOOL", VARIANT_TRUE, keyword), S_OK);
    EXPECT_EQ(keyword, "VOLT");  // the context selects the boolean table
  }
  {
    CCallContextGuard guard("IVelmoraQdxOutput", "put_Enabled");
    ASSERT_EQ(d.FormatEnum("VARIANT_BOOL", VARIANT_TRUE, keyword), S_OK);
    EXPECT_EQ(keyword, "1");
  }
  CCallContextGuard guard("IVelmoraQdxOutput", "put_PONState");
  ASSERT_EQ(d.FormatEnum("VelmoraQdxPONStateEnum", 2, keyword), S_OK);
  EXPECT_EQ(keyword, "FORC");
  std::int32_t value = -1;
  ASSERT_EQ(d.ParseEnum("PONState", " SAFE \n", value), S_OK);
  EXPECT_EQ(value, 0);
  // The engine reaches the driver's converters through the session.
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
  EXPECT_EQ(d.FormatEnum("VelmoraQdxPONStateEnum", 7, keyword), MakeHr(0x80047010u));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Invalid value (7) for method put_PONState, parameter nVal.\r\n");
  EXPECT_TRUE(Failed(d.ParseEnum("VelmoraQdxPONStateEnum", "safe\n", value)));
  EXPECT_NE(LastError().find("Unexpected value 'safe\n' for enum 'VelmoraQdxPONStateEnum'."),
            std::string::npos)
      << LastError();
}

}  // namespace
}  // namespace veqdx::testing
