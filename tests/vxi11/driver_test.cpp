// The whole driver over VXI-11: initialized with the DriverSetup port items, it puts exactly
// the messages on the wire that it puts over a raw socket, and gets the same answers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "vxi11_bench.h"
#include "dcpwr/output_factory.h"

namespace veqdx {
namespace {

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
  auto& out = dynamic_cast<dcpwr::VelmoraQdxOutput&>(*driver.FindChild("Output0"));
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
}  // namespace veqdx
