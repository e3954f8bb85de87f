// IVelmoraQdxStatus and its register groups: the instrument's SCPI and IEEE 488.2 status
// system as a whole (the per-output summary registers live with the outputs).
//
//   CStatus status(driver);
//   status.Clear();                                        // "*CLS"
//   IVelmoraQdxStatusQuestionable* ques = nullptr;
//   status.get_Questionable(&ques);
//   IVelmoraQdxStatusQuestionableInstrument* inst = nullptr;
//   ques->get_Instrument(&inst);
//   inst->put_EnableRegister(5);                           // ":STAT:QUES:INST:ENAB 5"
//
// One small class per interface, since several interfaces have members of one signature
// (every group has get_ConditionRegister). Register widths follow the interfaces: operation
// and questionable 16-bit ("%hd"), their instrument summaries 32-bit ("%d"), the standard
// event register and the status byte 8-bit unsigned ("%bd").
//
// No register is cached: every read asks the instrument. While simulating, an enable
// register keeps what was written (its "IVelmoraQdxStatus<Group>.EnableRegister" entry on the
// root, 0 when never written) and every other register reads 0, all without I/O. The groups
// own no state; the facet objects may be created and dropped freely.
#pragma once
#include <cstdint>
#include <utility>

#include "base/hresult.h"
#include "dcpwr/driver_ref.h"
#include "veqdx/interfaces.hpp"

namespace veqdx::dcpwr {

class COperationInstrumentStatus final : public IVelmoraQdxStatusOperationInstrument {
 public:
  explicit COperationInstrumentStatus(CDriverRef driver) noexcept : driver_(std::move(driver)) {}
  HRESULT get_ConditionRegister(std::int32_t* val) override;  // ":STAT:OPER:INST:COND?"
  HRESULT get_EnableRegister(std::int32_t* val) override;     // ":STAT:OPER:INST:ENAB?"
  HRESULT put_EnableRegister(std::int32_t val) override;      // ":STAT:OPER:INST:ENAB %d"
  HRESULT get_EventRegister(std::int32_t* val) override;      // ":STAT:OPER:INST:EVEN?"

 private:
  CDriverRef driver_;
};

class CQuestionableInstrumentStatus final : public IVelmoraQdxStatusQuestionableInstrument {
 public:
  explicit CQuestionableInstrumentStatus(CDriverRef driver) noexcept : driver_(std::move(driver)) {}
  HRESULT get_ConditionRegister(std::int32_t* val) override;  // ":STAT:QUES:INST:COND?"
  HRESULT get_EnableRegister(std::int32_t* val) override;     // ":STAT:QUES:INST:ENAB?"
  HRESULT put_EnableRegister(std::int32_t val) override;      // ":STAT:QUES:INST:ENAB %d"
  HRESULT get_EventRegister(std::int32_t* val) override;      // ":STAT:QUES:INST:EVEN?"

 private:
  CDriverRef driver_;
};

class COperationStatus final : public IVelmoraQdxStatusOperation {
 public:
  explicit COperationStatus(CDriverRef driver) noexcept
      : driver_(std::move(driver)), instrument_(driver_) {}
  COperationInstrumentStatus& Instrument() noexcept { return instrument_; }
  HRESULT get_Instrument(IVelmoraQdxStatusOperationInstrument** val) override;
  HRESULT get_ConditionRegister(std::int16_t* val) override;  // ":STAT:OPER:COND?"
  HRESULT get_EnableRegister(std::int16_t* val) override;     // ":STAT:OPER:ENAB?"
  HRESULT put_EnableRegister(std::int16_t val) override;      // ":STAT:OPER:ENAB %hd"
  HRESULT get_EventRegister(std::int16_t* val) override;      // ":STAT:OPER:EVEN?"

 private:
  CDriverRef driver_;
  COperationInstrumentStatus instrument_;
};

class CQuestionableStatus final : public IVelmoraQdxStatusQuestionable {
 public:
  explicit CQuestionableStatus(CDriverRef driver) noexcept
      : driver_(std::move(driver)), instrument_(driver_) {}
  CQuestionableInstrumentStatus& Instrument() noexcept { return instrument_; }
  HRESULT get_Instrument(IVelmoraQdxStatusQuestionableInstrument** val) override;
  HRESULT get_ConditionRegister(std::int16_t* val) override;  // ":STAT:QUES:COND?"
  HRESULT get_EnableRegister(std::int16_t* val) override;     // ":STAT:QUES:ENAB?"
  HRESULT put_EnableRegister(std::int16_t val) override;      // ":STAT:QUES:ENAB %hd"
  HRESULT get_EventRegister(std::int16_t* val) override;      // ":STAT:QUES:EVEN?"

 private:
  CDriverRef driver_;
  CQuestionableInstrumentStatus instrument_;
};

class CStandardEventStatus final : public IVelmoraQdxStatusStandardEvent {
 public:
  explicit CStandardEventStatus(CDriverRef driver) noexcept : driver_(std::move(driver)) {}
  HRESULT get_EventRegister(std::uint8_t* val) override;   // "*ESR?"
  HRESULT get_EnableRegister(std::uint8_t* val) override;  // "*ESE?"
  HRESULT put_EnableRegister(std::uint8_t val) override;   // "*ESE %bd"

 private:
  CDriverRef driver_;
};

class CStatusByteStatus final : public IVelmoraQdxStatusStatusByte {
 public:
  explicit CStatusByteStatus(CDriverRef driver) noexcept : driver_(std::move(driver)) {}
  HRESULT get_ConditionRegister(std::uint8_t* val) override;  // "*STB?"
  HRESULT get_EnableRegister(std::uint8_t* val) override;     // "*SRE?"
  HRESULT put_EnableRegister(std::uint8_t val) override;      // "*SRE %bd"

 private:
  CDriverRef driver_;
};

class CStatus final : public IVelmoraQdxStatus {
 public:
  static constexpr const char* kInterface = "IVelmoraQdxStatus";

  explicit CStatus(CDriverRef driver) noexcept
      : driver_(std::move(driver)),
        operation_(driver_),
        questionable_(driver_),
        standardEvent_(driver_),
        statusByte_(driver_) {}

  // "*CLS" clears the event registers and the error queue and keeps the enable registers;
  // ":STAT:PRES" presets the status system. Both send nothing while simulating.
  HRESULT Clear() override;
  HRESULT Preset() override;
  // The groups (owned by this facet; never null on success).
  COperationStatus& Operation() noexcept { return operation_; }
  CQuestionableStatus& Questionable() noexcept { return questionable_; }
  CStandardEventStatus& StandardEvent() noexcept { return standardEvent_; }
  CStatusByteStatus& StatusByte() noexcept { return statusByte_; }
  HRESULT get_Operation(IVelmoraQdxStatusOperation** val) override;
  HRESULT get_Questionable(IVelmoraQdxStatusQuestionable** val) override;
  HRESULT get_StandardEvent(IVelmoraQdxStatusStandardEvent** val) override;
  HRESULT get_StatusByte(IVelmoraQdxStatusStatusByte** val) override;

 private:
  HRESULT Send(const char* member, const char* command);

  CDriverRef driver_;
  COperationStatus operation_;
  CQuestionableStatus questionable_;
  CStandardEventStatus standardEvent_;
  CStatusByteStatus statusByte_;
};

}  // namespace veqdx::dcpwr
