// IVelmoraQdxOutput: output on/off, levels, limits and the triggered levels.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

namespace keys = attr::keys;
constexpr const char* kOut = VelmoraQdxOutput::kInterface;

constexpr PropertyDesc kEnabled{kOut, "get_Enabled", "put_Enabled", ":OUTP %{VARIANT_BOOL}s",
                                ":OUTP?", "%{VARIANT_BOOL}s", &keys::Enabled,
                                CacheKind::SimulationOnly};
// The two main levels read with "%lg"; every other numeric getter uses "%@3lg".
constexpr PropertyDesc kVoltageLevel{kOut, "get_VoltageLevel", "put_VoltageLevel",
                                     ":VOLT %0.15lg", ":VOLT?", "%lg", &keys::VoltageLevel,
                                     CacheKind::Cached, &keys::TriggeredVoltageLevel};
constexpr PropertyDesc kCurrentLimit{kOut, "get_CurrentLimit", "put_CurrentLimit",
                                     ":CURR %0.15lg", ":CURR?", "%lg", &keys::CurrentLimit,
                                     CacheKind::Cached, &keys::TriggeredCurrentLimit};
constexpr PropertyDesc kCurrentLimitBehavior{
    kOut, "get_CurrentLimitBehavior", "put_CurrentLimitBehavior",
    ":CURR:PROT:STAT %{VelmoraQdxCurrentLimitBehaviorEnum}s", ":CURR:PROT:STAT?",
    "%{VelmoraQdxCurrentLimitBehaviorEnum}s", &keys::CurrentLimitBehavior,
    CacheKind::SimulationOnly};
constexpr PropertyDesc kOVPLimit{kOut, "get_OVPLimit", "put_OVPLimit", ":VOLT:PROT %0.15lg",
                                 ":VOLT:PROT?", "%@3lg", &keys::OVPLimit, CacheKind::Cached};
constexpr PropertyDesc kTriggeredVoltageLevel{
    kOut, "get_TriggeredVoltageLevel", "put_TriggeredVoltageLevel", ":VOLT:TRIG %0.15lg",
    ":VOLT:TRIG?", "%@3lg", &keys::TriggeredVoltageLevel, CacheKind::Cached};
constexpr PropertyDesc kTriggeredCurrentLimit{
    kOut, "get_TriggeredCurrentLimit", "put_TriggeredCurrentLimit", ":CURR:TRIG %0.15lg",
    ":CURR:TRIG?", "%@3lg", &keys::TriggeredCurrentLimit, CacheKind::Cached};

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
HRESULT VelmoraQdxOutput::put_OVPLimit(double val) {
  return PutProperty(Target(), kOVPLimit, val);
}

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
