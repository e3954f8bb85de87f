#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "io_test_util.h"

namespace veqdx::io {
namespace {

using test::IoErrorText;
using test::LastDescription;
using test::ReadAll;
using test::ScriptedSession;

const std::string kNoPushback =
    "Can't push character back into read buffer.  Buffer has not been read from.";

// What leaves on Write and on the flush after it: each buffer that fills goes out without END
// at once, the rest with END at the flush, and an empty buffer sends nothing at all.
TEST(InstrBuffer, WritesLeaveInFullBuffersAndTheRestWithTheFlush) {
  std::string big;
  for (int i = 0; i < 10000; ++i) big.push_back(static_cast<char>('a' + i % 26));
  const std::string full(4096, 'x');
  using Records = std::vector<WriteRecord>;
  const struct {
    std::string data;
    Records onWrite;  // sent by Write itself
    std::int32_t pending;
    Records onFlush;  // sent by Flush(true)
  } rows[] = {
      {"", {}, 0, {}},
      {":VOLT 12.5", {}, 10, {{":VOLT 12.5", true}}},
      {full, {}, 4096, {{full, true}}},  // exactly full waits for the flush
      {big, {{big.substr(0, 4096), false}, {big.substr(4096, 4096), false}}, 10000 - 8192,
       {{big.substr(8192), true}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.data.size());
    ScriptedSession s;
    if (!row.data.empty()) {
      ASSERT_EQ(s.buffer().Write(row.data), S_OK);
    }
    EXPECT_EQ(s.device->Writes(), row.onWrite);
    EXPECT_EQ(s.buffer().WritePending(), row.pending);
    ASSERT_EQ(s.buffer().Flush(true), S_OK);
    ASSERT_EQ(s.buffer().Flush(false), S_OK);  // empty now: sends nothing
    Records all = row.onWrite;
    all.insert(all.end(), row.onFlush.begin(), row.onFlush.end());
    EXPECT_EQ(s.device->Writes(), all);
    EXPECT_EQ(s.buffer().WritePending(), 0);
    EXPECT_EQ(s.device->Written(),
              row.data.empty() ? std::vector<std::string>{} : std::vector<std::string>{row.data});
  }
}

// Each failure is the general I/O error with its own text; a flush that did not get
// everything out still empties the buffer.
TEST(InstrBuffer, FailuresNameWhatFailed) {
  const std::int32_t tooBig = CInstrBuffer::kMaxCapacity + 1;
  const struct {
    std::function<HRESULT(ScriptedSession&)> act;
    std::string message;
  } rows[] = {
      {[](ScriptedSession& s) {
         s.device->AcceptAtMostNextWrite(3);
         s.buffer().Write("*RST;*CLS");
         return s.buffer().Flush(true);
       },
       "Flush of formatted I/O write buffer only successfully sent 3 of 9 bytes to the device."},
      {[](ScriptedSession& s) {
         s.device->FailNextWrite("link down");
         s.buffer().Write("*RST;*CLS");
         return s.buffer().Flush(true);
       },
       "link down"},
      {[](ScriptedSession& s) {
         std::size_t got = 7;
         HRESULT hr = s.buffer().Read(nullptr, 4, got);
         EXPECT_EQ(got, 0u);
         return hr;
       },
       "Failed copying data from formatted I/O read buffer to user buffer."},
      {[](ScriptedSession& s) { return s.buffer().Write(nullptr, 4); },
       "Failed copying data from user buffer to formatted I/O write buffer."},
      {[](ScriptedSession& s) { return s.buffer().PushBack(); }, kNoPushback},  // nothing read
      {[](ScriptedSession& s) {
         s.device->FailNextRead("connection reset");
         return s.buffer().DiscardPending();
       },
       "connection reset"},
      {[&](ScriptedSession& s) { return s.buffer().ResizeWriteBuffer(tooBig); },
       "Couldn't allocate formatted I/O write buffer with a capacity of " +
           std::to_string(tooBig) + " bytes."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    ScriptedSession s;
    EXPECT_EQ(row.act(s), E_VELMORAQDX_IO_GENERAL);
    EXPECT_EQ(LastDescription(), IoErrorText(row.message));
    EXPECT_EQ(s.buffer().WritePending(), 0);
    EXPECT_EQ(s.buffer().WriteCapacity(), 4096);
  }
}

// Discarding pending input: one 1000-character read for a short response, one more for each
// further 1000 characters, and never a byte of the response queued after it.
TEST(InstrBuffer, DiscardReadsInThousandCharacterSteps) {
  const std::pair<std::size_t, std::size_t> rows[] = {
      {1, 1}, {999, 1}, {1000, 1}, {1001, 2}, {2500, 3}, {5000, 5}};
  for (const auto& [length, reads] : rows) {
    ScriptedSession s;
    s.device->Reply(std::string(length - 1, 'x') + "\n");
    s.device->Reply("NEXT\n");
    ASSERT_EQ(s.buffer().DiscardPending(), S_OK);
    EXPECT_EQ(s.device->Reads(), std::vector<std::size_t>(reads, 1000)) << length;
    EXPECT_EQ(s.device->PendingOutput(), 5u) << length;
    EXPECT_EQ(s.buffer().ReadPending(), 0);
    EXPECT_EQ(ReadAll(s.buffer()), "NEXT\n");
  }
}

// A response is read across the pieces it arrives in up to its end, and the end stays the end
// until the response is finished; finishing discards only an unfinished response, and never
// touches the next one.
TEST(InstrBuffer, ReadsFollowTheResponseToItsEnd) {
  ScriptedSession s;
  CInstrBuffer& b = s.buffer();
  EXPECT_EQ(b.ReadCapacity(), 4096);
  EXPECT_FALSE(b.HasBeenRead());
  s.device->Reply("12.5,-3\n", {.chunk = 3});
  EXPECT_EQ(ReadAll(b), "12.5,-3\n");
  EXPECT_EQ(s.device->Reads(), std::vector<std::size_t>(3, 4096));
  EXPECT_TRUE(b.ResponseComplete());
  int c = 0;
  ASSERT_EQ(b.PeekChar(c), S_OK);
  EXPECT_EQ(c, CInstrBuffer::kEndOfResponse);
  ASSERT_EQ(b.PushBack(), S_OK);  // pushing back the end changes nothing
  ASSERT_EQ(b.ReadChar(c), S_OK);
  EXPECT_EQ(c, CInstrBuffer::kEndOfResponse);
  ASSERT_EQ(b.DiscardPending(), S_OK);  // the response had ended: no read
  ASSERT_EQ(b.FinishRead(), S_OK);
  ASSERT_EQ(b.FinishRead(), S_OK);      // nothing read since: no read either
  EXPECT_EQ(s.device->Reads().size(), 3u);

  // One character can be pushed back, once.
  s.device->Reply("AB\n");
  ASSERT_EQ(b.ReadChar(c), S_OK);
  ASSERT_EQ(b.ReadChar(c), S_OK);
  ASSERT_EQ(b.PushBack(), S_OK);
  EXPECT_EQ(b.PushBack(), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), IoErrorText(kNoPushback));
  ASSERT_EQ(b.ReadChar(c), S_OK);
  EXPECT_EQ(c, 'B');
  EXPECT_EQ(ReadAll(b), "\n");
  ASSERT_EQ(b.FinishRead(), S_OK);

  // Read in part: finishing discards the rest of it.
  s.device->Reply("12.5," + std::string(2000, '9') + "\n", {.chunk = 5});
  s.device->Reply("#15hello", {.chunk = 4});
  ASSERT_EQ(b.ReadChar(c), S_OK);
  ASSERT_EQ(b.FinishRead(), S_OK);
  // A block read stops at the end of its response.
  char data[16] = {};
  std::size_t got = 0;
  ASSERT_EQ(b.Read(data, 3, got), S_OK);
  EXPECT_EQ(std::string(data, got), "#15");
  ASSERT_EQ(b.Read(data, sizeof data, got), S_OK);
  EXPECT_EQ(std::string(data, got), "hello");
  EXPECT_EQ(s.device->PendingOutput(), 0u);

  // A timeout abandons the response without waiting again; the next one is read afresh.
  const auto reads = s.device->Reads().size();
  ASSERT_EQ(b.FinishRead(), S_OK);
  EXPECT_EQ(b.ReadChar(c), E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(LastDescription(), "VelmoraQdx: I/O timeout error: no reply within 2000 ms.\r\n");
  ASSERT_EQ(b.ReadChar(c), S_OK);
  EXPECT_EQ(c, CInstrBuffer::kEndOfResponse);
  ASSERT_EQ(b.FinishRead(), S_OK);
  ASSERT_EQ(b.DiscardPending(), S_OK);  // a silent device ends a discard quietly
  EXPECT_EQ(s.device->Reads().size(), reads + 2);
  s.device->Reply("1\n");
  EXPECT_EQ(ReadAll(b), "1\n");
}

TEST(InstrBuffer, WriteBufferCanBeReallocated) {
  ScriptedSession s;
  CInstrBuffer& b = s.buffer();
  ASSERT_EQ(b.Write("abc"), S_OK);
  ASSERT_EQ(b.ResizeWriteBuffer(8), S_OK);
  EXPECT_EQ(b.WriteCapacity(), 8);
  EXPECT_EQ(b.WritePending(), 3);
  ASSERT_EQ(b.Write("defghij"), S_OK);  // 10 bytes: one full buffer goes out first
  EXPECT_EQ(s.device->Writes(), (std::vector<WriteRecord>{{"abcdefgh", false}}));

  EXPECT_EQ(b.ResizeWriteBuffer(CInstrBuffer::kMaxCapacity + 1), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(b.WriteCapacity(), 8);
  EXPECT_EQ(b.WritePending(), 2);
  EXPECT_TRUE(Failed(b.ResizeWriteBuffer(1)));  // below what is waiting
  EXPECT_TRUE(Failed(b.ResizeWriteBuffer(0)));
  ASSERT_EQ(b.Flush(true), S_OK);
  EXPECT_EQ(s.device->Written(), std::vector<std::string>{"abcdefghij"});
}

}  // namespace
}  // namespace veqdx::io
