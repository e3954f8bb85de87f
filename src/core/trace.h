// The method trace: one record per public operation (interface, method, parameters, thread,
// start and execution time, HRESULT, message), kept in memory and written as an XML file
// ("TraceRecords") at every save interval and at Close.
//
// Cost. Off, an operation pays one relaxed load per scope and per parameter and allocates
// nothing. On, a record is built and appended to memory under a short lock; the file is written
// only when the save interval has passed, by whichever call notices it, and a failure to write
// never changes an operation's result.
//
//   CTraceScope scope(driver.Trace(), "IVelmoraQdxOutput", "Measure");
//   TraceIn("MeasurementType", type);
//   TraceOut("val", val);          // formatted when the scope ends, if the call succeeded
//   return scope.Done(body());
#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/hresult.h"
#include "core/options.h"
#include "core/trace_values.h"

namespace veqdx {

struct TraceParameter {
  std::string name;
  const char* direction = "in";  // "in", "out" or "inout"
  std::string type;
  std::string value;
  bool isArray = false;
  std::vector<std::string> items;  // array elements, at most TraceArraySizeMax
  bool truncated = false;
  // An out-parameter is read when the call ends: the value behind `out`, formatted by `format`.
  const void* out = nullptr;
  std::string (*format)(const void*) = nullptr;
};

struct TraceRecord {
  std::string interfaceName;
  std::string method;
  std::vector<TraceParameter> parameters;
  long thread = 0;
  std::chrono::system_clock::time_point start;
  std::int64_t microseconds = 0;
  HRESULT hr = S_OK;
  std::string message;
};

class CMethodTrace {
 public:
  CMethodTrace() = default;
  ~CMethodTrace();
  CMethodTrace(const CMethodTrace&) = delete;
  CMethodTrace& operator=(const CMethodTrace&) = delete;

  bool Active() const noexcept { return active_.load(std::memory_order_relaxed); }

  // Starts a trace with `settings` (a running one is saved and ended first). The file goes to
  // $VEQDX_TRACE_DIR, else the working directory.
  void Start(const CTraceState& settings, std::string driver, std::string revision,
             std::string resource);
  // Saves what is left and ends the trace (Close, a failed Initialize, Trace=false).
  void Stop();

  // Appends a finished record, dropping the oldest beyond TraceSizeMax, and saves when the
  // save interval has passed. Returns false once after the first failed save, so that the
  // caller reports it in its operation's error record.
  bool Append(TraceRecord&& record);
  // Writes the file now; false when it cannot be written.
  bool Save();

  // Whether array arguments are traced, and how many of their elements.
  bool TraceArrays() const;
  std::size_t ArraySizeMax() const;
  std::string FilePath() const;
  // Why the last save failed (empty when none did).
  std::string SaveError() const;

 private:
  // `wait`: wait for a save under way instead of leaving the work to it (Close must write
  // everything).
  bool SaveLocked(std::unique_lock<std::mutex>& lock, bool wait = false);

  std::atomic<bool> active_{false};
  mutable std::mutex mutex_;
  std::mutex saveMutex_;  // one writer of the file at a time; appends never wait for it
  CTraceState settings_;
  std::string driver_, revision_, resource_, path_;
  std::chrono::system_clock::time_point started_;
  std::chrono::steady_clock::time_point lastSave_;
  std::deque<TraceRecord> records_;
  std::uint64_t dropped_ = 0;
  bool saveFailedOnce_ = false;
  bool reportPending_ = false;  // a first failure to save, not yet reported
  std::string saveError_;
};

// One traced operation. Does nothing unless the trace is active when it is constructed; then
// it is one pointer that stays null, and everything else lives out of line.
class CTraceScope {
 public:
  CTraceScope(CMethodTrace& trace, std::string_view interfaceName, std::string_view method) {
    if (trace.Active()) [[unlikely]] open_ = Begin(trace, interfaceName, method);
  }
  ~CTraceScope() {
    if (open_ != nullptr) [[unlikely]] End(open_);
  }
  CTraceScope(const CTraceScope&) = delete;
  CTraceScope& operator=(const CTraceScope&) = delete;

  HRESULT Done(HRESULT hr) noexcept {
    if (open_ != nullptr) [[unlikely]] SetResult(open_, hr);
    return hr;
  }

 private:
  struct Open;  // the record being built and the state to restore at its end
  [[gnu::cold]] static Open* Begin(CMethodTrace& trace, std::string_view interfaceName,
                                   std::string_view method);
  [[gnu::cold]] static void End(Open* open) noexcept;
  static void SetResult(Open* open, HRESULT hr) noexcept;

  Open* open_ = nullptr;
};

namespace trace_detail {
// Number of active traces in the process: the one load that parameters cost when none is.
extern std::atomic<int> gActiveTraces;
// The calling thread's innermost open record, null when none.
TraceParameter* AddParameter(std::string_view name, const char* direction);
bool ArraysWanted(std::size_t& max);
}  // namespace trace_detail

// An input parameter of the operation in progress on this thread.
template <class T>
inline void TraceIn(std::string_view name, const T& value) {
  if (trace_detail::gActiveTraces.load(std::memory_order_relaxed) == 0) [[likely]] return;
  if (TraceParameter* p = trace_detail::AddParameter(name, "in")) {
    p->type = TraceTypeName<T>();
    p->value = TraceValueText(value);
  }
}

// An output parameter: `*out` is read when the operation ends, if it succeeded.
template <class T>
inline void TraceOut(std::string_view name, const T* out) {
  if (trace_detail::gActiveTraces.load(std::memory_order_relaxed) == 0) [[likely]] return;
  if (TraceParameter* p = trace_detail::AddParameter(name, "out")) {
    p->type = TraceTypeName<T>();
    p->out = out;
    p->format = [](const void* v) { return TraceValueText(*static_cast<const T*>(v)); };
  }
}

// A 16-bit register out-value (the same C++ type as VARIANT_BOOL).
inline void TraceOutShort(std::string_view name, const std::int16_t* out) {
  if (trace_detail::gActiveTraces.load(std::memory_order_relaxed) == 0) [[likely]] return;
  if (TraceParameter* p = trace_detail::AddParameter(name, "out")) {
    p->type = "short";
    p->out = out;
    p->format = [](const void* v) { return std::to_string(*static_cast<const std::int16_t*>(v)); };
  }
}

// An array parameter; its elements are written only when TraceArray is on.
template <class T>
inline void TraceInArray(std::string_view name, const T* data, std::size_t count) {
  if (trace_detail::gActiveTraces.load(std::memory_order_relaxed) == 0) [[likely]] return;
  if (TraceParameter* p = trace_detail::AddParameter(name, "in")) {
    p->type = std::string(TraceTypeName<T>()) + "[]";
    p->isArray = true;
    std::size_t max = 0;
    if (!trace_detail::ArraysWanted(max)) return;
    for (std::size_t i = 0; i < count && i < max; ++i) p->items.push_back(TraceValueText(data[i]));
    p->truncated = count > max;
  }
}

}  // namespace veqdx
