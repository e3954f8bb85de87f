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

CVelmoraQdxOutput& CIviDCPwrOutput::Output() noexcept {
  return static_cast<CVelmoraQdxOutput&>(*this);
}

HRESULT CIviDCPwrOutput::get_TriggeredCurrentLimit(double* val) {
  CVelmoraQdxOutput& output = Output();
  const AccessTarget t = output.Target();
  return RunMember(t, kInterface, "get_TriggeredCurrentLimit", [&]() -> HRESULT {
    TraceOut("val", val);
    attr::CPendingScope pending(output, props::kTriggeredCurrentLimit.queryCommand,
                                props::kTriggeredCurrentLimit.readFormat);
    return output.get_TriggeredCurrentLimit(val);
  });
}

HRESULT CIviDCPwrOutput::put_TriggeredCurrentLimit(double val) {
  CVelmoraQdxOutput& output = Output();
  const AccessTarget t = output.Target();
  return RunMember(t, kInterface, "put_TriggeredCurrentLimit", [&]() -> HRESULT {
    TraceIn("val", val);
    attr::CPendingScope pending(output);
    const HRESULT hr = t.driver.Io().Formatted().Sprintf(
        pending.Command(), props::kTriggeredCurrentLimit.writeFormat, val);
    if (Failed(hr)) return hr;
    return output.put_TriggeredCurrentLimit(val);
  });
}

HRESULT CIviDCPwrOutput::get_OVPEnabled(VARIANT_BOOL* val) {
  const AccessTarget t = Output().Target();
  return RunMember(t, kInterface, "get_OVPEnabled", [&]() -> HRESULT {
    TraceOut("val", val);
    const HRESULT hr = CheckOut(t, "get_OVPEnabled", val);
    if (Succeeded(hr)) *val = VARIANT_TRUE;
    return hr;
  });
}

HRESULT CIviDCPwrOutput::put_OVPEnabled(VARIANT_BOOL val) {
  const AccessTarget t = Output().Target();
  return RunMember(t, kInterface, "put_OVPEnabled", [&]() -> HRESULT {
    TraceIn("val", val);
    if (val != VARIANT_FALSE) return S_OK;
    return t.driver.Reporter().ReportValueNotSupported("VARIANT_FALSE", "val", "put_OVPEnabled");
  });
}

HRESULT CIviDCPwrOutput::ConfigureRange(IviDCPwrRangeTypeEnum RangeType, double Range) {
  CVelmoraQdxOutput& output = Output();
  const AccessTarget t = output.Target();
  return RunMember(t, kInterface, "ConfigureRange", [&]() -> HRESULT {
    TraceIn("RangeType", RangeType);
    TraceIn("Range", Range);
    double maximum = 0;
    if (RangeType == IviDCPwrRangeCurrent) {
      maximum = output.MaximumCurrent();
    } else if (RangeType == IviDCPwrRangeVoltage) {
      maximum = output.MaximumVoltage();
    } else {
      return t.driver.Reporter().ReportInvalidValue("ConfigureRange", "RangeType",
                                                    static_cast<std::int32_t>(RangeType));
    }
    // The family has a single range per output: there is nothing to send.
    if (!t.driver.RangeCheck()) return S_OK;
    return output.CheckLevel(Range, maximum, "ConfigureRange", "Range");
  });
}

HRESULT CIviDCPwrOutput::ConfigureCurrentLimit(IviDCPwrCurrentLimitBehaviorEnum Behavior,
                                               double Limit) {
  return Output().ConfigureCurrentLimitAs(kInterface, Limit,
                                          [&] { TraceIn("Behavior", Behavior); });
}

HRESULT CIviDCPwrOutput::ConfigureOVP(VARIANT_BOOL Enabled, double Limit) {
  return Output().ConfigureOVPAs(kInterface, Limit, [&] { TraceIn("Enabled", Enabled); });
}

HRESULT CIviDCPwrOutput::get_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum* val) {
  return GetConverted<VelmoraQdxCurrentLimitBehaviorEnum>(
      val, [&](auto* v) { return Output().get_CurrentLimitBehavior(v); });
}
HRESULT CIviDCPwrOutput::put_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum val) {
  return Output().put_CurrentLimitBehavior(static_cast<VelmoraQdxCurrentLimitBehaviorEnum>(val));
}
HRESULT CIviDCPwrOutput::Measure(IviDCPwrMeasurementTypeEnum MeasurementType, double* val) {
  return Output().Measure(static_cast<VelmoraQdxMeasurementTypeEnum>(MeasurementType), val);
}
HRESULT CIviDCPwrOutput::QueryState(IviDCPwrOutputStateEnum OutputState, VARIANT_BOOL* val) {
  return Output().QueryState(static_cast<VelmoraQdxOutputStateEnum>(OutputState), val);
}
HRESULT CIviDCPwrOutput::get_TriggerSource(IviDCPwrTriggerSourceEnum* val) {
  return GetConverted<VelmoraQdxTriggerSourceEnum>(
      val, [&](auto* v) { return Output().get_TriggerSource(v); });
}
HRESULT CIviDCPwrOutput::put_TriggerSource(IviDCPwrTriggerSourceEnum val) {
  return Output().put_TriggerSource(static_cast<VelmoraQdxTriggerSourceEnum>(val));
}

}  // namespace veqdx::dcpwr
