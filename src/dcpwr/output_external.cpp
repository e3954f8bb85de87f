// IVelmoraQdxOutputExternalControl: the analog (external) control settings of an output.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

namespace keys = attr::keys;
constexpr const char* kExt = VelmoraQdxOutput::kExternalControlInterface;

constexpr PropertyDesc kOutputControlEnabled{
    kExt, "get_OutputControlEnabled", "put_OutputControlEnabled", ":OUTP:EXT %{VARIANT_BOOL}s",
    ":OUTP:EXT?", "%{VARIANT_BOOL}s", &keys::OutputControlEnabled, CacheKind::SimulationOnly};
constexpr PropertyDesc kOutputControlLogic{
    kExt, "get_OutputControlLogic", "put_OutputControlLogic",
    ":OUTP:EXT:LOG %{VelmoraQdxExternalLogicEnum}s", ":OUTP:EXT:LOG?",
    "%{VelmoraQdxExternalLogicEnum}s", &keys::OutputControlLogic, CacheKind::SimulationOnly};
// "Alanog" is the interface's own spelling and stays so.
constexpr PropertyDesc kAlanogControlRange{
    kExt, "get_AlanogControlRange", "put_AlanogControlRange",
    ":VOLT:EXT:RANG %{VelmoraQdxExternalRangeEnum}s", ":VOLT:EXT:RANG?",
    "%{VelmoraQdxExternalRangeEnum}s", &keys::AlanogControlRange, CacheKind::SimulationOnly};
// The Boolean keywords of these two are "VOLT" (an external voltage controls) and "NONE".
constexpr PropertyDesc kCCControlEnabled{
    kExt, "get_CCControlEnabled", "put_CCControlEnabled", ":CURR:EXT:SOUR %{VARIANT_BOOL}s",
    ":CURR:EXT:SOUR?", "%{VARIANT_BOOL}s", &keys::CCControlEnabled, CacheKind::SimulationOnly};
constexpr PropertyDesc kCVControlEnabled{
    kExt, "get_CVControlEnabled", "put_CVControlEnabled", ":VOLT:EXT:SOUR %{VARIANT_BOOL}s",
    ":VOLT:EXT:SOUR?", "%{VARIANT_BOOL}s", &keys::CVControlEnabled, CacheKind::SimulationOnly};

constexpr VelmoraQdxExternalLogicEnum kLogics[] = {VelmoraQdxExternalLogicLow,
                                                   VelmoraQdxExternalLogicHigh};
constexpr VelmoraQdxExternalRangeEnum kRanges[] = {VelmoraQdxExternalRangeLow,
                                                   VelmoraQdxExternalRangeHigh};

}  // namespace

HRESULT VelmoraQdxOutput::get_OutputControlEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kOutputControlEnabled, val);
}
HRESULT VelmoraQdxOutput::put_OutputControlEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kOutputControlEnabled, val);
}

HRESULT VelmoraQdxOutput::get_OutputControlLogic(VelmoraQdxExternalLogicEnum* val) {
  return GetProperty(Target(), kOutputControlLogic, val);
}
HRESULT VelmoraQdxOutput::put_OutputControlLogic(VelmoraQdxExternalLogicEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kOutputControlLogic, val, [&](VelmoraQdxExternalLogicEnum v) {
    return CheckEnumIn(t, kOutputControlLogic.putName, v, kLogics);
  });
}

HRESULT VelmoraQdxOutput::get_AlanogControlRange(VelmoraQdxExternalRangeEnum* val) {
  return GetProperty(Target(), kAlanogControlRange, val);
}
HRESULT VelmoraQdxOutput::put_AlanogControlRange(VelmoraQdxExternalRangeEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kAlanogControlRange, val, [&](VelmoraQdxExternalRangeEnum v) {
    return CheckEnumIn(t, kAlanogControlRange.putName, v, kRanges);
  });
}

HRESULT VelmoraQdxOutput::get_CCControlEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kCCControlEnabled, val);
}
HRESULT VelmoraQdxOutput::put_CCControlEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kCCControlEnabled, val);
}

HRESULT VelmoraQdxOutput::get_CVControlEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kCVControlEnabled, val);
}
HRESULT VelmoraQdxOutput::put_CVControlEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kCVControlEnabled, val);
}

}  // namespace veqdx::dcpwr
