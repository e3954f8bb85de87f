// Driver-wide status registers: commands, formats and widths on the wire, the simulated enable
// registers, and Clear and Preset while simulating (their wire form: tests/capi).
#include <cstdint>
#include <functional>
#include <optional>

#include "system_fixture.h"

namespace veqdx::dcpwr::testing {
namespace {

// Each register member reached through the facet's interface tree, its value widened.
using Getter = std::function<HRESULT(CStatus&, std::int64_t&)>;
using Setter = std::function<HRESULT(CStatus&, std::int64_t)>;

template <class T, class Group>
Getter Get(Group* (*group)(CStatus&), HRESULT (Group::*member)(T*)) {
  return [=](CStatus& s, std::int64_t& out) {
    T value{};
    const HRESULT hr = (group(s)->*member)(&value);
    out = value;
    return hr;
  };
}
template <class T, class Group>
Setter Put(Group* (*group)(CStatus&), HRESULT (Group::*member)(T)) {
  return [=](CStatus& s, std::int64_t v) { return (group(s)->*member)(static_cast<T>(v)); };
}

// The child group `get` hands out, which must succeed.
template <class Obj, class Base, class G>
G* Child(Obj* parent, HRESULT (Base::*get)(G**)) {
  G* g = nullptr;
  EXPECT_EQ((parent->*get)(&g), S_OK);
  return g;
}
IVelmoraQdxStatusOperation* Oper(CStatus& s) { return Child(&s, &CStatus::get_Operation); }
IVelmoraQdxStatusQuestionable* Ques(CStatus& s) { return Child(&s, &CStatus::get_Questionable); }
IVelmoraQdxStatusOperationInstrument* OperInst(CStatus& s) {
  return Child(Oper(s), &IVelmoraQdxStatusOperation::get_Instrument);
}
IVelmoraQdxStatusQuestionableInstrument* QuesInst(CStatus& s) {
  return Child(Ques(s), &IVelmoraQdxStatusQuestionable::get_Instrument);
}
IVelmoraQdxStatusStandardEvent* Esr(CStatus& s) { return Child(&s, &CStatus::get_StandardEvent); }
IVelmoraQdxStatusStatusByte* Stb(CStatus& s) { return Child(&s, &CStatus::get_StatusByte); }

using OperI = IVelmoraQdxStatusOperation;
using QuesI = IVelmoraQdxStatusQuestionable;
using OperInstI = IVelmoraQdxStatusOperationInstrument;
using QuesInstI = IVelmoraQdxStatusQuestionableInstrument;
using EsrI = IVelmoraQdxStatusStandardEvent;
using StbI = IVelmoraQdxStatusStatusByte;

struct ReadCase {
  const char* query;
  const char* reply;
  std::int64_t expected;
  Getter get;
};

// The reply values sit at the edges of each width: a 16-bit register with bit 15 set reads
// negative, a 32-bit summary holds more than 16 bits, an 8-bit register reaches 255.
const std::vector<ReadCase>& ReadCases() {
  static const std::vector<ReadCase> cases = {
      {":STAT:OPER:COND?", "-32768\n", -32768, Get(Oper, &OperI::get_ConditionRegister)},
      {":STAT:OPER:ENAB?", "32767\n", 32767, Get(Oper, &OperI::get_EnableRegister)},
      {":STAT:OPER:EVEN?", "17\n", 17, Get(Oper, &OperI::get_EventRegister)},
      {":STAT:QUES:COND?", "4\n", 4, Get(Ques, &QuesI::get_ConditionRegister)},
      {":STAT:QUES:ENAB?", "-1\n", -1, Get(Ques, &QuesI::get_EnableRegister)},
      {":STAT:QUES:EVEN?", "256\n", 256, Get(Ques, &QuesI::get_EventRegister)},
      {":STAT:OPER:INST:COND?", "65536\n", 65536, Get(OperInst, &OperInstI::get_ConditionRegister)},
      {":STAT:OPER:INST:ENAB?", "6\n", 6, Get(OperInst, &OperInstI::get_EnableRegister)},
      {":STAT:OPER:INST:EVEN?", "2147483647\n", 2147483647,
       Get(OperInst, &OperInstI::get_EventRegister)},
      {":STAT:QUES:INST:COND?", "2\n", 2, Get(QuesInst, &QuesInstI::get_ConditionRegister)},
      {":STAT:QUES:INST:ENAB?", "5\n", 5, Get(QuesInst, &QuesInstI::get_EnableRegister)},
      {":STAT:QUES:INST:EVEN?", "131072\n", 131072, Get(QuesInst, &QuesInstI::get_EventRegister)},
      {"*ESR?", "255\n", 255, Get(Esr, &EsrI::get_EventRegister)},
      {"*ESE?", "32\n", 32, Get(Esr, &EsrI::get_EnableRegister)},
      {"*STB?", "80\n", 80, Get(Stb, &StbI::get_ConditionRegister)},
      {"*SRE?", "16\n", 16, Get(Stb, &StbI::get_EnableRegister)},
  };
  return cases;
}

struct WriteCase {
  std::int64_t value;
  const char* command;
  Setter put;
  Getter get;  // the enable register read back
};

const std::vector<WriteCase>& WriteCases() {
  static const std::vector<WriteCase> cases = {
      {-32768, ":STAT:OPER:ENAB -32768", Put(Oper, &OperI::put_EnableRegister),
       Get(Oper, &OperI::get_EnableRegister)},
      {1024, ":STAT:QUES:ENAB 1024", Put(Ques, &QuesI::put_EnableRegister),
       Get(Ques, &QuesI::get_EnableRegister)},
      {65542, ":STAT:OPER:INST:ENAB 65542", Put(OperInst, &OperInstI::put_EnableRegister),
       Get(OperInst, &OperInstI::get_EnableRegister)},
      {5, ":STAT:QUES:INST:ENAB 5", Put(QuesInst, &QuesInstI::put_EnableRegister),
       Get(QuesInst, &QuesInstI::get_EnableRegister)},
      {32, "*ESE 32", Put(Esr, &EsrI::put_EnableRegister), Get(Esr, &EsrI::get_EnableRegister)},
      {16, "*SRE 16", Put(Stb, &StbI::put_EnableRegister), Get(Stb, &StbI::get_EnableRegister)},
  };
  return cases;
}

class StatusTest : public SystemOnDevice {};

TEST_F(StatusTest, EveryRegisterIsQueriedAndParsedInItsWidth) {
  OpenTwoChannels();
  for (const ReadCase& c : ReadCases()) {
    SCOPED_TRACE(c.query);
    device->ClearWritten();
    device->OnQuery(c.query, c.reply);
    std::int64_t value = 0;
    EXPECT_EQ(c.get(status, value), S_OK) << LastError();
    EXPECT_EQ(value, c.expected);
    // Driver-wide: never a channel selection, although the unit has two outputs.
    EXPECT_EQ(device->Written(), Lines{c.query});
  }
}

TEST_F(StatusTest, EnableRegistersAreWrittenInTheirFormatAndNeverCached) {
  OpenSingle();
  device->OnMessage([](const std::string& message) -> std::optional<std::string> {
    if (message.ends_with('?')) return "0\n";
    return std::nullopt;
  });
  for (const WriteCase& c : WriteCases()) {
    SCOPED_TRACE(c.command);
    device->ClearWritten();
    EXPECT_EQ(c.put(status, c.value), S_OK) << LastError();
    EXPECT_EQ(c.put(status, c.value), S_OK) << LastError();
    // The same value twice goes out twice, and a read after the write asks the instrument.
    std::int64_t readBack = 99;
    EXPECT_EQ(c.get(status, readBack), S_OK) << LastError();
    ASSERT_EQ(device->Written().size(), 3u);
    EXPECT_EQ(device->Written()[0], c.command);
    EXPECT_EQ(device->Written()[1], c.command);
    EXPECT_EQ(readBack, 0);
  }
}

TEST_F(StatusTest, RepliesOutsideTheRegisterWidthFailAndStoreNothing) {
  OpenSingle();
  device->OnQuery("*STB?", "300\n").OnQuery(":STAT:OPER:COND?", "40000\n");
  device->OnQuery("*ESR?", "-1\n").OnQuery(":STAT:OPER:INST:COND?", "3000000000\n");
  struct Case {
    Getter get;
    const char* target;
  };
  const Case cases[] = {{Get(Stb, &StbI::get_ConditionRegister), "BYTE"},
                        {Get(Oper, &OperI::get_ConditionRegister), "short"},
                        {Get(Esr, &EsrI::get_EventRegister), "BYTE"},
                        {Get(OperInst, &OperInstI::get_ConditionRegister), "long"}};
  std::int64_t stb = 99;
  EXPECT_EQ(cases[0].get(status, stb), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: I/O error: Overflow or underflow reading value of '3.000000e+02' into "
            "a BYTE..\r\n");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.target);
    std::int64_t value = 99;
    EXPECT_EQ(c.get(status, value), E_VELMORAQDX_IO_GENERAL);
    EXPECT_EQ(value, 0);
    EXPECT_NE(LastError().find("Overflow or underflow reading value of '"), std::string::npos)
        << LastError();
    EXPECT_NE(LastError().find(std::string("' into a ") + c.target + "."), std::string::npos)
        << LastError();
  }
}

TEST_F(StatusTest, SimulatedRegistersAnswerWithoutIo) {
  OpenSimulated();
  for (const ReadCase& c : ReadCases()) {
    SCOPED_TRACE(c.query);
    std::int64_t value = 99;
    EXPECT_EQ(c.get(status, value), S_OK) << LastError();
    EXPECT_EQ(value, 0);
  }
  // Each enable register keeps what was written ("*ESE": 0, then 32), independently of the
  // others.
  for (const WriteCase& c : WriteCases()) {
    SCOPED_TRACE(c.command);
    EXPECT_EQ(c.put(status, c.value), S_OK) << LastError();
  }
  for (const WriteCase& c : WriteCases()) {
    SCOPED_TRACE(c.command);
    std::int64_t value = 0;
    EXPECT_EQ(c.get(status, value), S_OK) << LastError();
    EXPECT_EQ(value, c.value);
  }
  EXPECT_EQ(status.Clear(), S_OK);
  EXPECT_EQ(status.Preset(), S_OK);
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Writes().empty());
}

TEST_F(StatusTest, NullResultsAndClosedSessionsAreReported) {
  IVelmoraQdxStatusOperation* oper = Oper(status);
  std::int16_t value = 0;
  EXPECT_EQ(oper->get_ConditionRegister(&value), MakeHr(0x8004701Du));
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxStatusOperation");
  EXPECT_EQ(status.Clear(), MakeHr(0x8004701Du));

  OpenSingle();
  EXPECT_EQ(oper->get_ConditionRegister(nullptr), MakeHr(0x80047058u));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Null pointer passed for method get_ConditionRegister, parameter val.\r\n");
  EXPECT_EQ(status.get_Operation(nullptr), MakeHr(0x80047058u));
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Null pointer passed for method get_Operation, parameter val.\r\n");
  EXPECT_TRUE(device->Written().empty());
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
