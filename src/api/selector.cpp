#include "api/selector.h"

#include <cstdint>
#include <cstdio>

#include "base/text.h"

namespace veqdx::api {
namespace {

constexpr const char* kBadlyFormed = "The repeated capability selector is badly-formed.";
constexpr const char* kInvalidRange = "Invalid range specified in repeated capability selector.";
constexpr const char* kInvalidLevels =
    "Invalid or inconsistent number of levels specified in repeated capability selector.";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsPrefixChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '!';
}

// A range end: a run of letters (underscores, "!") then a decimal number. `number` is left out of range (-1) when the
// digits do not fit an int, which makes the range unusable rather than badly formed.
struct RangeEnd {
  std::string_view prefix;
  std::int64_t number = -1;
};

bool SplitRangeEnd(std::string_view s, RangeEnd* end) {
  std::size_t digitsAt = 0;
  while (digitsAt < s.size() && IsPrefixChar(s[digitsAt])) ++digitsAt;
  if (digitsAt == 0 || digitsAt == s.size()) return false;  // no prefix run, or no number
  std::int64_t value = 0;
  for (std::size_t i = digitsAt; i < s.size(); ++i) {
    if (!IsDigit(s[i])) return false;
    if (value <= INT32_MAX) value = value * 10 + (s[i] - '0');
  }
  end->prefix = s.substr(0, digitsAt);
  end->number = value <= INT32_MAX ? value : -1;
  return true;
}

SelectorResult Fail(SelectorError error, const char* message) {
  SelectorResult r;
  r.error = error;
  r.message = message;
  return r;
}

}  // namespace

SelectorResult ParseSelector(std::string_view selector) {
  SelectorResult result;
  if (TrimBlanks(selector).empty()) return result;
  // Outputs have one level; any level separator is a wrong number of levels.
  if (selector.find(':') != std::string_view::npos) {
    return Fail(SelectorError::InvalidLevels, kInvalidLevels);
  }
  // One name, or one range of two names joined by a hyphen; nothing else (no lists).
  const std::string_view part = TrimBlanks(selector);
  const std::size_t hyphen = part.find('-');
  if (hyphen == std::string_view::npos) {
    if (!IsWellFormedOutputName(part)) return Fail(SelectorError::BadlyFormed, kBadlyFormed);
    result.names.emplace_back(part);
    return result;
  }
  const std::string_view first = TrimBlanks(part.substr(0, hyphen));
  const std::string_view last = TrimBlanks(part.substr(hyphen + 1));
  RangeEnd from, to;
  if (!IsWellFormedOutputName(first) || !IsWellFormedOutputName(last) || !SplitRangeEnd(first, &from) ||
      !SplitRangeEnd(last, &to)) {
    return Fail(SelectorError::BadlyFormed, kBadlyFormed);
  }
  if (from.prefix != to.prefix || from.number < 0 || to.number < 0 || from.number > to.number ||
      static_cast<std::size_t>(to.number - from.number) >= kMaxSelectorNames) {
    return Fail(SelectorError::InvalidRange, kInvalidRange);
  }
  const std::string prefix(from.prefix);
  for (std::int64_t n = from.number; n <= to.number; ++n) {
    char number[16];
    std::snprintf(number, sizeof number, "%d", static_cast<int>(n));
    result.names.push_back(prefix + number);
  }
  return result;
}

ViStatus SelectorStatus(SelectorError error) {
  switch (error) {
    case SelectorError::None: return VI_SUCCESS;
    case SelectorError::BadlyFormed: return VEQDX_ERROR_BADLY_FORMED_SELECTOR;
    case SelectorError::InvalidRange: return VEQDX_ERROR_INVALID_RANGE_IN_SELECTOR;
    case SelectorError::InvalidLevels: return VEQDX_ERROR_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR;
  }
  return VEQDX_ERROR_CANNOT_RECOVER;
}

}  // namespace veqdx::api
