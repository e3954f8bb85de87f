// One cached property value per entry. Every node owns a map of entries (node.h); an entry is
// created invalid holding the type's zero and only ever goes back to invalid through Invalidate.
//
// Threading: the value is read and written only by the owning node's operations, under that
// node's lock. The valid flag alone may also be cleared from another node (tree-wide and
// dependent invalidation), so it is atomic; relaxed ordering suffices because the node locks
// order everything else.
#pragma once
#include <atomic>
#include <cmath>
#include <cstdint>
#include <type_traits>

namespace veqdx::attr {

class CCacheEntryBase {
 public:
  virtual ~CCacheEntryBase() = default;
  CCacheEntryBase(const CCacheEntryBase&) = delete;
  CCacheEntryBase& operator=(const CCacheEntryBase&) = delete;

  virtual void Invalidate() noexcept { valid_.store(false, std::memory_order_relaxed); }
  virtual void SetValid() noexcept { valid_.store(true, std::memory_order_relaxed); }
  virtual bool IsValid() const noexcept { return valid_.load(std::memory_order_relaxed); }

  // Identifies the value type, so a node can tell a key reused with another type (see
  // CNode::GetCacheEntry) without RTTI on the hot path.
  const void* TypeTag() const noexcept { return typeTag_; }

 protected:
  explicit CCacheEntryBase(const void* typeTag) noexcept : typeTag_(typeTag) {}

 private:
  std::atomic<bool> valid_{false};
  const void* typeTag_;
};

// Rounds `value` to `decimals` digits after the decimal point the way the COM runtime's
// VarR8Round does: scale by 10^decimals, round the scaled value to an integer with ties going
// to the even neighbour (banker's rounding), scale back. Values whose scaled magnitude is
// already integral in a double (|value| * 10^decimals >= 2^52, e.g. 1e17 at 14 decimals) or not
// finite are returned unchanged: they have no digit to round, and scaling them back and forth
// would only add error (or overflow to infinity and make distinct values look equal).
// `decimals` above 22 also leaves the value unchanged (no double carries that many).
double RoundToDecimals(double value, int decimals) noexcept;

// Equality used by CCacheEntry<T>::Matches.
template <class T>
struct SimpleCacheEntryTraits {
  static bool Equal(const T& a, const T& b) noexcept { return a == b; }
};

// Integral and enumeration values compare exactly.
template <class T>
struct CacheEntryTraits : SimpleCacheEntryTraits<T> {
  static_assert(std::is_integral_v<T> || std::is_enum_v<T>,
                "cache entries hold doubles, integers or enumerations");
};

// Levels and limits: equal when both round to the same value at 14 decimals, so a value that
// went through the instrument's text form (":VOLT %0.15lg") still matches. NaN never matches.
template <>
struct CacheEntryTraits<double> {
  static constexpr int kDecimals = 14;
  static bool Equal(double a, double b) noexcept {
    if (std::isnan(a) || std::isnan(b)) return false;
    if (a == b) return true;  // the common "unchanged value" case needs no rounding
    return RoundToDecimals(a, kDecimals) == RoundToDecimals(b, kDecimals);
  }
};

template <class T>
class CCacheEntry final : public CCacheEntryBase {
 public:
  using Traits = CacheEntryTraits<T>;
  static const void* Tag() noexcept { return &kTag; }

  CCacheEntry() noexcept : CCacheEntryBase(Tag()) {}

  // Copies the value to `out` when valid; otherwise returns false and leaves `out` alone.
  bool TryGet(T& out) const noexcept {
    if (!IsValid()) return false;
    out = value_;
    return true;
  }
  void Set(const T& v) noexcept {
    value_ = v;
    SetValid();
  }
  bool Matches(const T& v) const noexcept { return IsValid() && Traits::Equal(value_, v); }

 private:
  static constexpr char kTag = 0;  // one address per instantiation
  T value_{};
};

}  // namespace veqdx::attr
