// IVelmoraQdxOutput: measurement, the regulation / protection state and protection reset.
#include <iterator>

#include "dcpwr/output.h"

namespace veqdx::dcpwr {
namespace {

enum class Group { Operation, Questionable };

struct StateBit {
  VelmoraQdxOutputStateEnum state;
  Group group;
  std::int16_t mask;
};

// Which condition bit answers which state: the regulation modes are in the operation group,
// the protections and alarms in the questionable group.
constexpr StateBit kStateBits[] = {
    {VelmoraQdxOutputStateConstantVoltage, Group::Operation, 0x100},
    {VelmoraQdxOutputStateConstantCurrent, Group::Operation, 0x400},
    {VelmoraQdxOutputStateOverVoltage, Group::Questionable, 0x1},
    {VelmoraQdxOutputStateOverCurrent, Group::Questionable, 0x2},
    {VelmoraQdxOutputStateUnregulated, Group::Questionable, 0x400},
    {VelmoraQdxOutputStateACPowerFailure, Group::Questionable, 0x4},
    {VelmoraQdxOutputStatePowerLimit, Group::Questionable, 0x8},
    {VelmoraQdxOutputStateOverTemperature, Group::Questionable, 0x10},
    {VelmoraQdxOutputStateShutdownAlarm, Group::Questionable, 0x20},
    {VelmoraQdxOutputStateSensingAlarm, Group::Questionable, 0x40},
    {VelmoraQdxOutputStateFanAlarm, Group::Questionable, 0x100},
    {VelmoraQdxOutputStateOutputInhibited, Group::Questionable, 0x200},
    {VelmoraQdxOutputStateI2CAlarm, Group::Questionable, 0x800},
    {VelmoraQdxOutputStateOverVoltage2, Group::Questionable, 0x1000},
};

const StateBit* FindStateBit(VelmoraQdxOutputStateEnum state) {
  for (const StateBit& bit : kStateBits)
    if (bit.state == state) return &bit;
  return nullptr;
}

}  // namespace

HRESULT CVelmoraQdxOutput::Measure(VelmoraQdxMeasurementTypeEnum measurementType, double* val) {
  const AccessTarget t = Target();
  return RunMember(t, kInterface, "Measure", [&]() -> HRESULT {
    TraceIn("MeasurementType", measurementType);
    TraceOut("val", val);
    HRESULT hr = CheckOut(t, "Measure", val);
    if (Failed(hr)) return hr;
    // The keyword carries the question mark: ":MEAS:" + "VOLT?" / "CURR?". An unknown type
    // fails here, in the converter, also when simulating.
    attr::CPendingScope pending(*this, {}, "%@3lg");
    io::CFormattedIo& engine = driver_.Io().Formatted();
    if (Failed(hr = engine.Sprintf(pending.Command(), ":MEAS:%{VelmoraQdxMeasurementTypeEnum}s",
                                   measurementType)))
      return hr;
    auto io = driver_.LockIo();
    if (Failed(hr = SelectTargetChannel(t))) return hr;
    if (driver_.Simulate()) {
      // A simulated output measures what it was set to, and only while it is on.
      VARIANT_BOOL enabled = VARIANT_FALSE;
      attr::CCacheEntry<VARIANT_BOOL>* on = EntryOf(t, props::kEnabled);
      if (on == nullptr) return E_OUTOFMEMORY;
      if (!on->TryGet(enabled) || enabled == VARIANT_FALSE) return S_OK;
      attr::CCacheEntry<double>* level = EntryOf(
          t, measurementType == VelmoraQdxMeasurementCurrent ? props::kCurrentLimit
                                                             : props::kVoltageLevel);
      if (level == nullptr) return E_OUTOFMEMORY;
      level->TryGet(*val);
      return S_OK;
    }
    double value = 0;
    hr = engine.QueryString(pending.Command(), pending.ReadFormat().c_str(), &value);
    if (Succeeded(hr)) *val = value;
    return hr;
  });
}

HRESULT CVelmoraQdxOutput::QueryState(VelmoraQdxOutputStateEnum outputState, VARIANT_BOOL* val) {
  const AccessTarget t = Target();
  return RunMember(t, kInterface, "QueryState", [&]() -> HRESULT {
    TraceIn("OutputState", outputState);
    TraceOut("val", val);
    HRESULT hr = CheckOut(t, "QueryState", val);
    if (Failed(hr)) return hr;
    if (driver_.Simulate()) return S_OK;
    // A single unit has the plain condition registers; on a multi-channel unit the output's
    // summary registers address it, so no channel is selected.
    const bool single = driver_.OutputCount() < 2;
    std::int16_t operation = 0;
    std::int16_t questionable = 0;
    if (single) {
      hr = QueryValue(t, false, &operation, "%hd", "STAT:OPER:COND?");
      if (Failed(hr)) return hr;
      hr = QueryValue(t, false, &questionable, "%hd", "STAT:QUES:COND?");
    } else {
      hr = QueryValue(t, false, &operation, "%hd", "STAT:OPER:INST:ISUM%d:COND?", channel_);
      if (Failed(hr)) return hr;
      hr = QueryValue(t, false, &questionable, "%hd", "STAT:QUES:INST:ISUM%d:COND?", channel_);
    }
    if (Failed(hr)) return hr;
    const StateBit* bit = FindStateBit(outputState);
    if (bit == nullptr) {
      return driver_.Reporter().ReportInvalidValue("IVelmoraQdxOutputQueryState", "OutputState",
                                                   static_cast<std::int32_t>(outputState));
    }
    const std::int16_t reg = bit->group == Group::Operation ? operation : questionable;
    *val = (reg & bit->mask) != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  });
}

HRESULT CVelmoraQdxOutput::ResetOutputProtection() {
  const AccessTarget t = Target();
  return RunMember(t, kInterface, "ResetOutputProtection", [&]() -> HRESULT {
    auto io = driver_.LockIo();
    HRESULT hr = SelectTargetChannel(t);
    if (Failed(hr) || driver_.Simulate()) return hr;
    return SendCommand(t, false, ":OUTP:PROT:CLE");
  });
}

}  // namespace veqdx::dcpwr
