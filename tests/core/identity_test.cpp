// Identity properties, the call context and the enum formatter's unknown names.
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "base/call_context.h"
#include "dcpwr/output_factory.h"
#include "driver_fixture.h"

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

// Names without a converter fail (the conversions by call context show on the wire: tests/capi,
// and the refused values and replies of a property: tests/dcpwr).
TEST(EnumFormatter, UnknownNamesAreReported) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  ASSERT_EQ(OpenSimulated(d), S_OK);
  CCallContextGuard guard("IVelmoraQdxOutput", "put_PONState");
  std::string keyword;
  std::int32_t value = -1;
  EXPECT_TRUE(Failed(d.FormatEnum("Bogus", 1, keyword)));
  EXPECT_NE(LastError().find("Unrecognized enum name 'Bogus'."), std::string::npos);
  EXPECT_TRUE(Failed(d.ParseEnum("VelmoraQdxOutputStateEnum", "1", value)));
  EXPECT_NE(LastError().find("Unrecognized enum name 'VelmoraQdxOutputStateEnum'."),
            std::string::npos);
}

}  // namespace
}  // namespace veqdx::testing
