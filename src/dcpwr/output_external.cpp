// IVelmoraQdxOutputExternalControl: the analog (external) control settings of an output.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

namespace keys = attr::keys;
constexpr const char* kExt = VelmoraQdxOutput::kExternalControlInterface;

constexpr PropertyDesc kOutputControlEnabled{
    .interfaceName = kExt, .getName = "get_OutputControlEnabled",
    .putName = "put_OutputControlEnabled", .writeFormat = ":OUTP:EXT %{VARIANT_BOOL}s",
    .queryCommand = ":OUTP:EXT?", .readFormat = "%{VARIANT_BOOL}s",
    .key = &keys::OutputControlEnabled, .cache = CacheKind::SimulationOnly,
    .slot = kSlotOutputControlEnabled};
constexpr PropertyDesc kOutputControlLogic{
    .interfaceName = kExt, .getName = "get_OutputControlLogic", .putName = "put_OutputControlLogic",
    .writeFormat = ":OUTP:EXT:LOG %{VelmoraQdxExternalLogicEnum}s",
    .queryCommand = ":OUTP:EXT:LOG?", .readFormat = "%{VelmoraQdxExternalLogicEnum}s",
    .key = &keys::OutputControlLogic, .cache = CacheKind::SimulationOnly,
    .slot = kSlotOutputControlLogic};
// "Alanog" is the interface's own spelling and stays so.
constexpr PropertyDesc kAlanogControlRange{
    .interfaceName = kExt, .getName = "get_AlanogControlRange", .putName = "put_AlanogControlRange",
    .writeFormat = ":VOLT:EXT:RANG %{VelmoraQdxExternalRangeEnum}s",
    .queryCommand = ":VOLT:EXT:RANG?", .readFormat = "%{VelmoraQdxExternalRangeEnum}s",
    .key = &keys::AlanogControlRange, .cache = CacheKind::SimulationOnly,
    .slot = kSlotAlanogControlRange};
// The Boolean keywords of these two are "VOLT" (an external voltage controls) and "NONE".
constexpr PropertyDesc kCCControlEnabled{
    .interfaceName = kExt, .getName = "get_CCControlEnabled", .putName = "put_CCControlEnabled",
    .writeFormat = ":CURR:EXT:SOUR %{VARIANT_BOOL}s", .queryCommand = ":CURR:EXT:SOUR?",
    .readFormat = "%{VARIANT_BOOL}s", .key = &keys::CCControlEnabled,
    .cache = CacheKind::SimulationOnly, .slot = kSlotCCControlEnabled};
constexpr PropertyDesc kCVControlEnabled{
    .interfaceName = kExt, .getName = "get_CVControlEnabled", .putName = "put_CVControlEnabled",
    .writeFormat = ":VOLT:EXT:SOUR %{VARIANT_BOOL}s", .queryCommand = ":VOLT:EXT:SOUR?",
    .readFormat = "%{VARIANT_BOOL}s", .key = &keys::CVControlEnabled,
    .cache = CacheKind::SimulationOnly, .slot = kSlotCVControlEnabled};

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
