// What a portmapper (anyone on the network) answers is untrusted: every malformed reply gives
// no port, never a wrong one or a crash. Output selectors expand in session order.
#include <gtest/gtest.h>

#include <vector>

#include "cli_common.h"
#include "portmap.h"

namespace veqdx_cli {
namespace {

constexpr std::uint32_t kXid = 0x01020304;

std::vector<std::uint8_t> Words(std::initializer_list<std::uint32_t> words) {
  std::vector<std::uint8_t> out;
  for (std::uint32_t w : words)
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(w >> shift));
  return out;
}

// xid, REPLY, MSG_ACCEPTED, verifier (flavor, length, body), SUCCESS, port
const std::vector<std::uint8_t> kGood = Words({kXid, 1, 0, 0, 0, 0, 1024});

TEST(PortmapReply, AcceptedReplyGivesThePort) {
  EXPECT_EQ(DecodeGetPortReply(kGood.data(), kGood.size(), kXid), std::optional<std::uint16_t>(1024));
  auto withVerifier = Words({kXid, 1, 0, 1, 5, 0x41424344, 0x45000000, 0, 111});
  EXPECT_EQ(DecodeGetPortReply(withVerifier.data(), withVerifier.size(), kXid),
            std::optional<std::uint16_t>(111));
}

TEST(PortmapReply, MalformedRepliesGiveNoPort) {
  const std::vector<std::vector<std::uint8_t>> bad = {
      Words({kXid + 1, 1, 0, 0, 0, 0, 1024}),     // another call's reply
      Words({kXid, 0, 0, 0, 0, 0, 1024}),         // a call, not a reply
      Words({kXid, 1, 1, 0, 0, 0, 1024}),         // denied
      Words({kXid, 1, 0, 0, 0, 1, 1024}),         // program unavailable
      Words({kXid, 1, 0, 0, 0, 0, 0}),            // not registered
      Words({kXid, 1, 0, 0, 0, 0, 70000}),        // no such port
      Words({kXid, 1, 0, 0, 0xFFFFFFFF, 0, 1}),   // verifier longer than the datagram
      Words({kXid, 1, 0, 0, 400, 0, 1}),          // verifier past the end
  };
  for (size_t i = 0; i < bad.size(); ++i)
    EXPECT_FALSE(DecodeGetPortReply(bad[i].data(), bad[i].size(), kXid)) << "case " << i;
  for (size_t size = 0; size < kGood.size(); ++size)
    EXPECT_FALSE(DecodeGetPortReply(kGood.data(), size, kXid)) << "truncated to " << size;
}

TEST(PortmapCall, IsGetPortForTheVxi11CoreChannelOverTcp) {
  EXPECT_EQ(EncodeGetPortCall(kXid),
            Words({kXid, 0, 2, 100000, 2, 3, 0, 0, 0, 0, 0x0607AF, 1, 6, 0}));
}

TEST(Selector, RangesAndListsExpandInSessionOrder) {
  const std::vector<std::string> names = {"Output1", "Output2", "Output3", "Output4"};
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"Output2", {"Output2"}},
      {" Output1 - Output3 ", {"Output1", "Output2", "Output3"}},
      {"Output4-Output3", {"Output3", "Output4"}},
      {"Output4, Output1-Output2", {"Output4", "Output1", "Output2"}},
      {"Output1-Output9", {"Output9"}},  // left for the driver to name
  };
  for (const auto& [selector, expected] : cases) EXPECT_EQ(ExpandSelector(selector, names), expected) << selector;
  EXPECT_THROW(ExpandSelector("Output1,,Output2", names), UsageError);
}

TEST(OptionString, TimeoutJoinsTheDriverSetupPart) {
  EXPECT_EQ(BuildOptionString(true, "", 500), "Simulate=true, DriverSetup=IoTimeout=500");
  EXPECT_EQ(BuildOptionString(false, "Cache=false, DriverSetup=Model=QDX750L", 500),
            "Cache=false, DriverSetup=Model=QDX750L, IoTimeout=500");
  EXPECT_EQ(BuildOptionString(false, "", std::nullopt), "");
}

}  // namespace
}  // namespace veqdx_cli
