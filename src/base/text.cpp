#include "base/text.h"

#include <algorithm>
#include <cctype>

namespace veqdx {
namespace {

bool IsWhiteSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

std::string_view TrimView(std::string_view text) {
  while (!text.empty() && IsWhiteSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsWhiteSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string Trim(std::string_view text) { return std::string(TrimView(text)); }

std::string_view TrimBlanks(std::string_view text) noexcept {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool EqualsNoCase(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return Lower(x) == Lower(y); });
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) noexcept {
  return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

bool CaseInsensitiveLess::operator()(std::string_view a, std::string_view b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char x, char y) { return Lower(x) < Lower(y); });
}

bool IsOutputNameCharacter(char c) noexcept {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '!';
}

bool IsWellFormedOutputName(std::string_view name) noexcept {
  if (name.empty()) return false;
  for (char c : name)
    if (!IsOutputNameCharacter(c)) return false;
  return true;
}

}  // namespace veqdx
