// A driver object from veqdx/veqdx.hpp, simulated or on a scripted device.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "api/object_model/root.h"
#include "base/error_reporter.h"
#include "support/driver_on_device.h"
#include "veqdx/veqdx.hpp"

namespace veqdx::om_test {

using Lines = std::vector<std::string>;

inline std::string LastError() { return GetErrorInfo().description; }

class ObjectModel : public ::testing::Test {
 protected:
  ObjectModel() {
    Root().SetTransportFactory([dev = device](std::string_view, const io::TransportOptions&,
                                              io::IoResult&) { return dev->Connect(); });
  }

  api::VelmoraQdx& Root() { return *dynamic_cast<api::VelmoraQdx*>(driver.get()); }

  void OpenSimulated() {
    ASSERT_EQ(driver->Initialize("TCPIP::sim::INSTR", kVariantFalse, kVariantFalse,
                                 "Simulate=true"),
              S_OK)
        << LastError();
  }
  // A single QDX750L on the scripted device.
  void OpenSingle() {
    testing::ScriptSingleUnit(*device, "QDX750L");
    Open();
  }
  // A multi-channel unit with channels 1 and 2.
  void OpenTwoChannels() {
    testing::ScriptTwoChannels(*device);
    Open();
  }

  IVelmoraQdxOutputs* Outputs() {
    IVelmoraQdxOutputs* outputs = nullptr;
    EXPECT_EQ(driver->get_Outputs(&outputs), S_OK);
    return outputs;
  }
  IVelmoraQdxOutput* Item(const char* name) {
    IVelmoraQdxOutput* output = nullptr;
    EXPECT_EQ(Outputs()->get_Item(name, &output), S_OK) << LastError();
    return output;
  }
  std::shared_ptr<IVelmoraQdxOutput> Shared(const char* name) {
    std::shared_ptr<IVelmoraQdxOutput> output;
    EXPECT_EQ(GetOutput(driver.get(), name, &output), S_OK) << LastError();
    return output;
  }
  // What was written since the last call.
  Lines Traffic() {
    Lines written = device->Written();
    device->ClearWritten();
    return written;
  }

  std::shared_ptr<io::ScriptedDevice> device = std::make_shared<io::ScriptedDevice>();
  std::shared_ptr<IVelmoraQdx> driver = CreateVelmoraQdx();

 private:
  void Open() {
    ASSERT_EQ(driver->Initialize("TCPIP::10.1.2.3::INSTR", kVariantTrue, kVariantFalse, ""), S_OK)
        << LastError();
    device->ClearWritten();
  }
};

}  // namespace veqdx::om_test
