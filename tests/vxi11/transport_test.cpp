// The VXI-11 transport against the emulator's VXI-11 front end: messages, reads, status byte,
// clear and locks, checked on both sides (what the driver got, what the instrument received);
// the whole driver over it is in tests/transports.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "io/formatted_io.h"
#include "vxi11_bench.h"

namespace veqdx::io::test {
namespace {

using Transcript = std::vector<std::string>;
const std::string kIdn = "Velmora,QDX750ML,SIM0001,1.00\n";

TEST(Vxi11Transport, QueriesThroughEveryFormOfTheResource) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  for (std::string resource : {"TCPIP::127.0.0.1::INSTR", "TCPIP0::127.0.0.1::inst0::INSTR",
                               "tcpip3::localhost::INST0::instr"}) {
    SCOPED_TRACE(resource);
    IoResult r;
    auto t = bench.Open(r, 2000, resource);
    ASSERT_TRUE(t) << r.message;
    EXPECT_EQ(t->Interface(), InterfaceType::Tcpip);
    EXPECT_EQ(t->ResourceClass(), "INSTR");
    EXPECT_EQ(t->InterfaceNumber(), resource[5] == '3' ? 3 : 0);
    EXPECT_FALSE(t->TermCharEnabled());  // reads end with END
    EXPECT_EQ(Query(*t, "*IDN?"), kIdn);
    EXPECT_EQ(bench.emulator->TakeTranscript(), Transcript{"*IDN?"});
  }
  // A device name the instrument does not know is its refusal.
  IoResult r;
  EXPECT_FALSE(bench.Open(r, 2000, "TCPIP::127.0.0.1::gpib0,5::INSTR"));
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_TRUE(Contains(r.message, "refused a link to device 'gpib0,5': VXI-11 error 21"))
      << r.message;
  EXPECT_EQ(bench.AwaitLinks(0), 0u);
}

// A reply longer than one read: every read but the last stops at the count, the last at END.
TEST(Vxi11Transport, LongReplyTakesSeveralReadsAndEndsAtEnd) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  std::string text(10000, 'x');
  for (std::size_t i = 0; i < text.size(); i += 97) text[i] = static_cast<char>('a' + i % 26);
  bench.emulator->AddGarbageQuery("*IDN?", text);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
  struct Case {
    std::size_t chunk;
    int reads;
  };
  for (Case c : {Case{4096, 3}, Case{7, 1429}, Case{10001, 1}, Case{20000, 1}}) {
    SCOPED_TRACE(c.chunk);
    auto before = bench.server->Statistics().reads;
    ASSERT_TRUE(Send(*t, "*IDN?").ok());
    std::string reply;
    int reads = 0;
    r = Receive(*t, reply, c.chunk, &reads);
    ASSERT_TRUE(r.ok()) << r.message;
    EXPECT_EQ(reply, text + "\n");
    EXPECT_EQ(reads, c.reads);
    EXPECT_EQ(bench.server->Statistics().reads - before, static_cast<std::uint64_t>(c.reads));
  }
  // The driver's 4096-byte read buffer takes it whole through the formatted engine.
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  ASSERT_EQ(bench.OpenSession(session), S_OK) << ThreadErrorRecord().description;
  CountedString got;
  ASSERT_EQ(session.Formatted().QueryString("*IDN?", "%$Ct", &got), S_OK)
      << ThreadErrorRecord().description;
  EXPECT_EQ(got.Str().substr(0, text.size()), text);
}

TEST(Vxi11Transport, TerminationCharacterEndsReadsOnlyWhenEnabled) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
  struct Case {
    char term;
    bool enabled;
    std::vector<std::string> pieces;
    ReadEnd last;
  };
  const Case cases[] = {
      {',', false, {kIdn}, ReadEnd::End},
      {',', true, {"Velmora,", "QDX750ML,", "SIM0001,", "1.00\n"}, ReadEnd::End},
      {'0', true, {"Velmora,QDX750", "ML,SIM0", "0", "0", "1,1.0", "0", "\n"}, ReadEnd::End},
      {'\n', true, {kIdn}, ReadEnd::End},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(1, c.term) + (c.enabled ? " on" : " off"));
    t->SetTermChar(c.term, c.enabled);
    EXPECT_EQ(t->TermChar(), c.term);
    EXPECT_EQ(t->TermCharEnabled(), c.enabled);
    ASSERT_TRUE(Send(*t, "*IDN?").ok());
    for (std::size_t i = 0; i < c.pieces.size(); ++i) {
      char buffer[256];
      std::size_t got = 0;
      ReadEnd why = ReadEnd::Count;
      r = t->Read(buffer, sizeof buffer, got, why);
      ASSERT_TRUE(r.ok()) << r.message;
      EXPECT_EQ(std::string(buffer, got), c.pieces[i]);
      EXPECT_EQ(why, i + 1 == c.pieces.size() ? c.last : ReadEnd::TermChar);
    }
  }
}

// END goes only with the write that asks for it; the status byte is the instrument's serial
// poll; a clear discards a reply still to come, sent or delayed.
TEST(Vxi11Transport, EndStatusByteAndClear) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
  std::size_t written = 0;
  ASSERT_TRUE(t->Write("", 0, true, written).ok());  // END alone: an empty message
  ASSERT_TRUE(t->Write(":VOLT", 5, false, written).ok());
  ASSERT_TRUE(t->Write(" 3;:VOLT?", 9, true, written).ok());
  std::string reply;
  ASSERT_TRUE(Receive(*t, reply).ok());  // the instrument has taken both messages now
  EXPECT_EQ(reply, "3\n");
  EXPECT_EQ(bench.emulator->TakeTranscript(), (Transcript{"", ":VOLT 3;:VOLT?"}));

  struct Case {
    const char* setup;
    std::uint8_t stb;
  };
  // "*OPC?" afterwards: its answer proves that the setup ran before the serial poll.
  for (Case c : {Case{"*ESE 0;*SRE 0;*CLS", 0x00}, Case{"*ESE 1;*SRE 32;*CLS;*OPC", 0x60},
                 Case{"*ESE 0;*SRE 0;*CLS;:BOGUS", 0x04}}) {
    SCOPED_TRACE(c.setup);
    ASSERT_TRUE(Send(*t, c.setup).ok());
    EXPECT_EQ(Query(*t, "*OPC?"), "1\n");
    std::uint8_t stb = 0xFF;
    r = t->ReadStatusByte(stb);
    ASSERT_TRUE(r.ok()) << r.message;
    EXPECT_EQ(stb, c.stb);
  }

  for (int delayMs : {0, 300}) {
    SCOPED_TRACE(delayMs);
    bench.emulator->SetReplyDelay(std::chrono::milliseconds(delayMs));
    ASSERT_TRUE(Send(*t, "*IDN?").ok());  // never read
    r = t->Clear();
    ASSERT_TRUE(r.ok()) << r.message;
    bench.emulator->ClearFaults();
    EXPECT_EQ(Query(*t, ":VOLT?"), "3\n");
  }
}

// A message longer than the device takes in one device_write goes in several, END on the
// last only: the instrument receives it as one message.
TEST(Vxi11Transport, WritesRespectTheDevicesMaxRecvSize) {
  Vxi11Bench bench(8, 64);
  ASSERT_BENCH(bench);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
  auto* vxi = dynamic_cast<CVxi11Transport*>(t.get());
  ASSERT_NE(vxi, nullptr);
  EXPECT_EQ(vxi->MaxRecvSize(), 64u);
  std::string message;
  while (message.size() < 290) message += ":VOLT 1;";
  message += ":VOLT?";
  EXPECT_EQ(Query(*t, message), "1\n");
  EXPECT_EQ(bench.emulator->TakeTranscript(), Transcript{message});
  EXPECT_EQ(bench.server->Statistics().writes, (message.size() + 63) / 64);
  EXPECT_EQ(bench.server->Statistics().largestWrite, 64u);
}

TEST(Vxi11Transport, LockExcludesOtherLinksUntilReleased) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  IoResult r;
  auto a = bench.Open(r, 300);
  ASSERT_TRUE(a) << r.message;
  auto b = bench.Open(r, 300);
  ASSERT_TRUE(b) << r.message;

  ASSERT_TRUE(a->Lock(0).ok());
  EXPECT_TRUE(a->Lock(0).ok());  // the holder may ask again
  r = b->Lock(0);
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_TRUE(Contains(r.message, "VXI-11 error 11 (device locked by another link)")) << r.message;
  r = b->Lock(200);
  EXPECT_EQ(r.code, IoCode::Timeout) << r.message;
  r = Send(*b, "*IDN?");  // waits its timeout for the lock, then gives up
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_TRUE(Contains(r.message, "device_write on inst0 at 127.0.0.1:")) << r.message;
  EXPECT_EQ(Query(*a, "*IDN?"), kIdn);
  r = b->Unlock();
  EXPECT_TRUE(Contains(r.message, "VXI-11 error 12 (no lock held by this link)")) << r.message;

  // A waiting lock is granted as soon as the holder lets go.
  std::atomic<bool> granted{false};
  auto waiter = std::async(std::launch::async, [&] {
    IoResult w = b->Lock(5000);
    granted = w.ok();
    return w;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(granted);
  ASSERT_TRUE(a->Unlock().ok());
  EXPECT_TRUE(waiter.get().ok());
  EXPECT_FALSE(a->Lock(0).ok());

  // Closing the holder's link releases the lock.
  b->Close();
  EXPECT_TRUE(a->Lock(0).ok());
  EXPECT_EQ(Query(*a, "*OPC?"), "1\n");
}

}  // namespace
}  // namespace veqdx::io::test
