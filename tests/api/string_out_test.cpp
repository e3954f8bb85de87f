// IVI-C string output rules.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "api/string_out.h"

namespace veqdx::api {
namespace {

struct Row {
  const char* text;
  ViInt32 size;
  ViStatus callStatus;
  ViStatus expectedStatus;
  const char* expectedBuffer;  // nullptr: buffer untouched
};

TEST(CopyOutString, BufferRules) {
  const Row rows[] = {
      {"Output1", 0, VI_SUCCESS, 8, nullptr},                 // size needed, nothing copied
      {"", 0, VI_SUCCESS, 1, nullptr},
      {"Output1", 1, VI_SUCCESS, 8, ""},                      // only the NUL fits
      {"Output1", 4, VI_SUCCESS, 8, "Out"},                   // size - 1 characters
      {"Output1", 7, VI_SUCCESS, 8, "Output"},                // one short
      {"Output1", 8, VI_SUCCESS, VI_SUCCESS, "Output1"},      // exact fit
      {"Output1", 32, VI_SUCCESS, VI_SUCCESS, "Output1"},
      {"Output1", 32, VEQDX_WARN_NSUP_RESET, VEQDX_WARN_NSUP_RESET, "Output1"},  // call's status
      {"", 5, VI_SUCCESS, VI_SUCCESS, ""},
      {"Output1", -1, VI_SUCCESS, VEQDX_ERROR_INVALID_VALUE, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "'" << row.text << "' size " << row.size);
    char buffer[40];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(CopyOutString(row.text, row.size, buffer, row.callStatus), row.expectedStatus);
    if (row.expectedBuffer == nullptr) {
      EXPECT_EQ(buffer[0], '#');
    } else {
      EXPECT_STREQ(buffer, row.expectedBuffer);
      // Nothing written past the terminating NUL.
      EXPECT_EQ(buffer[std::strlen(row.expectedBuffer) + 1], '#');
    }
  }
}

TEST(CopyOutString, NullBuffer) {
  EXPECT_EQ(CopyOutString("abc", 0, nullptr), 4);
  EXPECT_EQ(CopyOutString("abc", 5, nullptr), VEQDX_ERROR_NULL_POINTER);
  EXPECT_EQ(CopyOutString("abc", -3, nullptr), VEQDX_ERROR_INVALID_VALUE);
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
