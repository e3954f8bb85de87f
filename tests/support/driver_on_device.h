// A CVelmoraQdx whose sessions open on a scripted device: the part the fixtures of the
// per-output and driver-wide test folders share. Each folder's fixture adds the objects it
// tests.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "dcpwr/output_factory.h"
#include "support/scripted_transport.h"

namespace veqdx::testing {

using Lines = std::vector<std::string>;

inline std::string LastError() { return ThreadErrorRecord().description; }

// A single unit of `model` ("Output0") answering identification and options.
inline void ScriptSingleUnit(io::ScriptedDevice& device, const std::string& model = "QDX750H") {
  device.OnQuery("*IDN?", "Velmora," + model + ",SN0042,2.1.0\n");
  device.OnQuery("*OPT?", "0\n");
}
// A multi-channel unit with "Output1" (QDX750ML: 80 V / 28 A) and "Output2" (QDX750H:
// 650 V / 3.5 A).
inline void ScriptTwoChannels(io::ScriptedDevice& device) {
  device.OnQuery("*IDN?", "Velmora,QDX1500H,SN7,3.0.1\n");
  device.OnQuery("*OPT?", "VMCB,LAN\n");
  device.OnQuery(":INST:CAT?", "1;2\n");
  device.OnQuery(":INST:NSEL 1;INFO?", "80,28,750,QDX750ML\n");
  device.OnQuery(":INST:NSEL 2;INFO?", "650,3.5,750,QDX750H\n");
}

class CDriverOnDevice : public ::testing::Test {
 protected:
  CDriverOnDevice() {
    driver.SetTransportFactory([dev = device](std::string_view, const io::TransportOptions&,
                                              io::IoResult&) { return dev->Connect(); });
  }

  // Opens a session on the device with the answers already scripted; the identification and
  // discovery traffic is cleared.
  void OpenOnDevice(const char* options) {
    ASSERT_EQ(driver.Initialize("TCPIP::10.1.2.3::INSTR", VARIANT_TRUE, VARIANT_FALSE, options),
              S_OK)
        << LastError();
    device->ClearWritten();
  }
  void OpenSingle(const std::string& model = "QDX750L", const char* options = "") {
    ScriptSingleUnit(*device, model);
    OpenOnDevice(options);
  }
  void OpenTwoChannels(const char* options = "") {
    ScriptTwoChannels(*device);
    OpenOnDevice(options);
  }
  // A simulated session: no device at all.
  void OpenSimulated(const char* options = "Simulate=true") {
    ASSERT_EQ(driver.Initialize("TCPIP::10.1.2.3::INSTR", VARIANT_FALSE, VARIANT_FALSE, options),
              S_OK)
        << LastError();
  }

  dcpwr::CVelmoraQdxOutput& Out(const char* name = "Output0") {
    auto* output = dynamic_cast<dcpwr::CVelmoraQdxOutput*>(driver.FindChild(name));
    if (output == nullptr) throw std::logic_error(std::string("no output ") + name);
    return *output;
  }
  // What was written since the last call.
  Lines Traffic() {
    Lines written = device->Written();
    device->ClearWritten();
    return written;
  }

  std::shared_ptr<io::ScriptedDevice> device = std::make_shared<io::ScriptedDevice>();
  CVelmoraQdx driver{dcpwr::CreateOutput};
};

}  // namespace veqdx::testing
