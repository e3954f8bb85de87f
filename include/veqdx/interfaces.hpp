// The VelmoraQdx object model: the instrument-specific interface tree, members in slot order,
// on top of the IVI inherent and DC power class interfaces (veqdx/ivi_interfaces.hpp, which also
// states the conventions). The driver object (class VelmoraQdx) implements IVelmoraQdx and the
// driver-wide interfaces; each output object (class CVelmoraQdxOutput) the output interfaces.
//
// Several interfaces have members of identical signature (the ConditionRegister getters of
// IVelmoraQdxStatusOperation and IVelmoraQdxStatusQuestionable, for example). One C++ class
// cannot give them different bodies by inheriting both, so an implementation keeps a small
// forwarding object per such interface.
#pragma once
#include <cstdint>
#include <string>

#include "veqdx/enums.hpp"
#include "veqdx/ivi_interfaces.hpp"
#include "veqdx/status.hpp"

namespace veqdx {

// Identifiers of the object classes and the type library.
constexpr const char* kVelmoraQdxClsid = "{55FA49FE-AE20-4CCC-BFBE-FEDAAFDF1AA4}";
constexpr const char* kVelmoraQdxProgId = "VelmoraQdx.VelmoraQdx";
constexpr const char* kVelmoraQdxOutputClsid = "{71528925-A9B2-4CD5-8840-39ABDD4802F5}";
constexpr const char* kVelmoraQdxOutputProgId = "VelmoraQdx.Output";
constexpr const char* kVelmoraQdxLibId = "{E7D1B6DB-1392-48FB-BA59-C635D5E007F5}";

// Dispatch identifiers start at 0x60020000 in IVelmoraQdx and at 0x60010000 elsewhere.
constexpr std::int32_t kDispidRootBase = 0x60020000;
constexpr std::int32_t kDispidBase = 0x60010000;

// The subset of the VISA formatted I/O interface that direct I/O offers: one message out, one
// response in, on the driver's own connection.
class IFormattedIO488 {
 public:
  virtual ~IFormattedIO488() = default;
  virtual HRESULT WriteString(const char* data) = 0;
  virtual HRESULT ReadString(std::string* val) = 0;
};

// ---- Output tree --------------------------------------------------------------------------
class IVelmoraQdxOutputStatusOperation {
 public:
  static constexpr const char* kIid = "{D25B7E22-3075-4EF9-9FBD-65D7643D62CD}";
  struct Dispid {
    static constexpr std::int32_t ConditionRegister = kDispidBase + 0x0000;
    static constexpr std::int32_t EnableRegister = kDispidBase + 0x0001;
    static constexpr std::int32_t EventRegister = kDispidBase + 0x0003;
  };
  virtual ~IVelmoraQdxOutputStatusOperation() = default;
  virtual HRESULT get_ConditionRegister(std::int16_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::int16_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::int16_t val) = 0;
  virtual HRESULT get_EventRegister(std::int16_t* val) = 0;
};

class IVelmoraQdxOutputStatusQuestionable {
 public:
  static constexpr const char* kIid = "{C31C83AA-530B-4B3C-BBEC-BBA5FEDDF3D9}";
  using Dispid = IVelmoraQdxOutputStatusOperation::Dispid;
  virtual ~IVelmoraQdxOutputStatusQuestionable() = default;
  virtual HRESULT get_ConditionRegister(std::int16_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::int16_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::int16_t val) = 0;
  virtual HRESULT get_EventRegister(std::int16_t* val) = 0;
};

class IVelmoraQdxOutputStatus {
 public:
  static constexpr const char* kIid = "{8F634BCE-B6AD-47D2-A4FA-FECDDB41F6A7}";
  struct Dispid {
    static constexpr std::int32_t Operation = kDispidBase + 0x0000;
    static constexpr std::int32_t Questionable = kDispidBase + 0x0001;
  };
  virtual ~IVelmoraQdxOutputStatus() = default;
  virtual HRESULT get_Operation(IVelmoraQdxOutputStatusOperation** val) = 0;
  virtual HRESULT get_Questionable(IVelmoraQdxOutputStatusQuestionable** val) = 0;
};

class IVelmoraQdxOutputExternalControl {
 public:
  static constexpr const char* kIid = "{EB6E4D43-E8DA-48E5-BA5B-D72401A2F5E4}";
  struct Dispid {
    static constexpr std::int32_t OutputControlEnabled = kDispidBase + 0x0000;
    static constexpr std::int32_t OutputControlLogic = kDispidBase + 0x0002;
    static constexpr std::int32_t AlanogControlRange = kDispidBase + 0x0004;
    static constexpr std::int32_t CCControlEnabled = kDispidBase + 0x0006;
    static constexpr std::int32_t CVControlEnabled = kDispidBase + 0x0008;
  };
  virtual ~IVelmoraQdxOutputExternalControl() = default;
  virtual HRESULT get_OutputControlEnabled(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_OutputControlEnabled(VARIANT_BOOL val) = 0;
  virtual HRESULT get_OutputControlLogic(VelmoraQdxExternalLogicEnum* val) = 0;
  virtual HRESULT put_OutputControlLogic(VelmoraQdxExternalLogicEnum val) = 0;
  // "Alanog" is the published spelling of the analog control range property.
  virtual HRESULT get_AlanogControlRange(VelmoraQdxExternalRangeEnum* val) = 0;
  virtual HRESULT put_AlanogControlRange(VelmoraQdxExternalRangeEnum val) = 0;
  virtual HRESULT get_CCControlEnabled(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_CCControlEnabled(VARIANT_BOOL val) = 0;
  virtual HRESULT get_CVControlEnabled(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_CVControlEnabled(VARIANT_BOOL val) = 0;
};

class IVelmoraQdxOutput {
 public:
  static constexpr const char* kIid = "{BDAB1522-0DB4-4428-A8BD-279CC22E48C8}";
  struct Dispid {
    static constexpr std::int32_t ConfigureCurrentLimit = kDispidBase + 0x0000;
    static constexpr std::int32_t ConfigureOVP = kDispidBase + 0x0001;
    static constexpr std::int32_t Measure = kDispidBase + 0x0002;
    static constexpr std::int32_t QueryCurrentLimitMax = kDispidBase + 0x0003;
    static constexpr std::int32_t QueryState = kDispidBase + 0x0004;
    static constexpr std::int32_t QueryVoltageLevelMax = kDispidBase + 0x0005;
    static constexpr std::int32_t ResetOutputProtection = kDispidBase + 0x0006;
    static constexpr std::int32_t Enabled = kDispidBase + 0x0007;
    static constexpr std::int32_t TriggeredCurrentLimit = kDispidBase + 0x0009;
    static constexpr std::int32_t TriggeredVoltageLevel = kDispidBase + 0x000B;
    static constexpr std::int32_t VoltageLevel = kDispidBase + 0x000D;
    static constexpr std::int32_t CurrentLimit = kDispidBase + 0x000F;
    static constexpr std::int32_t CurrentLimitBehavior = kDispidBase + 0x0011;
    static constexpr std::int32_t OVPLimit = kDispidBase + 0x0013;
    static constexpr std::int32_t UVL = kDispidBase + 0x0015;
    static constexpr std::int32_t PONState = kDispidBase + 0x0017;
    static constexpr std::int32_t OCPLimit = kDispidBase + 0x0019;
    static constexpr std::int32_t ExternalControl = kDispidBase + 0x001B;
    static constexpr std::int32_t TriggerSource = kDispidBase + 0x001C;
    static constexpr std::int32_t ExternalMonitorRange = kDispidBase + 0x001E;
    static constexpr std::int32_t OperationPriority = kDispidBase + 0x0020;
    static constexpr std::int32_t ProtectionRecovery = kDispidBase + 0x0022;
    static constexpr std::int32_t Status = kDispidBase + 0x0024;
    static constexpr std::int32_t BleederEnabled = kDispidBase + 0x0025;
  };
  virtual ~IVelmoraQdxOutput() = default;
  virtual HRESULT ConfigureCurrentLimit(VelmoraQdxCurrentLimitBehaviorEnum Behavior,
                                        double Limit) = 0;
  virtual HRESULT ConfigureOVP(VARIANT_BOOL Enabled, double Limit) = 0;
  virtual HRESULT Measure(VelmoraQdxMeasurementTypeEnum MeasurementType, double* val) = 0;
  virtual HRESULT QueryCurrentLimitMax(double VoltageLevel, double* val) = 0;
  virtual HRESULT QueryState(VelmoraQdxOutputStateEnum OutputState, VARIANT_BOOL* val) = 0;
  virtual HRESULT QueryVoltageLevelMax(double CurrentLimit, double* val) = 0;
  virtual HRESULT ResetOutputProtection() = 0;
  virtual HRESULT get_Enabled(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_Enabled(VARIANT_BOOL val) = 0;
  virtual HRESULT get_TriggeredCurrentLimit(double* val) = 0;
  virtual HRESULT put_TriggeredCurrentLimit(double val) = 0;
  virtual HRESULT get_TriggeredVoltageLevel(double* val) = 0;
  virtual HRESULT put_TriggeredVoltageLevel(double val) = 0;
  virtual HRESULT get_VoltageLevel(double* val) = 0;
  virtual HRESULT put_VoltageLevel(double val) = 0;
  virtual HRESULT get_CurrentLimit(double* val) = 0;
  virtual HRESULT put_CurrentLimit(double val) = 0;
  virtual HRESULT get_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum* val) = 0;
  virtual HRESULT put_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum val) = 0;
  virtual HRESULT get_OVPLimit(double* val) = 0;
  virtual HRESULT put_OVPLimit(double val) = 0;
  virtual HRESULT get_UVL(double* val) = 0;
  virtual HRESULT put_UVL(double val) = 0;
  virtual HRESULT get_PONState(VelmoraQdxPONStateEnum* val) = 0;
  virtual HRESULT put_PONState(VelmoraQdxPONStateEnum val) = 0;
  virtual HRESULT get_OCPLimit(double* val) = 0;
  virtual HRESULT put_OCPLimit(double val) = 0;
  virtual HRESULT get_ExternalControl(IVelmoraQdxOutputExternalControl** val) = 0;
  virtual HRESULT get_TriggerSource(VelmoraQdxTriggerSourceEnum* val) = 0;
  virtual HRESULT put_TriggerSource(VelmoraQdxTriggerSourceEnum val) = 0;
  virtual HRESULT get_ExternalMonitorRange(VelmoraQdxExternalRangeEnum* val) = 0;
  virtual HRESULT put_ExternalMonitorRange(VelmoraQdxExternalRangeEnum val) = 0;
  virtual HRESULT get_OperationPriority(VelmoraQdxOperationModeEnum* val) = 0;
  virtual HRESULT put_OperationPriority(VelmoraQdxOperationModeEnum val) = 0;
  virtual HRESULT get_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum* val) = 0;
  virtual HRESULT put_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum val) = 0;
  virtual HRESULT get_Status(IVelmoraQdxOutputStatus** val) = 0;
  virtual HRESULT get_BleederEnabled(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_BleederEnabled(VARIANT_BOOL val) = 0;
};

class IVelmoraQdxOutputs {
 public:
  static constexpr const char* kIid = "{0C73E976-FD1B-41B7-B9BF-DC7D930DF788}";
  struct Dispid {
    static constexpr std::int32_t Count = kDispidBase + 0x0000;
    static constexpr std::int32_t Item = kDispidBase + 0x0001;
    static constexpr std::int32_t Name = kDispidBase + 0x0002;
  };
  virtual ~IVelmoraQdxOutputs() = default;
  virtual HRESULT get_Count(std::int32_t* val) = 0;
  virtual HRESULT get_Item(const char* Name, IVelmoraQdxOutput** val) = 0;
  virtual HRESULT get_Name(std::int32_t Index, std::string* val) = 0;
};

// ---- Driver-wide interfaces ---------------------------------------------------------------
class IVelmoraQdxTrigger {
 public:
  static constexpr const char* kIid = "{32E166A3-E5FE-4434-94EA-FBEC4C770F6B}";
  struct Dispid {
    static constexpr std::int32_t Abort = kDispidBase + 0x0000;
    static constexpr std::int32_t Initiate = kDispidBase + 0x0001;
    static constexpr std::int32_t SendSoftwareTrigger = kDispidBase + 0x0002;
  };
  virtual ~IVelmoraQdxTrigger() = default;
  virtual HRESULT Abort() = 0;
  virtual HRESULT Initiate() = 0;
  virtual HRESULT SendSoftwareTrigger() = 0;
};

class IVelmoraQdxSystem {
 public:
  static constexpr const char* kIid = "{64630796-6001-45CC-9C9F-32CCC5EC9B18}";
  struct Dispid {
    static constexpr std::int32_t RecallState = kDispidBase + 0x0000;
    static constexpr std::int32_t SaveState = kDispidBase + 0x0001;
    static constexpr std::int32_t DirectIO = kDispidBase + 0x0002;
  };
  virtual ~IVelmoraQdxSystem() = default;
  virtual HRESULT RecallState(std::int32_t Memory) = 0;
  virtual HRESULT SaveState(std::int32_t Memory) = 0;
  virtual HRESULT get_DirectIO(IFormattedIO488** val) = 0;
};

// Instrument summary registers: 32-bit.
class IVelmoraQdxStatusOperationInstrument {
 public:
  static constexpr const char* kIid = "{7396F2AC-9390-466E-8617-F22A99433F75}";
  struct Dispid {
    static constexpr std::int32_t ConditionRegister = kDispidBase + 0x0000;
    static constexpr std::int32_t EnableRegister = kDispidBase + 0x0001;
    static constexpr std::int32_t EventRegister = kDispidBase + 0x0003;
  };
  virtual ~IVelmoraQdxStatusOperationInstrument() = default;
  virtual HRESULT get_ConditionRegister(std::int32_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::int32_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::int32_t val) = 0;
  virtual HRESULT get_EventRegister(std::int32_t* val) = 0;
};

class IVelmoraQdxStatusQuestionableInstrument {
 public:
  static constexpr const char* kIid = "{45497544-1393-4D3D-A29A-1CACAD07B598}";
  using Dispid = IVelmoraQdxStatusOperationInstrument::Dispid;
  virtual ~IVelmoraQdxStatusQuestionableInstrument() = default;
  virtual HRESULT get_ConditionRegister(std::int32_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::int32_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::int32_t val) = 0;
  virtual HRESULT get_EventRegister(std::int32_t* val) = 0;
};

// Operation and questionable groups: 16-bit registers plus their instrument summary.
class IVelmoraQdxStatusOperation {
 public:
  static constexpr const char* kIid = "{56FDF943-2E04-40DB-830F-16076FFB16B3}";
  struct Dispid {
    static constexpr std::int32_t Instrument = kDispidBase + 0x0000;
    static constexpr std::int32_t ConditionRegister = kDispidBase + 0x0001;
    static constexpr std::int32_t EnableRegister = kDispidBase + 0x0002;
    static constexpr std::int32_t EventRegister = kDispidBase + 0x0004;
  };
  virtual ~IVelmoraQdxStatusOperation() = default;
  virtual HRESULT get_Instrument(IVelmoraQdxStatusOperationInstrument** val) = 0;
  virtual HRESULT get_ConditionRegister(std::int16_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::int16_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::int16_t val) = 0;
  virtual HRESULT get_EventRegister(std::int16_t* val) = 0;
};

class IVelmoraQdxStatusQuestionable {
 public:
  static constexpr const char* kIid = "{3C870AEC-B28F-4205-BD6F-6CD8AC51AD08}";
  using Dispid = IVelmoraQdxStatusOperation::Dispid;
  virtual ~IVelmoraQdxStatusQuestionable() = default;
  virtual HRESULT get_Instrument(IVelmoraQdxStatusQuestionableInstrument** val) = 0;
  virtual HRESULT get_ConditionRegister(std::int16_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::int16_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::int16_t val) = 0;
  virtual HRESULT get_EventRegister(std::int16_t* val) = 0;
};

// IEEE 488.2 registers: 8-bit.
class IVelmoraQdxStatusStandardEvent {
 public:
  static constexpr const char* kIid = "{E9712829-904A-443A-89C8-62806B8F71A9}";
  struct Dispid {
    static constexpr std::int32_t EventRegister = kDispidBase + 0x0000;
    static constexpr std::int32_t EnableRegister = kDispidBase + 0x0001;
  };
  virtual ~IVelmoraQdxStatusStandardEvent() = default;
  virtual HRESULT get_EventRegister(std::uint8_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::uint8_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::uint8_t val) = 0;
};

class IVelmoraQdxStatusStatusByte {
 public:
  static constexpr const char* kIid = "{C9D03D80-20CA-4A14-B2F5-145A7F3E7192}";
  struct Dispid {
    static constexpr std::int32_t ConditionRegister = kDispidBase + 0x0000;
    static constexpr std::int32_t EnableRegister = kDispidBase + 0x0001;
  };
  virtual ~IVelmoraQdxStatusStatusByte() = default;
  virtual HRESULT get_ConditionRegister(std::uint8_t* val) = 0;
  virtual HRESULT get_EnableRegister(std::uint8_t* val) = 0;
  virtual HRESULT put_EnableRegister(std::uint8_t val) = 0;
};

class IVelmoraQdxStatus {
 public:
  static constexpr const char* kIid = "{55CA2437-36BF-4355-B3F8-C482F493E985}";
  struct Dispid {
    static constexpr std::int32_t Clear = kDispidBase + 0x0000;
    static constexpr std::int32_t Preset = kDispidBase + 0x0001;
    static constexpr std::int32_t Operation = kDispidBase + 0x0002;
    static constexpr std::int32_t Questionable = kDispidBase + 0x0003;
    static constexpr std::int32_t StandardEvent = kDispidBase + 0x0004;
    static constexpr std::int32_t StatusByte = kDispidBase + 0x0005;
  };
  virtual ~IVelmoraQdxStatus() = default;
  virtual HRESULT Clear() = 0;
  virtual HRESULT Preset() = 0;
  virtual HRESULT get_Operation(IVelmoraQdxStatusOperation** val) = 0;
  virtual HRESULT get_Questionable(IVelmoraQdxStatusQuestionable** val) = 0;
  virtual HRESULT get_StandardEvent(IVelmoraQdxStatusStandardEvent** val) = 0;
  virtual HRESULT get_StatusByte(IVelmoraQdxStatusStatusByte** val) = 0;
};

// Settings for every output at once; write-only.
class IVelmoraQdxGlobal {
 public:
  static constexpr const char* kIid = "{09F5166F-60E8-4B50-9DB4-70C4FCB1D547}";
  struct Dispid {
    static constexpr std::int32_t Enabled = kDispidBase + 0x0000;
    static constexpr std::int32_t VoltageLevel = kDispidBase + 0x0001;
    static constexpr std::int32_t CurrentLimit = kDispidBase + 0x0002;
  };
  virtual ~IVelmoraQdxGlobal() = default;
  virtual HRESULT put_Enabled(VARIANT_BOOL val) = 0;
  virtual HRESULT put_VoltageLevel(double val) = 0;
  virtual HRESULT put_CurrentLimit(double val) = 0;
};

// The driver's default interface.
class IVelmoraQdx : public virtual IIviDriver {
 public:
  static constexpr const char* kIid = "{4EECEA53-693A-49DA-99D8-75F4390A14DC}";
  struct Dispid {
    static constexpr std::int32_t Outputs = kDispidRootBase + 0x0000;
    static constexpr std::int32_t Trigger = kDispidRootBase + 0x0001;
    static constexpr std::int32_t System = kDispidRootBase + 0x0002;
    static constexpr std::int32_t Status = kDispidRootBase + 0x0003;
    static constexpr std::int32_t Global = kDispidRootBase + 0x0004;
  };
  virtual HRESULT get_Outputs(IVelmoraQdxOutputs** val) = 0;
  virtual HRESULT get_Trigger(IVelmoraQdxTrigger** val) = 0;
  virtual HRESULT get_System(IVelmoraQdxSystem** val) = 0;
  virtual HRESULT get_Status(IVelmoraQdxStatus** val) = 0;
  virtual HRESULT get_Global(IVelmoraQdxGlobal** val) = 0;
};

}  // namespace veqdx
