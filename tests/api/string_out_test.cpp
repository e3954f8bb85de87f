// String output rules that the C functions cannot show on their own. The size rules themselves
// (size needed, cut copies, nothing past the NUL, negative sizes, null buffers) are shown on
// the output names and veqdx_GetError in tests/capi.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "api/string_out.h"

namespace veqdx::api {
namespace {

TEST(CopyOutString, KeepsTheCallsStatusAndChecksTheSizeFirst) {
  char buffer[40];
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(CopyOutString("Output1", 32, buffer, VEQDX_WARN_NSUP_RESET), VEQDX_WARN_NSUP_RESET);
  EXPECT_STREQ(buffer, "Output1");
  EXPECT_EQ(buffer[8], '#');
  EXPECT_EQ(CopyOutString("", 5, buffer), VI_SUCCESS);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(CopyOutString("abc", -3, nullptr), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(CopyOutString("abc", 5, nullptr), VEQDX_ERROR_NULL_POINTER);
}

TEST(CopyFixedString, AtMost255CharactersAndANul) {
  char out[260];
  std::memset(out, '#', sizeof out);
  CopyFixedString(std::string(300, 'x'), out);
  EXPECT_EQ(std::strlen(out), 255u);
  EXPECT_EQ(out[256], '#');
  CopyFixedString(std::string(255, 'y'), out);
  EXPECT_EQ(std::string(out), std::string(255, 'y'));
  CopyFixedString("Selftest passed", out);
  EXPECT_STREQ(out, "Selftest passed");
}

}  // namespace
}  // namespace veqdx::api
