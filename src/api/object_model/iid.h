// Interface identifiers are compared as the registry compares them: without regard to case.
#pragma once
#include <cstddef>
#include <string_view>

namespace veqdx::api {

constexpr char AsciiLower(char c) noexcept { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

constexpr bool SameIid(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
  return true;
}

}  // namespace veqdx::api
