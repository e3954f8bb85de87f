// Converter tables built by several threads first, and the node tree under contention (TSan).
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <latch>
#include <thread>
#include <vector>

#include "attributes/enum_converters.h"
#include "attributes/node.h"
#include "test_tree.h"

namespace veqdx::attr {
namespace {

constexpr int kThreads = 8;

struct Lookup {
  std::string_view name, context, keyword;
  std::int32_t value;
};
const Lookup kLookups[] = {
    {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", "1", -1},
    {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CCControlEnabled", "VOLT", -1},
    {"PONState", "IVelmoraQdxOutput.PONState", "FORC", 2},
    {"ExternalRangeEnum", "IVelmoraQdxOutputExternalControl.AlanogControlRange", "HIGH", 1},
    {"OperationMode", "IVelmoraQdxOutput.OperationPriority", "CV", 1},
};
constexpr std::size_t kLookupCount = std::size(kLookups);

// Runs in a fresh process, so that these threads really are the first to build the tables.
int RaceFirstConstruction() {
  std::latch start(kThreads);
  std::array<std::array<const IEnumCommandConverterErased*, kLookupCount>, kThreads> seen{};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      for (std::size_t i = 0; i < kLookupCount; ++i) {
        // Each thread starts at a different table so that constructions overlap.
        const Lookup& l = kLookups[(i + t) % kLookupCount];
        const IEnumCommandConverterErased* conv = FindConverter(l.name, l.context);
        seen[t][(i + t) % kLookupCount] = conv;
        std::string keyword;
        std::int32_t value = 99;
        if (!conv || !conv->ToString("QDX750L", l.value, keyword) || keyword != l.keyword ||
            !conv->FromString("QDX750L", keyword, value) || value != l.value) {
          ++failures;
        }
      }
    });
  }
  for (std::thread& th : threads) th.join();
  for (int t = 1; t < kThreads; ++t) {
    if (seen[t] != seen[0]) ++failures;  // one converter per context, whoever built it
  }
  return failures.load();
}

TEST(AttributeThreads, FirstConstructionFromEightThreads) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(RaceFirstConstruction() == 0 ? 0 : 1), ::testing::ExitedWithCode(0),
              "");
  // And once more in this process, whatever was built before.
  EXPECT_EQ(RaceFirstConstruction(), 0);
}

// Outputs work on their own caches while the root invalidates and searches the tree, then the
// root detaches everything while the outputs keep asking for the session flags.
TEST(AttributeThreads, CacheAndDetachUnderContention) {
  testing::TestRoot root;
  std::vector<CRepCap*> outputs;
  for (int ch = 1; ch <= kThreads; ++ch) outputs.push_back(&root.AddOutput(ch));

  std::latch start(kThreads + 1);
  std::atomic<bool> detaching{false};
  std::atomic<int> errors{0};
  std::vector<std::thread> workers;
  for (CRepCap* out : outputs) {
    workers.emplace_back([&, out] {
      start.arrive_and_wait();
      for (int i = 0; i < 2000; ++i) {
        auto lock = out->Lock();
        const bool attached = out->IsInitialized();
        if (attached && !out->GetCache()) ++errors;
        if (!attached && !detaching.load()) ++errors;
        auto* v = out->GetCacheEntry<double>("IVelmoraQdxOutput.VoltageLevel");
        auto* e = out->GetCacheEntry<std::int16_t>("IVelmoraQdxOutput.Enabled");
        if (!v || !e) {
          ++errors;
          continue;
        }
        v->Set(i * 0.5);
        e->Set(static_cast<std::int16_t>(-(i & 1)));
        double read = -1;
        if (v->TryGet(read) && read != i * 0.5) ++errors;  // only Invalidate may intervene
        if (i % 100 == 0) {
          // New keys now and then, so the map grows while the root reads it.
          out->GetCacheEntry<std::int32_t>("IVelmoraQdxTest.Key" + std::to_string(i));
        }
      }
    });
  }
  start.arrive_and_wait();
  for (int i = 0; i < 500; ++i) {
    auto lock = root.Lock();
    root.InvalidateCache();
    const std::string path = "Output" + std::to_string(1 + i % kThreads) +
                             ".IVelmoraQdxOutput.VoltageLevel";
    if (CCacheEntryBase* entry = root.FindCacheEntry(path)) entry->Invalidate();
  }
  detaching = true;
  root.DetachChildren();
  for (std::thread& th : workers) th.join();
  EXPECT_EQ(errors.load(), 0);
  for (CRepCap* out : outputs) {
    EXPECT_FALSE(out->IsInitialized());
    EXPECT_FALSE(out->GetCache());
  }
}

}  // namespace
}  // namespace veqdx::attr
