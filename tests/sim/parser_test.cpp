// SCPI syntax as the emulator accepts it over the socket: header forms, numbers, compound
// messages with their path rule, and the error each malformed message gives.
#include <cstdlib>

#include "sim_client.h"

namespace qdxsim::test {
namespace {

std::vector<int> errorCodes(const std::vector<std::string>& entries) {
  std::vector<int> codes;
  for (const auto& e : entries) codes.push_back(std::atoi(e.c_str()));
  return codes;
}

class ParserTest : public EmulatorFixture {
 protected:
  void SetUp() override {
    client_ = startAndConnect(testConfig("QDX750MH"));  // 230 V, 10 A
    client_->send("*CLS");
  }
  std::unique_ptr<SimClient> client_;
};

TEST_F(ParserTest, EveryHeaderFormReachesTheSameSetting) {
  const char* forms[] = {
      ":VOLT 12.5",        "VOLT 12.5",           "volt 12.5",
      "VoLtAgE 12.5",      ":SOUR:VOLT:LEV:IMM:AMPL 12.5",
      ":source:voltage:level:immediate:amplitude 12.5",
      "sour:volt:lev 12.5", "  :VOLT   12.5  ",   ":VOLT\t12.5",
      ":VOLT 12.5\r",  // CR LF terminated clients
  };
  for (const char* form : forms) {
    SCOPED_TRACE(form);
    client_->send("*RST");
    client_->send(form);
    EXPECT_EQ(client_->query(":VOLT?"), "12.5");
    EXPECT_EQ(client_->errors(), std::vector<std::string>{});
  }
}

TEST_F(ParserTest, NumericParameterForms) {
  struct Case {
    const char* param;
    const char* expected;
  };
  const Case cases[] = {
      {"1.25E1", "12.5"}, {"125e-1", "12.5"}, {"+12.5", "12.5"},  {"1.25 E +1", "12.5"},
      {"12500 MV", "12.5"}, {"12.5V", "12.5"}, {"0.0125kv", "12.5"}, {".5", "0.5"},
      {"#H0C", "12"},     {"#b1100", "12"},    {"#Q14", "12"},      {"MAX", "230"},
      {"maximum", "230"}, {"MIN", "0"},        {"DEF", "0"},
      {"241.5", "241.5"},  // 105 % of the rating is still accepted
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.param);
    client_->send("*RST");
    client_->send(std::string(":VOLT ") + c.param);
    EXPECT_EQ(client_->query(":VOLT?"), c.expected);
    EXPECT_EQ(client_->errors(), std::vector<std::string>{});
  }
  // The maxima and 15 significant digits are read back in driver_commands_test.
  EXPECT_EQ(client_->query(":VOLT? MIN;:CURR 2500 mA;:CURR?"), "0;2.5");
}

TEST_F(ParserTest, MalformedMessagesReportTheirErrorAndEsrBit) {
  struct Case {
    std::string message;
    int error;
    int esrBit;
    bool answers = false;  // the message still answers its first query
  };
  const Case cases[] = {
      {"FOO", -113, 0x20},          {":VOLT:FOO 1", -113, 0x20},
      {":VOLT2 5", -113, 0x20},  // no suffix on this node
      {"*RST?", -113, 0x20},        {"*IDN", -113, 0x20},         {":OUTP:PROT:CLE?", -113, 0x20},
      {"VOLT,5", -103, 0x20},       {":VOLT", -109, 0x20},        {":VOLT 1,2", -108, 0x20},
      {":OUTP? 1", -108, 0x20},     {":VOLT? 5", -104, 0x20},     {":VOLT 5Q", -131, 0x20},
      {":VOLT 5 A", -131, 0x20},  // an ampere suffix on a voltage
      {":VOLT ABC", -148, 0x20},    {":VOLT 'x'", -158, 0x20},    {":VOLT 1e999", -123, 0x20},
      {":VOLT 1.2.3", -120, 0x20},  {":VOLT 'abc", -151, 0x20},   {"TRIG:TRAN:SOUR 5", -104, 0x20},
      {"TRIG:TRAN:SOUR FOO", -141, 0x20},                         {":OUTP MAYBE", -141, 0x20},
      {"ABCDEFGHIJKLMN 1", -112, 0x20},
      {":STAT:OPER:INST:ISUM7:COND?", -114, 0x20},  // a single unit's channel is 0
      {":VOLT 5;;:CURR 1", -102, 0x20},             {std::string(":VOLT\x01 5"), -101, 0x20},
      {":VOLT 241.6", -222, 0x10},  {":VOLT -1", -222, 0x10},     {":CURR 10.6", -222, 0x10},
      {":INST:NSEL 1", -222, 0x10}, {"*SAV 4", -222, 0x10},       {"*ESE 256", -222, 0x10},
      {":STAT:OPER:ENAB 32768", -222, 0x10},
      {"*TRG", -211, 0x10},  // nothing armed
      {"*IDN?;*OPT?", -440, 0x04, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    client_->send(c.message);
    if (c.answers) {
      EXPECT_EQ(client_->readLine().value_or("<none>"), "Velmora,QDX750MH,SIM0001,1.00");
    }
    EXPECT_EQ(client_->query("*ESR?"), std::to_string(c.esrBit));
    EXPECT_EQ(errorCodes(client_->errors()), std::vector<int>{c.error});
  }
}

TEST_F(ParserTest, CompoundMessagesFollowTheHeaderPathRule) {
  struct Case {
    const char* message;
    const char* reply;  // "" for none
    std::vector<std::string> errors;
  };
  const Case cases[] = {
      {":INST:NSEL 0;INFO?", "230,10,750,QDX750MH", {}},  // INFO continues under INST
      {":VOLT 5;:CURR 2;:VOLT?;:CURR?", "5;2", {}},
      {":VOLT 7;:VOLT:PROT 50;LEV?", "7", {}},            // LEV continues under VOLT
      {":VOLT:PROT 60;*OPC?;PROT?", "1;60", {}},          // common commands keep the path
      {":STAT:OPER:ENAB 4;ENAB?", "4", {}},
      {"*RST;*OPC?", "1", {}},
      {":OUTP 0;PROT:CLE", "", {"-113,\"Undefined header\""}},  // OUTP leaves the root path
      {":VOLT 3;", "", {}},
      {"*OPC?;*IDN?", "1;Velmora,QDX750MH,SIM0001,1.00", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    client_->send(c.message);
    if (*c.reply) {
      EXPECT_EQ(client_->readLine().value_or("<none>"), c.reply);
    }
    EXPECT_EQ(client_->errors(), c.errors);
  }
}

TEST_F(ParserTest, CommandErrorSkipsTheRestButExecutionErrorDoesNot) {
  client_->send(":VOLT 5;FOO;:VOLT 6");
  EXPECT_EQ(client_->query(":VOLT?"), "5");
  client_->send(":VOLT 1000;:VOLT 6");
  EXPECT_EQ(client_->query(":VOLT?"), "6");
  EXPECT_EQ(client_->errors(),
            (std::vector<std::string>{"-113,\"Undefined header\"", "-222,\"Data out of range\""}));
  // A failing query answers nothing, the others of the message still do.
  EXPECT_EQ(client_->query(":VOLT?;:INST:NSEL 3;:CURR?"), "6;10");
}

TEST_F(ParserTest, FullErrorQueueEndsWithOverflow) {
  for (int i = 0; i < 25; ++i) client_->send("FOO");
  EXPECT_EQ(client_->query(":SYST:ERR:COUN?"), "20");
  EXPECT_EQ(client_->query("*ESR?"), std::to_string(0x20 | 0x08));
  std::vector<std::string> errors = client_->errors();
  ASSERT_EQ(errors.size(), 20u);
  EXPECT_EQ(errors.front(), "-113,\"Undefined header\"");
  EXPECT_EQ(errors.back(), "-350,\"Queue overflow\"");
}

TEST_F(ParserTest, OverLongInputIsDroppedWithInputBufferOverrun) {
  client_->sendRaw(":VOLT " + std::string(70 * 1024, '1'));
  client_->sendRaw("\n");
  EXPECT_EQ(client_->query("*ESR?"), "8");
  EXPECT_EQ(client_->errors(), std::vector<std::string>{"-363,\"Input buffer overrun\""});
  EXPECT_EQ(client_->query(":VOLT?"), "0");  // nothing of it was executed
}

}  // namespace
}  // namespace qdxsim::test
