// The utility operations: reset, reset with defaults, disable, self test, error query and the
// refused lock operations.
#include "core/driver.h"
#include "io/formatted_io.h"

namespace veqdx {
namespace {

constexpr const char* kIIviDriverUtility = "IIviDriverUtility";

// Restores the session timeout when the operation that raised it ends, on every path.
class CTimeoutScope {
 public:
  CTimeoutScope(io::CIoSession& io, int milliseconds) : io_(io), saved_(io.GetTimeout()) {
    io_.SetTimeout(milliseconds);
  }
  ~CTimeoutScope() { io_.SetTimeout(saved_); }
  CTimeoutScope(const CTimeoutScope&) = delete;
  CTimeoutScope& operator=(const CTimeoutScope&) = delete;

 private:
  io::CIoSession& io_;
  int saved_;
};

// Error-queue text as the instrument quotes it: blanks, then the quotes, then blanks again.
std::string CleanErrorMessage(std::string_view text) {
  text = TrimView(text);
  while (!text.empty() && text.front() == '"') text.remove_prefix(1);
  while (!text.empty() && text.back() == '"') text.remove_suffix(1);
  return Trim(text);
}

}  // namespace

HRESULT CDriver::SendResetQuery(int timeoutMs) {
  auto io = LockIo();
  // A reset is how users recover a session whose replies fell out of step: late replies are
  // settled first, so "*OPC?" is answered by its own reply.
  HRESULT hr = io_.Resynchronize();
  if (Failed(hr)) return hr;
  CTimeoutScope timeout(io_, UtilityTimeoutMs(timeoutMs));
  std::int32_t complete = 0;
  hr = io_.Formatted().QueryString("*RST;*OPC?", "%d", &complete);
  if (Succeeded(hr)) OnInstrumentReset();
  return hr;
}

HRESULT CDriver::Reset() {
  return Call(kIIviDriverUtility, "Reset", [&] { return ResetBody(); });
}

HRESULT CDriver::ResetBody() {
  if (!Initialized()) return reporter_.ReportNotInitialized();
  if (!constants_.supportsReset) return reporter_.ReportResetNotSupported();
  if (!Simulate()) {
    const HRESULT hr = SendResetQuery(constants_.resetTimeoutMs);
    if (Failed(hr)) return hr;
  }
  // Hooks run without the I/O lock: they may take their node's lock.
  ForEachChild([](attr::CNode& child) { child.OnReset(); });
  return S_OK;
}

HRESULT CDriver::ResetWithDefaults() {
  return Call(kIIviDriverUtility, "ResetWithDefaults",
              [&] { return ResetToDefaultsBody(); });
}

HRESULT CDriver::Disable() {
  return Call(kIIviDriverUtility, "Disable", [&] { return ResetToDefaultsBody(); });
}

HRESULT CDriver::ResetToDefaultsBody() {
  if (!Initialized()) return reporter_.ReportNotInitialized();
  if (!constants_.supportsReset) return reporter_.ReportResetNotSupported();
  if (!Simulate()) {
    const HRESULT hr = SendResetQuery(constants_.resetWithDefaultsTimeoutMs);
    if (Failed(hr)) return hr;
  }
  InvalidateCache();
  ForEachChild([](attr::CNode& child) { child.OnResetWithDefaults(); });
  return S_OK;
}

HRESULT CDriver::SelfTest(std::int32_t* testResult, std::string* testMessage) {
  return Call(kIIviDriverUtility, "SelfTest", [&] {
    TraceOut("TestResult", testResult);
    TraceOut("TestMessage", testMessage);
    if (testResult == nullptr) return ReportNull("SelfTest", "TestResult");
    if (testMessage == nullptr) return ReportNull("SelfTest", "TestMessage");
    if (!Initialized()) return reporter_.ReportNotInitialized();
    if (!constants_.supportsSelfTest) return reporter_.ReportSelfTestNotSupported();
    std::int32_t result = 0;
    if (!Simulate()) {
      auto io = LockIo();
      CTimeoutScope timeout(io_, UtilityTimeoutMs(constants_.selfTestTimeoutMs));
      const HRESULT hr = io_.Formatted().QueryString("*TST?", "%d", &result);
      if (Failed(hr)) return hr;
    }
    *testResult = result;
    *testMessage = result != 0 ? "Selftest failed" : "Selftest passed";
    return S_OK;
  });
}

HRESULT CDriver::ErrorQuery(std::int32_t* errorCode, std::string* errorMessage) {
  return Call(kIIviDriverUtility, "ErrorQuery", [&] {
    TraceOut("ErrorCode", errorCode);
    TraceOut("ErrorMessage", errorMessage);
    if (errorCode == nullptr) return ReportNull("ErrorQuery", "ErrorCode");
    if (errorMessage == nullptr) return ReportNull("ErrorQuery", "ErrorMessage");
    if (!Initialized()) return reporter_.ReportNotInitialized();
    if (!constants_.supportsErrorQuery) return reporter_.ReportErrorQueryNotSupported();
    if (Simulate()) {
      *errorCode = 0;
      *errorMessage = "No error.";
      return S_OK;
    }
    // No "*ESR?" after the query: the error queue is what the caller asked for, and the
    // status check would only report the error being read. The I/O lock is held throughout,
    // so no other thread's status check is suspended with it.
    auto io = LockIo();
    CStatusCheckSuspension noStatusCheck(*this);
    io::CFormattedIo& fio = io_.Formatted();
    HRESULT hr = fio.WriteString(":SYST:ERR?");
    if (Failed(hr)) return hr;
    std::int32_t code = 0;
    io::CountedString text;
    hr = fio.Scanf("%d,%$Ct", &code, &text);
    if (Failed(hr)) return reporter_.ReportUnexpectedResponse();
    *errorCode = code;
    *errorMessage = CleanErrorMessage(text.View());
    return hr;
  });
}

HRESULT CDriver::LockObject() {
  return Call(kIIviDriverUtility, "LockObject",
              [&] { return reporter_.ReportMethodNotSupported("LockObject"); });
}

HRESULT CDriver::UnlockObject() {
  return Call(kIIviDriverUtility, "UnlockObject",
              [&] { return reporter_.ReportMethodNotSupported("UnlockObject"); });
}

}  // namespace veqdx
