// IVelmoraQdxOutput: protection limits, power-on and configuration-menu settings, and the
// output's trigger source.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {

using namespace props;

namespace {

constexpr VelmoraQdxPONStateEnum kPONStates[] = {VelmoraQdxPONStateSafe, VelmoraQdxPONStateAuto,
                                                 VelmoraQdxPONStateForce};
constexpr VelmoraQdxTriggerSourceEnum kTriggerSources[] = {VelmoraQdxTriggerSourceImmediate,
                                                           VelmoraQdxTriggerSourceSwTrigFunc};

}  // namespace

HRESULT CVelmoraQdxOutput::get_UVL(double* val) { return GetProperty(Target(), kUVL, val); }
HRESULT CVelmoraQdxOutput::put_UVL(double val) { return PutProperty(Target(), kUVL, val); }

HRESULT CVelmoraQdxOutput::get_OCPLimit(double* val) {
  return GetProperty(Target(), kOCPLimit, val);
}
HRESULT CVelmoraQdxOutput::put_OCPLimit(double val) { return PutProperty(Target(), kOCPLimit, val); }

HRESULT CVelmoraQdxOutput::get_PONState(VelmoraQdxPONStateEnum* val) {
  return GetProperty(Target(), kPONState, val);
}
HRESULT CVelmoraQdxOutput::put_PONState(VelmoraQdxPONStateEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kPONState, val, [&](VelmoraQdxPONStateEnum v) {
    return CheckEnumIn(t, kPONState.putName, v, kPONStates);
  });
}

HRESULT CVelmoraQdxOutput::get_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum* val) {
  return GetProperty(Target(), kProtectionRecovery, val);
}
HRESULT CVelmoraQdxOutput::put_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum val) {
  return PutProperty(Target(), kProtectionRecovery, val);
}

HRESULT CVelmoraQdxOutput::get_OperationPriority(VelmoraQdxOperationModeEnum* val) {
  return GetProperty(Target(), kOperationPriority, val);
}
HRESULT CVelmoraQdxOutput::put_OperationPriority(VelmoraQdxOperationModeEnum val) {
  return PutProperty(Target(), kOperationPriority, val);
}

HRESULT CVelmoraQdxOutput::get_BleederEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kBleederEnabled, val);
}
HRESULT CVelmoraQdxOutput::put_BleederEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kBleederEnabled, val);
}

HRESULT CVelmoraQdxOutput::get_ExternalMonitorRange(VelmoraQdxExternalRangeEnum* val) {
  return GetProperty(Target(), kExternalMonitorRange, val);
}
HRESULT CVelmoraQdxOutput::put_ExternalMonitorRange(VelmoraQdxExternalRangeEnum val) {
  return PutProperty(Target(), kExternalMonitorRange, val);
}

HRESULT CVelmoraQdxOutput::get_TriggerSource(VelmoraQdxTriggerSourceEnum* val) {
  return GetProperty(Target(), kTriggerSource, val);
}
HRESULT CVelmoraQdxOutput::put_TriggerSource(VelmoraQdxTriggerSourceEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kTriggerSource, val, [&](VelmoraQdxTriggerSourceEnum v) {
    return CheckEnumIn(t, kTriggerSource.putName, v, kTriggerSources);
  });
}

}  // namespace veqdx::dcpwr
