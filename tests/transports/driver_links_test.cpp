// The whole driver over each built-in link to the emulator: the same operations give the same
// results and put the same messages on the wire over a raw socket, VXI-11, a serial line
// (pseudo-terminal) and a USB TMC stand-in; a silent instrument times out on each, with the
// link's own message, and the session goes on; opening and closing a session many times, with
// failed opens between, leaks nothing.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "io/io_session.h"
#include "transport_test_util.h"
#include "dcpwr/output_factory.h"

namespace veqdx {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

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
  auto& out = dynamic_cast<dcpwr::VelmoraQdxOutput&>(*driver.FindChild("Output0"));
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
    auto& out = dynamic_cast<dcpwr::VelmoraQdxOutput&>(*driver.FindChild("Output0"));
    link.emulator().addSilentQuery(":MEAS:VOLT?");
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

}  // namespace
}  // namespace veqdx
