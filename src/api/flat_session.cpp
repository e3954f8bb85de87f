// veqdx_init, veqdx_InitWithOptions, veqdx_close.
#include <memory>
#include <new>

#include "api/flat_common.h"
#include "api/initial_settings.h"
#include "api/status_map.h"
#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "veqdx.h"
#include "dcpwr/output_factory.h"

using namespace veqdx;
using namespace veqdx::api;

extern "C" VEQDX_EXPORT ViStatus veqdx_InitWithOptions(ViConstString ResourceName,
                                                       ViBoolean IdQuery, ViBoolean Reset,
                                                       ViConstString OptionsString,
                                                       ViSession* Vi) {
  // Nowhere to put a session: nothing is created, and the failure is the thread's to read.
  if (Vi == nullptr) {
    const HRESULT hr = CErrorReporter().ReportNullPointer("InitWithOptions", "Vi");
    return RecordFailure(nullptr, ToViStatus(hr), ThreadErrorRecord().description);
  }
  *Vi = VI_NULL;

  std::shared_ptr<CVelmoraQdx> driver;
  try {
    driver = std::make_shared<CVelmoraQdx>(dcpwr::CreateOutput);
    InstallInitialSettings(*driver);
  } catch (const std::bad_alloc&) {
    return RecordFailure(nullptr, VEQDX_ERROR_OUT_OF_MEMORY,
                         "VelmoraQdx: Could not allocate necessary memory.");
  }
  const HRESULT hr = driver->Initialize(ResourceName, ToVariantBool(IdQuery),
                                        ToVariantBool(Reset),
                                        OptionsString == nullptr ? "" : OptionsString);
  const ViStatus status = ToViStatus(hr);
  if (Failed(hr)) {
    // No session: the failure is the calling thread's.
    return RecordFailure(nullptr, status, ThreadErrorRecord().description);
  }
  const std::string warning = status != VI_SUCCESS ? ThreadErrorRecord().description : "";

  const ViSession handle = Sessions().Add(driver);
  if (handle == VI_NULL) {
    driver->Close();
    return RecordFailure(nullptr, VEQDX_ERROR_OUT_OF_MEMORY, "No session handle is left.");
  }
  if (status != VI_SUCCESS) Sessions().Find(handle)->RecordError(status, warning);
  *Vi = handle;
  return status;
}

extern "C" VEQDX_EXPORT ViStatus veqdx_init(ViConstString ResourceName, ViBoolean IdQuery,
                                            ViBoolean Reset, ViSession* Vi) {
  return veqdx_InitWithOptions(ResourceName, IdQuery, Reset, "", Vi);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_close(ViSession Vi) {
  ViStatus status = VI_SUCCESS;
  std::string description;
  {
    CSessionCall call(Vi);
    if (!call.ok()) return call.status();
    const HRESULT hr = call.driver().Close();
    status = ToViStatus(hr);
    if (status != VI_SUCCESS) description = ThreadErrorRecord().description;
    // Calls that wait for the session's lock find the handle gone once they get it; the
    // closing thread's own veqdx_LockSession levels go with the session.
    Sessions().Remove(Vi);
    call.entry().lock().ReleaseAll();
  }
  // The session no longer exists, so a failure of Close is the calling thread's to read.
  if (status != VI_SUCCESS) RecordThreadError(status, std::move(description));
  return status;
}
