// Per-output functions of the DC power class, and the output names by index.
#include <string>
#include <vector>

#include "api/flat_common.h"
#include "dcpwr/output.h"
#include "dcpwr/output_ivi.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;
using dcpwr::CVelmoraQdxOutput;

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureOutputEnabled(ViSession Vi,
                                                              ViConstString ChannelName,
                                                              ViBoolean Enabled) {
  return RunPerOutput(Vi, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.put_Enabled(ToVariantBool(Enabled));
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureVoltageLevel(ViSession Vi,
                                                             ViConstString ChannelName,
                                                             ViReal64 Level) {
  return RunPerOutput(Vi, ChannelName,
                      [&](CVelmoraQdxOutput& o) { return o.put_VoltageLevel(Level); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureCurrentLimit(ViSession Vi,
                                                             ViConstString ChannelName,
                                                             ViInt32 Behavior, ViReal64 Limit) {
  return RunPerOutput(Vi, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.ConfigureCurrentLimit(static_cast<veqdx::VelmoraQdxCurrentLimitBehaviorEnum>(Behavior),
                                   Limit);
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureOVP(ViSession Vi, ViConstString ChannelName,
                                                    ViBoolean Enabled, ViReal64 Limit) {
  return RunPerOutput(Vi, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.ConfigureOVP(ToVariantBool(Enabled), Limit);
  });
}

// One range per output on this family: the class-compliant member checks the range against
// the output's maximum and sends nothing.
extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureOutputRange(ViSession Vi,
                                                            ViConstString ChannelName,
                                                            ViInt32 RangeType, ViReal64 Range) {
  return RunPerOutput(Vi, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.IviDCPwr().ConfigureRange(static_cast<IviDCPwrRangeTypeEnum>(RangeType), Range);
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_QueryMaxCurrentLimit(ViSession Vi,
                                                            ViConstString ChannelName,
                                                            ViReal64 VoltageLevel,
                                                            ViReal64* MaxCurrentLimit) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (MaxCurrentLimit == nullptr) return call.FailNull("MaxCurrentLimit");
  return ForEachOutput(call, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.QueryCurrentLimitMax(VoltageLevel, MaxCurrentLimit);
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_QueryMaxVoltageLevel(ViSession Vi,
                                                            ViConstString ChannelName,
                                                            ViReal64 CurrentLimit,
                                                            ViReal64* MaxVoltageLevel) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (MaxVoltageLevel == nullptr) return call.FailNull("MaxVoltageLevel");
  return ForEachOutput(call, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.QueryVoltageLevelMax(CurrentLimit, MaxVoltageLevel);
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_QueryOutputState(ViSession Vi, ViConstString ChannelName,
                                                        ViInt32 OutputState,
                                                        ViBoolean* InState) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (InState == nullptr) return call.FailNull("InState");
  *InState = VI_FALSE;
  return ForEachOutput(call, ChannelName, [&](CVelmoraQdxOutput& o) {
    VARIANT_BOOL state = VARIANT_FALSE;
    const HRESULT hr = o.QueryState(static_cast<veqdx::VelmoraQdxOutputStateEnum>(OutputState), &state);
    *InState = ToViBoolean(state);
    return hr;
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ResetOutputProtection(ViSession Vi,
                                                             ViConstString ChannelName) {
  return RunPerOutput(Vi, ChannelName,
                      [](CVelmoraQdxOutput& o) { return o.ResetOutputProtection(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_Measure(ViSession Vi, ViConstString ChannelName,
                                               ViInt32 MeasurementType, ViReal64* Measurement) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (Measurement == nullptr) return call.FailNull("Measurement");
  return ForEachOutput(call, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.Measure(static_cast<veqdx::VelmoraQdxMeasurementTypeEnum>(MeasurementType), Measurement);
  });
}

namespace {

// One-based, in discovery order.
ViStatus OutputName(ViSession vi, ViInt32 index, ViInt32 bufferSize, ViChar* buffer,
                    const char* function) {
  CSessionCall call(vi);
  if (!call.ok()) return call.status();
  const std::vector<std::string> names = call.driver().OutputNames();
  if (index < 1 || static_cast<std::size_t>(index) > names.size()) {
    return call.Finish(call.driver().Reporter().ReportInvalidValue(function, "Index", index));
  }
  return CopyOut(call, names[static_cast<std::size_t>(index) - 1], bufferSize, buffer, function,
                 "NameBufferSize", "Name");
}

}  // namespace

extern "C" VEQDX_EXPORT ViStatus veqdx_GetOutputName(ViSession Vi, ViInt32 Index,
                                                     ViInt32 NameBufferSize, ViChar Name[]) {
  return OutputName(Vi, Index, NameBufferSize, Name, "GetOutputName");
}

extern "C" VEQDX_EXPORT ViStatus veqdx_GetChannelName(ViSession Vi, ViInt32 Index,
                                                      ViInt32 NameBufferSize, ViChar Name[]) {
  return OutputName(Vi, Index, NameBufferSize, Name, "GetChannelName");
}
