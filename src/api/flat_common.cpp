#include "api/flat_common.h"

#include "api/status_map.h"
#include "core/error_reporter.h"

namespace veqdx::api {

ViStatus RecordFailure(SessionEntry* entry, ViStatus status, std::string description) {
  if (entry != nullptr) {
    entry->RecordError(status, std::move(description));
  } else {
    RecordThreadError(status, std::move(description));
  }
  return status;
}

std::string NullParameterText(const char* parameter) {
  return std::string("Parameter ") + parameter + " is VI_NULL.";
}

std::shared_ptr<SessionEntry> FindSessionOrRecord(ViSession vi) {
  auto entry = vi == VI_NULL ? nullptr : Sessions().Find(vi);
  if (!entry) RecordThreadError(VEQDX_ERROR_INVALID_SESSION_HANDLE, kInvalidSessionText);
  return entry;
}

SessionCall::SessionCall(ViSession vi) : entry_(FindSessionOrRecord(vi)) {
  if (!entry_) {
    status_ = VEQDX_ERROR_INVALID_SESSION_HANDLE;
    return;
  }
  locked_ = entry_->lock().LockFor(SessionLockTimeout());
  if (!locked_) {
    status_ = Fail(VEQDX_ERROR_OPERATION_PENDING, "The session is locked by another thread.");
  }
}

SessionCall::~SessionCall() {
  if (locked_) entry_->lock().Unlock();
}

ViStatus SessionCall::Fail(ViStatus status, std::string description) {
  return RecordFailure(entry_.get(), status, std::move(description));
}

ViStatus SessionCall::Finish(HRESULT hr) {
  const ViStatus status = ToViStatus(hr);
  if (status != VI_SUCCESS) Fail(status, ThreadErrorRecord().description);
  return status;
}

}  // namespace veqdx::api
