// IVelmoraQdxOutputExternalControl: the analog (external) control settings of an output.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {

using namespace props;

namespace {

constexpr VelmoraQdxExternalLogicEnum kLogics[] = {VelmoraQdxExternalLogicLow,
                                                   VelmoraQdxExternalLogicHigh};
constexpr VelmoraQdxExternalRangeEnum kRanges[] = {VelmoraQdxExternalRangeLow,
                                                   VelmoraQdxExternalRangeHigh};

}  // namespace

HRESULT CVelmoraQdxOutput::get_OutputControlEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kOutputControlEnabled, val);
}
HRESULT CVelmoraQdxOutput::put_OutputControlEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kOutputControlEnabled, val);
}

HRESULT CVelmoraQdxOutput::get_OutputControlLogic(VelmoraQdxExternalLogicEnum* val) {
  return GetProperty(Target(), kOutputControlLogic, val);
}
HRESULT CVelmoraQdxOutput::put_OutputControlLogic(VelmoraQdxExternalLogicEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kOutputControlLogic, val, [&](VelmoraQdxExternalLogicEnum v) {
    return CheckEnumIn(t, kOutputControlLogic.putName, v, kLogics);
  });
}

HRESULT CVelmoraQdxOutput::get_AlanogControlRange(VelmoraQdxExternalRangeEnum* val) {
  return GetProperty(Target(), kAlanogControlRange, val);
}
HRESULT CVelmoraQdxOutput::put_AlanogControlRange(VelmoraQdxExternalRangeEnum val) {
  const AccessTarget t = Target();
  return PutProperty(t, kAlanogControlRange, val, [&](VelmoraQdxExternalRangeEnum v) {
    return CheckEnumIn(t, kAlanogControlRange.putName, v, kRanges);
  });
}

HRESULT CVelmoraQdxOutput::get_CCControlEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kCCControlEnabled, val);
}
HRESULT CVelmoraQdxOutput::put_CCControlEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kCCControlEnabled, val);
}

HRESULT CVelmoraQdxOutput::get_CVControlEnabled(VARIANT_BOOL* val) {
  return GetProperty(Target(), kCVControlEnabled, val);
}
HRESULT CVelmoraQdxOutput::put_CVControlEnabled(VARIANT_BOOL val) {
  return PutProperty(Target(), kCVControlEnabled, val);
}

}  // namespace veqdx::dcpwr
