// One property's constant description: its command texts, its cache entry and the member names
// its errors carry. Everything a property needs is written here once; the accessors
// (accessor.h), the pending commands of the class-compliant view and the trigger's
// invalidation read it from here.
//
// A Property<T> is typed by the value it stores: its cache key can only reach an entry of T,
// and GetProperty / PutProperty accept only a T, so a key and the value stored under it cannot
// disagree.
#pragma once
#include <cstdint>
#include <string_view>

#include "attributes/key_hash.h"

namespace veqdx::dcpwr {

enum class CacheKind : std::uint8_t {
  None,            // no entry: reads always ask, writes always send, simulation answers zero
  SimulationOnly,  // the entry only keeps what was written while simulating
  Cached,          // the entry answers reads and suppresses unchanged writes (Cache on)
};

// The type-independent part, so that properties of all types can stand in one list. Text
// pointers refer to string literals.
struct PropertyInfo {
  const char* interfaceName;  // "IVelmoraQdxOutput"
  const char* getName;        // "get_VoltageLevel"
  const char* putName;        // "put_VoltageLevel"
  const char* writeFormat;    // ":VOLT %0.15lg" (the value is its one argument)
  const char* queryCommand;   // ":VOLT?" (sent as it is)
  const char* readFormat;     // "%lg"
  // "Interface.Property"; used by the cached and simulation-only kinds.
  attr::CCacheKey key{""};
  CacheKind cache = CacheKind::None;
  std::int8_t slot = -1;  // index into AccessTarget::slots; -1: look the entry up each time
  const attr::CCacheKey* dependent = nullptr;  // made invalid by a successful write
  // The instrument form of a Configure... method that ends in this property's setter; kept as
  // that method's pending command (null: no such method).
  const char* configureFormat = nullptr;
  bool registerValue = false;  // a 16-bit register (traced as short, not as VARIANT_BOOL)

  // "VoltageLevel": the getter's name without "get_".
  constexpr std::string_view Name() const noexcept { return std::string_view(getName).substr(4); }
};

template <class T>
struct Property : PropertyInfo {
  using Value = T;
};

}  // namespace veqdx::dcpwr
