// Session bookkeeping of the C interface: handles, per-session error records and locks, and the
// per-thread error record for failures that have no session.
//
// Lookups take a shared lock on the map only long enough to copy a shared_ptr to the entry, so
// calls on different sessions never wait for each other; an entry removed while a call is still
// using it lives until that call lets go of it.
#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <unordered_map>

#include "veqdx.h"

namespace veqdx {
class CVelmoraQdx;  // the driver object behind a session
}

namespace veqdx::api {

// A status with its description, as veqdx_GetError returns them.
struct ErrorInfo {
  ViStatus code = VI_SUCCESS;
  std::string description;
};

// Recursive lock that knows its owner, so that an unlock by a thread that does not hold it is
// refused instead of being undefined, and so that every wait is bounded.
class CSessionLock {
 public:
  bool LockFor(std::chrono::milliseconds timeout);
  bool Unlock();  // false when the calling thread does not hold the lock
  bool HeldByCaller() const;
  // Releases every level the calling thread holds (the session is going away); false when it
  // holds none.
  bool ReleaseAll();

 private:
  mutable std::mutex mutex_;
  std::condition_variable released_;
  std::thread::id owner_;
  std::uint32_t depth_ = 0;
};

class CSessionEntry {
 public:
  CSessionEntry(ViSession handle, std::shared_ptr<void> driver)
      : handle_(handle), driver_(std::move(driver)) {}

  ViSession handle() const { return handle_; }
  // The driver object, typed as the session's creator stored it.
  template <class T = CVelmoraQdx>
  std::shared_ptr<T> Driver() const {
    return std::static_pointer_cast<T>(driver_);
  }

  void RecordError(ViStatus code, std::string description);
  ErrorInfo Error() const;
  void ClearError();

  // Held by veqdx_LockSession and, for their duration, by all calls on the session.
  CSessionLock& lock() { return lock_; }

 private:
  const ViSession handle_;
  const std::shared_ptr<void> driver_;
  mutable std::mutex errorMutex_;
  ErrorInfo error_;
  CSessionLock lock_;
};

class CSessionTable {
 public:
  CSessionTable();
  CSessionTable(const CSessionTable&) = delete;
  CSessionTable& operator=(const CSessionTable&) = delete;

  // A new handle for `driver`; never VI_NULL and never one issued before by this table.
  // Returns VI_NULL only once 2^32 - 1 handles have been issued.
  ViSession Add(std::shared_ptr<void> driver);
  std::shared_ptr<CSessionEntry> Find(ViSession handle) const;  // null for unknown handles
  std::shared_ptr<CSessionEntry> Remove(ViSession handle);      // the removed entry, or null
  std::size_t size() const;

 private:
  mutable std::shared_mutex mutex_;
  std::unordered_map<ViSession, std::shared_ptr<CSessionEntry>> entries_;
  ViSession base_;            // first handle; random, so that handles of two runs differ
  std::uint64_t issued_ = 0;  // handles given out so far
};

// The process's session table, used by the veqdx_ functions.
CSessionTable& Sessions();

// The calling thread's error record (failures without a session).
void RecordThreadError(ViStatus code, std::string description);
ErrorInfo ThreadError();
void ClearThreadError();

// How long a call waits for a session that another thread holds locked; after that the call
// fails with VEQDX_ERROR_OPERATION_PENDING. Generous by default, adjustable for tests.
std::chrono::milliseconds SessionLockTimeout();
void SetSessionLockTimeout(std::chrono::milliseconds timeout);

// veqdx_LockSession / veqdx_UnlockSession on an entry, with the CallerHasLock rules: lock does
// nothing when *callerHasLock is already true, unlock nothing when it is false; either may be
// null. A failure is recorded on the entry.
ViStatus LockSession(CSessionEntry& entry, ViBoolean* callerHasLock);
ViStatus UnlockSession(CSessionEntry& entry, ViBoolean* callerHasLock);

}  // namespace veqdx::api
