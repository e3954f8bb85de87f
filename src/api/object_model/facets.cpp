#include "api/object_model/facets.h"

#include "api/object_model/root.h"

namespace veqdx::api {
namespace {
constexpr const char* kIVelmoraQdxStatus = "IVelmoraQdxStatus";
constexpr const char* kIVelmoraQdxStatusOperation = "IVelmoraQdxStatusOperation";
constexpr const char* kIVelmoraQdxStatusQuestionable = "IVelmoraQdxStatusQuestionable";
}  // namespace

// Each member runs on the current session; the temporary shared_ptr keeps that session alive
// for the duration of the call.

HRESULT CRootTrigger::Abort() { return root_.Session()->trigger.Abort(); }
HRESULT CRootTrigger::Initiate() { return root_.Session()->trigger.Initiate(); }
HRESULT CRootTrigger::SendSoftwareTrigger() {
  return root_.Session()->trigger.SendSoftwareTrigger();
}

HRESULT CRootSystem::RecallState(std::int32_t Memory) {
  return root_.Session()->system.RecallState(Memory);
}
HRESULT CRootSystem::SaveState(std::int32_t Memory) {
  return root_.Session()->system.SaveState(Memory);
}
HRESULT CRootSystem::get_DirectIO(IFormattedIO488** val) {
  const std::shared_ptr<CSession> session = root_.Session();
  // The object handed out lives in the session: keep the session as long as the root lives.
  const HRESULT hr = session->system.get_DirectIO(val);
  if (Failed(hr) || val == nullptr || *val == nullptr) return hr;
  const HRESULT kept = root_.KeepForPlainPointers(session);
  if (Failed(kept)) {
    *val = nullptr;
    return kept;
  }
  return hr;
}

HRESULT CRootGlobal::put_Enabled(VARIANT_BOOL val) {
  return root_.Session()->global.put_Enabled(val);
}
HRESULT CRootGlobal::put_VoltageLevel(double val) {
  return root_.Session()->global.put_VoltageLevel(val);
}
HRESULT CRootGlobal::put_CurrentLimit(double val) {
  return root_.Session()->global.put_CurrentLimit(val);
}

HRESULT CRootOperationInstrument::get_ConditionRegister(std::int32_t* val) {
  return root_.Session()->operationInstrument.get_ConditionRegister(val);
}
HRESULT CRootOperationInstrument::get_EnableRegister(std::int32_t* val) {
  return root_.Session()->operationInstrument.get_EnableRegister(val);
}
HRESULT CRootOperationInstrument::put_EnableRegister(std::int32_t val) {
  return root_.Session()->operationInstrument.put_EnableRegister(val);
}
HRESULT CRootOperationInstrument::get_EventRegister(std::int32_t* val) {
  return root_.Session()->operationInstrument.get_EventRegister(val);
}

HRESULT CRootQuestionableInstrument::get_ConditionRegister(std::int32_t* val) {
  return root_.Session()->questionableInstrument.get_ConditionRegister(val);
}
HRESULT CRootQuestionableInstrument::get_EnableRegister(std::int32_t* val) {
  return root_.Session()->questionableInstrument.get_EnableRegister(val);
}
HRESULT CRootQuestionableInstrument::put_EnableRegister(std::int32_t val) {
  return root_.Session()->questionableInstrument.put_EnableRegister(val);
}
HRESULT CRootQuestionableInstrument::get_EventRegister(std::int32_t* val) {
  return root_.Session()->questionableInstrument.get_EventRegister(val);
}

HRESULT CRootOperation::get_Instrument(IVelmoraQdxStatusOperationInstrument** val) {
  return root_.HandOut<IVelmoraQdxStatusOperationInstrument>(
      kIVelmoraQdxStatusOperation, "get_Instrument", &root_.OperationInstrumentGroup(), val);
}
HRESULT CRootOperation::get_ConditionRegister(std::int16_t* val) {
  return root_.Session()->operation.get_ConditionRegister(val);
}
HRESULT CRootOperation::get_EnableRegister(std::int16_t* val) {
  return root_.Session()->operation.get_EnableRegister(val);
}
HRESULT CRootOperation::put_EnableRegister(std::int16_t val) {
  return root_.Session()->operation.put_EnableRegister(val);
}
HRESULT CRootOperation::get_EventRegister(std::int16_t* val) {
  return root_.Session()->operation.get_EventRegister(val);
}

HRESULT CRootQuestionable::get_Instrument(IVelmoraQdxStatusQuestionableInstrument** val) {
  return root_.HandOut<IVelmoraQdxStatusQuestionableInstrument>(
      kIVelmoraQdxStatusQuestionable, "get_Instrument", &root_.QuestionableInstrumentGroup(),
      val);
}
HRESULT CRootQuestionable::get_ConditionRegister(std::int16_t* val) {
  return root_.Session()->questionable.get_ConditionRegister(val);
}
HRESULT CRootQuestionable::get_EnableRegister(std::int16_t* val) {
  return root_.Session()->questionable.get_EnableRegister(val);
}
HRESULT CRootQuestionable::put_EnableRegister(std::int16_t val) {
  return root_.Session()->questionable.put_EnableRegister(val);
}
HRESULT CRootQuestionable::get_EventRegister(std::int16_t* val) {
  return root_.Session()->questionable.get_EventRegister(val);
}

HRESULT CRootStandardEvent::get_EventRegister(std::uint8_t* val) {
  return root_.Session()->standardEvent.get_EventRegister(val);
}
HRESULT CRootStandardEvent::get_EnableRegister(std::uint8_t* val) {
  return root_.Session()->standardEvent.get_EnableRegister(val);
}
HRESULT CRootStandardEvent::put_EnableRegister(std::uint8_t val) {
  return root_.Session()->standardEvent.put_EnableRegister(val);
}

HRESULT CRootStatusByte::get_ConditionRegister(std::uint8_t* val) {
  return root_.Session()->statusByte.get_ConditionRegister(val);
}
HRESULT CRootStatusByte::get_EnableRegister(std::uint8_t* val) {
  return root_.Session()->statusByte.get_EnableRegister(val);
}
HRESULT CRootStatusByte::put_EnableRegister(std::uint8_t val) {
  return root_.Session()->statusByte.put_EnableRegister(val);
}

HRESULT CRootStatus::Clear() { return root_.Session()->status.Clear(); }
HRESULT CRootStatus::Preset() { return root_.Session()->status.Preset(); }
HRESULT CRootStatus::get_Operation(IVelmoraQdxStatusOperation** val) {
  return root_.HandOut<IVelmoraQdxStatusOperation>(kIVelmoraQdxStatus, "get_Operation",
                                                   &root_.OperationGroup(), val);
}
HRESULT CRootStatus::get_Questionable(IVelmoraQdxStatusQuestionable** val) {
  return root_.HandOut<IVelmoraQdxStatusQuestionable>(kIVelmoraQdxStatus, "get_Questionable",
                                                      &root_.QuestionableGroup(), val);
}
HRESULT CRootStatus::get_StandardEvent(IVelmoraQdxStatusStandardEvent** val) {
  return root_.HandOut<IVelmoraQdxStatusStandardEvent>(kIVelmoraQdxStatus, "get_StandardEvent",
                                                       &root_.StandardEventGroup(), val);
}
HRESULT CRootStatus::get_StatusByte(IVelmoraQdxStatusStatusByte** val) {
  return root_.HandOut<IVelmoraQdxStatusStatusByte>(kIVelmoraQdxStatus, "get_StatusByte",
                                                    &root_.StatusByteGroup(), val);
}

}  // namespace veqdx::api
