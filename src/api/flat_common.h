// Shared steps of the veqdx_ functions: finding the session behind a handle, recording a
// failure where veqdx_GetError will find it, converting object-layer results.
#pragma once
#include <memory>
#include <string>

#include "api/session_table.h"
#include "core/hresult.h"
#include "veqdx.h"

namespace veqdx::api {

constexpr const char* kInvalidSessionText = "The session handle is not valid.";

// Records `status` with `description` on `entry`, or for the calling thread when there is no
// entry, and returns `status`.
ViStatus RecordFailure(SessionEntry* entry, ViStatus status, std::string description);

// "Parameter <name> is VI_NULL.": the description of a null output argument.
std::string NullParameterText(const char* parameter);

// The entry behind `vi`; for an unknown handle records VEQDX_ERROR_INVALID_SESSION_HANDLE for
// the calling thread and returns null.
std::shared_ptr<SessionEntry> FindSessionOrRecord(ViSession vi);

// One call on a session: finds it and holds its lock (so that a veqdx_LockSession of another
// thread keeps the call waiting) until the call ends.
class SessionCall {
 public:
  explicit SessionCall(ViSession vi);
  ~SessionCall();
  SessionCall(const SessionCall&) = delete;
  SessionCall& operator=(const SessionCall&) = delete;

  // VI_SUCCESS when the session was found and locked; otherwise the failure, already recorded.
  ViStatus status() const { return status_; }
  SessionEntry& entry() { return *entry_; }

  // Records a failure of this call on the session and returns it.
  ViStatus Fail(ViStatus status, std::string description);
  // Converts an object-layer result; a status other than VI_SUCCESS is recorded with the
  // description of the object layer's error record.
  ViStatus Finish(HRESULT hr);

 private:
  std::shared_ptr<SessionEntry> entry_;
  ViStatus status_ = VI_SUCCESS;
  bool locked_ = false;
};

}  // namespace veqdx::api
