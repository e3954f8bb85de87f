// IVelmoraQdxOutput: protection limits, power-on and configuration-menu settings, and the
// output's trigger source.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

namespace keys = attr::keys;
constexpr const char* kOut = VelmoraQdxOutput::kInterface;

constexpr PropertyDesc kUVL{
    .interfaceName = kOut, .getName = "get_UVL", .putName = "put_UVL",
    .writeFormat = ":VOLT:LIM:LOW %0.15lg", .queryCommand = ":VOLT:LIM:LOW?", .readFormat = "%@3lg",
    .key = &keys::UVL, .cache = CacheKind::Cached, .slot = kSlotUVL};
constexpr PropertyDesc kOCPLimit{
    .interfaceName = kOut, .getName = "get_OCPLimit", .putName = "put_OCPLimit",
    .writeFormat = ":CURR:PROT %0.15lg", .queryCommand = ":CURR:PROT?", .readFormat = "%@3lg",
    .key = &keys::OCPLimit, .cache = CacheKind::Cached, .slot = kSlotOCPLimit};
constexpr PropertyDesc kPONState{
    .interfaceName = kOut, .getName = "get_PONState", .putName = "put_PONState",
    .writeFormat = ":OUTP:PON %{VelmoraQdxPONStateEnum}s", .queryCommand = ":OUTP:PON?",
    .readFormat = "%{VelmoraQdxPONStateEnum}s", .key = &keys::PONState,
    .cache = CacheKind::SimulationOnly, .slot = kSlotPONState};
constexpr PropertyDesc kProtectionRecovery{
    .interfaceName = kOut, .getName = "get_ProtectionRecovery", .putName = "put_ProtectionRecovery",
    .writeFormat = ":SYST:CONF:PROT:REC %{VelmoraQdxProtectionRecoveryEnum}s",
    .queryCommand = ":SYST:CONF:PROT:REC?", .readFormat = "%{VelmoraQdxProtectionRecoveryEnum}s",
    .key = &keys::ProtectionRecovery, .cache = CacheKind::SimulationOnly,
    .slot = kSlotProtectionRecovery};
constexpr PropertyDesc kOperationPriority{
    .interfaceName = kOut, .getName = "get_OperationPriority", .putName = "put_OperationPriority",
    .writeFormat = ":SYST:CONF:STAR:PRI %{VelmoraQdxOperationModeEnum}s",
    .queryCommand = ":SYST:CONF:STAR:PRI?", .readFormat = "%{VelmoraQdxOperationModeEnum}s",
    .key = &keys::OperationPriority, .cache = CacheKind::SimulationOnly,
    .slot = kSlotOperationPriority};
constexpr PropertyDesc kBleederEnabled{
    .interfaceName = kOut, .getName = "get_BleederEnabled", .putName = "put_BleederEnabled",
    .writeFormat = ":SYST:CONF:BLE %{VARIANT_BOOL}s", .queryCommand = ":SYST:CONF:BLE?",
    .readFormat = "%{VARIANT_BOOL}s", .key = &keys::BleederEnabled,
    .cache = CacheKind::SimulationOnly, .slot = kSlotBleederEnabled};
constexpr PropertyDesc kExternalMonitorRange{
    .interfaceName = kOut, .getName = "get_ExternalMonitorRange",
    .putName = "put_ExternalMonitorRange",
    .writeFormat = ":SYST:CONF:MON:RANG %{VelmoraQdxExternalRangeEnum}s",
    .queryCommand = ":SYST:CONF:MON:RANG?", .readFormat = "%{VelmoraQdxExternalRangeEnum}s",
    .key = &keys::ExternalMonitorRange, .cache = CacheKind::SimulationOnly,
    .slot = kSlotExternalMonitorRange};
// The trigger source commands have no leading colon on this instrument.
constexpr PropertyDesc kTriggerSource{
    .interfaceName = kOut, .getName = "get_TriggerSource", .putName = "put_TriggerSource",
    .writeFormat = "TRIG:TRAN:SOUR %{VelmoraQdxTriggerSourceEnum}s",
    .queryCommand = "TRIG:TRAN:SOUR?", .readFormat = "%{VelmoraQdxTriggerSourceEnum}s",
    .key = &keys::TriggerSource, .cache = CacheKind::SimulationOnly, .slot = kSlotTriggerSource};

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
HRESULT VelmoraQdxOutput::put_OCPLimit(double val) { return PutProperty(Target(), kOCPLimit, val); }

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
