// The TCP front end: transcript, start and stop, and each injected fault.
#include <unistd.h>

#include <cctype>
#include <fstream>
#include <thread>

#include "sim_client.h"

namespace qdxsim::test {
namespace {

class EmulatorTest : public EmulatorFixture {};

TEST_F(EmulatorTest, TranscriptHoldsExactlyWhatWasReceived) {
  auto c = startAndConnect(testConfig());
  const std::vector<std::string> sent = {"*rst", ":VOLT 5;:CURR 1", ":VOLT 6\r", "  FOO  ", ""};
  for (const auto& m : sent) c->send(m);
  ASSERT_EQ(c->query("*OPC?"), "1");
  std::vector<std::string> expected = sent;
  expected.push_back("*OPC?");
  EXPECT_EQ(emulator_->takeTranscript(), expected);
  EXPECT_EQ(emulator_->takeTranscript(), std::vector<std::string>{});  // taking clears
  // Bytes of one message split over several packets still make one entry.
  c->sendRaw(":VOLT");
  std::this_thread::sleep_for(20ms);
  c->sendRaw(" 7\n*OPC?\n");
  ASSERT_EQ(c->readLine().value_or(""), "1");
  EXPECT_EQ(emulator_->takeTranscript(), (std::vector<std::string>{":VOLT 7", "*OPC?"}));
}

TEST_F(EmulatorTest, TranscriptFileHasTimeStampedLines) {
  std::string path = ::testing::TempDir() + "qdx_sim_transcript_" + std::to_string(getpid()) + ".log";
  Config config = testConfig();
  config.transcriptPath = path;
  auto c = startAndConnect(config);
  c->send(":VOLT 1.5");
  c->send("A\\B\x7f");
  ASSERT_EQ(c->query("*OPC?"), "1");
  emulator_->stop();
  // "2024-05-01T12:00:00.123456Z c1 <message>"
  auto messageOf = [](const std::string& line) {
    const std::string shape = "dddd-dd-ddTdd:dd:dd.ddddddZ c1 ";
    if (line.size() < shape.size()) return std::string("<short line>");
    for (std::size_t i = 0; i < shape.size(); ++i) {
      bool ok = shape[i] == 'd' ? std::isdigit(static_cast<unsigned char>(line[i])) != 0
                                : line[i] == shape[i];
      if (!ok) return "<bad stamp> " + line;
    }
    return line.substr(shape.size());
  };
  std::ifstream file(path);
  std::vector<std::string> messages;
  for (std::string line; std::getline(file, line);) messages.push_back(messageOf(line));
  EXPECT_EQ(messages, (std::vector<std::string>{":VOLT 1.5", "A\\\\B\\x7F", "*OPC?"}));
  std::remove(path.c_str());
}

TEST_F(EmulatorTest, StartFailsWithAReason) {
  startWith(testConfig());
  Config taken = testConfig();
  taken.port = emulator_->port();
  Emulator second(taken);
  std::string error;
  EXPECT_FALSE(second.start(&error));
  EXPECT_NE(error.find("cannot listen on 127.0.0.1:" + std::to_string(taken.port)), std::string::npos)
      << error;

  Emulator unknown(testConfig("QDX999"));
  EXPECT_FALSE(unknown.start(&error));
  EXPECT_NE(error.find("unknown model 'QDX999'"), std::string::npos) << error;
  EXPECT_THROW(unknown.instrument(), std::logic_error);

  Config badTranscript = testConfig();
  badTranscript.transcriptPath = "/nonexistent-dir/x.log";
  Emulator third(badTranscript);
  EXPECT_FALSE(third.start(&error));
  EXPECT_NE(error.find("/nonexistent-dir/x.log"), std::string::npos) << error;
}

TEST_F(EmulatorTest, StopClosesClientsEvenMidReply) {
  startWith(testConfig());
  auto idle = connect();
  auto waiting = connect();
  emulator_->setReplyDelay(30s);
  waiting->send("*IDN?");
  ASSERT_EQ(waiting->readLine(100ms), std::nullopt);
  auto begin = std::chrono::steady_clock::now();
  emulator_->stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);  // bounded, not a benchmark
  EXPECT_TRUE(idle->waitForClose(2s));
  EXPECT_TRUE(waiting->waitForClose(2s));
  EXPECT_FALSE(emulator_->running());
  // The same emulator can listen again; the instrument keeps its state.
  std::string error;
  ASSERT_TRUE(emulator_->start(&error)) << error;
  emulator_->clearFaults();
  EXPECT_EQ(connect()->query("*OPC?"), "1");
}

// Each message runs as a whole: clients selecting different channels at the same time never
// see each other's selection inside one compound message.
TEST_F(EmulatorTest, ConcurrentClientsRunWholeMessages) {
  startWith(testConfig("QDX750ML", {{1, ""}, {2, ""}, {3, ""}, {4, ""}}));
  std::vector<std::thread> threads;
  std::vector<int> mismatches(4, 0);
  for (int ch = 1; ch <= 4; ++ch) {
    threads.emplace_back([this, ch, &mismatches] {
      SimClient c(emulator_->port());
      for (int i = 0; i < 100; ++i) {
        std::string volts = std::to_string(ch * 10 + i % 7);
        std::string reply = c.query(":INST:NSEL " + std::to_string(ch) + ";:VOLT " + volts +
                                    ";:INST:NSEL?;:VOLT?");
        if (reply != std::to_string(ch) + ";" + volts) ++mismatches[ch - 1];
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(mismatches, std::vector<int>(4, 0));
  EXPECT_EQ(emulator_->takeTranscript().size(), 400u);
}

// Sixteen clients at once. A connection that arrives while every slot is held is turned away;
// one that arrives just after a client hung up waits for that client's slot and is served.
TEST_F(EmulatorTest, SixteenClientsAndNoMore) {
  auto first = startAndConnect(testConfig());
  std::vector<std::unique_ptr<SimClient>> clients;
  clients.push_back(std::move(first));
  while (clients.size() < 16) {
    clients.push_back(std::make_unique<SimClient>(emulator_->port()));
    ASSERT_EQ(clients.back()->query("*OPC?"), "1") << clients.size();
  }
  SimClient extra(emulator_->port());
  EXPECT_TRUE(extra.waitForClose(5000ms));
  for (int round = 0; round < 20; ++round) {
    clients[static_cast<std::size_t>(round % 16)] = std::make_unique<SimClient>(emulator_->port());
    ASSERT_EQ(clients[static_cast<std::size_t>(round % 16)]->query("*OPC?"), "1") << round;
  }
}

// Delayed, silent and garbage replies, each switched off again on the same connection.
TEST_F(EmulatorTest, ReplyFaults) {
  auto c = startAndConnect(testConfig());
  emulator_->setReplyDelay(400ms);
  c->send("*OPC?");
  EXPECT_EQ(c->readLine(100ms), std::nullopt);
  EXPECT_EQ(c->readLine(3s), "1");
  emulator_->setReplyDelay(0ms);
  EXPECT_EQ(c->query("*OPC?", 1s), "1");

  // A silent query is executed but never answered.
  emulator_->addSilentQuery(":volt?");
  c->send(":VOLT 3;:VOLT?");
  EXPECT_EQ(c->readLine(300ms), std::nullopt);
  EXPECT_EQ(c->query("*OPC?"), "1");  // the link still works, other queries answer
  EXPECT_EQ(c->query(":CURR?"), "28");
  emulator_->clearFaults();
  EXPECT_EQ(c->query(":VOLT?"), "3");

  emulator_->addGarbageQuery("*IDN?");
  emulator_->addGarbageQuery("*ESR?", "1,2,\x01");
  EXPECT_EQ(c->query("*idn?"), std::string(kDefaultGarbage));
  EXPECT_EQ(c->query("*ESR?"), "1,2,\x01");
  EXPECT_EQ(c->query("*OPC?"), "1");
}

TEST_F(EmulatorTest, CloseAfterMessagesFiresOnce) {
  Config config = testConfig();
  config.faults.closeAfterMessages = 3;
  auto c = startAndConnect(config);
  c->send(":VOLT 2");  // messages without reply count too
  EXPECT_EQ(c->query("*OPC?"), "1");
  EXPECT_EQ(c->query(":VOLT?"), "2");  // the third message is still answered, then closed
  EXPECT_TRUE(c->waitForClose(2s));
  auto again = connect();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(again->query("*OPC?"), "1");
  emulator_->setCloseAfter(1);
  again->send(":VOLT 4");
  EXPECT_TRUE(again->waitForClose(2s));
}

TEST_F(EmulatorTest, ChunkedRepliesArriveInPieces) {
  auto c = startAndConnect(testConfig());
  emulator_->setChunkedReplies(4, 60ms);
  ASSERT_TRUE(c->send("*IDN?"));
  std::vector<std::string> pieces;
  std::string all;
  while (all.find('\n') == std::string::npos) {
    auto piece = c->readSome(2s);
    ASSERT_TRUE(piece && !piece->empty());
    pieces.push_back(*piece);
    all += *piece;
  }
  EXPECT_EQ(all, "Velmora,QDX750ML,SIM0001,1.00\n");
  // A slow reader may find two pieces at once, but never a piece cut elsewhere.
  EXPECT_GE(pieces.size(), 3u);
  for (std::size_t i = 0; i + 1 < pieces.size(); ++i) EXPECT_EQ(pieces[i].size() % 4, 0u);
  emulator_->setChunkedReplies(0, 0ms);
  ASSERT_TRUE(c->send("*OPC?"));
  EXPECT_EQ(c->readSome(2s), "1\n");  // whole again
}

// Late and endless replies, set through the Emulator, on every front end; and a stop in the
// middle of either never hangs.
TEST(FrontEndFaultsTest, LateAndEndlessRepliesOnEveryFrontEnd) {
  using Clock = std::chrono::steady_clock;
  struct Row {
    FrontEnd kind;
    bool deviceClear;
  };
  for (Row row : {Row{FrontEnd::Socket, false}, Row{FrontEnd::Vxi11, true},
                  Row{FrontEnd::SerialPty, false}}) {
    SCOPED_TRACE(nameOf(row.kind));
    FrontEndBench bench(row.kind);
    ASSERT_TRUE(bench.started()) << bench.error();
    bench.emulator().addLateQuery("*idn?", 600ms);

    // The first reply after connect comes late: the client gives up on it, and the reply to
    // its next message follows the late one.
    auto c = bench.connect();
    auto sent = Clock::now();
    ASSERT_TRUE(c->send("*IDN?"));
    EXPECT_EQ(c->readLine(200ms), std::nullopt);
    ASSERT_TRUE(c->send("*OPC?"));
    EXPECT_EQ(c->readLine(3s), "Velmora,QDX750ML,SIM0001,1.00");
    EXPECT_GE(Clock::now() - sent, 550ms);
    EXPECT_EQ(c->readLine(), "1");
    if (row.deviceClear) {  // drops a late reply still being delayed
      ASSERT_TRUE(c->send("*IDN?"));
      EXPECT_EQ(c->readLine(100ms), std::nullopt);
      ASSERT_TRUE(c->clear());
      EXPECT_EQ(c->query("*OPC?"), "1");
      EXPECT_EQ(c->readLine(900ms), std::nullopt);
    }
    // A reply trickled out byte by byte for longer than the client waits keeps coming, and
    // nothing of it is lost.
    bench.emulator().clearFaults();
    bench.emulator().setChunkedReplies(1, 30ms);
    ASSERT_TRUE(c->send("*IDN?"));
    EXPECT_EQ(c->readLine(300ms), std::nullopt);
    EXPECT_EQ(c->readLine(3s), "Velmora,QDX750ML,SIM0001,1.00");
    bench.emulator().setChunkedReplies(0, 0ms);
    c.reset();

    // Endless: well over 1 MiB of digits and no line feed, until the client goes away; then
    // the emulator holds the descriptors it held before, and the next client is answered.
    bench.emulator().addEndlessQuery(":MEAS:VOLT?");
    int before = settledDescriptors();
    auto e = bench.connect();
    ASSERT_TRUE(e->send(":MEAS:VOLT?"));
    std::string got;
    while (got.size() <= (1u << 20)) {
      auto piece = e->readSome(2s);
      ASSERT_TRUE(piece) << got.size();
      got += *piece;
    }
    EXPECT_EQ(got.substr(0, 12), "123456789012");
    EXPECT_EQ(got.find_first_not_of("0123456789"), std::string::npos);
    e.reset();
    EXPECT_EQ(settledDescriptors(before), before);
    EXPECT_EQ(bench.connect()->query("*OPC?"), "1");
    bench.emulator().clearFaults();
    EXPECT_EQ(bench.connect()->query(":MEAS:VOLT?"), "0");

    for (std::string_view query : {"*IDN?", ":MEAS:VOLT?"}) {
      FrontEndBench busy(row.kind);
      ASSERT_TRUE(busy.started()) << busy.error();
      busy.emulator().addLateQuery("*IDN?", 30s);
      busy.emulator().addEndlessQuery(":MEAS:VOLT?");
      auto client = busy.connect();
      ASSERT_TRUE(client->send(query));
      std::thread reader([&] { while (client->readSome(500ms)) {} });  // keeps digits flowing
      std::this_thread::sleep_for(200ms);
      auto begin = Clock::now();
      busy.stop();
      EXPECT_LT(Clock::now() - begin, 2s) << query;
      reader.join();
    }
  }
}

}  // namespace
}  // namespace qdxsim::test
