// Several links used at once from several threads: every reply reaches the link that asked,
// and the device lock hands over between threads.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "vxi11_bench.h"

namespace veqdx::io::test {
namespace {

// Runs `body(link, k)` for k = 1..n, each on its own thread with its own link; a link that
// cannot be opened counts in `failures`.
void OnLinksInParallel(const Vxi11Bench& bench, int n, std::atomic<int>& failures,
                       const std::function<void(ITransport&, int)>& body) {
  std::vector<std::thread> threads;
  for (int k = 1; k <= n; ++k) {
    threads.emplace_back([&, k] {
      IoResult r;
      auto t = bench.Open(r);
      if (!t) {
        ++failures;
        return;
      }
      body(*t, k);
    });
  }
  for (auto& th : threads) th.join();
}

// Each channel of this unit answers ":INST:NSEL k;INFO?" with its own rating, whatever the
// other threads select meanwhile (one message is executed whole); threads that take turns
// under the device lock never overlap inside it.
TEST(Vxi11Concurrency, LinksOnSeveralThreadsGetTheirOwnRepliesAndTakeTurnsUnderTheLock) {
  Vxi11Bench bench(8, 4096, {{1, "QDX750L"}, {2, "QDX750MH"}, {3, "QDX1500H"}, {4, "QDX750H"}});
  ASSERT_BENCH(bench);
  const std::vector<std::string> info = {"30,75,750,QDX750L\n", "230,10,750,QDX750MH\n",
                                         "650,7,1500,QDX1500H\n", "650,3.5,750,QDX750H\n"};
  std::atomic<int> mismatches{0};
  std::atomic<int> failures{0};
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  OnLinksInParallel(bench, 4, failures, [&](ITransport& t, int channel) {
    const std::string query = ":INST:NSEL " + std::to_string(channel) + ";INFO?";
    for (int i = 0; i < 50; ++i) {
      if (Query(t, query) != info[channel - 1]) ++mismatches;
      std::uint8_t stb = 0;
      if (i % 10 != 0) continue;
      if (!t.ReadStatusByte(stb).ok() || !t.Lock(5000).ok()) {
        ++failures;
        continue;
      }
      if (inside.fetch_add(1) != 0) ++overlaps;
      if (Query(t, "*OPC?") != "1\n") ++failures;
      inside.fetch_sub(1);
      if (!t.Unlock().ok()) ++failures;
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(mismatches, 0);
  EXPECT_EQ(overlaps, 0);
  EXPECT_EQ(bench.AwaitLinks(0), 0u);
}

}  // namespace
}  // namespace veqdx::io::test
