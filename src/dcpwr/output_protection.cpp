// IVelmoraQdxOutput: protection limits, power-on and configuration-menu settings, and the
// output's trigger source.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

namespace keys = attr::keys;
constexpr const char* kOut = VelmoraQdxOutput::kInterface;

constexpr PropertyDesc kUVL{kOut, "get_UVL", "put_UVL", ":VOLT:LIM:LOW %0.15lg",
                            ":VOLT:LIM:LOW?", "%@3lg", &keys::UVL, CacheKind::Cached};
constexpr PropertyDesc kOCPLimit{kOut, "get_OCPLimit", "put_OCPLimit", ":CURR:PROT %0.15lg",
                                 ":CURR:PROT?", "%@3lg", &keys::OCPLimit, CacheKind::Cached};
constexpr PropertyDesc kPONState{kOut, "get_PONState", "put_PONState",
                                 ":OUTP:PON %{VelmoraQdxPONStateEnum}s", ":OUTP:PON?",
                                 "%{VelmoraQdxPONStateEnum}s", &keys::PONState,
                                 CacheKind::SimulationOnly};
constexpr PropertyDesc kProtectionRecovery{
    kOut, "get_ProtectionRecovery", "put_ProtectionRecovery",
    ":SYST:CONF:PROT:REC %{VelmoraQdxProtectionRecoveryEnum}s", ":SYST:CONF:PROT:REC?",
    "%{VelmoraQdxProtectionRecoveryEnum}s", &keys::ProtectionRecovery,
    CacheKind::SimulationOnly};
constexpr PropertyDesc kOperationPriority{
    kOut, "get_OperationPriority", "put_OperationPriority",
    ":SYST:CONF:STAR:PRI %{VelmoraQdxOperationModeEnum}s", ":SYST:CONF:STAR:PRI?",
    "%{VelmoraQdxOperationModeEnum}s", &keys::OperationPriority, CacheKind::SimulationOnly};
constexpr PropertyDesc kBleederEnabled{kOut, "get_BleederEnabled", "put_BleederEnabled",
                                       ":SYST:CONF:BLE %{VARIANT_BOOL}s", ":SYST:CONF:BLE?",
                                       "%{VARIANT_BOOL}s", &keys::BleederEnabled,
                                       CacheKind::SimulationOnly};
constexpr PropertyDesc kExternalMonitorRange{
    kOut, "get_ExternalMonitorRange", "put_ExternalMonitorRange",
    ":SYST:CONF:MON:RANG %{VelmoraQdxExternalRangeEnum}s", ":SYST:CONF:MON:RANG?",
    "%{VelmoraQdxExternalRangeEnum}s", &keys::ExternalMonitorRange, CacheKind::SimulationOnly};
// The trigger source commands have no leading colon on this instrument.
constexpr PropertyDesc kTriggerSource{kOut, "get_TriggerSource", "put_TriggerSource",
                                      "TRIG:TRAN:SOUR %{VelmoraQdxTriggerSourceEnum}s",
                                      "TRIG:TRAN:SOUR?", "%{VelmoraQdxTriggerSourceEnum}s",
                                      &keys::TriggerSource, CacheKind::SimulationOnly};

constexpr VelmoraQdxPONStateEnum kPONStates[] = {VelmoraQdxPONStateSafe, VelmoraQdxPONStateAuto,
                                                 VelmoraQdxPONStateForce};
constexpr VelmoraQdxTriggerSourceEnum kTriggerSources[] = {VelmoraQdxTriggerSourceImmediate,
                                                           VelmoraQdxTriggerSourceSwTrigFunc};

}  // namespace

HRESULT VelmoraQdxOutput::get_UVL(double* val) { return GetProperty(Target(), kUVL, val); }
HRESULT VelmoraQdxOutput::put_UVL(double val) { return PutProperty(Target(), kUVL, val); }

HRESULT VelmoraQdxOutput::get_OCPLimit(double* val) {
  return GetProperty(Target(), kOCPLimit, val);
}
HRESULT VelmoraQdxOutput::put_OCPLimit(double val) {
  return PutProperty(Target(), kOCPLimit, val);
}

HRESULT VelmoraQdxOutput::get_PONState(VelmoraQdxPONStateEnum* val) {
  return GetProperty(Target(), kPONState, val);
}
HRESULT VelmoraQdxOutput::put_PONState(VelmoraQdxPONStateEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kPONState, val, [&](VelmoraQdxPONStateEnum v) {
    return CheckEnumIn(t, kPONState.putName, v, kPONStates);
  });
}

HRESULT VelmoraQdxOutput::get_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum* val) {
  return GetProperty(Target(), kProtectionRecovery, val);
}
HRESULT VelmoraQdxOutput::put_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum val) {
  return PutProperty(Target(), kProtectionRecovery, val);
}

HRESULT VelmoraQdxOutput::get_OperationPriority(VelmoraQdxOperationModeEnum* val) {
  return GetProperty(Target(), kOperationPriority, val);
}
HRESULT VelmoraQdxOutput::put_OperationPriority(VelmoraQdxOperationModeEnum val) {
  return PutProperty(Target(), kOperationPriority, val);
}

HRESULT VelmoraQdxOutput::get_BleederEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kBleederEnabled, val);
}
HRESULT VelmoraQdxOutput::put_BleederEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kBleederEnabled, val);
}

HRESULT VelmoraQdxOutput::get_ExternalMonitorRange(VelmoraQdxExternalRangeEnum* val) {
  return GetProperty(Target(), kExternalMonitorRange, val);
}
HRESULT VelmoraQdxOutput::put_ExternalMonitorRange(VelmoraQdxExternalRangeEnum val) {
  return PutProperty(Target(), kExternalMonitorRange, val);
}

HRESULT VelmoraQdxOutput::get_TriggerSource(VelmoraQdxTriggerSourceEnum* val) {
  return GetProperty(Target(), kTriggerSource, val);
}
HRESULT VelmoraQdxOutput::put_TriggerSource(VelmoraQdxTriggerSourceEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kTriggerSource, val, [&](VelmoraQdxTriggerSourceEnum v) {
    return CheckEnumIn(t, kTriggerSource.putName, v, kTriggerSources);
  });
}

}  // namespace veqdx::dcpwr
