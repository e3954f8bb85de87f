// Tokenizing: no deep recursion, and each format tokenized once per process.
#include <atomic>
#include <thread>
#include <vector>

#include "fmt_fixture.h"
#include "io/format_tokens.h"

namespace veqdx::io::fmt_test {
namespace {

class FormatCacheTest : public FmtTest {};

TEST_F(FormatCacheTest, LongFormatsTokenizeWithoutDeepRecursion) {
  const std::string literal(200000, 'x');
  std::string out;
  ASSERT_EQ(io().Sprintf(out, (literal + "%d").c_str(), 7), S_OK) << LastError();
  EXPECT_EQ(out, literal + "7");
  std::int32_t v = 0;
  ASSERT_EQ(io().Sscanf(literal + "8", (literal + "%d").c_str(), &v), S_OK) << LastError();
  EXPECT_EQ(v, 8);
  const auto parsed = TokenizeReadFormat(literal + "%(;)2$Slf");  // "$S": a safe array
  EXPECT_EQ(parsed->error, "");
  EXPECT_EQ(parsed->argCount, 1u);
  EXPECT_NE(TokenizeWriteFormat("50%% %")->error, "");
}

TEST_F(FormatCacheTest, EachFormatIsTokenizedOncePerProcess) {
  std::string out;
  const std::uint64_t before = TokenizerRunCount();
  ASSERT_EQ(io().Sprintf(out, ":CACHE:ONE %d;%5.2lf", 1, 2.0), S_OK);
  EXPECT_EQ(TokenizerRunCount(), before + 1);
  const std::string copy = ":CACHE:ONE %d;%5.2lf";  // same text, other address
  for (int k = 0; k < 3; ++k) ASSERT_EQ(io().Sprintf(out, copy.c_str(), k, 2.0), S_OK);
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
