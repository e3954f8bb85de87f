// Sessions, errors and utility functions through libveqdx.so: init and close, the
// session-less error of a failed init, the message map, null out pointers, fixed and
// variable-size string outputs, and the explicit session lock.
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "capi_fixture.h"

namespace capi_test {
namespace {

using namespace std::chrono_literals;

TEST(Session, NullOutPointerCreatesNothingAndRecordsNothing) {
  veqdx_ClearError(VI_NULL);
  EXPECT_EQ(veqdx_init(kSimResource, VI_FALSE, VI_FALSE, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", nullptr),
            VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(LastError(VI_NULL).code, VI_SUCCESS);
}

struct FailedInit {
  const char* options;
  ViStatus status;
  const char* description;
};

class FailedInitTest : public testing::TestWithParam<FailedInit> {};

TEST_P(FailedInitTest, LeavesHandleZeroAndRecordsForTheThread) {
  const FailedInit& c = GetParam();
  veqdx_ClearError(VI_NULL);
  ViSession vi = 0x1234;
  EXPECT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, c.options, &vi), c.status);
  EXPECT_EQ(vi, static_cast<ViSession>(VI_NULL));
  const Recorded e = LastError(VI_NULL);
  EXPECT_EQ(e.code, c.status);
  EXPECT_EQ(e.text, c.description);
  // Reading does not clear; the record is this thread's only.
  EXPECT_EQ(LastError(VI_NULL).code, c.status);
  Recorded other;
  std::thread([&] { other = LastError(VI_NULL); }).join();
  EXPECT_EQ(other.code, VI_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(
    Options, FailedInitTest,
    testing::Values(
        FailedInit{"Simulate=yes", VEQDX_ERROR_BAD_OPTION_VALUE,
                   "VelmoraQdx: The yes value in the option string is unknown."},
        FailedInit{"Simulate=true, InterchangeCheck=true", VEQDX_ERROR_BAD_OPTION_VALUE,
                   "VelmoraQdx: The True value in the option string is unknown.\r\n"
                   "Interchange checking is not supported by the driver."}));

TEST(Session, InitOnAClosedPortFailsWithTheIoError) {
  ViSession vi = 77;
  const ViStatus status = veqdx_init("TCPIP::127.0.0.1::1::SOCKET", VI_FALSE, VI_FALSE, &vi);
  EXPECT_EQ(status, VEQDX_ERROR_IO_GENERAL);
  EXPECT_EQ(vi, static_cast<ViSession>(VI_NULL));
  EXPECT_EQ(LastError(VI_NULL).text.rfind("VelmoraQdx: I/O error: ", 0), 0u)
      << LastError(VI_NULL).text;
}

TEST(Session, CloseMakesTheHandleStale) {
  ViSession vi = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", &vi),
            VI_SUCCESS);
  ASSERT_NE(vi, static_cast<ViSession>(VI_NULL));
  EXPECT_EQ(LastError(vi).code, VI_SUCCESS);
  ASSERT_EQ(veqdx_close(vi), VI_SUCCESS);

  veqdx_ClearError(VI_NULL);
  EXPECT_EQ(veqdx_reset(vi), VEQDX_ERROR_INVALID_SESSION_HANDLE);
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "", 1.0), VEQDX_ERROR_INVALID_SESSION_HANDLE);
  EXPECT_EQ(veqdx_close(vi), VEQDX_ERROR_INVALID_SESSION_HANDLE);
  const Recorded e = LastError(VI_NULL);
  EXPECT_EQ(e.code, VEQDX_ERROR_INVALID_SESSION_HANDLE);
  EXPECT_EQ(e.text, "The session handle is not valid.");

  // veqdx_init is InitWithOptions without options: a real resource is needed then.
  Sim sim;
  ASSERT_TRUE(sim.started()) << sim.error();
  ViSession second = VI_NULL;
  ASSERT_EQ(veqdx_init(sim.Resource().c_str(), VI_TRUE, VI_FALSE, &second), VI_SUCCESS)
      << LastError(VI_NULL).text;
  EXPECT_NE(second, vi);  // handles are not reused
  EXPECT_EQ(veqdx_close(second), VI_SUCCESS);
}

TEST(Session, IdQueryRefusesAnUnknownModel) {
  Sim sim;
  ASSERT_TRUE(sim.started()) << sim.error();
  sim.Garbage("*IDN?", "Velmora,XYZ123,SIM0001,1.00");
  ViSession vi = 5;
  EXPECT_EQ(veqdx_init(sim.Resource().c_str(), VI_TRUE, VI_FALSE, &vi),
            VEQDX_ERROR_ID_QUERY_FAILED);
  EXPECT_EQ(vi, static_cast<ViSession>(VI_NULL));
  EXPECT_EQ(LastError(VI_NULL).text,
            "VelmoraQdx: Instrument ID query failed.\r\nUnrecognized model: XYZ123.");
}

TEST(Session, ResetThatGetsNoAnswerFailsTheInit) {
  Sim sim;
  ASSERT_TRUE(sim.started()) << sim.error();
  sim.Silent("*RST");
  ViSession vi = 5;
  EXPECT_EQ(veqdx_init(sim.Resource().c_str(), VI_TRUE, VI_TRUE, &vi), VEQDX_ERROR_RESET_FAILED);
  EXPECT_EQ(vi, static_cast<ViSession>(VI_NULL));
  EXPECT_EQ(LastError(VI_NULL).text, "VelmoraQdx: Instrument reset failed.");
}

// Every entry of the message map, whatever handle is passed.
struct MessageCase {
  ViUInt32 status;
  const char* text;
};

const MessageCase kMessages[] = {
    {0xBFFA4214u, "I/O error."},
    {0xBFFA4215u, "I/O timeout error."},
    {0xBFFA4216u, "Instrument model does not support this feature."},
    {0xBFFA4211u, "Personality is not active."},
    {0xBFFA4213u, "Personality is not licensed."},
    {0xBFFA4212u, "Personality is not installed."},
    {0xBFFA0000u, "Failure cannot recover."},
    {0xBFFA0001u, "Instrument error detected.  Use ErrorQuery() to determine the error(s)."},
    {0xBFFA0002u, "Cannot open file."},
    {0xBFFA0003u, "Error reading file."},
    {0xBFFA0004u, "Error writing file."},
    {0xBFFA000Bu, "The pathname is invalid."},
    {0xBFFA0010u, "Invalid value (%1) for method %2, parameter %3."},
    {0xBFFA0011u, "Does not support this class-compliant feature: method %1"},
    {0xBFFA0012u, "Does not support this class-compliant feature: property %1."},
    {0xBFFA0013u,
     "Does not support this class-compliant feature:  (enumeration) value %1 passed as the value "
     "for parameter %2 in method %3."},
    {0xBFFA001Du, "A connection to the instrument has not been established."},
    {0xBFFA0020u, "Unknown channel name."},
    {0xBFFA0023u, "Too many files are open."},
    {0xBFFA0044u, "A channel name is required."},
    {0xBFFA0049u, "The option string is missing an option name."},
    {0xBFFA004Au, "The option string is missing an option value."},
    {0xBFFA004Bu, "The %1 name in the option string is unknown."},
    {0xBFFA004Cu, "The %1 value in the option string is unknown."},
    {0xBFFA0056u, "Could not allocate necessary memory."},
    {0xBFFA0057u, "Operation in progress."},
    {0xBFFA0058u, "Null pointer passed for method %1, parameter %2."},
    {0xBFFA0059u, "Unexpected response from instrument."},
    {0xBFFA005Bu, "File not found."},
    {0xBFFA005Cu, "Invalid file format."},
    {0xBFFA005Du, "The instrument status is not available."},
    {0xBFFA005Eu, "Instrument ID query failed."},
    {0xBFFA005Fu, "Instrument reset failed."},
    {0xBFFA0060u, "Unknown resource."},
    {0xBFFA0061u, "The driver is already initialized."},
    {0xBFFA0062u, "The simulation state cannot be changed."},
    {0xBFFA0063u,
     "The number of levels in the selector is not valid for the %1 repeated capability."},
    {0xBFFA0064u, "The range %1 is not valid for the repeated capability %2."},
    {0xBFFA0065u, "Unknown name in selector."},
    {0xBFFA0066u, "The repeated capability selector is badly-formed."},
    {0xBFFA0067u, "Unknown physical repeated capability selector."},
    {0xBFFA1001u, "The trigger source is not set to software trigger."},
    {0xBFFA4217u, "The given Register type is invalid."},
    {0xBFFA4218u, "The given Sub-Register type is invalid."},
    {0x00000000u, "Success."},
    {0x3FFA0065u, "ID Query is not supported by this instrument."},
    {0x3FFA0066u, "Reset is not supported by this instrument."},
    {0x3FFA0067u, "Self test is not supported by this instrument."},
    {0x3FFA0068u, "Error query is not supported by this instrument."},
    {0x3FFA0069u, "Firmware revision query is not supported by this instrument."},
    {0xBFFA1190u, "The session handle is not valid."},
};

TEST_F(SimulatedSession, ErrorMessageAcceptsAnyHandle) {
  ViSession closed = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", &closed),
            VI_SUCCESS);
  ASSERT_EQ(veqdx_close(closed), VI_SUCCESS);
  for (ViSession handle : {static_cast<ViSession>(VI_NULL), vi, closed, 0xDEADBEEFu}) {
    for (const MessageCase& m : kMessages) {
      char text[256];
      std::memset(text, 'x', sizeof text);
      EXPECT_EQ(veqdx_error_message(handle, static_cast<ViStatus>(m.status), text), VI_SUCCESS)
          << std::hex << m.status;
      EXPECT_STREQ(text, m.text) << std::hex << m.status;
    }
    char text[256];
    EXPECT_EQ(veqdx_error_message(handle, static_cast<ViStatus>(0xBFFA000Du), text),
              VEQDX_WARN_UNKNOWN_STATUS);
    EXPECT_STREQ(text, "Unknown status code 0xBFFA000D.");
  }
  EXPECT_EQ(veqdx_error_message(vi, 0, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(LastError(vi).text, "Parameter ErrorMessage is VI_NULL.");
}

TEST_F(SimulatedSession, UtilityAnswersOfASimulatedSession) {
  char driverRev[256];
  char instrRev[256];
  ASSERT_EQ(veqdx_revision_query(vi, driverRev, instrRev), VI_SUCCESS);
  EXPECT_STREQ(driverRev, "1.0.4.0");
  EXPECT_STREQ(instrRev, "Sim1.0.4.0");

  ViInt16 result = 99;
  char message[256];
  ASSERT_EQ(veqdx_self_test(vi, &result, message), VI_SUCCESS);
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(message, "Selftest passed");

  ViInt32 code = 99;
  ASSERT_EQ(veqdx_error_query(vi, &code, message), VI_SUCCESS);
  EXPECT_EQ(code, 0);
  EXPECT_STREQ(message, "No error.");

  for (auto* fn : {veqdx_reset, veqdx_ResetWithDefaults, veqdx_Disable,
                   veqdx_InvalidateAllAttributes, veqdx_ClearInterchangeWarnings,
                   veqdx_ResetInterchangeCheck, veqdx_Abort, veqdx_Initiate,
                   veqdx_SendSoftwareTrigger, veqdx_Clear, veqdx_Preset}) {
    EXPECT_EQ(fn(vi), VI_SUCCESS) << LastError(vi).text;
  }
  // The queues are empty: the empty string, size needed 1.
  EXPECT_EQ(veqdx_GetNextInterchangeWarning(vi, 0, nullptr), 1);
  EXPECT_EQ(veqdx_GetNextCoercionRecord(vi, 0, nullptr), 1);
  char record[8] = "junk";
  EXPECT_EQ(veqdx_GetNextCoercionRecord(vi, sizeof record, record), VI_SUCCESS);
  EXPECT_STREQ(record, "");
}

// Every null out pointer that has a documented description.
struct NullCase {
  const char* name;
  std::function<ViStatus(ViSession)> call;
  const char* parameter;
};

TEST_F(SimulatedSession, NullOutPointersNameTheParameter) {
  char text[256];
  ViInt16 result = 0;
  ViInt32 code = 0;
  const NullCase cases[] = {
      {"error_query", [&](ViSession s) { return veqdx_error_query(s, nullptr, text); },
       "ErrorCode"},
      {"self_test", [&](ViSession s) { return veqdx_self_test(s, nullptr, text); }, "TestResult"},
      {"self_test message", [&](ViSession s) { return veqdx_self_test(s, &result, nullptr); },
       "TestMessage"},
      {"error_query message", [&](ViSession s) { return veqdx_error_query(s, &code, nullptr); },
       "ErrorMessage"},
      {"QueryMaxCurrentLimit",
       [](ViSession s) { return veqdx_QueryMaxCurrentLimit(s, "", 1.0, nullptr); },
       "MaxCurrentLimit"},
      {"QueryMaxVoltageLevel",
       [](ViSession s) { return veqdx_QueryMaxVoltageLevel(s, "", 1.0, nullptr); },
       "MaxVoltageLevel"},
      {"Measure", [](ViSession s) { return veqdx_Measure(s, "", 0, nullptr); }, "Measurement"},
      {"QueryOutputState",
       [](ViSession s) { return veqdx_QueryOutputState(s, "", 0, nullptr); }, "InState"},
      {"GetAttributeViInt32",
       [](ViSession s) { return veqdx_GetAttributeViInt32(s, "", 1250004, nullptr); },
       "AttributeValue"},
      {"GetAttributeViReal64",
       [](ViSession s) { return veqdx_GetAttributeViReal64(s, "", 1250001, nullptr); },
       "AttributeValue"},
      {"GetAttributeViBoolean",
       [](ViSession s) { return veqdx_GetAttributeViBoolean(s, "", 1250006, nullptr); },
       "AttributeValue"},
      {"GetAttributeViSession",
       [](ViSession s) { return veqdx_GetAttributeViSession(s, "", 1250006, nullptr); },
       "AttributeValue"},
      {"GetAttributeViString",
       [](ViSession s) { return veqdx_GetAttributeViString(s, "", 1050513, 10, nullptr); },
       "AttributeValue"},
  };
  for (const NullCase& c : cases) {
    veqdx_ClearError(vi);
    EXPECT_EQ(c.call(vi), VEQDX_ERROR_NULL_POINTER) << c.name;
    const Recorded e = LastError(vi);
    EXPECT_EQ(e.code, VEQDX_ERROR_NULL_POINTER) << c.name;
    EXPECT_EQ(e.text, std::string("Parameter ") + c.parameter + " is VI_NULL.") << c.name;
  }
}

TEST_F(SimulatedSession, OutputNamesFollowTheBufferRules) {
  for (auto* fn : {veqdx_GetOutputName, veqdx_GetChannelName}) {
    veqdx_ClearError(vi);
    EXPECT_EQ(fn(vi, 1, 0, nullptr), 8);  // "Output0" and its NUL
    char name[16];
    EXPECT_EQ(fn(vi, 1, sizeof name, name), VI_SUCCESS);
    EXPECT_STREQ(name, "Output0");
    EXPECT_EQ(fn(vi, 1, 8, name), VI_SUCCESS);
    EXPECT_STREQ(name, "Output0");
    char small[4];
    EXPECT_EQ(fn(vi, 1, sizeof small, small), 8);
    EXPECT_STREQ(small, "Out");
    EXPECT_EQ(LastError(vi).code, VI_SUCCESS);  // a short buffer is no error

    EXPECT_EQ(fn(vi, 1, -1, name), VEQDX_ERROR_INVALID_VALUE);
    EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_INVALID_VALUE);
    EXPECT_EQ(fn(vi, 1, 5, nullptr), VEQDX_ERROR_NULL_POINTER);
    for (ViInt32 bad : {0, 2, -1}) {
      veqdx_ClearError(vi);
      EXPECT_EQ(fn(vi, bad, sizeof name, name), VEQDX_ERROR_INVALID_VALUE) << bad;
      EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_INVALID_VALUE);
    }
  }
}

TEST_F(SimulatedSession, SessionLockKeepsOtherThreadsWaiting) {
  ViBoolean has = VI_FALSE;
  ASSERT_EQ(veqdx_LockSession(vi, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_TRUE);
  EXPECT_EQ(veqdx_LockSession(vi, &has), VI_SUCCESS);  // already held: nothing done
  ASSERT_EQ(veqdx_LockSession(vi, nullptr), VI_SUCCESS);  // nested, balanced below
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "", 3.0), VI_SUCCESS);  // the holder goes on

  std::atomic<bool> done{false};
  ViStatus otherStatus = -1;
  std::thread other([&] {
    otherStatus = veqdx_ConfigureVoltageLevel(vi, "", 4.0);
    done = true;
  });
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(done.load());  // waits for the lock
  ASSERT_EQ(veqdx_UnlockSession(vi, nullptr), VI_SUCCESS);
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(done.load());  // still held once
  ASSERT_EQ(veqdx_UnlockSession(vi, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_FALSE);
  EXPECT_EQ(veqdx_UnlockSession(vi, &has), VI_SUCCESS);  // VI_FALSE: nothing done
  other.join();
  EXPECT_EQ(otherStatus, VI_SUCCESS);
  ViReal64 level = 0;
  ASSERT_EQ(veqdx_GetAttributeViReal64(vi, "", VEQDX_ATTR_VOLTAGE_LEVEL, &level), VI_SUCCESS);
  EXPECT_EQ(level, 4.0);
}

TEST_F(SimulatedSession, CloseWhileAnotherThreadWaitsLeavesItAStaleHandle) {
  ViBoolean has = VI_FALSE;
  ASSERT_EQ(veqdx_LockSession(vi, &has), VI_SUCCESS);
  ViStatus otherStatus = 0;
  std::thread other([&] { otherStatus = veqdx_ConfigureVoltageLevel(vi, "", 4.0); });
  std::this_thread::sleep_for(50ms);
  ASSERT_EQ(veqdx_close(vi), VI_SUCCESS);  // the holder may close; its lock goes with it
  other.join();
  EXPECT_EQ(otherStatus, VEQDX_ERROR_INVALID_SESSION_HANDLE);
  vi = VI_NULL;
}

TEST_F(EmulatedSession, InstrumentAnswersOfUtilityFunctions) {
  Open("QDX750L");
  sim->SetSelfTestResult(1);
  ViInt16 result = 0;
  char message[256];
  ASSERT_EQ(veqdx_self_test(vi, &result, message), VI_SUCCESS) << LastError(vi).text;
  EXPECT_EQ(result, 1);
  EXPECT_STREQ(message, "Selftest failed");

  sim->Garbage(":SYST:ERR?", "-222,\"Data out of range\"");
  ViInt32 code = 0;
  ASSERT_EQ(veqdx_error_query(vi, &code, message), VI_SUCCESS) << LastError(vi).text;
  EXPECT_EQ(code, -222);
  EXPECT_STREQ(message, "Data out of range");

  // A message longer than the fixed buffer is cut to 255 characters.
  sim->ClearFaults();
  sim->Garbage(":SYST:ERR?", "-100,\"" + std::string(400, 'e') + "\"");
  std::memset(message, 'x', sizeof message);
  ASSERT_EQ(veqdx_error_query(vi, &code, message), VI_SUCCESS) << LastError(vi).text;
  EXPECT_EQ(std::strlen(message), 255u);

  char driverRev[256];
  char instrRev[256];
  ASSERT_EQ(veqdx_revision_query(vi, driverRev, instrRev), VI_SUCCESS);
  EXPECT_STREQ(driverRev, "1.0.4.0");
  EXPECT_STREQ(instrRev, "1.00");

  ASSERT_EQ(veqdx_reset(vi), VI_SUCCESS) << LastError(vi).text;
  EXPECT_WIRE(Lines{"*TST?", ":SYST:ERR?", ":SYST:ERR?", "*RST;*OPC?"});
}

TEST_F(EmulatedSession, UnexpectedErrorQueryReplyIsReported) {
  Open();
  sim->Garbage(":SYST:ERR?", "garbage");
  ViInt32 code = 0;
  char message[256];
  EXPECT_EQ(veqdx_error_query(vi, &code, message), VEQDX_ERROR_UNEXPECTED_RESPONSE);
  EXPECT_EQ(LastError(vi).text.rfind("VelmoraQdx: Unexpected response from the instrument.", 0),
            0u)
      << LastError(vi).text;
}

}  // namespace
}  // namespace capi_test
