#include "attributes/cache.h"

#include <cmath>

#include "attributes/enums.h"

namespace veqdx::attr {

double RoundToDecimals(double value, int decimals) noexcept {
  if (decimals < 0 || !std::isfinite(value)) return value;
  const double scale = std::pow(10.0, decimals);
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
