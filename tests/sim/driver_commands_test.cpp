// Every command the driver sends, letter for letter, and the reply forms its read formats
// need: "%lg"/"%@3lg" numbers, "%hd"/"%d"/"%bd" integers, keywords that its converters know
// exactly (case matters), "%(;,)#d" channel lists and the "%lf,%lf,%lf,%$C[^\n]" info line.
#include <cstdlib>

#include "sim_client.h"

namespace qdxsim::test {
namespace {

// Reply forms: "#" a decimal number, "i16" / "i32" / "u8" a plain non-negative integer in the
// range of "%hd" / "%d" / "%bd", else the exact alternatives separated by '|'.
const char* const kNumber = "#";
const char* const kInt16 = "i16";
const char* const kInt32 = "i32";
const char* const kByte = "u8";

bool fitsForm(const std::string& reply, const std::string& form) {
  if (form == kNumber) {
    char* end = nullptr;
    std::strtod(reply.c_str(), &end);
    return !reply.empty() && *end == 0 && reply.find_first_of(" \tinfINFxX") == std::string::npos;
  }
  if (form == kInt16 || form == kInt32 || form == kByte) {
    if (reply.empty() || reply.size() > 10 || reply.find_first_not_of("0123456789") != std::string::npos) {
      return false;
    }
    long long max = form == kInt16 ? 32767 : form == kInt32 ? 2147483647 : 255;
    return std::stoll(reply) <= max;
  }
  std::size_t start = 0;
  for (;;) {
    std::size_t bar = form.find('|', start);
    if (reply == form.substr(start, bar - start)) return true;
    if (bar == std::string::npos) return false;
    start = bar + 1;
  }
}

class DriverCommandsTest : public EmulatorFixture {};

// Writes a setting with the driver's command text and reads it back with its query.
TEST_F(DriverCommandsTest, SettingsReadBackInTheFormTheDriverParses) {
  startWith(testConfig("QDX750MH"));
  auto c = connect();
  struct Case {
    const char* write;
    const char* query;
    const char* expected;
  };
  const Case cases[] = {
      {":INST:NSEL 0", ":INST:NSEL?", "0"},
      {":VOLT 12.5", ":VOLT?", "12.5"},
      {":CURR 2.25", ":CURR?", "2.25"},
      {":VOLT 12.3456789012345", ":VOLT?", "12.3456789012345"},
      {":CURR:PROT:STAT 1", ":CURR:PROT:STAT?", "1"},
      {":CURR:PROT:STAT 0", ":CURR:PROT:STAT?", "0"},
      {":VOLT:PROT 100.5", ":VOLT:PROT?", "100.5"},
      {":VOLT:TRIG 20", ":VOLT:TRIG?", "20"},
      {":CURR:TRIG 3", ":CURR:TRIG?", "3"},
      {":VOLT:LIM:LOW 1.5", ":VOLT:LIM:LOW?", "1.5"},
      {":CURR:PROT 9.5", ":CURR:PROT?", "9.5"},
      {":OUTP:PON FORC", ":OUTP:PON?", "FORC"},
      {":OUTP:PON AUTO", ":OUTP:PON?", "AUTO"},
      {":OUTP:PON SAFE", ":OUTP:PON?", "SAFE"},
      {":OUTP:PON FORCe", ":OUTP:PON?", "FORC"},
      {":SYST:CONF:PROT:REC AUTO", ":SYST:CONF:PROT:REC?", "AUTO"},
      {":SYST:CONF:PROT:REC SAFE", ":SYST:CONF:PROT:REC?", "SAFE"},
      {":SYST:CONF:STAR:PRI CC", ":SYST:CONF:STAR:PRI?", "CC"},
      {":SYST:CONF:STAR:PRI CV", ":SYST:CONF:STAR:PRI?", "CV"},
      {":SYST:CONF:BLE 0", ":SYST:CONF:BLE?", "0"},
      {":SYST:CONF:BLE 1", ":SYST:CONF:BLE?", "1"},
      {":SYST:CONF:MON:RANG LOW", ":SYST:CONF:MON:RANG?", "LOW"},
      {":SYST:CONF:MON:RANG HIGH", ":SYST:CONF:MON:RANG?", "HIGH"},
      {"TRIG:TRAN:SOUR BUS", "TRIG:TRAN:SOUR?", "BUS"},
      {"TRIG:TRAN:SOUR IMM", "TRIG:TRAN:SOUR?", "IMM"},
      {":OUTP:EXT 1", ":OUTP:EXT?", "1"},
      {":OUTP:EXT:LOG LOW", ":OUTP:EXT:LOG?", "LOW"},
      {":VOLT:EXT:RANG LOW", ":VOLT:EXT:RANG?", "LOW"},
      {":CURR:EXT:SOUR VOLT", ":CURR:EXT:SOUR?", "VOLT"},
      {":CURR:EXT:SOUR NONE", ":CURR:EXT:SOUR?", "NONE"},
      {":VOLT:EXT:SOUR VOLT", ":VOLT:EXT:SOUR?", "VOLT"},
      {":OUTP 1", ":OUTP?", "1"},
      {":OUTP 0", ":OUTP?", "0"},
      {":STAT:OPER:ENAB 1280", ":STAT:OPER:ENAB?", "1280"},
      {":STAT:QUES:ENAB 7", ":STAT:QUES:ENAB?", "7"},
      {":STAT:OPER:INST:ENAB 6", ":STAT:OPER:INST:ENAB?", "6"},
      {":STAT:QUES:INST:ENAB 6", ":STAT:QUES:INST:ENAB?", "6"},
      {":STAT:OPER:INST:ISUM0:ENAB 4", ":STAT:OPER:INST:ISUM0:ENAB?", "4"},
      {":STAT:QUES:INST:ISUM0:ENAB 3", ":STAT:QUES:INST:ISUM0:ENAB?", "3"},
      {"*ESE 60", "*ESE?", "60"},
      {"*SRE 48", "*SRE?", "48"},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.write);
    c->send(k.write);
    EXPECT_EQ(c->query(k.query), k.expected);
  }
  EXPECT_EQ(c->errors(), std::vector<std::string>{});
}

TEST_F(DriverCommandsTest, QueriesAnswerInTheDriversReadFormats) {
  startWith(testConfig("QDX750MH"));
  auto c = connect();
  struct Case {
    const char* query;
    std::string form;
  };
  const Case cases[] = {
      {"*IDN?", "Velmora,QDX750MH,SIM0001,1.00"},
      {"*OPT?", "0"},  // a single unit: no VMCB
      {"*RST;*OPC?", "1"},
      {"*TST?", "0"},
      {":SYST:ERR?", "0,\"No error\""},
      {":VOLT? MAX", "230"},
      {":CURR? MAX", "10"},
      {":OUTP?", "0|1"},
      {":VOLT?", kNumber},
      {":CURR?", kNumber},
      {":VOLT:PROT?", kNumber},
      {":VOLT:TRIG?", kNumber},
      {":CURR:TRIG?", kNumber},
      {":VOLT:LIM:LOW?", kNumber},
      {":CURR:PROT?", kNumber},
      {":MEAS:VOLT?", kNumber},
      {":MEAS:CURR?", kNumber},
      {":CURR:PROT:STAT?", "0|1"},
      {":OUTP:PON?", "SAFE|AUTO|FORC"},
      {":SYST:CONF:PROT:REC?", "SAFE|AUTO"},
      {":SYST:CONF:STAR:PRI?", "CV|CC"},
      {":SYST:CONF:BLE?", "0|1"},
      {":SYST:CONF:MON:RANG?", "HIGH|LOW"},
      {"TRIG:TRAN:SOUR?", "IMM|BUS"},
      {":OUTP:EXT?", "0|1"},
      {":OUTP:EXT:LOG?", "HIGH|LOW"},
      {":VOLT:EXT:RANG?", "HIGH|LOW"},
      {":CURR:EXT:SOUR?", "NONE|VOLT"},
      {":VOLT:EXT:SOUR?", "NONE|VOLT"},
      {"STAT:OPER:COND?", kInt16},
      {"STAT:QUES:COND?", kInt16},
      {":STAT:OPER:COND?", kInt16},
      {":STAT:OPER:ENAB?", kInt16},
      {":STAT:OPER:EVEN?", kInt16},
      {":STAT:QUES:COND?", kInt16},
      {":STAT:QUES:ENAB?", kInt16},
      {":STAT:QUES:EVEN?", kInt16},
      {":STAT:OPER:INST:COND?", kInt32},
      {":STAT:OPER:INST:ENAB?", kInt32},
      {":STAT:OPER:INST:EVEN?", kInt32},
      {":STAT:QUES:INST:COND?", kInt32},
      {":STAT:QUES:INST:ENAB?", kInt32},
      {":STAT:QUES:INST:EVEN?", kInt32},
      {":STAT:OPER:INST:ISUM0:COND?", kInt16},
      {":STAT:OPER:INST:ISUM0:ENAB?", kInt16},
      {":STAT:OPER:INST:ISUM0:EVEN?", kInt16},
      {":STAT:QUES:INST:ISUM0:COND?", kInt16},
      {":STAT:QUES:INST:ISUM0:ENAB?", kInt16},
      {":STAT:QUES:INST:ISUM0:EVEN?", kInt16},
      {"*ESR?", kByte},
      {"*ESE?", kByte},
      {"*STB?", kByte},
      {"*SRE?", kByte},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.query);
    std::string reply = c->query(k.query);
    EXPECT_TRUE(fitsForm(reply, k.form)) << reply;
  }
  EXPECT_EQ(c->errors(), std::vector<std::string>{});
}

TEST_F(DriverCommandsTest, DiscoveryOfAMultiChannelUnit) {
  startWith(testConfig("QDX750ML", {{1, "QDX750L"}, {2, "QDX750MH"}}));
  auto c = connect();
  EXPECT_NE(c->query("*OPT?").find("VMCB"), std::string::npos);
  EXPECT_EQ(c->query(":INST:CAT?"), "1,2");
  EXPECT_EQ(c->query(":INST:NSEL 1;INFO?"), "30,75,750,QDX750L");
  EXPECT_EQ(c->query(":INST:NSEL 2;INFO?"), "230,10,750,QDX750MH");
  EXPECT_EQ(c->query("*IDN?"), "Velmora,QDX750ML,SIM0001,1.00");
  EXPECT_EQ(c->query("STAT:OPER:INST:ISUM2:COND?"), "0");
  EXPECT_EQ(c->query("STAT:QUES:INST:ISUM2:COND?"), "0");
  EXPECT_EQ(c->errors(), std::vector<std::string>{});
}

// The write-only commands of the driver are accepted as it sends them.
TEST_F(DriverCommandsTest, WriteOnlyCommandsAreAccepted) {
  startWith(testConfig("QDX750ML", {{1, ""}, {2, ""}}));
  auto c = connect();
  const char* commands[] = {
      ":INST:NSEL 2", ":OUTP:PROT:CLE", ":GLOB:OUTP 1", ":GLOB:OUTP 0", ":GLOB:VOLT 5",
      ":GLOB:CURR 1.5", "*SAV 1", "*SAV 3", "*RCL 1", "*RCL 3", "TRIG:TRAN:SOUR BUS", ":INIT",
      ":ABOR", ":INIT", "*TRG", "*CLS", ":STAT:PRES", "*RST", ":STAT:OPER:INST:ISUM2:ENAB 4",
  };
  for (const char* command : commands) {
    SCOPED_TRACE(command);
    c->send(command);
    EXPECT_EQ(c->errors(), std::vector<std::string>{});
  }
}

}  // namespace
}  // namespace qdxsim::test
