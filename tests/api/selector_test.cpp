// Output selector grammar of the C interface. The status and message of each refusal, and
// what a selector does to a session, are checked through veqdx.h in tests/capi.
#include <gtest/gtest.h>

#include <string>

#include "api/selector.h"

namespace veqdx::api {
namespace {

using E = SelectorError;

TEST(Selector, GrammarAndExpansion) {
  const struct {
    const char* selector;
    E error;
    const char* names;  // joined by ','
  } rows[] = {
      {"Output1", E::None, "Output1"},
      {"  Output2\t", E::None, "Output2"},
      {" Output1 -\tOutput3 ", E::None, "Output1,Output2,Output3"},
      {"Output2-Output2", E::None, "Output2"},
      {"Output8-Output11", E::None, "Output8,Output9,Output10,Output11"},
      {"Output01-Output03", E::None, "Output1,Output2,Output3"},  // "%s%d" drops leading zeros
      {"my_out!1-my_out!2", E::None, "my_out!1,my_out!2"},
      {"ch!", E::None, "ch!"},
      {"Output1a", E::None, "Output1a"},  // a plain name may mix letters and digits freely
      {"", E::None, ""},
      {" \t ", E::None, ""},
      {"Output1-", E::BadlyFormed, ""},
      {"-Output1", E::BadlyFormed, ""},
      {"Output1--Output3", E::BadlyFormed, ""},
      {"Output1-Output2-Output3", E::BadlyFormed, ""},
      {"Out put1", E::BadlyFormed, ""},
      {"Output1\n", E::BadlyFormed, ""},
      {"Output#1", E::BadlyFormed, ""},
      {"Output3,Output1", E::BadlyFormed, ""},  // one name or one range, no lists
      {"Output1-Output2, Output4", E::BadlyFormed, ""},
      {"Output1,", E::BadlyFormed, ""},
      {",Output1", E::BadlyFormed, ""},
      {"1-3", E::BadlyFormed, ""},               // range ends start with a run of letters
      {"Output-Output3", E::BadlyFormed, ""},    // an end without a number
      {"Output1a-Output3", E::BadlyFormed, ""},  // an end not letters-then-number
      {"1Output-3Output", E::BadlyFormed, ""},
      {"Output1-Channel3", E::InvalidRange, ""},  // different prefixes
      {"Output3-Output1", E::InvalidRange, ""},   // descending
      {"Output1-Output99999999999", E::InvalidRange, ""},  // number does not fit
      {"Output0-Output5000", E::InvalidRange, ""},         // too many names
      {"Output1:Sub1", E::InvalidLevels, ""},
      {"Output1-Output3:x", E::InvalidLevels, ""},
      {":", E::InvalidLevels, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string("selector '") + row.selector + "'");
    const SelectorResult r = ParseSelector(row.selector);
    EXPECT_EQ(r.error, row.error);
    std::string names;
    for (const std::string& name : r.names) names += (names.empty() ? "" : ",") + name;
    EXPECT_EQ(names, row.names);
    EXPECT_EQ(r.message.empty(), row.error == E::None) << r.message;
  }
  // The bound is exact.
  EXPECT_EQ(ParseSelector("a1-a" + std::to_string(kMaxSelectorNames)).names.size(),
            kMaxSelectorNames);
  EXPECT_EQ(ParseSelector("a0-a" + std::to_string(kMaxSelectorNames)).error, E::InvalidRange);
}

}  // namespace
}  // namespace veqdx::api
