#include "attributes/cache.h"

#include <cmath>
#include <iterator>

#include "veqdx/enums.hpp"

namespace veqdx::attr {

double RoundToDecimals(double value, int decimals) noexcept {
  // Powers of ten up to 1e22 are exact doubles; a table avoids pow() on the cache's hot path.
  static constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr int kMaxDecimals = static_cast<int>(std::size(kPowersOfTen)) - 1;
  if (decimals < 0 || decimals > kMaxDecimals || !std::isfinite(value)) return value;
  const double scale = kPowersOfTen[decimals];
  const double scaled = value * scale;
  // 2^52: from here on every double is an integer, so there is no fraction left to round.
  constexpr double kIntegralFrom = 4503599627370496.0;
  if (!std::isfinite(scaled) || std::fabs(scaled) >= kIntegralFrom) return value;
  // Ties to even on the scaled value; the default rounding mode of nearbyint is exactly that,
  // but spell it out so a changed floating-point environment cannot alter cache equality.
  const double whole = std::trunc(scaled);
  const double fraction = scaled - whole;  // exact: both are within 2^52
  double rounded = whole;
  if (std::fabs(fraction) > 0.5) {
    rounded = whole + (fraction > 0 ? 1.0 : -1.0);
  } else if (std::fabs(fraction) == 0.5) {
    rounded = whole + (std::fmod(whole, 2.0) != 0.0 ? (fraction > 0 ? 1.0 : -1.0) : 0.0);
  }
  return rounded / scale;
}

// The value types that cached properties use; instantiating them here keeps every one of them
// compiling with its traits.
template class CCacheEntry<double>;
template class CCacheEntry<std::uint8_t>;
template class CCacheEntry<std::int16_t>;  // VARIANT_BOOL and the 16-bit enable registers
template class CCacheEntry<std::int32_t>;
template class CCacheEntry<VelmoraQdxCurrentLimitBehaviorEnum>;
template class CCacheEntry<VelmoraQdxExternalLogicEnum>;
template class CCacheEntry<VelmoraQdxExternalRangeEnum>;
template class CCacheEntry<VelmoraQdxOperationModeEnum>;
template class CCacheEntry<VelmoraQdxPONStateEnum>;
template class CCacheEntry<VelmoraQdxProtectionRecoveryEnum>;
template class CCacheEntry<VelmoraQdxTriggerSourceEnum>;

}  // namespace veqdx::attr
