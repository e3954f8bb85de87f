#include "channel_model.h"

#include <cmath>

namespace qdxsim {

ChannelSettings defaultSettings(const Rating& rating) {
  ChannelSettings s;
  s.voltage = 0;
  s.current = rating.amps;
  s.ovp = settingLimit(rating.volts);
  s.uvl = 0;
  s.ocp = settingLimit(rating.amps);
  s.trigVoltage = s.voltage;
  s.trigCurrent = s.current;
  return s;
}

OperatingPoint operatingPoint(const ChannelSettings& s, bool outputOn, const Rating& rating,
                              double loadOhms) {
  OperatingPoint p;
  if (!outputOn) return p;
  if (std::isinf(loadOhms)) {  // open circuit: full voltage, no current
    p = {s.voltage, 0, Regulation::ConstantVoltage};
  } else if (loadOhms <= 0) {  // short: the current limit flows at 0 V
    p = {0, s.current, Regulation::ConstantCurrent};
  } else if (s.voltage / loadOhms <= s.current) {
    p = {s.voltage, s.voltage / loadOhms, Regulation::ConstantVoltage};
  } else {
    p = {s.current * loadOhms, s.current, Regulation::ConstantCurrent};
  }
  // Auto-ranging: voltage and current ratings multiply to more than the power rating, so the
  // unit holds the load at rated power instead (V = sqrt(P R), I = sqrt(P / R)).
  if (p.volts * p.amps > rating.watts * (1 + 1e-12) && loadOhms > 0 && !std::isinf(loadOhms)) {
    p = {std::sqrt(rating.watts * loadOhms), std::sqrt(rating.watts / loadOhms),
         Regulation::PowerLimit};
  }
  return p;
}

}  // namespace qdxsim
