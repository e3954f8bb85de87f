// Reset, reset with defaults, disable, self test and error query.
#include <gtest/gtest.h>

#include "driver_fixture.h"

namespace veqdx::testing {
namespace {

class Utility : public DriverOnDevice {
 protected:
  // An opened single unit with a probe child for the reset hooks; traffic so far forgotten.
  void OpenWithProbe(const char* options = "") {
    ScriptSingleUnit();
    device->OnQuery("*ESR?", "0\n");
    ASSERT_EQ(Open(options), S_OK);
    probe = static_cast<ProbeNode*>(driver.AddChild("Probe", std::make_unique<ProbeNode>()));
    ASSERT_NE(probe, nullptr);
    device->ClearWritten();
  }
  ProbeNode* probe = nullptr;
};

TEST_F(Utility, ErrorQueryReadsTheQueue) {
  OpenWithProbe();
  struct Case {
    const char* reply;
    std::int32_t code;
    const char* message;
  };
  const Case cases[] = {
      {"-222,\"Data out of range\"\n", -222, "Data out of range"},
      {"0,\"No error\"\n", 0, "No error"},
      {"-113, \"Undefined header\" \n", -113, "Undefined header"},
      {"0,\n", 0, ""},
  };
  for (const Case& c : cases) {
    device->ClearWritten();
    device->OnQuery(":SYST:ERR?", c.reply);
    std::int32_t code = 12345;
    std::string message = "stale";
    ASSERT_EQ(driver.ErrorQuery(&code, &message), S_OK) << c.reply << LastError();
    EXPECT_EQ(code, c.code) << c.reply;
    EXPECT_EQ(message, c.message) << c.reply;
    EXPECT_EQ(device->Written(), Lines{":SYST:ERR?"});
  }
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
  EXPECT_NE(LastError().find("VelmoraQdx: Unexpected response from the instrument."),
            std::string::npos);
  VARIANT_BOOL on = VARIANT_FALSE;
  ASSERT_EQ(driver.get_QueryInstrumentStatus(&on), S_OK);
  EXPECT_EQ(on, VARIANT_TRUE);
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);
  EXPECT_EQ(device->Written(), (Lines{":SYST:ERR?", "*ESR?"}));

  device->ClearWritten();
  device->TimeOutNextRead();
  EXPECT_EQ(driver.ErrorQuery(&code, &message), MakeHr(0x80047059u));
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);
  EXPECT_EQ(device->Written().back(), "*ESR?");
}

TEST_F(Utility, ErrorQueryPointersAndSimulation) {
  CVelmoraQdx d;
  std::int32_t code = 5;
  std::string message;
  EXPECT_EQ(d.ErrorQuery(nullptr, &message), MakeHr(0x80047058u));
  EXPECT_EQ(LastError(), "VelmoraQdx: Null pointer passed for method ErrorQuery, parameter "
                         "ErrorCode.");
  EXPECT_EQ(d.ErrorQuery(&code, nullptr), MakeHr(0x80047058u));
  EXPECT_NE(LastError().find("parameter ErrorMessage."), std::string::npos);
  EXPECT_EQ(d.ErrorQuery(&code, &message), MakeHr(0x8004701Du));

  ASSERT_EQ(d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, "Simulate=1"), S_OK);
  ASSERT_EQ(d.ErrorQuery(&code, &message), S_OK);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(message, "No error.");
}

TEST_F(Utility, SelfTest) {
  OpenWithProbe();
  const int timeoutBefore = driver.Io().GetTimeout();
  struct Case {
    const char* reply;
    std::int32_t result;
    const char* message;
  };
  for (const Case& c : {Case{"1\n", 1, "Selftest failed"}, Case{"0\n", 0, "Selftest passed"},
                        Case{"-3\n", -3, "Selftest failed"}}) {
    device->ClearWritten();
    device->OnQuery("*TST?", c.reply);
    std::int32_t result = 99;
    std::string message;
    ASSERT_EQ(driver.SelfTest(&result, &message), S_OK) << c.reply;
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(message, c.message);
    EXPECT_EQ(device->Written(), Lines{"*TST?"});
  }
  EXPECT_EQ(driver.Io().GetTimeout(), timeoutBefore);

  std::int32_t result = 0;
  std::string message;
  EXPECT_EQ(driver.SelfTest(nullptr, &message), MakeHr(0x80047058u));
  EXPECT_NE(LastError().find("method SelfTest, parameter TestResult."), std::string::npos);
  EXPECT_EQ(driver.SelfTest(&result, nullptr), MakeHr(0x80047058u));
  EXPECT_NE(LastError().find("parameter TestMessage."), std::string::npos);

  device->TimeOutNextRead();
  EXPECT_EQ(driver.SelfTest(&result, &message), MakeHr(0x80044215u));
  EXPECT_EQ(driver.Io().GetTimeout(), timeoutBefore);
}

TEST_F(Utility, SimulatedSelfTestPasses) {
  ASSERT_EQ(Open("Simulate=1"), S_OK);
  std::int32_t result = 7;
  std::string message;
  ASSERT_EQ(driver.SelfTest(&result, &message), S_OK);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(message, "Selftest passed");
}

TEST_F(Utility, ResetOnTheDevice) {
  OpenWithProbe();
  device->OnQuery("*RST;*OPC?", "1\n");
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

TEST_F(Utility, ResetInSimulationSendsNothingButRunsTheHooks) {
  ASSERT_EQ(Open("Simulate=1"), S_OK);
  auto* probe = static_cast<ProbeNode*>(driver.AddChild("Probe", std::make_unique<ProbeNode>()));
  ASSERT_EQ(driver.Reset(), S_OK);
  EXPECT_EQ(probe->resets, 1);
  EXPECT_TRUE(device->Written().empty());
}

TEST_F(Utility, ResetWithDefaultsAndDisableInvalidateTheCache) {
  OpenWithProbe();
  device->OnQuery("*RST;*OPC?", "1\n");
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

TEST_F(Utility, ResetBeforeInitializeFails) {
  EXPECT_EQ(driver.Reset(), MakeHr(0x8004701Du));
  EXPECT_EQ(driver.Disable(), MakeHr(0x8004701Du));
}

TEST_F(Utility, ResetAtInitialize) {
  ScriptSingleUnit();
  device->OnQuery("*RST;*OPC?", "1\n");
  ASSERT_EQ(Open("", VARIANT_TRUE, VARIANT_TRUE), S_OK);
  EXPECT_EQ(device->Written(), (Lines{"*IDN?", "*OPT?", "*RST;*OPC?"}));
  ASSERT_EQ(driver.Close(), S_OK);

  // The reset fails: Initialize reports the reset failure and closes again.
  device->ClearWritten();
  device->OnQuery("*RST;*OPC?", "not a number\n");
  EXPECT_EQ(Open("", VARIANT_TRUE, VARIANT_TRUE), MakeHr(0x8004705Fu));
  EXPECT_EQ(LastError(), "VelmoraQdx: Instrument reset failed.");
  EXPECT_FALSE(driver.Initialized());
  EXPECT_FALSE(device->Connected());
  attr::CNode* output = driver.FindChild("Output0");
  ASSERT_NE(output, nullptr);
  EXPECT_FALSE(output->IsInitialized());
}

}  // namespace
}  // namespace veqdx::testing
