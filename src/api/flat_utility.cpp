// Utility, interchange-checking and coercion-record functions of the driver object.
#include <cstdint>
#include <string>

#include "api/flat_common.h"
#include "api/string_out.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;

extern "C" VEQDX_EXPORT ViStatus veqdx_reset(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return d.Reset(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ResetWithDefaults(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return d.ResetWithDefaults(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_Disable(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return d.Disable(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_self_test(ViSession Vi, ViInt16* TestResult,
                                                 ViChar TestMessage[256]) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (TestResult == nullptr) return call.FailNull("TestResult");
  if (TestMessage == nullptr) return call.FailNull("TestMessage");
  std::int32_t result = 0;
  std::string message;
  const HRESULT hr = call.driver().SelfTest(&result, &message);
  // The object layer's result is 32-bit; the C signature has room for 16.
  *TestResult = static_cast<ViInt16>(result);
  CopyFixedString(message, TestMessage);
  return call.Finish(hr);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_revision_query(ViSession Vi, ViChar DriverRev[256],
                                                      ViChar InstrRev[256]) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (DriverRev == nullptr) return call.FailNull("DriverRev");
  if (InstrRev == nullptr) return call.FailNull("InstrRev");
  std::string driverRevision;
  std::string instrumentRevision;
  HRESULT hr = call.driver().get_Revision(&driverRevision);
  if (Succeeded(hr)) hr = call.driver().get_InstrumentFirmwareRevision(&instrumentRevision);
  CopyFixedString(driverRevision, DriverRev);
  CopyFixedString(instrumentRevision, InstrRev);
  return call.Finish(hr);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_InvalidateAllAttributes(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return d.InvalidateAllAttributes(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ClearInterchangeWarnings(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return d.ClearInterchangeWarnings(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ResetInterchangeCheck(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return d.ResetInterchangeCheck(); });
}

namespace {

// The two queue readers: the next record as a variable-size string.
ViStatus NextRecord(ViSession vi, HRESULT (CDriver::*next)(std::string*), const char* function,
                    const char* sizeParameter, const char* bufferParameter, ViInt32 bufferSize,
                    ViChar* buffer) {
  CSessionCall call(vi);
  if (!call.ok()) return call.status();
  if (bufferSize < 0 || (bufferSize > 0 && buffer == nullptr)) {
    return CopyOut(call, {}, bufferSize, buffer, function, sizeParameter, bufferParameter);
  }
  std::string record;
  const ViStatus status = call.Finish((call.driver().*next)(&record));
  if (status < VI_SUCCESS) return status;
  return CopyOut(call, record, bufferSize, buffer, function, sizeParameter, bufferParameter,
                 status);
}

}  // namespace

extern "C" VEQDX_EXPORT ViStatus veqdx_GetNextInterchangeWarning(
    ViSession Vi, ViInt32 InterchangeWarningBufferSize, ViChar InterchangeWarning[]) {
  return NextRecord(Vi, &CDriver::GetNextInterchangeWarning, "GetNextInterchangeWarning",
                    "InterchangeWarningBufferSize", "InterchangeWarning",
                    InterchangeWarningBufferSize, InterchangeWarning);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_GetNextCoercionRecord(ViSession Vi,
                                                             ViInt32 CoercionRecordBufferSize,
                                                             ViChar CoercionRecord[]) {
  return NextRecord(Vi, &CDriver::GetNextCoercionRecord, "GetNextCoercionRecord",
                    "CoercionRecordBufferSize", "CoercionRecord", CoercionRecordBufferSize,
                    CoercionRecord);
}
