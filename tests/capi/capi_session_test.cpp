// Sessions, errors and utility functions through libveqdx.so: init and close, the
// session-less error of a failed init, bad handles, the message map, null out pointers, fixed
// and variable-size string outputs, and the explicit session lock.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "capi_fixture.h"

namespace capi_test {
namespace {

using namespace std::chrono_literals;

// Like any session-less failure, a missing handle pointer is recorded for the thread.
TEST(Session, NullOutPointerCreatesNothingAndRecordsForTheThread) {
  veqdx_ClearError(VI_NULL);
  EXPECT_EQ(veqdx_init(kSimResource, VI_FALSE, VI_FALSE, nullptr), VEQDX_ERROR_NULL_POINTER);
  veqdx_ClearError(VI_NULL);
  EXPECT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", nullptr),
            VEQDX_ERROR_NULL_POINTER);
  const Recorded e = LastError(VI_NULL);
  EXPECT_EQ(e.code, VEQDX_ERROR_NULL_POINTER);
  EXPECT_NE(e.text.find("InitWithOptions"), std::string::npos) << e.text;
  EXPECT_NE(e.text.find("Vi"), std::string::npos) << e.text;
}

// A failed init leaves the handle VI_NULL and records the error for the calling thread only;
// reading the record does not clear it.
TEST(Session, FailedInitRecordsForTheThread) {
  struct FailedInit {
    const char* name;
    void (*fault)(Sim&);  // nullptr: no emulator, `resource` is used
    const char* resource;
    const char* options;  // nullptr: veqdx_init
    ViBoolean reset;
    ViStatus status;
    std::string text;
  };
  const FailedInit cases[] = {
      {"unknown option value", nullptr, kSimResource, "Simulate=yes", VI_FALSE,
       VEQDX_ERROR_BAD_OPTION_VALUE,
       "VelmoraQdx: The yes value in the option string is unknown.\r\n"},
      {"interchange check", nullptr, kSimResource, "Simulate=true, InterchangeCheck=true",
       VI_FALSE, VEQDX_ERROR_BAD_OPTION_VALUE,
       "VelmoraQdx: The True value in the option string is unknown.\r\n"
       "Interchange checking is not supported by the driver."},
      // IoTimeout is a plain count of milliseconds from 1 to 3600000, never taken loosely.
      {"io timeout zero", nullptr, kSimResource, "Simulate=true, DriverSetup=IoTimeout=0",
       VI_FALSE, VEQDX_ERROR_BAD_OPTION_VALUE,
       "VelmoraQdx: The 0 value in the option string is unknown.\r\n"},
      {"io timeout with unit", nullptr, kSimResource, "Simulate=true, DriverSetup=IoTimeout=5s",
       VI_FALSE, VEQDX_ERROR_BAD_OPTION_VALUE,
       "VelmoraQdx: The 5s value in the option string is unknown.\r\n"},
      {"io timeout negative", nullptr, kSimResource, "DriverSetup=Model=QDX750L, iotimeout=-1",
       VI_FALSE, VEQDX_ERROR_BAD_OPTION_VALUE,
       "VelmoraQdx: The -1 value in the option string is unknown.\r\n"},
      {"io timeout too long", nullptr, kSimResource, "Simulate=1,DriverSetup=IOTIMEOUT=3600001",
       VI_FALSE, VEQDX_ERROR_BAD_OPTION_VALUE,
       "VelmoraQdx: The 3600001 value in the option string is unknown.\r\n"},
      {"closed port", nullptr, "TCPIP::127.0.0.1::1::SOCKET", nullptr, VI_FALSE,
       VEQDX_ERROR_IO_GENERAL,
       "VelmoraQdx: I/O error: Failed to open VISA resource..\r\n"
       "Resource descriptor = TCPIP::127.0.0.1::1::SOCKET. "
       "Cause: connect to 127.0.0.1:1 refused."},
      {"unknown model", [](Sim& s) { s.Garbage("*IDN?", "Velmora,XYZ123,SIM0001,1.00"); },
       nullptr, nullptr, VI_FALSE, VEQDX_ERROR_ID_QUERY_FAILED,
       "VelmoraQdx: Instrument ID query failed.\r\nUnrecognized model: XYZ123."},
      {"reset unanswered", [](Sim& s) { s.Silent("*RST"); }, nullptr, nullptr, VI_TRUE,
       VEQDX_ERROR_RESET_FAILED, "VelmoraQdx: Instrument reset failed.\r\n"},
  };
  for (const FailedInit& c : cases) {
    SCOPED_TRACE(c.name);
    std::unique_ptr<Sim> sim;
    std::string resource = c.resource ? c.resource : "";
    if (c.fault != nullptr) {
      sim = std::make_unique<Sim>();
      ASSERT_TRUE(sim->started()) << sim->error();
      c.fault(*sim);
      resource = sim->Resource();
    }
    veqdx_ClearError(VI_NULL);
    ViSession vi = 0x1234;
    const ViStatus status =
        c.options ? veqdx_InitWithOptions(resource.c_str(), VI_TRUE, c.reset, c.options, &vi)
                  : veqdx_init(resource.c_str(), VI_TRUE, c.reset, &vi);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(vi, static_cast<ViSession>(VI_NULL));
    const Recorded e = LastError(VI_NULL);
    EXPECT_EQ(e.code, c.status);
    EXPECT_EQ(e.text, c.text);
    EXPECT_EQ(LastError(VI_NULL).code, c.status);
    Recorded other;
    std::thread([&] { other = LastError(VI_NULL); }).join();
    EXPECT_EQ(other.code, VI_SUCCESS);
  }
}

// A closed, a not yet issued, a forged and a null handle: every function refuses them and
// records the refusal for the calling thread; handles are not reused.
TEST(Session, BadHandlesAreRefusedAndRecordedForTheThread) {
  ViSession closed = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", &closed),
            VI_SUCCESS);
  ASSERT_NE(closed, static_cast<ViSession>(VI_NULL));
  EXPECT_EQ(LastError(closed).code, VI_SUCCESS);
  ASSERT_EQ(veqdx_close(closed), VI_SUCCESS);

  ViSession live = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", &live),
            VI_SUCCESS);
  EXPECT_NE(live, closed);

  ViBoolean has = VI_FALSE;
  ViStatus code = 0;
  char text[256];
  const std::pair<const char*, std::function<ViStatus(ViSession)>> calls[] = {
      {"reset", veqdx_reset},
      {"ConfigureVoltageLevel", [](ViSession s) { return veqdx_ConfigureVoltageLevel(s, "", 1); }},
      {"close", veqdx_close},
      {"LockSession", [&](ViSession s) { return veqdx_LockSession(s, &has); }},
      {"UnlockSession", [&](ViSession s) { return veqdx_UnlockSession(s, &has); }},
      {"ClearError", veqdx_ClearError},  // VI_NULL: the thread's record, skipped below
      {"GetError", [&](ViSession s) { return veqdx_GetError(s, &code, sizeof text, text); }},
  };
  const ViSession notIssued = live + 1;
  const ViSession forged = live ^ 0x5A5A0000u;
  for (ViSession bad : {closed, notIssued, forged, static_cast<ViSession>(VI_NULL)}) {
    for (const auto& [name, call] : calls) {
      const bool threadRecord = std::strcmp(name, "ClearError") == 0 ||
                                std::strcmp(name, "GetError") == 0;
      if (bad == VI_NULL && threadRecord) continue;
      SCOPED_TRACE(testing::Message() << name << " on " << std::hex << bad);
      veqdx_ClearError(VI_NULL);
      EXPECT_EQ(call(bad), VEQDX_ERROR_INVALID_SESSION_HANDLE);
      EXPECT_EQ(has, VI_FALSE);
      const Recorded e = LastError(VI_NULL);
      EXPECT_EQ(e.code, VEQDX_ERROR_INVALID_SESSION_HANDLE);
      EXPECT_EQ(e.text, "The session handle is not valid.");
    }
  }
  EXPECT_EQ(LastError(live).code, VI_SUCCESS);  // the open session saw none of it
  EXPECT_EQ(veqdx_ClearError(VI_NULL), VI_SUCCESS);
  code = 1;
  EXPECT_EQ(veqdx_GetError(VI_NULL, &code, 0, nullptr), 1);
  EXPECT_EQ(code, VI_SUCCESS);  // cleared; size 0 still gives the code
  EXPECT_EQ(veqdx_close(live), VI_SUCCESS);
}

// veqdx_GetError: the size needed, a cut copy, nothing cleared by reading, argument errors
// that leave the record alone.
TEST_F(SimulatedSession, GetErrorFollowsTheBufferRules) {
  ViStatus code = 12345;
  char text[64] = "junk";
  EXPECT_EQ(veqdx_GetError(vi, &code, sizeof text, text), VI_SUCCESS);
  EXPECT_EQ(code, VI_SUCCESS);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(veqdx_GetError(vi, nullptr, 0, nullptr), 1);

  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output9", 1), VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  const std::string description = "VelmoraQdx: Unknown channel name.\r\nOutput9";
  const auto needed = static_cast<ViStatus>(description.size() + 1);
  EXPECT_EQ(veqdx_GetError(vi, nullptr, 0, nullptr), needed);
  char small[11];
  EXPECT_EQ(veqdx_GetError(vi, &code, sizeof small, small), needed);
  EXPECT_STREQ(small, "VelmoraQdx");
  EXPECT_EQ(code, VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(veqdx_GetError(vi, nullptr, -1, text), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(veqdx_GetError(vi, nullptr, sizeof text, text), VEQDX_ERROR_NULL_POINTER);
  for (int twice = 0; twice < 2; ++twice) {
    code = 0;
    EXPECT_EQ(veqdx_GetError(vi, &code, sizeof text, text), VI_SUCCESS);
    EXPECT_EQ(text, description);
    EXPECT_EQ(code, VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  }
  EXPECT_EQ(veqdx_ClearError(vi), VI_SUCCESS);
  EXPECT_EQ(veqdx_GetError(vi, &code, sizeof text, text), VI_SUCCESS);
  EXPECT_EQ(code, VI_SUCCESS);
  EXPECT_STREQ(text, "");
}

// Every entry of the message map, whatever handle is passed.
const std::pair<ViUInt32, const char*> kMessages[] = {
    {0xBFFA4214u, "I/O error."}, {0xBFFA4215u, "I/O timeout error."},
    {0xBFFA4216u, "Instrument model does not support this feature."},
    {0xBFFA4211u, "Personality is not active."}, {0xBFFA4213u, "Personality is not licensed."},
    {0xBFFA4212u, "Personality is not installed."}, {0xBFFA0000u, "Failure cannot recover."},
    {0xBFFA0001u, "Instrument error detected.  Use ErrorQuery() to determine the error(s)."},
    {0xBFFA0002u, "Cannot open file."}, {0xBFFA0003u, "Error reading file."},
    {0xBFFA0004u, "Error writing file."}, {0xBFFA000Bu, "The pathname is invalid."},
    {0xBFFA0010u, "Invalid value (%1) for method %2, parameter %3."},
    {0xBFFA0011u, "Does not support this class-compliant feature: method %1"},
    {0xBFFA0012u, "Does not support this class-compliant feature: property %1."},
    {0xBFFA0013u,
     "Does not support this class-compliant feature:  (enumeration) value %1 passed as the value "
     "for parameter %2 in method %3."},
    {0xBFFA001Du, "A connection to the instrument has not been established."},
    {0xBFFA0020u, "Unknown channel name."}, {0xBFFA0023u, "Too many files are open."},
    {0xBFFA0044u, "A channel name is required."},
    {0xBFFA0049u, "The option string is missing an option name."},
    {0xBFFA004Au, "The option string is missing an option value."},
    {0xBFFA004Bu, "The %1 name in the option string is unknown."},
    {0xBFFA004Cu, "The %1 value in the option string is unknown."},
    {0xBFFA0056u, "Could not allocate necessary memory."}, {0xBFFA0057u, "Operation in progress."},
    {0xBFFA0058u, "Null pointer passed for method %1, parameter %2."},
    {0xBFFA0059u, "Unexpected response from instrument."}, {0xBFFA005Bu, "File not found."},
    {0xBFFA005Cu, "Invalid file format."}, {0xBFFA005Du, "The instrument status is not available."},
    {0xBFFA005Eu, "Instrument ID query failed."}, {0xBFFA005Fu, "Instrument reset failed."},
    {0xBFFA0060u, "Unknown resource."}, {0xBFFA0061u, "The driver is already initialized."},
    {0xBFFA0062u, "The simulation state cannot be changed."},
    {0xBFFA0063u,
     "The number of levels in the selector is not valid for the %1 repeated capability."},
    {0xBFFA0064u, "The range %1 is not valid for the repeated capability %2."},
    {0xBFFA0065u, "Unknown name in selector."},
    {0xBFFA0066u, "The repeated capability selector is badly-formed."},
    {0xBFFA0067u, "Unknown physical repeated capability selector."},
    {0xBFFA1001u, "The trigger source is not set to software trigger."},
    {0xBFFA4217u, "The given Register type is invalid."},
    {0xBFFA4218u, "The given Sub-Register type is invalid."}, {0x00000000u, "Success."},
    {0x3FFA0065u, "ID Query is not supported by this instrument."},
    {0x3FFA0066u, "Reset is not supported by this instrument."},
    {0x3FFA0067u, "Self test is not supported by this instrument."},
    {0x3FFA0068u, "Error query is not supported by this instrument."},
    {0x3FFA0069u, "Firmware revision query is not supported by this instrument."},
    {0xBFFA1190u, "The session handle is not valid."},
};

// Codes without an entry: the warning and the code in eight hex digits.
const ViUInt32 kUnknownStatuses[] = {
    0xBFFA000Du, 0xBFFA0015u, 0x3FFF0085u, 0x00000001u, 0x00001234u,
    0x80047000u,  // an object-layer code is not a ViStatus
    0xFFFFFFFFu,
};

TEST_F(SimulatedSession, ErrorMessageAcceptsAnyHandle) {
  ViSession closed = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", &closed),
            VI_SUCCESS);
  ASSERT_EQ(veqdx_close(closed), VI_SUCCESS);
  for (ViSession handle : {static_cast<ViSession>(VI_NULL), vi, closed, 0xDEADBEEFu}) {
    SCOPED_TRACE(testing::Message() << "handle " << handle);
    char text[256];
    for (const auto& [status, expected] : kMessages) {
      std::memset(text, 'x', sizeof text);
      EXPECT_EQ(veqdx_error_message(handle, static_cast<ViStatus>(status), text), VI_SUCCESS)
          << std::hex << status;
      EXPECT_STREQ(text, expected) << std::hex << status;
    }
    for (ViUInt32 status : kUnknownStatuses) {
      char hex[16];
      std::snprintf(hex, sizeof hex, "0x%08X", status);
      EXPECT_EQ(veqdx_error_message(handle, static_cast<ViStatus>(status), text),
                VEQDX_WARN_UNKNOWN_STATUS);
      EXPECT_EQ(std::string(text), std::string("Unknown status code ") + hex + ".");
    }
  }
  EXPECT_EQ(LastError(vi).code, VI_SUCCESS);  // looking a status up records nothing
  EXPECT_EQ(veqdx_error_message(vi, 0, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(LastError(vi).text, "Parameter ErrorMessage is VI_NULL.");
  veqdx_ClearError(VI_NULL);
  EXPECT_EQ(veqdx_error_message(VI_NULL, 0, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(LastError(VI_NULL).text, "Parameter ErrorMessage is VI_NULL.");
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
TEST_F(SimulatedSession, NullOutPointersNameTheParameter) {
  char text[256];
  ViInt16 result = 0;
  ViInt32 code = 0;
  using Call = std::function<ViStatus(ViSession)>;
  const std::pair<Call, const char*> cases[] = {
      {[&](ViSession s) { return veqdx_error_query(s, nullptr, text); }, "ErrorCode"},
      {[&](ViSession s) { return veqdx_self_test(s, nullptr, text); }, "TestResult"},
      {[&](ViSession s) { return veqdx_self_test(s, &result, nullptr); }, "TestMessage"},
      {[&](ViSession s) { return veqdx_error_query(s, &code, nullptr); }, "ErrorMessage"},
      {[](ViSession s) { return veqdx_QueryMaxCurrentLimit(s, "", 1.0, nullptr); },
       "MaxCurrentLimit"},
      {[](ViSession s) { return veqdx_QueryMaxVoltageLevel(s, "", 1.0, nullptr); },
       "MaxVoltageLevel"},
      {[](ViSession s) { return veqdx_Measure(s, "", 0, nullptr); }, "Measurement"},
      {[](ViSession s) { return veqdx_QueryOutputState(s, "", 0, nullptr); }, "InState"},
      {[](ViSession s) { return veqdx_GetAttributeViInt32(s, "", 1250004, nullptr); },
       "AttributeValue"},
      {[](ViSession s) { return veqdx_GetAttributeViReal64(s, "", 1250001, nullptr); },
       "AttributeValue"},
      {[](ViSession s) { return veqdx_GetAttributeViBoolean(s, "", 1250006, nullptr); },
       "AttributeValue"},
      {[](ViSession s) { return veqdx_GetAttributeViSession(s, "", 1250006, nullptr); },
       "AttributeValue"},
      {[](ViSession s) { return veqdx_GetAttributeViString(s, "", 1050513, 10, nullptr); },
       "AttributeValue"},
  };
  int row = 0;
  for (const auto& [call, parameter] : cases) {
    SCOPED_TRACE(testing::Message() << "row " << row++ << ", " << parameter);
    veqdx_ClearError(vi);
    EXPECT_EQ(call(vi), VEQDX_ERROR_NULL_POINTER);
    const Recorded e = LastError(vi);
    EXPECT_EQ(e.code, VEQDX_ERROR_NULL_POINTER);
    EXPECT_EQ(e.text, std::string("Parameter ") + parameter + " is VI_NULL.");
  }
}

// The buffer rules of every variable-size string output, on the output name "Output0": the
// size needed when the buffer is too small (no error), at most size - 1 characters and a NUL,
// nothing written past the NUL.
TEST_F(SimulatedSession, OutputNamesFollowTheBufferRules) {
  struct Size {
    ViInt32 size;
    ViStatus status;
    const char* copied;  // nullptr: buffer untouched
  };
  const Size sizes[] = {{0, 8, nullptr},     {1, 8, ""},           {4, 8, "Out"},
                        {7, 8, "Output"},    {8, VI_SUCCESS, "Output0"},
                        {16, VI_SUCCESS, "Output0"}, {-1, VEQDX_ERROR_INVALID_VALUE, nullptr}};
  for (auto* fn : {veqdx_GetOutputName, veqdx_GetChannelName}) {
    for (const Size& s : sizes) {
      SCOPED_TRACE(testing::Message() << "size " << s.size);
      veqdx_ClearError(vi);
      char buffer[20];
      std::memset(buffer, '#', sizeof buffer);
      EXPECT_EQ(fn(vi, 1, s.size, buffer), s.status);
      EXPECT_EQ(LastError(vi).code, s.status < 0 ? s.status : VI_SUCCESS);
      if (s.copied == nullptr) {
        EXPECT_EQ(buffer[0], '#');
      } else {
        EXPECT_STREQ(buffer, s.copied);
        EXPECT_EQ(buffer[std::strlen(s.copied) + 1], '#');
      }
    }
    EXPECT_EQ(fn(vi, 1, 0, nullptr), 8);  // "Output0" and its NUL
    EXPECT_EQ(fn(vi, 1, 5, nullptr), VEQDX_ERROR_NULL_POINTER);
    for (ViInt32 bad : {0, 2, -1}) {
      char name[16];
      veqdx_ClearError(vi);
      EXPECT_EQ(fn(vi, bad, sizeof name, name), VEQDX_ERROR_INVALID_VALUE) << bad;
      EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_INVALID_VALUE);
    }
  }
}

TEST_F(SimulatedSession, SessionLockKeepsOtherThreadsWaiting) {
  ViBoolean has = 5;  // only VI_TRUE means "already held"
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
  EXPECT_EQ(LastError(vi).code, VI_SUCCESS);
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
  // The parsing of the self-test and error-query replies: tests/core. Here the fixed buffer:
  // a longer message is cut to 255 characters.
  Open("QDX750L");
  char message[256];
  ViInt32 code = 0;
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
  EXPECT_WIRE(Lines{":SYST:ERR?", "*RST;*OPC?"});

  sim->ClearFaults();
  sim->Garbage(":SYST:ERR?", "garbage");
  EXPECT_EQ(veqdx_error_query(vi, &code, message), VEQDX_ERROR_UNEXPECTED_RESPONSE);
  EXPECT_EQ(LastError(vi).text, "VelmoraQdx: Unexpected response from the instrument.\r\n");
}

}  // namespace
}  // namespace capi_test
