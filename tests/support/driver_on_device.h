// A CVelmoraQdx whose sessions open on a scripted device: the part the fixtures of the
// per-output and driver-wide test folders share. Each folder's fixture adds the instruments it
// opens (models, channels) and the objects it tests.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "dcpwr/output_factory.h"
#include "support/scripted_transport.h"

namespace veqdx::testing {

class CDriverOnDevice : public ::testing::Test {
 protected:
  CDriverOnDevice() {
    driver.SetTransportFactory([dev = device](std::string_view, const io::TransportOptions&,
                                              io::IoResult&) { return dev->Connect(); });
  }

  static std::string LastErrorText() { return ThreadErrorRecord().description; }

  // Opens a session on the device with the answers already scripted; the identification and
  // discovery traffic is cleared.
  void OpenOnDevice(const char* options) {
    ASSERT_EQ(driver.Initialize("TCPIP::10.1.2.3::INSTR", VARIANT_TRUE, VARIANT_FALSE, options),
              S_OK)
        << LastErrorText();
    device->ClearWritten();
  }

  dcpwr::VelmoraQdxOutput& OutputNamed(const char* name) {
    auto* output = dynamic_cast<dcpwr::VelmoraQdxOutput*>(driver.FindChild(name));
    if (output == nullptr) throw std::logic_error(std::string("no output ") + name);
    return *output;
  }

  std::shared_ptr<io::ScriptedDevice> device = std::make_shared<io::ScriptedDevice>();
  CVelmoraQdx driver{dcpwr::CreateOutput};
};

}  // namespace veqdx::testing
