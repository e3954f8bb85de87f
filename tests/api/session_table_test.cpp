// The session table, the lock timeout and the per-call guard (their C functions: tests/capi).
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "api/flat_common.h"
#include "api/session_table.h"
#include "base/error_reporter.h"
#include "veqdx.h"
#include "veqdx/status.hpp"

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

// Another thread's LockSession and per-call guard give up after the timeout.
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

// Finish converts the object layer's result and records its description on the session.
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
        {E_IVI_UNKNOWN_CHANNEL_NAME, "VelmoraQdx: Unknown channel name.\r\nOutput9",
         VEQDX_ERROR_UNKNOWN_CHANNEL_NAME},
        {E_INVALIDARG, "bad argument", VEQDX_ERROR_CANNOT_RECOVER},
        {S_IVI_NSUP_RESET, "VelmoraQdx: Reset is not supported by this instrument.",
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
