#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "attributes/cache.h"
#include "veqdx/enums.h"
#include "attributes/node.h"
#include "test_tree.h"

namespace veqdx::attr {
namespace {

using testing::TestRoot;
using testing::TreeTest;

TEST(CacheTraits, DoublesCompareAtFourteenDecimals) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  struct Case {
    double stored, candidate;
    bool equal;
  };
  const Case cases[] = {
      {5.0, 5.0, true},     {5.0, 5.0001, false},
      {5.0, 5.000000000000001, true},   // differs in the 15th decimal only
      {5.0, 5.00000000000001, false},   // differs in the 14th decimal
      {-5.0, -5.000000000000001, true}, {-5.0, 5.0, false},  {-12.5, -12.5001, false},
      {0.0, -0.0, true},
      {0.0, 4e-15, true},   // rounds to 0 at 14 decimals
      {0.0, 6e-15, false},  // rounds to 1e-14
      {1e17, 1e17, true},   {-1e17, -1e17, true},
      {1e17, 1e17 + 16, false},  // next double up: no decimals left, compared as is
      {1e300, 2e300, false},     // scaling would overflow both to infinity
      {inf, inf, true},     {inf, -inf, false}, {nan, nan, false}, {nan, 0.0, false},
      {0.0, nan, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(CacheEntryTraits<double>::Equal(c.stored, c.candidate), c.equal)
        << c.stored << " vs " << c.candidate;
  }
}

TEST(CacheTraits, RoundingTiesGoToTheEvenNeighbour) {
  struct Case {
    double value;
    int decimals;
    double rounded;
  };
  const Case cases[] = {
      {2.5, 0, 2.0},    {3.5, 0, 4.0},     {-2.5, 0, -2.0},   {-3.5, 0, -4.0},
      {2.4, 0, 2.0},    {2.6, 0, 3.0},     {-2.6, 0, -3.0},   {0.125, 2, 0.12},
      {0.375, 2, 0.38}, {1e17, 14, 1e17},  {7.0, -1, 7.0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(RoundToDecimals(c.value, c.decimals), c.rounded)
        << c.value << " at " << c.decimals;
  }
  EXPECT_TRUE(std::isnan(RoundToDecimals(std::nan(""), 14)));
}

TEST(CacheTraits, IntegersAndEnumsCompareExactly) {
  EXPECT_TRUE(CacheEntryTraits<std::int16_t>::Equal(-1, -1));
  EXPECT_FALSE(CacheEntryTraits<std::int16_t>::Equal(-1, 1));  // VARIANT_TRUE is not 1
  EXPECT_FALSE(CacheEntryTraits<std::uint8_t>::Equal(0x20, 0x21));
  EXPECT_FALSE(CacheEntryTraits<VelmoraQdxPONStateEnum>::Equal(VelmoraQdxPONStateSafe,
                                                               VelmoraQdxPONStateAuto));
}

TEST(CacheEntry, LifecycleOfOneEntry) {
  CCacheEntry<double> entry;
  double out = 42.0;
  EXPECT_FALSE(entry.IsValid());
  EXPECT_FALSE(entry.TryGet(out));
  EXPECT_EQ(out, 42.0) << "an invalid entry leaves the output alone";
  EXPECT_FALSE(entry.Matches(0.0)) << "a new entry holds zero but is not valid";

  entry.Set(12.5);
  EXPECT_TRUE(entry.TryGet(out));
  EXPECT_EQ(out, 12.5);
  EXPECT_TRUE(entry.Matches(12.500000000000001));

  entry.Invalidate();
  out = -3.0;
  EXPECT_FALSE(entry.TryGet(out));
  EXPECT_EQ(out, -3.0);
  EXPECT_FALSE(entry.Matches(12.5));
  entry.SetValid();  // the value survived the invalidation
  EXPECT_TRUE(entry.Matches(12.5));

  CCacheEntry<VelmoraQdxTriggerSourceEnum> enumEntry;  // enum entries start at zero too
  enumEntry.SetValid();
  VelmoraQdxTriggerSourceEnum source = VelmoraQdxTriggerSourceSwTrigFunc;
  EXPECT_TRUE(enumEntry.TryGet(source));
  EXPECT_EQ(source, VelmoraQdxTriggerSourceImmediate);
}

TEST_F(TreeTest, GetCacheEntryCreatesOncePerKeyAndNode) {
  auto* a = out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  ASSERT_NE(a, nullptr);
  EXPECT_FALSE(a->IsValid());
  EXPECT_EQ(out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel"), a);
  // Heterogeneous look-ups find the same entry through plain text.
  EXPECT_EQ(out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel"), a);
  EXPECT_NE(out1.GetCacheEntry<double>("ivelmoraqdxoutput.voltagelevel"), a);
  // Outputs are independent.
  auto* b = out2.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b);
  a->Set(5.0);
  double v = 0;
  EXPECT_FALSE(b->TryGet(v));
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

TEST_F(TreeTest, FindCacheEntryFollowsPaths) {
  auto* rootEntry = root.GetCacheEntry<std::int16_t>("IVelmoraQdxStatusOperation.EnableRegister");
  auto* v1 = out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  auto* v2 = out2.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  auto* x1 = out1.GetCacheEntry<double>("X.Y");
  auto* subEntry = sub->GetCacheEntry<double>("IVelmoraQdxOutput.UVL");

  struct Case {
    const CNode* from;
    std::string path;
    const CCacheEntryBase* expected;
  };
  const Case cases[] = {
      {&out1, "IVelmoraQdxOutput.VoltageLevel", v1},
      {&out2, "IVelmoraQdxOutput.VoltageLevel", v2},
      {&root, "Output1.IVelmoraQdxOutput.VoltageLevel", v1},
      {&root, "Output2.IVelmoraQdxOutput.VoltageLevel", v2},
      {&root, "Output1.Sub.IVelmoraQdxOutput.UVL", subEntry},
      {sub, "Driver.X.Y", x1},  // "Driver" climbs one level
      {&out1, "Driver.IVelmoraQdxStatusOperation.EnableRegister", rootEntry},
      {&out1, "Driver.Output2.IVelmoraQdxOutput.VoltageLevel", v2},
      {sub, "Driver.Driver.IVelmoraQdxStatusOperation.EnableRegister", rootEntry},
      {&root, "IVelmoraQdxStatusOperation.EnableRegister", rootEntry},
      // Not found, and nothing is created on the way.
      {&root, "IVelmoraQdxOutput.VoltageLevel", nullptr},
      {&root, "Output3.IVelmoraQdxOutput.VoltageLevel", nullptr},
      {&root, "output1.IVelmoraQdxOutput.VoltageLevel", nullptr},
      {&root, "Driver.X.Y", nullptr},
      {&out1, "IVelmoraQdxOutput.voltagelevel", nullptr},
      {&out1, "VoltageLevel", nullptr},
      {&out1, "", nullptr},
      {&out1, "IVelmoraQdxOutput.CurrentLimit", nullptr},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.from->FindCacheEntry(c.path), c.expected) << c.path;
  }
  EXPECT_EQ(root.CacheSize(), 1u);
  EXPECT_EQ(out1.CacheSize(), 2u);
}

TEST_F(TreeTest, InvalidateCacheIsRecursive) {
  auto* r = root.GetCacheEntry<std::uint8_t>("IVelmoraQdxStatusStatusByte.EnableRegister");
  auto* a = out1.GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
  auto* b = out2.GetCacheEntry<VelmoraQdxPONStateEnum>("IVelmoraQdxOutput.PONState");
  auto* s = sub->GetCacheEntry<std::int32_t>("IVelmoraQdxStatusOperationInstrument.EnableRegister");
  auto setAll = [&] {
    r->Set(0x20);
    a->Set(1.0);
    b->Set(VelmoraQdxPONStateAuto);
    s->Set(7);
  };

  setAll();
  out1.InvalidateCache();  // a subtree only
  EXPECT_TRUE(r->IsValid());
  EXPECT_FALSE(a->IsValid());
  EXPECT_TRUE(b->IsValid());
  EXPECT_FALSE(s->IsValid());

  setAll();
  root.InvalidateCache();
  for (const CCacheEntryBase* e : {static_cast<CCacheEntryBase*>(r),
                                   static_cast<CCacheEntryBase*>(a),
                                   static_cast<CCacheEntryBase*>(b),
                                   static_cast<CCacheEntryBase*>(s)}) {
    EXPECT_FALSE(e->IsValid());
  }

  setAll();
  out1.OnReset();  // the reset hook forgets this node's state only
  EXPECT_FALSE(a->IsValid());
  EXPECT_TRUE(s->IsValid());
  EXPECT_TRUE(r->IsValid());
}

TEST(CacheKeys, HashIsTheTextsHash) {
  // h = 33*h + c from 0.
  EXPECT_EQ(HashKeyText("ab"), 33u * 'a' + 'b');
}

}  // namespace
}  // namespace veqdx::attr
