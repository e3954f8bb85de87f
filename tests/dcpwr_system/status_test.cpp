// Driver-wide status registers (their numbers through the C functions: tests/capi).
#include <cstdint>
#include <functional>

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
using OperI = IVelmoraQdxStatusOperation;
using QuesI = IVelmoraQdxStatusQuestionable;
using OperInstI = IVelmoraQdxStatusOperationInstrument;
using QuesInstI = IVelmoraQdxStatusQuestionableInstrument;
using EsrI = IVelmoraQdxStatusStandardEvent;
using StbI = IVelmoraQdxStatusStatusByte;
OperI* Oper(CStatus& s) { return Child(&s, &CStatus::get_Operation); }
QuesI* Ques(CStatus& s) { return Child(&s, &CStatus::get_Questionable); }
OperInstI* OperInst(CStatus& s) { return Child(Oper(s), &OperI::get_Instrument); }
QuesInstI* QuesInst(CStatus& s) { return Child(Ques(s), &QuesI::get_Instrument); }
EsrI* Esr(CStatus& s) { return Child(&s, &CStatus::get_StandardEvent); }
StbI* Stb(CStatus& s) { return Child(&s, &CStatus::get_StatusByte); }

// One register member: its query and a reply at the edge of its width, and for an enable
// register the value written and its command.
struct Row {
  const char* query;
  const char* reply;
  std::int64_t value;
  Getter get;
  Setter put = {};
  const char* command = nullptr;
};

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      {":STAT:OPER:COND?", "-32768\n", -32768, Get(Oper, &OperI::get_ConditionRegister)},
      {":STAT:OPER:ENAB?", "-32768\n", -32768, Get(Oper, &OperI::get_EnableRegister),
       Put(Oper, &OperI::put_EnableRegister), ":STAT:OPER:ENAB -32768"},
      {":STAT:OPER:EVEN?", "17\n", 17, Get(Oper, &OperI::get_EventRegister)},
      {":STAT:QUES:COND?", "4\n", 4, Get(Ques, &QuesI::get_ConditionRegister)},
      {":STAT:QUES:ENAB?", "1024\n", 1024, Get(Ques, &QuesI::get_EnableRegister),
       Put(Ques, &QuesI::put_EnableRegister), ":STAT:QUES:ENAB 1024"},
      {":STAT:QUES:EVEN?", "256\n", 256, Get(Ques, &QuesI::get_EventRegister)},
      {":STAT:OPER:INST:COND?", "65536\n", 65536, Get(OperInst, &OperInstI::get_ConditionRegister)},
      {":STAT:OPER:INST:ENAB?", "65542\n", 65542, Get(OperInst, &OperInstI::get_EnableRegister),
       Put(OperInst, &OperInstI::put_EnableRegister), ":STAT:OPER:INST:ENAB 65542"},
      {":STAT:OPER:INST:EVEN?", "2147483647\n", 2147483647,
       Get(OperInst, &OperInstI::get_EventRegister)},
      {":STAT:QUES:INST:COND?", "2\n", 2, Get(QuesInst, &QuesInstI::get_ConditionRegister)},
      {":STAT:QUES:INST:ENAB?", "5\n", 5, Get(QuesInst, &QuesInstI::get_EnableRegister),
       Put(QuesInst, &QuesInstI::put_EnableRegister), ":STAT:QUES:INST:ENAB 5"},
      {":STAT:QUES:INST:EVEN?", "131072\n", 131072, Get(QuesInst, &QuesInstI::get_EventRegister)},
      {"*ESR?", "255\n", 255, Get(Esr, &EsrI::get_EventRegister)},
      {"*ESE?", "32\n", 32, Get(Esr, &EsrI::get_EnableRegister), Put(Esr, &EsrI::put_EnableRegister),
       "*ESE 32"},
      {"*STB?", "80\n", 80, Get(Stb, &StbI::get_ConditionRegister)},
      {"*SRE?", "16\n", 16, Get(Stb, &StbI::get_EnableRegister), Put(Stb, &StbI::put_EnableRegister),
       "*SRE 16"},
  };
  return rows;
}

class StatusTest : public SystemOnDevice {};

// Driver-wide: never a channel selection, although the unit has two outputs. Enable registers
// are never cached: the same value goes out twice, and a read after the write asks again.
TEST_F(StatusTest, EveryRegisterIsParsedInItsWidthAndNeverCached) {
  OpenTwoChannels();
  for (const Row& r : Rows()) {
    SCOPED_TRACE(r.query);
    device->ClearWritten();
    device->OnQuery(r.query, r.reply);
    Lines expected;
    if (r.put) {
      EXPECT_EQ(r.put(status, r.value), S_OK) << LastError();
      EXPECT_EQ(r.put(status, r.value), S_OK) << LastError();
      expected = {r.command, r.command};
    }
    std::int64_t value = 0;
    EXPECT_EQ(r.get(status, value), S_OK) << LastError();
    EXPECT_EQ(value, r.value);
    expected.push_back(r.query);
    EXPECT_EQ(device->Written(), expected);
  }
}

TEST_F(StatusTest, RepliesOutsideTheRegisterWidthFailAndStoreNothing) {
  OpenSingle();
  const std::tuple<const char*, const char*, Getter, const char*> cases[] = {
      {"*STB?", "300\n", Get(Stb, &StbI::get_ConditionRegister), "'3.000000e+02' into a BYTE"},
      {":STAT:OPER:COND?", "40000\n", Get(Oper, &OperI::get_ConditionRegister),
       "'4.000000e+04' into a short"},
      {"*ESR?", "-1\n", Get(Esr, &EsrI::get_EventRegister), "'-1.000000e+00' into a BYTE"},
      {":STAT:OPER:INST:COND?", "3000000000\n", Get(OperInst, &OperInstI::get_ConditionRegister),
       "'3.000000e+09' into a long"}};
  for (const auto& [query, reply, get, target] : cases) {
    SCOPED_TRACE(query);
    device->OnQuery(query, reply);
    std::int64_t value = 99;
    EXPECT_EQ(get(status, value), E_VELMORAQDX_IO_GENERAL);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(LastError(), std::string("VelmoraQdx: I/O error: Overflow or underflow reading "
                                       "value of ") + target + "..\r\n");
  }
}

// Conditions and events read zero; each enable register keeps what was written, independently
// of the others.
TEST_F(StatusTest, SimulatedRegistersAnswerWithoutIo) {
  OpenSimulated();
  for (const Row& r : Rows()) {
    if (r.put) { EXPECT_EQ(r.put(status, r.value), S_OK) << LastError(); }
  }
  for (const Row& r : Rows()) {
    SCOPED_TRACE(r.query);
    std::int64_t value = 99;
    EXPECT_EQ(r.get(status, value), S_OK) << LastError();
    EXPECT_EQ(value, r.put ? r.value : 0);
  }
  EXPECT_EQ(status.Clear(), S_OK);
  EXPECT_EQ(status.Preset(), S_OK);
  EXPECT_FALSE(device->Connected());
  EXPECT_TRUE(device->Writes().empty());
}

TEST_F(StatusTest, NullResultsAndClosedSessionsAreReported) {
  std::int16_t value = 0;
  EXPECT_EQ(Oper(status)->get_ConditionRegister(&value), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(ThreadErrorRecord().interfaceName, "IVelmoraQdxStatusOperation");
  EXPECT_EQ(status.Clear(), E_IVI_NOT_INITIALIZED);
  OpenSingle();
  EXPECT_EQ(Oper(status)->get_ConditionRegister(nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(LastError(),
            "VelmoraQdx: Null pointer passed for method get_ConditionRegister, parameter val.\r\n");
  EXPECT_EQ(status.get_Operation(nullptr), E_IVI_NULL_POINTER);
  EXPECT_TRUE(device->Written().empty());
}

}  // namespace
}  // namespace veqdx::dcpwr::testing
