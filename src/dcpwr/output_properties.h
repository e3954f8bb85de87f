// The properties of one output (IVelmoraQdxOutput and IVelmoraQdxOutputExternalControl): one
// descriptor each, and kOutputProperties, the list that everything else about them is checked
// against (the attribute table of the C interface among them).
#pragma once
#include <cstddef>
#include <cstdint>

#include "dcpwr/property.h"
#include "veqdx/enums.hpp"
#include "veqdx/interfaces.hpp"

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

// Every text of a property follows from its interface, name and command: getter "get_<Name>",
// setter "put_<Name>", cache key "<Interface>.<Name>", write "<command> <value format>", query
// "<command>?". Further fields (dependent, configureFormat) may follow.
//
// A level or limit: a double written with "%0.15lg", cached.
#define VEQDX_LEVEL(Interface, Name, command, readFormat_, ...)                                \
  inline constexpr Property<double> k##Name {                                                  \
    {.interfaceName = #Interface, .getName = "get_" #Name, .putName = "put_" #Name,            \
     .writeFormat = command " %0.15lg", .queryCommand = command "?", .readFormat = readFormat_, \
     .key = attr::CCacheKey{#Interface "." #Name}, .cache = CacheKind::Cached,                  \
     .slot = kSlot##Name __VA_OPT__(, ) __VA_ARGS__}                                           \
  }
// A setting sent and read as the keyword of its type's converter ("%{Type}s"); the entry only
// keeps what was written while simulating.
#define VEQDX_KEYWORD(Type, Interface, Name, command)                                           \
  inline constexpr Property<Type> k##Name {                                                    \
    {.interfaceName = #Interface, .getName = "get_" #Name, .putName = "put_" #Name,            \
     .writeFormat = command " %{" #Type "}s", .queryCommand = command "?",                     \
     .readFormat = "%{" #Type "}s", .key = attr::CCacheKey{#Interface "." #Name},               \
     .cache = CacheKind::SimulationOnly, .slot = kSlot##Name}                                  \
  }

// ---- IVelmoraQdxOutput: output on/off, levels, limits and the triggered levels ----
// The two main levels read with "%lg"; every other numeric getter uses "%@3lg".
VEQDX_KEYWORD(VARIANT_BOOL, IVelmoraQdxOutput, Enabled, ":OUTP");
VEQDX_LEVEL(IVelmoraQdxOutput, TriggeredVoltageLevel, ":VOLT:TRIG", "%@3lg");
VEQDX_LEVEL(IVelmoraQdxOutput, TriggeredCurrentLimit, ":CURR:TRIG", "%@3lg");
VEQDX_LEVEL(IVelmoraQdxOutput, VoltageLevel, ":VOLT", "%lg",
            .dependent = &kTriggeredVoltageLevel.key);
VEQDX_LEVEL(IVelmoraQdxOutput, CurrentLimit, ":CURR", "%lg",
            .dependent = &kTriggeredCurrentLimit.key, .configureFormat = ":CURR %0@3.15lg");
VEQDX_KEYWORD(VelmoraQdxCurrentLimitBehaviorEnum, IVelmoraQdxOutput, CurrentLimitBehavior,
              ":CURR:PROT:STAT");
VEQDX_LEVEL(IVelmoraQdxOutput, OVPLimit, ":VOLT:PROT", "%@3lg",
            .configureFormat = ":VOLT:PROT %0@3.15lg");

// ---- IVelmoraQdxOutput: protection limits, power-on and configuration-menu settings ----
VEQDX_LEVEL(IVelmoraQdxOutput, UVL, ":VOLT:LIM:LOW", "%@3lg");
VEQDX_LEVEL(IVelmoraQdxOutput, OCPLimit, ":CURR:PROT", "%@3lg");
VEQDX_KEYWORD(VelmoraQdxPONStateEnum, IVelmoraQdxOutput, PONState, ":OUTP:PON");
VEQDX_KEYWORD(VelmoraQdxProtectionRecoveryEnum, IVelmoraQdxOutput, ProtectionRecovery,
              ":SYST:CONF:PROT:REC");
VEQDX_KEYWORD(VelmoraQdxOperationModeEnum, IVelmoraQdxOutput, OperationPriority,
              ":SYST:CONF:STAR:PRI");
VEQDX_KEYWORD(VARIANT_BOOL, IVelmoraQdxOutput, BleederEnabled, ":SYST:CONF:BLE");
VEQDX_KEYWORD(VelmoraQdxExternalRangeEnum, IVelmoraQdxOutput, ExternalMonitorRange,
              ":SYST:CONF:MON:RANG");
// The trigger source commands have no leading colon on this instrument.
VEQDX_KEYWORD(VelmoraQdxTriggerSourceEnum, IVelmoraQdxOutput, TriggerSource, "TRIG:TRAN:SOUR");

// ---- IVelmoraQdxOutputExternalControl: the analog (external) control settings ----
VEQDX_KEYWORD(VARIANT_BOOL, IVelmoraQdxOutputExternalControl, OutputControlEnabled, ":OUTP:EXT");
VEQDX_KEYWORD(VelmoraQdxExternalLogicEnum, IVelmoraQdxOutputExternalControl, OutputControlLogic,
              ":OUTP:EXT:LOG");
// "Alanog" is the interface's own spelling and stays so.
VEQDX_KEYWORD(VelmoraQdxExternalRangeEnum, IVelmoraQdxOutputExternalControl, AlanogControlRange,
              ":VOLT:EXT:RANG");
// The Boolean keywords of these two are "VOLT" (an external voltage controls) and "NONE".
VEQDX_KEYWORD(VARIANT_BOOL, IVelmoraQdxOutputExternalControl, CCControlEnabled,
              ":CURR:EXT:SOUR");
VEQDX_KEYWORD(VARIANT_BOOL, IVelmoraQdxOutputExternalControl, CVControlEnabled,
              ":VOLT:EXT:SOUR");

#undef VEQDX_LEVEL
#undef VEQDX_KEYWORD

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
