#include "api/flat_common.h"

#include "api/selector.h"
#include "api/status_map.h"
#include "api/string_out.h"
#include "base/error_reporter.h"
#include "dcpwr/output.h"

namespace veqdx::api {

ViStatus RecordFailure(CSessionEntry* entry, ViStatus status, std::string description) {
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

std::shared_ptr<CSessionEntry> FindSessionOrRecord(ViSession vi) {
  auto entry = vi == VI_NULL ? nullptr : Sessions().Find(vi);
  if (!entry) RecordThreadError(VEQDX_ERROR_INVALID_SESSION_HANDLE, kInvalidSessionText);
  return entry;
}

CSessionCall::CSessionCall(ViSession vi) : entry_(FindSessionOrRecord(vi)) {
  if (!entry_) {
    status_ = VEQDX_ERROR_INVALID_SESSION_HANDLE;
    return;
  }
  locked_ = entry_->lock().LockFor(SessionLockTimeout());
  if (!locked_) {
    status_ = Fail(VEQDX_ERROR_OPERATION_PENDING, "The session is locked by another thread.");
    return;
  }
  // The session may have been closed while this call waited for its lock: the handle is
  // stale then, exactly as if the call had come a moment later.
  if (Sessions().Find(vi) != entry_) {
    entry_->lock().Unlock();
    locked_ = false;
    entry_.reset();
    RecordThreadError(VEQDX_ERROR_INVALID_SESSION_HANDLE, kInvalidSessionText);
    status_ = VEQDX_ERROR_INVALID_SESSION_HANDLE;
  }
}

CSessionCall::~CSessionCall() {
  if (locked_) entry_->lock().Unlock();
}

ViStatus CSessionCall::Fail(ViStatus status, std::string description) {
  return RecordFailure(entry_.get(), status, std::move(description));
}

ViStatus CSessionCall::FailNull(const char* parameter) {
  return Fail(VEQDX_ERROR_NULL_POINTER, NullParameterText(parameter));
}

ViStatus CSessionCall::Finish(HRESULT hr) {
  const ViStatus status = ToViStatus(hr);
  if (status != VI_SUCCESS) Fail(status, ThreadErrorRecord().description);
  return status;
}

ViStatus ResolveSoleOutput(CSessionCall& call, dcpwr::CVelmoraQdxOutput*& output) {
  CVelmoraQdx& driver = call.driver();
  std::string name;
  if (!driver.OnlyOutputName(name))
    return call.Finish(driver.Reporter().ReportChannelNameRequired());
  // Every child named in the output list is an output.
  output = static_cast<dcpwr::CVelmoraQdxOutput*>(driver.FindChild(name));
  if (output == nullptr) return call.Finish(driver.Reporter().ReportNotInitialized());
  return VI_SUCCESS;
}

ViStatus ResolveOutputs(CSessionCall& call, ViConstString selector, OutputList& outputs) {
  outputs.clear();
  CVelmoraQdx& driver = call.driver();
  const SelectorResult parsed = ParseSelector(selector == nullptr ? "" : selector);
  if (!parsed.ok()) return call.Fail(SelectorStatus(parsed.error), parsed.message);

  if (parsed.names.empty()) {
    dcpwr::CVelmoraQdxOutput* only = nullptr;
    if (const ViStatus s = ResolveSoleOutput(call, only); s != VI_SUCCESS) return s;
    outputs.push_back(only);
    return VI_SUCCESS;
  }
  outputs.reserve(parsed.names.size());
  for (const std::string& name : parsed.names) {
    auto* output = dynamic_cast<dcpwr::CVelmoraQdxOutput*>(driver.FindChild(name));
    if (output == nullptr) return call.Finish(driver.Reporter().ReportUnknownChannelName(name));
    outputs.push_back(output);
  }
  return VI_SUCCESS;
}

ViStatus CopyOut(CSessionCall& call, std::string_view text, ViInt32 bufferSize, ViChar* buffer,
                 const char* function, const char* sizeParameter, const char* bufferParameter,
                 ViStatus callStatus) {
  if (bufferSize < 0) {
    return call.Finish(call.driver().Reporter().ReportInvalidValue(function, sizeParameter,
                                                                   bufferSize));
  }
  if (bufferSize > 0 && buffer == nullptr) return call.FailNull(bufferParameter);
  return CopyOutString(text, bufferSize, buffer, callStatus);
}

}  // namespace veqdx::api
