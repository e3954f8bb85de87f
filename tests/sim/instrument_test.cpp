// The instrument behind every front end, one message at a time: SCPI syntax and its errors,
// settings and status per channel, triggers, memories, the electrical model and every command
// the driver sends, letter for letter. A script is a list of {message, reply}; "" = no reply.
#include <cmath>
#include <cstdlib>
#include <limits>

#include "sim_client.h"

namespace qdxsim::test {
namespace {

struct Step {
  std::string message;
  std::string reply;
};
using Script = std::vector<Step>;

const std::string kNoError = "0,\"No error\"";
const std::string kRange = "-222,\"Data out of range\"";
const std::string kConflict = "-221,\"Settings conflict\"";

std::unique_ptr<Instrument> Unit(const char* model = "QDX750MH",
                                 std::vector<ChannelSpec> channels = {}) {
  auto unit = std::make_unique<Instrument>(testConfig(model, std::move(channels)));
  unit->Handle("*CLS");  // no power-on event
  return unit;
}

void Play(Instrument& unit, const Script& script) {
  for (const Step& s : script) EXPECT_EQ(unit.Handle(s.message).value_or(""), s.reply) << s.message;
}

TEST(InstrumentSyntax, HeaderAndNumberFormsReachTheSetting) {
  auto unit = Unit();  // 230 V, 10 A
  const std::pair<const char*, const char*> forms[] = {
      {":VOLT 12.5", "12.5"}, {"volt 12.5", "12.5"}, {"VoLtAgE 12.5", "12.5"},
      {":source:voltage:level:immediate:amplitude 12.5", "12.5"}, {"sour:volt:lev 12.5", "12.5"},
      {"  :VOLT   12.5  ", "12.5"}, {":VOLT\t12.5", "12.5"}, {":VOLT 12.5\r", "12.5"},
      {":VOLT 1.25 E +1", "12.5"}, {":VOLT 125e-1", "12.5"}, {":VOLT +12.5", "12.5"},
      {":VOLT 12500 MV", "12.5"}, {":VOLT 0.0125kv", "12.5"}, {":VOLT .5", "0.5"},
      {":VOLT #H0C", "12"}, {":VOLT #b1100", "12"}, {":VOLT #Q14", "12"}, {":VOLT MAX", "230"},
      {":VOLT maximum", "230"}, {":VOLT MIN", "0"}, {":VOLT DEF", "0"},
      {":VOLT 241.5", "241.5"},  // 105 % of the rating is still accepted
      {":VOLT 12.3456789012345", "12.3456789012345"},
  };
  for (const auto& [form, volts] : forms) {
    Play(*unit, {{"*RST", ""}, {form, ""}, {":VOLT?;:SYST:ERR?", volts + (";" + kNoError)}});
  }
  Play(*unit, {{":VOLT? MIN;:CURR 2500 mA;:CURR?", "0;2.5"}});
}

TEST(InstrumentSyntax, MalformedMessagesReportTheirErrorAndEsrBit) {
  auto unit = Unit();
  const struct {
    std::string message;
    int error;
    int esrBit;
  } cases[] = {
      {"FOO", -113, 0x20}, {":VOLT:FOO 1", -113, 0x20}, {":VOLT2 5", -113, 0x20},
      {"*RST?", -113, 0x20}, {"*IDN", -113, 0x20}, {":OUTP:PROT:CLE?", -113, 0x20},
      {"VOLT,5", -103, 0x20}, {":VOLT", -109, 0x20}, {":VOLT 1,2", -108, 0x20},
      {":OUTP? 1", -108, 0x20}, {":VOLT? 5", -104, 0x20}, {":VOLT 5Q", -131, 0x20},
      {":VOLT 5 A", -131, 0x20}, {":VOLT ABC", -148, 0x20}, {":VOLT 'x'", -158, 0x20},
      {":VOLT 1e999", -123, 0x20}, {":VOLT 1.2.3", -120, 0x20}, {":VOLT 'abc", -151, 0x20},
      {"TRIG:TRAN:SOUR 5", -104, 0x20}, {"TRIG:TRAN:SOUR FOO", -141, 0x20},
      {":OUTP MAYBE", -141, 0x20}, {"ABCDEFGHIJKLMN 1", -112, 0x20},
      {":STAT:OPER:INST:ISUM7:COND?", -114, 0x20}, {":VOLT 5;;:CURR 1", -102, 0x20},
      {":VOLT\x01 5", -101, 0x20}, {":VOLT 241.6", -222, 0x10}, {":VOLT -1", -222, 0x10},
      {":CURR 10.6", -222, 0x10}, {":INST:NSEL 1", -222, 0x10}, {"*SAV 4", -222, 0x10},
      {"*ESE 256", -222, 0x10}, {":STAT:OPER:ENAB 32768", -222, 0x10},
      {"*TRG", -211, 0x10}, {"*IDN?;*OPT?", -440, 0x04},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    unit->Handle(c.message);
    EXPECT_EQ(unit->Handle("*ESR?"), std::to_string(c.esrBit));
    EXPECT_EQ(std::atoi(unit->Handle(":SYST:ERR?").value_or("").c_str()), c.error);
    EXPECT_EQ(unit->Handle(":SYST:ERR?"), kNoError);
  }
}

TEST(InstrumentSyntax, CompoundMessagesAndTheErrorQueue) {
  auto unit = Unit();
  Play(*unit, {
      {":INST:NSEL 0;INFO?", "230,10,750,QDX750MH"},  // INFO continues under INST
      {":VOLT 5;:CURR 2;:VOLT?;:CURR?", "5;2"},
      {":VOLT 7;:VOLT:PROT 50;LEV?", "7"},            // LEV continues under VOLT
      {":VOLT:PROT 60;*OPC?;PROT?", "1;60"},          // common commands keep the path
      {":STAT:OPER:ENAB 4;ENAB?", "4"}, {"*RST;*OPC?", "1"}, {":VOLT 3;", ""},
      {"*OPC?;*IDN?", "1;Velmora,QDX750MH,SIM0001,1.00"},
      {":OUTP 0;PROT:CLE", ""},                       // OUTP leaves the root path
      {":SYST:ERR?", "-113,\"Undefined header\""},
      // A command error skips the rest of the message, an execution error does not.
      {":VOLT 5;FOO;:VOLT 6", ""}, {":VOLT?", "5"}, {":VOLT 1000;:VOLT 6", ""},
      {":SYST:ERR?;:SYST:ERR?", "-113,\"Undefined header\";" + kRange},
      {":VOLT?;:INST:NSEL 3;:CURR?", "6;10"},         // a failing query answers nothing
      {"*CLS", ""},
  });
  for (int i = 0; i < 25; ++i) unit->Handle("FOO");
  Play(*unit, {{":SYST:ERR:COUN?;*ESR?", "20;40"}});
  for (int i = 0; i < 19; ++i) unit->Handle(":SYST:ERR?");
  Play(*unit, {{":SYST:ERR?", "-350,\"Queue overflow\""}});
}

// Channel 1: 30 V / 75 A, channel 2: 230 V / 10 A, channel 3: the unit's model, 80 V / 28 A.
TEST(InstrumentChannels, SettingsStatusGlobalsTriggersAndMemoriesPerChannel) {
  auto unit = Unit("QDX750ML", {{1, "QDX750L"}, {2, "QDX750MH"}, {3, ""}});
  const std::string cond = ":STAT:OPER:INST:ISUM1:COND?;:STAT:OPER:INST:ISUM2:COND?;"
                           ":STAT:OPER:INST:ISUM3:COND?";
  Play(*unit, {
      {":INST:CAT?;*OPT?", "1,2,3;VMCB"},
      {":INST:NSEL 1;:VOLT 10;:OUTP:PON FORC;:INST:NSEL 2;:VOLT 100", ""},
      {":INST:NSEL 1;:VOLT?;:OUTP:PON?", "10;FORC"},
      {":INST:NSEL 2;:VOLT?;:OUTP:PON?", "100;SAFE"},
      {":INST:NSEL 3;:VOLT?;:VOLT? MAX;:CURR? MAX;:INST:NSEL 3;INFO?", "0;80;28;80,28,750,QDX750ML"},
      {":INST:NSEL 1;:VOLT 100;:VOLT?;:SYST:ERR?", "10;" + kRange},  // over channel 1's limit
      {":INST:NSEL 2;:INST:NSEL 4;:INST:NSEL 0;:INST:NSEL?", "2"},
      {":SYST:ERR?;:SYST:ERR?", kRange + ";" + kRange},
      {":STAT:OPER:INST:ISUM4:COND?", ""},
      {":SYST:ERR?", "-114,\"Header suffix out of range\""},
      // CV on channel 2 (2 A into 10 ohm), an over-voltage trip on channel 3.
      {":INST:NSEL 2;:VOLT 20;:CURR 5;:OUTP 1;:INST:NSEL 3;:VOLT 20;:OUTP 1;:VOLT:PROT 5", ""},
      {cond, "0;256;0"},
      {":STAT:QUES:INST:ISUM2:COND?;:STAT:QUES:INST:ISUM3:COND?", "0;1"},
      {":STAT:OPER:INST:ISUM3?", "256"},  // the event of CV before the trip; read clears it
      {":STAT:OPER:INST:COND?;:STAT:QUES:INST:COND?", "4;8"},
      {":STAT:OPER:COND?;:STAT:QUES:COND?", "8192;8192"},
      {":STAT:QUES:INST:ISUM3:ENAB 0;:STAT:QUES:INST:COND?", "0"},
      {":INST:NSEL 2;:OUTP?;:MEAS:CURR?;:INST:NSEL 3;:OUTP?;:MEAS:CURR?", "1;2;0;0"},
      {":OUTP:PROT:CLE;*RST;*CLS", ""},
      // Globals set every channel or, when one refuses, none.
      {":GLOB:VOLT 20;:GLOB:CURR 1.5;:GLOB:OUTP 1;:GLOB:VOLT 40", ""},
      {":INST:NSEL 1;:VOLT?;:CURR?;:OUTP?;:INST:NSEL 3;:VOLT?;:CURR?;:OUTP?", "20;1.5;1;20;1.5;1"},
      {":SYST:ERR?;:GLOB:OUTP 0;:INST:NSEL 2;:OUTP?", kRange + ";0"},
      // Triggers: channel 2 fires at :INIT, channels 1 and 3 wait for the bus.
      {":INST:NSEL 1;:VOLT 1;:VOLT:TRIG 11;:CURR:TRIG 2;:TRIG:TRAN:SOUR BUS", ""},
      {":INST:NSEL 2;:VOLT 2;:VOLT:TRIG 22;:TRIG:TRAN:SOUR IMM", ""},
      {":INST:NSEL 3;:VOLT 3;:TRIG:TRAN:SOUR BUS;:INIT;:INIT", ""},
      {":INST:NSEL 1;:VOLT?;:INST:NSEL 2;:VOLT?", "1;22"},
      {":STAT:OPER:INST:ISUM1:COND?;:STAT:OPER:INST:ISUM2:COND?", "32;0"},
      {"*TRG;:INST:NSEL 1;:VOLT?;:CURR?;:INST:NSEL 3;:VOLT?", "11;2;3"},
      {"STAT:OPER:INST:ISUM1:COND?", "0"},
      {"*TRG;:INST:NSEL 1;:VOLT:TRIG 5;:INIT;:ABOR;*TRG;:VOLT?", "11"},
      {":SYST:ERR?;:SYST:ERR?;:SYST:ERR?",
       "-213,\"Init ignored\";-211,\"Trigger ignored\";-211,\"Trigger ignored\""},
      // Memories hold every channel; recalling leaves the outputs as they are.
      {"*RST;:INST:NSEL 1;:VOLT 5;:CURR 7;:OUTP:PON AUTO;:INST:NSEL 2;:VOLT 50;*SAV 2", ""},
      {":INST:NSEL 1;:VOLT 6;:OUTP 1;:INST:NSEL 2;:VOLT 60;*RCL 1;:VOLT?", "0"},
      {"*RCL 2;:INST:NSEL 1;:VOLT?;:CURR?;:OUTP:PON?;:OUTP?;:INST:NSEL 2;:VOLT?", "5;7;AUTO;1;50"},
      {"*SAV 0;*RCL 4;:SYST:ERR?;:SYST:ERR?;:SYST:ERR?", kRange + ";" + kRange + ";" + kNoError},
  });
}

// Operating point, mode bits and protection on a resistive load (QDX750ML: 80 V, 28 A, 750 W).
TEST(InstrumentStatus, OperatingPointFollowsTheLoad) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    const char* model;
    double ohms;
    const char* settings;
    double volts, amps;
    int operation, questionable;
  } cases[] = {
      {"QDX750ML", 10, ":VOLT 20;:CURR 5;:OUTP 1", 20, 2, 0x100, 0},   // CV
      {"QDX750ML", 10, ":VOLT 20;:CURR 1;:OUTP 1", 10, 1, 0x400, 0},   // CC
      {"QDX750ML", 10, ":VOLT 20;:CURR 5;:OUTP 0", 0, 0, 0, 0},        // off
      {"QDX750ML", inf, ":VOLT 20;:CURR 5;:OUTP 1", 20, 0, 0x100, 0},  // open circuit
      {"QDX750ML", 0, ":VOLT 20;:CURR 5;:OUTP 1", 0, 5, 0x400, 0},     // short
      {"QDX750L", 1, ":VOLT 30;:CURR 75;:OUTP 1", std::sqrt(750.0), std::sqrt(750.0), 0, 0x8},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(std::string(k.model) + " " + k.settings);
    auto unit = Unit(k.model);
    ASSERT_TRUE(unit->SetLoadOhms(0, k.ohms));
    unit->Handle(k.settings);
    EXPECT_NEAR(std::strtod(unit->Handle(":MEAS:VOLT?")->c_str(), nullptr), k.volts, 1e-9);
    EXPECT_NEAR(std::strtod(unit->Handle(":MEAS:CURR?")->c_str(), nullptr), k.amps, 1e-9);
    const std::string op = std::to_string(k.operation);
    Play(*unit, {{"STAT:OPER:COND?;:STAT:QUES:COND?;:STAT:OPER:INST:ISUM0:COND?;:SYST:ERR?",
                 op + ";" + std::to_string(k.questionable) + ";" + op + ";" + kNoError}});
  }
}

TEST(InstrumentStatus, ProtectionTripsLatchAndRecover) {
  const std::vector<Script> scripts = {
      {{":VOLT 20;:OUTP 1;:VOLT:PROT 10", ""},  // below the output voltage: trips at once
       {":OUTP?;:MEAS:VOLT?;:STAT:QUES:COND?;:STAT:QUES:EVEN?;:STAT:QUES:EVEN?", "0;0;1;1;0"},
       {":VOLT:PROT 50;:OUTP 1;:OUTP?;:SYST:ERR?", "0;" + kConflict},  // latched
       {":OUTP:PROT:CLE;:STAT:QUES:COND?;:OUTP?", "0;0"},  // clearing does not switch on
       {":OUTP 1;:OUTP?;:STAT:OPER:COND?", "1;256"}},
      {{":SYST:CONF:PROT:REC AUTO;:VOLT 20;:OUTP 1;:VOLT:PROT 10;:OUTP?;:STAT:QUES:COND?", "0;1"},
       {":VOLT:PROT 50;:OUTP 1;:OUTP?;:STAT:QUES:COND?;:SYST:ERR?", "1;0;" + kNoError}},
      // 20 V into 10 ohm draws 2 A: above a 1 A limit, which trips only when set to.
      {{":VOLT 20;:CURR 5;:OUTP 1;:CURR:PROT 1;:OUTP?;:STAT:OPER:COND?;:STAT:QUES:COND?", "0;0;2"}},
      {{":CURR:PROT:STAT 1;:VOLT 20;:CURR 5;:OUTP 1;:CURR 1;:OUTP?;:STAT:QUES:COND?", "0;2"}},
      {{":CURR:PROT:STAT 0;:VOLT 20;:CURR 1;:OUTP 1;:OUTP?;:STAT:OPER:COND?", "1;1024"}},
      {{":VOLT 5;:VOLT:LIM:LOW 10;:VOLT:LIM:LOW 3;:VOLT 2;:VOLT?;:VOLT:LIM:LOW?", "5;3"},
       {":SYST:ERR?;:SYST:ERR?", kConflict + ";" + kConflict}},
  };
  for (const Script& script : scripts) {
    auto unit = Unit("QDX750ML");
    Play(*unit, script);
  }
  auto unit = Unit("QDX750ML");
  unit->Handle(":VOLT 5;:OUTP 1");
  ASSERT_TRUE(unit->RaiseAlarm(0, 0x10));  // over-temperature
  Play(*unit, {{":OUTP?;:STAT:QUES:COND?", "0;16"}, {":OUTP:PROT:CLE;:STAT:QUES:COND?", "0"}});
  EXPECT_FALSE(unit->RaiseAlarm(5, 0x10));
}

TEST(InstrumentStatus, StatusByteClearPresetResetAndPowerCycle) {
  auto unit = Unit("QDX750ML");
  Play(*unit, {
      {"*STB?", "0"}, {"FOO", ""}, {"*STB?", "4"}, {"*ESE 32;*STB?", "36"},
      {"*SRE 32;*STB?", "100"}, {"*ESR?", "32"}, {"*STB?", "4"}, {"*CLS;*SRE 0", ""},
      {":STAT:OPER:ENAB 256;:VOLT 5;:OUTP 1;*STB?", "128"},
      {":STAT:QUES:ENAB 1;:VOLT:PROT 1;*STB?", "136"},
      {":STAT:QUES?;:STAT:OPER?", "1;256"}, {"*STB?", "0"},
      {":SYST:ERR?;*STB?", kNoError + ";16"},  // an answer is queued
      // *CLS clears events, ESR and the error queue, not the enables nor the conditions.
      {":OUTP:PROT:CLE;:VOLT:PROT 84;*ESE 16;:STAT:OPER:INST:ISUM0:ENAB 1;:OUTP 1;FOO", ""},
      {"*CLS", ""},
      {":STAT:OPER?;*ESR?;:SYST:ERR:COUN?;:STAT:OPER:ENAB?;*ESE?;:STAT:OPER:COND?",
       "0;0;0;256;16;256"},
      {":STAT:PRES;:STAT:OPER:ENAB?;:STAT:QUES:ENAB?;:STAT:OPER:INST:ISUM0:ENAB?;*ESE?",
       "0;0;32767;16"},
  });
  // A reset restores the defaults but not the status enables.
  unit->Handle(":VOLT 12;:CURR 3;:VOLT:PROT 40;:CURR:PROT 5;:OUTP:PON FORC;*ESE 8");
  unit->Handle("TRIG:TRAN:SOUR BUS;:CURR:EXT:SOUR VOLT;:SYST:CONF:BLE 0;*RST");
  Play(*unit, {{":VOLT?;:CURR?;:OUTP?;:VOLT:PROT?;:CURR:PROT?;:VOLT:LIM:LOW?;:VOLT:TRIG?;"
               ":CURR:TRIG?;:CURR:PROT:STAT?;:OUTP:PON?;:SYST:CONF:PROT:REC?",
               "0;28;0;84;29.4;0;0;28;0;SAFE;SAFE"},
              {":SYST:CONF:STAR:PRI?;:SYST:CONF:BLE?;:SYST:CONF:MON:RANG?;:OUTP:EXT?;"
               ":OUTP:EXT:LOG?;:VOLT:EXT:RANG?;:CURR:EXT:SOUR?;:VOLT:EXT:SOUR?;:TRIG:TRAN:SOUR?;*ESE?",
               "CV;1;HIGH;0;HIGH;HIGH;NONE;NONE;IMM;8"}});
  // A power cycle keeps the settings and applies the power-on state.
  const struct {
    const char* pon;
    const char* before;
    const char* after;
  } cycles[] = {{"SAFE", "1", "0"}, {"FORC", "0", "1"}, {"AUTO", "1", "1"}, {"AUTO", "0", "0"}};
  for (const auto& k : cycles) {
    SCOPED_TRACE(std::string(k.pon) + " from " + k.before);
    unit->Handle(std::string(":VOLT 5;:OUTP:PON ") + k.pon + ";:OUTP " + k.before + ";FOO");
    unit->PowerCycle();
    Play(*unit, {{":OUTP?;:VOLT?;*ESR?;:SYST:ERR:COUN?", std::string(k.after) + ";5;128;0"}});
  }
}

// Each setting the driver writes ("<header> <value>") reads back with "<header>?" in the form
// its read formats parse; the write-only commands are taken without an error.
TEST(InstrumentDriverCommands, EveryCommandTheDriverSends) {
  auto unit = Unit();
  const std::pair<const char*, const char*> settings[] = {
      {":INST:NSEL", "0"}, {":VOLT", "12.5"}, {":CURR", "2.25"}, {":VOLT:PROT", "100.5"},
      {":CURR:PROT:STAT", "1"}, {":CURR:PROT:STAT", "0"}, {":VOLT:TRIG", "20"},
      {":CURR:TRIG", "3"}, {":VOLT:LIM:LOW", "1.5"}, {":CURR:PROT", "9.5"}, {":OUTP:PON", "FORC"},
      {":OUTP:PON", "AUTO"}, {":OUTP:PON", "SAFE"}, {":SYST:CONF:PROT:REC", "AUTO"},
      {":SYST:CONF:PROT:REC", "SAFE"}, {":SYST:CONF:STAR:PRI", "CC"},
      {":SYST:CONF:STAR:PRI", "CV"}, {":SYST:CONF:BLE", "0"}, {":SYST:CONF:BLE", "1"},
      {":SYST:CONF:MON:RANG", "LOW"}, {":SYST:CONF:MON:RANG", "HIGH"}, {"TRIG:TRAN:SOUR", "BUS"},
      {"TRIG:TRAN:SOUR", "IMM"}, {":OUTP:EXT", "1"}, {":OUTP:EXT:LOG", "LOW"},
      {":VOLT:EXT:RANG", "LOW"}, {":CURR:EXT:SOUR", "VOLT"}, {":CURR:EXT:SOUR", "NONE"},
      {":VOLT:EXT:SOUR", "VOLT"}, {":OUTP", "1"}, {":OUTP", "0"}, {":STAT:OPER:ENAB", "1280"},
      {":STAT:QUES:ENAB", "7"}, {":STAT:OPER:INST:ENAB", "6"}, {":STAT:QUES:INST:ENAB", "6"},
      {":STAT:OPER:INST:ISUM0:ENAB", "4"}, {":STAT:QUES:INST:ISUM0:ENAB", "3"}, {"*ESE", "60"},
      {"*SRE", "48"},
  };
  for (const auto& [header, value] : settings) {
    Play(*unit, {{std::string(header) + " " + value, ""},
                {std::string(header) + "?;:SYST:ERR?", value + (";" + kNoError)}});
  }
  Play(*unit, {{"*IDN?", "Velmora,QDX750MH,SIM0001,1.00"},
              {"*TST?;:VOLT? MAX;:CURR? MAX;*OPT?", "0;230;10;0"},
              {":OUTP:PON FORCe;:OUTP:PON?", "FORC"}});
  auto multi = Unit("QDX750ML", {{1, ""}, {2, ""}});
  for (const char* command : {":INST:NSEL 2", ":OUTP:PROT:CLE", ":GLOB:OUTP 1", ":GLOB:OUTP 0",
                              ":GLOB:VOLT 5", ":GLOB:CURR 1.5", "*SAV 1", "*SAV 3", "*RCL 1",
                              "*RCL 3", "TRIG:TRAN:SOUR BUS", ":INIT", ":ABOR", ":INIT", "*TRG",
                              "*CLS", ":STAT:PRES", "*RST", ":STAT:OPER:INST:ISUM2:ENAB 4"}) {
    Play(*multi, {{command, ""}, {":SYST:ERR?", kNoError}});
  }
}

// Every model answers with its rating as a single unit and limits settings to 105 % of it.
TEST(InstrumentModels, RatingsAndLimits) {
  const struct {
    const char* model;
    const char* info;    // rated V, A, W
    const char* maxima;  // ":VOLT? MAX;:CURR? MAX"
    const char* overVolts;
  } cases[] = {
      {"QDX750L", "30,75,750", "30;75", "31.6"},     {"QDX750ML", "80,28,750", "80;28", "84.1"},
      {"QDX750MH", "230,10,750", "230;10", "241.6"}, {"QDX750H", "650,3.5,750", "650;3.5", "682.6"},
      {"QDX1500H", "650,7,1500", "650;7", "682.6"},  {"QDX1500L", "30,150,1500", "30;150", "31.6"},
      {"QDX1500MH", "230,20,1500", "230;20", "241.6"}, {"QDX1500ML", "80,56,1500", "80;56", "84.1"},
  };
  ASSERT_EQ(knownModels().size(), std::size(cases));
  for (const auto& k : cases) {
    auto unit = Unit(k.model);
    Play(*unit, {{":INST:NSEL 0;INFO?", std::string(k.info) + "," + k.model},
                {"*CLS;:VOLT MAX;:CURR MAX;:VOLT?;:CURR?;:SYST:ERR?", k.maxima + (";" + kNoError)},
                {std::string(":VOLT ") + k.overVolts + ";:SYST:ERR?", kRange}});
  }
  EXPECT_THROW(Unit("QDX750l"), std::invalid_argument);  // case matters
}

}  // namespace
}  // namespace qdxsim::test
