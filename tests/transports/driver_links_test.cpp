// The whole driver over each built-in link to the emulator: the same operations give the same
// results and put the same messages on the wire over a raw socket, a serial line (pseudo-
// terminal) and a USB TMC stand-in; a silent instrument times out on each, with the link's own
// message, and the session goes on; opening and closing a session many times, with failed
// opens between, leaks nothing.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "io/io_session.h"
#include "qdx_sim.h"
#include "serial_pty.h"
#include "transport_test_util.h"
#include "dcpwr/output_factory.h"

namespace veqdx {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

// One emulated unit reachable over one kind of link.
class Link {
 public:
  enum class Kind { Socket, Serial, Usb };

  explicit Link(Kind kind) : kind_(kind) {
    qdxsim::Config config;
    config.model = "QDX750L";
    config.port = 0;
    emulator_ = std::make_unique<qdxsim::Emulator>(config);
    if (kind == Kind::Socket) {
      started_ = emulator_->start(&error_);
      resource_ = "TCPIP::127.0.0.1::" + std::to_string(emulator_->port()) + "::SOCKET";
      return;
    }
    // The serial front end serves the same instrument the (unstarted) emulator holds.
    pty_ = std::make_unique<qdxsim::SerialPtyServer>(emulator_->instrument());
    started_ = pty_->start(&error_);
    if (kind == Kind::Serial) {
      resource_ = "ASRL" + pty_->path() + "::INSTR";
    } else {
      usb_.AddDevice(0, "1ab1", "0e11", "SIM0001", 0, pty_->path());
      resource_ = "USB0::0x1AB1::0x0E11::SIM0001::INSTR";
      setup_ = ", UsbSysfsRoot=" + usb_.sysfsRoot() + ", UsbDevRoot=" + usb_.devRoot();
    }
  }

  bool started() const { return started_; }
  const std::string& error() const { return error_; }
  const std::string& resource() const { return resource_; }
  // What the transport's messages name as the other end.
  std::string peer() const {
    if (kind_ == Kind::Socket) return "127.0.0.1:" + std::to_string(emulator_->port());
    return kind_ == Kind::Serial ? pty_->path() : usb_.devRoot() + "/usbtmc0";
  }
  // A resource that fails to open while a session holds this one: the serial port is
  // exclusive, and no USB device has this serial number. Empty: none here (the socket tests
  // of tests/io open refused connections).
  std::string failingResource() const {
    if (kind_ == Kind::Socket) return "";
    return kind_ == Kind::Usb ? "USB0::0x1AB1::0x0E11::NOPE::INSTR" : resource_;
  }
  std::string options() const { return "DriverSetup=IoBackend=builtin" + setup_; }
  Lines Transcript() { return pty_ ? pty_->takeTranscript() : emulator_->takeTranscript(); }
  void Silence(const std::string& query) {
    if (pty_) pty_->addSilentQuery(query);
    else emulator_->addSilentQuery(query);
  }
  const io::test::FakeUsbTree& usbTree() const { return usb_; }
  static const char* Name(Kind k) {
    return k == Kind::Socket ? "socket" : k == Kind::Serial ? "serial" : "usb";
  }

 private:
  Kind kind_;
  std::unique_ptr<qdxsim::Emulator> emulator_;
  std::unique_ptr<qdxsim::SerialPtyServer> pty_;
  io::test::FakeUsbTree usb_;
  std::string resource_;
  std::string setup_;
  std::string error_;
  bool started_ = false;
};

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
Outcome RunSession(Link& link) {
  Outcome o;
  CVelmoraQdx driver{dcpwr::CreateOutput};
  HRESULT hr = driver.Initialize(link.resource().c_str(), VARIANT_TRUE, VARIANT_TRUE,
                                 link.options().c_str());
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
  Link socket(Link::Kind::Socket);
  ASSERT_TRUE(socket.started()) << socket.error();
  Outcome reference = RunSession(socket);
  ASSERT_FALSE(reference.transcript.empty());
  EXPECT_NEAR(reference.volts, 12.5, 0.01);
  EXPECT_NEAR(reference.amps, 1.25, 0.01);
  EXPECT_EQ(reference.constantVoltage, VARIANT_TRUE);
  EXPECT_EQ(reference.level, 12.5);
  EXPECT_EQ(reference.errorCode, 0);

  for (Link::Kind kind : {Link::Kind::Serial, Link::Kind::Usb}) {
    SCOPED_TRACE(Link::Name(kind));
    Link link(kind);
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
  for (Link::Kind kind : {Link::Kind::Socket, Link::Kind::Serial, Link::Kind::Usb}) {
    SCOPED_TRACE(Link::Name(kind));
    Link link(kind);
    ASSERT_TRUE(link.started()) << link.error();
    CVelmoraQdx driver{dcpwr::CreateOutput};
    ASSERT_EQ(driver.Initialize(link.resource().c_str(), VARIANT_TRUE, VARIANT_FALSE,
                                link.options().c_str()),
              S_OK)
        << ThreadErrorRecord().description;
    auto& out = dynamic_cast<dcpwr::CVelmoraQdxOutput&>(*driver.FindChild("Output0"));
    link.Silence(":MEAS:VOLT?");
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
    // The owed reply never comes: the next call drops its own reply in its place and fails
    // rather than risk a stale value; the session is in step again after it.
    double amps = -1;
    EXPECT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &amps), E_VELMORAQDX_IO_TIMEOUT);
    EXPECT_EQ(out.Measure(VelmoraQdxMeasurementCurrent, &amps), S_OK)
        << ThreadErrorRecord().description;
    EXPECT_EQ(amps, 0);  // output off
    EXPECT_EQ(driver.Close(), S_OK);
  }
}

TEST(DriverOverLinks, NoDescriptorLeaksOverManyOpenAndCloseCycles) {
  for (Link::Kind kind : {Link::Kind::Socket, Link::Kind::Serial, Link::Kind::Usb}) {
    SCOPED_TRACE(Link::Name(kind));
    Link link(kind);
    ASSERT_TRUE(link.started()) << link.error();
    CVelmoraQdxErrorReporter reporter;
    io::CIoSession session(reporter);
    io::IoOpenOptions options;
    options.transport.setup["iobackend"] = "builtin";
    if (kind == Link::Kind::Usb) {
      options.transport.setup["usbsysfsroot"] = link.usbTree().sysfsRoot();
      options.transport.setup["usbdevroot"] = link.usbTree().devRoot();
    }
    const std::string failing = link.failingResource();
    int before = io::test::OpenDescriptorCount();
    for (int i = 0; i < 100; ++i) {
      ASSERT_EQ(session.Open(link.resource(), options), S_OK)
          << i << ": " << ThreadErrorRecord().description;
      if (!failing.empty()) {  // a failed open must not leak either
        io::CIoSession refused(reporter);
        ASSERT_EQ(refused.Open(failing, options), E_VELMORAQDX_IO_GENERAL) << i;
      }
      ASSERT_EQ(session.Close(), S_OK);
    }
    EXPECT_EQ(io::test::SettledDescriptorCount(before), before);
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

}  // namespace
}  // namespace veqdx
