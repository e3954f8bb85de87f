#include "api/session_table.h"

#include <atomic>
#include <random>

namespace veqdx::api {

// ---- CSessionLock ----------------------------------------------------------------------------
bool CSessionLock::LockFor(std::chrono::milliseconds timeout) {
  const auto self = std::this_thread::get_id();
  std::unique_lock guard(mutex_);
  if (depth_ > 0 && owner_ == self) {
    ++depth_;
    return true;
  }
  if (!released_.wait_for(guard, timeout, [this] { return depth_ == 0; })) return false;
  owner_ = self;
  depth_ = 1;
  return true;
}

bool CSessionLock::Unlock() {
  {
    std::lock_guard guard(mutex_);
    if (depth_ == 0 || owner_ != std::this_thread::get_id()) return false;
    if (--depth_ > 0) return true;
    owner_ = std::thread::id();
  }
  released_.notify_one();
  return true;
}

bool CSessionLock::ReleaseAll() {
  {
    std::lock_guard guard(mutex_);
    if (depth_ == 0 || owner_ != std::this_thread::get_id()) return false;
    depth_ = 0;
    owner_ = std::thread::id();
  }
  released_.notify_all();
  return true;
}

bool CSessionLock::HeldByCaller() const {
  std::lock_guard guard(mutex_);
  return depth_ > 0 && owner_ == std::this_thread::get_id();
}

// ---- CSessionEntry ---------------------------------------------------------------------------
void CSessionEntry::RecordError(ViStatus code, std::string description) {
  std::lock_guard guard(errorMutex_);
  error_.code = code;
  error_.description = std::move(description);
}

ErrorInfo CSessionEntry::Error() const {
  std::lock_guard guard(errorMutex_);
  return error_;
}

void CSessionEntry::ClearError() {
  std::lock_guard guard(errorMutex_);
  error_ = ErrorInfo{};
}

// ---- CSessionTable ---------------------------------------------------------------------------
CSessionTable::CSessionTable() {
  std::random_device seed;
  base_ = static_cast<ViSession>(seed());
}

ViSession CSessionTable::Add(std::shared_ptr<void> driver) {
  std::unique_lock guard(mutex_);
  // Handles are base_ + n modulo 2^32 for n = 0, 1, ...: all distinct until the counter runs
  // out, so a closed session's handle is never given to another one.
  constexpr std::uint64_t kHandleSpace = std::uint64_t{1} << 32;
  while (issued_ < kHandleSpace) {
    const auto handle = static_cast<ViSession>(base_ + issued_++);
    if (handle == VI_NULL) continue;
    entries_.emplace(handle, std::make_shared<CSessionEntry>(handle, std::move(driver)));
    return handle;
  }
  return VI_NULL;
}

std::shared_ptr<CSessionEntry> CSessionTable::Find(ViSession handle) const {
  std::shared_lock guard(mutex_);
  auto it = entries_.find(handle);
  return it == entries_.end() ? nullptr : it->second;
}

std::shared_ptr<CSessionEntry> CSessionTable::Remove(ViSession handle) {
  std::unique_lock guard(mutex_);
  auto it = entries_.find(handle);
  if (it == entries_.end()) return nullptr;
  auto entry = std::move(it->second);
  entries_.erase(it);
  return entry;
}

std::size_t CSessionTable::size() const {
  std::shared_lock guard(mutex_);
  return entries_.size();
}

CSessionTable& Sessions() {
  static CSessionTable table;
  return table;
}

// ---- Thread error ---------------------------------------------------------------------------
namespace {
thread_local ErrorInfo tThreadError;
std::atomic<std::int64_t> gLockTimeoutMs{60'000};
}  // namespace

void RecordThreadError(ViStatus code, std::string description) {
  tThreadError.code = code;
  tThreadError.description = std::move(description);
}
ErrorInfo ThreadError() { return tThreadError; }
void ClearThreadError() { tThreadError = ErrorInfo{}; }

std::chrono::milliseconds SessionLockTimeout() {
  return std::chrono::milliseconds(gLockTimeoutMs.load(std::memory_order_relaxed));
}
void SetSessionLockTimeout(std::chrono::milliseconds timeout) {
  gLockTimeoutMs.store(timeout.count(), std::memory_order_relaxed);
}

// ---- Explicit session lock ------------------------------------------------------------------
ViStatus LockSession(CSessionEntry& entry, ViBoolean* callerHasLock) {
  if (callerHasLock != nullptr && *callerHasLock == VI_TRUE) return VI_SUCCESS;
  if (!entry.lock().LockFor(SessionLockTimeout())) {
    entry.RecordError(VEQDX_ERROR_OPERATION_PENDING,
                      "The session is locked by another thread.");
    return VEQDX_ERROR_OPERATION_PENDING;
  }
  if (callerHasLock != nullptr) *callerHasLock = VI_TRUE;
  return VI_SUCCESS;
}

ViStatus UnlockSession(CSessionEntry& entry, ViBoolean* callerHasLock) {
  if (callerHasLock != nullptr && *callerHasLock == VI_FALSE) return VI_SUCCESS;
  if (!entry.lock().Unlock()) {
    entry.RecordError(VEQDX_ERROR_CANNOT_RECOVER,
                      "The session is not locked by the calling thread.");
    return VEQDX_ERROR_CANNOT_RECOVER;
  }
  if (callerHasLock != nullptr) *callerHasLock = VI_FALSE;
  return VI_SUCCESS;
}

}  // namespace veqdx::api
