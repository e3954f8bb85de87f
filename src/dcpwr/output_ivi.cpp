#include "dcpwr/output_ivi.h"

#include "dcpwr/output.h"

namespace veqdx::dcpwr {

HRESULT CIviDCPwrOutput::get_TriggeredCurrentLimit(double* val) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "get_TriggeredCurrentLimit", [&]() -> HRESULT {
    attr::CPendingScope pending(output_, ":CURR:TRIG?", "%@3lg");
    return output_.get_TriggeredCurrentLimit(val);
  });
}

HRESULT CIviDCPwrOutput::put_TriggeredCurrentLimit(double val) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "put_TriggeredCurrentLimit", [&]() -> HRESULT {
    attr::CPendingScope pending(output_);
    const HRESULT hr =
        t.driver.Io().Formatted().Sprintf(pending.Command(), ":CURR:TRIG %0.15lg", val);
    if (Failed(hr)) return hr;
    return output_.put_TriggeredCurrentLimit(val);
  });
}

HRESULT CIviDCPwrOutput::get_OVPEnabled(VARIANT_BOOL* val) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "get_OVPEnabled", [&]() -> HRESULT {
    const HRESULT hr = CheckOut(t, "get_OVPEnabled", val);
    if (Succeeded(hr)) *val = VARIANT_TRUE;
    return hr;
  });
}

HRESULT CIviDCPwrOutput::put_OVPEnabled(VARIANT_BOOL val) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "put_OVPEnabled", [&]() -> HRESULT {
    if (val != VARIANT_FALSE) return S_OK;
    return t.driver.Reporter().ReportValueNotSupported("VARIANT_FALSE", "val", "put_OVPEnabled");
  });
}

HRESULT CIviDCPwrOutput::ConfigureRange(std::int32_t rangeType, double range) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "ConfigureRange", [&]() -> HRESULT {
    double maximum = 0;
    if (rangeType == kRangeCurrent) {
      maximum = output_.MaximumCurrent();
    } else if (rangeType == kRangeVoltage) {
      maximum = output_.MaximumVoltage();
    } else {
      return t.driver.Reporter().ReportInvalidValue("ConfigureRange", "RangeType", rangeType);
    }
    // The family has a single range per output: nothing to send.
    if (t.driver.RangeCheck()) return output_.CheckLevel(range, maximum, "ConfigureRange", "Range");
    return S_OK;
  });
}

HRESULT CIviDCPwrOutput::ConfigureCurrentLimit(attr::IviDCPwrCurrentLimitBehaviorEnum /*behavior*/,
                                               double limit) {
  return output_.ConfigureThroughSetter(kInterface, "ConfigureCurrentLimit", ":CURR %0@3.15lg",
                                        limit, &VelmoraQdxOutput::put_CurrentLimit);
}

HRESULT CIviDCPwrOutput::ConfigureOVP(VARIANT_BOOL /*enabled*/, double limit) {
  return output_.ConfigureThroughSetter(kInterface, "ConfigureOVP", ":VOLT:PROT %0@3.15lg", limit,
                                        &VelmoraQdxOutput::put_OVPLimit);
}

}  // namespace veqdx::dcpwr
