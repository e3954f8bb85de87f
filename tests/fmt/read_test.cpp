// Parsing instrument replies through a session on the scripted device.
#include <cfloat>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <tuple>
#include <span>
#include <vector>

#include "fmt_fixture.h"

namespace veqdx::io::fmt_test {
namespace {

template <class T>
using Rows = std::initializer_list<std::tuple<const char*, const char*, T>>;

class ReadTest : public FmtTest {
 protected:
  // Queues `reply` and parses it with `format`.
  template <class... A>
  HRESULT Read(std::string reply, const char* format, const A&... dest) {
    dev->Reply(std::move(reply));
    return io().Scanf(format, dest...);
  }
  // Each (format, reply, value): the reply parses into a T of that value.
  template <class T>
  void ExpectValues(Rows<T> rows) {
    for (const auto& [format, reply, expected] : rows) {
      T v = expected == T(0) ? T(1) : T(0);  // anything but the expected value
      EXPECT_EQ(Read(reply, format, &v), S_OK) << format << " " << reply << LastError();
      EXPECT_EQ(v, expected) << format << " " << reply;
    }
  }
  // Each (format, reply, text): the reply does not fit a T, the description is the overflow
  // message ending in `text`, and nothing is stored.
  template <class T>
  void ExpectOverflows(Rows<const char*> rows) {
    for (const auto& [format, reply, text] : rows) {
      alignas(8) unsigned char dest[sizeof(T)];
      std::memset(dest, 0xAA, sizeof dest);
      EXPECT_EQ(Read(reply, format, reinterpret_cast<T*>(dest)), E_VELMORAQDX_IO_GENERAL) << reply;
      EXPECT_EQ(LastError(),
                IoErrorText(std::string("Overflow or underflow reading value of ") + text));
      for (const unsigned char b : dest) EXPECT_EQ(b, 0xAA) << format << " stored something";
    }
  }
};

TEST_F(ReadTest, NumbersInEveryForm) {
  ExpectValues<double>({
      {"%lg", "12.5\n", 12.5},     {"%@3lg", "+1.25000E+01\n", 12.5}, {"%lf", "  -3\n", -3.0},
      {"%lg", "#H1F\n", 31.0},     {"%lg", "9.9E37\n", 9.9e37},       {"%le", "1e-320\n", 1e-320},
      {"%lg", ".5", 0.5},          {"%lg", "7.", 7.0},                {"%3lg", "12345", 123.0},
      {"%lg", "1e\n", 1.0},
  });
  ExpectValues<std::int32_t>({
      {"%d", "42\n", 42},    {"%d", "-7,", -7},     {"%d", "12.7", 12},  {"%d", "1e3", 1000},
      {"%d", "#HFF", 255},   {"%d", "#Q17", 15},    {"%d", "#B101", 5},  {"%x", "ff", 255},
      {"%x", "0x1A", 26},    {"%o", "17", 15},      {"%@1d", "+5", 5},   {"%3d", "12345", 123},
      {"%d", "-2147483648", INT32_MIN},
  });
  ExpectValues<std::int16_t>({{"%hd", "-32768\n", -32768}});
  ExpectValues<std::uint8_t>({{"%bd", "255\n", 255}});
  ExpectValues<std::int64_t>({{"%Id", "9007199254740993\n", 9007199254740993}});  // not via double
  // A float takes zero, the normal range and values below the smallest normal double.
  ExpectValues<float>({{"%f", "0", 0.0f},  {"%f", "1e-320", 0.0f},  {"%f", "-2.5", -2.5f},
                       {"%f", "1.1754943508222875e-38", FLT_MIN},
                       {"%f", "3.4028234663852886e+38", FLT_MAX}});
}

TEST_F(ReadTest, OutOfRangeValuesFailWithTheTargetsMessageAndStoreNothing) {
  ExpectOverflows<std::int16_t>({{"%hd", "40000", "'4.000000e+04' into a short."},
                                 {"%hd", "-32769", "'-3.276900e+04' into a short."}});
  ExpectOverflows<std::uint8_t>({{"%bd", "300", "'3.000000e+02' into a BYTE."},
                                 {"%bd", "-1", "'-1.000000e+00' into a BYTE."}});
  ExpectOverflows<std::int32_t>({{"%d", "2147483648", "'2.147484e+09' into a long."}});
  ExpectOverflows<float>({{"%f", "1e-40", "'1.000000e-40' into a single-precision float."},
                          {"%f", "-1e39", "'-1.000000e+39' into a single-precision float."}});
  ExpectOverflows<std::int64_t>({{"%Id", "1e19", "'1.000000e+19' into a 64-bit integer."}});
  EXPECT_EQ(polls, 0);
}

// A list's count is written back with the number read, and a count below the list length
// stops there; an empty reply is an empty string.
TEST_F(ReadTest, ListCountsAndEmptyStrings) {
  std::int32_t count = 32;
  std::vector<std::int32_t> channels(32, -1);
  ASSERT_EQ(Read("1;2,3\n", "%(;,)#d", &count, std::span<std::int32_t>(channels)), S_OK)
      << LastError();
  EXPECT_EQ(count, 3);
  count = 2;
  ASSERT_EQ(Read("4;5;6\n", "%(;,)#d", &count, std::span<std::int32_t>(channels)), S_OK);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(std::vector<std::int32_t>(channels.begin(), channels.begin() + 4),
            (std::vector<std::int32_t>{4, 5, 3, -1}));
  std::string options = "stale";
  ASSERT_EQ(Read("\n", "%$B[^\n]", &options), S_OK);
  EXPECT_EQ(options, "");
  CountedString model("stale");
  ASSERT_EQ(Read("80.0,QDX750ML\n", "%*lf,%$C[^\n]", &model), S_OK);
  EXPECT_EQ(model, "QDX750ML");
}

TEST_F(ReadTest, StringsWordsAndCharacters) {
  std::string word, line;
  ASSERT_EQ(Read("  ON rest\nmore\n", "%s%T", &word, &line), S_OK);
  EXPECT_EQ(word, "ON");
  EXPECT_EQ(line, " rest");  // up to the line feed, which is consumed and not stored

  char buf[4];
  ASSERT_EQ(Read("abcdefgh", "%s", std::span<char>(buf)), S_OK);
  EXPECT_STREQ(buf, "abc");  // a character buffer keeps one place for the zero
  char wide[10];
  std::int32_t width = 5;
  ASSERT_EQ(Read("abcdefgh", "%#s", &width, std::span<char>(wide)), S_OK);
  EXPECT_STREQ(wide, "abcd");
  EXPECT_EQ(width, 4);

  std::int32_t n = 0;
  char c = 0;
  ASSERT_EQ(Read("12x", "%d%c", &n, &c), S_OK);  // the 'x' after the number was pushed back
  EXPECT_EQ(n, 12);
  EXPECT_EQ(c, 'x');

  std::int32_t second = 0;
  ASSERT_EQ(Read("5,6\n", "%*d,%d", &second), S_OK);
  EXPECT_EQ(second, 6);
  ASSERT_EQ(Read("a,b#12\n", "%*$C[^#\n]#%d", &second), S_OK);  // '#' in a set is a member
  EXPECT_EQ(second, 12);

  std::vector<std::string> words(3);
  std::int32_t got = 3;
  ASSERT_EQ(Read("'a b','c''d',x\n", "%,#qs", &got, std::span<std::string>(words)), S_OK)
      << LastError();
  EXPECT_EQ(got, 3);
  EXPECT_EQ(words, (std::vector<std::string>{"a b", "c'd", "x"}));
}

TEST_F(ReadTest, EnumsThroughTheFormatter) {
  std::int32_t source = -1;
  ASSERT_EQ(Read("BUS\n", "%{TestSource}s", &source), S_OK);
  EXPECT_EQ(source, 1);
  std::vector<std::int16_t> flags(3, 7);
  ASSERT_EQ(Read("ON,0,1\n", "%{VARIANT_BOOL},s", std::span<std::int16_t>(flags)), S_OK);
  EXPECT_EQ(flags, (std::vector<std::int16_t>{-1, 0, -1}));
  EXPECT_EQ(Read("EXT\n", "%{TestSource}s", &source), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), IoErrorText("Unexpected value 'EXT' for enum 'TestSource'."));
  EXPECT_EQ(source, 1);
}

TEST_F(ReadTest, BinaryBlocks) {
  std::vector<std::int16_t> shorts(3);
  ASSERT_EQ(Read(std::string("#16\x00\x01\x00\x02\x01\x02\n", 10), "%hb",
                 std::span<std::int16_t>(shorts)), S_OK) << LastError();
  EXPECT_EQ(shorts, (std::vector<std::int16_t>{1, 2, 0x0102}));

  std::vector<char> bytes(8, 0);
  std::int32_t count = 8;
  ASSERT_EQ(Read(",#13abc\n", "%#b", &count, std::span<char>(bytes)), S_OK) << LastError();
  EXPECT_EQ(count, 3);
  EXPECT_EQ(std::string(bytes.data(), 3), "abc");

  count = 8;
  ASSERT_EQ(Read("#0\n", "%#b", &count, std::span<char>(bytes)), S_OK);
  EXPECT_EQ(count, 0);
  count = 8;
  ASSERT_EQ(Read("#0xyz\n", "%#b", &count, std::span<char>(bytes)), S_OK);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(std::string(bytes.data(), 3), "xyz");

  std::vector<std::int32_t> raw(2);
  count = 2;
  ASSERT_EQ(Read(std::string("\x01\0\0\0\x02\0\0\0", 8), "%#!olly", &count,
                 std::span<std::int32_t>(raw)), S_OK);
  EXPECT_EQ(raw, (std::vector<std::int32_t>{1, 2}));
}

TEST_F(ReadTest, BadBlocksFailInBoundedTimeAndMemory) {
  std::vector<char> bytes(4);
  const char* const kNoHeader = "Binary block header not found.";
  const std::pair<std::string, const char*> cases[] = {
      {",,#13abc", kNoHeader}, {"#x3abc", kNoHeader}, {"#2x1abc", kNoHeader}, {"", kNoHeader},
      {"#13ab", "Binary block ended after 2 of 3 data bytes."},
      {"#9999999999", "Binary block of 999999999 bytes does not fit in the destination of 4 "
                      "elements of 1 bytes."},
      {"#0abcdef\n", "Binary block does not fit in the destination of 4 elements of 1 bytes."},
  };
  for (const auto& [reply, text] : cases) {
    EXPECT_EQ(Read(reply, "%b", std::span<char>(bytes)), E_VELMORAQDX_IO_GENERAL) << reply;
    EXPECT_EQ(LastError(), IoErrorText(text)) << reply;
  }
  std::vector<std::int16_t> shorts(4);
  EXPECT_EQ(Read("#13abc", "%hb", std::span<std::int16_t>(shorts)), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(),
            IoErrorText("Binary block of 3 bytes is not a whole number of 2-byte elements."));
  EXPECT_EQ(polls, 0);
}

TEST_F(ReadTest, ReplyDeliveredInPieces) {
  double d = 0;
  dev->Reply("12.5\n", {.chunk = 2});
  ASSERT_EQ(io().Scanf("%lg", &d), S_OK) << LastError();
  EXPECT_EQ(d, 12.5);

  const std::string longText(10000, 'q');
  std::string text;
  dev->Reply(longText + "\n", {.chunk = 999});
  ASSERT_EQ(io().Scanf("%$BT", &text), S_OK);
  EXPECT_EQ(text, longText);

  std::vector<std::int16_t> block(3000);
  std::string reply = "#46000";
  for (int k = 0; k < 3000; ++k) reply += {static_cast<char>(k >> 8), static_cast<char>(k & 0xFF)};
  dev->Reply(reply + "\n", {.chunk = 1000});
  ASSERT_EQ(io().Scanf("%hb", std::span<std::int16_t>(block)), S_OK);
  EXPECT_EQ(block[2999], 2999);
  EXPECT_EQ(dev->PendingOutput(), 0u);
}

TEST_F(ReadTest, UnconsumedRestIsDiscardedBeforeTheNextQuery) {
  dev->OnQuery("A?", "1,2,3\n", {.chunk = 2});
  dev->OnQuery("B?", "7\n");
  std::int32_t a = 0, b = 0;
  ASSERT_EQ(io().QueryString("A?", "%d", &a), S_OK);
  ASSERT_EQ(io().QueryString("B?", "%d", &b), S_OK);
  EXPECT_EQ(a, 1);
  EXPECT_EQ(b, 7);
  EXPECT_EQ(dev->Written(), (std::vector<std::string>{"A?", "B?"}));
  EXPECT_EQ(polls, 2);  // QueryString polls once, after the read
}

TEST_F(ReadTest, MalformedAndMissingRepliesGiveClearErrors) {
  std::int32_t v = 5;
  EXPECT_EQ(Read("abc\n", "%d", &v), E_VELMORAQDX_IO_GENERAL);
  EXPECT_NE(LastError().find("expected a number after 0 characters, found 'a'"), std::string::npos)
      << LastError();
  EXPECT_EQ(Read("1;2\n", "%d,%d", &v, &v), E_VELMORAQDX_IO_GENERAL);
  EXPECT_NE(LastError().find("expected ','"), std::string::npos) << LastError();
  EXPECT_EQ(Read("", "%d", &v), E_VELMORAQDX_IO_GENERAL);
  EXPECT_NE(LastError().find("found the end of the response"), std::string::npos);

  // A reply that runs past every limit is cut off, and its rest is never read as a value.
  std::string text;
  dev->Reply(std::string(2'000'000, 'z'));
  EXPECT_EQ(io().Scanf("%$Bt", &text), E_VELMORAQDX_IO_GENERAL);
  EXPECT_NE(LastError().find("did not end after 1048576 bytes"), std::string::npos) << LastError();
  EXPECT_EQ(io().WriteString("*OPC?"), S_OK);
  EXPECT_EQ(dev->ClearCount(), 1);  // the cut-off rest went with a device clear
  dev->Reply("7");
  EXPECT_EQ(io().Scanf("%d", &v), S_OK) << LastError();
  EXPECT_EQ(v, 7);
  EXPECT_EQ(dev->PendingOutput(), 0u);
  // A number longer than the reader takes is an error, never a value cut short: 300 digits
  // would otherwise read as 7.78e255 with success.
  double d = 5;
  for (const char* digits : {"778", "1"}) {
    dev->Reply(std::string(digits) + std::string(297, '0'));
    EXPECT_EQ(io().Scanf("%lf", &d), E_VELMORAQDX_IO_GENERAL);
    EXPECT_NE(LastError().find("a number longer than 255 characters"), std::string::npos)
        << LastError();
  }
  EXPECT_EQ(d, 5);
  dev->Reply(std::string(40, '1'));
  EXPECT_EQ(io().Scanf("%5d", &v), S_OK);  // a width the caller gives still ends the field
  EXPECT_EQ(v, 11111);

  dev->Reply("12", {.end = false});  // the device never finishes its reply
  EXPECT_EQ(io().Scanf("%d", &v), E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(polls, 3);  // only the write and the two reads that succeeded
}

TEST_F(ReadTest, ArgumentMistakesAreInvalidArgumentsAndTheReplyIsStillDropped) {
  double d = 0;
  std::int32_t i = 0;
  std::int32_t* none = nullptr;
  const std::function<HRESULT()> calls[] = {
      [&] { return Read("1\n", "%d", &d); },
      [&] { return Read("1\n", "%hd", &i); },
      [&] { return Read("1\n", "%d"); },
      [&] { return Read("1\n", "%d", &i, &i); },
      [&] { return Read("1\n", "%d", none); },
      [&] { return Read("1,2\n", "%,#d", none, std::span<std::int32_t>(&i, 1)); },
      [&] { return Read("1\n", "%(q)d", std::span<std::int32_t>(&i, 1)); },
      [&] { return Read("1\n", "%s", &i); },
      [&] { return Read("1\n", "%hb", std::span<std::int32_t>(&i, 1)); },
      [&] { return Read("1\n", "% * @3 lg", &d); },  // no blanks before the length
  };
  for (const auto& call : calls) {
    EXPECT_EQ(call(), E_INVALIDARG) << LastError();
    EXPECT_EQ(ThreadErrorRecord().hr, E_INVALIDARG);
    EXPECT_EQ(dev->PendingOutput(), 0u);
  }
  EXPECT_EQ(i, 0);
  EXPECT_EQ(polls, 0);
}

TEST_F(ReadTest, SscanfParsesTextWithoutTheDevice) {
  char model[16];
  std::int32_t number = 0;  // "%ld" is the 32-bit ("long") item
  ASSERT_EQ(io().Sscanf("QDX750ML", "QDX%ld%15s", &number, std::span<char>(model)), S_OK);
  EXPECT_EQ(number, 750);
  EXPECT_STREQ(model, "ML");
  EXPECT_EQ(io().Sscanf("XYZ750", "QDX%ld", &number), E_VELMORAQDX_IO_GENERAL);
  EXPECT_TRUE(dev->Writes().empty());
  EXPECT_EQ(polls, 0);
}

}  // namespace
}  // namespace veqdx::io::fmt_test
