// Session handles, per-session errors, the explicit session lock and the per-call session
// guard, at the session table. What the C functions make of them (stale, forged and null
// handles, veqdx_GetError, the thread's record, lock nesting and waiting) is shown through
// libveqdx.so in tests/capi.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <unordered_set>
#include <vector>

#include "api/flat_common.h"
#include "api/session_table.h"
#include "base/error_reporter.h"
#include "veqdx.h"

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

TEST(CSessionTable, HandlesAreUniqueNonNullAndNeverReused) {
  CSessionTable table;
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

TEST(CSessionTable, RemovedEntryLivesWhileACallUsesIt) {
  CSessionTable table;
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

TEST(CSessionTable, ErrorsAreRecordedPerSession) {
  CSessionTable table;
  auto a = table.Find(table.Add(std::make_shared<int>(1)));
  auto b = table.Find(table.Add(std::make_shared<int>(2)));
  a->RecordError(VEQDX_ERROR_IO_TIMEOUT, "VelmoraQdx: I/O timeout error: read.");
  EXPECT_EQ(a->Error().code, VEQDX_ERROR_IO_TIMEOUT);
  EXPECT_EQ(a->Error().description, "VelmoraQdx: I/O timeout error: read.");
  EXPECT_EQ(b->Error().code, VI_SUCCESS);
  EXPECT_EQ(b->Error().description, "");
}

TEST(CSessionLock, UnlockWithoutHoldingFailsAndIsRecorded) {
  CSessionEntry entry(1, nullptr);
  ViBoolean has = VI_TRUE;  // the caller claims a lock it does not have
  EXPECT_EQ(UnlockSession(entry, &has), VEQDX_ERROR_CANNOT_RECOVER);
  EXPECT_EQ(has, VI_TRUE);
  EXPECT_EQ(entry.Error().code, VEQDX_ERROR_CANNOT_RECOVER);
  EXPECT_EQ(entry.Error().description, "The session is not locked by the calling thread.");
  // Held by another thread: still not ours to release.
  ASSERT_TRUE(entry.lock().LockFor(0ms));
  std::thread([&] { EXPECT_EQ(UnlockSession(entry, nullptr), VEQDX_ERROR_CANNOT_RECOVER); })
      .join();
  EXPECT_TRUE(entry.lock().Unlock());
}

// While one thread holds the lock its own calls go through; another thread's LockSession and
// its per-call guard give up after the timeout, each recording "operation pending".
TEST(CSessionLock, OtherThreadsGiveUpAfterTheTimeout) {
  LockTimeoutOverride shortWait(50ms);
  const ViSession vi = Sessions().Add(std::make_shared<int>(7));
  const std::shared_ptr<CSessionEntry> entry = Sessions().Find(vi);
  ViBoolean has = VI_FALSE;
  ASSERT_EQ(LockSession(*entry, &has), VI_SUCCESS);
  EXPECT_EQ(CSessionCall(vi).status(), VI_SUCCESS);

  ViStatus lockStatus = VI_SUCCESS;
  ViStatus lockRecord = VI_SUCCESS;
  ViStatus callStatus = VI_SUCCESS;
  ViBoolean otherHas = VI_FALSE;
  std::thread([&] {
    lockStatus = LockSession(*entry, &otherHas);
    lockRecord = entry->Error().code;
    entry->ClearError();
    callStatus = CSessionCall(vi).status();
  }).join();
  EXPECT_EQ(lockStatus, VEQDX_ERROR_OPERATION_PENDING);
  EXPECT_EQ(otherHas, VI_FALSE);
  EXPECT_EQ(lockRecord, VEQDX_ERROR_OPERATION_PENDING);
  EXPECT_EQ(callStatus, VEQDX_ERROR_OPERATION_PENDING);
  EXPECT_EQ(entry->Error().code, VEQDX_ERROR_OPERATION_PENDING);
  EXPECT_EQ(entry->Error().description, "The session is locked by another thread.");

  ASSERT_EQ(UnlockSession(*entry, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_FALSE);
  std::thread([&] { callStatus = CSessionCall(vi).status(); }).join();
  EXPECT_EQ(callStatus, VI_SUCCESS);
  Sessions().Remove(vi);
}

TEST(CSessionLock, EightThreadsOnTwoSessionsStayMutuallyExclusive) {
  LockTimeoutOverride bounded(10s);  // a lost wake-up fails the test instead of hanging it
  CSessionTable table;
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

// Finish converts the object layer's result and records its description on the session:
// mapped errors, an unmapped failure as "cannot recover", warnings; success records nothing.
TEST(CSessionCall, FinishConvertsAndRecordsTheObjectLayerDescription) {
  const ViSession vi = Sessions().Add(std::make_shared<int>(7));
  const std::shared_ptr<CSessionEntry> entry = Sessions().Find(vi);
  {
    CSessionCall call(vi);
    ASSERT_EQ(call.status(), VI_SUCCESS);
    const struct {
      HRESULT hr;
      const char* description;
      ViStatus status;
    } rows[] = {
        {MakeHr(0x80047020u), "VelmoraQdx: Unknown channel name.\r\nOutput9",
         VEQDX_ERROR_UNKNOWN_CHANNEL_NAME},
        {E_INVALIDARG, "bad argument", VEQDX_ERROR_CANNOT_RECOVER},
        {MakeHr(0x00047066u), "VelmoraQdx: Reset is not supported by this instrument.",
         VEQDX_WARN_NSUP_RESET},
    };
    for (const auto& row : rows) {
      ThreadErrorRecord().description = row.description;
      EXPECT_EQ(call.Finish(row.hr), row.status) << row.description;
      EXPECT_EQ(entry->Error().code, row.status) << row.description;
      EXPECT_EQ(entry->Error().description, row.description);
    }
    EXPECT_EQ(call.Finish(S_OK), VI_SUCCESS);  // success leaves the last record alone
    EXPECT_EQ(entry->Error().code, VEQDX_WARN_NSUP_RESET);
  }
  ClearThreadErrorRecord();
  Sessions().Remove(vi);
}

}  // namespace
}  // namespace veqdx::api
