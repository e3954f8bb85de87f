#include "dcpwr/status.h"

#include <mutex>

#include "attributes/cache_keys.h"
#include "base/call_context.h"
#include "core/velmoraqdx.h"
#include "dcpwr/accessor.h"

namespace veqdx::dcpwr {
namespace {

namespace keys = attr::keys;

// Condition and event registers: read only, no cache entry (0 while simulating).
constexpr PropertyDesc Reading(const char* interfaceName, const char* getName,
                               const char* query, const char* format) {
  PropertyDesc d{interfaceName, getName, nullptr, nullptr, query, format, nullptr,
                 CacheKind::None};
  d.registerValue = true;
  return d;
}
// Enable registers: read and written; the entry only keeps what was written while simulating.
constexpr PropertyDesc Enable(const char* interfaceName, const char* write, const char* query,
                              const char* format, const attr::CacheKey& key) {
  PropertyDesc d{interfaceName, "get_EnableRegister", "put_EnableRegister", write, query,
                 format,        &key,                 CacheKind::SimulationOnly};
  d.registerValue = true;
  return d;
}

constexpr const char* kOperation = "IVelmoraQdxStatusOperation";
constexpr const char* kQuestionable = "IVelmoraQdxStatusQuestionable";
constexpr const char* kOperationInstrument = "IVelmoraQdxStatusOperationInstrument";
constexpr const char* kQuestionableInstrument = "IVelmoraQdxStatusQuestionableInstrument";
constexpr const char* kStandardEvent = "IVelmoraQdxStatusStandardEvent";
constexpr const char* kStatusByte = "IVelmoraQdxStatusStatusByte";

constexpr PropertyDesc kOperCondition =
    Reading(kOperation, "get_ConditionRegister", ":STAT:OPER:COND?", "%hd");
constexpr PropertyDesc kOperEnable = Enable(kOperation, ":STAT:OPER:ENAB %hd", ":STAT:OPER:ENAB?",
                                            "%hd", keys::StatusOperationEnableRegister);
constexpr PropertyDesc kOperEvent =
    Reading(kOperation, "get_EventRegister", ":STAT:OPER:EVEN?", "%hd");

constexpr PropertyDesc kQuesCondition =
    Reading(kQuestionable, "get_ConditionRegister", ":STAT:QUES:COND?", "%hd");
constexpr PropertyDesc kQuesEnable =
    Enable(kQuestionable, ":STAT:QUES:ENAB %hd", ":STAT:QUES:ENAB?", "%hd",
           keys::StatusQuestionableEnableRegister);
constexpr PropertyDesc kQuesEvent =
    Reading(kQuestionable, "get_EventRegister", ":STAT:QUES:EVEN?", "%hd");

constexpr PropertyDesc kOperInstCondition =
    Reading(kOperationInstrument, "get_ConditionRegister", ":STAT:OPER:INST:COND?", "%d");
constexpr PropertyDesc kOperInstEnable =
    Enable(kOperationInstrument, ":STAT:OPER:INST:ENAB %d", ":STAT:OPER:INST:ENAB?", "%d",
           keys::StatusOperationInstrumentEnableRegister);
constexpr PropertyDesc kOperInstEvent =
    Reading(kOperationInstrument, "get_EventRegister", ":STAT:OPER:INST:EVEN?", "%d");

constexpr PropertyDesc kQuesInstCondition =
    Reading(kQuestionableInstrument, "get_ConditionRegister", ":STAT:QUES:INST:COND?", "%d");
constexpr PropertyDesc kQuesInstEnable =
    Enable(kQuestionableInstrument, ":STAT:QUES:INST:ENAB %d", ":STAT:QUES:INST:ENAB?", "%d",
           keys::StatusQuestionableInstrumentEnableRegister);
constexpr PropertyDesc kQuesInstEvent =
    Reading(kQuestionableInstrument, "get_EventRegister", ":STAT:QUES:INST:EVEN?", "%d");

constexpr PropertyDesc kEsrEvent = Reading(kStandardEvent, "get_EventRegister", "*ESR?", "%bd");
constexpr PropertyDesc kEsrEnable =
    Enable(kStandardEvent, "*ESE %bd", "*ESE?", "%bd", keys::StatusStandardEventEnableRegister);

constexpr PropertyDesc kStbCondition =
    Reading(kStatusByte, "get_ConditionRegister", "*STB?", "%bd");
constexpr PropertyDesc kStbEnable =
    Enable(kStatusByte, "*SRE %bd", "*SRE?", "%bd", keys::StatusStatusByteEnableRegister);

AccessTarget RootOf(CVelmoraQdx& driver) { return AccessTarget{driver, driver, kNoChannel}; }

// Hands out a group object owned by the facet. No instrument is involved, so an
// uninitialized session may navigate the tree; only the pointer is checked.
template <class I>
HRESULT HandOut(CVelmoraQdx& driver, const char* interfaceName, const char* member, I** val,
                I* group) {
  std::lock_guard<std::recursive_mutex> lock(driver.Mutex());
  CCallContextGuard context(interfaceName, member);
  if (val == nullptr) return driver.Reporter().ReportNullPointer(member, "val");
  *val = group;
  return S_OK;
}

}  // namespace

// ---- IVelmoraQdxStatusOperationInstrument ----
HRESULT COperationInstrumentStatus::get_ConditionRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_), kOperInstCondition, val);
}
HRESULT COperationInstrumentStatus::get_EnableRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_), kOperInstEnable, val);
}
HRESULT COperationInstrumentStatus::put_EnableRegister(std::int32_t val) {
  return PutProperty(RootOf(driver_), kOperInstEnable, val);
}
HRESULT COperationInstrumentStatus::get_EventRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_), kOperInstEvent, val);
}

// ---- IVelmoraQdxStatusQuestionableInstrument ----
HRESULT CQuestionableInstrumentStatus::get_ConditionRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_), kQuesInstCondition, val);
}
HRESULT CQuestionableInstrumentStatus::get_EnableRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_), kQuesInstEnable, val);
}
HRESULT CQuestionableInstrumentStatus::put_EnableRegister(std::int32_t val) {
  return PutProperty(RootOf(driver_), kQuesInstEnable, val);
}
HRESULT CQuestionableInstrumentStatus::get_EventRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_), kQuesInstEvent, val);
}

// ---- IVelmoraQdxStatusOperation ----
HRESULT COperationStatus::get_Instrument(IVelmoraQdxStatusOperationInstrument** val) {
  return HandOut<IVelmoraQdxStatusOperationInstrument>(driver_, kOperation, "get_Instrument",
                                                       val, &instrument_);
}
HRESULT COperationStatus::get_ConditionRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_), kOperCondition, val);
}
HRESULT COperationStatus::get_EnableRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_), kOperEnable, val);
}
HRESULT COperationStatus::put_EnableRegister(std::int16_t val) {
  return PutProperty(RootOf(driver_), kOperEnable, val);
}
HRESULT COperationStatus::get_EventRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_), kOperEvent, val);
}

// ---- IVelmoraQdxStatusQuestionable ----
HRESULT CQuestionableStatus::get_Instrument(IVelmoraQdxStatusQuestionableInstrument** val) {
  return HandOut<IVelmoraQdxStatusQuestionableInstrument>(driver_, kQuestionable,
                                                          "get_Instrument", val, &instrument_);
}
HRESULT CQuestionableStatus::get_ConditionRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_), kQuesCondition, val);
}
HRESULT CQuestionableStatus::get_EnableRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_), kQuesEnable, val);
}
HRESULT CQuestionableStatus::put_EnableRegister(std::int16_t val) {
  return PutProperty(RootOf(driver_), kQuesEnable, val);
}
HRESULT CQuestionableStatus::get_EventRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_), kQuesEvent, val);
}

// ---- IVelmoraQdxStatusStandardEvent ----
HRESULT CStandardEventStatus::get_EventRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_), kEsrEvent, val);
}
HRESULT CStandardEventStatus::get_EnableRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_), kEsrEnable, val);
}
HRESULT CStandardEventStatus::put_EnableRegister(std::uint8_t val) {
  return PutProperty(RootOf(driver_), kEsrEnable, val);
}

// ---- IVelmoraQdxStatusStatusByte ----
HRESULT CStatusByteStatus::get_ConditionRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_), kStbCondition, val);
}
HRESULT CStatusByteStatus::get_EnableRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_), kStbEnable, val);
}
HRESULT CStatusByteStatus::put_EnableRegister(std::uint8_t val) {
  return PutProperty(RootOf(driver_), kStbEnable, val);
}

// ---- IVelmoraQdxStatus ----
HRESULT CStatus::Clear() {
  const AccessTarget root = RootOf(driver_);
  return RunMember(root, kInterface, "Clear", [&]() -> HRESULT {
    if (driver_.Simulate()) return S_OK;
    // Clearing the status is also how a session whose replies fell out of step recovers.
    {
      auto io = driver_.LockIo();
      const HRESULT hr = driver_.Io().Resynchronize();
      if (Failed(hr)) return hr;
    }
    return SendCommand(root, false, "*CLS");
  });
}
HRESULT CStatus::Preset() { return Send("Preset", ":STAT:PRES"); }

HRESULT CStatus::Send(const char* member, const char* command) {
  const AccessTarget root = RootOf(driver_);
  return RunMember(root, kInterface, member, [&]() -> HRESULT {
    if (driver_.Simulate()) return S_OK;
    return SendCommand(root, false, command);
  });
}

HRESULT CStatus::get_Operation(IVelmoraQdxStatusOperation** val) {
  return HandOut<IVelmoraQdxStatusOperation>(driver_, kInterface, "get_Operation", val,
                                             &operation_);
}
HRESULT CStatus::get_Questionable(IVelmoraQdxStatusQuestionable** val) {
  return HandOut<IVelmoraQdxStatusQuestionable>(driver_, kInterface, "get_Questionable", val,
                                                &questionable_);
}
HRESULT CStatus::get_StandardEvent(IVelmoraQdxStatusStandardEvent** val) {
  return HandOut<IVelmoraQdxStatusStandardEvent>(driver_, kInterface, "get_StandardEvent", val,
                                                 &standardEvent_);
}
HRESULT CStatus::get_StatusByte(IVelmoraQdxStatusStatusByte** val) {
  return HandOut<IVelmoraQdxStatusStatusByte>(driver_, kInterface, "get_StatusByte", val,
                                              &statusByte_);
}

}  // namespace veqdx::dcpwr
