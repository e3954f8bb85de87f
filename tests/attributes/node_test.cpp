#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>

#include "attributes/node.h"
#include "test_tree.h"

namespace veqdx::attr {
namespace {

using testing::TestRoot;

TEST(NodeTree, FullNames) {
  struct Case {
    std::string rootName;
    std::string repCapName;
    std::string physicalName;
    std::string expected;
  };
  const Case cases[] = {
      {"", "Output", "Output1", "Output[Output1]"},
      {"", "Output", "Output0", "Output[Output0]"},
      {"VelmoraQdx", "Output", "Output2", "VelmoraQdx.Output[Output2]"},
  };
  for (const Case& c : cases) {
    TestRoot root(c.rootName);
    CNode* node = root.AddChild(c.physicalName,
                                std::make_unique<CRepCap>(c.repCapName, c.physicalName, 1));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->GetFullName(), c.expected) << c.rootName << "/" << c.physicalName;
  }
}

TEST(NodeTree, NestedAndPlainChildNames) {
  TestRoot root;
  CRepCap& out = root.AddOutput(3);
  CNode* sub = out.AddChild("Sense", std::make_unique<CRepCap>("Sense", "S1", 1));
  CNode* plain = root.AddChild("Trigger", std::make_unique<CChildNode>());
  ASSERT_NE(sub, nullptr);
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(sub->GetFullName(), "Output[Output3].Sense[S1]");
  EXPECT_EQ(plain->GetFullName(), "Trigger");
  EXPECT_EQ(sub->GetRoot(), &root);
  EXPECT_EQ(root.GetFullName(), "");
}

TEST(NodeTree, FullNameIsBuiltOnceAndKept) {
  TestRoot root("Root");
  CRepCap& out = root.AddOutput(1);
  EXPECT_EQ(out.GetFullName(), "Root.Output[Output1]");
  root.DetachChildren();
  EXPECT_EQ(out.GetFullName(), "Root.Output[Output1]");
}

TEST(NodeTree, RepCapKeepsItsIdentity) {
  TestRoot root;
  CRepCap& out = root.AddOutput(7);
  EXPECT_EQ(out.RepCapName(), "Output");
  EXPECT_EQ(out.PhysicalName(), "Output7");
  EXPECT_EQ(out.Index(), 7);
  EXPECT_EQ(root.FindChild("Output7"), &out);
  EXPECT_EQ(root.FindChild("output7"), nullptr);  // names are case-sensitive
}

TEST(NodeTree, AddChildRejectsNullAndDuplicateNames) {
  TestRoot root;
  EXPECT_EQ(root.AddChild("A", nullptr), nullptr);
  ASSERT_NE(root.AddChild("A", std::make_unique<CChildNode>()), nullptr);
  EXPECT_EQ(root.AddChild("A", std::make_unique<CChildNode>()), nullptr);
  EXPECT_EQ(root.ChildCount(), 1u);
  EXPECT_EQ(root.FindChild("A")->GetParent(), &root);
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

TEST(NodeTree, AttachedChildForwardsEachQueryToTheRoot) {
  TestRoot root;
  CRepCap& out = root.AddOutput(1);
  CNode* sub = out.AddChild("Sub", std::make_unique<CChildNode>());
  for (const Query& q : kQueries) {
    if (q.flag == &TestRoot::initialized) continue;  // a child's answer is "attached"
    for (bool value : {false, true}) {
      root.*q.flag = value;
      EXPECT_EQ((out.*q.ask)(), value) << q.name;
      EXPECT_EQ((sub->*q.ask)(), value) << q.name << " (grandchild)";
    }
  }
  root.initialized = false;
  EXPECT_TRUE(out.IsInitialized()) << "a child is initialized while attached";
}

TEST(NodeTree, DetachedChildAnswersFalseToEverything) {
  TestRoot root;
  CRepCap& out = root.AddOutput(1);
  root.DetachChildren();
  EXPECT_EQ(out.GetParent(), nullptr);
  EXPECT_EQ(out.GetRoot(), &out);
  for (const Query& q : kQueries) {
    EXPECT_TRUE((root.*q.ask)()) << q.name << ": the root keeps its own flags";
    EXPECT_FALSE((out.*q.ask)()) << q.name;
  }
  EXPECT_EQ(root.FindChild("Output1"), &out) << "detached children stay owned";
  root.DetachChildren();  // idempotent
  root.RemoveAllChildren();
  EXPECT_EQ(root.ChildCount(), 0u);
}

TEST(NodeTree, DetachWaitsForTheChildsLock) {
  TestRoot root;
  CRepCap& out = root.AddOutput(1);
  std::promise<void> locked, release;
  auto holder = std::async(std::launch::async, [&] {
    auto guard = out.Lock();
    locked.set_value();
    release.get_future().wait_for(std::chrono::seconds(10));
    // Still attached for as long as this operation holds the lock.
    return out.GetParent() == &root && out.GetSimulate();
  });
  ASSERT_EQ(locked.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  auto detacher = std::async(std::launch::async, [&] { root.DetachChildren(); });
  EXPECT_EQ(detacher.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  release.set_value();
  ASSERT_EQ(holder.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_TRUE(holder.get());
  ASSERT_EQ(detacher.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_FALSE(out.IsInitialized());
}

TEST(NodeTree, PendingStacksNest) {
  TestRoot root;
  CRepCap& out = root.AddOutput(1);
  EXPECT_EQ(out.PendingCommand(), "");
  {
    CPendingScope outer(out, ":VOLT?", "%lg");
    EXPECT_EQ(out.PendingCommand(), ":VOLT?");
    {
      CPendingScope inner(out);
      inner.Command() = ":INST:NSEL 1";
      EXPECT_EQ(out.PendingCommand(), ":INST:NSEL 1");
      EXPECT_EQ(out.PendingReadFormat(), "");
      EXPECT_EQ(out.PendingDepth(), 2u);
    }
    EXPECT_EQ(out.PendingCommand(), ":VOLT?");
    EXPECT_EQ(out.PendingReadFormat(), "%lg");
  }
  EXPECT_EQ(out.PendingDepth(), 0u);
  out.PopPendingCommand();  // popping an empty stack is harmless
  EXPECT_EQ(out.PendingCommand(), "");
}

TEST(NodeTree, ForEachChildVisitsEveryChildOnce) {
  TestRoot root;
  for (int ch = 1; ch <= 4; ++ch) root.AddOutput(ch);
  int sum = 0, count = 0;
  root.ForEachChild([&](CNode& child) {
    sum += static_cast<CRepCap&>(child).Index();
    ++count;
  });
  EXPECT_EQ(count, 4);
  EXPECT_EQ(sum, 10);
}

}  // namespace
}  // namespace veqdx::attr
