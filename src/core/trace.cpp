#include "core/trace.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

#include "base/error_reporter.h"
#include "core/trace_file.h"

namespace veqdx {
namespace trace_detail {

std::atomic<int> gActiveTraces{0};

namespace {
// The innermost open record of the calling thread and the trace it belongs to.
thread_local TraceRecord* tCurrent = nullptr;
thread_local CMethodTrace* tCurrentTrace = nullptr;
}  // namespace

TraceParameter* AddParameter(std::string_view name, const char* direction) {
  if (tCurrent == nullptr) return nullptr;
  TraceParameter& p = tCurrent->parameters.emplace_back();
  p.name.assign(name);
  p.direction = direction;
  return &p;
}

bool ArraysWanted(std::size_t& max) {
  if (tCurrentTrace == nullptr || !tCurrentTrace->TraceArrays()) return false;
  max = tCurrentTrace->ArraySizeMax();
  return true;
}

}  // namespace trace_detail

namespace {

long KernelThreadId() {
  thread_local const long id = static_cast<long>(::syscall(SYS_gettid));
  return id;
}

std::string EnvFolder() {
  const char* dir = std::getenv("VEQDX_TRACE_DIR");
  return dir != nullptr && *dir != '\0' ? dir : ".";
}

}  // namespace

std::string TraceEnumText(std::string_view enumName, std::int32_t value) {
  struct Member {
    const char* enumName;
    std::int32_t value;
    const char* name;
  };
  static constexpr Member kMembers[] = {
      {"VelmoraQdxCurrentLimitBehaviorEnum", 0, "VelmoraQdxCurrentLimitRegulate"},
      {"VelmoraQdxCurrentLimitBehaviorEnum", 1, "VelmoraQdxCurrentLimitTrip"},
      {"VelmoraQdxMeasurementTypeEnum", 0, "VelmoraQdxMeasurementCurrent"},
      {"VelmoraQdxMeasurementTypeEnum", 1, "VelmoraQdxMeasurementVoltage"},
      {"VelmoraQdxOutputStateEnum", 0, "VelmoraQdxOutputStateConstantVoltage"},
      {"VelmoraQdxOutputStateEnum", 1, "VelmoraQdxOutputStateConstantCurrent"},
      {"VelmoraQdxOutputStateEnum", 2, "VelmoraQdxOutputStateOverVoltage"},
      {"VelmoraQdxOutputStateEnum", 3, "VelmoraQdxOutputStateOverCurrent"},
      {"VelmoraQdxOutputStateEnum", 4, "VelmoraQdxOutputStateUnregulated"},
      {"VelmoraQdxOutputStateEnum", 20, "VelmoraQdxOutputStateACPowerFailure"},
      {"VelmoraQdxOutputStateEnum", 21, "VelmoraQdxOutputStatePowerLimit"},
      {"VelmoraQdxOutputStateEnum", 22, "VelmoraQdxOutputStateOverTemperature"},
      {"VelmoraQdxOutputStateEnum", 23, "VelmoraQdxOutputStateShutdownAlarm"},
      {"VelmoraQdxOutputStateEnum", 24, "VelmoraQdxOutputStateSensingAlarm"},
      {"VelmoraQdxOutputStateEnum", 25, "VelmoraQdxOutputStateFanAlarm"},
      {"VelmoraQdxOutputStateEnum", 26, "VelmoraQdxOutputStateOutputInhibited"},
      {"VelmoraQdxOutputStateEnum", 27, "VelmoraQdxOutputStateI2CAlarm"},
      {"VelmoraQdxOutputStateEnum", 28, "VelmoraQdxOutputStateOverVoltage2"},
      {"VelmoraQdxTriggerSourceEnum", 0, "VelmoraQdxTriggerSourceImmediate"},
      {"VelmoraQdxTriggerSourceEnum", 2, "VelmoraQdxTriggerSourceSwTrigFunc"},
      {"VelmoraQdxExternalRangeEnum", 0, "VelmoraQdxExternalRangeLow"},
      {"VelmoraQdxExternalRangeEnum", 1, "VelmoraQdxExternalRangeHigh"},
      {"VelmoraQdxPONStateEnum", 0, "VelmoraQdxPONStateSafe"},
      {"VelmoraQdxPONStateEnum", 1, "VelmoraQdxPONStateAuto"},
      {"VelmoraQdxPONStateEnum", 2, "VelmoraQdxPONStateForce"},
      {"VelmoraQdxProtectionRecoveryEnum", 0, "VelmoraQdxProtectionRecoverySafe"},
      {"VelmoraQdxProtectionRecoveryEnum", 1, "VelmoraQdxProtectionRecoveryAuto"},
      {"VelmoraQdxOperationModeEnum", 0, "VelmoraQdxOperationModeCC"},
      {"VelmoraQdxOperationModeEnum", 1, "VelmoraQdxOperationModeCV"},
      {"VelmoraQdxExternalLogicEnum", 0, "VelmoraQdxExternalLogicLow"},
      {"VelmoraQdxExternalLogicEnum", 1, "VelmoraQdxExternalLogicHigh"},
      {"IviDCPwrCurrentLimitBehaviorEnum", 0, "IviDCPwrCurrentLimitRegulate"},
      {"IviDCPwrCurrentLimitBehaviorEnum", 1, "IviDCPwrCurrentLimitTrip"},
      {"IviDCPwrRangeTypeEnum", 0, "IviDCPwrRangeCurrent"},
      {"IviDCPwrRangeTypeEnum", 1, "IviDCPwrRangeVoltage"},
  };
  for (const Member& m : kMembers)
    if (m.value == value && enumName == m.enumName) return m.name;
  return std::to_string(value);
}

// ---------------------------------------------------------------------------------------------

CMethodTrace::~CMethodTrace() { Stop(); }

void CMethodTrace::Start(const CTraceState& settings, std::string driver, std::string revision,
                         std::string resource) {
  Stop();
  std::unique_lock<std::mutex> lock(mutex_);
  settings_ = settings;
  if (settings_.name.empty()) settings_.name = driver;
  driver_ = std::move(driver);
  revision_ = std::move(revision);
  resource_ = std::move(resource);
  started_ = std::chrono::system_clock::now();
  path_ = ReserveTraceFile(EnvFolder(), settings_.name, started_);
  records_.clear();
  dropped_ = 0;
  saveFailedOnce_ = false;
  reportPending_ = false;
  saveError_.clear();
  active_.store(true, std::memory_order_relaxed);
  trace_detail::gActiveTraces.fetch_add(1, std::memory_order_relaxed);
  // The header goes out at once: a session that fails to open is found on disk too.
  SaveLocked(lock);
}

void CMethodTrace::Stop() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!active_.load(std::memory_order_relaxed)) return;
  SaveLocked(lock, true);
  if (!active_.load(std::memory_order_relaxed)) return;  // stopped meanwhile by another thread
  active_.store(false, std::memory_order_relaxed);
  trace_detail::gActiveTraces.fetch_sub(1, std::memory_order_relaxed);
}

bool CMethodTrace::Append(TraceRecord&& record) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!active_.load(std::memory_order_relaxed)) return true;
  records_.push_back(std::move(record));
  const auto limit = static_cast<std::size_t>(std::max(0, settings_.sizeMax));
  while (limit > 0 && records_.size() > limit) {
    records_.pop_front();
    ++dropped_;
  }
  const auto interval = std::chrono::seconds(std::max(0, settings_.saveInterval));
  if (std::chrono::steady_clock::now() - lastSave_ >= interval) SaveLocked(lock);
  // The first failure to save, wherever it happened, goes to the record of this operation.
  const bool report = reportPending_;
  reportPending_ = false;
  return !report;
}

bool CMethodTrace::Save() {
  std::unique_lock<std::mutex> lock(mutex_);
  return !active_.load(std::memory_order_relaxed) || SaveLocked(lock);
}

// Copies the records under the lock, then writes them without it, so that appends from other
// threads never wait for the disk. A save already under way makes this one unnecessary, unless
// the caller waits for it (the writer takes `lock` again when done, so it is let go meanwhile).
bool CMethodTrace::SaveLocked(std::unique_lock<std::mutex>& lock, bool wait) {
  std::unique_lock<std::mutex> writing(saveMutex_, std::try_to_lock);
  if (!writing.owns_lock() && wait) {
    lock.unlock();
    writing.lock();
    lock.lock();
  }
  if (!writing.owns_lock()) return true;
  lastSave_ = std::chrono::steady_clock::now();
  TraceFileContent content{driver_, revision_, resource_, settings_.transform, started_,
                           dropped_, {records_.begin(), records_.end()}};
  const std::string path = path_;
  lock.unlock();
  std::string error;
  const bool ok = WriteTraceFile(path, content, error);
  lock.lock();
  if (ok) return true;
  saveError_ = error;
  if (!saveFailedOnce_) reportPending_ = true;
  saveFailedOnce_ = true;
  return false;
}

bool CMethodTrace::TraceArrays() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return settings_.traceArrays;
}

std::size_t CMethodTrace::ArraySizeMax() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<std::size_t>(std::max(0, settings_.arraySizeMax));
}

std::string CMethodTrace::FilePath() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return path_;
}

std::string CMethodTrace::SaveError() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return saveError_;
}

// ---------------------------------------------------------------------------------------------

struct CTraceScope::Open {
  CMethodTrace* trace = nullptr;
  TraceRecord record;
  TraceRecord* outer = nullptr;
  CMethodTrace* outerTrace = nullptr;
  std::chrono::steady_clock::time_point began;
  HRESULT hr = S_OK;
};

CTraceScope::Open* CTraceScope::Begin(CMethodTrace& trace, std::string_view interfaceName,
                                      std::string_view method) {
  try {
    auto open = std::make_unique<Open>();
    TraceRecord& r = open->record;
    r.interfaceName.assign(interfaceName);
    r.method.assign(method);
    r.thread = KernelThreadId();
    r.start = std::chrono::system_clock::now();
    open->trace = &trace;
    open->outer = trace_detail::tCurrent;
    open->outerTrace = trace_detail::tCurrentTrace;
    trace_detail::tCurrent = &r;
    trace_detail::tCurrentTrace = &trace;
    open->began = std::chrono::steady_clock::now();
    return open.release();
  } catch (...) {
    return nullptr;  // out of memory: this call goes untraced
  }
}

void CTraceScope::SetResult(Open* open, HRESULT hr) noexcept { open->hr = hr; }

void CTraceScope::End(Open* open) noexcept {
  const std::unique_ptr<Open> owned(open);
  trace_detail::tCurrent = open->outer;
  trace_detail::tCurrentTrace = open->outerTrace;
  const HRESULT hr = open->hr;
  try {
    TraceRecord& r = open->record;
    r.microseconds = std::chrono::duration_cast<std::chrono::microseconds>(
                         std::chrono::steady_clock::now() - open->began)
                         .count();
    r.hr = hr;
    if (Failed(hr)) r.message = ThreadErrorRecord().description;
    for (TraceParameter& p : r.parameters) {
      if (p.out != nullptr && Succeeded(hr)) p.value = p.format(p.out);
      p.out = nullptr;
    }
    if (open->trace->Append(std::move(r))) return;
    // The first failed save is reported once, in this operation's error record.
    const std::string why = "The method trace cannot be written: " + open->trace->SaveError() +
                            " Tracing continues in memory.";
    if (Failed(hr))
      ThreadErrorRecord().description += "\r\n" + why;
    else
      CVelmoraQdxErrorReporter().ReportWritingFile(why);
  } catch (...) {
    // Out of memory while tracing: the record is lost, the operation is not.
  }
}

}  // namespace veqdx
