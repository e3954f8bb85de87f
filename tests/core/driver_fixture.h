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
#include "support/driver_on_device.h"

namespace veqdx::testing {

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

class DriverOnDevice : public CDriverOnDevice {
 protected:
  HRESULT Open(const char* options = "", VARIANT_BOOL idQuery = VARIANT_TRUE,
               VARIANT_BOOL reset = VARIANT_FALSE) {
    return driver.Initialize("TCPIP::10.1.2.3::INSTR", idQuery, reset, options);
  }
};

}  // namespace veqdx::testing
