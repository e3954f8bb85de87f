// The accessor sequence: the one order of steps that every property getter and setter of the
// power-supply interfaces follows, written once so that no property can get it subtly wrong.
//
//   Getter: node lock -> call context -> initialized? -> null out-pointer (result zeroed)
//           -> cache (cached kind, Cache on) -> simulation (entry or zero)
//           -> pending query + read format -> [I/O lock: select channel, query, parse]
//           -> store in cache (cached kind, Cache on).
//   Setter: node lock -> call context -> initialized? -> range check (RangeCheck on)
//           -> unchanged in cache? (cached kind, Cache on) -> simulation (store, done)
//           -> pending command formatted by the engine -> [I/O lock: select channel, send]
//           -> store in cache (cached kind, Cache on) -> invalidate the dependent entry.
//
// Per-output properties run on the output node and select its channel; driver-wide ones run
// on the root (target channel kNoChannel) and send as they are. The I/O lock is taken after
// the node lock and held across the selection and the command, so another thread's command
// for another output cannot slip in between.
//
// Hot paths (a cached read, an unchanged write) build no strings of their own: the
// descriptors are constants, the cache keys carry their hash, a node may memoise its entries
// (AccessTarget::slots), and method names are turned into text only when an error is
// reported. What remains is the node lock and the call-context push (base/call_context.cpp).
//
//   // props::kVoltageLevel is a Property<double> (output_properties.h)
//   HRESULT get_VoltageLevel(double* val) { return GetProperty(Target(), kVoltageLevel, val); }
//   HRESULT put_VoltageLevel(double val) {
//     return PutProperty(Target(), kVoltageLevel, val, [&](double v) { return CheckLevel(v); });
//   }
#pragma once
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "veqdx/enums.hpp"
#include "attributes/node.h"
#include "base/call_context.h"
#include "base/error_reporter.h"
#include "base/hresult.h"
#include "core/trace.h"
#include "core/velmoraqdx.h"
#include "dcpwr/property.h"
#include "io/formatted_io.h"

namespace veqdx::dcpwr {

// Channel of a driver-wide target: nothing is selected before its commands.
inline constexpr std::int32_t kNoChannel = -1;

// Where an accessor runs: the node whose lock, cache and pending stacks it uses, the driver
// session behind it (flags, I/O, reporter, channel selection), and the channel to select
// (kNoChannel for driver-wide properties). For the root, node and driver are the same object.
struct AccessTarget {
  attr::CNode& node;
  CVelmoraQdx& driver;
  std::int32_t channel = kNoChannel;
  // Optional memo of the node's entries, indexed by PropertyInfo::slot, filled on first use.
  // Entries are never removed from a node, so a remembered pointer stays valid for the node's
  // life; it spares the hot paths the map look-up. Touched only under the node's lock.
  attr::CCacheEntryBase** slots = nullptr;
};

// No range check.
struct NoCheck {
  template <class T>
  HRESULT operator()(const T&) const noexcept {
    return S_OK;
  }
};

// ---------------------------------------------------------------------------------------------
// Building blocks, for members that do not fit the plain property pattern (methods, registers).

// Whether the target may work: the root answers with the session's initialized flag, a child
// node with whether it is still attached (Close detaches the outputs first). Read directly
// rather than through the node's virtual query, which would take the lock a second time.
inline bool TargetInitialized(const AccessTarget& t) noexcept {
  if (&t.node == static_cast<attr::CNode*>(&t.driver)) return t.driver.Initialized();
  return t.node.GetParent() != nullptr;
}

// The first steps of every member for the duration of a scope: the node's lock, the call
// context, the trace record (ended, then the context popped, before the lock is released).
// Done() hands the result to the trace.
class CMemberScope {
 public:
  CMemberScope(const AccessTarget& t, std::string_view interfaceName, std::string_view memberName)
      : lock_(t.node.Mutex()),
        context_(interfaceName, memberName),
        trace_(t.driver.Trace(), interfaceName, memberName) {}
  CMemberScope(const CMemberScope&) = delete;
  CMemberScope& operator=(const CMemberScope&) = delete;
  HRESULT Done(HRESULT hr) noexcept { return trace_.Done(hr); }

 private:
  std::lock_guard<std::recursive_mutex> lock_;
  CCallContextGuard context_;
  CTraceScope trace_;
};

// Steps 1 to 3 of every member: node lock, call context and trace, initialized check; then
// `body()`, which names its parameters with TraceIn / TraceOut.
template <class Body>
HRESULT RunMember(const AccessTarget& t, std::string_view interfaceName,
                  std::string_view memberName, Body&& body) {
  CMemberScope scope(t, interfaceName, memberName);
  if (!TargetInitialized(t)) return scope.Done(t.driver.Reporter().ReportNotInitialized());
  return scope.Done(body());
}

// The null check of an out-argument: reports message 0x16 naming `member` and `parameter`;
// otherwise zeroes the result.
template <class T>
HRESULT CheckOut(const AccessTarget& t, std::string_view member, T* out,
                 std::string_view parameter = "val") {
  if (out == nullptr) return t.driver.Reporter().ReportNullPointer(member, parameter);
  *out = T{};
  return S_OK;
}

// Selects the target's channel (when it has one) while the caller holds the I/O lock.
inline HRESULT SelectTargetChannel(const AccessTarget& t) {
  return t.channel == kNoChannel ? S_OK : t.driver.SelectChannel(t.channel);
}

// Formats `format` with `args` into a pending command of the node (popped on return), then,
// under the I/O lock, selects the channel when `select` and sends the command. Formatting
// failures (converter errors) end the call before any I/O.
template <class... A>
HRESULT SendCommand(const AccessTarget& t, bool select, const char* format, const A&... args) {
  attr::CPendingScope pending(t.node);
  io::CFormattedIo& engine = t.driver.Io().Formatted();
  HRESULT hr = engine.Sprintf(pending.Command(), format, args...);
  if (Failed(hr)) return hr;
  auto io = t.driver.LockIo();
  if (select && Failed(hr = SelectTargetChannel(t))) return hr;
  return engine.WriteString(pending.Command());
}

// Formats the query `format` with `args` into the pending command (without arguments the
// text is taken as it is), sets the pending read format, then, under the I/O lock, selects
// when `select`, sends the query and parses the reply into `*out`. `*out` is written only on
// success, so a failed read leaves the caller's zero in place.
template <class T, class... A>
HRESULT QueryValue(const AccessTarget& t, bool select, T* out, const char* readFormat,
                   const char* format, const A&... args) {
  attr::CPendingScope pending(t.node, {}, readFormat);
  io::CFormattedIo& engine = t.driver.Io().Formatted();
  HRESULT hr = S_OK;
  if constexpr (sizeof...(A) == 0) {
    pending.Command() = format;
  } else if (Failed(hr = engine.Sprintf(pending.Command(), format, args...))) {
    return hr;
  }
  T value{};
  {
    auto io = t.driver.LockIo();
    if (select && Failed(hr = SelectTargetChannel(t))) return hr;
    hr = engine.QueryString(pending.Command(), pending.ReadFormat().c_str(), &value);
  }
  if (Succeeded(hr)) *out = value;
  return hr;
}

namespace detail {
// First use of a memo slot (or no memo): the map look-up; nullptr after reporting
// out-of-memory.
template <class T>
[[gnu::noinline]] attr::CCacheEntry<T>* LookUpEntry(const AccessTarget& t, const Property<T>& d) {
  attr::CCacheEntry<T>* entry = t.node.template GetCacheEntry<T>(d.key);
  if (entry == nullptr) t.driver.Reporter().ReportOutOfMemory();
  if (entry != nullptr && t.slots != nullptr && d.slot >= 0) t.slots[d.slot] = entry;
  return entry;
}
}  // namespace detail

// The entry of a property, through the target's memo when it has one; nullptr after reporting
// out-of-memory.
template <class T>
[[gnu::always_inline]] inline attr::CCacheEntry<T>* EntryOf(const AccessTarget& t,
                                                            const Property<T>& d) {
  if (t.slots != nullptr && d.slot >= 0) {
    attr::CCacheEntryBase* memo = t.slots[d.slot];
    if (memo != nullptr && memo->TypeTag() == attr::CCacheEntry<T>::Tag())
      return static_cast<attr::CCacheEntry<T>*>(memo);
  }
  return detail::LookUpEntry<T>(t, d);
}

namespace detail {

// The instrument half of a getter: query, parse, remember when cached. Kept out of line so
// that the cache-answered half inlines into each property's getter.
template <class T>
[[gnu::noinline]] HRESULT QueryProperty(const AccessTarget& t, const Property<T>& d, T* val,
                                        bool cached) {
  const HRESULT hr = QueryValue(t, t.channel != kNoChannel, val, d.readFormat, d.queryCommand);
  if (Succeeded(hr) && cached) {
    if (attr::CCacheEntry<T>* entry = EntryOf<T>(t, d)) entry->Set(*val);
  }
  return hr;
}

// The instrument half of a setter: format, select, send, remember, invalidate the dependent.
template <class T>
[[gnu::noinline]] HRESULT SendProperty(const AccessTarget& t, const Property<T>& d, T val,
                                       bool cached) {
  const HRESULT hr = SendCommand(t, t.channel != kNoChannel, d.writeFormat, val);
  if (Failed(hr)) return hr;
  if (cached) {
    if (attr::CCacheEntry<T>* entry = EntryOf<T>(t, d)) entry->Set(val);
  }
  if (d.dependent != nullptr) {
    if (attr::CCacheEntryBase* dep = t.node.FindCacheEntry(*d.dependent)) dep->Invalidate();
  }
  return hr;
}

}  // namespace detail

// ---------------------------------------------------------------------------------------------
// The property getter and setter.

// Both are forced inline so that, in each property's accessor, the descriptor is a known
// constant: its name lengths and branches fold away at compile time.
namespace detail {
template <class T>
[[gnu::always_inline]] inline HRESULT GetPropertyBody(const AccessTarget& t,
                                                      const Property<T>& d, T* val) {
  if (!TargetInitialized(t)) return t.driver.Reporter().ReportNotInitialized();
  HRESULT hr = CheckOut(t, d.getName, val);
  if (Failed(hr)) return hr;
  const bool cached = d.cache == CacheKind::Cached && t.driver.Cache();
  if (cached) {
    attr::CCacheEntry<T>* entry = EntryOf<T>(t, d);
    if (entry == nullptr) return E_OUTOFMEMORY;
    if (entry->TryGet(*val)) return S_OK;
  }
  if (t.driver.Simulate()) {
    if (d.cache != CacheKind::None) {
      attr::CCacheEntry<T>* entry = EntryOf<T>(t, d);
      if (entry == nullptr) return E_OUTOFMEMORY;
      entry->TryGet(*val);  // zero when never written
    }
    return S_OK;
  }
  return detail::QueryProperty(t, d, val, cached);
}

template <class T, class Check>
[[gnu::always_inline]] inline HRESULT PutPropertyBody(const AccessTarget& t,
                                                      const Property<T>& d, T val,
                                                      Check&& check) {
  if (!TargetInitialized(t)) return t.driver.Reporter().ReportNotInitialized();
  HRESULT hr = S_OK;
  if (t.driver.RangeCheck() && Failed(hr = check(val))) return hr;
  const bool cached = d.cache == CacheKind::Cached && t.driver.Cache();
  if (cached) {
    attr::CCacheEntry<T>* entry = EntryOf<T>(t, d);
    if (entry == nullptr) return E_OUTOFMEMORY;
    if (entry->Matches(val)) return S_OK;
  }
  if (t.driver.Simulate()) {
    if (d.cache != CacheKind::None) {
      attr::CCacheEntry<T>* entry = EntryOf<T>(t, d);
      if (entry == nullptr) return E_OUTOFMEMORY;
      entry->Set(val);
    }
    return S_OK;
  }
  return detail::SendProperty(t, d, val, cached);
}
}  // namespace detail

// Traced as their property: the in- or out-value "val".
template <class T>
[[gnu::always_inline]] inline HRESULT GetProperty(const AccessTarget& t, const Property<T>& d,
                                                  T* val) {
  static_assert(std::is_trivially_copyable_v<T>, "properties are numbers, booleans or enums");
  CMemberScope scope(t, d.interfaceName, d.getName);
  if constexpr (std::is_same_v<T, std::int16_t>) {
    if (d.registerValue) TraceOutShort("val", val);
    else TraceOut("val", val);
  } else {
    TraceOut("val", val);
  }
  return scope.Done(detail::GetPropertyBody(t, d, val));
}

template <class T, class Check = NoCheck>
[[gnu::always_inline]] inline HRESULT PutProperty(const AccessTarget& t, const Property<T>& d,
                                                  T val, Check&& check = {}) {
  static_assert(std::is_trivially_copyable_v<T>, "properties are numbers, booleans or enums");
  CMemberScope scope(t, d.interfaceName, d.putName);
  if constexpr (std::is_same_v<T, std::int16_t>) {
    if (d.registerValue) TraceIn("val", TraceShort{val});
    else TraceIn("val", val);
  } else {
    TraceIn("val", val);
  }
  return scope.Done(detail::PutPropertyBody(t, d, val, std::forward<Check>(check)));
}

// Reports the invalid-value error for an enumeration argument unless `value` is one of
// `allowed` (the setters' table checks: PONState, TriggerSource, ...).
template <class E, std::size_t N>
HRESULT CheckEnumIn(const AccessTarget& t, std::string_view method, E value,
                    const E (&allowed)[N]) {
  for (E a : allowed)
    if (a == value) return S_OK;
  return t.driver.Reporter().ReportInvalidValue(method, "val", static_cast<std::int32_t>(value));
}

}  // namespace veqdx::dcpwr
