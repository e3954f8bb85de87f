// Reset, reset with defaults, disable, self test and error query.
#include <gtest/gtest.h>

#include "driver_fixture.h"

namespace veqdx::testing {
namespace {

class Utility : public DriverOnDevice {
 protected:
  // An opened single unit with a probe child for the reset hooks; traffic so far forgotten.
  void OpenWithProbe(const char* options = "") {
    ScriptSingleUnit(*device);
    device->OnQuery("*ESR?", "0\n");
    device->OnQuery("*RST;*OPC?", "1\n");
    ASSERT_EQ(Open(options), S_OK);
    probe = static_cast<ProbeNode*>(driver.AddChild("Probe", std::make_unique<ProbeNode>()));
    ASSERT_NE(probe, nullptr);
    device->ClearWritten();
  }
  ProbeNode* probe = nullptr;
};

using Query = HRESULT (CDriver::*)(std::int32_t*, std::string*);

// Both return a number and a message read from one query; the I/O timeout is left alone.
TEST_F(Utility, ErrorQueryAndSelfTestParseTheirReply) {
  OpenWithProbe();
  const int timeoutBefore = driver.Io().GetTimeout();
  struct Case {
    Query method;
    const char* query;
    const char* reply;
    std::int32_t number;
    const char* message;
  };
  const Query err = &CDriver::ErrorQuery, tst = &CDriver::SelfTest;
  const Case cases[] = {
      {err, ":SYST:ERR?", "-222,\"Data out of range\"\n", -222, "Data out of range"},
      {err, ":SYST:ERR?", "0,\"No error\"\n", 0, "No error"},
      {err, ":SYST:ERR?", "-113, \"Undefined header\" \n", -113, "Undefined header"},
      {err, ":SYST:ERR?", "0,\n", 0, ""},
      {tst, "*TST?", "1\n", 1, "Selftest failed"},
      {tst, "*TST?", "0\n", 0, "Selftest passed"},
      {tst, "*TST?", "-3\n", -3, "Selftest failed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reply);
    device->ClearWritten();
    device->OnQuery(c.query, c.reply);
    std::int32_t number = 12345;
    std::string message = "stale";
    ASSERT_EQ((driver.*c.method)(&number, &message), S_OK) << LastError();
    EXPECT_EQ(number, c.number);
    EXPECT_EQ(message, c.message);
    EXPECT_EQ(device->Written(), Lines{c.query});
    EXPECT_EQ(driver.Io().GetTimeout(), timeoutBefore);
  }
  device->TimeOutNextRead();
  std::int32_t result = 0;
  std::string message;
  EXPECT_EQ(driver.SelfTest(&result, &message), MakeHr(0x80044215u));
  EXPECT_EQ(driver.Io().GetTimeout(), timeoutBefore);
}

TEST_F(Utility, ErrorQuerySuspendsTheStatusCheck) {
  OpenWithProbe("QueryInstrStatus=true");
  device->OnQuery(":SYST:ERR?", "-222,\"Data out of range\"\n");
  std::int32_t code = 0;
  std::string message;
  ASSERT_EQ(driver.ErrorQuery(&code, &message), S_OK);
  EXPECT_EQ(device->Written(), Lines{":SYST:ERR?"});
  EXPECT_TRUE(driver.QueryInstrumentStatus());

  // A failed read is an unexpected response, and the check is back on afterwards.
  device->ClearWritten();
  device->OnQuery(":SYST:ERR?", "garbage\n");
  EXPECT_EQ(driver.ErrorQuery(&code, &message), MakeHr(0x80047059u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Unexpected response from the instrument.\r\n");
  EXPECT_EQ(Get(driver, &CDriver::get_QueryInstrumentStatus), VARIANT_TRUE);
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{":SYST:ERR?", "*ESR?"}));

  device->ClearWritten();
  device->TimeOutNextRead();
  EXPECT_EQ(driver.ErrorQuery(&code, &message), MakeHr(0x80047059u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Unexpected response from the instrument.\r\n");
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);
  EXPECT_EQ(device->Written().back(), "*ESR?");
}

TEST_F(Utility, ResetOnTheDevice) {
  OpenWithProbe();
  const int timeoutBefore = driver.Io().GetTimeout();
  ASSERT_EQ(driver.Reset(), S_OK);
  EXPECT_EQ(device->Written(), Lines{"*RST;*OPC?"});
  EXPECT_EQ(probe->resets, 1);
  EXPECT_EQ(probe->defaults, 0);
  EXPECT_EQ(driver.Io().GetTimeout(), timeoutBefore);

  // A failed reset stops before the hooks.
  device->TimeOutNextRead();
  EXPECT_EQ(driver.Reset(), MakeHr(0x80044215u));
  EXPECT_EQ(probe->resets, 1);
}

TEST_F(Utility, ResetWithDefaultsAndDisableInvalidateTheCache) {
  OpenWithProbe();
  attr::CNode* output = driver.FindChild("Output0");
  ASSERT_NE(output, nullptr);
  auto* entry = output->GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  for (auto op : {&CDriver::ResetWithDefaults, &CDriver::Disable}) {
    device->ClearWritten();
    entry->Set(5.0);
    ASSERT_EQ((driver.*op)(), S_OK);
    EXPECT_FALSE(entry->IsValid());
    EXPECT_EQ(device->Written(), Lines{"*RST;*OPC?"});
  }
  EXPECT_EQ(probe->defaults, 2);
  EXPECT_EQ(probe->resets, 0);
}

// Pointers are checked first; before Initialize every operation fails; in simulation they
// send nothing and succeed.
TEST_F(Utility, UninitializedAndSimulated) {
  std::int32_t code = 5;
  std::string message;
  EXPECT_EQ(driver.Reset(), MakeHr(0x8004701Du));
  EXPECT_EQ(driver.Disable(), MakeHr(0x8004701Du));
  EXPECT_EQ(driver.ErrorQuery(&code, &message), MakeHr(0x8004701Du));
  const std::pair<Query, const char*> pointers[] = {
      {&CDriver::ErrorQuery, "ErrorQuery, parameter ErrorCode"},
      {&CDriver::SelfTest, "SelfTest, parameter TestResult"}};
  for (const auto& [method, name] : pointers) {
    EXPECT_EQ((driver.*method)(nullptr, &message), MakeHr(0x80047058u));
    EXPECT_EQ(LastError(),
              "VelmoraQdx: Null pointer passed for method " + std::string(name) + ".\r\n");
  }
  EXPECT_EQ(driver.ErrorQuery(&code, nullptr), MakeHr(0x80047058u));
  EXPECT_NE(LastError().find("method ErrorQuery, parameter ErrorMessage."), std::string::npos);
  EXPECT_EQ(driver.SelfTest(&code, nullptr), MakeHr(0x80047058u));
  EXPECT_NE(LastError().find("method SelfTest, parameter TestMessage."), std::string::npos);

  ASSERT_EQ(Open("Simulate=1"), S_OK);
  ASSERT_EQ(driver.ErrorQuery(&code, &message), S_OK);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(message, "No error.");
  std::int32_t result = 7;
  ASSERT_EQ(driver.SelfTest(&result, &message), S_OK);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(message, "Selftest passed");
  auto* probe = static_cast<ProbeNode*>(driver.AddChild("Probe", std::make_unique<ProbeNode>()));
  ASSERT_EQ(driver.Reset(), S_OK);
  EXPECT_EQ(probe->resets, 1);  // the hooks still run
  EXPECT_TRUE(device->Written().empty());
}

TEST_F(Utility, ResetAtInitialize) {
  ScriptSingleUnit(*device);
  device->OnQuery("*RST;*OPC?", "1\n");
  ASSERT_EQ(Open("", VARIANT_TRUE, VARIANT_TRUE), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?", "*RST;*OPC?"}));
  ASSERT_EQ(driver.Close(), S_OK);

  // The reset fails: Initialize reports the reset failure and closes again.
  device->ClearWritten();
  device->OnQuery("*RST;*OPC?", "not a number\n");
  EXPECT_EQ(Open("", VARIANT_TRUE, VARIANT_TRUE), MakeHr(0x8004705Fu));
  EXPECT_EQ(LastError(), "VelmoraQdx: Instrument reset failed.\r\n");
  EXPECT_FALSE(driver.Initialized());
  EXPECT_FALSE(device->Connected());
  attr::CNode* output = driver.FindChild("Output0");
  ASSERT_NE(output, nullptr);
  EXPECT_FALSE(output->IsInitialized());
}

}  // namespace
}  // namespace veqdx::testing
