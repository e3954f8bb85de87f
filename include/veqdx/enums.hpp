// Enumerations of the VelmoraQdx object model, with their published names and values. All are
// 32-bit. Standalone on purpose: the driver's internal converters include this file too.
#pragma once
#include <cstdint>

namespace veqdx {

enum VelmoraQdxCurrentLimitBehaviorEnum : std::int32_t {
  VelmoraQdxCurrentLimitRegulate = 0,
  VelmoraQdxCurrentLimitTrip = 1,
};

enum VelmoraQdxMeasurementTypeEnum : std::int32_t {
  VelmoraQdxMeasurementCurrent = 0,
  VelmoraQdxMeasurementVoltage = 1,
};

// 0..4 are the class-compliant states, 20 and up the instrument's own; the gap is deliberate.
enum VelmoraQdxOutputStateEnum : std::int32_t {
  VelmoraQdxOutputStateConstantVoltage = 0,
  VelmoraQdxOutputStateConstantCurrent = 1,
  VelmoraQdxOutputStateOverVoltage = 2,
  VelmoraQdxOutputStateOverCurrent = 3,
  VelmoraQdxOutputStateUnregulated = 4,
  VelmoraQdxOutputStateACPowerFailure = 20,
  VelmoraQdxOutputStatePowerLimit = 21,
  VelmoraQdxOutputStateOverTemperature = 22,
  VelmoraQdxOutputStateShutdownAlarm = 23,
  VelmoraQdxOutputStateSensingAlarm = 24,
  VelmoraQdxOutputStateFanAlarm = 25,
  VelmoraQdxOutputStateOutputInhibited = 26,
  VelmoraQdxOutputStateI2CAlarm = 27,
  VelmoraQdxOutputStateOverVoltage2 = 28,
};

// 1 is not a member: the instrument has no external trigger.
enum VelmoraQdxTriggerSourceEnum : std::int32_t {
  VelmoraQdxTriggerSourceImmediate = 0,
  VelmoraQdxTriggerSourceSwTrigFunc = 2,
};

// Analog control and monitor ranges: LOW is 5 V full scale, HIGH 10 V.
enum VelmoraQdxExternalRangeEnum : std::int32_t {
  VelmoraQdxExternalRangeLow = 0,
  VelmoraQdxExternalRangeHigh = 1,
};

enum VelmoraQdxPONStateEnum : std::int32_t {
  VelmoraQdxPONStateSafe = 0,
  VelmoraQdxPONStateAuto = 1,
  VelmoraQdxPONStateForce = 2,
};

enum VelmoraQdxProtectionRecoveryEnum : std::int32_t {
  VelmoraQdxProtectionRecoverySafe = 0,
  VelmoraQdxProtectionRecoveryAuto = 1,
};

enum VelmoraQdxOperationModeEnum : std::int32_t {
  VelmoraQdxOperationModeCC = 0,
  VelmoraQdxOperationModeCV = 1,
};

enum VelmoraQdxExternalLogicEnum : std::int32_t {
  VelmoraQdxExternalLogicLow = 0,
  VelmoraQdxExternalLogicHigh = 1,
};

}  // namespace veqdx
