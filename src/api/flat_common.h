// Shared steps of the veqdx_ functions: finding the session behind a handle, recording a
// failure where veqdx_GetError will find it, converting object-layer results, resolving
// output selectors and copying strings out under the IVI-C buffer rules.
#pragma once
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "api/session_table.h"
#include "base/hresult.h"
#include "core/velmoraqdx.h"
#include "veqdx.h"

namespace veqdx::dcpwr {
class CVelmoraQdxOutput;
}

namespace veqdx::api {

constexpr const char* kInvalidSessionText = "The session handle is not valid.";

// Records `status` with `description` on `entry`, or for the calling thread when there is no
// entry, and returns `status`.
ViStatus RecordFailure(CSessionEntry* entry, ViStatus status, std::string description);

// "Parameter <name> is VI_NULL.": the description of a null output argument.
std::string NullParameterText(const char* parameter);

// The entry behind `vi`; for an unknown handle records VEQDX_ERROR_INVALID_SESSION_HANDLE for
// the calling thread and returns null.
std::shared_ptr<CSessionEntry> FindSessionOrRecord(ViSession vi);

// ViBoolean <-> the object layer's VARIANT_BOOL: any non-zero ViBoolean is true (-1), and
// true comes back as VI_TRUE (1).
inline VARIANT_BOOL ToVariantBool(ViBoolean value) noexcept {
  return value != VI_FALSE ? VARIANT_TRUE : VARIANT_FALSE;
}
inline ViBoolean ToViBoolean(VARIANT_BOOL value) noexcept {
  return value != VARIANT_FALSE ? VI_TRUE : VI_FALSE;
}

// One call on a session: finds it and holds its lock (so that a veqdx_LockSession of another
// thread keeps the call waiting) until the call ends.
class CSessionCall {
 public:
  explicit CSessionCall(ViSession vi);
  ~CSessionCall();
  CSessionCall(const CSessionCall&) = delete;
  CSessionCall& operator=(const CSessionCall&) = delete;

  // VI_SUCCESS when the session was found and locked; otherwise the failure, already recorded.
  ViStatus status() const { return status_; }
  bool ok() const { return status_ == VI_SUCCESS; }
  CSessionEntry& entry() { return *entry_; }
  // The driver object of the session (only when ok()).
  CVelmoraQdx& driver() { return *entry_->Driver(); }

  // Records a failure of this call on the session and returns it.
  ViStatus Fail(ViStatus status, std::string description);
  // "Parameter <name> is VI_NULL." with VEQDX_ERROR_NULL_POINTER.
  ViStatus FailNull(const char* parameter);
  // Converts an object-layer result; a status other than VI_SUCCESS is recorded with the
  // description of the object layer's error record.
  ViStatus Finish(HRESULT hr);

 private:
  std::shared_ptr<CSessionEntry> entry_;
  ViStatus status_ = VI_SUCCESS;
  bool locked_ = false;
};

using OutputList = std::vector<dcpwr::CVelmoraQdxOutput*>;

// The outputs that `selector` names, in selector order. An empty or VI_NULL selector names the
// only output of a single-output session. Failures (badly formed, unknown name, name required)
// are recorded on the call and returned.
ViStatus ResolveOutputs(CSessionCall& call, ViConstString selector, OutputList& outputs);
// The output an empty selector names: the only one of a single-output session.
ViStatus ResolveSoleOutput(CSessionCall& call, dcpwr::CVelmoraQdxOutput*& output);

// Applies `operation` (HRESULT(CVelmoraQdxOutput&)) to every output that `selector` names, in
// order, stopping at the first failure; the first warning is kept when nothing fails.
template <class Operation>
ViStatus ForEachOutput(CSessionCall& call, ViConstString selector, Operation&& operation) {
  // The common case, one output and no selector, needs no list.
  if (selector == nullptr || *selector == '\0') {
    dcpwr::CVelmoraQdxOutput* only = nullptr;
    if (const ViStatus s = ResolveSoleOutput(call, only); s != VI_SUCCESS) return s;
    return call.Finish(operation(*only));
  }
  OutputList outputs;
  if (const ViStatus s = ResolveOutputs(call, selector, outputs); s != VI_SUCCESS) return s;
  HRESULT result = S_OK;
  for (dcpwr::CVelmoraQdxOutput* output : outputs) {
    const HRESULT hr = operation(*output);
    if (Failed(hr)) return call.Finish(hr);
    if (result == S_OK) result = hr;
  }
  return call.Finish(result);
}

// A per-output function in one line: finds the session, then ForEachOutput.
template <class Operation>
ViStatus RunPerOutput(ViSession vi, ViConstString selector, Operation&& operation) {
  CSessionCall call(vi);
  if (!call.ok()) return call.status();
  return ForEachOutput(call, selector, std::forward<Operation>(operation));
}

// A driver-wide function in one line: finds the session, runs `operation(driver)`.
template <class Operation>
ViStatus RunOnDriver(ViSession vi, Operation&& operation) {
  CSessionCall call(vi);
  if (!call.ok()) return call.status();
  return call.Finish(operation(call.driver()));
}

// Variable-size string output of a call (buffer rules of string_out.h). A negative size or a
// null buffer with a positive size is recorded on the call, naming `function` and the
// parameters; a positive "size needed" result is returned as it is.
ViStatus CopyOut(CSessionCall& call, std::string_view text, ViInt32 bufferSize, ViChar* buffer,
                 const char* function, const char* sizeParameter, const char* bufferParameter,
                 ViStatus callStatus = VI_SUCCESS);

}  // namespace veqdx::api
