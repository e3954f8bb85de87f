// The call context: which public operation the calling thread is running, innermost last.
//
// Every public operation pushes {interface, member} for its duration (CCallContextGuard). The
// error reporter names the interface of the failing call from it, and the enum formatter
// picks its converter by the context key ("IVelmoraQdxOutput.VoltageLevel"). The stack is kept
// per thread, so two threads working on two outputs of one session never see each other's
// context.
#pragma once
#include <string>
#include <string_view>

namespace veqdx {

// The names are views: every operation passes names that outlive its guard (literals or
// strings of the operation's own frame), so pushing a context never allocates. The cache hot
// paths (a cached getter, an unchanged setter) pay for the push on every call.
struct CallContext {
  std::string_view interfaceName;  // "IVelmoraQdxOutput"
  std::string_view memberName;     // "put_VoltageLevel", "Measure"
};

// Pushes a context on construction and pops it on destruction. The two names must stay
// alive until the guard is destroyed.
class CCallContextGuard {
 public:
  CCallContextGuard(std::string_view interfaceName, std::string_view memberName);
  ~CCallContextGuard();
  CCallContextGuard(const CCallContextGuard&) = delete;
  CCallContextGuard& operator=(const CCallContextGuard&) = delete;
};

// The calling thread's innermost context; empty strings when no operation is running.
const CallContext& CurrentCallContext();
std::string CurrentInterfaceName();
std::string CurrentMemberName();
// Number of contexts on the calling thread's stack (nesting depth).
std::size_t CallContextDepth();

// The context key: interface + "." + member, the member without a "get_"/"put_" prefix
// ("IVelmoraQdxOutput.VoltageLevel" for get_/put_VoltageLevel, "IVelmoraQdxOutput.Measure"
// for the method); empty for the empty context. Built in place: the enum formatter looks it
// up on every enum it writes or reads, and a key of ordinary length then costs no allocation.
class CContextKeyText {
 public:
  CContextKeyText(std::string_view interfaceName, std::string_view memberName);
  explicit CContextKeyText(const CallContext& context)
      : CContextKeyText(context.interfaceName, context.memberName) {}
  CContextKeyText(const CContextKeyText&) = delete;
  CContextKeyText& operator=(const CContextKeyText&) = delete;
  std::string_view view() const { return spill_.empty() ? std::string_view(inline_, size_) : spill_; }

 private:
  char inline_[96];
  std::size_t size_ = 0;
  std::string spill_;  // only for names too long for the inline room
};

}  // namespace veqdx
