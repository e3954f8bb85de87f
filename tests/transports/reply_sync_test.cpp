// Replies stay in step on every link: an instrument that answers late, trickles its reply
// past the timeout, or never ends it, makes calls fail, but never makes one return the reply
// meant for another. Run over the raw socket, VXI-11 and the serial pseudo-terminal against
// the emulator, with the output programmed so that voltage (12 V) and current (1.2 A) readings
// cannot be mistaken for each other.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "dcpwr/output_factory.h"
#include "dcpwr/status.h"
#include "qdx_sim.h"
#include "serial_pty.h"
#include "vxi11_server.h"

namespace veqdx {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr double kVolts = 12.0;
constexpr double kAmps = 1.2;  // 12 V into the emulator's 10 ohm load

enum class Kind { Socket, Vxi11, Serial };
const char* Name(Kind k) {
  return k == Kind::Socket ? "socket" : k == Kind::Vxi11 ? "vxi11" : "serial";
}

// One emulated unit behind one front end; its faults are the emulator's on every front end.
class FaultLink {
 public:
  explicit FaultLink(Kind kind) {
    config_.port = 0;
    if (kind == Kind::Vxi11) {
      config_.vxi11.enabled = true;
      config_.vxi11.portmapPort = 0;
    }
    emulator_ = std::make_unique<qdxsim::Emulator>(config_);
    if (kind == Kind::Serial) {
      pty_ = std::make_unique<qdxsim::SerialPtyServer>(*emulator_);
      started_ = pty_->start(&error_);
      resource_ = "ASRL" + pty_->path() + "::INSTR";
      return;
    }
    started_ = emulator_->start(&error_);
    if (kind == Kind::Socket) {
      resource_ = "TCPIP::127.0.0.1::" + std::to_string(emulator_->port()) + "::SOCKET";
      return;
    }
    vxi11_ = std::make_unique<qdxsim::Vxi11Server>(*emulator_, config_);
    started_ = started_ && vxi11_->start(&error_);
    resource_ = "TCPIP::127.0.0.1::INSTR";
    setup_ = ", PortmapperPort=" + std::to_string(vxi11_->portmapPort());
  }
  ~FaultLink() {
    if (pty_) pty_->stop();
    if (vxi11_) vxi11_->stop();
    emulator_->stop();
  }

  bool started() const { return started_; }
  const std::string& error() const { return error_; }
  const std::string& resource() const { return resource_; }
  std::string Options(int ioTimeoutMs) const {
    return "DriverSetup=IoBackend=builtin, IoTimeout=" + std::to_string(ioTimeoutMs) + setup_;
  }
  qdxsim::Emulator& emulator() { return *emulator_; }

 private:
  qdxsim::Config config_;
  std::unique_ptr<qdxsim::Emulator> emulator_;
  std::unique_ptr<qdxsim::Vxi11Server> vxi11_;
  std::unique_ptr<qdxsim::SerialPtyServer> pty_;
  std::string resource_;
  std::string setup_;
  std::string error_;
  bool started_ = false;
};

// A driver session on a link with the output at 12 V and on.
class Session {
 public:
  Session(FaultLink& link, int ioTimeoutMs) {
    hr_ = driver.Initialize(link.resource().c_str(), VARIANT_TRUE, VARIANT_FALSE,
                            link.Options(ioTimeoutMs).c_str());
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

void Late(qdxsim::Emulator& e, int ms) { e.addLateQuery(":MEAS:VOLT?", milliseconds(ms)); }

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
       [](auto& e) { e.setChunkedReplies(1, milliseconds(300)); }, E_VELMORAQDX_IO_TIMEOUT, 450,
       1500, 0, Fault::Recover::Nothing},
      {"endless", 500, [](auto& e) { e.addEndlessQuery(":MEAS:VOLT?"); },
       E_VELMORAQDX_IO_GENERAL, 0, 3000, 0, Fault::Recover::Reopen},
      {"IoTimeout 3000 waits for a slow reply", 3000, [](auto& e) { Late(e, 1000); }, S_OK, 950,
       2900, 0, Fault::Recover::Nothing},
  };
  for (Kind kind : {Kind::Socket, Kind::Vxi11, Kind::Serial}) {
    for (const Fault& f : faults) {
      SCOPED_TRACE(std::string(Name(kind)) + ": " + f.name);
      FaultLink link(kind);
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
      link.emulator().clearFaults();
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
  FaultLink link(Kind::Socket);
  ASSERT_TRUE(link.started()) << link.error();
  // (IoTimeout, how late "*RST;*OPC?" is answered): both within the reset's limit.
  for (const auto& [ioTimeoutMs, lateMs] : {std::pair{500, 1200}, std::pair{3000, 2500}}) {
    SCOPED_TRACE(ioTimeoutMs);
    Session session(link, ioTimeoutMs);
    ASSERT_EQ(session.status(), S_OK) << ThreadErrorRecord().description;
    link.emulator().addLateQuery("*RST", milliseconds(lateMs));
    EXPECT_EQ(session.driver.Reset(), S_OK) << ThreadErrorRecord().description;
    link.emulator().clearFaults();
  }
}

}  // namespace
}  // namespace veqdx
