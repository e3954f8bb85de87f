// A session root whose flags the test sets, answered from atomics as the driver class does.
#pragma once
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "attributes/node.h"

namespace veqdx::attr::testing {

class TestRoot : public CNode {
 public:
  explicit TestRoot(std::string fullName = {}) : fullName_(std::move(fullName)) {}
  ~TestRoot() override { DetachChildren(); }

  std::atomic<bool> initialized{true}, cache{true}, interchange{true}, queryStatus{true},
      rangeCheck{true}, recordCoercions{true}, simulate{true};

  bool IsInitialized() const override { return initialized; }
  bool GetCache() const override { return cache; }
  bool GetInterchangeCheck() const override { return interchange; }
  bool GetQueryInstrumentStatus() const override { return queryStatus; }
  bool GetRangeCheck() const override { return rangeCheck; }
  bool GetRecordCoercions() const override { return recordCoercions; }
  bool GetSimulate() const override { return simulate; }
  std::string GetFullName() const override { return fullName_; }

  CRepCap& AddOutput(int channel) {
    const std::string name = "Output" + std::to_string(channel);
    return static_cast<CRepCap&>(
        *AddChild(name, std::make_unique<CRepCap>("Output", name, channel)));
  }

 private:
  std::string fullName_;
};

// A root with outputs 1 and 2, and a plain child "Sub" under output 1.
class TreeTest : public ::testing::Test {
 protected:
  TestRoot root;
  CRepCap& out1 = root.AddOutput(1);
  CRepCap& out2 = root.AddOutput(2);
  CNode* sub = out1.AddChild("Sub", std::make_unique<CChildNode>());
};

}  // namespace veqdx::attr::testing
