// Locale-free printf conversions for the formatted writer.
//
// The C runtime's printf takes the decimal separator from the process locale, and an
// instrument must always see a period. These produce exactly what printf produces in the "C"
// locale for the conversions and flags the engine accepts (d i o u x X f e E g G, flags
// '-' '+' ' ' '0', width, precision), using std::to_chars for the digits.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace veqdx::io {

struct NumberSpec {
  bool left = false, plus = false, space = false, zero = false;
  int width = -1;      // -1: none
  int precision = -1;  // -1: none
};

// d/i: `magnitude` with a minus sign when `negative`; o u x X: `magnitude` as it is.
void AppendInteger(std::string& out, const NumberSpec& field, char conv, std::uint64_t magnitude,
                   bool negative);
// `bits` in base 16 ('X'), 8 ('o') or 2 ('b') after `prefix` ("#H", "#Q", "#B"). The prefix
// counts toward the width: it takes the place of padding, so a padded field keeps its width
// (left-justified: prefix digits blanks; blank-padded: blanks prefix digits; zero-padded:
// prefix zeros digits). With less padding than the prefix the field grows instead of
// losing digits.
void AppendPrefixed(std::string& out, const NumberSpec& field, std::string_view prefix,
                    char conv, std::uint64_t bits);
// f e E g G of a double / long double.
void AppendReal(std::string& out, const NumberSpec& field, char conv, double value);
void AppendReal(std::string& out, const NumberSpec& field, char conv, long double value);
// Text padded with blanks to the width (left-justified with '-').
void AppendPadded(std::string& out, const NumberSpec& field, std::string_view text);

// printf's "%e" of a value, for messages ("Overflow or underflow reading value of '%e' ...").
std::string ScientificText(double value);

}  // namespace veqdx::io
