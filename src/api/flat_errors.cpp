// veqdx_GetError, veqdx_ClearError, veqdx_error_message, veqdx_error_query.
#include <cstdint>
#include <string>

#include "api/flat_common.h"
#include "api/status_map.h"
#include "api/string_out.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;

// Reading and clearing do not record their own argument errors: that would overwrite the very
// record the caller is after. An unknown handle is recorded for the thread like everywhere.
extern "C" VEQDX_EXPORT ViStatus veqdx_GetError(ViSession Vi, ViStatus* ErrorCode,
                                                ViInt32 ErrorDescriptionBufferSize,
                                                ViChar ErrorDescription[]) {
  ErrorInfo error;
  if (Vi == VI_NULL) {
    error = ThreadError();
  } else {
    auto entry = FindSessionOrRecord(Vi);
    if (!entry) return VEQDX_ERROR_INVALID_SESSION_HANDLE;
    error = entry->Error();
  }
  if (ErrorDescriptionBufferSize < 0) return VEQDX_ERROR_INVALID_VALUE;
  if (ErrorDescriptionBufferSize > 0 && (ErrorCode == nullptr || ErrorDescription == nullptr)) {
    return VEQDX_ERROR_NULL_POINTER;
  }
  if (ErrorCode != nullptr) *ErrorCode = error.code;
  return CopyOutString(error.description, ErrorDescriptionBufferSize, ErrorDescription);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ClearError(ViSession Vi) {
  if (Vi == VI_NULL) {
    ClearThreadError();
    return VI_SUCCESS;
  }
  auto entry = FindSessionOrRecord(Vi);
  if (!entry) return VEQDX_ERROR_INVALID_SESSION_HANDLE;
  entry->ClearError();
  return VI_SUCCESS;
}

// Only looks the status up: the handle is not consulted, so VI_NULL, a closed session or any
// other value is accepted (an application can still turn a failed veqdx_init into text).
extern "C" VEQDX_EXPORT ViStatus veqdx_error_message(ViSession Vi, ViStatus ErrorCode,
                                                     ViChar ErrorMessage[256]) {
  if (ErrorMessage == nullptr) {
    std::shared_ptr<CSessionEntry> entry = Vi == VI_NULL ? nullptr : Sessions().Find(Vi);
    return RecordFailure(entry.get(), VEQDX_ERROR_NULL_POINTER,
                         NullParameterText("ErrorMessage"));
  }
  const StatusMessage message = DescribeStatus(ErrorCode);
  CopyFixedString(message.text, ErrorMessage);
  return message.status;
}

extern "C" VEQDX_EXPORT ViStatus veqdx_error_query(ViSession Vi, ViInt32* ErrorCode,
                                                   ViChar ErrorMessage[256]) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (ErrorCode == nullptr) return call.FailNull("ErrorCode");
  if (ErrorMessage == nullptr) return call.FailNull("ErrorMessage");
  std::int32_t code = 0;
  std::string text;
  const HRESULT hr = call.driver().ErrorQuery(&code, &text);
  *ErrorCode = code;
  CopyFixedString(text, ErrorMessage);
  return call.Finish(hr);
}
