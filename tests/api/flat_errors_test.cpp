// veqdx_GetError, veqdx_ClearError, veqdx_error_message, veqdx_LockSession/UnlockSession and
// the per-call session guard, through the C functions and the process's session table.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "api/flat_common.h"
#include "api/session_table.h"
#include "core/error_reporter.h"
#include "veqdx.h"

namespace veqdx::api {
namespace {

using namespace std::chrono_literals;

// A session in the process table for the duration of a test; the driver stands in as an int.
class FlatSessionTest : public testing::Test {
 protected:
  void SetUp() override {
    vi_ = Sessions().Add(std::make_shared<int>(7));
    ClearThreadError();
  }
  void TearDown() override { Sessions().Remove(vi_); }
  SessionEntry& entry() { return *Sessions().Find(vi_); }
  ViSession vi_ = VI_NULL;
};

ViSession ClosedHandle() {
  ViSession h = Sessions().Add(std::make_shared<int>(0));
  Sessions().Remove(h);
  return h;
}

TEST_F(FlatSessionTest, GetErrorWithNothingRecorded) {
  ViStatus code = 12345;
  char text[16] = "junk";
  EXPECT_EQ(veqdx_GetError(vi_, &code, sizeof text, text), VI_SUCCESS);
  EXPECT_EQ(code, VI_SUCCESS);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(veqdx_GetError(vi_, nullptr, 0, nullptr), 1);  // size needed for ""
}

TEST_F(FlatSessionTest, GetErrorFollowsTheBufferRulesAndDoesNotClear) {
  const std::string description = "VelmoraQdx: I/O error: link down.";
  entry().RecordError(VEQDX_ERROR_IO_GENERAL, description);
  const auto needed = static_cast<ViStatus>(description.size() + 1);

  EXPECT_EQ(veqdx_GetError(vi_, nullptr, 0, nullptr), needed);
  ViStatus code = 0;
  char small[11];
  EXPECT_EQ(veqdx_GetError(vi_, &code, sizeof small, small), needed);
  EXPECT_STREQ(small, "VelmoraQdx");
  EXPECT_EQ(code, VEQDX_ERROR_IO_GENERAL);
  char full[64];
  EXPECT_EQ(veqdx_GetError(vi_, &code, sizeof full, full), VI_SUCCESS);
  EXPECT_EQ(full, description);
  EXPECT_EQ(veqdx_GetError(vi_, &code, sizeof full, full), VI_SUCCESS);  // still there
  EXPECT_EQ(code, VEQDX_ERROR_IO_GENERAL);

  EXPECT_EQ(veqdx_ClearError(vi_), VI_SUCCESS);
  EXPECT_EQ(veqdx_GetError(vi_, &code, sizeof full, full), VI_SUCCESS);
  EXPECT_EQ(code, VI_SUCCESS);
  EXPECT_STREQ(full, "");
}

TEST_F(FlatSessionTest, GetErrorArgumentErrorsLeaveTheRecord) {
  entry().RecordError(VEQDX_ERROR_IO_TIMEOUT, "kept");
  char text[8];
  EXPECT_EQ(veqdx_GetError(vi_, nullptr, -1, text), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(veqdx_GetError(vi_, nullptr, sizeof text, text), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(entry().Error().code, VEQDX_ERROR_IO_TIMEOUT);
  EXPECT_EQ(entry().Error().description, "kept");
}

TEST_F(FlatSessionTest, UnknownHandlesAreRecordedForTheThread) {
  const ViSession closed = ClosedHandle();
  for (ViSession bad : {closed, static_cast<ViSession>(vi_ ^ 0x5A5A0000u)}) {
    ClearThreadError();
    ViBoolean has = VI_FALSE;
    EXPECT_EQ(veqdx_ClearError(bad), VEQDX_ERROR_INVALID_SESSION_HANDLE);
    EXPECT_EQ(veqdx_LockSession(bad, &has), VEQDX_ERROR_INVALID_SESSION_HANDLE);
    EXPECT_EQ(veqdx_UnlockSession(bad, &has), VEQDX_ERROR_INVALID_SESSION_HANDLE);
    EXPECT_EQ(has, VI_FALSE);
    char message[256];
    // veqdx_error_message only looks the status up: any handle will do.
    EXPECT_EQ(veqdx_error_message(bad, VI_SUCCESS, message), VI_SUCCESS);
    EXPECT_STREQ(message, "Success.");
    ViStatus code = 0;
    EXPECT_EQ(veqdx_GetError(bad, &code, sizeof message, message),
              VEQDX_ERROR_INVALID_SESSION_HANDLE);

    EXPECT_EQ(veqdx_GetError(VI_NULL, &code, sizeof message, message), VI_SUCCESS);
    EXPECT_EQ(code, VEQDX_ERROR_INVALID_SESSION_HANDLE);
    EXPECT_STREQ(message, "The session handle is not valid.");
  }
  EXPECT_EQ(entry().Error().code, VI_SUCCESS);  // the valid session saw none of it
  EXPECT_EQ(veqdx_ClearError(VI_NULL), VI_SUCCESS);
  ViStatus code = 1;
  EXPECT_EQ(veqdx_GetError(VI_NULL, &code, 0, nullptr), 1);
  EXPECT_EQ(code, VI_SUCCESS);  // size 0 still gives the code when there is somewhere to put it
}

TEST_F(FlatSessionTest, ErrorMessage) {
  char message[256];
  EXPECT_EQ(veqdx_error_message(VI_NULL, VEQDX_WARN_NSUP_ID_QUERY, message), VI_SUCCESS);
  EXPECT_STREQ(message, "ID Query is not supported by this instrument.");
  EXPECT_EQ(veqdx_error_message(vi_, VEQDX_ERROR_INSTRUMENT_STATUS, message), VI_SUCCESS);
  EXPECT_STREQ(message, "Instrument error detected.  Use ErrorQuery() to determine the error(s).");
  EXPECT_EQ(veqdx_error_message(vi_, 0x1234, message), VEQDX_WARN_UNKNOWN_STATUS);
  EXPECT_STREQ(message, "Unknown status code 0x00001234.");
  EXPECT_EQ(entry().Error().code, VI_SUCCESS);

  EXPECT_EQ(veqdx_error_message(vi_, VI_SUCCESS, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(entry().Error().code, VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(entry().Error().description, "Parameter ErrorMessage is VI_NULL.");
  EXPECT_EQ(veqdx_error_message(VI_NULL, VI_SUCCESS, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(ThreadError().description, "Parameter ErrorMessage is VI_NULL.");
}

TEST_F(FlatSessionTest, LockSessionThroughTheCInterface) {
  ViBoolean has = VI_FALSE;
  ASSERT_EQ(veqdx_LockSession(vi_, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_TRUE);
  {
    SessionCall call(vi_);  // the holder's own calls go through
    EXPECT_EQ(call.status(), VI_SUCCESS);
  }
  ViStatus otherStatus = VI_SUCCESS;
  const auto saved = SessionLockTimeout();
  SetSessionLockTimeout(30ms);
  std::thread([&] {
    SessionCall call(vi_);
    otherStatus = call.status();
  }).join();
  SetSessionLockTimeout(saved);
  EXPECT_EQ(otherStatus, VEQDX_ERROR_OPERATION_PENDING);
  EXPECT_EQ(entry().Error().code, VEQDX_ERROR_OPERATION_PENDING);
  ASSERT_EQ(veqdx_UnlockSession(vi_, &has), VI_SUCCESS);
  EXPECT_EQ(has, VI_FALSE);
  std::thread([&] {
    SessionCall call(vi_);
    otherStatus = call.status();
  }).join();
  EXPECT_EQ(otherStatus, VI_SUCCESS);
}

TEST_F(FlatSessionTest, FinishConvertsAndRecordsTheObjectLayerDescription) {
  SessionCall call(vi_);
  ASSERT_EQ(call.status(), VI_SUCCESS);
  ThreadErrorRecord().description = "VelmoraQdx: Unknown channel name.\r\nOutput9";
  EXPECT_EQ(call.Finish(MakeHr(0x80047020u)), VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(entry().Error().code, VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(entry().Error().description, "VelmoraQdx: Unknown channel name.\r\nOutput9");

  ThreadErrorRecord().description = "bad argument";
  EXPECT_EQ(call.Finish(E_INVALIDARG), VEQDX_ERROR_CANNOT_RECOVER);  // unmapped failure
  EXPECT_EQ(entry().Error().description, "bad argument");

  ThreadErrorRecord().description = "VelmoraQdx: Reset is not supported by this instrument.";
  EXPECT_EQ(call.Finish(MakeHr(0x00047066u)), VEQDX_WARN_NSUP_RESET);  // warnings recorded
  EXPECT_EQ(entry().Error().code, VEQDX_WARN_NSUP_RESET);

  EXPECT_EQ(call.Finish(S_OK), VI_SUCCESS);  // success leaves the last record alone
  EXPECT_EQ(entry().Error().code, VEQDX_WARN_NSUP_RESET);
  ClearThreadErrorRecord();
}

TEST(FlatSessionCall, NullHandleIsInvalid) {
  ClearThreadError();
  SessionCall call(VI_NULL);
  EXPECT_EQ(call.status(), VEQDX_ERROR_INVALID_SESSION_HANDLE);
  EXPECT_EQ(ThreadError().code, VEQDX_ERROR_INVALID_SESSION_HANDLE);
}

}  // namespace
}  // namespace veqdx::api
