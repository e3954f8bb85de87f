// IVelmoraQdxOutput: output on/off, levels, limits and the triggered levels.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {

using namespace props;

HRESULT CVelmoraQdxOutput::get_Enabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kEnabled, val);
}
HRESULT CVelmoraQdxOutput::put_Enabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kEnabled, val);
}

HRESULT CVelmoraQdxOutput::get_VoltageLevel(double* val) {
  return GetProperty(Target(), kVoltageLevel, val);
}
HRESULT CVelmoraQdxOutput::put_VoltageLevel(double val) {
  return PutProperty(Target(), kVoltageLevel, val, [this](double v) {
    return CheckLevel(v, maxVoltage_, kVoltageLevel.putName);
  });
}

HRESULT CVelmoraQdxOutput::get_CurrentLimit(double* val) {
  return GetProperty(Target(), kCurrentLimit, val);
}
HRESULT CVelmoraQdxOutput::put_CurrentLimit(double val) {
  return PutProperty(Target(), kCurrentLimit, val, [this](double v) {
    return CheckLevel(v, maxCurrent_, kCurrentLimit.putName);
  });
}

HRESULT CVelmoraQdxOutput::get_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum* val) {
  return GetProperty(Target(), kCurrentLimitBehavior, val);
}
HRESULT CVelmoraQdxOutput::put_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum val) {
  return PutProperty(Target(), kCurrentLimitBehavior, val);
}

HRESULT CVelmoraQdxOutput::get_OVPLimit(double* val) {
  return GetProperty(Target(), kOVPLimit, val);
}
HRESULT CVelmoraQdxOutput::put_OVPLimit(double val) { return PutProperty(Target(), kOVPLimit, val); }

HRESULT CVelmoraQdxOutput::get_TriggeredVoltageLevel(double* val) {
  return GetProperty(Target(), kTriggeredVoltageLevel, val);
}
HRESULT CVelmoraQdxOutput::put_TriggeredVoltageLevel(double val) {
  return PutProperty(Target(), kTriggeredVoltageLevel, val);
}

HRESULT CVelmoraQdxOutputForms::get_TriggeredCurrentLimit(double* val) {
  return GetProperty(Output().Target(), kTriggeredCurrentLimit, val);
}
HRESULT CVelmoraQdxOutputForms::put_TriggeredCurrentLimit(double val) {
  return PutProperty(Output().Target(), kTriggeredCurrentLimit, val);
}

}  // namespace veqdx::dcpwr
