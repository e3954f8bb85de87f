// Cache entries: comparison, the life of one entry, entries by node and path, invalidation.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "attributes/cache.h"
#include "attributes/node.h"
#include "test_tree.h"
#include "veqdx/enums.hpp"

namespace veqdx::attr {
namespace {

using testing::TestRoot;
using testing::TreeTest;

TEST(CacheTraits, DoublesCompareAtFourteenDecimalsAndTiesRoundToEven) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const std::tuple<double, double, bool> equal[] = {
      {5.0, 5.0001, false},
      {5.0, 5.000000000000001, true},   // differs in the 15th decimal only
      {5.0, 5.00000000000001, false},   // differs in the 14th decimal
      {-5.0, -5.000000000000001, true}, {-5.0, 5.0, false}, {0.0, -0.0, true},
      {0.0, 4e-15, true},   // rounds to 0 at 14 decimals
      {0.0, 6e-15, false},  // rounds to 1e-14
      {-1e17, -1e17, true},
      {1e17, 1e17 + 16, false},  // next double up: no decimals left, compared as is
      {1e300, 2e300, false},     // scaling would overflow both to infinity
      {inf, inf, true},     {inf, -inf, false}, {nan, nan, false}, {0.0, nan, false},
  };
  for (const auto& [stored, candidate, same] : equal)
    EXPECT_EQ(CacheEntryTraits<double>::Equal(stored, candidate), same) << stored << " vs " << candidate;
  const std::tuple<double, int, double> rounded[] = {
      {2.5, 0, 2.0},   {3.5, 0, 4.0},    {-2.5, 0, -2.0}, {-3.5, 0, -4.0},   {2.6, 0, 3.0},
      {-2.6, 0, -3.0}, {0.125, 2, 0.12}, {0.375, 2, 0.38}, {1e17, 14, 1e17}, {7.0, -1, 7.0}};
  for (const auto& [value, decimals, result] : rounded)
    EXPECT_EQ(RoundToDecimals(value, decimals), result) << value << " at " << decimals;
  EXPECT_TRUE(std::isnan(RoundToDecimals(nan, 14)));
  EXPECT_FALSE(CacheEntryTraits<std::int16_t>::Equal(-1, 1));  // VARIANT_TRUE is not 1
  EXPECT_FALSE(CacheEntryTraits<VelmoraQdxPONStateEnum>::Equal(VelmoraQdxPONStateSafe,
                                                               VelmoraQdxPONStateAuto));
}

TEST(CacheEntry, LifecycleOfOneEntry) {
  CCacheEntry<double> entry;
  double out = 42.0;
  EXPECT_FALSE(entry.TryGet(out));
  EXPECT_EQ(out, 42.0) << "an invalid entry leaves the output alone";
  EXPECT_FALSE(entry.Matches(0.0)) << "a new entry holds zero but is not valid";
  entry.Set(12.5);
  EXPECT_TRUE(entry.TryGet(out));
  EXPECT_EQ(out, 12.5);
  EXPECT_TRUE(entry.Matches(12.500000000000001));
  entry.Invalidate();
  EXPECT_FALSE(entry.TryGet(out));
  EXPECT_FALSE(entry.Matches(12.5));
  entry.SetValid();  // the value survived the invalidation
  EXPECT_TRUE(entry.Matches(12.5));
}

TEST(NodeCache, KeyUsedWithTwoTypes) {
  TestRoot root;
  auto* asDouble = root.GetCacheEntry<double>("IVelmoraQdxOutput.Enabled");
  ASSERT_NE(asDouble, nullptr);
#ifdef NDEBUG
  // Release builds keep the values apart instead of reinterpreting one as the other.
  auto* asBool = root.GetCacheEntry<std::int16_t>("IVelmoraQdxOutput.Enabled");
  ASSERT_NE(asBool, nullptr);
  EXPECT_NE(static_cast<void*>(asBool), static_cast<void*>(asDouble));
  EXPECT_EQ(root.GetCacheEntry<std::int16_t>("IVelmoraQdxOutput.Enabled"), asBool);
  asBool->Set(-1);
  EXPECT_FALSE(asDouble->IsValid());
  root.InvalidateCache();
  EXPECT_FALSE(asBool->IsValid());
#else
  EXPECT_DEATH(root.GetCacheEntry<std::int16_t>("IVelmoraQdxOutput.Enabled"), "two different value types");
#endif
}

// One entry per key and node, found by plain text too; paths climb with "Driver" and descend by
// child name; a failed search creates nothing.
TEST_F(TreeTest, EntriesPerNodeAndFoundByPath) {
  auto* rootEntry = root.GetCacheEntry<std::int16_t>("IVelmoraQdxStatusOperation.EnableRegister");
  auto* v1 = out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  auto* v2 = out2.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  auto* x1 = out1.GetCacheEntry<double>("X.Y");
  auto* subEntry = sub->GetCacheEntry<double>("IVelmoraQdxOutput.UVL");
  EXPECT_EQ(out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel"), v1);
  EXPECT_NE(v1, v2);
  v1->Set(5.0);
  double v = 0;
  EXPECT_FALSE(v2->TryGet(v));

  const std::tuple<const CNode*, std::string, const CCacheEntryBase*> cases[] = {
      {&out2, "IVelmoraQdxOutput.VoltageLevel", v2},
      {&root, "Output1.IVelmoraQdxOutput.VoltageLevel", v1},
      {&root, "Output1.Sub.IVelmoraQdxOutput.UVL", subEntry},
      {sub, "Driver.X.Y", x1},  // "Driver" climbs one level
      {&out1, "Driver.Output2.IVelmoraQdxOutput.VoltageLevel", v2},
      {sub, "Driver.Driver.IVelmoraQdxStatusOperation.EnableRegister", rootEntry},
      {&root, "IVelmoraQdxStatusOperation.EnableRegister", rootEntry},
      {&root, "IVelmoraQdxOutput.VoltageLevel", nullptr},
      {&root, "Output3.IVelmoraQdxOutput.VoltageLevel", nullptr},
      {&root, "output1.IVelmoraQdxOutput.VoltageLevel", nullptr},
      {&root, "Driver.X.Y", nullptr},
      {&out1, "IVelmoraQdxOutput.voltagelevel", nullptr},
      {&out1, "VoltageLevel", nullptr},
      {&out1, "", nullptr},
      {&out1, "IVelmoraQdxOutput.CurrentLimit", nullptr},
  };
  for (const auto& [from, path, expected] : cases) EXPECT_EQ(from->FindCacheEntry(path), expected) << path;
  EXPECT_EQ(root.CacheSize(), 1u);
  EXPECT_EQ(out1.CacheSize(), 2u);
}

TEST_F(TreeTest, InvalidateCacheIsRecursive) {
  auto* r = root.GetCacheEntry<std::uint8_t>("IVelmoraQdxStatusStatusByte.EnableRegister");
  auto* a = out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  auto* b = out2.GetCacheEntry<VelmoraQdxPONStateEnum>("IVelmoraQdxOutput.PONState");
  auto* s = sub->GetCacheEntry<std::int32_t>("IVelmoraQdxStatusOperationInstrument.EnableRegister");
  const CCacheEntryBase* all[] = {r, a, b, s};
  auto validAfter = [&](const std::function<void()>& invalidate) {
    r->Set(0x20);
    a->Set(1.0);
    b->Set(VelmoraQdxPONStateAuto);
    s->Set(7);
    invalidate();
    std::vector<bool> valid;
    for (const CCacheEntryBase* e : all) valid.push_back(e->IsValid());
    return valid;
  };
  EXPECT_EQ(validAfter([&] { out1.InvalidateCache(); }),
            (std::vector<bool>{true, false, true, false}));  // a subtree only
  EXPECT_EQ(validAfter([&] { root.InvalidateCache(); }),
            (std::vector<bool>{false, false, false, false}));
  EXPECT_EQ(validAfter([&] { out1.OnReset(); }),  // this node's state only
            (std::vector<bool>{true, false, true, true}));
}

}  // namespace
}  // namespace veqdx::attr
