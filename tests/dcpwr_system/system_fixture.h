// A driver on a scripted device with the driver-wide facets, for the tests of this folder.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/global.h"
#include "dcpwr/output.h"
#include "dcpwr/status.h"
#include "dcpwr/system.h"
#include "dcpwr/trigger.h"
#include "support/driver_on_device.h"
#include "support/scripted_transport.h"

namespace veqdx::dcpwr::testing {

using Lines = std::vector<std::string>;

inline std::string LastError() { return ThreadErrorRecord().description; }

class SystemOnDevice : public veqdx::testing::CDriverOnDevice {
 protected:
  // A single QDX750H ("Output0").
  void OpenSingle(const char* options = "") {
    device->OnQuery("*IDN?", "Velmora,QDX750H,SN0042,2.1.0\n");
    device->OnQuery("*OPT?", "0\n");
    OpenOnDevice(options);
  }
  // A multi-channel unit with "Output1" (80 V / 28 A) and "Output2" (650 V / 3.5 A).
  void OpenTwoChannels(const char* options = "") {
    device->OnQuery("*IDN?", "Velmora,QDX1500H,SN7,3.0.1\n");
    device->OnQuery("*OPT?", "VMCB,LAN\n");
    device->OnQuery(":INST:CAT?", "1;2\n");
    device->OnQuery(":INST:NSEL 1;INFO?", "80,28,750,QDX750ML\n");
    device->OnQuery(":INST:NSEL 2;INFO?", "650,3.5,750,QDX750H\n");
    OpenOnDevice(options);
  }
  // A simulated session: no device at all.
  void OpenSimulated() {
    ASSERT_EQ(driver.Initialize("TCPIP::10.1.2.3::INSTR", VARIANT_FALSE, VARIANT_FALSE,
                                "Simulate=true"),
              S_OK)
        << LastError();
  }

  VelmoraQdxOutput& Output(const char* name) {
    return OutputNamed(name);
  }

  CTrigger trigger{driver};
  CStatus status{driver};
  CGlobal global{driver};
  CSystem system{driver};
};

}  // namespace veqdx::dcpwr::testing
