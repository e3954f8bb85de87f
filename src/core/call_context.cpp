#include "core/call_context.h"

#include <vector>

namespace veqdx {
namespace {

std::vector<CallContext>& Stack() {
  thread_local std::vector<CallContext> stack;
  return stack;
}

const CallContext& Empty() {
  static const CallContext empty;
  return empty;
}

}  // namespace

CCallContextGuard::CCallContextGuard(std::string_view interfaceName, std::string_view memberName) {
  Stack().push_back(CallContext{std::string(interfaceName), std::string(memberName)});
}

CCallContextGuard::~CCallContextGuard() { Stack().pop_back(); }

const CallContext& CurrentCallContext() {
  const auto& stack = Stack();
  return stack.empty() ? Empty() : stack.back();
}

std::string CurrentInterfaceName() { return CurrentCallContext().interfaceName; }
std::string CurrentMemberName() { return CurrentCallContext().memberName; }

std::string CurrentContextKey() {
  const CallContext& ctx = CurrentCallContext();
  return ContextKey(ctx.interfaceName, ctx.memberName);
}

std::size_t CallContextDepth() { return Stack().size(); }

std::string ContextKey(std::string_view interfaceName, std::string_view memberName) {
  if (interfaceName.empty() && memberName.empty()) return {};
  if (memberName.starts_with("get_") || memberName.starts_with("put_")) memberName.remove_prefix(4);
  std::string key(interfaceName);
  key += '.';
  key.append(memberName);
  return key;
}

}  // namespace veqdx
