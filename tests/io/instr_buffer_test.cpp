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

// A flush that does not get everything out reports it, and the bytes leave the buffer anyway.
TEST(InstrBuffer, FailedFlushIsReportedAndEmptiesTheBuffer) {
  const struct {
    std::function<void(ScriptedDevice&)> fault;
    std::string message;
  } rows[] = {
      {[](ScriptedDevice& d) { d.AcceptAtMostNextWrite(3); },
       "Flush of formatted I/O write buffer only successfully sent 3 of 9 bytes to the device."},
      {[](ScriptedDevice& d) { d.FailNextWrite("link down"); }, "link down"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    ScriptedSession s;
    row.fault(*s.device);
    ASSERT_EQ(s.buffer().Write("*RST;*CLS"), S_OK);
    EXPECT_EQ(s.buffer().Flush(true), E_VELMORAQDX_IO_GENERAL);
    EXPECT_EQ(LastDescription(), IoErrorText(row.message));
    EXPECT_EQ(s.buffer().WritePending(), 0);
  }
}

TEST(InstrBuffer, NullUserBuffersAreReported) {
  ScriptedSession s;
  std::size_t got = 7;
  EXPECT_EQ(s.buffer().Read(nullptr, 4, got), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(),
            IoErrorText("Failed copying data from formatted I/O read buffer to user buffer."));
  EXPECT_EQ(got, 0u);
  EXPECT_EQ(s.buffer().Write(nullptr, 4), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(),
            IoErrorText("Failed copying data from user buffer to formatted I/O write buffer."));
  EXPECT_TRUE(s.device->Reads().empty());
  EXPECT_TRUE(s.device->Writes().empty());
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

// Discard asks nothing of a device whose response has ended, ends quietly on a silent one and
// reports a broken link.
TEST(InstrBuffer, DiscardEndsQuietlyButReportsABrokenLink) {
  ScriptedSession s;
  s.device->Reply("1,2,3\n");
  int c = 0;
  ASSERT_EQ(s.buffer().ReadChar(c), S_OK);
  EXPECT_EQ(c, '1');
  ASSERT_EQ(s.buffer().DiscardPending(), S_OK);  // the response had ended: no read
  EXPECT_EQ(s.device->Reads().size(), 1u);
  EXPECT_EQ(s.buffer().ReadPending(), 0);
  EXPECT_EQ(s.buffer().DiscardPending(), S_OK);  // nothing comes
  EXPECT_EQ(s.device->Reads().size(), 2u);
  s.device->FailNextRead("connection reset");
  EXPECT_EQ(s.buffer().DiscardPending(), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), IoErrorText("connection reset"));
}

TEST(InstrBuffer, FinishReadDiscardsOnlyAnUnfinishedResponse) {
  ScriptedSession s;
  // Response read to its end: nothing more is asked of the device.
  s.device->Reply("OK\n");
  EXPECT_EQ(ReadAll(s.buffer()), "OK\n");
  ASSERT_EQ(s.buffer().FinishRead(), S_OK);
  EXPECT_EQ(s.device->Reads().size(), 1u);

  // Response delivered in pieces and read only in part: the rest is discarded, the next
  // response is untouched.
  s.device->Reply("12.5," + std::string(2000, '9') + "\n", {.chunk = 5});
  s.device->Reply("NEXT\n");
  int c = 0;
  ASSERT_EQ(s.buffer().ReadChar(c), S_OK);
  EXPECT_EQ(c, '1');
  ASSERT_EQ(s.buffer().FinishRead(), S_OK);
  EXPECT_EQ(s.device->PendingOutput(), 5u);
  EXPECT_EQ(ReadAll(s.buffer()), "NEXT\n");

  // Nothing read at all: no device traffic.
  ASSERT_EQ(s.buffer().FinishRead(), S_OK);
  auto before = s.device->Reads().size();
  ASSERT_EQ(s.buffer().FinishRead(), S_OK);
  EXPECT_EQ(s.device->Reads().size(), before);
}

TEST(InstrBuffer, ReadsRefillAcrossPiecesUntilTheEnd) {
  ScriptedSession s;
  s.device->Reply("12.5,-3\n", {.chunk = 3});
  EXPECT_EQ(ReadAll(s.buffer()), "12.5,-3\n");
  EXPECT_EQ(s.device->Reads(), std::vector<std::size_t>(3, 4096));
  EXPECT_TRUE(s.buffer().ResponseComplete());
  // The end stays the end until the response is finished.
  int c = 0;
  ASSERT_EQ(s.buffer().PeekChar(c), S_OK);
  EXPECT_EQ(c, CInstrBuffer::kEndOfResponse);
  EXPECT_EQ(s.device->Reads().size(), 3u);
}

TEST(InstrBuffer, BlockReadStopsAtTheEndOfTheResponse) {
  ScriptedSession s;
  s.device->Reply("#15hello", {.chunk = 4});
  s.device->Reply("NEXT\n");
  char data[16] = {};
  std::size_t got = 0;
  ASSERT_EQ(s.buffer().Read(data, 3, got), S_OK);
  EXPECT_EQ(std::string(data, got), "#15");
  ASSERT_EQ(s.buffer().Read(data, sizeof data, got), S_OK);
  EXPECT_EQ(std::string(data, got), "hello");
  EXPECT_EQ(s.device->PendingOutput(), 5u);
}

// A fresh session has empty buffers and nothing to push back; after a read, one character.
TEST(InstrBuffer, OneCharacterCanBePushedBackOnceSomethingWasRead) {
  ScriptedSession s;
  ASSERT_EQ(s.openResult, S_OK);
  CInstrBuffer& b = s.buffer();
  EXPECT_EQ(b.ReadCapacity(), 4096);
  EXPECT_EQ(b.WriteCapacity(), 4096);
  EXPECT_EQ(b.ReadPending(), 0);
  EXPECT_EQ(b.WritePending(), 0);
  EXPECT_FALSE(b.HasBeenRead());
  EXPECT_EQ(b.PushBack(), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), IoErrorText(kNoPushback));
  EXPECT_TRUE(s.device->Reads().empty());

  s.device->Reply("AB\n");
  int c = 0;
  ASSERT_EQ(b.ReadChar(c), S_OK);
  ASSERT_EQ(b.ReadChar(c), S_OK);
  EXPECT_EQ(c, 'B');
  EXPECT_TRUE(b.HasBeenRead());
  ASSERT_EQ(b.PushBack(), S_OK);
  ClearThreadErrorRecord();
  EXPECT_EQ(b.PushBack(), E_VELMORAQDX_IO_GENERAL);  // only one
  EXPECT_EQ(LastDescription(), IoErrorText(kNoPushback));
  ASSERT_EQ(b.ReadChar(c), S_OK);
  EXPECT_EQ(c, 'B');
  ASSERT_EQ(b.ReadChar(c), S_OK);
  ASSERT_EQ(b.ReadChar(c), S_OK);
  EXPECT_EQ(c, CInstrBuffer::kEndOfResponse);
  // Pushing back the end changes nothing.
  ASSERT_EQ(b.PushBack(), S_OK);
  ASSERT_EQ(b.ReadChar(c), S_OK);
  EXPECT_EQ(c, CInstrBuffer::kEndOfResponse);
}

TEST(InstrBuffer, TimeoutAbandonsTheResponseWithoutWaitingAgain) {
  ScriptedSession s;
  int c = 0;
  EXPECT_EQ(s.buffer().ReadChar(c), E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(LastDescription(), "VelmoraQdx: I/O timeout error: no reply within 2000 ms.\r\n");
  ASSERT_EQ(s.buffer().ReadChar(c), S_OK);
  EXPECT_EQ(c, CInstrBuffer::kEndOfResponse);
  ASSERT_EQ(s.buffer().FinishRead(), S_OK);
  EXPECT_EQ(s.device->Reads().size(), 1u);
  // The next response is read afresh.
  s.device->Reply("1\n");
  EXPECT_EQ(ReadAll(s.buffer()), "1\n");
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

  const std::int32_t tooBig = CInstrBuffer::kMaxCapacity + 1;
  EXPECT_EQ(b.ResizeWriteBuffer(tooBig), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(),
            IoErrorText("Couldn't allocate formatted I/O write buffer with a capacity of " +
                        std::to_string(tooBig) + " bytes."));
  EXPECT_EQ(b.WriteCapacity(), 8);
  EXPECT_EQ(b.WritePending(), 2);
  EXPECT_TRUE(Failed(b.ResizeWriteBuffer(1)));  // below what is waiting
  EXPECT_TRUE(Failed(b.ResizeWriteBuffer(0)));
  ASSERT_EQ(b.Flush(true), S_OK);
  EXPECT_EQ(s.device->Written(), std::vector<std::string>{"abcdefghij"});
}

}  // namespace
}  // namespace veqdx::io
