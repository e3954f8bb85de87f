// Output selectors of the C interface ("Output1", "Output1-Output3").
// Parsing only: whether a name is an output of the session is the caller's question, and so is
// an empty or null selector (it names the only output of a single-output session).
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "veqdx.h"

namespace veqdx::api {

enum class SelectorError {
  None,
  BadlyFormed,    // matches neither a name nor a range of names
  InvalidRange,   // a range whose ends cannot be expanded (other prefix, descending, too long)
  InvalidLevels,  // hierarchical ("Output1:Sub") where outputs have one level
};

struct SelectorResult {
  SelectorError error = SelectorError::None;
  std::string message;             // description to record when error != None
  std::vector<std::string> names;  // in selector order; empty for an all-blank selector
  bool ok() const { return error == SelectorError::None; }
};

// A selector expands to at most this many names, so a hostile range cannot exhaust memory.
constexpr std::size_t kMaxSelectorNames = 1024;

// Grammar: one name of letters, digits, '_' and '!', or one range "A-B" whose ends are a
// non-empty run of letters, '_' or '!' followed by a decimal number; blanks and tabs are
// allowed around the selector and around range ends. The two runs must be equal and the first
// number not above the second; the range expands to "%s%d" for each number in order. Anything
// else (a list, a stray character) is badly formed.
SelectorResult ParseSelector(std::string_view selector);

// The status that goes with a selector error (VI_SUCCESS for None).
ViStatus SelectorStatus(SelectorError error);

}  // namespace veqdx::api
