// Exact wire traffic of the C functions against the emulated supply.
#include <cstring>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "capi_fixture.h"

namespace capi_test {
namespace {

using Call = std::function<ViStatus(ViSession)>;

// `fn` with `selector` and `value`, as a call on a session.
template <class T>
Call Bind(ViStatus (*fn)(ViSession, ViConstString, T), const char* selector,
          std::type_identity_t<T> value) {
  return [=](ViSession vi) { return fn(vi, selector, value); };
}

// Every per-output function and the commands it must send, on a single unit (a null, empty or
// padded selector names its only output) and on the second output of a two-channel unit.
TEST_F(EmulatedSession, EveryPerOutputFunctionSendsItsCommands) {
  ViReal64 volts = 0;
  ViReal64 amps = 0;
  ViReal64 max = 0;
  ViBoolean state = 7;
  using Rows = std::span<const std::pair<Call, Lines>>;
  const std::pair<Call, Lines> single[] = {
      {Bind(veqdx_ConfigureVoltageLevel, VI_NULL, 12.5), {":INST:NSEL 0", ":VOLT 12.5"}},
      {Bind(veqdx_ConfigureVoltageLevel, "", 12.5), {}},  // cached: nothing sent
      {[](ViSession s) {
         return veqdx_ConfigureCurrentLimit(s, "Output0", VEQDX_VAL_CURRENT_TRIP, 5);
       },
       {":CURR 5"}},
      {Bind(veqdx_ConfigureOutputEnabled, " Output0 ", 7), {":OUTP 1"}},  // any non-zero
      {[](ViSession s) { return veqdx_ConfigureOVP(s, "", VI_TRUE, 20); }, {":VOLT:PROT 20"}},
      {[&](ViSession s) { return veqdx_Measure(s, "", VEQDX_VAL_MEASURE_VOLTAGE, &volts); },
       {":MEAS:VOLT?"}},
      {[&](ViSession s) { return veqdx_Measure(s, "", VEQDX_VAL_MEASURE_CURRENT, &amps); },
       {":MEAS:CURR?"}},
      {[&](ViSession s) {
         return veqdx_QueryOutputState(s, "", VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE, &state);
       },
       {"STAT:OPER:COND?", "STAT:QUES:COND?"}},
      {[&](ViSession s) { return veqdx_QueryMaxVoltageLevel(s, "", 3, &max); }, {":VOLT? MAX"}},
      {[&](ViSession s) { return veqdx_QueryMaxCurrentLimit(s, "", 3, &max); }, {":CURR? MAX"}},
      {[](ViSession s) { return veqdx_ResetOutputProtection(s, ""); }, {":OUTP:PROT:CLE"}},
  };
  const std::pair<Call, Lines> second[] = {
      {Bind(veqdx_ConfigureUVL, "Output2", 1.5), {":INST:NSEL 2", ":VOLT:LIM:LOW 1.5"}},
      {Bind(veqdx_ConfigureOCPLimit, "Output2", 10), {":CURR:PROT 10"}},
      {Bind(veqdx_ConfigurePONState, "Output2", 2), {":OUTP:PON FORC"}},
      {Bind(veqdx_ConfigureProtectionRecovery, "Output2", 1), {":SYST:CONF:PROT:REC AUTO"}},
      {Bind(veqdx_ConfigureOperationPriority, "Output2", 1), {":SYST:CONF:STAR:PRI CV"}},
      {Bind(veqdx_ConfigureBleederEnabled, "Output2", 2), {":SYST:CONF:BLE 1"}},
      {Bind(veqdx_ConfigureExternalMonitorRange, "Output2", 1), {":SYST:CONF:MON:RANG HIGH"}},
      {Bind(veqdx_ConfigureOutputControlEnabled, "Output2", 0), {":OUTP:EXT 0"}},
      {Bind(veqdx_ConfigureOutputControlLogic, "Output2", 1), {":OUTP:EXT:LOG HIGH"}},
      {Bind(veqdx_ConfigureAnalogControlRange, "Output2", 0), {":VOLT:EXT:RANG LOW"}},
      {Bind(veqdx_ConfigureCCControlEnabled, "Output2", 1), {":CURR:EXT:SOUR VOLT"}},
      {Bind(veqdx_ConfigureCVControlEnabled, "Output2", 0), {":VOLT:EXT:SOUR NONE"}},
      {Bind(veqdx_ConfigureTriggerSource, "Output2", 2), {"TRIG:TRAN:SOUR BUS"}},
      {Bind(veqdx_ConfigureTriggeredVoltageLevel, "Output2", 7.25), {":VOLT:TRIG 7.25"}},
      {Bind(veqdx_ConfigureTriggeredCurrentLimit, "Output2", 0.5), {":CURR:TRIG 0.5"}},
  };
  for (bool twoChannels : {false, true}) {
    Open(twoChannels ? "QDX750ML" : "QDX750L", twoChannels ? 2 : 0);
    for (const auto& [call, commands] : twoChannels ? Rows(second) : Rows(single)) {
      ASSERT_EQ(call(vi), VI_SUCCESS) << commands.back() << ": " << LastError(vi).text;
      EXPECT_EQ(Wire(commands.size()), commands);
    }
    if (!twoChannels) {  // 12.5 V on 10 ohms: constant voltage
      EXPECT_NEAR(volts, 12.5, 0.01);
      EXPECT_NEAR(amps, 1.25, 0.01);
      EXPECT_EQ(state, VI_TRUE);
    }
    veqdx_close(vi);
  }
  vi = VI_NULL;
}

// A range is resolved before anything is applied, then applied in order up to the first
// output that fails.
TEST_F(EmulatedSession, RangeSelectorAppliesInOrderAndStopsAtTheFirstFailure) {
  // Output1 is rated 80 V, Output2 30 V (31.5 V at most), Output3 30 V.
  OpenChannels({"QDX750ML", "QDX750L", "QDX750L"});
  ASSERT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output1-Output2", 5), VI_SUCCESS)
      << LastError(vi).text;
  EXPECT_WIRE(Lines{":INST:NSEL 1", ":VOLT 5", ":INST:NSEL 2", ":VOLT 5"});
  ASSERT_EQ(veqdx_ConfigureCurrentLimit(vi, " Output1 -\tOutput3 ", 0, 2), VI_SUCCESS);
  EXPECT_WIRE(
      Lines{":INST:NSEL 1", ":CURR 2", ":INST:NSEL 2", ":CURR 2", ":INST:NSEL 3", ":CURR 2"});

  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output1-Output4", 6),
            VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(LastError(vi).text, "VelmoraQdx: Unknown channel name.\r\nOutput4");
  EXPECT_WIRE(Lines{});
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output1-Output3", 50), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(LastError(vi).text,
            "VelmoraQdx: Invalid value (50) for method put_VoltageLevel, parameter val.\r\n");
  EXPECT_WIRE(Lines{":INST:NSEL 1", ":VOLT 50"});  // Output3 is never asked
}

// The selector grammar: names it accepts show as unknown names (the first in order), which
// proves how they were read. Nothing is sent.
TEST_F(EmulatedSession, SelectorErrorsOnATwoChannelUnit) {
  Open("QDX750ML", 2);
  constexpr ViStatus kRequired = VEQDX_ERROR_CHANNEL_NAME_REQUIRED;
  constexpr ViStatus kBadly = VEQDX_ERROR_BADLY_FORMED_SELECTOR;
  constexpr ViStatus kRange = VEQDX_ERROR_INVALID_RANGE_IN_SELECTOR;
  constexpr ViStatus kLevels = VEQDX_ERROR_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR;
  constexpr ViStatus kUnknown = VEQDX_ERROR_UNKNOWN_CHANNEL_NAME;
  const std::map<ViStatus, std::string> texts = {
      {kRequired, "VelmoraQdx: A channel name is required.\r\n"},
      {kBadly, "The repeated capability selector is badly-formed."},
      {kRange, "Invalid range specified in repeated capability selector."},
      {kLevels,
       "Invalid or inconsistent number of levels specified in repeated capability selector."},
      {kUnknown, "VelmoraQdx: Unknown channel name.\r\n"},
  };
  const struct {
    const char* selector;
    ViStatus status;
    const char* unknown = "";  // the name an unknown-name refusal appends
  } cases[] = {
      {nullptr, kRequired},
      {"", kRequired},
      {" \t ", kRequired},
      {"Output1-", kBadly},
      {"-Output1", kBadly},
      {"Output1--Output2", kBadly},
      {"Output1-Output2-Output3", kBadly},
      {"Out put1", kBadly},
      {"Output1\n", kBadly},
      {"Output#1", kBadly},
      {"Output1,Output2", kBadly},  // one name or one range, no lists
      {"Output1-Output2, Output4", kBadly},
      {"Output1,", kBadly},
      {",Output1", kBadly},
      {"1-3", kBadly},               // range ends start with a run of letters
      {"Output-Output2", kBadly},    // an end without a number
      {"Output1a-Output2", kBadly},  // an end not letters-then-number
      {"1Output-3Output", kBadly},
      {"Output1-Channel2", kRange},  // different prefixes
      {"Output2-Output1", kRange},   // descending
      {"Output1-Output99999999999", kRange},  // number does not fit
      {"a0-a1024", kRange},                   // more than 1024 names
      {"Output1:X", kLevels},
      {"Output1-Output2:x", kLevels},
      {":", kLevels},
      {"output1", kUnknown, "output1"},
      {"Output0", kUnknown, "Output0"},
      {"  Output3\t", kUnknown, "Output3"},
      {"Output01-Output03", kUnknown, "Output3"},  // "%s%d" drops leading zeros
      {"Output8-Output11", kUnknown, "Output8"},
      {"my_out!1-my_out!2", kUnknown, "my_out!1"},
      {"ch!", kUnknown, "ch!"},
      {"Output1a", kUnknown, "Output1a"},  // a plain name may mix letters and digits freely
      {"a1-a1024", kUnknown, "a1"},        // 1024 names are still fine
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.selector == nullptr ? "(null)" : c.selector);
    EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, c.selector, 1), c.status);
    const Recorded e = LastError(vi);
    EXPECT_EQ(e.code, c.status);
    EXPECT_EQ(e.text, texts.at(c.status) + c.unknown);
    ViReal64 value = 0;
    EXPECT_EQ(veqdx_Measure(vi, c.selector, VEQDX_VAL_MEASURE_VOLTAGE, &value), c.status);
  }
  EXPECT_WIRE(Lines{});
}

TEST_F(EmulatedSession, QueryStateOfTheSecondChannelUsesItsSummaryRegisters) {
  Open("QDX750ML", 2);
  sim->Device().RaiseAlarm(2, 0x10);
  ViBoolean inState = VI_FALSE;
  ASSERT_EQ(veqdx_QueryOutputState(vi, "Output2", VEQDX_VAL_OUTPUT_OVER_TEMPERATURE, &inState),
            VI_SUCCESS)
      << LastError(vi).text;
  EXPECT_EQ(inState, VI_TRUE);
  EXPECT_WIRE(Lines{"STAT:OPER:INST:ISUM2:COND?", "STAT:QUES:INST:ISUM2:COND?"});
  EXPECT_EQ(veqdx_QueryOutputState(vi, "Output2", 7, &inState), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(Wire(2).size(), 2u);  // both registers read before the state is refused
}

// Values refused before anything is sent; the output range is checked but never sent.
TEST_F(EmulatedSession, RefusedValuesAndOutputRangeSendNothing) {
  Open("QDX750ML");  // 80 V, 28 A: maxima 84 V and 29.4 A
  const std::pair<Call, bool> cases[] = {
      // true: accepted
      {[](ViSession s) { return veqdx_ConfigureTriggerSource(s, "", 1); }, false},
      {[](ViSession s) { return veqdx_ConfigurePONState(s, "", 3); }, false},
      {[](ViSession s) { return veqdx_ConfigureAnalogControlRange(s, "", 2); }, false},
      {[](ViSession s) { return veqdx_ConfigureVoltageLevel(s, "", -1e-13); }, false},
      {[](ViSession s) { return veqdx_ConfigureOutputRange(s, "", 1, 84); }, true},
      {[](ViSession s) { return veqdx_ConfigureOutputRange(s, "", 0, 0); }, true},
      {[](ViSession s) { return veqdx_ConfigureOutputRange(s, "", 1, 84.1); }, false},
      {[](ViSession s) { return veqdx_ConfigureOutputRange(s, "", 0, 29.5); }, false},
      {[](ViSession s) { return veqdx_ConfigureOutputRange(s, "", 0, -1); }, false},
      {[](ViSession s) { return veqdx_ConfigureOutputRange(s, "", 2, 1); }, false},
  };
  int row = 0;
  for (const auto& [call, accepted] : cases) {
    EXPECT_EQ(call(vi), accepted ? VI_SUCCESS : VEQDX_ERROR_INVALID_VALUE) << "row " << row++;
  }
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_RANGE_CHECK, VI_FALSE), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", VEQDX_VAL_RANGE_VOLTAGE, 1000), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", 5, 1), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_WIRE(Lines{});
}

TEST_F(EmulatedSession, DriverWideCommandsSelectNoChannel) {
  Open("QDX750ML", 2);
  ASSERT_EQ(veqdx_ConfigureGlobalVoltageLevel(vi, 5), VI_SUCCESS) << LastError(vi).text;
  ASSERT_EQ(veqdx_ConfigureGlobalCurrentLimit(vi, 1.5), VI_SUCCESS);
  ASSERT_EQ(veqdx_ConfigureGloabOutputEnabled(vi, 3), VI_SUCCESS);
  ASSERT_EQ(veqdx_SaveState(vi, 2), VI_SUCCESS);
  ASSERT_EQ(veqdx_RecallState(vi, 3), VI_SUCCESS);
  EXPECT_EQ(veqdx_SaveState(vi, 0), VI_SUCCESS);  // out of range: reported, sent all the same
  for (Call call :
       {veqdx_Initiate, veqdx_SendSoftwareTrigger, veqdx_Abort, veqdx_Clear, veqdx_Preset}) {
    ASSERT_EQ(call(vi), VI_SUCCESS) << LastError(vi).text;
  }
  EXPECT_WIRE(Lines{":GLOB:VOLT 5", ":GLOB:CURR 1.5", ":GLOB:OUTP 1", "*SAV 2", "*RCL 3", "*SAV 0",
                    ":INIT", "*TRG", ":ABOR", "*CLS", ":STAT:PRES"});
}

// QueryInstrumentStatus set through its attribute: an error the instrument reports reaches the
// caller as its status.
TEST_F(EmulatedSession, InstrumentErrorIsReportedWhenQueryInstrumentStatusIsOn) {
  Open();
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_QUERY_INSTRUMENT_STATUS, VI_TRUE),
            VI_SUCCESS);
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_RANGE_CHECK, VI_FALSE), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "", 1000), VEQDX_ERROR_INSTRUMENT_STATUS);
  EXPECT_EQ(LastError(vi).text,
            "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to determine error(s).\r\n");
  EXPECT_WIRE(Lines{":INST:NSEL 0", "*ESR?", ":VOLT 1000", "*ESR?"});
}

TEST_F(EmulatedSession, DirectIoSharesTheDriversLink) {
  Open("QDX750H");
  char buffer[256];
  ViInt32 count = -1;
  ASSERT_EQ(veqdx_SystemWrite(vi, "*IDN?"), VI_SUCCESS) << LastError(vi).text;
  ASSERT_EQ(veqdx_SystemRead(vi, sizeof buffer, buffer, &count), VI_SUCCESS);
  EXPECT_EQ(std::string(buffer).rfind("Velmora,QDX750H,", 0), 0u) << buffer;
  EXPECT_EQ(count, static_cast<ViInt32>(std::strlen(buffer)));
  ASSERT_EQ(veqdx_SystemWrite(vi, "*IDN?"), VI_SUCCESS);
  ASSERT_EQ(veqdx_SystemRead(vi, 6, buffer, &count), VI_SUCCESS);
  EXPECT_STREQ(buffer, "Velmo");
  EXPECT_EQ(count, 5);
  EXPECT_WIRE(Lines{"*IDN?", "*IDN?"});
  EXPECT_EQ(veqdx_SystemRead(vi, 0, buffer, &count), VEQDX_ERROR_INVALID_VALUE);
}

TEST_F(SimulatedSession, DirectIoIsRefusedWhileSimulating) {
  const char* expected = "VelmoraQdx: I/O error: Direct I/O not available while Simulating.\r\n";
  EXPECT_EQ(veqdx_SystemWrite(vi, "*RST"), VEQDX_ERROR_IO_GENERAL);
  EXPECT_EQ(LastError(vi).text, expected);
  char buffer[16] = "junk";
  ViInt32 count = 99;
  EXPECT_EQ(veqdx_SystemRead(vi, sizeof buffer, buffer, &count), VEQDX_ERROR_IO_GENERAL);
  EXPECT_EQ(count, 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(LastError(vi).text, expected);
}

// A register access by number and the command it must produce.
struct RegisterCase {
  const char* selector;
  ViInt32 reg;
  ViInt32 sub;
  const char* command;
  ViInt32 value = 0;  // written
};

TEST_F(EmulatedSession, RegisterNumbersReachTheirCommands) {
  Open("QDX750ML", 2);
  const RegisterCase reads[] = {
      {"", 0, 0, ":STAT:OPER:COND?"},
      {"", 0, 1, ":STAT:OPER:ENAB?"},
      {"", 0, 2, ":STAT:OPER:EVEN?"},
      {"", 1, 0, ":STAT:QUES:COND?"},
      {"", 1, 1, ":STAT:QUES:ENAB?"},
      {"", 1, 2, ":STAT:QUES:EVEN?"},
      {"", 2, 0, ":STAT:OPER:INST:COND?"},
      {"", 2, 1, ":STAT:OPER:INST:ENAB?"},
      {"", 2, 2, ":STAT:OPER:INST:EVEN?"},
      {"", 3, 0, ":STAT:QUES:INST:COND?"},
      {"", 3, 1, ":STAT:QUES:INST:ENAB?"},
      {"", 3, 2, ":STAT:QUES:INST:EVEN?"},
      {"", 4, 1, "*ESE?"},
      {"", 4, 2, "*ESR?"},
      {nullptr, 5, 0, "*STB?"},
      {" ", 5, 1, "*SRE?"},
      {"Output1", 0, 0, ":STAT:OPER:INST:ISUM1:COND?"},
      {"Output2", 0, 1, ":STAT:OPER:INST:ISUM2:ENAB?"},
      {"Output2", 0, 2, ":STAT:OPER:INST:ISUM2:EVEN?"},
      {"Output2", 1, 0, ":STAT:QUES:INST:ISUM2:COND?"},
      {"Output1", 1, 1, ":STAT:QUES:INST:ISUM1:ENAB?"},
      {"Output1", 1, 2, ":STAT:QUES:INST:ISUM1:EVEN?"},
  };
  for (const RegisterCase& c : reads) {
    ViInt32 value = -1;
    ASSERT_EQ(veqdx_StatusGetRegister(vi, c.selector, c.reg, c.sub, &value), VI_SUCCESS)
        << c.command << ": " << LastError(vi).text;
    EXPECT_WIRE(Lines{c.command});
    EXPECT_GE(value, 0) << c.command;
  }
  // Values are narrowed to the register's width.
  const RegisterCase writes[] = {
      {"", 0, 1, ":STAT:OPER:ENAB 9029", 0x12345},        // 16 bits
      {"", 1, 1, ":STAT:QUES:ENAB -1", 0xFFFF},           // a short
      {"", 2, 1, ":STAT:OPER:INST:ENAB 74565", 0x12345},  // 32 bits kept
      {"", 3, 1, ":STAT:QUES:INST:ENAB 6", 6},
      {"", 4, 1, "*ESE 255", 0x1FF},  // 8 bits
      {"", 5, 1, "*SRE 16", 16},
      {"Output2", 0, 1, ":STAT:OPER:INST:ISUM2:ENAB 4", 4},
      {"Output2", 1, 1, ":STAT:OPER:INST:ISUM2:ENAB 4", 4},  // the instrument interface's quirk
  };
  for (const RegisterCase& c : writes) {
    ASSERT_EQ(veqdx_StatusSetRegister(vi, c.selector, c.reg, c.sub, c.value), VI_SUCCESS)
        << c.command << ": " << LastError(vi).text;
    EXPECT_WIRE(Lines{c.command});
  }
  ViInt32 sre = 0;
  ASSERT_EQ(veqdx_StatusGetRegister(vi, "", 5, 1, &sre), VI_SUCCESS);
  EXPECT_EQ(sre, 16);
  Wire();

  // Numbers outside the table (true: written).
  const std::tuple<const char*, ViInt32, ViInt32, bool, ViStatus> refused[] = {
      {"", 6, 1, false, VEQDX_ERROR_INVALID_REGISTER},
      {"", -1, 1, true, VEQDX_ERROR_INVALID_REGISTER},
      {"Output1", 2, 1, false, VEQDX_ERROR_INVALID_REGISTER},
      {"Output1", 5, 1, true, VEQDX_ERROR_INVALID_REGISTER},
      {"", 4, 0, false, VEQDX_ERROR_INVALID_SUB_REGISTER},  // standard event has no condition
      {"", 5, 2, false, VEQDX_ERROR_INVALID_SUB_REGISTER},  // status byte has no event
      {"", 0, 3, false, VEQDX_ERROR_INVALID_SUB_REGISTER},
      {"", 0, -1, false, VEQDX_ERROR_INVALID_SUB_REGISTER},
      {"", 0, 0, true, VEQDX_ERROR_INVALID_SUB_REGISTER},  // conditions cannot be written
      {"", 4, 2, true, VEQDX_ERROR_INVALID_SUB_REGISTER},  // nor events
      {"Output2", 1, 0, true, VEQDX_ERROR_INVALID_SUB_REGISTER},
  };
  for (const auto& [selector, reg, sub, write, status] : refused) {
    ViInt32 value = 0;
    EXPECT_EQ(write ? veqdx_StatusSetRegister(vi, selector, reg, sub, 1)
                    : veqdx_StatusGetRegister(vi, selector, reg, sub, &value),
              status)
        << reg << "/" << sub;
    EXPECT_EQ(LastError(vi).code, status);
    EXPECT_EQ(LastError(vi).text, status == VEQDX_ERROR_INVALID_REGISTER
                                      ? "The given Register type is invalid."
                                      : "The given Sub-Register type is invalid.");
  }
  ViInt32 value = 0;
  EXPECT_EQ(veqdx_StatusGetRegister(vi, "Output3", 0, 0, &value), VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(veqdx_StatusGetRegister(vi, "", 0, 0, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_WIRE(Lines{});
}

}  // namespace
}  // namespace capi_test
