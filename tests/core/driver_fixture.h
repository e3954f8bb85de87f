// A driver on a scripted device, for the tests of this folder.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "attributes/node.h"
#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "support/scripted_transport.h"
#include "dcpwr/output_factory.h"

namespace veqdx::testing {

using Lines = std::vector<std::string>;

inline std::string LastError() { return ThreadErrorRecord().description; }

// "volts,amps,watts,model" of a rating (exact digits), or "none".
inline std::string Describe(const std::optional<OutputRecord>& r) {
  if (!r) return "none";
  std::ostringstream out;
  out.precision(17);
  out << r->maxVoltage << ',' << r->maxCurrent << ',' << r->maxPower << ',' << r->model;
  return out.str();
}

// A simulated session that needs no device.
inline HRESULT OpenSimulated(CVelmoraQdx& d, const char* options = "Simulate=1") {
  return d.Initialize("A", VARIANT_FALSE, VARIANT_FALSE, options);
}

// The value of a property getter, which must succeed and write its output.
template <class T>
T Get(CVelmoraQdx& d, HRESULT (CDriver::*getter)(T*)) {
  T value;
  if constexpr (std::is_same_v<T, std::string>) value = "unset";
  else value = 7;
  EXPECT_EQ((d.*getter)(&value), S_OK);
  return value;
}

// Counts the reset hooks the utility operations call on every child.
class ProbeNode : public attr::CChildNode {
 public:
  int resets = 0;
  int defaults = 0;
  void OnReset() override { ++resets; }
  void OnResetWithDefaults() override { ++defaults; }
};

class DriverOnDevice : public ::testing::Test {
 protected:
  DriverOnDevice() {
    driver.SetTransportFactory(
        [dev = device](std::string_view, const io::TransportOptions&, io::IoResult&) {
          return dev->Connect();
        });
  }

  // A single QDX750H answering identification and options.
  void ScriptSingleUnit(const std::string& model = "QDX750H") {
    device->OnQuery("*IDN?", "Velmora," + model + ",SN0042,2.1.0\n");
    device->OnQuery("*OPT?", "0\n");
  }
  // A multi-channel configuration with channels 1 and 2.
  void ScriptTwoChannels() {
    device->OnQuery("*IDN?", "Velmora,QDX1500H,SN7,3.0.1\n");
    device->OnQuery("*OPT?", "VMCB,LAN\n");
    device->OnQuery(":INST:CAT?", "1;2\n");
    device->OnQuery(":INST:NSEL 1;INFO?", "80,28,750,QDX750ML\n");
    device->OnQuery(":INST:NSEL 2;INFO?", "650,3.5,750,QDX750H\n");
  }
  HRESULT Open(const char* options = "", VARIANT_BOOL idQuery = VARIANT_TRUE,
               VARIANT_BOOL reset = VARIANT_FALSE) {
    return driver.Initialize("TCPIP::10.1.2.3::INSTR", idQuery, reset, options);
  }

  std::shared_ptr<io::ScriptedDevice> device = std::make_shared<io::ScriptedDevice>();
  CVelmoraQdx driver{dcpwr::CreateOutput};
};

}  // namespace veqdx::testing
