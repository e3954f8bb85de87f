// Keys of the per-node attribute cache and of the converter keyword tables: text compared
// case-sensitively, hashed with h = 33*h + c over the bytes (h starting at 0). A CCacheKey carries
// its hash computed once, so the property accessors' hot path neither hashes nor allocates.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace veqdx::attr {

constexpr std::size_t HashKeyText(std::string_view text) noexcept {
  std::size_t h = 0;
  for (char c : text) h = 33 * h + static_cast<unsigned char>(c);
  return h;
}

// A property's qualified name ("IVelmoraQdxOutput.VoltageLevel") with its precomputed hash.
// The text must outlive the key: the property descriptors (dcpwr/property.h) point it at string
// literals.
class CCacheKey {
 public:
  constexpr explicit CCacheKey(std::string_view text) noexcept
      : text_(text), hash_(HashKeyText(text)) {}
  constexpr std::string_view Text() const noexcept { return text_; }
  constexpr std::size_t Hash() const noexcept { return hash_; }
  constexpr operator std::string_view() const noexcept { return text_; }

 private:
  std::string_view text_;
  std::size_t hash_;
};

// Transparent hasher/equality for std::string-keyed maps: look-ups by CCacheKey reuse the stored
// hash, look-ups by string_view hash on the fly. The call operators are deliberately not
// noexcept: that makes libstdc++ store each node's hash, so a bucket walk compares hashes before
// strings (our keys share long prefixes such as "IVelmoraQdxOutput.").
struct KeyTextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return HashKeyText(text); }
  std::size_t operator()(const std::string& text) const { return HashKeyText(text); }
  std::size_t operator()(const CCacheKey& key) const { return key.Hash(); }
};

struct KeyTextEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const { return a == b; }
};

}  // namespace veqdx::attr
