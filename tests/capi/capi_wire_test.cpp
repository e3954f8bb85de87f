// Exact wire traffic of the C functions against the emulated supply: channel selection,
// selectors, every per-output setting, triggers, globals, memories, direct I/O and the status
// registers by number.
#include <string>
#include <utility>

#include "capi_fixture.h"

namespace capi_test {
namespace {

TEST_F(EmulatedSession, SingleUnitSelectsItsChannelOnceThenSends) {
  Open("QDX750L");
  ASSERT_EQ(veqdx_ConfigureVoltageLevel(vi, VI_NULL, 12.5), VI_SUCCESS) << LastError(vi).text;
  EXPECT_WIRE(Lines{":INST:NSEL 0", ":VOLT 12.5"});
  ASSERT_EQ(veqdx_ConfigureVoltageLevel(vi, "", 12.5), VI_SUCCESS);  // cached: nothing sent
  ASSERT_EQ(veqdx_ConfigureCurrentLimit(vi, "Output0", VEQDX_VAL_CURRENT_TRIP, 5), VI_SUCCESS);
  ASSERT_EQ(veqdx_ConfigureOutputEnabled(vi, " Output0 ", 7), VI_SUCCESS);  // any non-zero
  ASSERT_EQ(veqdx_ConfigureOVP(vi, "", VI_TRUE, 20), VI_SUCCESS);
  EXPECT_WIRE(Lines{":CURR 5", ":OUTP 1", ":VOLT:PROT 20"});

  ViReal64 volts = 0;
  ViReal64 amps = 0;
  ASSERT_EQ(veqdx_Measure(vi, "", VEQDX_VAL_MEASURE_VOLTAGE, &volts), VI_SUCCESS)
      << LastError(vi).text;
  ASSERT_EQ(veqdx_Measure(vi, "", VEQDX_VAL_MEASURE_CURRENT, &amps), VI_SUCCESS);
  EXPECT_NEAR(volts, 12.5, 0.01);
  EXPECT_NEAR(amps, 1.25, 0.01);  // 10 ohms
  ViBoolean inState = 7;
  ASSERT_EQ(veqdx_QueryOutputState(vi, "", VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE, &inState),
            VI_SUCCESS);
  EXPECT_EQ(inState, VI_TRUE);
  ASSERT_EQ(veqdx_QueryOutputState(vi, "", VEQDX_VAL_OUTPUT_CONSTANT_CURRENT, &inState),
            VI_SUCCESS);
  EXPECT_EQ(inState, VI_FALSE);
  EXPECT_WIRE(Lines{":MEAS:VOLT?", ":MEAS:CURR?", "STAT:OPER:COND?", "STAT:QUES:COND?",
                           "STAT:OPER:COND?", "STAT:QUES:COND?"});

  ViReal64 max = 0;
  ASSERT_EQ(veqdx_QueryMaxVoltageLevel(vi, "", 3, &max), VI_SUCCESS);
  ASSERT_EQ(veqdx_QueryMaxCurrentLimit(vi, "", 3, &max), VI_SUCCESS);
  ASSERT_EQ(veqdx_ResetOutputProtection(vi, ""), VI_SUCCESS);
  EXPECT_WIRE(Lines{":VOLT? MAX", ":CURR? MAX", ":OUTP:PROT:CLE"});
}

TEST_F(EmulatedSession, RangeSelectorAppliesInOrderAndStopsAtTheFirstFailure) {
  Open("QDX750ML", 2);
  ASSERT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output1-Output2", 5), VI_SUCCESS)
      << LastError(vi).text;
  EXPECT_WIRE(Lines{":INST:NSEL 1", ":VOLT 5", ":INST:NSEL 2", ":VOLT 5"});

  ASSERT_EQ(veqdx_ConfigureCurrentLimit(vi, " Output1 -\tOutput2 ", 0, 2), VI_SUCCESS);
  EXPECT_WIRE(Lines{":INST:NSEL 1", ":CURR 2", ":INST:NSEL 2", ":CURR 2"});

  // The selector is resolved before anything is applied: an unknown name anywhere, and
  // nothing is sent.
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output1-Output3", 6),
            VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  Recorded e = LastError(vi);
  EXPECT_EQ(e.code, VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(e.text, "VelmoraQdx: Unknown channel name.\r\nOutput3");
  EXPECT_WIRE(Lines{});
}

TEST_F(EmulatedSession, TheFirstFailingOutputStopsTheWalk) {
  // Output1 is rated 80 V, Output2 30 V (31.5 V at most), Output3 30 V.
  Start(std::make_unique<Sim>(std::vector<std::string>{"QDX750ML", "QDX750L", "QDX750L"}));
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output1-Output3", 50), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(LastError(vi).text,
            "VelmoraQdx: Invalid value (50) for method put_VoltageLevel, parameter val.\r\n");
  EXPECT_WIRE(Lines{":INST:NSEL 1", ":VOLT 50"});  // Output3 is never asked
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output2-Output3", 20), VI_SUCCESS);
  EXPECT_WIRE(Lines{":INST:NSEL 2", ":VOLT 20", ":INST:NSEL 3", ":VOLT 20"});
}

struct SelectorCase {
  const char* selector;
  ViStatus status;
  const char* text;
};

TEST_F(EmulatedSession, SelectorErrorsOnATwoChannelUnit) {
  Open("QDX750ML", 2);
  const SelectorCase cases[] = {
      {nullptr, VEQDX_ERROR_CHANNEL_NAME_REQUIRED, "VelmoraQdx: A channel name is required.\r\n"},
      {"", VEQDX_ERROR_CHANNEL_NAME_REQUIRED, "VelmoraQdx: A channel name is required.\r\n"},
      {"  ", VEQDX_ERROR_CHANNEL_NAME_REQUIRED, "VelmoraQdx: A channel name is required.\r\n"},
      {"Output1-", VEQDX_ERROR_BADLY_FORMED_SELECTOR,
       "The repeated capability selector is badly-formed."},
      {"Output 1", VEQDX_ERROR_BADLY_FORMED_SELECTOR,
       "The repeated capability selector is badly-formed."},
      {"Output1,", VEQDX_ERROR_BADLY_FORMED_SELECTOR,
       "The repeated capability selector is badly-formed."},
      {"Output1,Output2", VEQDX_ERROR_BADLY_FORMED_SELECTOR,
       "The repeated capability selector is badly-formed."},
      {"Output2-Output1", VEQDX_ERROR_INVALID_RANGE_IN_SELECTOR,
       "Invalid range specified in repeated capability selector."},
      {"Output1:X", VEQDX_ERROR_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR,
       "Invalid or inconsistent number of levels specified in repeated capability selector."},
      {"output1", VEQDX_ERROR_UNKNOWN_CHANNEL_NAME,
       "VelmoraQdx: Unknown channel name.\r\noutput1"},
      {"Output0", VEQDX_ERROR_UNKNOWN_CHANNEL_NAME,
       "VelmoraQdx: Unknown channel name.\r\nOutput0"},
  };
  for (const SelectorCase& c : cases) {
    const char* label = c.selector == nullptr ? "(null)" : c.selector;
    EXPECT_EQ(veqdx_ConfigureOutputEnabled(vi, c.selector, VI_TRUE), c.status) << label;
    const Recorded e = LastError(vi);
    EXPECT_EQ(e.code, c.status) << label;
    EXPECT_EQ(e.text, c.text) << label;
    ViReal64 value = 0;
    EXPECT_EQ(veqdx_Measure(vi, c.selector, VEQDX_VAL_MEASURE_VOLTAGE, &value), c.status)
        << label;
  }
  EXPECT_WIRE(Lines{});
}

TEST_F(EmulatedSession, QueryStateOfTheSecondChannelUsesItsSummaryRegisters) {
  Open("QDX750ML", 2);
  sim->RaiseAlarm(2, 0x10);
  ViBoolean inState = VI_FALSE;
  ASSERT_EQ(veqdx_QueryOutputState(vi, "Output2", VEQDX_VAL_OUTPUT_OVER_TEMPERATURE, &inState),
            VI_SUCCESS)
      << LastError(vi).text;
  EXPECT_EQ(inState, VI_TRUE);
  EXPECT_WIRE(Lines{"STAT:OPER:INST:ISUM2:COND?", "STAT:QUES:INST:ISUM2:COND?"});
  EXPECT_EQ(veqdx_QueryOutputState(vi, "Output2", 7, &inState), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(Wire(2).size(), 2u);  // both registers read before the state is refused
}

// Every per-output function and the command it must send after the channel selection.
TEST_F(EmulatedSession, EveryPerOutputSettingSendsItsCommand) {
  Open("QDX750ML", 2);
  using Call = ViStatus (*)(ViSession);
  const std::pair<Call, const char*> cases[] = {
      {[](ViSession s) { return veqdx_ConfigureUVL(s, "Output2", 1.5); }, ":VOLT:LIM:LOW 1.5"},
      {[](ViSession s) { return veqdx_ConfigureOCPLimit(s, "Output2", 10); }, ":CURR:PROT 10"},
      {[](ViSession s) { return veqdx_ConfigurePONState(s, "Output2", 2); }, ":OUTP:PON FORC"},
      {[](ViSession s) { return veqdx_ConfigureProtectionRecovery(s, "Output2", 1); },
       ":SYST:CONF:PROT:REC AUTO"},
      {[](ViSession s) { return veqdx_ConfigureOperationPriority(s, "Output2", 1); },
       ":SYST:CONF:STAR:PRI CV"},
      {[](ViSession s) { return veqdx_ConfigureBleederEnabled(s, "Output2", 2); },
       ":SYST:CONF:BLE 1"},
      {[](ViSession s) { return veqdx_ConfigureExternalMonitorRange(s, "Output2", 1); },
       ":SYST:CONF:MON:RANG HIGH"},
      {[](ViSession s) { return veqdx_ConfigureOutputControlEnabled(s, "Output2", VI_FALSE); },
       ":OUTP:EXT 0"},
      {[](ViSession s) { return veqdx_ConfigureOutputControlLogic(s, "Output2", 1); },
       ":OUTP:EXT:LOG HIGH"},
      {[](ViSession s) { return veqdx_ConfigureAnalogControlRange(s, "Output2", 0); },
       ":VOLT:EXT:RANG LOW"},
      {[](ViSession s) { return veqdx_ConfigureCCControlEnabled(s, "Output2", VI_TRUE); },
       ":CURR:EXT:SOUR VOLT"},
      {[](ViSession s) { return veqdx_ConfigureCVControlEnabled(s, "Output2", VI_FALSE); },
       ":VOLT:EXT:SOUR NONE"},
      {[](ViSession s) { return veqdx_ConfigureTriggerSource(s, "Output2", 2); },
       "TRIG:TRAN:SOUR BUS"},
      {[](ViSession s) { return veqdx_ConfigureTriggeredVoltageLevel(s, "Output2", 7.25); },
       ":VOLT:TRIG 7.25"},
      {[](ViSession s) { return veqdx_ConfigureTriggeredCurrentLimit(s, "Output2", 0.5); },
       ":CURR:TRIG 0.5"},
  };
  bool first = true;
  for (const auto& [call, command] : cases) {
    ASSERT_EQ(call(vi), VI_SUCCESS) << command << ": " << LastError(vi).text;
    Lines expected;
    if (first) expected.push_back(":INST:NSEL 2");
    expected.push_back(command);
    EXPECT_EQ(Wire(expected.size()), expected) << command;
    first = false;
  }
}

// Values refused before anything is sent; the output range is checked but never sent.
TEST_F(EmulatedSession, RefusedValuesAndOutputRangeSendNothing) {
  Open("QDX750ML");  // 80 V, 28 A: maxima 84 V and 29.4 A
  constexpr ViStatus kInvalid = VEQDX_ERROR_INVALID_VALUE;
  EXPECT_EQ(veqdx_ConfigureTriggerSource(vi, "", 1), kInvalid);
  EXPECT_EQ(veqdx_ConfigurePONState(vi, "", 3), kInvalid);
  EXPECT_EQ(veqdx_ConfigureAnalogControlRange(vi, "", 2), kInvalid);
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "", -1e-13), kInvalid);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", VEQDX_VAL_RANGE_VOLTAGE, 84), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", VEQDX_VAL_RANGE_CURRENT, 0), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", VEQDX_VAL_RANGE_VOLTAGE, 84.1), kInvalid);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", VEQDX_VAL_RANGE_CURRENT, 29.5), kInvalid);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", VEQDX_VAL_RANGE_CURRENT, -1), kInvalid);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", 2, 1), kInvalid);
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_RANGE_CHECK, VI_FALSE), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", VEQDX_VAL_RANGE_VOLTAGE, 1000), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureOutputRange(vi, "", 5, 1), kInvalid);
  EXPECT_WIRE(Lines{});
}

TEST_F(EmulatedSession, DriverWideCommandsSelectNoChannel) {
  Open("QDX750ML", 2);
  ASSERT_EQ(veqdx_ConfigureGlobalVoltageLevel(vi, 5), VI_SUCCESS) << LastError(vi).text;
  ASSERT_EQ(veqdx_ConfigureGlobalCurrentLimit(vi, 1.5), VI_SUCCESS);
  ASSERT_EQ(veqdx_ConfigureGloabOutputEnabled(vi, 3), VI_SUCCESS);
  ASSERT_EQ(veqdx_SaveState(vi, 2), VI_SUCCESS);
  ASSERT_EQ(veqdx_RecallState(vi, 3), VI_SUCCESS);
  // Out of range is reported but the command goes out all the same.
  EXPECT_EQ(veqdx_SaveState(vi, 0), VI_SUCCESS);
  ASSERT_EQ(veqdx_Initiate(vi), VI_SUCCESS);
  ASSERT_EQ(veqdx_SendSoftwareTrigger(vi), VI_SUCCESS);
  ASSERT_EQ(veqdx_Abort(vi), VI_SUCCESS);
  ASSERT_EQ(veqdx_Clear(vi), VI_SUCCESS);
  ASSERT_EQ(veqdx_Preset(vi), VI_SUCCESS);
  EXPECT_WIRE(Lines{":GLOB:VOLT 5", ":GLOB:CURR 1.5", ":GLOB:OUTP 1", "*SAV 2", "*RCL 3",
                           "*SAV 0", ":INIT", "*TRG", ":ABOR", "*CLS", ":STAT:PRES"});
}

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

TEST_F(EmulatedSession, SilentInstrumentTimesOut) {
  Open();
  sim->Silent(":MEAS:VOLT?");
  ViReal64 value = 0;
  EXPECT_EQ(veqdx_Measure(vi, "", VEQDX_VAL_MEASURE_VOLTAGE, &value), VEQDX_ERROR_IO_TIMEOUT);
  EXPECT_EQ(LastError(vi).text.rfind("VelmoraQdx: I/O timeout error: ", 0), 0u)
      << LastError(vi).text;
}

TEST_F(EmulatedSession, DirectIoSharesTheDriversLink) {
  Open("QDX750H");
  ASSERT_EQ(veqdx_SystemWrite(vi, "*IDN?"), VI_SUCCESS) << LastError(vi).text;
  char buffer[256];
  ViInt32 count = -1;
  ASSERT_EQ(veqdx_SystemRead(vi, sizeof buffer, buffer, &count), VI_SUCCESS)
      << LastError(vi).text;
  const std::string reply = buffer;
  EXPECT_EQ(reply.rfind("Velmora,QDX750H,", 0), 0u) << reply;
  EXPECT_EQ(count, static_cast<ViInt32>(reply.size()));

  ASSERT_EQ(veqdx_SystemWrite(vi, "*IDN?"), VI_SUCCESS);
  char small[6];
  ASSERT_EQ(veqdx_SystemRead(vi, sizeof small, small, &count), VI_SUCCESS);
  EXPECT_STREQ(small, "Velmo");
  EXPECT_EQ(count, 5);
  EXPECT_WIRE(Lines{"*IDN?", "*IDN?"});

  EXPECT_EQ(veqdx_SystemWrite(vi, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(LastError(vi).text, "Parameter Command is VI_NULL.");
  EXPECT_EQ(veqdx_SystemRead(vi, sizeof buffer, buffer, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(LastError(vi).text, "Parameter ActualCount is VI_NULL.");
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
      {"", 0, 0, ":STAT:OPER:COND?"},      {"", 0, 1, ":STAT:OPER:ENAB?"},
      {"", 0, 2, ":STAT:OPER:EVEN?"},      {"", 1, 0, ":STAT:QUES:COND?"},
      {"", 1, 1, ":STAT:QUES:ENAB?"},      {"", 1, 2, ":STAT:QUES:EVEN?"},
      {"", 2, 0, ":STAT:OPER:INST:COND?"}, {"", 2, 1, ":STAT:OPER:INST:ENAB?"},
      {"", 2, 2, ":STAT:OPER:INST:EVEN?"}, {"", 3, 0, ":STAT:QUES:INST:COND?"},
      {"", 3, 1, ":STAT:QUES:INST:ENAB?"}, {"", 3, 2, ":STAT:QUES:INST:EVEN?"},
      {"", 4, 1, "*ESE?"},                 {"", 4, 2, "*ESR?"},
      {nullptr, 5, 0, "*STB?"},            {" ", 5, 1, "*SRE?"},
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
}

TEST_F(EmulatedSession, RegisterNumbersOutsideTheTableAreRefused) {
  Open("QDX750ML", 2);
  struct Bad {
    const char* selector;
    ViInt32 reg;
    ViInt32 sub;
    bool write;
    ViStatus status;
  };
  const Bad cases[] = {
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
  for (const Bad& c : cases) {
    ViInt32 value = 0;
    const ViStatus status = c.write
                                ? veqdx_StatusSetRegister(vi, c.selector, c.reg, c.sub, 1)
                                : veqdx_StatusGetRegister(vi, c.selector, c.reg, c.sub, &value);
    EXPECT_EQ(status, c.status) << c.reg << "/" << c.sub;
    const Recorded e = LastError(vi);
    EXPECT_EQ(e.code, c.status);
    EXPECT_EQ(e.text, c.status == VEQDX_ERROR_INVALID_REGISTER
                          ? "The given Register type is invalid."
                          : "The given Sub-Register type is invalid.");
  }
  ViInt32 value = 0;
  EXPECT_EQ(veqdx_StatusGetRegister(vi, "Output3", 0, 0, &value),
            VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(veqdx_StatusGetRegister(vi, "", 0, 0, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_WIRE(Lines{});
}

}  // namespace
}  // namespace capi_test
