// Small text rules that several layers share: trimming, comparison without regard to case, and
// what a name of a repeated capability (an output) may be made of. Each rule is written once,
// here, so the option parser, the resource parser, the selector and the object model cannot
// drift apart.
#pragma once
#include <string>
#include <string_view>

namespace veqdx {

// White space at both ends removed (blank, tab, CR, LF, VT, FF).
std::string_view TrimView(std::string_view text);
std::string Trim(std::string_view text);

// Only blanks and tabs removed at both ends: selectors and format items keep line ends.
std::string_view TrimBlanks(std::string_view text) noexcept;

// ASCII comparison without regard to case.
bool EqualsNoCase(std::string_view a, std::string_view b) noexcept;
bool StartsWithNoCase(std::string_view text, std::string_view prefix) noexcept;

// Orders names without regard to case, so lookups by any spelling find the entry.
struct CaseInsensitiveLess {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const;
};

// A character of an output name: letters, digits, '_' and '!'.
bool IsOutputNameCharacter(char c) noexcept;
// Whether `name` (already trimmed) is a single output name: one or more such characters.
bool IsWellFormedOutputName(std::string_view name) noexcept;

}  // namespace veqdx
