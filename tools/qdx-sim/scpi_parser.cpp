#include "scpi_parser.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "scpi_errors.h"

namespace qdxsim::scpi {

namespace {

constexpr std::size_t kMaxMnemonicLength = 12;  // SCPI's limit for one header node

bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isAlpha(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isQuote(char c) { return c == '"' || c == '\''; }

std::string upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
  return s;
}

// Reads one header node at `i`; returns 0 or an error number.
int readMnemonic(std::string_view text, std::size_t& i, Mnemonic& out) {
  if (i >= text.size() || !isAlpha(text[i])) return err::kSyntax;
  std::size_t start = i;
  while (i < text.size() && (std::isalnum(static_cast<unsigned char>(text[i])) || text[i] == '_')) ++i;
  std::string_view word = text.substr(start, i - start);
  if (word.size() > kMaxMnemonicLength) return err::kMnemonicTooLong;
  std::size_t digits = word.size();
  while (digits > 0 && isDigit(word[digits - 1])) --digits;
  out.name = upper(word.substr(0, digits));
  if (digits < word.size()) {
    std::string_view suffix = word.substr(digits);
    if (suffix.size() > 6) return err::kSuffixOutOfRange;
    out.suffix = std::atoi(std::string(suffix).c_str());
    out.suffixTyped = true;
  }
  return 0;
}

// Splits the parameter section at ',' outside strings into trimmed texts.
int splitParams(std::string_view text, std::vector<std::string>& out) {
  char quote = 0;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    char c = i < text.size() ? text[i] : ',';
    if (quote) {
      if (i == text.size()) return err::kInvalidStringData;
      if (c == quote) quote = 0;
      continue;
    }
    if (isQuote(c)) {
      quote = c;
    } else if (c == ',') {
      std::string_view p = trim(text.substr(start, i - start));
      if (p.empty()) return err::kSyntax;
      out.emplace_back(p);
      start = i + 1;
    }
  }
  return 0;
}

int parseNonDecimal(std::string_view text, double& value) {
  if (text.size() < 3) return err::kNumericData;
  int base = 0;
  switch (std::toupper(static_cast<unsigned char>(text[1]))) {
    case 'H': base = 16; break;
    case 'Q': base = 8; break;
    case 'B': base = 2; break;
    default: return err::kNumericData;
  }
  std::string_view digits = text.substr(2);
  if (digits.size() > 40) return err::kNumericData;
  double v = 0;
  for (char c : digits) {
    int d = std::isxdigit(static_cast<unsigned char>(c))
                ? (isDigit(c) ? c - '0' : std::toupper(static_cast<unsigned char>(c)) - 'A' + 10)
                : 99;
    if (d >= base) return err::kNumericData;
    v = v * base + d;
  }
  value = v;
  return 0;
}

// Scale of a unit suffix such as "MV" for volts; 0 when the suffix is not allowed.
double suffixScale(const std::string& suffix, Unit unit) {
  const char* base = unit == Unit::Volt ? "V" : unit == Unit::Ampere ? "A" : nullptr;
  if (!base) return 0;
  if (suffix == base) return 1;
  if (suffix.size() != 2 || suffix[1] != base[0]) return 0;
  switch (suffix[0]) {
    case 'M': return 1e-3;
    case 'U': return 1e-6;
    case 'K': return 1e3;
    default: return 0;
  }
}

}  // namespace

std::vector<std::string_view> splitUnits(std::string_view message, bool& unterminatedString) {
  std::vector<std::string_view> units;
  char quote = 0;
  std::size_t start = 0;
  for (std::size_t i = 0; i < message.size(); ++i) {
    char c = message[i];
    if (quote) {
      if (c == quote) quote = 0;
    } else if (isQuote(c)) {
      quote = c;
    } else if (c == ';') {
      units.push_back(message.substr(start, i - start));
      start = i + 1;
    }
  }
  units.push_back(message.substr(start));
  unterminatedString = quote != 0;
  return units;
}

int parseUnit(std::string_view text, ProgramUnit& out) {
  out = ProgramUnit{};
  for (char c : text) {
    auto u = static_cast<unsigned char>(c);
    if ((u < 0x20 && c != '\t') || u >= 0x7f) return err::kInvalidCharacter;
  }
  std::size_t i = 0;
  while (i < text.size() && isBlank(text[i])) ++i;
  if (i == text.size()) return err::kSyntax;
  if (text[i] == '*') {
    ++i;
    Mnemonic m;
    if (int e = readMnemonic(text, i, m)) return e;
    if (m.suffixTyped) return err::kUndefinedHeader;  // common headers carry no suffix
    m.name = "*" + m.name;
    out.common = true;
    out.nodes.push_back(std::move(m));
  } else {
    if (text[i] == ':') {
      out.absolute = true;
      ++i;
    }
    for (;;) {
      Mnemonic m;
      if (int e = readMnemonic(text, i, m)) return e;
      out.nodes.push_back(std::move(m));
      if (i < text.size() && text[i] == ':') {
        ++i;
        continue;
      }
      break;
    }
  }
  if (i < text.size() && text[i] == '?') {
    out.query = true;
    ++i;
  }
  if (i == text.size()) return 0;
  if (!isBlank(text[i])) return text[i] == ',' ? err::kInvalidSeparator : err::kSyntax;
  std::string_view rest = trim(text.substr(i));
  if (rest.empty()) return 0;
  return splitParams(rest, out.params);
}

int parseNumber(std::string_view text, Unit unit, Number& out) {
  out = Number{};
  if (text.empty()) return err::kMissingParameter;
  char first = text[0];
  if (isQuote(first)) return err::kStringDataNotAllowed;
  if (first == '#') return parseNonDecimal(text, out.value);
  if (isAlpha(first)) {
    std::string word = upper(text);
    if (matchesForm(word, "MINimum")) out.keyword = NumberKeyword::Min;
    else if (matchesForm(word, "MAXimum")) out.keyword = NumberKeyword::Max;
    else if (matchesForm(word, "DEFault")) out.keyword = NumberKeyword::Def;
    else return err::kCharacterDataNotAllowed;
    return 0;
  }
  std::string number;
  std::size_t i = 0;
  if (text[i] == '+' || text[i] == '-') number += text[i++];
  int digits = 0;
  while (i < text.size() && isDigit(text[i])) number += text[i++], ++digits;
  if (i < text.size() && text[i] == '.') {
    number += text[i++];
    while (i < text.size() && isDigit(text[i])) number += text[i++], ++digits;
  }
  if (digits == 0) return err::kNumericData;
  std::size_t j = i;
  while (j < text.size() && isBlank(text[j])) ++j;
  if (j < text.size() && (text[j] == 'e' || text[j] == 'E')) {
    std::string exponent = "e";
    ++j;
    while (j < text.size() && isBlank(text[j])) ++j;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) exponent += text[j++];
    int expDigits = 0;
    while (j < text.size() && isDigit(text[j])) exponent += text[j++], ++expDigits;
    if (expDigits == 0) return err::kNumericData;
    if (expDigits > 5) return err::kExponentTooLarge;
    number += exponent;
    i = j;
  }
  while (i < text.size() && isBlank(text[i])) ++i;
  std::string suffix = upper(text.substr(i));
  for (char c : suffix) {
    if (!isAlpha(c)) return err::kNumericData;
  }
  double value = std::strtod(number.c_str(), nullptr);
  if (!std::isfinite(value)) return err::kExponentTooLarge;
  if (!suffix.empty()) {
    double scale = suffixScale(suffix, unit);
    if (scale == 0) return err::kInvalidSuffix;
    value *= scale;
  }
  out.value = value;
  return 0;
}

int parseInteger(std::string_view text, long long& out) {
  Number n;
  if (int e = parseNumber(text, Unit::None, n)) return e;
  if (n.keyword != NumberKeyword::None) return err::kCharacterDataNotAllowed;
  constexpr double kLimit = 9e15;  // beyond every register; callers range-check
  if (n.value > kLimit) out = std::numeric_limits<long long>::max();
  else if (n.value < -kLimit) out = std::numeric_limits<long long>::min();
  else out = std::llround(n.value);
  return 0;
}

int parseBoolean(std::string_view text, bool& out) {
  if (!text.empty() && isAlpha(text[0])) {
    std::string word = upper(text);
    if (word == "ON") out = true;
    else if (word == "OFF") out = false;
    else return err::kInvalidCharacterData;
    return 0;
  }
  long long v = 0;
  if (int e = parseInteger(text, v)) return e;
  out = v != 0;
  return 0;
}

int parseChoice(std::string_view text, const std::vector<std::string_view>& choices, int& index) {
  if (text.empty()) return err::kMissingParameter;
  if (isQuote(text[0])) return err::kStringDataNotAllowed;
  if (!isAlpha(text[0])) return err::kDataType;
  std::string word = upper(text);
  for (std::size_t k = 0; k < choices.size(); ++k) {
    if (matchesForm(word, choices[k])) {
      index = static_cast<int>(k);
      return 0;
    }
  }
  return err::kInvalidCharacterData;
}

bool matchesForm(std::string_view typed, std::string_view pattern) {
  return typed == shortForm(pattern) || typed == upper(pattern);
}

std::string shortForm(std::string_view pattern) {
  std::size_t n = 0;
  while (n < pattern.size() && !std::islower(static_cast<unsigned char>(pattern[n]))) ++n;
  return std::string(pattern.substr(0, n));
}

std::string formatNumber(double value) {
  if (value == 0) return "0";
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.15g", value);
  return buffer;
}

}  // namespace qdxsim::scpi
