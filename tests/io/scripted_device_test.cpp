// The scripted device is the instrument of every layer's unit tests: its read and write
// semantics must be those of a real link.
#include "io/scripted_transport.h"

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

void Send(ITransport& t, const std::string& text, bool end = true) {
  std::size_t written = 0;
  ASSERT_TRUE(t.Write(text.data(), text.size(), end, written).ok());
  ASSERT_EQ(written, text.size());
}

TEST(ScriptedDevice, MessagesAreAssembledUpToEnd) {
  auto dev = std::make_shared<ScriptedDevice>();
  auto t = dev->Connect();
  Send(*t, ":VOLT ", false);
  Send(*t, "12.5", true);
  Send(*t, "*OPC?\n", true);
  Send(*t, ":CURR", false);
  EXPECT_EQ(dev->Written(), (std::vector<std::string>{":VOLT 12.5", "*OPC?\n", ":CURR"}));
  EXPECT_EQ(dev->Writes().size(), 4u);
  EXPECT_EQ(dev->Writes()[0], (WriteRecord{":VOLT ", false}));
  dev->ClearWritten();
  EXPECT_TRUE(dev->Written().empty());
}

TEST(ScriptedDevice, QueriesRulesAndResponder) {
  auto dev = std::make_shared<ScriptedDevice>();
  std::vector<std::string> seen;
  dev->OnQuery("*IDN?", "old\n").OnQuery("*IDN?", "Velmora,QDX750L,1,2\n");
  dev->OnMessage([&](const std::string& m) -> std::optional<std::string> {
    seen.push_back(m);
    if (m == ":MEAS:VOLT?") return "3.3\n";
    return std::nullopt;
  });
  auto t = dev->Connect();
  Send(*t, "*IDN?\r\n");  // matched with the line end removed
  EXPECT_EQ(ReadFrom(*t).bytes, "Velmora,QDX750L,1,2\n");
  Send(*t, ":VOLT 1");
  Send(*t, ":MEAS:VOLT?");
  EXPECT_EQ(ReadFrom(*t).bytes, "3.3\n");
  EXPECT_EQ(seen, (std::vector<std::string>{":VOLT 1", ":MEAS:VOLT?"}));
  EXPECT_EQ(dev->PendingOutput(), 0u);
}

TEST(ScriptedDevice, ReadsStopAtEndTermCharOrCount) {
  auto dev = std::make_shared<ScriptedDevice>();
  auto t = dev->Connect();
  EXPECT_FALSE(t->TermCharEnabled());  // an INSTR link ends replies with END
  dev->Reply("1\n2\n");
  auto r = ReadFrom(*t);
  EXPECT_EQ(r.bytes, "1\n2\n");
  EXPECT_EQ(r.why, ReadEnd::End);

  t->SetTermChar('\n', true);
  dev->Reply("1\n2\n");
  r = ReadFrom(*t);
  EXPECT_EQ(r.bytes, "1\n");
  EXPECT_EQ(r.why, ReadEnd::TermChar);
  r = ReadFrom(*t, 1);
  EXPECT_EQ(r.bytes, "2");
  EXPECT_EQ(r.why, ReadEnd::Count);
  r = ReadFrom(*t);
  EXPECT_EQ(r.bytes, "\n");
  EXPECT_EQ(r.why, ReadEnd::End);
  EXPECT_EQ(dev->Reads(), (std::vector<std::size_t>{100, 100, 1, 100}));
}

TEST(ScriptedDevice, SocketDevicesAreLineFeedTerminated) {
  auto dev = std::make_shared<ScriptedDevice>(InterfaceType::Tcpip, "SOCKET");
  auto t = dev->Connect();
  EXPECT_TRUE(t->TermCharEnabled());
  EXPECT_EQ(t->ResourceClass(), "SOCKET");
  // Without END the line feed ends each reply; a reply without either times out with what
  // came.
  dev->Reply("1\n22\n", {.end = false}).Reply("partial", {.end = false});
  EXPECT_EQ(ReadFrom(*t).bytes, "1\n");
  EXPECT_EQ(ReadFrom(*t).bytes, "22\n");
  auto r = ReadFrom(*t);
  EXPECT_EQ(r.code, IoCode::Timeout);
  EXPECT_EQ(r.bytes, "partial");
}

TEST(ScriptedDevice, ChunkedRepliesComeInPieces) {
  auto dev = std::make_shared<ScriptedDevice>();
  auto t = dev->Connect();
  dev->Reply("abcdefg", {.chunk = 3});
  std::vector<std::string> pieces;
  for (;;) {
    auto r = ReadFrom(*t);
    ASSERT_EQ(r.code, IoCode::Ok);
    pieces.push_back(r.bytes);
    if (r.why == ReadEnd::End) break;
    ASSERT_EQ(r.why, ReadEnd::Count);
  }
  EXPECT_EQ(pieces, (std::vector<std::string>{"abc", "def", "g"}));
}

TEST(ScriptedDevice, FaultsHitOnlyTheNextOperation) {
  auto dev = std::make_shared<ScriptedDevice>();
  auto t = dev->Connect();
  dev->Reply("ok\n").TimeOutNextRead().FailNextWrite("cable pulled");
  EXPECT_EQ(ReadFrom(*t).code, IoCode::Timeout);
  EXPECT_EQ(ReadFrom(*t).bytes, "ok\n");
  EXPECT_EQ(ReadFrom(*t).code, IoCode::Timeout);  // nothing queued: a silent device
  std::size_t written = 9;
  IoResult w = t->Write("X", 1, true, written);
  EXPECT_EQ(w.code, IoCode::Error);
  EXPECT_EQ(w.message, "cable pulled");
  EXPECT_EQ(written, 0u);
  dev->AcceptAtMostNextWrite(2);
  ASSERT_TRUE(t->Write("ABCD", 4, true, written).ok());
  EXPECT_EQ(written, 2u);
  ASSERT_TRUE(t->Write("ABCD", 4, true, written).ok());
  EXPECT_EQ(written, 4u);
  EXPECT_EQ(dev->Written(), (std::vector<std::string>{"AB", "ABCD"}));
  dev->FailNextRead("framing error");
  EXPECT_EQ(ReadFrom(*t).code, IoCode::Error);
}

TEST(ScriptedDevice, ClearAndCloseAndReconnect) {
  auto dev = std::make_shared<ScriptedDevice>();
  auto t = dev->Connect();
  dev->Reply("stale\n");
  ASSERT_TRUE(t->Clear().ok());
  EXPECT_EQ(dev->ClearCount(), 1);
  EXPECT_EQ(dev->PendingOutput(), 0u);
  t->Close();
  t->Close();  // idempotent
  EXPECT_FALSE(dev->Connected());
  std::size_t written = 0;
  EXPECT_EQ(t->Write("X", 1, true, written).code, IoCode::Error);
  auto again = dev->Connect();
  EXPECT_TRUE(dev->Connected());
  Send(*again, "*CLS");
  EXPECT_EQ(dev->Written(), std::vector<std::string>{"*CLS"});
}

}  // namespace
}  // namespace veqdx::io
