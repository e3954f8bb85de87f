#include "dcpwr/status.h"

#include <mutex>

#include "base/call_context.h"
#include "core/velmoraqdx.h"
#include "dcpwr/accessor.h"

namespace veqdx::dcpwr {
namespace {

// Condition and event registers: read only, no cache entry (0 while simulating).
template <class T>
constexpr Property<T> Reading(const char* interfaceName, const char* getName, const char* query,
                              const char* format) {
  return {{.interfaceName = interfaceName, .getName = getName, .putName = nullptr,
           .writeFormat = nullptr, .queryCommand = query, .readFormat = format,
           .registerValue = true}};
}
// Enable registers: read and written; the entry "<interface>.EnableRegister" only keeps what
// was written while simulating.
template <class T>
constexpr Property<T> Enable(const char* interfaceName, const char* key, const char* write,
                             const char* query, const char* format) {
  return {{.interfaceName = interfaceName, .getName = "get_EnableRegister",
           .putName = "put_EnableRegister", .writeFormat = write, .queryCommand = query,
           .readFormat = format, .key = attr::CCacheKey{key}, .cache = CacheKind::SimulationOnly,
           .registerValue = true}};
}

constexpr const char* kStandardEvent = "IVelmoraQdxStatusStandardEvent";
constexpr const char* kStatusByte = "IVelmoraQdxStatusStatusByte";

// A SCPI register group: "<root>:COND?", "<root>:EVEN?" and the enable register
// "<root>:ENAB <format>" / "<root>:ENAB?", all of width T.
#define VEQDX_SCPI_GROUP(T, Interface, Short, root, format)                                    \
  constexpr auto k##Short##Condition =                                                          \
      Reading<T>(#Interface, "get_ConditionRegister", root ":COND?", format);                   \
  constexpr auto k##Short##Enable = Enable<T>(#Interface, #Interface ".EnableRegister",         \
                                              root ":ENAB " format, root ":ENAB?", format);     \
  constexpr auto k##Short##Event = Reading<T>(#Interface, "get_EventRegister", root ":EVEN?", format)

VEQDX_SCPI_GROUP(std::int16_t, IVelmoraQdxStatusOperation, Oper, ":STAT:OPER", "%hd");
VEQDX_SCPI_GROUP(std::int16_t, IVelmoraQdxStatusQuestionable, Ques, ":STAT:QUES", "%hd");
VEQDX_SCPI_GROUP(std::int32_t, IVelmoraQdxStatusOperationInstrument, OperInst, ":STAT:OPER:INST",
                 "%d");
VEQDX_SCPI_GROUP(std::int32_t, IVelmoraQdxStatusQuestionableInstrument, QuesInst,
                 ":STAT:QUES:INST", "%d");
#undef VEQDX_SCPI_GROUP

constexpr auto kEsrEvent =
    Reading<std::uint8_t>(kStandardEvent, "get_EventRegister", "*ESR?", "%bd");
constexpr auto kEsrEnable =
    Enable<std::uint8_t>(kStandardEvent, "IVelmoraQdxStatusStandardEvent.EnableRegister",
                         "*ESE %bd", "*ESE?", "%bd");

constexpr auto kStbCondition =
    Reading<std::uint8_t>(kStatusByte, "get_ConditionRegister", "*STB?", "%bd");
constexpr auto kStbEnable =
    Enable<std::uint8_t>(kStatusByte, "IVelmoraQdxStatusStatusByte.EnableRegister", "*SRE %bd",
                         "*SRE?", "%bd");

// The driver-wide target; `lease` keeps the driver alive and must outlive the target (a
// temporary in the same full expression does).
AccessTarget RootOf(const std::shared_ptr<CVelmoraQdx>& lease) {
  return AccessTarget{*lease, *lease, kNoChannel};
}

// Hands out a group object owned by the facet. No instrument is involved, so an
// uninitialized session may navigate the tree; only the pointer is checked.
template <class I>
HRESULT HandOut(const CDriverRef& ref, const char* interfaceName, const char* member, I** val,
                I* group) {
  const std::shared_ptr<CVelmoraQdx> driver = ref.Lease();
  std::lock_guard<std::recursive_mutex> lock(driver->Mutex());
  CCallContextGuard context(interfaceName, member);
  if (val == nullptr) return driver->Reporter().ReportNullPointer(member, "val");
  *val = group;
  return S_OK;
}

}  // namespace

// ---- IVelmoraQdxStatusOperationInstrument ----
HRESULT COperationInstrumentStatus::get_ConditionRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kOperInstCondition, val);
}
HRESULT COperationInstrumentStatus::get_EnableRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kOperInstEnable, val);
}
HRESULT COperationInstrumentStatus::put_EnableRegister(std::int32_t val) {
  return PutProperty(RootOf(driver_.Lease()), kOperInstEnable, val);
}
HRESULT COperationInstrumentStatus::get_EventRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kOperInstEvent, val);
}

// ---- IVelmoraQdxStatusQuestionableInstrument ----
HRESULT CQuestionableInstrumentStatus::get_ConditionRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kQuesInstCondition, val);
}
HRESULT CQuestionableInstrumentStatus::get_EnableRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kQuesInstEnable, val);
}
HRESULT CQuestionableInstrumentStatus::put_EnableRegister(std::int32_t val) {
  return PutProperty(RootOf(driver_.Lease()), kQuesInstEnable, val);
}
HRESULT CQuestionableInstrumentStatus::get_EventRegister(std::int32_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kQuesInstEvent, val);
}

// ---- IVelmoraQdxStatusOperation ----
HRESULT COperationStatus::get_Instrument(IVelmoraQdxStatusOperationInstrument** val) {
  return HandOut<IVelmoraQdxStatusOperationInstrument>(driver_, kOperEnable.interfaceName,
                                                       "get_Instrument", val, &instrument_);
}
HRESULT COperationStatus::get_ConditionRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kOperCondition, val);
}
HRESULT COperationStatus::get_EnableRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kOperEnable, val);
}
HRESULT COperationStatus::put_EnableRegister(std::int16_t val) {
  return PutProperty(RootOf(driver_.Lease()), kOperEnable, val);
}
HRESULT COperationStatus::get_EventRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kOperEvent, val);
}

// ---- IVelmoraQdxStatusQuestionable ----
HRESULT CQuestionableStatus::get_Instrument(IVelmoraQdxStatusQuestionableInstrument** val) {
  return HandOut<IVelmoraQdxStatusQuestionableInstrument>(driver_, kQuesEnable.interfaceName,
                                                          "get_Instrument", val, &instrument_);
}
HRESULT CQuestionableStatus::get_ConditionRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kQuesCondition, val);
}
HRESULT CQuestionableStatus::get_EnableRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kQuesEnable, val);
}
HRESULT CQuestionableStatus::put_EnableRegister(std::int16_t val) {
  return PutProperty(RootOf(driver_.Lease()), kQuesEnable, val);
}
HRESULT CQuestionableStatus::get_EventRegister(std::int16_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kQuesEvent, val);
}

// ---- IVelmoraQdxStatusStandardEvent ----
HRESULT CStandardEventStatus::get_EventRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kEsrEvent, val);
}
HRESULT CStandardEventStatus::get_EnableRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kEsrEnable, val);
}
HRESULT CStandardEventStatus::put_EnableRegister(std::uint8_t val) {
  return PutProperty(RootOf(driver_.Lease()), kEsrEnable, val);
}

// ---- IVelmoraQdxStatusStatusByte ----
HRESULT CStatusByteStatus::get_ConditionRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kStbCondition, val);
}
HRESULT CStatusByteStatus::get_EnableRegister(std::uint8_t* val) {
  return GetProperty(RootOf(driver_.Lease()), kStbEnable, val);
}
HRESULT CStatusByteStatus::put_EnableRegister(std::uint8_t val) {
  return PutProperty(RootOf(driver_.Lease()), kStbEnable, val);
}

// ---- IVelmoraQdxStatus ----
HRESULT CStatus::Clear() {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  const AccessTarget root = RootOf(driver);
  return RunMember(root, kInterface, "Clear", [&]() -> HRESULT {
    if (driver->Simulate()) return S_OK;
    // Clearing the status is also how a session whose replies fell out of step recovers.
    {
      auto io = driver->LockIo();
      const HRESULT hr = driver->Io().Resynchronize();
      if (Failed(hr)) return hr;
    }
    return SendCommand(root, false, "*CLS");
  });
}
HRESULT CStatus::Preset() { return Send("Preset", ":STAT:PRES"); }

HRESULT CStatus::Send(const char* member, const char* command) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  const AccessTarget root = RootOf(driver);
  return RunMember(root, kInterface, member, [&]() -> HRESULT {
    if (driver->Simulate()) return S_OK;
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
