// Instrument-specific per-output settings: protection, power-on state, configuration menu and
// external (analog) control.
#include "api/flat_common.h"
#include "dcpwr/output.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;
using dcpwr::CVelmoraQdxOutput;

namespace {

// A setter of an enumeration property with the C caller's plain integer; values outside the
// enumeration go through, so the property's own range check or converter reports them.
template <class Enum>
ViStatus SetEnum(ViSession vi, ViConstString selector, ViInt32 value,
                 HRESULT (CVelmoraQdxOutput::*setter)(Enum)) {
  return RunPerOutput(vi, selector,
                      [&](CVelmoraQdxOutput& o) { return (o.*setter)(static_cast<Enum>(value)); });
}

ViStatus SetBool(ViSession vi, ViConstString selector, ViBoolean value,
                 HRESULT (CVelmoraQdxOutput::*setter)(VARIANT_BOOL)) {
  return RunPerOutput(vi, selector,
                      [&](CVelmoraQdxOutput& o) { return (o.*setter)(ToVariantBool(value)); });
}

ViStatus SetReal(ViSession vi, ViConstString selector, ViReal64 value,
                 HRESULT (CVelmoraQdxOutput::*setter)(double)) {
  return RunPerOutput(vi, selector, [&](CVelmoraQdxOutput& o) { return (o.*setter)(value); });
}

}  // namespace

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureUVL(ViSession Vi, ViConstString ChannelName,
                                                    ViReal64 UVL) {
  return SetReal(Vi, ChannelName, UVL, &CVelmoraQdxOutput::put_UVL);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureOCPLimit(ViSession Vi, ViConstString ChannelName,
                                                         ViReal64 OCPLimit) {
  return SetReal(Vi, ChannelName, OCPLimit, &CVelmoraQdxOutput::put_OCPLimit);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigurePONState(ViSession Vi, ViConstString ChannelName,
                                                         ViInt32 PONState) {
  return SetEnum(Vi, ChannelName, PONState, &CVelmoraQdxOutput::put_PONState);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureProtectionRecovery(ViSession Vi,
                                                                   ViConstString ChannelName,
                                                                   ViInt32 Recovery) {
  return SetEnum(Vi, ChannelName, Recovery, &CVelmoraQdxOutput::put_ProtectionRecovery);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureOperationPriority(ViSession Vi,
                                                                  ViConstString ChannelName,
                                                                  ViInt32 Priority) {
  return SetEnum(Vi, ChannelName, Priority, &CVelmoraQdxOutput::put_OperationPriority);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureBleederEnabled(ViSession Vi,
                                                               ViConstString ChannelName,
                                                               ViBoolean Enabled) {
  return SetBool(Vi, ChannelName, Enabled, &CVelmoraQdxOutput::put_BleederEnabled);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureExternalMonitorRange(ViSession Vi,
                                                                     ViConstString ChannelName,
                                                                     ViInt32 Range) {
  return SetEnum(Vi, ChannelName, Range, &CVelmoraQdxOutput::put_ExternalMonitorRange);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureOutputControlEnabled(ViSession Vi,
                                                                     ViConstString ChannelName,
                                                                     ViBoolean Enabled) {
  return SetBool(Vi, ChannelName, Enabled, &CVelmoraQdxOutput::put_OutputControlEnabled);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureOutputControlLogic(ViSession Vi,
                                                                   ViConstString ChannelName,
                                                                   ViInt32 Logic) {
  return SetEnum(Vi, ChannelName, Logic, &CVelmoraQdxOutput::put_OutputControlLogic);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureAnalogControlRange(ViSession Vi,
                                                                   ViConstString ChannelName,
                                                                   ViInt32 Range) {
  return SetEnum(Vi, ChannelName, Range, &CVelmoraQdxOutput::put_AlanogControlRange);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureCCControlEnabled(ViSession Vi,
                                                                 ViConstString ChannelName,
                                                                 ViBoolean Enabled) {
  return SetBool(Vi, ChannelName, Enabled, &CVelmoraQdxOutput::put_CCControlEnabled);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureCVControlEnabled(ViSession Vi,
                                                                 ViConstString ChannelName,
                                                                 ViBoolean Enabled) {
  return SetBool(Vi, ChannelName, Enabled, &CVelmoraQdxOutput::put_CVControlEnabled);
}
