// A driver with CVelmoraQdxOutput nodes on a scripted device, for the tests of this folder.
#pragma once
#include "dcpwr/output_ivi.h"
#include "support/driver_on_device.h"
#include "veqdx/status.hpp"

namespace veqdx::dcpwr::testing {

using veqdx::testing::LastError;
using veqdx::testing::Lines;
using OutputOnDevice = veqdx::testing::CDriverOnDevice;

}  // namespace veqdx::dcpwr::testing
