// The VXI-11 transport against the emulator's VXI-11 front end: messages, reads, status byte,
// clear and locks, checked on both sides (what the driver got, what the instrument received);
// and the whole driver over it.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "dcpwr/output_factory.h"
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
    EXPECT_EQ(bench.emulator->takeTranscript(), Transcript{"*IDN?"});
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
  bench.emulator->addGarbageQuery("*IDN?", text);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
  struct Case {
    std::size_t chunk;
    int reads;
  };
  for (Case c : {Case{4096, 3}, Case{7, 1429}, Case{10001, 1}, Case{20000, 1}}) {
    SCOPED_TRACE(c.chunk);
    auto before = bench.server->stats().reads;
    ASSERT_TRUE(Send(*t, "*IDN?").ok());
    std::string reply;
    int reads = 0;
    r = Receive(*t, reply, c.chunk, &reads);
    ASSERT_TRUE(r.ok()) << r.message;
    EXPECT_EQ(reply, text + "\n");
    EXPECT_EQ(reads, c.reads);
    EXPECT_EQ(bench.server->stats().reads - before, static_cast<std::uint64_t>(c.reads));
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

TEST(Vxi11Transport, StatusByteIsTheInstrumentsSerialPoll) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
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
}

TEST(Vxi11Transport, ClearDiscardsAReplyStillToCome) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
  for (int delayMs : {0, 300}) {
    SCOPED_TRACE(delayMs);
    bench.emulator->setReplyDelay(std::chrono::milliseconds(delayMs));
    ASSERT_TRUE(Send(*t, "*IDN?").ok());  // never read
    r = t->Clear();
    ASSERT_TRUE(r.ok()) << r.message;
    bench.emulator->clearFaults();
    EXPECT_EQ(Query(*t, ":VOLT?"), "0\n");
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
  auto* vxi = dynamic_cast<Vxi11Transport*>(t.get());
  ASSERT_NE(vxi, nullptr);
  EXPECT_EQ(vxi->MaxRecvSize(), 64u);
  std::string message;
  while (message.size() < 290) message += ":VOLT 1;";
  message += ":VOLT?";
  EXPECT_EQ(Query(*t, message), "1\n");
  EXPECT_EQ(bench.emulator->takeTranscript(), Transcript{message});
  EXPECT_EQ(bench.server->stats().writes, (message.size() + 63) / 64);
  EXPECT_EQ(bench.server->stats().largestWrite, 64u);
}

TEST(Vxi11Transport, EndGoesOnlyWithTheWriteThatAsksForIt) {
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
  EXPECT_EQ(bench.emulator->takeTranscript(), (Transcript{"", ":VOLT 3;:VOLT?"}));
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

// The whole driver over VXI-11: initialized with the DriverSetup port items, it puts exactly
// the messages on the wire that it puts over a raw socket, and gets the same answers.
struct Outcome {
  std::vector<std::string> transcript;
  double volts = 0;
  double level = 0;
  std::int32_t errorCode = -1;
};

Outcome RunSession(qdxsim::Emulator& emulator, const std::string& resource,
                   const std::string& options) {
  Outcome o;
  CVelmoraQdx driver{dcpwr::CreateOutput};
  HRESULT hr = driver.Initialize(resource.c_str(), VARIANT_TRUE, VARIANT_TRUE, options.c_str());
  EXPECT_EQ(hr, S_OK) << ThreadErrorRecord().description;
  if (hr != S_OK) return o;
  auto& out = dynamic_cast<dcpwr::CVelmoraQdxOutput&>(*driver.FindChild("Output0"));
  EXPECT_EQ(out.put_VoltageLevel(12.5), S_OK) << ThreadErrorRecord().description;
  EXPECT_EQ(out.put_Enabled(VARIANT_TRUE), S_OK);
  EXPECT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &o.volts), S_OK);
  EXPECT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  EXPECT_EQ(out.get_VoltageLevel(&o.level), S_OK);
  std::string message;
  EXPECT_EQ(driver.ErrorQuery(&o.errorCode, &message), S_OK);
  EXPECT_EQ(driver.Close(), S_OK);
  o.transcript = emulator.takeTranscript();
  return o;
}

TEST(Vxi11Driver, SameSessionSameWireTrafficAsOverARawSocket) {
  io::test::Vxi11Bench bench;
  ASSERT_BENCH(bench);
  const std::string socket = "TCPIP::127.0.0.1::" + std::to_string(bench.emulator->port()) +
                             "::SOCKET";
  Outcome reference = RunSession(*bench.emulator, socket, "DriverSetup=IoBackend=builtin");
  ASSERT_FALSE(reference.transcript.empty());
  EXPECT_EQ(reference.level, 12.5);
  EXPECT_EQ(reference.errorCode, 0);

  const std::string portmapper = std::to_string(bench.server->portmapPort());
  const std::string core = std::to_string(bench.server->corePort());
  for (std::string setup : {"PortmapperPort=" + portmapper, "Vxi11Port=" + core}) {
    SCOPED_TRACE(setup);
    Outcome o = RunSession(*bench.emulator, io::test::kResource,
                           "DriverSetup=IoBackend=builtin, " + setup);
    EXPECT_EQ(o.transcript, reference.transcript);
    EXPECT_EQ(o.volts, reference.volts);
    EXPECT_EQ(o.level, reference.level);
    EXPECT_EQ(o.errorCode, reference.errorCode);
    EXPECT_EQ(bench.server->linkCount(), 0u);
  }
}

}  // namespace
}  // namespace veqdx::io::test
