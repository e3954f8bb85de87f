// Session handles, per-session errors and the explicit session lock.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <unordered_set>
#include <vector>

#include "api/session_table.h"

namespace veqdx::api {
namespace {

using namespace std::chrono_literals;

// Restores the process-wide lock timeout after a test shortened it.
class LockTimeoutOverride {
 public:
  explicit LockTimeoutOverride(std::chrono::milliseconds t) : saved_(SessionLockTimeout()) {
    SetSessionLockTimeout(t);
  }
  ~LockTimeoutOverride() { SetSessionLockTimeout(saved_); }

 private:
  std::chrono::milliseconds saved_;
};

TEST(SessionTable, HandlesAreUniqueNonNullAndNeverReused) {
  SessionTable table;
  std::unordered_set<ViSession> seen;
  for (int round = 0; round < 3; ++round) {
    std::vector<ViSession> open;
    for (int i = 0; i < 500; ++i) {
      ViSession h = table.Add(std::make_shared<int>(i));
      ASSERT_NE(h, VI_NULL);
      ASSERT_TRUE(seen.insert(h).second) << "handle " << h << " issued twice";
      open.push_back(h);
    }
    EXPECT_EQ(table.size(), 500u);
    for (ViSession h : open) ASSERT_NE(table.Remove(h), nullptr);
    EXPECT_EQ(table.size(), 0u);
  }
}

TEST(SessionTable, StaleAndForgedHandlesAreRejected) {
  SessionTable table;
  ViSession kept = table.Add(std::make_shared<int>(1));
  ViSession closed = table.Add(std::make_shared<int>(2));
  ASSERT_NE(table.Remove(closed), nullptr);
  EXPECT_EQ(table.Find(closed), nullptr);
  EXPECT_EQ(table.Remove(closed), nullptr);  // a second close finds nothing
  EXPECT_EQ(table.Find(VI_NULL), nullptr);
  EXPECT_EQ(table.Find(static_cast<ViSession>(closed + 1)), nullptr);  // not issued yet
  EXPECT_EQ(table.Find(static_cast<ViSession>(kept ^ 0x80000000u)), nullptr);
  auto entry = table.Find(kept);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->handle(), kept);
  EXPECT_EQ(*entry->Driver<int>(), 1);
}

TEST(SessionTable, RemovedEntryLivesWhileACallUsesIt) {
  SessionTable table;
  auto driver = std::make_shared<int>(42);
  std::weak_ptr<int> watch = driver;
  ViSession h = table.Add(std::move(driver));
  auto inUse = table.Find(h);
  table.Remove(h);
  EXPECT_FALSE(watch.expired());
  EXPECT_EQ(*inUse->Driver<int>(), 42);
  inUse.reset();
  EXPECT_TRUE(watch.expired());
}

TEST(SessionTable, ErrorsAreRecordedPerSession) {
  SessionTable table;
  auto a = table.Find(table.Add(std::make_shared<int>(1)));
  auto b = table.Find(table.Add(std::make_shared<int>(2)));
  a->RecordError(VEQDX_ERROR_IO_TIMEOUT, "VelmoraQdx: I/O timeout error: read.");
  EXPECT_EQ(a->Error().code, VEQDX_ERROR_IO_TIMEOUT);
  EXPECT_EQ(a->Error().description, "VelmoraQdx: I/O timeout error: read.");
  EXPECT_EQ(b->Error().code, VI_SUCCESS);
  EXPECT_EQ(b->Error().description, "");
  a->RecordError(VEQDX_WARN_NSUP_RESET, "later");  // the next record replaces the last
  EXPECT_EQ(a->Error().code, VEQDX_WARN_NSUP_RESET);
  a->ClearError();
  EXPECT_EQ(a->Error().code, VI_SUCCESS);
  EXPECT_EQ(a->Error().description, "");
}

TEST(SessionTable, ThreadErrorBelongsToTheCallingThread) {
  ClearThreadError();
  RecordThreadError(VEQDX_ERROR_INVALID_SESSION_HANDLE, "here");
  ErrorInfo other;
  std::thread([&] { other = ThreadError(); }).join();
  EXPECT_EQ(other.code, VI_SUCCESS);
  EXPECT_EQ(ThreadError().code, VEQDX_ERROR_INVALID_SESSION_HANDLE);
  EXPECT_EQ(ThreadError().description, "here");
  ClearThreadError();
  EXPECT_EQ(ThreadError().code, VI_SUCCESS);
}

// Whether another thread could take the lock right now (it gives it back at once).
bool OtherThreadCanLock(SessionEntry& entry) {
  bool got = false;
  std::thread([&] {
    got = entry.lock().LockFor(0ms);
    if (got) entry.lock().Unlock();
  }).join();
  return got;
}

TEST(SessionLockRules, CallerHasLockMakesLockAndUnlockIdempotent) {
  SessionEntry entry(1, nullptr);
  ViBoolean has = VI_FALSE;
  ASSERT_EQ(LockSession(entry, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_TRUE);
  ASSERT_EQ(LockSession(entry, &has), VI_SUCCESS);  // already true: nothing taken
  EXPECT_FALSE(OtherThreadCanLock(entry));
  ASSERT_EQ(UnlockSession(entry, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_FALSE);
  EXPECT_TRUE(OtherThreadCanLock(entry));  // one unlock was enough
  ASSERT_EQ(UnlockSession(entry, &has), VI_SUCCESS);  // already false: nothing released
  EXPECT_EQ(entry.Error().code, VI_SUCCESS);
}

TEST(SessionLockRules, NullFlagNestsAndMustBeBalanced) {
  SessionEntry entry(1, nullptr);
  ASSERT_EQ(LockSession(entry, nullptr), VI_SUCCESS);
  ASSERT_EQ(LockSession(entry, nullptr), VI_SUCCESS);
  ASSERT_EQ(UnlockSession(entry, nullptr), VI_SUCCESS);
  EXPECT_FALSE(OtherThreadCanLock(entry));
  ASSERT_EQ(UnlockSession(entry, nullptr), VI_SUCCESS);
  EXPECT_TRUE(OtherThreadCanLock(entry));
}

TEST(SessionLockRules, UnlockWithoutHoldingFailsAndIsRecorded) {
  SessionEntry entry(1, nullptr);
  ViBoolean has = VI_TRUE;  // the caller claims a lock it does not have
  EXPECT_EQ(UnlockSession(entry, &has), VEQDX_ERROR_CANNOT_RECOVER);
  EXPECT_EQ(has, VI_TRUE);
  EXPECT_EQ(entry.Error().code, VEQDX_ERROR_CANNOT_RECOVER);
  // Held by another thread: still not ours to release.
  ASSERT_TRUE(entry.lock().LockFor(0ms));
  std::thread([&] { EXPECT_EQ(UnlockSession(entry, nullptr), VEQDX_ERROR_CANNOT_RECOVER); })
      .join();
  EXPECT_TRUE(entry.lock().Unlock());
}

TEST(SessionLockRules, OtherThreadsWaitAndGiveUpAfterTheTimeout) {
  LockTimeoutOverride shortWait(50ms);
  SessionEntry entry(1, nullptr);
  ViBoolean has = VI_FALSE;
  ASSERT_EQ(LockSession(entry, &has), VI_SUCCESS);
  ViStatus otherStatus = VI_SUCCESS;
  ViBoolean otherHas = VI_FALSE;
  std::thread([&] { otherStatus = LockSession(entry, &otherHas); }).join();
  EXPECT_EQ(otherStatus, VEQDX_ERROR_OPERATION_PENDING);
  EXPECT_EQ(otherHas, VI_FALSE);
  EXPECT_EQ(entry.Error().code, VEQDX_ERROR_OPERATION_PENDING);
  ASSERT_EQ(UnlockSession(entry, &has), VI_SUCCESS);
}

TEST(SessionLockRules, WaiterProceedsOnceTheHolderUnlocks) {
  LockTimeoutOverride longWait(10s);
  SessionEntry entry(1, nullptr);
  ASSERT_EQ(LockSession(entry, nullptr), VI_SUCCESS);
  std::atomic<bool> waiting{false};
  ViStatus otherStatus = -1;
  std::thread other([&] {
    waiting = true;
    otherStatus = LockSession(entry, nullptr);
    if (otherStatus == VI_SUCCESS) UnlockSession(entry, nullptr);
  });
  while (!waiting) std::this_thread::yield();
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(UnlockSession(entry, nullptr), VI_SUCCESS);
  other.join();
  EXPECT_EQ(otherStatus, VI_SUCCESS);
}

TEST(SessionLockRules, EightThreadsOnTwoSessionsStayMutuallyExclusive) {
  LockTimeoutOverride bounded(10s);  // a lost wake-up fails the test instead of hanging it
  SessionTable table;
  const ViSession handles[2] = {table.Add(std::make_shared<int>(0)),
                                table.Add(std::make_shared<int>(1))};
  std::atomic<int> inside[2] = {0, 0};
  long counters[2] = {0, 0};  // plain on purpose: only the session lock protects them
  std::atomic<int> failures{0};
  std::atomic<bool> go{false};
  constexpr int kIterations = 2000;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      while (!go) std::this_thread::yield();  // start together, so that they really contend
      for (int i = 0; i < kIterations; ++i) {
        const int s = (t + i) % 2;
        auto entry = table.Find(handles[s]);  // lookups race with the other threads' calls
        ViBoolean has = VI_FALSE;
        if (!entry || LockSession(*entry, &has) != VI_SUCCESS) {
          ++failures;
          continue;
        }
        if (inside[s].fetch_add(1) != 0) ++failures;
        const long before = counters[s];
        std::this_thread::yield();  // widen the window another thread would have to break in
        counters[s] = before + 1;
        inside[s].fetch_sub(1);
        if (UnlockSession(*entry, &has) != VI_SUCCESS) ++failures;
      }
    });
  }
  go = true;
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(counters[0] + counters[1], 8L * kIterations);
  EXPECT_EQ(counters[0], 4L * kIterations);
}

}  // namespace
}  // namespace veqdx::api
