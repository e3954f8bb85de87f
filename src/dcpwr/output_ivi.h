// IIviDCPwrOutput, the class-compliant view of an output. The output object implements it
// itself: a member whose signature both interfaces share is one member of CVelmoraQdxOutput
// (the class enumerations have the instrument enumerations' values). This class holds the rest:
// the members of class types and the ones whose class-compliant form works differently.
//
// Three members have the signature of an IVelmoraQdxOutput member but a form of their own
// (ConfigureOVP and the TriggeredCurrentLimit pair). One class cannot override two such members
// of two bases separately, so each side implements its form in a base of its own
// (CIviDCPwrOutput here, CVelmoraQdxOutputForms in output.h) and marks it final.
#pragma once
#include <cstdint>

#include "base/hresult.h"
#include "veqdx/interfaces.hpp"

namespace veqdx::dcpwr {

class CVelmoraQdxOutput;

class CIviDCPwrOutput : public IIviDCPwrOutput {
 public:
  static constexpr const char* kInterface = "IIviDCPwrOutput";

  // As the IVelmoraQdxOutput methods, but run in this interface's call context (whose
  // converter tables differ: the class behaviour enumeration has no keywords).
  HRESULT ConfigureCurrentLimit(IviDCPwrCurrentLimitBehaviorEnum Behavior, double Limit) final;
  HRESULT ConfigureOVP(VARIANT_BOOL Enabled, double Limit) final;
  // One range per output: RangeType 0 is current, 1 voltage, any other an invalid value. A
  // range within 0..maximum is accepted and nothing is sent; beyond it (or negative) is an
  // invalid value when RangeCheck is on.
  HRESULT ConfigureRange(IviDCPwrRangeTypeEnum RangeType, double Range) final;
  HRESULT get_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum* val) final;
  HRESULT put_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum val) final;
  HRESULT Measure(IviDCPwrMeasurementTypeEnum MeasurementType, double* val) final;
  // Over-voltage protection cannot be switched off on this family: reads true, accepts true
  // without sending anything, refuses false as an unsupported value.
  HRESULT get_OVPEnabled(VARIANT_BOOL* val) final;
  HRESULT put_OVPEnabled(VARIANT_BOOL val) final;
  HRESULT QueryState(IviDCPwrOutputStateEnum OutputState, VARIANT_BOOL* val) final;
  // The instrument form of the call is prepared as the pending command, then the
  // IVelmoraQdxOutput member does the work.
  HRESULT get_TriggeredCurrentLimit(double* val) final;
  HRESULT put_TriggeredCurrentLimit(double val) final;
  // External (1) is not a source of this family and is refused by the range check.
  HRESULT get_TriggerSource(IviDCPwrTriggerSourceEnum* val) final;
  HRESULT put_TriggerSource(IviDCPwrTriggerSourceEnum val) final;

 private:
  CVelmoraQdxOutput& Output() noexcept;
};

}  // namespace veqdx::dcpwr
