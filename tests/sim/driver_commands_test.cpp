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

// Writes a setting with the driver's command text ("<header> <value>") and reads it back with
// its query ("<header>?"). The defaults after a reset are checked exactly in status_test.
TEST_F(DriverCommandsTest, SettingsReadBackInTheFormTheDriverParses) {
  auto c = startAndConnect(testConfig("QDX750MH"));
  struct Case {
    const char* header;
    const char* value;
    const char* reply;
  };
  const Case cases[] = {
      {":INST:NSEL", "0", "0"},                 {":VOLT", "12.5", "12.5"},
      {":CURR", "2.25", "2.25"},                {":VOLT", "12.3456789012345", "12.3456789012345"},
      {":VOLT:PROT", "100.5", "100.5"},         {":CURR:PROT:STAT", "1", "1"},
      {":CURR:PROT:STAT", "0", "0"},            {":VOLT:TRIG", "20", "20"},
      {":CURR:TRIG", "3", "3"},                 {":VOLT:LIM:LOW", "1.5", "1.5"},
      {":CURR:PROT", "9.5", "9.5"},             {":OUTP:PON", "FORC", "FORC"},
      {":OUTP:PON", "AUTO", "AUTO"},            {":OUTP:PON", "SAFE", "SAFE"},
      {":OUTP:PON", "FORCe", "FORC"},           {":SYST:CONF:PROT:REC", "AUTO", "AUTO"},
      {":SYST:CONF:PROT:REC", "SAFE", "SAFE"},  {":SYST:CONF:STAR:PRI", "CC", "CC"},
      {":SYST:CONF:STAR:PRI", "CV", "CV"},      {":SYST:CONF:BLE", "0", "0"},
      {":SYST:CONF:BLE", "1", "1"},             {":SYST:CONF:MON:RANG", "LOW", "LOW"},
      {":SYST:CONF:MON:RANG", "HIGH", "HIGH"},  {"TRIG:TRAN:SOUR", "BUS", "BUS"},
      {"TRIG:TRAN:SOUR", "IMM", "IMM"},         {":OUTP:EXT", "1", "1"},
      {":OUTP:EXT:LOG", "LOW", "LOW"},          {":VOLT:EXT:RANG", "LOW", "LOW"},
      {":CURR:EXT:SOUR", "VOLT", "VOLT"},       {":CURR:EXT:SOUR", "NONE", "NONE"},
      {":VOLT:EXT:SOUR", "VOLT", "VOLT"},       {":OUTP", "1", "1"},
      {":OUTP", "0", "0"},                      {":STAT:OPER:ENAB", "1280", "1280"},
      {":STAT:QUES:ENAB", "7", "7"},            {":STAT:OPER:INST:ENAB", "6", "6"},
      {":STAT:QUES:INST:ENAB", "6", "6"},       {":STAT:OPER:INST:ISUM0:ENAB", "4", "4"},
      {":STAT:QUES:INST:ISUM0:ENAB", "3", "3"}, {"*ESE", "60", "60"},
      {"*SRE", "48", "48"},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(std::string(k.header) + " " + k.value);
    c->send(std::string(k.header) + " " + k.value);
    EXPECT_EQ(c->query(std::string(k.header) + "?"), k.reply);
  }
  EXPECT_EQ(c->errors(), std::vector<std::string>{});
}

// The other replies the driver reads: identification, maxima, measurements and the status
// registers, whose values must fit "%hd" / "%d" / "%bd". Settings, their defaults after a
// reset, "*ESE?" and the "STAT:OPER:COND?" / "STAT:QUES:COND?" values are compared exactly by
// the test above and in status_test.
TEST_F(DriverCommandsTest, QueriesAnswerInTheDriversReadFormats) {
  auto c = startAndConnect(testConfig("QDX750MH"));
  std::vector<std::pair<std::string, std::string>> cases = {
      {"*IDN?", "Velmora,QDX750MH,SIM0001,1.00"},
      {"*OPT?", "0"},  // a single unit: no VMCB
      {"*RST;*OPC?", "1"},     {"*TST?", "0"},          {":SYST:ERR?", "0,\"No error\""},
      {":VOLT? MAX", "230"},   {":CURR? MAX", "10"},    {":MEAS:VOLT?", kNumber},
      {":MEAS:CURR?", kNumber}, {"*ESR?", kByte},       {"*STB?", kByte},   {"*SRE?", kByte},
  };
  for (const char* reg : {":STAT:OPER", ":STAT:QUES"}) {
    for (const char* part : {":COND?", ":ENAB?", ":EVEN?"}) {
      cases.push_back({std::string(reg) + part, kInt16});
      cases.push_back({std::string(reg) + ":INST" + part, kInt32});
      cases.push_back({std::string(reg) + ":INST:ISUM0" + part, kInt16});
    }
  }
  for (const auto& [query, form] : cases) {
    SCOPED_TRACE(query);
    std::string reply = c->query(query);
    EXPECT_TRUE(fitsForm(reply, form)) << reply;
  }
  EXPECT_EQ(c->errors(), std::vector<std::string>{});
}

TEST_F(DriverCommandsTest, DiscoveryOfAMultiChannelUnit) {
  auto c = startAndConnect(testConfig("QDX750ML", {{1, "QDX750L"}, {2, "QDX750MH"}}));
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
  auto c = startAndConnect(testConfig("QDX750ML", {{1, ""}, {2, ""}}));
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
