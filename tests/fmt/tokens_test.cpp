// Tokenizing: which kind each item is, what its parts decode to, and that a format is
// tokenized once per process however many threads use it.
#include <atomic>
#include <thread>
#include <vector>

#include "fmt_fixture.h"
#include "io/format_tokens.h"

namespace veqdx::io::fmt_test {
namespace {

// Each (format, kinds): the tokenizer finds exactly these kinds, and fails only when none.
template <class Kind>
void ExpectKinds(std::unique_ptr<ParsedFormat> (*tokenize)(std::string_view),
                 std::initializer_list<std::pair<const char*, std::vector<Kind>>> rows) {
  for (const auto& [format, kinds] : rows) {
    const auto parsed = tokenize(format);
    std::vector<Kind> found;
    for (const FormatItem& it : parsed->items) found.push_back(static_cast<Kind>(it.kind));
    EXPECT_EQ(found, kinds) << format;
    EXPECT_EQ(parsed->error.empty(), !kinds.empty()) << format;
  }
}

TEST(FormatTokens, WriteAndReadKinds) {
  using W = WriteKind;
  ExpectKinds<W>(TokenizeWriteFormat, {
      {":VOLT %0.15lg", {W::Literal, W::Real}}, {"%@1d%%", {W::Integer, W::Literal}},
      {"%0@3.15lg", {W::Real}},                 {"%bd", {W::Integer}},
      {"%hb", {W::Block}},                      {"%12$SZB", {W::BlockLf}},
      {"%*!obly", {W::Raw}},                    {"%,d%(;)2$Slf", {W::IntegerList, W::RealList}},
      {"%-5.*c", {W::Char}},                    {"%$CQs", {W::String}},
      {"%(n)*$S$Bqs", {W::StringList}},         {"%{ VARIANT_BOOL }s", {W::Enum}},
      {"%{TestSource},3s", {W::EnumList}},
      {"%%%d", {W::Literal, W::Integer}},       {"50%% %", {}},  // a lone '%' is no literal
  });
  using R = ReadKind;
  ExpectKinds<R>(TokenizeReadFormat, {
      {"%d,%$Ct", {R::Integer, R::Literal, R::RestToEnd}},
      {"%lf,%lf,%lf,%$C[^\n]",
       {R::Real, R::Literal, R::Real, R::Literal, R::Real, R::Literal, R::CharSet}},
      {"%(;,)#d", {R::IntegerList}},            {"%#$Cs", {R::Word}},
      {"% * @3 lg", {}},  // blanks before the length are not part of the language
      {"%*#hb", {R::Block}},                    {"%!oby", {R::Raw}},
      {"%3c%T", {R::Char, R::RestToTerm}},      {"%,#$S$Bqs", {R::StringList}},
      {"%{VARIANT_BOOL}s", {R::EnumWord}},      {"%{E}[A-Z#]", {R::EnumSet}},
      {"%{E}(;)#Qs", {R::EnumList}},
  });
}

TEST(FormatTokens, DecodedParts) {
  const auto list = TokenizeReadFormat("%(;,)#d");
  ASSERT_EQ(list->items.size(), 1u);
  EXPECT_EQ(list->items[0].separators, ";,");
  EXPECT_EQ(list->items[0].countFrom, NumSource::Hash);
  EXPECT_EQ(list->argCount, 2u);

  const auto set = TokenizeReadFormat("%*$C[^#\n]");
  ASSERT_EQ(set->items.size(), 1u);
  EXPECT_TRUE(set->items[0].suppress);
  EXPECT_TRUE(set->items[0].setNegated);
  EXPECT_TRUE(set->items[0].set.test('#'));  // a '#' inside a set is a member, not a count
  EXPECT_TRUE(set->items[0].set.test('\n'));
  EXPECT_EQ(set->items[0].widthFrom, NumSource::None);
  EXPECT_EQ(set->argCount, 0u);

  const auto real = TokenizeWriteFormat("%-+0@3*.*Lg");
  ASSERT_EQ(real->items.size(), 1u);
  const FormatItem& r = real->items[0];
  EXPECT_TRUE(r.left && r.plus && r.zero);
  EXPECT_EQ(r.form, '3');
  EXPECT_EQ(r.widthFrom, NumSource::Star);
  EXPECT_EQ(r.precisionFrom, NumSource::Star);
  EXPECT_EQ(r.length, 'L');
  EXPECT_EQ(r.conv, 'g');
  EXPECT_EQ(real->argCount, 3u);

  const auto bad = TokenizeWriteFormat("%(;x)d");
  ASSERT_EQ(bad->items.size(), 1u);
  EXPECT_EQ(bad->items[0].badSeparator, 'x');

  const auto block = TokenizeWriteFormat("%12hB");
  EXPECT_EQ(block->items[0].count, 12);
  EXPECT_EQ(block->items[0].width, -1);
}

TEST(FormatTokens, LongFormatsTokenizeWithoutDeepRecursion) {
  std::string format(200000, 'x');
  format += "%d";
  const auto parsed = TokenizeWriteFormat(format);
  EXPECT_EQ(parsed->error, "");
  ASSERT_FALSE(parsed->items.empty());
  EXPECT_EQ(static_cast<WriteKind>(parsed->items.back().kind), WriteKind::Integer);
  EXPECT_EQ(parsed->argCount, 1u);
}

class FormatCacheTest : public FmtTest {};

TEST_F(FormatCacheTest, EachFormatIsTokenizedOncePerProcess) {
  std::string out;
  const std::uint64_t before = TokenizerRunCount();
  ASSERT_EQ(io().Sprintf(out, ":CACHE:ONE %d;%5.2lf", 1, 2.0), S_OK);
  EXPECT_EQ(TokenizerRunCount(), before + 1);
  const std::string copy = ":CACHE:ONE %d;%5.2lf";  // same text, other address
  for (int k = 0; k < 3; ++k) ASSERT_EQ(io().Sprintf(out, copy.c_str(), k, 2.0), S_OK);
  std::thread other([&] {
    std::string text;
    EXPECT_EQ(io().Sprintf(text, ":CACHE:ONE %d;%5.2lf", 3, 4.0), S_OK);
    EXPECT_EQ(text, ":CACHE:ONE 3; 4.00");
  });
  other.join();
  EXPECT_EQ(TokenizerRunCount(), before + 1);
  // Read and write expressions are separate: the same text as a read format is new.
  std::int32_t a = 0;
  double b = 0;
  ASSERT_EQ(io().Sscanf(":CACHE:ONE 7; 8.00", ":CACHE:ONE %d;%5lf", &a, &b), S_OK);
  EXPECT_EQ(TokenizerRunCount(), before + 2);
  EXPECT_EQ(a, 7);
  EXPECT_EQ(b, 8.0);
}

TEST_F(FormatCacheTest, ThreadsShareTheCacheAndAgree) {
  const std::uint64_t before = TokenizerRunCount();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      std::string out;
      for (int k = 0; k < 500; ++k) {
        const std::string format = ":CACHE:THREAD" + std::to_string(k % 10) + " %d";
        if (Failed(io().Sprintf(out, format.c_str(), t)) ||
            out != ":CACHE:THREAD" + std::to_string(k % 10) + " " + std::to_string(t)) {
          ++wrong;
        }
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(TokenizerRunCount() - before, 10u);
}

}  // namespace
}  // namespace veqdx::io::fmt_test
