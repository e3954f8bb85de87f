// The class-compliant IIviDCPwrOutput members of an output that do not simply call the
// IVelmoraQdxOutput member of the same name. The object layer maps every other
// IIviDCPwrOutput member straight onto VelmoraQdxOutput.
#pragma once
#include <cstdint>

#include "attributes/enum_converters.h"
#include "core/hresult.h"

namespace veqdx::dcpwr {

class VelmoraQdxOutput;

class CIviDCPwrOutput {
 public:
  static constexpr const char* kInterface = "IIviDCPwrOutput";
  // RangeType values of ConfigureRange.
  static constexpr std::int32_t kRangeCurrent = 0;
  static constexpr std::int32_t kRangeVoltage = 1;

  explicit CIviDCPwrOutput(VelmoraQdxOutput& output) : output_(output) {}

  // The instrument form of the call is prepared, then the IVelmoraQdxOutput member runs.
  HRESULT get_TriggeredCurrentLimit(double* val);
  HRESULT put_TriggeredCurrentLimit(double val);
  // Over-voltage protection cannot be switched off on this family: reads true, accepts
  // true without sending anything, refuses false as an unsupported value.
  HRESULT get_OVPEnabled(VARIANT_BOOL* val);
  HRESULT put_OVPEnabled(VARIANT_BOOL val);
  // One range per output: RangeType 0 is current, 1 voltage. A range within 0..maximum is
  // accepted and nothing is sent; beyond it is an invalid value when RangeCheck is on.
  HRESULT ConfigureRange(std::int32_t rangeType, double range);
  // As the IVelmoraQdxOutput methods, run in this interface's call context (whose converter
  // tables differ: the class-compliant behaviour enumeration has no keywords).
  HRESULT ConfigureCurrentLimit(attr::IviDCPwrCurrentLimitBehaviorEnum behavior, double limit);
  HRESULT ConfigureOVP(VARIANT_BOOL enabled, double limit);

 private:
  VelmoraQdxOutput& output_;
};

}  // namespace veqdx::dcpwr
