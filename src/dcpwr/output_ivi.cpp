#include "dcpwr/output_ivi.h"

#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

// Reads an instrument enumeration through `get` into the class enumeration of equal values;
// a null pointer goes through, so the instrument member reports it.
template <class Instrument, class Class, class Getter>
HRESULT GetConverted(Class* val, Getter&& get) {
  if (val == nullptr) return get(static_cast<Instrument*>(nullptr));
  Instrument value{};
  const HRESULT hr = get(&value);
  *val = static_cast<Class>(value);
  return hr;
}

}  // namespace

HRESULT CIviDCPwrOutput::get_TriggeredCurrentLimit(double* val) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "get_TriggeredCurrentLimit", [&]() -> HRESULT {
    TraceOut("val", val);
    attr::CPendingScope pending(output_, ":CURR:TRIG?", "%@3lg");
    return output_.get_TriggeredCurrentLimit(val);
  });
}

HRESULT CIviDCPwrOutput::put_TriggeredCurrentLimit(double val) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "put_TriggeredCurrentLimit", [&]() -> HRESULT {
    TraceIn("val", val);
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
    TraceOut("val", val);
    const HRESULT hr = CheckOut(t, "get_OVPEnabled", val);
    if (Succeeded(hr)) *val = VARIANT_TRUE;
    return hr;
  });
}

HRESULT CIviDCPwrOutput::put_OVPEnabled(VARIANT_BOOL val) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "put_OVPEnabled", [&]() -> HRESULT {
    TraceIn("val", val);
    if (val != VARIANT_FALSE) return S_OK;
    return t.driver.Reporter().ReportValueNotSupported("VARIANT_FALSE", "val", "put_OVPEnabled");
  });
}

HRESULT CIviDCPwrOutput::ConfigureRange(IviDCPwrRangeTypeEnum RangeType, double Range) {
  const AccessTarget t = output_.Target();
  return RunMember(t, kInterface, "ConfigureRange", [&]() -> HRESULT {
    TraceIn("RangeType", RangeType);
    TraceIn("Range", Range);
    double maximum = 0;
    if (RangeType == IviDCPwrRangeCurrent) {
      maximum = output_.MaximumCurrent();
    } else if (RangeType == IviDCPwrRangeVoltage) {
      maximum = output_.MaximumVoltage();
    } else {
      return t.driver.Reporter().ReportInvalidValue("ConfigureRange", "RangeType",
                                                    static_cast<std::int32_t>(RangeType));
    }
    // The family has a single range per output: there is nothing to send.
    if (!t.driver.RangeCheck()) return S_OK;
    return output_.CheckLevel(Range, maximum, "ConfigureRange", "Range");
  });
}

HRESULT CIviDCPwrOutput::ConfigureCurrentLimit(IviDCPwrCurrentLimitBehaviorEnum Behavior,
                                               double Limit) {
  return output_.ConfigureCurrentLimitAs(kInterface, Limit, [&] { TraceIn("Behavior", Behavior); });
}

HRESULT CIviDCPwrOutput::ConfigureOVP(VARIANT_BOOL Enabled, double Limit) {
  return output_.ConfigureOVPAs(kInterface, Limit, [&] { TraceIn("Enabled", Enabled); });
}

// ---- members that call the instrument interface directly ----

HRESULT CIviDCPwrOutput::get_CurrentLimit(double* val) { return output_.get_CurrentLimit(val); }
HRESULT CIviDCPwrOutput::put_CurrentLimit(double val) { return output_.put_CurrentLimit(val); }
HRESULT CIviDCPwrOutput::get_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum* val) {
  return GetConverted<VelmoraQdxCurrentLimitBehaviorEnum>(
      val, [&](auto* v) { return output_.get_CurrentLimitBehavior(v); });
}
HRESULT CIviDCPwrOutput::put_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum val) {
  return output_.put_CurrentLimitBehavior(static_cast<VelmoraQdxCurrentLimitBehaviorEnum>(val));
}
HRESULT CIviDCPwrOutput::get_Enabled(VARIANT_BOOL* val) { return output_.get_Enabled(val); }
HRESULT CIviDCPwrOutput::put_Enabled(VARIANT_BOOL val) { return output_.put_Enabled(val); }
HRESULT CIviDCPwrOutput::Measure(IviDCPwrMeasurementTypeEnum MeasurementType, double* val) {
  return output_.Measure(static_cast<VelmoraQdxMeasurementTypeEnum>(MeasurementType), val);
}
HRESULT CIviDCPwrOutput::get_OVPLimit(double* val) { return output_.get_OVPLimit(val); }
HRESULT CIviDCPwrOutput::put_OVPLimit(double val) { return output_.put_OVPLimit(val); }
HRESULT CIviDCPwrOutput::QueryCurrentLimitMax(double VoltageLevel, double* val) {
  return output_.QueryCurrentLimitMax(VoltageLevel, val);
}
HRESULT CIviDCPwrOutput::QueryState(IviDCPwrOutputStateEnum OutputState, VARIANT_BOOL* val) {
  return output_.QueryState(static_cast<VelmoraQdxOutputStateEnum>(OutputState), val);
}
HRESULT CIviDCPwrOutput::QueryVoltageLevelMax(double CurrentLimit, double* val) {
  return output_.QueryVoltageLevelMax(CurrentLimit, val);
}
HRESULT CIviDCPwrOutput::ResetOutputProtection() { return output_.ResetOutputProtection(); }
HRESULT CIviDCPwrOutput::get_TriggeredVoltageLevel(double* val) {
  return output_.get_TriggeredVoltageLevel(val);
}
HRESULT CIviDCPwrOutput::put_TriggeredVoltageLevel(double val) {
  return output_.put_TriggeredVoltageLevel(val);
}
HRESULT CIviDCPwrOutput::get_TriggerSource(IviDCPwrTriggerSourceEnum* val) {
  return GetConverted<VelmoraQdxTriggerSourceEnum>(
      val, [&](auto* v) { return output_.get_TriggerSource(v); });
}
HRESULT CIviDCPwrOutput::put_TriggerSource(IviDCPwrTriggerSourceEnum val) {
  return output_.put_TriggerSource(static_cast<VelmoraQdxTriggerSourceEnum>(val));
}
HRESULT CIviDCPwrOutput::get_VoltageLevel(double* val) { return output_.get_VoltageLevel(val); }
HRESULT CIviDCPwrOutput::put_VoltageLevel(double val) { return output_.put_VoltageLevel(val); }

}  // namespace veqdx::dcpwr
