// A driver on a scripted device with the driver-wide facets, for the tests of this folder.
#pragma once
#include "dcpwr/global.h"
#include "dcpwr/status.h"
#include "dcpwr/system.h"
#include "dcpwr/trigger.h"
#include "support/driver_on_device.h"
#include "veqdx/status.hpp"

namespace veqdx::dcpwr::testing {

using veqdx::testing::LastError;
using veqdx::testing::Lines;

class SystemOnDevice : public veqdx::testing::CDriverOnDevice {
 protected:
  CTrigger trigger{driver};
  CStatus status{driver};
  CGlobal global{driver};
  CSystem system{driver};
};

}  // namespace veqdx::dcpwr::testing
