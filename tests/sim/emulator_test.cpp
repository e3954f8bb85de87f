// The front ends: transcript, start and stop, many clients, and each injected fault.
#include <unistd.h>

#include <cctype>
#include <fstream>
#include <thread>

#include "sim_client.h"
#include "vxi11_server.h"

namespace qdxsim::test {
namespace {

using Clock = std::chrono::steady_clock;

class EmulatorTest : public EmulatorFixture {};

TEST_F(EmulatorTest, TranscriptHoldsExactlyWhatWasReceived) {
  std::string path = ::testing::TempDir() + "qdx_sim_transcript_" + std::to_string(getpid());
  Config config = testConfig();
  config.transcriptPath = path;
  auto c = startAndConnect(config);
  const std::vector<std::string> sent = {"*rst", ":VOLT 5;:CURR 1", ":VOLT 6\r", "  FOO  ", "",
                                         "A\\B\x7f"};
  for (const auto& m : sent) c->send(m);
  // Bytes of one message split over several packets still make one entry.
  c->sendRaw(":VOLT");
  std::this_thread::sleep_for(20ms);
  c->sendRaw(" 7\n*OPC?\n");
  ASSERT_EQ(c->readLine().value_or(""), "1");
  std::vector<std::string> expected = sent;
  expected.insert(expected.end(), {":VOLT 7", "*OPC?"});
  EXPECT_EQ(emulator_->TakeTranscript(), expected);
  EXPECT_EQ(emulator_->TakeTranscript(), std::vector<std::string>{});  // taking clears
  emulator_->Stop();
  // The file: "2024-05-01T12:00:00.123456Z c1 <message>", non-printing bytes escaped.
  const std::string shape = "dddd-dd-ddTdd:dd:dd.ddddddZ c1 ";
  std::ifstream file(path);
  std::vector<std::string> messages;
  for (std::string line; std::getline(file, line);) {
    bool stamped = line.size() >= shape.size();
    for (std::size_t i = 0; stamped && i < shape.size(); ++i)
      stamped = shape[i] == 'd' ? std::isdigit(static_cast<unsigned char>(line[i])) != 0
                                : line[i] == shape[i];
    messages.push_back(stamped ? line.substr(shape.size()) : "<bad stamp> " + line);
  }
  ASSERT_EQ(messages.size(), expected.size());
  EXPECT_EQ(messages[1], ":VOLT 5;:CURR 1");
  EXPECT_EQ(messages[5], "A\\\\B\\x7F");
  std::remove(path.c_str());
}

TEST_F(EmulatorTest, StartFailsWithAReasonAndStopNeverHangs) {
  startWith(testConfig());
  Config taken = testConfig();
  taken.port = emulator_->Port();
  std::string error;
  EXPECT_FALSE(Emulator(taken).Start(&error));
  EXPECT_NE(error.find("cannot listen on 127.0.0.1:" + std::to_string(taken.port)), std::string::npos)
      << error;
  Emulator unknown(testConfig("QDX999"));
  EXPECT_FALSE(unknown.Start(&error));
  EXPECT_NE(error.find("unknown model 'QDX999'"), std::string::npos) << error;
  EXPECT_THROW(unknown.Device(), std::logic_error);
  Config badTranscript = testConfig();
  badTranscript.transcriptPath = "/nonexistent-dir/x.log";
  EXPECT_FALSE(Emulator(badTranscript).Start(&error));
  EXPECT_NE(error.find("/nonexistent-dir/x.log"), std::string::npos) << error;
  EXPECT_FALSE(Vxi11Server(unknown, testConfig()).Start(&error));
  EXPECT_EQ(error, "the VXI-11 front end needs the emulator to be running");
  Config vxi11 = testConfig();
  vxi11.vxi11.portmapPort = emulator_->Port();
  EXPECT_FALSE(Vxi11Server(*emulator_, vxi11).Start(&error));
  EXPECT_EQ(error.rfind("cannot listen on 127.0.0.1:" + std::to_string(emulator_->Port()) +
                            " for the portmapper: ", 0), 0u) << error;

  // A stop closes every client, one of them waiting in the middle of a delayed reply.
  auto idle = connect();
  auto waiting = connect();
  emulator_->SetReplyDelay(30s);
  waiting->send("*IDN?");
  ASSERT_EQ(waiting->readLine(100ms), std::nullopt);
  auto begin = Clock::now();
  emulator_->Stop();
  EXPECT_LT(Clock::now() - begin, 5s);  // bounded, not a benchmark
  EXPECT_TRUE(idle->waitForClose(2s));
  EXPECT_TRUE(waiting->waitForClose(2s));
  EXPECT_FALSE(emulator_->Running());
  // The same emulator can listen again; the instrument keeps its state.
  ASSERT_TRUE(emulator_->Start(&error)) << error;
  emulator_->ClearFaults();
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
      SimClient c(emulator_->Port());
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
  EXPECT_EQ(emulator_->TakeTranscript().size(), 400u);
}

// Sixteen clients at once. A connection that arrives while every slot is held is turned away;
// one that arrives just after a client hung up waits for that client's slot and is served.
TEST_F(EmulatorTest, SixteenClientsAndNoMore) {
  std::vector<std::unique_ptr<SimClient>> clients;
  clients.push_back(startAndConnect(testConfig()));
  while (clients.size() < 16) {
    clients.push_back(std::make_unique<SimClient>(emulator_->Port()));
    ASSERT_EQ(clients.back()->query("*OPC?"), "1") << clients.size();
  }
  SimClient extra(emulator_->Port());
  EXPECT_TRUE(extra.waitForClose(5000ms));
  for (std::size_t round = 0; round < 20; ++round) {
    clients[round % 16] = std::make_unique<SimClient>(emulator_->Port());
    ASSERT_EQ(clients[round % 16]->query("*OPC?"), "1") << round;
  }
}

// Delayed, silent, garbage, chunked replies and a closing connection, each switched off again.
TEST_F(EmulatorTest, ReplyFaults) {
  auto c = startAndConnect(testConfig());
  emulator_->SetReplyDelay(400ms);
  c->send("*OPC?");
  EXPECT_EQ(c->readLine(100ms), std::nullopt);
  EXPECT_EQ(c->readLine(3s), "1");
  emulator_->SetReplyDelay(0ms);
  emulator_->AddSilentQuery(":volt?");  // executed, never answered; others still answer
  c->send(":VOLT 3;:VOLT?");
  EXPECT_EQ(c->readLine(300ms), std::nullopt);
  EXPECT_EQ(c->query(":CURR?"), "28");
  emulator_->ClearFaults();
  EXPECT_EQ(c->query(":VOLT?"), "3");
  emulator_->AddGarbageQuery("*IDN?");
  emulator_->AddGarbageQuery("*ESR?", "1,2,\x01");
  EXPECT_EQ(c->query("*idn?"), std::string(kDefaultGarbage));
  EXPECT_EQ(c->query("*ESR?"), "1,2,\x01");
  emulator_->ClearFaults();

  emulator_->SetChunkedReplies(4, 60ms);
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
  emulator_->SetChunkedReplies(0, 0ms);
  ASSERT_TRUE(c->send("*OPC?"));
  EXPECT_EQ(c->readSome(2s), "1\n");  // whole again

  // Over-long input is dropped with an input buffer overrun.
  c->sendRaw(":VOLT " + std::string(70 * 1024, '1') + "\n");
  EXPECT_EQ(c->query("*ESR?;:SYST:ERR?;:VOLT?"), "8;-363,\"Input buffer overrun\";3");

  emulator_->SetCloseAfter(2);  // messages without reply count too; fires once
  c->send(":VOLT 2");
  EXPECT_EQ(c->query(":VOLT?"), "2");  // still answered, then closed
  EXPECT_TRUE(c->waitForClose(2s));
  auto again = connect();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(again->query("*OPC?"), "1");
}

// Late, trickled and endless replies on the socket and the serial pseudo-terminal; a stop in
// the middle of either never hangs.
TEST(FrontEndFaultsTest, LateAndEndlessRepliesOnEveryFrontEnd) {
  for (FrontEnd kind : {FrontEnd::Socket, FrontEnd::SerialPty}) {
    SCOPED_TRACE(nameOf(kind));
    FrontEndBench bench(kind);
    ASSERT_TRUE(bench.started()) << bench.error();
    bench.emulator().AddLateQuery("*idn?", 600ms);
    // The client gives up on the late reply; the reply to its next message follows it.
    auto c = bench.connect();
    auto sent = Clock::now();
    ASSERT_TRUE(c->send("*IDN?"));
    EXPECT_EQ(c->readLine(200ms), std::nullopt);
    ASSERT_TRUE(c->send("*OPC?"));
    EXPECT_EQ(c->readLine(3s), "Velmora,QDX750ML,SIM0001,1.00");
    EXPECT_GE(Clock::now() - sent, 550ms);
    EXPECT_EQ(c->readLine(), "1");
    // Trickled out for longer than the client waits, nothing of it is lost.
    bench.emulator().ClearFaults();
    bench.emulator().SetChunkedReplies(1, 30ms);
    ASSERT_TRUE(c->send("*IDN?"));
    EXPECT_EQ(c->readLine(300ms), std::nullopt);
    EXPECT_EQ(c->readLine(3s), "Velmora,QDX750ML,SIM0001,1.00");
    bench.emulator().SetChunkedReplies(0, 0ms);
    c.reset();

    // Endless: well over 1 MiB of digits, until the client goes away; then the emulator holds
    // the descriptors it held before, and the next client is answered.
    bench.emulator().AddEndlessQuery(":MEAS:VOLT?");
    int before = settledDescriptors();
    auto e = bench.connect();
    ASSERT_TRUE(e->send(":MEAS:VOLT?"));
    std::string got;
    while (got.size() <= (1u << 20)) {
      auto piece = e->readSome(2s);
      ASSERT_TRUE(piece && !piece->empty()) << got.size();
      got += *piece;
    }
    EXPECT_EQ(got.substr(0, 12), "123456789012");
    EXPECT_EQ(got.find_first_not_of("0123456789"), std::string::npos);
    e.reset();
    EXPECT_EQ(settledDescriptors(before), before);
    EXPECT_EQ(bench.connect()->query("*OPC?"), "1");

    for (std::string_view query : {"*IDN?", ":MEAS:VOLT?"}) {
      FrontEndBench busy(kind);
      ASSERT_TRUE(busy.started()) << busy.error();
      busy.emulator().AddLateQuery("*IDN?", 30s);
      busy.emulator().AddEndlessQuery(":MEAS:VOLT?");
      auto client = busy.connect();
      ASSERT_TRUE(client->send(query));
      std::thread reader([&] {  // keeps digits flowing until the link is gone
        for (auto piece = client->readSome(500ms); piece && !piece->empty();)
          piece = client->readSome(500ms);
      });
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
