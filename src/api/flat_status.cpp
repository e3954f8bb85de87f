// veqdx_StatusGetRegister / veqdx_StatusSetRegister: the status registers by number.
//
// Register: 0 operation, 1 questionable, 2 operation instrument summary, 3 questionable
// instrument summary, 4 standard event, 5 status byte. SubRegister: 0 condition, 1 enable,
// 2 event. An empty selector addresses the driver-wide registers; an output selector only the
// output's operation and questionable summary registers (0 and 1). Values travel as ViInt32
// and are narrowed to the register's width when written.
#include <cstdint>
#include <string_view>

#include "api/flat_common.h"
#include "dcpwr/output.h"
#include "dcpwr/status.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;
using dcpwr::CVelmoraQdxOutput;

namespace {

constexpr const char* kInvalidRegisterText = "The given Register type is invalid.";
constexpr const char* kInvalidSubRegisterText = "The given Sub-Register type is invalid.";

bool IsBlankSelector(ViConstString selector) {
  if (selector == nullptr) return true;
  for (const char* p = selector; *p != '\0'; ++p) {
    if (*p != ' ' && *p != '\t') return false;
  }
  return true;
}

// Reads one register through `getter` into the caller's ViInt32 (signed registers are sign
// extended, the 8-bit ones are 0..255).
template <class Group, class T>
HRESULT Read(Group& group, HRESULT (Group::*getter)(T*), ViInt32* value) {
  T read{};
  const HRESULT hr = (group.*getter)(&read);
  *value = static_cast<ViInt32>(read);
  return hr;
}

template <class Group, class T>
HRESULT WriteEnable(Group& group, HRESULT (Group::*setter)(T), ViInt32 value) {
  return (group.*setter)(static_cast<T>(value));
}

// A group with condition, enable and event registers (the operation and questionable groups,
// driver-wide, instrument summary, or of one output).
template <class Group>
HRESULT ReadFullGroup(Group& group, ViInt32 sub, ViInt32* value) {
  switch (sub) {
    case VEQDX_VAL_SUB_REGISTER_CONDITION:
      return Read(group, &Group::get_ConditionRegister, value);
    case VEQDX_VAL_SUB_REGISTER_ENABLE:
      return Read(group, &Group::get_EnableRegister, value);
    default:
      return Read(group, &Group::get_EventRegister, value);
  }
}

bool RegisterExists(ViInt32 reg, bool perOutput) {
  const ViInt32 last =
      perOutput ? VEQDX_VAL_REGISTER_QUESTIONABLE : VEQDX_VAL_REGISTER_STATUS_BYTE;
  return reg >= VEQDX_VAL_REGISTER_OPERATION && reg <= last;
}

bool SubRegisterExists(ViInt32 reg, ViInt32 sub) {
  if (sub < VEQDX_VAL_SUB_REGISTER_CONDITION || sub > VEQDX_VAL_SUB_REGISTER_EVENT) return false;
  if (reg == VEQDX_VAL_REGISTER_STANDARD_EVENT) return sub != VEQDX_VAL_SUB_REGISTER_CONDITION;
  if (reg == VEQDX_VAL_REGISTER_STATUS_BYTE) return sub != VEQDX_VAL_SUB_REGISTER_EVENT;
  return true;
}

HRESULT ReadDriverWide(CVelmoraQdx& driver, ViInt32 reg, ViInt32 sub, ViInt32* value) {
  dcpwr::CStatus status(driver);
  IVelmoraQdxStatusOperation* operation = nullptr;
  IVelmoraQdxStatusQuestionable* questionable = nullptr;
  IVelmoraQdxStatusStandardEvent* standardEvent = nullptr;
  IVelmoraQdxStatusStatusByte* statusByte = nullptr;
  IVelmoraQdxStatusOperationInstrument* operationInstrument = nullptr;
  IVelmoraQdxStatusQuestionableInstrument* questionableInstrument = nullptr;
  HRESULT hr = S_OK;
  switch (reg) {
    case VEQDX_VAL_REGISTER_OPERATION:
      if (Failed(hr = status.get_Operation(&operation))) return hr;
      return ReadFullGroup(*operation, sub, value);
    case VEQDX_VAL_REGISTER_QUESTIONABLE:
      if (Failed(hr = status.get_Questionable(&questionable))) return hr;
      return ReadFullGroup(*questionable, sub, value);
    case VEQDX_VAL_REGISTER_OPERATION_INSTRUMENT:
      if (Failed(hr = status.get_Operation(&operation))) return hr;
      if (Failed(hr = operation->get_Instrument(&operationInstrument))) return hr;
      return ReadFullGroup(*operationInstrument, sub, value);
    case VEQDX_VAL_REGISTER_QUESTIONABLE_INSTRUMENT:
      if (Failed(hr = status.get_Questionable(&questionable))) return hr;
      if (Failed(hr = questionable->get_Instrument(&questionableInstrument))) return hr;
      return ReadFullGroup(*questionableInstrument, sub, value);
    case VEQDX_VAL_REGISTER_STANDARD_EVENT:
      if (Failed(hr = status.get_StandardEvent(&standardEvent))) return hr;
      return sub == VEQDX_VAL_SUB_REGISTER_ENABLE
                 ? Read(*standardEvent, &IVelmoraQdxStatusStandardEvent::get_EnableRegister, value)
                 : Read(*standardEvent, &IVelmoraQdxStatusStandardEvent::get_EventRegister, value);
    default:
      if (Failed(hr = status.get_StatusByte(&statusByte))) return hr;
      return sub == VEQDX_VAL_SUB_REGISTER_ENABLE
                 ? Read(*statusByte, &IVelmoraQdxStatusStatusByte::get_EnableRegister, value)
                 : Read(*statusByte, &IVelmoraQdxStatusStatusByte::get_ConditionRegister, value);
  }
}

HRESULT WriteDriverWideEnable(CVelmoraQdx& driver, ViInt32 reg, ViInt32 value) {
  dcpwr::CStatus status(driver);
  IVelmoraQdxStatusOperation* operation = nullptr;
  IVelmoraQdxStatusQuestionable* questionable = nullptr;
  IVelmoraQdxStatusStandardEvent* standardEvent = nullptr;
  IVelmoraQdxStatusStatusByte* statusByte = nullptr;
  IVelmoraQdxStatusOperationInstrument* operationInstrument = nullptr;
  IVelmoraQdxStatusQuestionableInstrument* questionableInstrument = nullptr;
  HRESULT hr = S_OK;
  switch (reg) {
    case VEQDX_VAL_REGISTER_OPERATION:
      if (Failed(hr = status.get_Operation(&operation))) return hr;
      return WriteEnable(*operation, &IVelmoraQdxStatusOperation::put_EnableRegister, value);
    case VEQDX_VAL_REGISTER_QUESTIONABLE:
      if (Failed(hr = status.get_Questionable(&questionable))) return hr;
      return WriteEnable(*questionable, &IVelmoraQdxStatusQuestionable::put_EnableRegister,
                         value);
    case VEQDX_VAL_REGISTER_OPERATION_INSTRUMENT:
      if (Failed(hr = status.get_Operation(&operation))) return hr;
      if (Failed(hr = operation->get_Instrument(&operationInstrument))) return hr;
      return WriteEnable(*operationInstrument,
                         &IVelmoraQdxStatusOperationInstrument::put_EnableRegister, value);
    case VEQDX_VAL_REGISTER_QUESTIONABLE_INSTRUMENT:
      if (Failed(hr = status.get_Questionable(&questionable))) return hr;
      if (Failed(hr = questionable->get_Instrument(&questionableInstrument))) return hr;
      return WriteEnable(*questionableInstrument,
                         &IVelmoraQdxStatusQuestionableInstrument::put_EnableRegister, value);
    case VEQDX_VAL_REGISTER_STANDARD_EVENT:
      if (Failed(hr = status.get_StandardEvent(&standardEvent))) return hr;
      return WriteEnable(*standardEvent, &IVelmoraQdxStatusStandardEvent::put_EnableRegister,
                         value);
    default:
      if (Failed(hr = status.get_StatusByte(&statusByte))) return hr;
      return WriteEnable(*statusByte, &IVelmoraQdxStatusStatusByte::put_EnableRegister, value);
  }
}

// Checks the register numbers; a failure is recorded on the call.
ViStatus CheckNumbers(CSessionCall& call, bool perOutput, ViInt32 reg, ViInt32 sub,
                      bool writing) {
  if (!RegisterExists(reg, perOutput)) {
    return call.Fail(VEQDX_ERROR_INVALID_REGISTER, kInvalidRegisterText);
  }
  if (!SubRegisterExists(reg, sub) || (writing && sub != VEQDX_VAL_SUB_REGISTER_ENABLE)) {
    return call.Fail(VEQDX_ERROR_INVALID_SUB_REGISTER, kInvalidSubRegisterText);
  }
  return VI_SUCCESS;
}

}  // namespace

extern "C" VEQDX_EXPORT ViStatus veqdx_StatusGetRegister(ViSession Vi, ViConstString ChannelName,
                                                         ViInt32 Register, ViInt32 SubRegister,
                                                         ViInt32* Value) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  if (Value == nullptr) return call.FailNull("Value");
  *Value = 0;
  const bool perOutput = !IsBlankSelector(ChannelName);
  if (const ViStatus s = CheckNumbers(call, perOutput, Register, SubRegister, false);
      s != VI_SUCCESS) {
    return s;
  }
  if (!perOutput) return call.Finish(ReadDriverWide(call.driver(), Register, SubRegister, Value));
  return ForEachOutput(call, ChannelName, [&](CVelmoraQdxOutput& o) {
    return Register == VEQDX_VAL_REGISTER_OPERATION
               ? ReadFullGroup(o.StatusOperation(), SubRegister, Value)
               : ReadFullGroup(o.StatusQuestionable(), SubRegister, Value);
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_StatusSetRegister(ViSession Vi, ViConstString ChannelName,
                                                         ViInt32 Register, ViInt32 SubRegister,
                                                         ViInt32 Value) {
  CSessionCall call(Vi);
  if (!call.ok()) return call.status();
  const bool perOutput = !IsBlankSelector(ChannelName);
  if (const ViStatus s = CheckNumbers(call, perOutput, Register, SubRegister, true);
      s != VI_SUCCESS) {
    return s;
  }
  if (!perOutput) return call.Finish(WriteDriverWideEnable(call.driver(), Register, Value));
  return ForEachOutput(call, ChannelName, [&](CVelmoraQdxOutput& o) {
    return Register == VEQDX_VAL_REGISTER_OPERATION
               ? WriteEnable(o.StatusOperation(),
                             &IVelmoraQdxOutputStatusOperation::put_EnableRegister, Value)
               : WriteEnable(o.StatusQuestionable(),
                             &IVelmoraQdxOutputStatusQuestionable::put_EnableRegister, Value);
  });
}
