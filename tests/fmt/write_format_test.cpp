// What the writer makes of each kind of format item, to the character.
#include <clocale>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "fmt_fixture.h"

namespace veqdx::io::fmt_test {
namespace {

struct WriteCase {
  const char* name;
  std::function<HRESULT(CFormattedIo&, std::string&)> format;
  std::string expected;
};

// One row: the format and its arguments, run through Sprintf.
template <class... A>
WriteCase Row(const char* name, const char* format, std::string expected, A... args) {
  return {name, [=](CFormattedIo& io, std::string& out) { return io.Sprintf(out, format, args...); },
          std::move(expected)};
}

const std::vector<std::int32_t> kOneTwoThree{1, 2, 3};
const std::vector<std::int16_t> kShorts{1, 2, 0x0102};
const std::vector<std::uint8_t> kNoBytes{};
const std::vector<std::uint8_t> kAbcde{'a', 'b', 'c', 'd', 'e'};
const std::vector<double> kOneDouble{1.0};
const std::vector<double> kHalves{0.5, 1.25};
const std::vector<std::string> kWords{"a", "b"};
const std::vector<std::int16_t> kBools{-1, 0};

// The plain C conversions (flags, widths and precisions of d i o u x X f e E g G) are compared
// with printf in MatchesPrintfForFlagsWidthsAndPrecisions; these rows are everything else.
std::vector<WriteCase> WriteCases() {
  using S = std::span<const std::int32_t>;
  return {
      Row("literal", ":OUTP:PROT:CLE", ":OUTP:PROT:CLE"), Row("percent", "100%%", "100%"),
      Row("empty", "", ""),
      Row("int", ":INST:NSEL %d", ":INST:NSEL 42", 42),
      Row("NR1 of 5", "%@1d", "5", 5),
      Row("NR1 of -3 is one greater", "%@1d", "-2", -3),
      Row("NR1 of 0", "%@1d", "0", 0), Row("NR2 of int", "%@2d", "5.000000", 5),
      Row("NR3 of int", "%@3d", "5.000000E+00", 5),
      Row("hex form", "%@Hd", "#HFF", 255),
      Row("hex form blank padded", "%@H6d", "  #HFF", 255),
      Row("hex form left", "%-@H6d|", "#HFF  |", 255),
      Row("hex form zero padded", "%0@H6d", "#H00FF", 255),
      Row("hex form too narrow to pad", "%@H3d", "#HFF", 255),
      Row("octal form", "%@Qd", "#Q10", 8), Row("binary form", "%@Bd", "#B101", 5),
      Row("binary form zero padded", "%0@B8d", "#B000101", 5),
      Row("hex form of negative rounds up", "%@Hd", "#HFFFFFFFE", -3),
      Row("short", "%hd", "-5", std::int16_t{-5}),
      Row("short hex", "%hx", "ffff", std::int16_t{-1}),
      Row("byte unsigned", "%bd", "200", std::uint8_t{200}),
      Row("64-bit", "%Id", "1099511627776", std::int64_t{1} << 40),
      Row("64-bit hex", "%Ix", "ffffffffffffffff", std::int64_t{-1}),
      Row("narrower argument widens", "%d", "-7", std::int16_t{-7}),
      Row("star width", "%*d", "    42", 6, 42), Row("negative star width", "%*d|", "7   |", -4, 7),
      Row("star precision", "%.*d", "007", 3, 7), Row("zero star width", "%0*d", "0042", 4, 42),
      Row("real", ":VOLT %0.15lg", ":VOLT 12.5", 12.5),
      Row("NR3 of real", "%0@3.15lg", "1.250000000000000E+01", 12.5),
      Row("NR1 of real", "%@1lf", "3", 2.5), Row("NR1 of negative real", "%@1lf", "-2", -2.5),
      Row("NR2 of real", "%@2.3lf", "2.000", 2.0), Row("long double", "%Lg", "0.5", 0.5L),
      Row("float widens", "%g", "0.25", 0.25f),
      Row("nan padded with blanks", "%05.1f", "  nan", std::nan("")),
      Row("string", "*IDN%s", "*IDN?", "?"), Row("string precision", "%.2s", "ab", "abc"),
      Row("string width", "%5s|", "  abc|", "abc"), Row("string left", "%-5s|", "abc  |", "abc"),
      Row("single quoted", "%qs", "'abc'", "abc"), Row("double quoted", "%Qs", "\"abc\"", "abc"),
      Row("std::string", "%$Bs", "xyz", std::string("xyz")),
      Row("counted string", "%$Cs", "xyz", CountedString("xyz")),
      Row("character", "%c", "x", 'x'), Row("character width", "%3c", "  x", 'x'),
      Row("boolean true", ":OUTP %{VARIANT_BOOL}s", ":OUTP 1", VARIANT_TRUE),
      Row("boolean false", ":OUTP %{VARIANT_BOOL}s", ":OUTP 0", VARIANT_FALSE),
      Row("enum, blanks in braces", "TRIG:TRAN:SOUR %{ TestSource }s", "TRIG:TRAN:SOUR BUS", 1),
      Row("quoted enum", "%{TestSource}Qs", "\"IMM\"", 0),
      Row("comma list", "%,d", "1,2,3", S(kOneTwoThree)),
      Row("semicolon list", "%(;)d", "1;2;3", S(kOneTwoThree)),
      Row("line feed list", "%(n)d", "1\n2\n3", S(kOneTwoThree)),
      Row("list count", "%,2d", "1,2", S(kOneTwoThree)),
      Row("list star count", "%,*d", "1,2", 2, S(kOneTwoThree)),
      Row("list count above length", "%,9d", "1,2,3", S(kOneTwoThree)),
      Row("list number form", "%@H,d", "#H1,#H2,#H3", S(kOneTwoThree)),
      Row("real list", "%.15,lg", "0.5,1.25", std::span<const double>(kHalves)),
      Row("string list", "%(s)s", "a b", std::span<const std::string>(kWords)),
      Row("quoted string list", "%,Qs", "\"a\",\"b\"", std::span<const std::string>(kWords)),
      Row("enum list", "%{VARIANT_BOOL},s", "1,0", std::span<const std::int16_t>(kBools)),
      Row("empty byte block", "%b", "#0", std::span<const std::uint8_t>(kNoBytes)),
      Row("empty byte block, line feed", "%B", "#0\n", std::span<const std::uint8_t>(kNoBytes)),
      Row("three shorts", "%hb", std::string("#16\x00\x01\x00\x02\x01\x02", 9),
          std::span<const std::int16_t>(kShorts)),
      Row("three shorts, line feed", "%hB", std::string("#16\x00\x01\x00\x02\x01\x02\n", 10),
          std::span<const std::int16_t>(kShorts)),
      Row("block count", "%3b", "#13abc", std::span<const std::uint8_t>(kAbcde)),
      Row("zero count block", "%0b", "#0", std::span<const std::uint8_t>(kAbcde)),
      Row("double block big-endian", "%Zb", std::string("#18\x3F\xF0\0\0\0\0\0\0", 11),
          std::span<const double>(kOneDouble)),
      Row("raw big-endian", "%!obhy", std::string("\x00\x01", 2),
          std::span<const std::int16_t>(kShorts).first(1)),
      Row("raw little-endian", "%!olhy", std::string("\x02\x01", 2),
          std::span<const std::int16_t>(kShorts).last(1)),
      Row("raw default order", "%hy", std::string("\x01\x02", 2),
          std::span<const std::int16_t>(kShorts).last(1)),
  };
}

class WriteFormatTest : public FmtTest {};

TEST_F(WriteFormatTest, EachItemKindWritesExactText) {
  for (const WriteCase& c : WriteCases()) {
    std::string out = "stale";
    EXPECT_EQ(c.format(io(), out), S_OK) << c.name << ": " << LastError();
    EXPECT_EQ(out, c.expected) << c.name;
  }
}

TEST_F(WriteFormatTest, ByteSwapOffWritesHostOrder) {
  EXPECT_TRUE(io().ByteSwap());  // big-endian on the wire from this little-endian host
  io().SetByteSwap(false);
  std::string out;
  ASSERT_EQ(io().Sprintf(out, "%hb", std::span<const std::int16_t>(kShorts)), S_OK);
  EXPECT_EQ(out, std::string("#16\x01\x00\x02\x00\x02\x01", 9));
}

// The writer's own conversions must agree with the C runtime's printf in the "C" locale
// for every flag, width and precision combination it accepts.
TEST_F(WriteFormatTest, MatchesPrintfForFlagsWidthsAndPrecisions) {
  const char* flagSets[] = {"", "-", "+", " ", "0", "-+", "+0", " 0", "-0", "+ "};
  const char* widths[] = {"", "1", "5", "9"};
  const char* precisions[] = {"", ".0", ".3"};
  const std::int32_t ints[] = {0, 1, -1, 5, 7, 8, 42, -42, 255, INT32_MIN, INT32_MAX};
  int checked = 0;
  for (const char* conv : {"d", "i", "o", "u", "x", "X"}) {
    for (const char* f : flagSets) {
      for (const char* w : widths) {
        for (const char* p : precisions) {
          const std::string format = std::string("%") + f + w + p + conv;
          for (const std::int32_t v : ints) {
            char want[128];
            std::snprintf(want, sizeof want, format.c_str(), v);
            std::string got;
            ASSERT_EQ(io().Sprintf(got, format.c_str(), v), S_OK) << format;
            ASSERT_EQ(got, want) << format << " of " << v;
            ++checked;
          }
        }
      }
    }
  }
  const double reals[] = {0.0, -0.0, 0.1, 1.5, -2.5, 12.5, 1e-5, 1e-10, 3.14159, -3.14159,
                          1234.5, 123456.789, 1e20, 123456789012345678.0, -1e-300, 9.999999e15,
                          0.000123456, 5e-324, std::numeric_limits<double>::infinity(),
                          -std::nan("")};
  for (const char* conv : {"f", "e", "E", "g", "G"}) {
    for (const char* f : flagSets) {
      for (const char* w : {"", "8", "14"}) {
        for (const char* p : {"", ".0", ".2", ".3", ".15"}) {
          for (const char* length : {"", "l"}) {
            const std::string format = std::string("%") + f + w + p + length + conv;
            for (const double v : reals) {
              char want[512];
              std::snprintf(want, sizeof want, format.c_str(), v);
              std::string got;
              ASSERT_EQ(io().Sprintf(got, format.c_str(), v), S_OK) << format;
              ASSERT_EQ(got, want) << format << " of " << v;
              ++checked;
            }
          }
        }
      }
    }
  }
  EXPECT_GT(checked, 37000);
}

TEST_F(WriteFormatTest, PeriodIsTheDecimalSeparatorInAnyLocale) {
  const std::string previous = std::setlocale(LC_ALL, nullptr);
  const char* german = std::setlocale(LC_ALL, "de_DE.UTF-8");
  if (german == nullptr) german = std::setlocale(LC_ALL, "de_DE.utf8");
  if (german == nullptr) GTEST_SKIP() << "no comma-decimal locale installed (de_DE.UTF-8)";
  char native[32];
  std::snprintf(native, sizeof native, "%.1f", 12.5);
  std::string out;
  const HRESULT written = io().Sprintf(out, ":VOLT %0.15lg;%@3lf", 12.5, 0.25);
  double volts = 0;
  float amps = 0;
  const HRESULT read = io().Sscanf("12.5,0.25", "%lf,%f", &volts, &amps);
  std::setlocale(LC_ALL, previous.c_str());
  EXPECT_STREQ(native, "12,5");  // the locale really is in force
  EXPECT_EQ(written, S_OK);
  EXPECT_EQ(out, ":VOLT 12.5;2.500000E-01");
  EXPECT_EQ(read, S_OK);
  EXPECT_EQ(volts, 12.5);
  EXPECT_EQ(amps, 0.25f);
}

}  // namespace
}  // namespace veqdx::io::fmt_test
