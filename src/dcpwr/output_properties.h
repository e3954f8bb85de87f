// The properties of one output (IVelmoraQdxOutput and IVelmoraQdxOutputExternalControl): one
// descriptor each, and kOutputProperties, the list that everything else about them is checked
// against (the attribute table of the C interface among them).
#pragma once
#include <cstddef>
#include <cstdint>

#include "dcpwr/property.h"
#include "veqdx/enums.h"
#include "veqdx/interfaces.h"

namespace veqdx::dcpwr::props {

inline constexpr const char* kOutputInterface = "IVelmoraQdxOutput";
inline constexpr const char* kExternalControlInterface = "IVelmoraQdxOutputExternalControl";

// Memo slots of an output's cache entries (AccessTarget::slots): the property's place in
// kOutputProperties.
enum OutputSlot : std::int8_t {
  kSlotEnabled,
  kSlotVoltageLevel,
  kSlotCurrentLimit,
  kSlotCurrentLimitBehavior,
  kSlotOVPLimit,
  kSlotTriggeredVoltageLevel,
  kSlotTriggeredCurrentLimit,
  kSlotUVL,
  kSlotOCPLimit,
  kSlotPONState,
  kSlotProtectionRecovery,
  kSlotOperationPriority,
  kSlotBleederEnabled,
  kSlotExternalMonitorRange,
  kSlotTriggerSource,
  kSlotOutputControlEnabled,
  kSlotOutputControlLogic,
  kSlotAlanogControlRange,
  kSlotCCControlEnabled,
  kSlotCVControlEnabled,
  kOutputSlotCount
};

// ---- IVelmoraQdxOutput: output on/off, levels, limits and the triggered levels ----
// The two main levels read with "%lg"; every other numeric getter uses "%@3lg".
inline constexpr Property<VARIANT_BOOL> kEnabled{
    {.interfaceName = kOutputInterface, .getName = "get_Enabled", .putName = "put_Enabled",
     .writeFormat = ":OUTP %{VARIANT_BOOL}s", .queryCommand = ":OUTP?",
     .readFormat = "%{VARIANT_BOOL}s", .key = attr::CacheKey{"IVelmoraQdxOutput.Enabled"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotEnabled}};
inline constexpr Property<double> kTriggeredVoltageLevel{
    {.interfaceName = kOutputInterface, .getName = "get_TriggeredVoltageLevel",
     .putName = "put_TriggeredVoltageLevel", .writeFormat = ":VOLT:TRIG %0.15lg",
     .queryCommand = ":VOLT:TRIG?", .readFormat = "%@3lg",
     .key = attr::CacheKey{"IVelmoraQdxOutput.TriggeredVoltageLevel"},
     .cache = CacheKind::Cached, .slot = kSlotTriggeredVoltageLevel}};
inline constexpr Property<double> kTriggeredCurrentLimit{
    {.interfaceName = kOutputInterface, .getName = "get_TriggeredCurrentLimit",
     .putName = "put_TriggeredCurrentLimit", .writeFormat = ":CURR:TRIG %0.15lg",
     .queryCommand = ":CURR:TRIG?", .readFormat = "%@3lg",
     .key = attr::CacheKey{"IVelmoraQdxOutput.TriggeredCurrentLimit"},
     .cache = CacheKind::Cached, .slot = kSlotTriggeredCurrentLimit}};
inline constexpr Property<double> kVoltageLevel{
    {.interfaceName = kOutputInterface, .getName = "get_VoltageLevel",
     .putName = "put_VoltageLevel", .writeFormat = ":VOLT %0.15lg", .queryCommand = ":VOLT?",
     .readFormat = "%lg", .key = attr::CacheKey{"IVelmoraQdxOutput.VoltageLevel"},
     .cache = CacheKind::Cached, .dependent = &kTriggeredVoltageLevel.key,
     .slot = kSlotVoltageLevel}};
inline constexpr Property<double> kCurrentLimit{
    {.interfaceName = kOutputInterface, .getName = "get_CurrentLimit",
     .putName = "put_CurrentLimit", .writeFormat = ":CURR %0.15lg", .queryCommand = ":CURR?",
     .readFormat = "%lg", .key = attr::CacheKey{"IVelmoraQdxOutput.CurrentLimit"},
     .cache = CacheKind::Cached, .dependent = &kTriggeredCurrentLimit.key,
     .slot = kSlotCurrentLimit, .configureFormat = ":CURR %0@3.15lg"}};
inline constexpr Property<VelmoraQdxCurrentLimitBehaviorEnum> kCurrentLimitBehavior{
    {.interfaceName = kOutputInterface, .getName = "get_CurrentLimitBehavior",
     .putName = "put_CurrentLimitBehavior",
     .writeFormat = ":CURR:PROT:STAT %{VelmoraQdxCurrentLimitBehaviorEnum}s",
     .queryCommand = ":CURR:PROT:STAT?", .readFormat = "%{VelmoraQdxCurrentLimitBehaviorEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutput.CurrentLimitBehavior"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotCurrentLimitBehavior}};
inline constexpr Property<double> kOVPLimit{
    {.interfaceName = kOutputInterface, .getName = "get_OVPLimit", .putName = "put_OVPLimit",
     .writeFormat = ":VOLT:PROT %0.15lg", .queryCommand = ":VOLT:PROT?", .readFormat = "%@3lg",
     .key = attr::CacheKey{"IVelmoraQdxOutput.OVPLimit"}, .cache = CacheKind::Cached,
     .slot = kSlotOVPLimit, .configureFormat = ":VOLT:PROT %0@3.15lg"}};

// ---- IVelmoraQdxOutput: protection limits, power-on and configuration-menu settings ----
inline constexpr Property<double> kUVL{
    {.interfaceName = kOutputInterface, .getName = "get_UVL", .putName = "put_UVL",
     .writeFormat = ":VOLT:LIM:LOW %0.15lg", .queryCommand = ":VOLT:LIM:LOW?",
     .readFormat = "%@3lg", .key = attr::CacheKey{"IVelmoraQdxOutput.UVL"},
     .cache = CacheKind::Cached, .slot = kSlotUVL}};
inline constexpr Property<double> kOCPLimit{
    {.interfaceName = kOutputInterface, .getName = "get_OCPLimit", .putName = "put_OCPLimit",
     .writeFormat = ":CURR:PROT %0.15lg", .queryCommand = ":CURR:PROT?", .readFormat = "%@3lg",
     .key = attr::CacheKey{"IVelmoraQdxOutput.OCPLimit"}, .cache = CacheKind::Cached,
     .slot = kSlotOCPLimit}};
inline constexpr Property<VelmoraQdxPONStateEnum> kPONState{
    {.interfaceName = kOutputInterface, .getName = "get_PONState", .putName = "put_PONState",
     .writeFormat = ":OUTP:PON %{VelmoraQdxPONStateEnum}s", .queryCommand = ":OUTP:PON?",
     .readFormat = "%{VelmoraQdxPONStateEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutput.PONState"}, .cache = CacheKind::SimulationOnly,
     .slot = kSlotPONState}};
inline constexpr Property<VelmoraQdxProtectionRecoveryEnum> kProtectionRecovery{
    {.interfaceName = kOutputInterface, .getName = "get_ProtectionRecovery",
     .putName = "put_ProtectionRecovery",
     .writeFormat = ":SYST:CONF:PROT:REC %{VelmoraQdxProtectionRecoveryEnum}s",
     .queryCommand = ":SYST:CONF:PROT:REC?", .readFormat = "%{VelmoraQdxProtectionRecoveryEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutput.ProtectionRecovery"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotProtectionRecovery}};
inline constexpr Property<VelmoraQdxOperationModeEnum> kOperationPriority{
    {.interfaceName = kOutputInterface, .getName = "get_OperationPriority",
     .putName = "put_OperationPriority",
     .writeFormat = ":SYST:CONF:STAR:PRI %{VelmoraQdxOperationModeEnum}s",
     .queryCommand = ":SYST:CONF:STAR:PRI?", .readFormat = "%{VelmoraQdxOperationModeEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutput.OperationPriority"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotOperationPriority}};
inline constexpr Property<VARIANT_BOOL> kBleederEnabled{
    {.interfaceName = kOutputInterface, .getName = "get_BleederEnabled",
     .putName = "put_BleederEnabled", .writeFormat = ":SYST:CONF:BLE %{VARIANT_BOOL}s",
     .queryCommand = ":SYST:CONF:BLE?", .readFormat = "%{VARIANT_BOOL}s",
     .key = attr::CacheKey{"IVelmoraQdxOutput.BleederEnabled"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotBleederEnabled}};
inline constexpr Property<VelmoraQdxExternalRangeEnum> kExternalMonitorRange{
    {.interfaceName = kOutputInterface, .getName = "get_ExternalMonitorRange",
     .putName = "put_ExternalMonitorRange",
     .writeFormat = ":SYST:CONF:MON:RANG %{VelmoraQdxExternalRangeEnum}s",
     .queryCommand = ":SYST:CONF:MON:RANG?", .readFormat = "%{VelmoraQdxExternalRangeEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutput.ExternalMonitorRange"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotExternalMonitorRange}};
// The trigger source commands have no leading colon on this instrument.
inline constexpr Property<VelmoraQdxTriggerSourceEnum> kTriggerSource{
    {.interfaceName = kOutputInterface, .getName = "get_TriggerSource",
     .putName = "put_TriggerSource", .writeFormat = "TRIG:TRAN:SOUR %{VelmoraQdxTriggerSourceEnum}s",
     .queryCommand = "TRIG:TRAN:SOUR?", .readFormat = "%{VelmoraQdxTriggerSourceEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutput.TriggerSource"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotTriggerSource}};

// ---- IVelmoraQdxOutputExternalControl: the analog (external) control settings ----
inline constexpr Property<VARIANT_BOOL> kOutputControlEnabled{
    {.interfaceName = kExternalControlInterface, .getName = "get_OutputControlEnabled",
     .putName = "put_OutputControlEnabled", .writeFormat = ":OUTP:EXT %{VARIANT_BOOL}s",
     .queryCommand = ":OUTP:EXT?", .readFormat = "%{VARIANT_BOOL}s",
     .key = attr::CacheKey{"IVelmoraQdxOutputExternalControl.OutputControlEnabled"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotOutputControlEnabled}};
inline constexpr Property<VelmoraQdxExternalLogicEnum> kOutputControlLogic{
    {.interfaceName = kExternalControlInterface, .getName = "get_OutputControlLogic",
     .putName = "put_OutputControlLogic",
     .writeFormat = ":OUTP:EXT:LOG %{VelmoraQdxExternalLogicEnum}s",
     .queryCommand = ":OUTP:EXT:LOG?", .readFormat = "%{VelmoraQdxExternalLogicEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutputExternalControl.OutputControlLogic"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotOutputControlLogic}};
// "Alanog" is the interface's own spelling and stays so.
inline constexpr Property<VelmoraQdxExternalRangeEnum> kAlanogControlRange{
    {.interfaceName = kExternalControlInterface, .getName = "get_AlanogControlRange",
     .putName = "put_AlanogControlRange",
     .writeFormat = ":VOLT:EXT:RANG %{VelmoraQdxExternalRangeEnum}s",
     .queryCommand = ":VOLT:EXT:RANG?", .readFormat = "%{VelmoraQdxExternalRangeEnum}s",
     .key = attr::CacheKey{"IVelmoraQdxOutputExternalControl.AlanogControlRange"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotAlanogControlRange}};
// The Boolean keywords of these two are "VOLT" (an external voltage controls) and "NONE".
inline constexpr Property<VARIANT_BOOL> kCCControlEnabled{
    {.interfaceName = kExternalControlInterface, .getName = "get_CCControlEnabled",
     .putName = "put_CCControlEnabled", .writeFormat = ":CURR:EXT:SOUR %{VARIANT_BOOL}s",
     .queryCommand = ":CURR:EXT:SOUR?", .readFormat = "%{VARIANT_BOOL}s",
     .key = attr::CacheKey{"IVelmoraQdxOutputExternalControl.CCControlEnabled"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotCCControlEnabled}};
inline constexpr Property<VARIANT_BOOL> kCVControlEnabled{
    {.interfaceName = kExternalControlInterface, .getName = "get_CVControlEnabled",
     .putName = "put_CVControlEnabled", .writeFormat = ":VOLT:EXT:SOUR %{VARIANT_BOOL}s",
     .queryCommand = ":VOLT:EXT:SOUR?", .readFormat = "%{VARIANT_BOOL}s",
     .key = attr::CacheKey{"IVelmoraQdxOutputExternalControl.CVControlEnabled"},
     .cache = CacheKind::SimulationOnly, .slot = kSlotCVControlEnabled}};

// Every property of an output, in slot order.
inline constexpr const PropertyInfo* kOutputProperties[] = {
    &kEnabled,           &kVoltageLevel,         &kCurrentLimit,
    &kCurrentLimitBehavior, &kOVPLimit,          &kTriggeredVoltageLevel,
    &kTriggeredCurrentLimit, &kUVL,              &kOCPLimit,
    &kPONState,          &kProtectionRecovery,   &kOperationPriority,
    &kBleederEnabled,    &kExternalMonitorRange, &kTriggerSource,
    &kOutputControlEnabled, &kOutputControlLogic, &kAlanogControlRange,
    &kCCControlEnabled,  &kCVControlEnabled,
};

consteval bool SlotsFollowTheList() {
  std::size_t i = 0;
  for (const PropertyInfo* p : kOutputProperties)
    if (p->slot != static_cast<std::int8_t>(i++)) return false;
  return i == kOutputSlotCount;
}
static_assert(SlotsFollowTheList(), "a property's slot is its place in kOutputProperties");

}  // namespace veqdx::dcpwr::props
