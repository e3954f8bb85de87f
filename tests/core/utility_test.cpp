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

// Both return a number and a message read from one query; a reply that does not parse is an
// unexpected response. The status check stays on.
TEST_F(Utility, ErrorQueryAndSelfTestParseTheirReply) {
  OpenWithProbe("QueryInstrStatus=true");
  const int timeoutBefore = driver.Io().GetTimeout();  // left alone, whatever the reply
  struct Case {
    Query method;
    const char* query;
    const char* reply;  // nullptr: the read times out
    HRESULT hr;
    std::int32_t number;
    const char* message;
  };
  const Query err = &CDriver::ErrorQuery, tst = &CDriver::SelfTest;
  const Case cases[] = {
      {err, ":SYST:ERR?", "-222,\"Data out of range\"\n", S_OK, -222, "Data out of range"},
      {err, ":SYST:ERR?", "-113, \"Undefined header\" \n", S_OK, -113, "Undefined header"},
      {err, ":SYST:ERR?", "0,\n", S_OK, 0, ""},
      {err, ":SYST:ERR?", "garbage\n", E_IVI_UNEXPECTED_RESPONSE, 12345, "stale"},
      {err, ":SYST:ERR?", nullptr, E_IVI_UNEXPECTED_RESPONSE, 12345, "stale"},
      {tst, "*TST?", "1\n", S_OK, 1, "Selftest failed"},
      {tst, "*TST?", "0\n", S_OK, 0, "Selftest passed"},
      {tst, "*TST?", "-3\n", S_OK, -3, "Selftest failed"},
      {tst, "*TST?", nullptr, E_VELMORAQDX_IO_TIMEOUT, 12345, "stale"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reply ? c.reply : "timeout");
    device->ClearWritten();
    if (c.reply) device->OnQuery(c.query, c.reply);
    else device->TimeOutNextRead();
    std::int32_t number = 12345;
    std::string message = "stale";
    ASSERT_EQ((driver.*c.method)(&number, &message), c.hr) << LastError();
    if (c.hr == E_IVI_UNEXPECTED_RESPONSE) {
      EXPECT_EQ(LastError(), "VelmoraQdx: Unexpected response from the instrument.\r\n");
    }
    if (c.hr == S_OK) {
      EXPECT_EQ(number, c.number);
      EXPECT_EQ(message, c.message);
    }
    // Only the error query suspends the status check.
    const bool checked = c.method == tst && c.hr == S_OK;
    EXPECT_EQ(device->Written(), checked ? (Lines{c.query, "*ESR?"}) : Lines{c.query});
    EXPECT_TRUE(driver.QueryInstrumentStatus());
    EXPECT_EQ(driver.Io().GetTimeout(), timeoutBefore);
  }
  EXPECT_EQ(driver.PollInstrumentStatus(), S_OK);
  EXPECT_EQ(device->Written().back(), "*ESR?");
}

// Reset runs the reset hooks; with defaults and Disable the other hooks, and all three empty
// the cache. A failed reset stops before the hooks.
TEST_F(Utility, ResetsRunTheirHooksAndInvalidateTheCache) {
  OpenWithProbe();
  auto* entry = driver.FindChild("Output0")->GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  for (auto op : {&CDriver::Reset, &CDriver::ResetWithDefaults, &CDriver::Disable}) {
    device->ClearWritten();
    entry->Set(5.0);
    ASSERT_EQ((driver.*op)(), S_OK);
    EXPECT_FALSE(entry->IsValid());
    EXPECT_EQ(device->Written(), Lines{"*RST;*OPC?"});
  }
  EXPECT_EQ(probe->resets, 1);
  EXPECT_EQ(probe->defaults, 2);
  device->TimeOutNextRead();
  EXPECT_EQ(driver.Reset(), E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(probe->resets, 1);
}

// Pointers are checked first; before Initialize every operation fails; in simulation they
// send nothing and succeed (the simulated answers: tests/capi).
TEST_F(Utility, UninitializedAndSimulated) {
  std::int32_t code = 5;
  std::string message;
  EXPECT_EQ(driver.Reset(), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(driver.Disable(), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(driver.ErrorQuery(&code, &message), E_IVI_NOT_INITIALIZED);
  const std::tuple<Query, bool, const char*> pointers[] = {
      {&CDriver::ErrorQuery, true, "ErrorQuery, parameter ErrorCode"},
      {&CDriver::SelfTest, true, "SelfTest, parameter TestResult"},
      {&CDriver::ErrorQuery, false, "ErrorQuery, parameter ErrorMessage"},
      {&CDriver::SelfTest, false, "SelfTest, parameter TestMessage"}};
  for (const auto& [method, nullNumber, name] : pointers) {
    EXPECT_EQ((driver.*method)(nullNumber ? nullptr : &code, nullNumber ? &message : nullptr),
              E_IVI_NULL_POINTER);
    EXPECT_EQ(LastError(),
              "VelmoraQdx: Null pointer passed for method " + std::string(name) + ".\r\n");
  }
  ASSERT_EQ(Open("Simulate=1"), S_OK);
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
  device->OnQuery("*RST;*OPC?", "not a number\n");
  EXPECT_EQ(Open("", VARIANT_TRUE, VARIANT_TRUE), E_IVI_RESET_FAILED);
  EXPECT_EQ(LastError(), "VelmoraQdx: Instrument reset failed.\r\n");
  EXPECT_FALSE(driver.Initialized());
  EXPECT_FALSE(device->Connected());
  EXPECT_FALSE(driver.FindChild("Output0")->IsInitialized());
}

}  // namespace
}  // namespace veqdx::testing
