// IIviDCPwrOutput of one output: the class-compliant view. Most members call the
// IVelmoraQdxOutput member of the same name (the class enumerations have the instrument
// enumerations' values); the exceptions are documented with each member below.
#pragma once
#include <cstdint>

#include "base/hresult.h"
#include "veqdx/interfaces.h"

namespace veqdx::dcpwr {

class VelmoraQdxOutput;

class CIviDCPwrOutput final : public IIviDCPwrOutput {
 public:
  static constexpr const char* kInterface = "IIviDCPwrOutput";

  explicit CIviDCPwrOutput(VelmoraQdxOutput& output) noexcept : output_(output) {}

  // As the IVelmoraQdxOutput methods, but run in this interface's call context (whose
  // converter tables differ: the class behaviour enumeration has no keywords).
  HRESULT ConfigureCurrentLimit(IviDCPwrCurrentLimitBehaviorEnum Behavior, double Limit) override;
  HRESULT ConfigureOVP(VARIANT_BOOL Enabled, double Limit) override;
  // One range per output: RangeType 0 is current, 1 voltage, any other an invalid value. A
  // range within 0..maximum is accepted and nothing is sent; beyond it (or negative) is an
  // invalid value when RangeCheck is on.
  HRESULT ConfigureRange(IviDCPwrRangeTypeEnum RangeType, double Range) override;
  HRESULT get_CurrentLimit(double* val) override;
  HRESULT put_CurrentLimit(double val) override;
  HRESULT get_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum* val) override;
  HRESULT put_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum val) override;
  HRESULT get_Enabled(VARIANT_BOOL* val) override;
  HRESULT put_Enabled(VARIANT_BOOL val) override;
  HRESULT Measure(IviDCPwrMeasurementTypeEnum MeasurementType, double* val) override;
  // Over-voltage protection cannot be switched off on this family: reads true, accepts true
  // without sending anything, refuses false as an unsupported value.
  HRESULT get_OVPEnabled(VARIANT_BOOL* val) override;
  HRESULT put_OVPEnabled(VARIANT_BOOL val) override;
  HRESULT get_OVPLimit(double* val) override;
  HRESULT put_OVPLimit(double val) override;
  HRESULT QueryCurrentLimitMax(double VoltageLevel, double* val) override;
  HRESULT QueryState(IviDCPwrOutputStateEnum OutputState, VARIANT_BOOL* val) override;
  HRESULT QueryVoltageLevelMax(double CurrentLimit, double* val) override;
  HRESULT ResetOutputProtection() override;
  // The instrument form of the call is prepared as the pending command, then the
  // IVelmoraQdxOutput member does the work.
  HRESULT get_TriggeredCurrentLimit(double* val) override;
  HRESULT put_TriggeredCurrentLimit(double val) override;
  HRESULT get_TriggeredVoltageLevel(double* val) override;
  HRESULT put_TriggeredVoltageLevel(double val) override;
  // External (1) is not a source of this family and is refused by the range check.
  HRESULT get_TriggerSource(IviDCPwrTriggerSourceEnum* val) override;
  HRESULT put_TriggerSource(IviDCPwrTriggerSourceEnum val) override;
  HRESULT get_VoltageLevel(double* val) override;
  HRESULT put_VoltageLevel(double val) override;

 private:
  VelmoraQdxOutput& output_;
};

}  // namespace veqdx::dcpwr
