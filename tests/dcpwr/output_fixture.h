// A driver with VelmoraQdxOutput nodes on a scripted device, for the tests of this folder.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "dcpwr/output_ivi.h"
#include "support/driver_on_device.h"
#include "support/scripted_transport.h"

namespace veqdx::dcpwr::testing {

using Lines = std::vector<std::string>;

inline std::string LastError() { return ThreadErrorRecord().description; }

constexpr HRESULT kInvalidValue = MakeHr(0x80047010u);
constexpr HRESULT kValueNotSupported = MakeHr(0x80047013u);
constexpr HRESULT kNotInitialized = MakeHr(0x8004701Du);
constexpr HRESULT kNullPointer = MakeHr(0x80047058u);
constexpr HRESULT kInstrumentError = MakeHr(0x80047001u);
constexpr HRESULT kIoError = MakeHr(0x80044214u);
constexpr HRESULT kIoTimeout = MakeHr(0x80044215u);

class OutputOnDevice : public veqdx::testing::CDriverOnDevice {
 protected:
  // A single unit of `model`; the identification traffic is cleared.
  void OpenSingle(const std::string& model = "QDX750L", const char* options = "") {
    device->OnQuery("*IDN?", "Velmora," + model + ",SN1,1.0\n");
    device->OnQuery("*OPT?", "0\n");
    OpenOnDevice(options);
  }
  // A multi-channel unit with channels 1 (QDX750ML) and 2 (QDX750H).
  void OpenTwoChannels(const char* options = "") {
    device->OnQuery("*IDN?", "Velmora,QDX1500H,SN7,3.0\n");
    device->OnQuery("*OPT?", "VMCB\n");
    device->OnQuery(":INST:CAT?", "1;2\n");
    device->OnQuery(":INST:NSEL 1;INFO?", "80,28,750,QDX750ML\n");
    device->OnQuery(":INST:NSEL 2;INFO?", "650,3.5,750,QDX750H\n");
    OpenOnDevice(options);
  }
  void OpenSimulated(const char* options = "Simulate=true") {
    ASSERT_EQ(driver.Initialize("TCPIP::sim::INSTR", VARIANT_FALSE, VARIANT_FALSE, options), S_OK);
  }

  VelmoraQdxOutput& Out(const char* name = "Output0") {
    return OutputNamed(name);
  }
  // What was written since the last call.
  Lines Traffic() {
    Lines written = device->Written();
    device->ClearWritten();
    return written;
  }

};

}  // namespace veqdx::dcpwr::testing
