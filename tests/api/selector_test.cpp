// Output selector grammar of the C interface.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "api/selector.h"

namespace veqdx::api {
namespace {

// The message and status of each refusal.
struct Refusal {
  const char* message;
  std::uint32_t status;
};
const Refusal kBadlyFormed{"The repeated capability selector is badly-formed.", 0xBFFA0066u};
const Refusal kInvalidRange{"Invalid range specified in repeated capability selector.",
                            0xBFFA0064u};
const Refusal kInvalidLevels{
    "Invalid or inconsistent number of levels specified in repeated capability selector.",
    0xBFFA0063u};

using Names = std::vector<std::string>;

struct Accepted {
  const char* selector;
  Names names;
};

TEST(Selector, AcceptedSelectors) {
  const Accepted rows[] = {
      {"Output1", {"Output1"}},
      {"Output0", {"Output0"}},
      {"  Output2\t", {"Output2"}},
      {"Output1-Output3", {"Output1", "Output2", "Output3"}},
      {" Output1 -\tOutput3 ", {"Output1", "Output2", "Output3"}},
      {"Output2-Output2", {"Output2"}},
      {"Output8-Output11", {"Output8", "Output9", "Output10", "Output11"}},
      {"Output01-Output03", {"Output1", "Output2", "Output3"}},  // "%s%d" drops leading zeros
      {"my_out!1-my_out!2", {"my_out!1", "my_out!2"}},
      {"Out_put9", {"Out_put9"}},
      {"ch!", {"ch!"}},
      {"Output1a", {"Output1a"}},  // a plain name may mix letters and digits freely
      {"", {}},
      {" \t ", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string("selector '") + row.selector + "'");
    SelectorResult r = ParseSelector(row.selector);
    EXPECT_TRUE(r.ok()) << r.message;
    EXPECT_EQ(r.names, row.names);
    EXPECT_TRUE(r.message.empty());
    EXPECT_EQ(SelectorStatus(r.error), VI_SUCCESS);
  }
}

struct Refused {
  const char* selector;
  SelectorError error;
};

TEST(Selector, RefusedSelectors) {
  const Refused rows[] = {
      {"Output1-", SelectorError::BadlyFormed},
      {"-Output1", SelectorError::BadlyFormed},
      {"Output1--Output3", SelectorError::BadlyFormed},
      {"Output1-Output2-Output3", SelectorError::BadlyFormed},
      {"Out put1", SelectorError::BadlyFormed},
      {"Output1\n", SelectorError::BadlyFormed},
      {"Output#1", SelectorError::BadlyFormed},
      {"Output3,Output1", SelectorError::BadlyFormed},  // one name or one range, no lists
      {"Output1-Output2, Output4", SelectorError::BadlyFormed},
      {"1-3", SelectorError::BadlyFormed},  // range ends start with a run of letters
      {"Output1,", SelectorError::BadlyFormed},
      {",Output1", SelectorError::BadlyFormed},
      {"Output1,,Output2", SelectorError::BadlyFormed},
      {"Output-Output3", SelectorError::BadlyFormed},     // an end without a number
      {"Output1a-Output3", SelectorError::BadlyFormed},   // an end not letters-then-number
      {"1Output-3Output", SelectorError::BadlyFormed},
      {"Output1-Channel3", SelectorError::InvalidRange},  // different prefixes
      {"Output3-Output1", SelectorError::InvalidRange},   // descending
      {"Output1-Output99999999999", SelectorError::InvalidRange},  // number does not fit
      {"Output0-Output5000", SelectorError::InvalidRange},         // too many names
      {"Output1:Sub1", SelectorError::InvalidLevels},
      {"Output1-Output3:x", SelectorError::InvalidLevels},
      {":", SelectorError::InvalidLevels},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string("selector '") + row.selector + "'");
    SelectorResult r = ParseSelector(row.selector);
    EXPECT_EQ(r.error, row.error);
    EXPECT_TRUE(r.names.empty());
    const Refusal& expected = row.error == SelectorError::BadlyFormed    ? kBadlyFormed
                              : row.error == SelectorError::InvalidRange ? kInvalidRange
                                                                         : kInvalidLevels;
    EXPECT_EQ(r.message, expected.message);
    EXPECT_EQ(static_cast<std::uint32_t>(SelectorStatus(r.error)), expected.status);
  }
}

TEST(Selector, ExpansionIsBounded) {
  const std::string exact = "a1-a" + std::to_string(kMaxSelectorNames);
  EXPECT_EQ(ParseSelector(exact).names.size(), kMaxSelectorNames);
  EXPECT_EQ(ParseSelector("a0-a" + std::to_string(kMaxSelectorNames)).error,
            SelectorError::InvalidRange);
}

}  // namespace
}  // namespace veqdx::api
