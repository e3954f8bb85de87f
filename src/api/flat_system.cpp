// Global settings, direct I/O, setting memories, and the status system's Clear and Preset.
#include <cstddef>
#include <cstring>
#include <string>

#include "api/flat_common.h"
#include "dcpwr/global.h"
#include "dcpwr/status.h"
#include "dcpwr/system.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureGloabOutputEnabled(ViSession Vi,
                                                                   ViBoolean Enabled) {
  return RunOnDriver(
      Vi, [&](CVelmoraQdx& d) { return dcpwr::CGlobal(d).put_Enabled(ToVariantBool(Enabled)); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureGlobalVoltageLevel(ViSession Vi,
                                                                   ViReal64 VoltageLevel) {
  return RunOnDriver(
      Vi, [&](CVelmoraQdx& d) { return dcpwr::CGlobal(d).put_VoltageLevel(VoltageLevel); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureGlobalCurrentLimit(ViSession Vi,
                                                                   ViReal64 CurrentLimit) {
  return RunOnDriver(
      Vi, [&](CVelmoraQdx& d) { return dcpwr::CGlobal(d).put_CurrentLimit(CurrentLimit); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SystemWrite(ViSession Vi, ViConstString Command) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (Command == nullptr) return call.FailNull("Command");
  return call.Finish(dcpwr::CSystem(call.driver()).SystemWrite(Command));
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SystemRead(ViSession Vi, ViInt32 BufferSize,
                                                  ViChar Buffer[], ViInt32* ActualCount) {
  if (ActualCount != nullptr) *ActualCount = 0;
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (ActualCount == nullptr) return call.FailNull("ActualCount");
  // Room for at least the terminating NUL.
  if (BufferSize < 1) {
    return call.Finish(
        call.driver().Reporter().ReportInvalidValue("SystemRead", "BufferSize", BufferSize));
  }
  if (Buffer == nullptr) return call.FailNull("Buffer");
  std::string response;
  const HRESULT hr = dcpwr::CSystem(call.driver())
                         .SystemRead(static_cast<std::size_t>(BufferSize) - 1, response);
  // On failure the response is empty: the buffer holds an empty string.
  std::memcpy(Buffer, response.data(), response.size());
  Buffer[response.size()] = '\0';
  *ActualCount = static_cast<ViInt32>(response.size());
  return call.Finish(hr);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SaveState(ViSession Vi, ViInt32 Memory) {
  return RunOnDriver(Vi, [&](CVelmoraQdx& d) { return dcpwr::CSystem(d).SaveState(Memory); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_RecallState(ViSession Vi, ViInt32 Memory) {
  return RunOnDriver(Vi, [&](CVelmoraQdx& d) { return dcpwr::CSystem(d).RecallState(Memory); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_Clear(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return dcpwr::CStatus(d).Clear(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_Preset(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return dcpwr::CStatus(d).Preset(); });
}
