#include "base/call_context.h"

#include <cstring>
#include <vector>

namespace veqdx {
namespace {

std::vector<CallContext>& Stack() {
  thread_local std::vector<CallContext> stack = [] {
    std::vector<CallContext> s;
    s.reserve(16);  // nesting is shallow; no reallocation on the hot path
    return s;
  }();
  return stack;
}

const CallContext& Empty() {
  static const CallContext empty;
  return empty;
}

}  // namespace

CCallContextGuard::CCallContextGuard(std::string_view interfaceName, std::string_view memberName) {
  Stack().push_back(CallContext{interfaceName, memberName});
}

CCallContextGuard::~CCallContextGuard() { Stack().pop_back(); }

const CallContext& CurrentCallContext() {
  const auto& stack = Stack();
  return stack.empty() ? Empty() : stack.back();
}

std::string CurrentInterfaceName() { return std::string(CurrentCallContext().interfaceName); }
std::string CurrentMemberName() { return std::string(CurrentCallContext().memberName); }

std::size_t CallContextDepth() { return Stack().size(); }

CContextKeyText::CContextKeyText(std::string_view interfaceName, std::string_view memberName) {
  if (interfaceName.empty() && memberName.empty()) return;
  if (memberName.starts_with("get_") || memberName.starts_with("put_")) memberName.remove_prefix(4);
  const std::size_t size = interfaceName.size() + 1 + memberName.size();
  if (size > sizeof inline_) {
    spill_.reserve(size);
    spill_.append(interfaceName).append(1, '.').append(memberName);
    return;
  }
  std::memcpy(inline_, interfaceName.data(), interfaceName.size());
  inline_[interfaceName.size()] = '.';
  std::memcpy(inline_ + interfaceName.size() + 1, memberName.data(), memberName.size());
  size_ = size;
}

}  // namespace veqdx
