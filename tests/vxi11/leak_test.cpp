// Opening and closing many sessions, failed opens included, leaves no descriptor of this
// process and no link on the instrument behind: an instrument allows only a few links.
#include <gtest/gtest.h>

#include <string>

#include "vxi11_bench.h"

namespace veqdx::io::test {
namespace {

TEST(Vxi11Leaks, HundredOpenCloseCyclesLeaveNothingBehind) {
  Vxi11Bench bench(2);
  ASSERT_BENCH(bench);
  IoResult r;
  {
    // One cycle first: libtirpc sets up per-process tables on first use.
    auto warmUp = bench.Open(r);
    ASSERT_TRUE(warmUp) << r.message;
  }
  const int fds = SettledDescriptors();
  ASSERT_GT(fds, 0);
  for (int i = 0; i < 100; ++i) {
    auto t = bench.Open(r);
    ASSERT_TRUE(t) << "cycle " << i << ": " << r.message;
    if (i % 10 == 0) {
      ASSERT_EQ(Query(*t, "*OPC?"), "1\n");
    }
    // Destroyed without an explicit Close: the destructor must destroy the link too.
    if (i % 2 == 0) t->Close();
  }
  EXPECT_EQ(AwaitDescriptors(fds), fds);
  EXPECT_EQ(bench.server->linkCount(), 0u);  // destroy_link answered before close returned
  EXPECT_EQ(bench.server->stats().links, 101u);
}

TEST(Vxi11Leaks, FailedOpensLeaveNothingBehind) {
  Vxi11Bench bench(1);
  ASSERT_BENCH(bench);
  IoResult r;
  auto holder = bench.Open(r);  // takes the only link: every further create_link fails
  ASSERT_TRUE(holder) << r.message;
  const int fds = SettledDescriptors();
  TransportOptions refused = bench.Options();
  refused.setup["vxi11port"] = std::to_string(bench.server->portmapPort());  // not VXI-11
  for (int i = 0; i < 20; ++i) {
    EXPECT_FALSE(bench.Open(r));
    EXPECT_TRUE(Contains(r.message, "VXI-11 error 9")) << r.message;
    EXPECT_FALSE(OpenTransport(kResource, refused, r));
    EXPECT_TRUE(Contains(r.message, "create_link to 127.0.0.1:")) << r.message;
  }
  EXPECT_EQ(AwaitDescriptors(fds), fds);
  EXPECT_EQ(bench.server->linkCount(), 1u);
  holder.reset();
  EXPECT_EQ(bench.server->linkCount(), 0u);
}

}  // namespace
}  // namespace veqdx::io::test
