// Sessions, errors, utility functions, string outputs and the session lock through veqdx.h.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "capi_fixture.h"

namespace capi_test {
namespace {

using namespace std::chrono_literals;
using Call = std::function<ViStatus(ViSession)>;

// A failed init leaves the handle VI_NULL and records the error for the calling thread only;
// reading the record does not clear it.
TEST(Session, FailedInitRecordsForTheThread) {
  auto Unknown = [](const std::string& value) {
    return "VelmoraQdx: The " + value + " value in the option string is unknown.\r\n";
  };
  constexpr ViStatus kBadValue = VEQDX_ERROR_BAD_OPTION_VALUE;
  const struct {
    void (*fault)(Sim&);  // not nullptr: on an emulator with this fault, by veqdx_init
    const char* options;  // not nullptr: simulated options; both nullptr: a closed port
    ViStatus status;
    std::string text;
  } cases[] = {
      {nullptr, "Simulate=yes", kBadValue, Unknown("yes")},
      {nullptr, "Simulate=true, InterchangeCheck=true", kBadValue,
       Unknown("True") + "Interchange checking is not supported by the driver."},
      // IoTimeout is a plain count of milliseconds from 1 to 3600000, never taken loosely.
      {nullptr, "Simulate=true, DriverSetup=IoTimeout=0", kBadValue, Unknown("0")},
      {nullptr, "Simulate=true, DriverSetup=IoTimeout=5s", kBadValue, Unknown("5s")},
      {nullptr, "DriverSetup=Model=QDX750L, iotimeout=-1", kBadValue, Unknown("-1")},
      {nullptr, "Simulate=1,DriverSetup=IOTIMEOUT=3600001", kBadValue, Unknown("3600001")},
      {nullptr, nullptr, VEQDX_ERROR_IO_GENERAL,
       "VelmoraQdx: I/O error: Failed to open VISA resource..\r\nResource descriptor = "
       "TCPIP::127.0.0.1::1::SOCKET. Cause: connect to 127.0.0.1:1 refused."},
      {[](Sim& s) { s.AddGarbageQuery("*IDN?", "Velmora,XYZ123,SIM0001,1.00"); }, nullptr,
       VEQDX_ERROR_ID_QUERY_FAILED,
       "VelmoraQdx: Instrument ID query failed.\r\nUnrecognized model: XYZ123."},
      {[](Sim& s) { s.AddSilentQuery("*RST"); }, nullptr, VEQDX_ERROR_RESET_FAILED,
       "VelmoraQdx: Instrument reset failed.\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Sim sim;
    ASSERT_TRUE(sim.started) << sim.error;
    if (c.fault != nullptr) c.fault(sim);
    const std::string resource = c.fault ? sim.Resource() : "TCPIP::127.0.0.1::1::SOCKET";
    veqdx_ClearError(VI_NULL);
    ViSession vi = 0x1234;
    EXPECT_EQ(c.options ? veqdx_InitWithOptions(kSimResource, VI_TRUE, VI_TRUE, c.options, &vi)
                        : veqdx_init(resource.c_str(), VI_TRUE, VI_TRUE, &vi),
              c.status);
    EXPECT_EQ(vi, static_cast<ViSession>(VI_NULL));
    EXPECT_EQ(LastError(VI_NULL).text, c.text);
    EXPECT_EQ(LastError(VI_NULL).code, c.status);
    Recorded other;
    std::thread([&] { other = LastError(VI_NULL); }).join();
    EXPECT_EQ(other.code, VI_SUCCESS);
  }
  // Nowhere to put the handle: nothing is created, and the failure is the thread's too.
  for (bool withOptions : {false, true}) {
    veqdx_ClearError(VI_NULL);
    EXPECT_EQ(withOptions ? veqdx_InitWithOptions(kSimResource, 0, 0, "Simulate=true", nullptr)
                          : veqdx_init(kSimResource, VI_FALSE, VI_FALSE, nullptr),
              VEQDX_ERROR_NULL_POINTER);
    EXPECT_EQ(LastError(VI_NULL).text,
              "VelmoraQdx: Null pointer passed for method InitWithOptions, parameter Vi.\r\n");
  }
}

// A closed, a not yet issued, a forged and a null handle: every function refuses them and
// records the refusal for the calling thread; handles are not reused.
TEST(Session, BadHandlesAreRefusedAndRecordedForTheThread) {
  ViSession closed = VI_NULL;
  ViSession live = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, 0, 0, "Simulate=true", &closed), VI_SUCCESS);
  ASSERT_EQ(veqdx_close(closed), VI_SUCCESS);
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, 0, 0, "Simulate=true", &live), VI_SUCCESS);
  EXPECT_NE(live, closed);

  ViBoolean has = VI_FALSE;
  ViStatus code = 0;
  char text[256];
  const std::pair<bool, Call> calls[] = {
      // true: VI_NULL means the thread's record
      {false, veqdx_reset},
      {false, [](ViSession s) { return veqdx_ConfigureVoltageLevel(s, "", 1); }},
      {false, veqdx_close},
      {false, [&](ViSession s) { return veqdx_LockSession(s, &has); }},
      {false, [&](ViSession s) { return veqdx_UnlockSession(s, &has); }},
      {true, veqdx_ClearError},
      {true, [&](ViSession s) { return veqdx_GetError(s, &code, sizeof text, text); }},
  };
  for (ViSession bad : {closed, live + 1, live ^ 0x5A5A0000u, ViSession{VI_NULL}}) {
    int row = 0;
    for (const auto& [threadRecord, call] : calls) {
      SCOPED_TRACE(testing::Message() << "call " << row++ << " on " << std::hex << bad);
      if (bad == VI_NULL && threadRecord) continue;
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

TEST_F(SimulatedSession, ErrorMessageAcceptsAnyHandle) {
  ViSession closed = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(kSimResource, 0, 0, "Simulate=true", &closed), VI_SUCCESS);
  ASSERT_EQ(veqdx_close(closed), VI_SUCCESS);
  for (ViSession handle : {ViSession{VI_NULL}, vi, closed, 0xDEADBEEFu}) {
    SCOPED_TRACE(testing::Message() << "handle " << handle);
    char text[256];
    for (const auto& [status, expected] : kMessages) {
      std::memset(text, 'x', sizeof text);
      EXPECT_EQ(veqdx_error_message(handle, static_cast<ViStatus>(status), text), VI_SUCCESS);
      EXPECT_STREQ(text, expected) << std::hex << status;
    }
    // Codes without an entry (an object-layer code is no ViStatus): the code in hex.
    for (ViUInt32 status : {0xBFFA000Du, 0xBFFA0015u, 0x3FFF0085u, 0x1u, 0x80047000u, ~0u}) {
      char hex[16];
      std::snprintf(hex, sizeof hex, "0x%08X", status);
      EXPECT_EQ(veqdx_error_message(handle, static_cast<ViStatus>(status), text),
                VEQDX_WARN_UNKNOWN_STATUS);
      EXPECT_EQ(std::string(text), std::string("Unknown status code ") + hex + ".");
    }
  }
  EXPECT_EQ(LastError(vi).code, VI_SUCCESS);  // looking a status up records nothing
}

// Every null out pointer that has a documented description, recorded on the session (the
// thread's record for error_message without a session).
TEST_F(SimulatedSession, NullOutPointersNameTheParameter) {
  char text[256];
  ViInt16 result = 0;
  ViInt32 code = 0;
  const std::pair<Call, const char*> cases[] = {
      {[&](ViSession s) { return veqdx_error_query(s, nullptr, text); }, "ErrorCode"},
      {[&](ViSession s) { return veqdx_self_test(s, nullptr, text); }, "TestResult"},
      {[&](ViSession s) { return veqdx_self_test(s, &result, nullptr); }, "TestMessage"},
      {[&](ViSession s) { return veqdx_error_query(s, &code, nullptr); }, "ErrorMessage"},
      {[](ViSession s) { return veqdx_error_message(s, 0, nullptr); }, "ErrorMessage"},
      {[](ViSession s) { return veqdx_QueryMaxCurrentLimit(s, "", 1, nullptr); },
       "MaxCurrentLimit"},
      {[](ViSession s) { return veqdx_QueryMaxVoltageLevel(s, "", 1, nullptr); },
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
      {[](ViSession s) { return veqdx_GetOutputName(s, 1, 5, nullptr); }, "Name"},
      {[](ViSession s) { return veqdx_SystemWrite(s, nullptr); }, "Command"},
      {[&](ViSession s) { return veqdx_SystemRead(s, sizeof text, text, nullptr); }, "ActualCount"},
  };
  for (const auto& [call, parameter] : cases) {
    SCOPED_TRACE(parameter);
    veqdx_ClearError(vi);
    EXPECT_EQ(call(vi), VEQDX_ERROR_NULL_POINTER);
    const Recorded e = LastError(vi);
    EXPECT_EQ(e.code, VEQDX_ERROR_NULL_POINTER);
    EXPECT_EQ(e.text, std::string("Parameter ") + parameter + " is VI_NULL.");
  }
  veqdx_ClearError(VI_NULL);
  EXPECT_EQ(veqdx_error_message(VI_NULL, 0, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(LastError(VI_NULL).text, "Parameter ErrorMessage is VI_NULL.");
}

// Every variable-size string output. GetError comes first: reading the record, and its own
// argument errors, leave the record alone.
TEST_F(SimulatedSession, StringOutputsFollowTheBufferRules) {
  ASSERT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output9", 1), VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  const std::string error = "VelmoraQdx: Unknown channel name.\r\nOutput9";
  ViStatus code = 0;
  using Out = std::function<ViStatus(ViInt32, ViChar*)>;
  const std::pair<Out, std::string> outputs[] = {
      {[&](ViInt32 n, ViChar* b) { return veqdx_GetError(vi, &code, n, b); }, error},
      {[&](ViInt32 n, ViChar* b) { return veqdx_GetOutputName(vi, 1, n, b); }, "Output0"},
      {[&](ViInt32 n, ViChar* b) { return veqdx_GetChannelName(vi, 1, n, b); }, "Output0"},
      {[&](ViInt32 n, ViChar* b) {
         return veqdx_GetAttributeViString(vi, "", VEQDX_ATTR_SPECIFIC_DRIVER_PREFIX, n, b);
       },
       "veqdx"},
      {[&](ViInt32 n, ViChar* b) { return veqdx_GetNextCoercionRecord(vi, n, b); }, ""},
      {[&](ViInt32 n, ViChar* b) { return veqdx_GetNextInterchangeWarning(vi, n, b); }, ""},
  };
  for (const auto& [call, text] : outputs) {
    SCOPED_TRACE(text);
    const auto needed = static_cast<ViStatus>(text.size() + 1);
    EXPECT_EQ(call(0, nullptr), needed);
    char buffer[64];
    for (ViInt32 size = 1; size <= needed + 2; ++size) {
      std::memset(buffer, '#', sizeof buffer);
      EXPECT_EQ(call(size, buffer), size >= needed ? VI_SUCCESS : needed) << size;
      const auto kept = std::min<std::size_t>(static_cast<std::size_t>(size) - 1, text.size());
      EXPECT_EQ(std::string(buffer), text.substr(0, kept)) << size;
      EXPECT_EQ(buffer[kept + 1], '#') << size;
    }
    buffer[0] = '#';
    EXPECT_EQ(call(-1, buffer), VEQDX_ERROR_INVALID_VALUE);
    EXPECT_EQ(buffer[0], '#');
    const bool isGetError = &text == &outputs[0].second;
    EXPECT_EQ(LastError(vi).code,
              isGetError ? VEQDX_ERROR_UNKNOWN_CHANNEL_NAME : VEQDX_ERROR_INVALID_VALUE);
    if (isGetError) {
      EXPECT_EQ(code, VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
      EXPECT_EQ(veqdx_GetError(vi, nullptr, sizeof buffer, buffer), VEQDX_ERROR_NULL_POINTER);
      EXPECT_EQ(veqdx_GetError(vi, nullptr, 0, nullptr), needed);  // the code may be null
      EXPECT_EQ(LastError(vi).text, error);
    }
  }
  for (auto* name : {veqdx_GetOutputName, veqdx_GetChannelName}) {
    for (ViInt32 index : {0, 2, -1}) {
      veqdx_ClearError(vi);
      EXPECT_EQ(name(vi, index, sizeof code, nullptr), VEQDX_ERROR_INVALID_VALUE) << index;
      EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_INVALID_VALUE);
    }
  }
  EXPECT_EQ(veqdx_ClearError(vi), VI_SUCCESS);
  EXPECT_EQ(LastError(vi).code, VI_SUCCESS);
  EXPECT_EQ(LastError(vi).text, "");
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
  for (auto* fn :
       {veqdx_reset, veqdx_ResetWithDefaults, veqdx_Disable, veqdx_InvalidateAllAttributes,
        veqdx_ClearInterchangeWarnings, veqdx_ResetInterchangeCheck, veqdx_Abort, veqdx_Initiate,
        veqdx_SendSoftwareTrigger, veqdx_Clear, veqdx_Preset}) {
    EXPECT_EQ(fn(vi), VI_SUCCESS) << LastError(vi).text;
  }
}

TEST_F(EmulatedSession, InstrumentAnswersOfUtilityFunctions) {
  // The parsing of the replies: tests/core. Here the fixed buffers: a longer message is cut to
  // 255 characters; and what reaches the wire.
  Open("QDX750L");
  char message[256];
  ViInt32 code = 0;
  sim->AddGarbageQuery(":SYST:ERR?", "-100,\"" + std::string(400, 'e') + "\"");
  std::memset(message, 'x', sizeof message);
  ASSERT_EQ(veqdx_error_query(vi, &code, message), VI_SUCCESS) << LastError(vi).text;
  EXPECT_EQ(std::strlen(message), 255u);
  char driverRev[256];
  char instrRev[256];
  ASSERT_EQ(veqdx_revision_query(vi, driverRev, instrRev), VI_SUCCESS);
  EXPECT_STREQ(instrRev, "1.00");
  ASSERT_EQ(veqdx_reset(vi), VI_SUCCESS) << LastError(vi).text;
  EXPECT_WIRE(Lines{":SYST:ERR?", "*RST;*OPC?"});
}

TEST_F(SimulatedSession, SessionLockKeepsOtherThreadsWaiting) {
  ViBoolean has = VI_TRUE;  // a lock the caller claims but does not hold
  EXPECT_EQ(veqdx_UnlockSession(vi, &has), VEQDX_ERROR_CANNOT_RECOVER);
  EXPECT_EQ(has, VI_TRUE);
  EXPECT_EQ(LastError(vi).text, "The session is not locked by the calling thread.");
  has = 5;  // only VI_TRUE means "already held"
  ASSERT_EQ(veqdx_LockSession(vi, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_TRUE);
  EXPECT_EQ(veqdx_LockSession(vi, &has), VI_SUCCESS);               // already held: nothing done
  ASSERT_EQ(veqdx_LockSession(vi, nullptr), VI_SUCCESS);            // nested, balanced below
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "", 3.0), VI_SUCCESS);  // the holder goes on

  std::atomic<bool> done{false};
  ViStatus otherUnlock = VI_SUCCESS;
  ViStatus otherStatus = -1;
  std::thread other([&] {
    otherUnlock = veqdx_UnlockSession(vi, nullptr);  // not the other thread's to release
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
  EXPECT_EQ(otherUnlock, VEQDX_ERROR_CANNOT_RECOVER);
  EXPECT_EQ(otherStatus, VI_SUCCESS);
  ViReal64 level = 0;
  ASSERT_EQ(veqdx_GetAttributeViReal64(vi, "", VEQDX_ATTR_VOLTAGE_LEVEL, &level), VI_SUCCESS);
  EXPECT_EQ(level, 4.0);
}

TEST_F(SimulatedSession, CloseWhileAnotherThreadWaitsLeavesItAStaleHandle) {
  ASSERT_EQ(veqdx_LockSession(vi, nullptr), VI_SUCCESS);
  ViStatus otherStatus = 0;
  std::thread other([&] { otherStatus = veqdx_ConfigureVoltageLevel(vi, "", 4.0); });
  std::this_thread::sleep_for(50ms);
  ASSERT_EQ(veqdx_close(vi), VI_SUCCESS);  // the holder may close; its lock goes with it
  other.join();
  EXPECT_EQ(otherStatus, VEQDX_ERROR_INVALID_SESSION_HANDLE);
  vi = VI_NULL;
}

}  // namespace
}  // namespace capi_test
