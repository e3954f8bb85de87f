// The IVI inherent and DC power class interfaces of the VelmoraQdx object model; included by
// veqdx/interfaces.hpp, which adds the instrument-specific tree.
//
// Conventions, the same in every interface:
// - every member returns an HRESULT (veqdx/status.hpp); a getter's value is its last argument;
// - properties are get_X(T* val) / put_X(T val);
// - strings come in as const char* (null is reported by the member, like any null argument)
//   and go out through std::string*;
// - child interfaces go out as non-owning pointers: the tree owns its objects, and a child
//   property returns the same object seen through another interface, never a new one;
// - kIid is the interface identifier, Dispid the dispatch identifiers where they are published
//   (a property's getter and setter share one).
//
// Where a class and an instrument interface have members of one signature (get_VoltageLevel,
// Abort, ...), one override in the implementing class serves both.
#pragma once
#include <cstdint>
#include <string>

#include "veqdx/enums.hpp"
#include "veqdx/status.hpp"

namespace veqdx {

// The object layer's 16-bit boolean (true is -1); same type as the driver core's.
using VARIANT_BOOL = std::int16_t;

// ---- IVI DC power class enumerations -----------------------------------------------------
// Same values as the instrument's own enumerations where both exist.
enum IviDCPwrCurrentLimitBehaviorEnum : std::int32_t {
  IviDCPwrCurrentLimitRegulate = 0,
  IviDCPwrCurrentLimitTrip = 1,
};
enum IviDCPwrMeasurementTypeEnum : std::int32_t {
  IviDCPwrMeasurementCurrent = 0,
  IviDCPwrMeasurementVoltage = 1,
};
enum IviDCPwrOutputStateEnum : std::int32_t {
  IviDCPwrOutputStateConstantVoltage = 0,
  IviDCPwrOutputStateConstantCurrent = 1,
  IviDCPwrOutputStateOverVoltage = 2,
  IviDCPwrOutputStateOverCurrent = 3,
  IviDCPwrOutputStateUnregulated = 4,
};
enum IviDCPwrRangeTypeEnum : std::int32_t {
  IviDCPwrRangeCurrent = 0,
  IviDCPwrRangeVoltage = 1,
};
enum IviDCPwrTriggerSourceEnum : std::int32_t {
  IviDCPwrTriggerSourceImmediate = 0,
  IviDCPwrTriggerSourceExternal = 1,
  IviDCPwrTriggerSourceSwTrigFunc = 2,
};

// ---- IVI inherent interfaces --------------------------------------------------------------
class IIviDriverOperation;
class IIviDriverIdentity;
class IIviDriverUtility;

class IIviComponentIdentity {
 public:
  static constexpr const char* kIid = "{47ED5185-A398-11D4-BA58-000064657374}";
  virtual ~IIviComponentIdentity() = default;
  virtual HRESULT get_Description(std::string* val) = 0;
  virtual HRESULT get_Identifier(std::string* val) = 0;
  virtual HRESULT get_Revision(std::string* val) = 0;
  virtual HRESULT get_Vendor(std::string* val) = 0;
};

class IIviDriverIdentity : public virtual IIviComponentIdentity {
 public:
  static constexpr const char* kIid = "{47ED5186-A398-11D4-BA58-000064657374}";
  virtual HRESULT get_GroupCapabilities(std::string* val) = 0;
  virtual HRESULT get_InstrumentFirmwareRevision(std::string* val) = 0;
  virtual HRESULT get_InstrumentManufacturer(std::string* val) = 0;
  virtual HRESULT get_InstrumentModel(std::string* val) = 0;
  virtual HRESULT get_SpecificationMajorVersion(std::int32_t* val) = 0;
  virtual HRESULT get_SpecificationMinorVersion(std::int32_t* val) = 0;
  virtual HRESULT get_SupportedInstrumentModels(std::string* val) = 0;
};

class IIviDriverOperation {
 public:
  static constexpr const char* kIid = "{47ED5188-A398-11D4-BA58-000064657374}";
  virtual ~IIviDriverOperation() = default;
  virtual HRESULT get_LogicalName(std::string* val) = 0;
  virtual HRESULT get_IoResourceDescriptor(std::string* val) = 0;
  virtual HRESULT get_RangeCheck(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_RangeCheck(VARIANT_BOOL val) = 0;
  virtual HRESULT get_QueryInstrumentStatus(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_QueryInstrumentStatus(VARIANT_BOOL val) = 0;
  virtual HRESULT get_Cache(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_Cache(VARIANT_BOOL val) = 0;
  virtual HRESULT get_Simulate(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_Simulate(VARIANT_BOOL val) = 0;
  virtual HRESULT get_RecordCoercions(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_RecordCoercions(VARIANT_BOOL val) = 0;
  virtual HRESULT get_InterchangeCheck(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_InterchangeCheck(VARIANT_BOOL val) = 0;
  virtual HRESULT get_DriverSetup(std::string* val) = 0;
  virtual HRESULT InvalidateAllAttributes() = 0;
  virtual HRESULT ResetInterchangeCheck() = 0;
  virtual HRESULT ClearInterchangeWarnings() = 0;
  virtual HRESULT GetNextCoercionRecord(std::string* val) = 0;
  virtual HRESULT GetNextInterchangeWarning(std::string* val) = 0;
};

class IIviDriverUtility {
 public:
  static constexpr const char* kIid = "{47ED5189-A398-11D4-BA58-000064657374}";
  virtual ~IIviDriverUtility() = default;
  virtual HRESULT Disable() = 0;
  virtual HRESULT ErrorQuery(std::int32_t* ErrorCode, std::string* ErrorMessage) = 0;
  virtual HRESULT LockObject() = 0;    // not supported by this driver
  virtual HRESULT Reset() = 0;
  virtual HRESULT ResetWithDefaults() = 0;
  virtual HRESULT SelfTest(std::int32_t* TestResult, std::string* TestMessage) = 0;
  virtual HRESULT UnlockObject() = 0;  // not supported by this driver
};

// Root of the inherent interfaces. Derived virtually: the driver object reaches it through
// IVelmoraQdx and IIviDCPwr and must have it only once.
class IIviDriver {
 public:
  static constexpr const char* kIid = "{47ED5184-A398-11D4-BA58-000064657374}";
  virtual ~IIviDriver() = default;
  virtual HRESULT get_DriverOperation(IIviDriverOperation** val) = 0;
  virtual HRESULT get_Identity(IIviDriverIdentity** val) = 0;
  virtual HRESULT Initialize(const char* ResourceName, VARIANT_BOOL IdQuery, VARIANT_BOOL Reset,
                             const char* OptionString) = 0;
  virtual HRESULT get_Initialized(VARIANT_BOOL* val) = 0;
  virtual HRESULT Close() = 0;
  virtual HRESULT get_Utility(IIviDriverUtility** val) = 0;
};

// ---- IVI DC power class interfaces --------------------------------------------------------
class IIviDCPwrOutput {
 public:
  static constexpr const char* kIid = "{47ED51B8-A398-11D4-BA58-000064657374}";
  virtual ~IIviDCPwrOutput() = default;
  virtual HRESULT ConfigureCurrentLimit(IviDCPwrCurrentLimitBehaviorEnum Behavior,
                                        double Limit) = 0;
  virtual HRESULT ConfigureOVP(VARIANT_BOOL Enabled, double Limit) = 0;
  virtual HRESULT ConfigureRange(IviDCPwrRangeTypeEnum RangeType, double Range) = 0;
  virtual HRESULT get_CurrentLimit(double* val) = 0;
  virtual HRESULT put_CurrentLimit(double val) = 0;
  virtual HRESULT get_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum* val) = 0;
  virtual HRESULT put_CurrentLimitBehavior(IviDCPwrCurrentLimitBehaviorEnum val) = 0;
  virtual HRESULT get_Enabled(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_Enabled(VARIANT_BOOL val) = 0;
  virtual HRESULT Measure(IviDCPwrMeasurementTypeEnum MeasurementType, double* val) = 0;
  virtual HRESULT get_OVPEnabled(VARIANT_BOOL* val) = 0;
  virtual HRESULT put_OVPEnabled(VARIANT_BOOL val) = 0;
  virtual HRESULT get_OVPLimit(double* val) = 0;
  virtual HRESULT put_OVPLimit(double val) = 0;
  virtual HRESULT QueryCurrentLimitMax(double VoltageLevel, double* val) = 0;
  virtual HRESULT QueryState(IviDCPwrOutputStateEnum OutputState, VARIANT_BOOL* val) = 0;
  virtual HRESULT QueryVoltageLevelMax(double CurrentLimit, double* val) = 0;
  virtual HRESULT ResetOutputProtection() = 0;
  virtual HRESULT get_TriggeredCurrentLimit(double* val) = 0;
  virtual HRESULT put_TriggeredCurrentLimit(double val) = 0;
  virtual HRESULT get_TriggeredVoltageLevel(double* val) = 0;
  virtual HRESULT put_TriggeredVoltageLevel(double val) = 0;
  virtual HRESULT get_TriggerSource(IviDCPwrTriggerSourceEnum* val) = 0;
  virtual HRESULT put_TriggerSource(IviDCPwrTriggerSourceEnum val) = 0;
  virtual HRESULT get_VoltageLevel(double* val) = 0;
  virtual HRESULT put_VoltageLevel(double val) = 0;
};

class IIviDCPwrOutputs {
 public:
  static constexpr const char* kIid = "{47ED51B7-A398-11D4-BA58-000064657374}";
  virtual ~IIviDCPwrOutputs() = default;
  virtual HRESULT get_Count(std::int32_t* val) = 0;
  virtual HRESULT get_Item(const char* Name, IIviDCPwrOutput** val) = 0;
  virtual HRESULT get_Name(std::int32_t Index, std::string* val) = 0;
};

class IIviDCPwrTrigger {
 public:
  static constexpr const char* kIid = "{47ED51B9-A398-11D4-BA58-000064657374}";
  virtual ~IIviDCPwrTrigger() = default;
  virtual HRESULT Abort() = 0;
  virtual HRESULT Initiate() = 0;
  virtual HRESULT SendSoftwareTrigger() = 0;
};

class IIviDCPwr : public virtual IIviDriver {
 public:
  static constexpr const char* kIid = "{47ED51B6-A398-11D4-BA58-000064657374}";
  virtual HRESULT get_Outputs(IIviDCPwrOutputs** val) = 0;
  virtual HRESULT get_Trigger(IIviDCPwrTrigger** val) = 0;
};

}  // namespace veqdx

