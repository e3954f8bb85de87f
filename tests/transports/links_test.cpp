// The whole driver over each built-in link to the emulator (raw socket, VXI-11, serial line on
// a pseudo-terminal, USB TMC stand-in): the same operations give the same results and put the
// same messages on the wire on each; a silent instrument times out with the link's own
// message and the session goes on; many opens and closes, failed ones between, leak nothing.
// And replies stay in step: an instrument that answers late, trickles its reply past the
// timeout or never ends it makes calls fail, but never makes one return the reply meant for
// another (the output is programmed so that voltage and current readings cannot be mistaken
// for each other).
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "dcpwr/output_factory.h"
#include "dcpwr/status.h"
#include "io/io_session.h"
#include "transport_test_util.h"

namespace veqdx {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;
using std::chrono::milliseconds;
using io::test::EmulatedLink;

struct Outcome {
  Lines transcript;
  double volts = 0;
  double amps = 0;
  VARIANT_BOOL constantVoltage = VARIANT_FALSE;
  double level = 0;
  std::int32_t errorCode = -1;
  std::string errorMessage;
};

// The same session on any link: initialize with identification and reset, program the
// output, measure, read back, query the error queue, close.
Outcome RunSession(EmulatedLink& link) {
  Outcome o;
  CVelmoraQdx driver{dcpwr::CreateOutput};
  HRESULT hr = driver.Initialize(link.resource().c_str(), VARIANT_TRUE, VARIANT_TRUE,
                                 link.Options().c_str());
  EXPECT_EQ(hr, S_OK) << ThreadErrorRecord().description;
  if (hr != S_OK) return o;
  auto& out = dynamic_cast<dcpwr::CVelmoraQdxOutput&>(*driver.FindChild("Output0"));
  EXPECT_EQ(out.put_VoltageLevel(12.5), S_OK) << ThreadErrorRecord().description;
  EXPECT_EQ(out.put_CurrentLimit(5), S_OK);
  EXPECT_EQ(out.put_Enabled(VARIANT_TRUE), S_OK);
  EXPECT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &o.volts), S_OK);
  EXPECT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &o.amps), S_OK);
  EXPECT_EQ(out.QueryState(VelmoraQdxOutputStateConstantVoltage, &o.constantVoltage), S_OK);
  EXPECT_EQ(driver.put_Cache(VARIANT_FALSE), S_OK);
  EXPECT_EQ(out.get_VoltageLevel(&o.level), S_OK);
  EXPECT_EQ(driver.ErrorQuery(&o.errorCode, &o.errorMessage), S_OK);
  EXPECT_EQ(driver.Close(), S_OK);
  o.transcript = link.Transcript();
  return o;
}

TEST(DriverOverLinks, SameOperationsSameResultsSameWireTraffic) {
  EmulatedLink socket(EmulatedLink::Kind::Socket);
  ASSERT_TRUE(socket.started()) << socket.error();
  Outcome reference = RunSession(socket);
  ASSERT_FALSE(reference.transcript.empty());
  EXPECT_NEAR(reference.volts, 12.5, 0.01);
  EXPECT_NEAR(reference.amps, 1.25, 0.01);
  EXPECT_EQ(reference.constantVoltage, VARIANT_TRUE);
  EXPECT_EQ(reference.level, 12.5);
  EXPECT_EQ(reference.errorCode, 0);

  for (EmulatedLink::Kind kind : EmulatedLink::kAll) {
    if (kind == EmulatedLink::Kind::Socket) continue;
    SCOPED_TRACE(EmulatedLink::Name(kind));
    EmulatedLink link(kind);
    ASSERT_TRUE(link.started()) << link.error();
    Outcome o = RunSession(link);
    EXPECT_EQ(o.transcript, reference.transcript);
    EXPECT_EQ(o.volts, reference.volts);
    EXPECT_EQ(o.amps, reference.amps);
    EXPECT_EQ(o.constantVoltage, reference.constantVoltage);
    EXPECT_EQ(o.level, reference.level);
    EXPECT_EQ(o.errorCode, reference.errorCode);
    EXPECT_EQ(o.errorMessage, reference.errorMessage);
  }
}

TEST(DriverOverLinks, SilentInstrumentTimesOutInBoundedTimeAndTheSessionGoesOn) {
  for (EmulatedLink::Kind kind : EmulatedLink::kAll) {
    SCOPED_TRACE(EmulatedLink::Name(kind));
    EmulatedLink link(kind);
    ASSERT_TRUE(link.started()) << link.error();
    CVelmoraQdx driver{dcpwr::CreateOutput};
    ASSERT_EQ(driver.Initialize(link.resource().c_str(), VARIANT_TRUE, VARIANT_FALSE,
                                link.Options().c_str()),
              S_OK)
        << ThreadErrorRecord().description;
    auto& out = dynamic_cast<dcpwr::CVelmoraQdxOutput&>(*driver.FindChild("Output0"));
    link.emulator().AddSilentQuery(":MEAS:VOLT?");
    driver.Io().SetTimeout(300);
    double volts = -1;
    auto start = Clock::now();
    EXPECT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &volts), E_VELMORAQDX_IO_TIMEOUT);
    auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    EXPECT_GE(elapsed.count(), 290);
    EXPECT_LT(elapsed.count(), 5000);  // guards against a hang, not a speed requirement
    EXPECT_EQ(ThreadErrorRecord().description,
              "VelmoraQdx: I/O timeout error: no reply from " + link.peer() + " within 300 ms."
              "\r\n");
    // On a byte stream the owed reply never comes: the next call drops its own reply in its
    // place and fails rather than risk a stale value (a VXI-11 read asks for its own reply);
    // the session is in step again after it.
    double amps = -1;
    if (kind != EmulatedLink::Kind::Vxi11) {
      EXPECT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &amps), E_VELMORAQDX_IO_TIMEOUT);
    }
    EXPECT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &amps), S_OK)
        << ThreadErrorRecord().description;
    EXPECT_EQ(amps, 0);  // output off
    EXPECT_EQ(driver.Close(), S_OK);
  }
}

TEST(DriverOverLinks, NoDescriptorLeaksOverManyOpenAndCloseCycles) {
  for (EmulatedLink::Kind kind : EmulatedLink::kAll) {
    SCOPED_TRACE(EmulatedLink::Name(kind));
    EmulatedLink link(kind);
    ASSERT_TRUE(link.started()) << link.error();
    CVelmoraQdxErrorReporter reporter;
    io::CIoSession session(reporter);
    io::IoOpenOptions options;
    options.transport.setup = link.Setup();
    // One cycle first, so that lazily opened descriptors of the C libraries are counted.
    ASSERT_EQ(session.Open(link.resource(), options), S_OK) << ThreadErrorRecord().description;
    ASSERT_EQ(session.Close(), S_OK);
    int before = testing::SettledDescriptorCount();
    for (int i = 0; i < 100; ++i) {
      ASSERT_EQ(session.Open(link.resource(), options), S_OK)
          << i << ": " << ThreadErrorRecord().description;
      io::CIoSession refused(reporter);  // a failed open must not leak either
      ASSERT_EQ(refused.Open(link.failingResource(), options), E_VELMORAQDX_IO_GENERAL) << i;
      // Reopening an open session releases the old link too.
      if (i % 10 == 0) {
        ASSERT_EQ(session.Open(link.resource(), options), S_OK);
      }
      ASSERT_EQ(session.Close(), S_OK);
    }
    EXPECT_EQ(testing::SettledDescriptorCount(before), before);
    // And the instrument still answers: nothing was left locked or half set up.
    ASSERT_EQ(session.Open(link.resource(), options), S_OK) << ThreadErrorRecord().description;
    ASSERT_EQ(session.LowLevelWriteStringNoPoll("*OPC?"), S_OK);
    std::string reply;
    std::int32_t status = 0;
    ASSERT_EQ(session.LowLevelReadStringNoPoll(100, reply, status), S_OK)
        << ThreadErrorRecord().description;
    EXPECT_EQ(reply, "1\n");
  }
}

constexpr double kVolts = 12.0;
constexpr double kAmps = 1.2;  // 12 V into the emulator's 10 ohm load

using Kind = EmulatedLink::Kind;

// A driver session on a link with the output at 12 V and on.
class Session {
 public:
  Session(EmulatedLink& link, int ioTimeoutMs) {
    hr_ = driver.Initialize(link.resource().c_str(), VARIANT_TRUE, VARIANT_FALSE,
                            link.Options(", IoTimeout=" + std::to_string(ioTimeoutMs)).c_str());
    if (hr_ != S_OK) return;
    out = &dynamic_cast<dcpwr::CVelmoraQdxOutput&>(*driver.FindChild("Output0"));
    hr_ = out->put_VoltageLevel(kVolts);
    if (hr_ == S_OK) hr_ = out->put_Enabled(VARIANT_TRUE);
  }
  ~Session() { driver.Close(); }
  HRESULT status() const { return hr_; }

  HRESULT Measure(VelmoraQdxMeasurementTypeEnum what, double& value) {
    value = -1;
    return out->Measure(what, &value);
  }
  // A reading that succeeds must be the one asked for; a failure is allowed.
  void ExpectNeverStale(const char* when) {
    SCOPED_TRACE(when);
    double amps = -1;
    if (Measure(VelmoraQdxMeasurementCurrent, amps) == S_OK) {
      EXPECT_DOUBLE_EQ(amps, kAmps);
    }
    double volts = -1;
    if (Measure(VelmoraQdxMeasurementVoltage, volts) == S_OK) {
      EXPECT_DOUBLE_EQ(volts, kVolts);
    }
  }
  // Calls after the fault has cleared give their own values.
  void ExpectInStep(const char* when) {
    SCOPED_TRACE(when);
    for (int i = 0; i < 2; ++i) {
      double amps = -1;
      double volts = -1;
      EXPECT_EQ(Measure(VelmoraQdxMeasurementCurrent, amps), S_OK)
          << ThreadErrorRecord().description;
      EXPECT_DOUBLE_EQ(amps, kAmps);
      EXPECT_EQ(Measure(VelmoraQdxMeasurementVoltage, volts), S_OK)
          << ThreadErrorRecord().description;
      EXPECT_DOUBLE_EQ(volts, kVolts);
    }
  }

  CVelmoraQdx driver{dcpwr::CreateOutput};
  dcpwr::CVelmoraQdxOutput* out = nullptr;

 private:
  HRESULT hr_ = E_FAIL;
};

struct Fault {
  const char* name;
  int ioTimeoutMs;
  std::function<void(qdxsim::Emulator&)> inject;  // on ":MEAS:VOLT?"
  HRESULT first;       // what the faulty Measure(voltage) returns
  int minMs, maxMs;    // how long it may take (the upper bound guards against a hang)
  int pauseMs;         // before the next call: 0 = at once, while the late reply is on its way
  // How the session gets back into step: nothing (the next calls must), a reset, a status
  // clear, or closing and opening again.
  enum class Recover { Nothing, Reset, Clear, Reopen } recover;
};

void Late(qdxsim::Emulator& e, int ms) { e.AddLateQuery(":MEAS:VOLT?", milliseconds(ms)); }

TEST(ReplySync, FaultsNeverGiveAStaleValueOnAnyLink) {
  const Fault faults[] = {
      {"late, arrives during the next call", 500, [](auto& e) { Late(e, 800); },
       E_VELMORAQDX_IO_TIMEOUT, 450, 1500, 0, Fault::Recover::Nothing},
      {"late, arrives before the next call", 500, [](auto& e) { Late(e, 800); },
       E_VELMORAQDX_IO_TIMEOUT, 450, 1500, 600, Fault::Recover::Nothing},
      {"late beyond the next call's wait", 500, [](auto& e) { Late(e, 1300); },
       E_VELMORAQDX_IO_TIMEOUT, 450, 1500, 0, Fault::Recover::Nothing},
      {"late, then reset", 500, [](auto& e) { Late(e, 800); }, E_VELMORAQDX_IO_TIMEOUT, 450,
       1500, 0, Fault::Recover::Reset},
      {"late, then status clear", 500, [](auto& e) { Late(e, 800); }, E_VELMORAQDX_IO_TIMEOUT,
       450, 1500, 0, Fault::Recover::Clear},
      {"trickled past the timeout", 500,
       [](auto& e) { e.SetChunkedReplies(1, milliseconds(300)); }, E_VELMORAQDX_IO_TIMEOUT, 450,
       1500, 0, Fault::Recover::Nothing},
      {"endless", 500, [](auto& e) { e.AddEndlessQuery(":MEAS:VOLT?"); },
       E_VELMORAQDX_IO_GENERAL, 0, 3000, 0, Fault::Recover::Reopen},
      {"IoTimeout 3000 waits for a slow reply", 3000, [](auto& e) { Late(e, 1000); }, S_OK, 950,
       2900, 0, Fault::Recover::Nothing},
  };
  for (Kind kind : {Kind::Socket, Kind::Vxi11, Kind::Serial}) {
    for (const Fault& f : faults) {
      SCOPED_TRACE(std::string(EmulatedLink::Name(kind)) + ": " + f.name);
      EmulatedLink link(kind);
      ASSERT_TRUE(link.started()) << link.error();
      auto session = std::make_unique<Session>(link, f.ioTimeoutMs);
      ASSERT_EQ(session->status(), S_OK) << ThreadErrorRecord().description;

      f.inject(link.emulator());
      double volts = -1;
      const auto start = Clock::now();
      EXPECT_EQ(session->Measure(VelmoraQdxMeasurementVoltage, volts), f.first)
          << ThreadErrorRecord().description;
      const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - start).count();
      EXPECT_GE(took, f.minMs);
      EXPECT_LE(took, f.maxMs);
      if (f.first == S_OK) {
        EXPECT_DOUBLE_EQ(volts, kVolts);
      }
      link.emulator().ClearFaults();
      if (f.pauseMs > 0) std::this_thread::sleep_for(milliseconds(f.pauseMs));

      switch (f.recover) {
        case Fault::Recover::Nothing:
          session->ExpectNeverStale("next calls");
          break;
        case Fault::Recover::Reset:
          EXPECT_EQ(session->driver.Reset(), S_OK) << ThreadErrorRecord().description;
          // A reset puts the output back to its defaults: program it again.
          ASSERT_EQ(session->out->put_VoltageLevel(kVolts), S_OK);
          ASSERT_EQ(session->out->put_Enabled(VARIANT_TRUE), S_OK);
          break;
        case Fault::Recover::Clear:
          EXPECT_EQ(dcpwr::CStatus(session->driver).Clear(), S_OK)
              << ThreadErrorRecord().description;
          break;
        case Fault::Recover::Reopen:
          session->ExpectNeverStale("calls while the reply goes on");
          session.reset();
          // The emulator ends the stream once the link is closed (on a pty it then drops what
          // was never read); give it that moment, as a user would power-cycle a real one.
          std::this_thread::sleep_for(milliseconds(300));
          session = std::make_unique<Session>(link, f.ioTimeoutMs);
          ASSERT_EQ(session->status(), S_OK) << ThreadErrorRecord().description;
          break;
      }
      session->ExpectInStep("once the fault is gone");
    }
  }
}

// A reset keeps its own 2000 ms limit unless IoTimeout is longer.
TEST(ReplySync, ResetWaitsForTheLongerOfItsOwnLimitAndIoTimeout) {
  EmulatedLink link(Kind::Socket);
  ASSERT_TRUE(link.started()) << link.error();
  // (IoTimeout, how late "*RST;*OPC?" is answered): both within the reset's limit.
  for (const auto& [ioTimeoutMs, lateMs] : {std::pair{500, 1200}, std::pair{3000, 2500}}) {
    SCOPED_TRACE(ioTimeoutMs);
    Session session(link, ioTimeoutMs);
    ASSERT_EQ(session.status(), S_OK) << ThreadErrorRecord().description;
    link.emulator().AddLateQuery("*RST", milliseconds(lateMs));
    EXPECT_EQ(session.driver.Reset(), S_OK) << ThreadErrorRecord().description;
    link.emulator().ClearFaults();
  }
}

}  // namespace
}  // namespace veqdx
