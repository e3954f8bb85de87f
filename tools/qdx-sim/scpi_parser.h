// The syntax side of SCPI: splitting a program message into units, reading a header and its
// parameters, and decoding parameter values. No instrument knowledge lives here.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qdxsim::scpi {

// One node of a typed header: "ISUM2" is name "ISUM", suffix 2.
struct Mnemonic {
  std::string name;  // upper case
  int suffix = 1;    // 1 when none was typed, as SCPI defines
  bool suffixTyped = false;
};

// One program message unit, e.g. ":VOLT:PROT 12.5" or "*ESR?".
struct ProgramUnit {
  bool common = false;    // "*IDN?": nodes holds one mnemonic "*IDN"
  bool absolute = false;  // began with ':'
  bool query = false;
  std::vector<Mnemonic> nodes;
  std::vector<std::string> params;  // trimmed parameter texts
};

// Splits a message at ';' outside quoted strings. `unterminatedString` is set when a quote
// is never closed (the last unit then holds the rest of the message).
std::vector<std::string_view> splitUnits(std::string_view message, bool& unterminatedString);

// Parses one unit. Returns 0 or a (negative) SCPI command error number.
int parseUnit(std::string_view text, ProgramUnit& out);

// --- parameter values ---

enum class Unit { None, Volt, Ampere };
enum class NumberKeyword { None, Min, Max, Def };

struct Number {
  double value = 0;
  NumberKeyword keyword = NumberKeyword::None;
};

// Decimal (with optional exponent and unit suffix such as "V", "mV", "A", "mA"), non-decimal
// ("#H1F", "#Q17", "#B101") or MIN/MAX/DEF. Returns 0 or an error number.
int parseNumber(std::string_view text, Unit unit, Number& out);
// An integer: a number rounded to the nearest integer; MIN/MAX/DEF are refused (-148).
int parseInteger(std::string_view text, long long& out);
// ON/OFF, or a number (nonzero after rounding is ON).
int parseBoolean(std::string_view text, bool& out);
// A keyword out of `choices` given in SCPI form ("FORCe": short form upper case); `index`
// receives the position of the match.
int parseChoice(std::string_view text, const std::vector<std::string_view>& choices, int& index);

// True when `typed` (upper case) is the short or the long form of `pattern` ("VOLTage").
bool matchesForm(std::string_view typed, std::string_view pattern);
// "FORCe" -> "FORC".
std::string shortForm(std::string_view pattern);
// Numbers in replies: "%.15g", the precision the driver writes with, so that a value written
// reads back as the identical text; -0 is written as 0.
std::string formatNumber(double value);

}  // namespace qdxsim::scpi
