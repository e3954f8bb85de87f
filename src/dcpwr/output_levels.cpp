// IVelmoraQdxOutput: output on/off, levels, limits and the triggered levels.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

namespace keys = attr::keys;
constexpr const char* kOut = VelmoraQdxOutput::kInterface;

constexpr PropertyDesc kEnabled{
    .interfaceName = kOut, .getName = "get_Enabled", .putName = "put_Enabled",
    .writeFormat = ":OUTP %{VARIANT_BOOL}s", .queryCommand = ":OUTP?",
    .readFormat = "%{VARIANT_BOOL}s", .key = &keys::Enabled, .cache = CacheKind::SimulationOnly,
    .slot = kSlotEnabled};
// The two main levels read with "%lg"; every other numeric getter uses "%@3lg".
constexpr PropertyDesc kVoltageLevel{
    .interfaceName = kOut, .getName = "get_VoltageLevel", .putName = "put_VoltageLevel",
    .writeFormat = ":VOLT %0.15lg", .queryCommand = ":VOLT?", .readFormat = "%lg",
    .key = &keys::VoltageLevel, .cache = CacheKind::Cached,
    .dependent = &keys::TriggeredVoltageLevel, .slot = kSlotVoltageLevel};
constexpr PropertyDesc kCurrentLimit{
    .interfaceName = kOut, .getName = "get_CurrentLimit", .putName = "put_CurrentLimit",
    .writeFormat = ":CURR %0.15lg", .queryCommand = ":CURR?", .readFormat = "%lg",
    .key = &keys::CurrentLimit, .cache = CacheKind::Cached,
    .dependent = &keys::TriggeredCurrentLimit, .slot = kSlotCurrentLimit};
constexpr PropertyDesc kCurrentLimitBehavior{
    .interfaceName = kOut, .getName = "get_CurrentLimitBehavior",
    .putName = "put_CurrentLimitBehavior",
    .writeFormat = ":CURR:PROT:STAT %{VelmoraQdxCurrentLimitBehaviorEnum}s",
    .queryCommand = ":CURR:PROT:STAT?", .readFormat = "%{VelmoraQdxCurrentLimitBehaviorEnum}s",
    .key = &keys::CurrentLimitBehavior, .cache = CacheKind::SimulationOnly,
    .slot = kSlotCurrentLimitBehavior};
constexpr PropertyDesc kOVPLimit{
    .interfaceName = kOut, .getName = "get_OVPLimit", .putName = "put_OVPLimit",
    .writeFormat = ":VOLT:PROT %0.15lg", .queryCommand = ":VOLT:PROT?", .readFormat = "%@3lg",
    .key = &keys::OVPLimit, .cache = CacheKind::Cached, .slot = kSlotOVPLimit};
constexpr PropertyDesc kTriggeredVoltageLevel{
    .interfaceName = kOut, .getName = "get_TriggeredVoltageLevel",
    .putName = "put_TriggeredVoltageLevel", .writeFormat = ":VOLT:TRIG %0.15lg",
    .queryCommand = ":VOLT:TRIG?", .readFormat = "%@3lg", .key = &keys::TriggeredVoltageLevel,
    .cache = CacheKind::Cached, .slot = kSlotTriggeredVoltageLevel};
constexpr PropertyDesc kTriggeredCurrentLimit{
    .interfaceName = kOut, .getName = "get_TriggeredCurrentLimit",
    .putName = "put_TriggeredCurrentLimit", .writeFormat = ":CURR:TRIG %0.15lg",
    .queryCommand = ":CURR:TRIG?", .readFormat = "%@3lg", .key = &keys::TriggeredCurrentLimit,
    .cache = CacheKind::Cached, .slot = kSlotTriggeredCurrentLimit};

}  // namespace

HRESULT VelmoraQdxOutput::get_Enabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kEnabled, val);
}
HRESULT VelmoraQdxOutput::put_Enabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kEnabled, val);
}

HRESULT VelmoraQdxOutput::get_VoltageLevel(double* val) {
  return GetProperty(Target(), kVoltageLevel, val);
}
HRESULT VelmoraQdxOutput::put_VoltageLevel(double val) {
  return PutProperty(Target(), kVoltageLevel, val, [this](double v) {
    return CheckLevel(v, maxVoltage_, kVoltageLevel.putName);
  });
}

HRESULT VelmoraQdxOutput::get_CurrentLimit(double* val) {
  return GetProperty(Target(), kCurrentLimit, val);
}
HRESULT VelmoraQdxOutput::put_CurrentLimit(double val) {
  return PutProperty(Target(), kCurrentLimit, val, [this](double v) {
    return CheckLevel(v, maxCurrent_, kCurrentLimit.putName);
  });
}

HRESULT VelmoraQdxOutput::get_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum* val) {
  return GetProperty(Target(), kCurrentLimitBehavior, val);
}
HRESULT VelmoraQdxOutput::put_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum val) {
  return PutProperty(Target(), kCurrentLimitBehavior, val);
}

HRESULT VelmoraQdxOutput::get_OVPLimit(double* val) {
  return GetProperty(Target(), kOVPLimit, val);
}
HRESULT VelmoraQdxOutput::put_OVPLimit(double val) { return PutProperty(Target(), kOVPLimit, val); }

HRESULT VelmoraQdxOutput::get_TriggeredVoltageLevel(double* val) {
  return GetProperty(Target(), kTriggeredVoltageLevel, val);
}
HRESULT VelmoraQdxOutput::put_TriggeredVoltageLevel(double val) {
  return PutProperty(Target(), kTriggeredVoltageLevel, val);
}

HRESULT VelmoraQdxOutput::get_TriggeredCurrentLimit(double* val) {
  return GetProperty(Target(), kTriggeredCurrentLimit, val);
}
HRESULT VelmoraQdxOutput::put_TriggeredCurrentLimit(double val) {
  return PutProperty(Target(), kTriggeredCurrentLimit, val);
}

}  // namespace veqdx::dcpwr
