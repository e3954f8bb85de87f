// The keyword tables. Every table is registered for all models (model ""), so the eight
// models share one spelling. Each converter lives in a function-local static: built on the
// first request for its context, thread-safely, and kept until the library unloads.
#include "attributes/enum_converters.h"

#include <utility>

namespace veqdx::attr {

std::string_view TrimSpace(std::string_view text) noexcept {
  constexpr std::string_view kSpace = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  const std::size_t last = text.find_last_not_of(kSpace);
  return text.substr(first, last - first + 1);
}

namespace {

template <class T>
using Converter = CEnumCommandConverter<T>;

// ---- Boolean (VARIANT_BOOL) tables: rows registered 1, then -1, then 0, so writing either true
// value sends the true keyword and reading it yields -1. The second keywords " ON" and " OFF"
// keep their leading blank on purpose: replies are trimmed, so they never match and only "1"
// and "0" read back. ----

// Five contexts use these rows, one table each; `Context` only makes each instantiation (and so
// each static) distinct, so a table is built on the first request for its own context.
enum class OnOffContext { OutputEnabled, Bleeder, OutputControl, Global, ConfigureOvp };

template <OnOffContext Context>
const Converter<VARIANT_BOOL>& OnOffTable() {
  static const Converter<VARIANT_BOOL> table{{CModelBasedMap<VARIANT_BOOL>(
      "", {{1, {"1", " ON"}}, {-1, {"1", " ON"}}, {0, {"0", " OFF"}}})}};
  return table;
}

const Converter<VARIANT_BOOL>& CCControlTable() {
  static const Converter<VARIANT_BOOL> table{
      {CModelBasedMap<VARIANT_BOOL>("", {{1, {"VOLT"}}, {-1, {"VOLT"}}, {0, {"NONE"}}})}};
  return table;
}

const Converter<VARIANT_BOOL>& CVControlTable() {
  static const Converter<VARIANT_BOOL> table{
      {CModelBasedMap<VARIANT_BOOL>("", {{1, {"VOLT"}}, {-1, {"VOLT"}}, {0, {"NONE"}}})}};
  return table;
}

// Every Boolean format item whose context has no table of its own.
const Converter<VARIANT_BOOL>& CatchAllBooleanTable() {
  static const Converter<VARIANT_BOOL> table{
      {CModelBasedMap<VARIANT_BOOL>("", {{1, {"1, ON"}}, {-1, {"1, ON"}}, {0, {"0, OFF"}}})}};
  return table;
}

const Converter<VARIANT_BOOL>& BooleanFor(std::string_view key) {
  using enum OnOffContext;
  if (key.empty() || key == "IVelmoraQdxOutput.Enabled") return OnOffTable<OutputEnabled>();
  if (key == "IVelmoraQdxOutput.BleederEnabled") return OnOffTable<Bleeder>();
  if (key == "IVelmoraQdxOutputExternalControl.OutputControlEnabled") {
    return OnOffTable<OutputControl>();
  }
  if (key == "IVelmoraQdxGlobal.Enabled") return OnOffTable<Global>();
  if (key == "IIviDCPwrOutput.ConfigureOVP") return OnOffTable<ConfigureOvp>();
  if (key == "IVelmoraQdxOutputExternalControl.CCControlEnabled") return CCControlTable();
  if (key == "IVelmoraQdxOutputExternalControl.CVControlEnabled") return CVControlTable();
  return CatchAllBooleanTable();
}

// ---- enumeration tables: one context key each (two for the external range) ----

const Converter<VelmoraQdxCurrentLimitBehaviorEnum>& CurrentLimitBehaviorTable() {
  static const Converter<VelmoraQdxCurrentLimitBehaviorEnum> table{
      {CModelBasedMap<VelmoraQdxCurrentLimitBehaviorEnum>(
          "", {{VelmoraQdxCurrentLimitTrip, {"1"}}, {VelmoraQdxCurrentLimitRegulate, {"0"}}})}};
  return table;
}

// The keywords carry the question mark: the command is ":MEAS:" followed by the keyword.
const Converter<VelmoraQdxMeasurementTypeEnum>& MeasurementTypeTable() {
  static const Converter<VelmoraQdxMeasurementTypeEnum> table{
      {CModelBasedMap<VelmoraQdxMeasurementTypeEnum>(
          "", {{VelmoraQdxMeasurementVoltage, {"VOLT?"}},
               {VelmoraQdxMeasurementCurrent, {"CURR?"}}})}};
  return table;
}

const Converter<VelmoraQdxTriggerSourceEnum>& TriggerSourceTable() {
  static const Converter<VelmoraQdxTriggerSourceEnum> table{
      {CModelBasedMap<VelmoraQdxTriggerSourceEnum>(
          "", {{VelmoraQdxTriggerSourceSwTrigFunc, {"BUS"}},
               {VelmoraQdxTriggerSourceImmediate, {"IMM"}}})}};
  return table;
}

const Converter<VelmoraQdxExternalRangeEnum>& MonitorRangeTable() {
  static const Converter<VelmoraQdxExternalRangeEnum> table{
      {CModelBasedMap<VelmoraQdxExternalRangeEnum>(
          "", {{VelmoraQdxExternalRangeHigh, {"HIGH"}}, {VelmoraQdxExternalRangeLow, {"LOW"}}})}};
  return table;
}

const Converter<VelmoraQdxExternalRangeEnum>& AnalogControlRangeTable() {
  static const Converter<VelmoraQdxExternalRangeEnum> table{
      {CModelBasedMap<VelmoraQdxExternalRangeEnum>(
          "", {{VelmoraQdxExternalRangeHigh, {"HIGH"}}, {VelmoraQdxExternalRangeLow, {"LOW"}}})}};
  return table;
}

const Converter<VelmoraQdxPONStateEnum>& PONStateTable() {
  static const Converter<VelmoraQdxPONStateEnum> table{
      {CModelBasedMap<VelmoraQdxPONStateEnum>("", {{VelmoraQdxPONStateForce, {"FORC"}},
                                                   {VelmoraQdxPONStateAuto, {"AUTO"}},
                                                   {VelmoraQdxPONStateSafe, {"SAFE"}}})}};
  return table;
}

const Converter<VelmoraQdxProtectionRecoveryEnum>& ProtectionRecoveryTable() {
  static const Converter<VelmoraQdxProtectionRecoveryEnum> table{
      {CModelBasedMap<VelmoraQdxProtectionRecoveryEnum>(
          "", {{VelmoraQdxProtectionRecoveryAuto, {"AUTO"}},
               {VelmoraQdxProtectionRecoverySafe, {"SAFE"}}})}};
  return table;
}

const Converter<VelmoraQdxOperationModeEnum>& OperationModeTable() {
  static const Converter<VelmoraQdxOperationModeEnum> table{
      {CModelBasedMap<VelmoraQdxOperationModeEnum>(
          "", {{VelmoraQdxOperationModeCV, {"CV"}}, {VelmoraQdxOperationModeCC, {"CC"}}})}};
  return table;
}

const Converter<VelmoraQdxExternalLogicEnum>& ExternalLogicTable() {
  static const Converter<VelmoraQdxExternalLogicEnum> table{
      {CModelBasedMap<VelmoraQdxExternalLogicEnum>(
          "", {{VelmoraQdxExternalLogicHigh, {"HIGH"}}, {VelmoraQdxExternalLogicLow, {"LOW"}}})}};
  return table;
}

// The class-compliant behaviour has a table with no rows: every conversion fails.
const Converter<IviDCPwrCurrentLimitBehaviorEnum>& IviCurrentLimitBehaviorTable() {
  static const Converter<IviDCPwrCurrentLimitBehaviorEnum> table{
      {CModelBasedMap<IviDCPwrCurrentLimitBehaviorEnum>("", {})}};
  return table;
}

// A converter that accepts exactly one context key (and the empty key).
template <class T>
const IEnumCommandConverter<T>* ForKey(std::string_view key, std::string_view accepted,
                                       const Converter<T>& (*table)()) {
  return key.empty() || key == accepted ? &table() : nullptr;
}

}  // namespace

template <>
const IEnumCommandConverter<VARIANT_BOOL>* FindEnumConverter<VARIANT_BOOL>(std::string_view key) {
  return &BooleanFor(key);
}

template <>
const IEnumCommandConverter<VelmoraQdxCurrentLimitBehaviorEnum>*
FindEnumConverter<VelmoraQdxCurrentLimitBehaviorEnum>(std::string_view key) {
  return ForKey(key, "IVelmoraQdxOutput.CurrentLimitBehavior", &CurrentLimitBehaviorTable);
}

template <>
const IEnumCommandConverter<VelmoraQdxMeasurementTypeEnum>*
FindEnumConverter<VelmoraQdxMeasurementTypeEnum>(std::string_view key) {
  return ForKey(key, "IVelmoraQdxOutput.Measure", &MeasurementTypeTable);
}

template <>
const IEnumCommandConverter<VelmoraQdxTriggerSourceEnum>*
FindEnumConverter<VelmoraQdxTriggerSourceEnum>(std::string_view key) {
  return ForKey(key, "IVelmoraQdxOutput.TriggerSource", &TriggerSourceTable);
}

template <>
const IEnumCommandConverter<VelmoraQdxExternalRangeEnum>*
FindEnumConverter<VelmoraQdxExternalRangeEnum>(std::string_view key) {
  if (key.empty() || key == "IVelmoraQdxOutput.ExternalMonitorRange") return &MonitorRangeTable();
  if (key == "IVelmoraQdxOutputExternalControl.AlanogControlRange") {
    return &AnalogControlRangeTable();
  }
  return nullptr;
}

template <>
const IEnumCommandConverter<VelmoraQdxPONStateEnum>*
FindEnumConverter<VelmoraQdxPONStateEnum>(std::string_view key) {
  return ForKey(key, "IVelmoraQdxOutput.PONState", &PONStateTable);
}

template <>
const IEnumCommandConverter<VelmoraQdxProtectionRecoveryEnum>*
FindEnumConverter<VelmoraQdxProtectionRecoveryEnum>(std::string_view key) {
  return ForKey(key, "IVelmoraQdxOutput.ProtectionRecovery", &ProtectionRecoveryTable);
}

template <>
const IEnumCommandConverter<VelmoraQdxOperationModeEnum>*
FindEnumConverter<VelmoraQdxOperationModeEnum>(std::string_view key) {
  return ForKey(key, "IVelmoraQdxOutput.OperationPriority", &OperationModeTable);
}

template <>
const IEnumCommandConverter<VelmoraQdxExternalLogicEnum>*
FindEnumConverter<VelmoraQdxExternalLogicEnum>(std::string_view key) {
  return ForKey(key, "IVelmoraQdxOutputExternalControl.OutputControlLogic", &ExternalLogicTable);
}

template <>
const IEnumCommandConverter<IviDCPwrCurrentLimitBehaviorEnum>*
FindEnumConverter<IviDCPwrCurrentLimitBehaviorEnum>(std::string_view key) {
  return ForKey(key, "IIviDCPwrOutput.ConfigureCurrentLimit", &IviCurrentLimitBehaviorTable);
}

// ---- names ----

namespace {

using NameTable = std::unordered_map<std::string, EnumFamily, KeyTextHash, KeyTextEqual>;

// "PONState", "VelmoraQdxPONStateEnum", "VelmoraQdxPONState", "PONStateEnum".
void AddFourSpellings(NameTable& table, std::string_view stem, EnumFamily family) {
  const std::string s(stem);
  for (std::string name : {s, "VelmoraQdx" + s + "Enum", "VelmoraQdx" + s, s + "Enum"}) {
    table.emplace(std::move(name), family);
  }
}

const NameTable& EnumNames() {
  static const NameTable table = [] {
    NameTable t;
    t.emplace("VARIANT_BOOL", EnumFamily::Boolean);
    AddFourSpellings(t, "CurrentLimitBehavior", EnumFamily::CurrentLimitBehavior);
    AddFourSpellings(t, "MeasurementType", EnumFamily::MeasurementType);
    AddFourSpellings(t, "OutputState", EnumFamily::NoConverter);
    AddFourSpellings(t, "TriggerSource", EnumFamily::TriggerSource);
    AddFourSpellings(t, "ExternalRange", EnumFamily::ExternalRange);
    AddFourSpellings(t, "PONState", EnumFamily::PONState);
    AddFourSpellings(t, "ProtectionRecovery", EnumFamily::ProtectionRecovery);
    AddFourSpellings(t, "OperationMode", EnumFamily::OperationMode);
    AddFourSpellings(t, "ExternalLogic", EnumFamily::ExternalLogic);
    // The I/O library's own enumerations are recognised but carry no instrument keywords.
    for (std::string_view ioName :
         {"VisaStatusCode", "EventType", "HardwareInterfaceType", "IOProtocol", "FDCMode",
          "AddressSpace", "EventMechanism", "TriggerLine", "TriggerProtocol", "BufferMask",
          "Timeout", "AccessMode", "SerialParity", "SerialStopBits", "SerialFlowControl",
          "SerialEndConst", "LineState", "VXIMemoryAccessPrivilege", "DataWidth"}) {
      t.emplace(std::string(ioName), EnumFamily::NoConverter);
    }
    return t;
  }();
  return table;
}

template <class T>
const IEnumCommandConverterErased* Erase(const IEnumCommandConverter<T>* typed) {
  // Every typed converter handed out is a CEnumCommandConverter<T>.
  return typed ? &static_cast<const CEnumCommandConverter<T>*>(typed)->Erased() : nullptr;
}

}  // namespace

EnumFamily FamilyOfEnumName(std::string_view enumName) {
  const NameTable& names = EnumNames();
  auto it = names.find(enumName);
  return it == names.end() ? EnumFamily::Unknown : it->second;
}

const IEnumCommandConverterErased* FindConverter(std::string_view enumName,
                                                 std::string_view contextKey) {
  switch (FamilyOfEnumName(enumName)) {
    case EnumFamily::Boolean:
      return Erase(FindEnumConverter<VARIANT_BOOL>(contextKey));
    case EnumFamily::CurrentLimitBehavior:
      return Erase(FindEnumConverter<VelmoraQdxCurrentLimitBehaviorEnum>(contextKey));
    case EnumFamily::MeasurementType:
      return Erase(FindEnumConverter<VelmoraQdxMeasurementTypeEnum>(contextKey));
    case EnumFamily::TriggerSource:
      return Erase(FindEnumConverter<VelmoraQdxTriggerSourceEnum>(contextKey));
    case EnumFamily::ExternalRange:
      return Erase(FindEnumConverter<VelmoraQdxExternalRangeEnum>(contextKey));
    case EnumFamily::PONState:
      return Erase(FindEnumConverter<VelmoraQdxPONStateEnum>(contextKey));
    case EnumFamily::ProtectionRecovery:
      return Erase(FindEnumConverter<VelmoraQdxProtectionRecoveryEnum>(contextKey));
    case EnumFamily::OperationMode:
      return Erase(FindEnumConverter<VelmoraQdxOperationModeEnum>(contextKey));
    case EnumFamily::ExternalLogic:
      return Erase(FindEnumConverter<VelmoraQdxExternalLogicEnum>(contextKey));
    case EnumFamily::Unknown:
    case EnumFamily::NoConverter:
      break;
  }
  return nullptr;
}

}  // namespace veqdx::attr
