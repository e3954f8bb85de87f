// The scripted device is the instrument of every layer's unit tests: its read and write
// semantics must be those of a real link.
#include "support/scripted_transport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace veqdx::io {
namespace {

struct ReadOutcome {
  IoCode code;
  std::string bytes;
  ReadEnd why;
};

ReadOutcome ReadFrom(ITransport& t, std::size_t max = 100) {
  std::string buffer(max, '\0');
  std::size_t got = 0;
  ReadEnd why = ReadEnd::End;
  IoResult r = t.Read(buffer.data(), max, got, why);
  buffer.resize(got);
  return {r.code, buffer, why};
}

// Where reads stop: at END, at the termination character when it is on (an INSTR link has it
// off, a SOCKET one on), at the count, and at each piece of a reply sent in pieces; a reply
// without END nor terminator times out with what came.
TEST(ScriptedDevice, ReadsStopAtEndTermCharCountOrPiece) {
  struct Step {
    std::size_t max;
    IoCode code;
    std::string bytes;
    ReadEnd why;  // when the read succeeded
  };
  const struct {
    const char* what;
    const char* resourceClass;
    bool termOn;  // after SetTermChar('\n', true)
    std::vector<std::pair<std::string, ReplyOptions>> replies;
    std::vector<Step> steps;
  } rows[] = {
      {"INSTR", "INSTR", false, {{"1\n2\n", {}}}, {{100, IoCode::Ok, "1\n2\n", ReadEnd::End}}},
      {"INSTR, terminator on", "INSTR", true, {{"1\n2\n", {}}},
       {{100, IoCode::Ok, "1\n", ReadEnd::TermChar},
        {1, IoCode::Ok, "2", ReadEnd::Count},
        {100, IoCode::Ok, "\n", ReadEnd::End}}},
      {"pieces", "INSTR", false, {{"abcdefg", {.chunk = 3}}},
       {{100, IoCode::Ok, "abc", ReadEnd::Count},
        {100, IoCode::Ok, "def", ReadEnd::Count},
        {100, IoCode::Ok, "g", ReadEnd::End}}},
      {"SOCKET", "SOCKET", true, {{"1\n22\n", {.end = false}}, {"partial", {.end = false}}},
       {{100, IoCode::Ok, "1\n", ReadEnd::TermChar},
        {100, IoCode::Ok, "22\n", ReadEnd::TermChar},
        {100, IoCode::Timeout, "partial", {}}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const bool socket = std::string(row.resourceClass) == "SOCKET";
    auto dev = socket ? std::make_shared<ScriptedDevice>(InterfaceType::Tcpip, "SOCKET")
                      : std::make_shared<ScriptedDevice>();
    auto t = dev->Connect();
    EXPECT_EQ(t->ResourceClass(), row.resourceClass);
    EXPECT_EQ(t->TermCharEnabled(), socket);
    if (row.termOn && !socket) t->SetTermChar('\n', true);
    for (const auto& [text, options] : row.replies) dev->Reply(text, options);
    std::vector<std::size_t> maxes;
    for (const Step& step : row.steps) {
      auto r = ReadFrom(*t, step.max);
      maxes.push_back(step.max);
      EXPECT_EQ(r.code, step.code);
      EXPECT_EQ(r.bytes, step.bytes);
      if (step.code == IoCode::Ok) {
        EXPECT_EQ(r.why, step.why) << step.bytes;
      }
    }
    EXPECT_EQ(dev->Reads(), maxes);
    EXPECT_EQ(dev->PendingOutput(), 0u);
  }
}

}  // namespace
}  // namespace veqdx::io
