// The node tree: names and children, session flags through the root, detaching, pending commands.
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "attributes/node.h"
#include "test_tree.h"

namespace veqdx::attr {
namespace {

using testing::TestRoot;
using testing::TreeTest;

TEST(NodeTree, FullNamesIdentityAndChildren) {
  for (const auto& [rootName, expected] : {std::pair{"", "Output[Output1]"},
                                           {"VelmoraQdx", "VelmoraQdx.Output[Output1]"}}) {
    TestRoot root(rootName);
    EXPECT_EQ(root.AddOutput(1).GetFullName(), expected);
    root.DetachChildren();  // the full name is built once and kept
    EXPECT_EQ(root.FindChild("Output1")->GetFullName(), expected);
  }
  TestRoot root;
  CRepCap& out = root.AddOutput(7);
  CNode* sub = out.AddChild("Sense", std::make_unique<CRepCap>("Sense", "S1", 1));
  CNode* plain = root.AddChild("Trigger", std::make_unique<CChildNode>());
  ASSERT_NE(sub, nullptr);
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(sub->GetFullName(), "Output[Output7].Sense[S1]");
  EXPECT_EQ(plain->GetFullName(), "Trigger");
  EXPECT_EQ(sub->GetRoot(), &root);
  EXPECT_EQ(root.FindChild("output7"), nullptr);  // names are case-sensitive
  // Null children and duplicate names are refused.
  EXPECT_EQ(root.AddChild("A", nullptr), nullptr);
  ASSERT_NE(root.AddChild("A", std::make_unique<CChildNode>()), nullptr);
  EXPECT_EQ(root.AddChild("A", std::make_unique<CChildNode>()), nullptr);
  EXPECT_EQ(root.ChildCount(), 3u);
}

// Every session-wide query, so a table can flip them one at a time.
struct Query {
  const char* name;
  std::atomic<bool> TestRoot::*flag;
  bool (CNode::*ask)() const;
};
const Query kQueries[] = {
    {"IsInitialized", &TestRoot::initialized, &CNode::IsInitialized},
    {"Cache", &TestRoot::cache, &CNode::GetCache},
    {"InterchangeCheck", &TestRoot::interchange, &CNode::GetInterchangeCheck},
    {"QueryInstrumentStatus", &TestRoot::queryStatus, &CNode::GetQueryInstrumentStatus},
    {"RangeCheck", &TestRoot::rangeCheck, &CNode::GetRangeCheck},
    {"RecordCoercions", &TestRoot::recordCoercions, &CNode::GetRecordCoercions},
    {"Simulate", &TestRoot::simulate, &CNode::GetSimulate},
};

// An attached child (and grandchild) answers each query as the root does, except that it is
// initialized while attached; a detached child answers false to everything and stays owned.
TEST_F(TreeTest, ChildrenAskTheRootUntilDetached) {
  for (const Query& q : kQueries) {
    if (q.flag == &TestRoot::initialized) continue;
    for (bool value : {false, true}) {
      root.*q.flag = value;
      EXPECT_EQ((out1.*q.ask)(), value) << q.name;
      EXPECT_EQ((sub->*q.ask)(), value) << q.name << " (grandchild)";
    }
  }
  root.initialized = false;
  EXPECT_TRUE(out1.IsInitialized());
  root.initialized = true;

  root.DetachChildren();
  EXPECT_EQ(out1.GetParent(), nullptr);
  EXPECT_EQ(out1.GetRoot(), &out1);
  for (const Query& q : kQueries) {
    EXPECT_TRUE((root.*q.ask)()) << q.name << ": the root keeps its own flags";
    EXPECT_FALSE((out1.*q.ask)()) << q.name;
  }
  EXPECT_EQ(root.FindChild("Output1"), &out1);
  root.DetachChildren();  // idempotent
  root.RemoveAllChildren();
  EXPECT_EQ(root.ChildCount(), 0u);
}

TEST_F(TreeTest, DetachWaitsForTheChildsLock) {
  std::promise<void> locked, release;
  auto holder = std::async(std::launch::async, [&] {
    auto guard = out1.Lock();
    locked.set_value();
    release.get_future().wait_for(std::chrono::seconds(10));
    // Still attached for as long as this operation holds the lock.
    return out1.GetParent() == &root && out1.GetSimulate();
  });
  ASSERT_EQ(locked.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  auto detacher = std::async(std::launch::async, [&] { root.DetachChildren(); });
  EXPECT_EQ(detacher.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  release.set_value();
  ASSERT_EQ(holder.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_TRUE(holder.get());
  ASSERT_EQ(detacher.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_FALSE(out1.IsInitialized());
}

TEST_F(TreeTest, PendingStacksNest) {
  {
    CPendingScope outer(out1, ":VOLT?", "%lg");
    {
      CPendingScope inner(out1);
      inner.Command() = ":INST:NSEL 1";
      EXPECT_EQ(out1.PendingCommand(), ":INST:NSEL 1");
      EXPECT_EQ(out1.PendingReadFormat(), "");
      EXPECT_EQ(out1.PendingDepth(), 2u);
    }
    EXPECT_EQ(out1.PendingCommand(), ":VOLT?");
    EXPECT_EQ(out1.PendingReadFormat(), "%lg");
  }
  EXPECT_EQ(out1.PendingDepth(), 0u);
  out1.PopPendingCommand();  // popping an empty stack is harmless
  EXPECT_EQ(out1.PendingCommand(), "");
}

}  // namespace
}  // namespace veqdx::attr
