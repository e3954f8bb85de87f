// The driver-wide interfaces of the root object: trigger, system, status (with its register
// groups) and global settings. The root hands out these objects, one of each for its whole
// life, so a pointer taken once keeps working after Close and a new Initialize: each member
// forwards to the same facet of the root's current session (session.h).
#pragma once
#include <cstdint>

#include "base/hresult.h"
#include "veqdx/interfaces.h"

namespace veqdx::api {

class VelmoraQdx;

// IVelmoraQdxTrigger and IIviDCPwrTrigger have the same members; one override serves both.
class CRootTrigger final : public IVelmoraQdxTrigger, public IIviDCPwrTrigger {
 public:
  explicit CRootTrigger(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT Abort() override;
  HRESULT Initiate() override;
  HRESULT SendSoftwareTrigger() override;

 private:
  VelmoraQdx& root_;
};

class CRootSystem final : public IVelmoraQdxSystem {
 public:
  explicit CRootSystem(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT RecallState(std::int32_t Memory) override;
  HRESULT SaveState(std::int32_t Memory) override;
  // The direct I/O object of the current session.
  HRESULT get_DirectIO(IFormattedIO488** val) override;

 private:
  VelmoraQdx& root_;
};

class CRootGlobal final : public IVelmoraQdxGlobal {
 public:
  explicit CRootGlobal(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT put_Enabled(VARIANT_BOOL val) override;
  HRESULT put_VoltageLevel(double val) override;
  HRESULT put_CurrentLimit(double val) override;

 private:
  VelmoraQdx& root_;
};

class CRootOperationInstrument final : public IVelmoraQdxStatusOperationInstrument {
 public:
  explicit CRootOperationInstrument(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT get_ConditionRegister(std::int32_t* val) override;
  HRESULT get_EnableRegister(std::int32_t* val) override;
  HRESULT put_EnableRegister(std::int32_t val) override;
  HRESULT get_EventRegister(std::int32_t* val) override;

 private:
  VelmoraQdx& root_;
};

class CRootQuestionableInstrument final : public IVelmoraQdxStatusQuestionableInstrument {
 public:
  explicit CRootQuestionableInstrument(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT get_ConditionRegister(std::int32_t* val) override;
  HRESULT get_EnableRegister(std::int32_t* val) override;
  HRESULT put_EnableRegister(std::int32_t val) override;
  HRESULT get_EventRegister(std::int32_t* val) override;

 private:
  VelmoraQdx& root_;
};

class CRootOperation final : public IVelmoraQdxStatusOperation {
 public:
  explicit CRootOperation(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT get_Instrument(IVelmoraQdxStatusOperationInstrument** val) override;
  HRESULT get_ConditionRegister(std::int16_t* val) override;
  HRESULT get_EnableRegister(std::int16_t* val) override;
  HRESULT put_EnableRegister(std::int16_t val) override;
  HRESULT get_EventRegister(std::int16_t* val) override;

 private:
  VelmoraQdx& root_;
};

class CRootQuestionable final : public IVelmoraQdxStatusQuestionable {
 public:
  explicit CRootQuestionable(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT get_Instrument(IVelmoraQdxStatusQuestionableInstrument** val) override;
  HRESULT get_ConditionRegister(std::int16_t* val) override;
  HRESULT get_EnableRegister(std::int16_t* val) override;
  HRESULT put_EnableRegister(std::int16_t val) override;
  HRESULT get_EventRegister(std::int16_t* val) override;

 private:
  VelmoraQdx& root_;
};

class CRootStandardEvent final : public IVelmoraQdxStatusStandardEvent {
 public:
  explicit CRootStandardEvent(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT get_EventRegister(std::uint8_t* val) override;
  HRESULT get_EnableRegister(std::uint8_t* val) override;
  HRESULT put_EnableRegister(std::uint8_t val) override;

 private:
  VelmoraQdx& root_;
};

class CRootStatusByte final : public IVelmoraQdxStatusStatusByte {
 public:
  explicit CRootStatusByte(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT get_ConditionRegister(std::uint8_t* val) override;
  HRESULT get_EnableRegister(std::uint8_t* val) override;
  HRESULT put_EnableRegister(std::uint8_t val) override;

 private:
  VelmoraQdx& root_;
};

class CRootStatus final : public IVelmoraQdxStatus {
 public:
  explicit CRootStatus(VelmoraQdx& root) noexcept : root_(root) {}
  HRESULT Clear() override;
  HRESULT Preset() override;
  HRESULT get_Operation(IVelmoraQdxStatusOperation** val) override;
  HRESULT get_Questionable(IVelmoraQdxStatusQuestionable** val) override;
  HRESULT get_StandardEvent(IVelmoraQdxStatusStandardEvent** val) override;
  HRESULT get_StatusByte(IVelmoraQdxStatusStatusByte** val) override;

 private:
  VelmoraQdx& root_;
};

}  // namespace veqdx::api
