// The driver's published enumerations, with the names and values of its object model. Kept
// free of any include so that it compiles on its own (the public headers will take it over).
// All are 32-bit, like the type library's enumerations.
#pragma once

static_assert(sizeof(int) == 4, "the enumerations are 32-bit");

enum VelmoraQdxCurrentLimitBehaviorEnum : int {
  VelmoraQdxCurrentLimitRegulate = 0,
  VelmoraQdxCurrentLimitTrip = 1,
};

enum VelmoraQdxMeasurementTypeEnum : int {
  VelmoraQdxMeasurementCurrent = 0,
  VelmoraQdxMeasurementVoltage = 1,
};

// 0 to 4 are the class-compliant states, 20 and up the instrument's own; the gap is deliberate.
enum VelmoraQdxOutputStateEnum : int {
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

enum VelmoraQdxTriggerSourceEnum : int {
  VelmoraQdxTriggerSourceImmediate = 0,
  VelmoraQdxTriggerSourceSwTrigFunc = 2,
};

enum VelmoraQdxExternalRangeEnum : int {
  VelmoraQdxExternalRangeLow = 0,
  VelmoraQdxExternalRangeHigh = 1,
};

enum VelmoraQdxPONStateEnum : int {
  VelmoraQdxPONStateSafe = 0,
  VelmoraQdxPONStateAuto = 1,
  VelmoraQdxPONStateForce = 2,
};

enum VelmoraQdxProtectionRecoveryEnum : int {
  VelmoraQdxProtectionRecoverySafe = 0,
  VelmoraQdxProtectionRecoveryAuto = 1,
};

enum VelmoraQdxOperationModeEnum : int {
  VelmoraQdxOperationModeCC = 0,
  VelmoraQdxOperationModeCV = 1,
};

enum VelmoraQdxExternalLogicEnum : int {
  VelmoraQdxExternalLogicLow = 0,
  VelmoraQdxExternalLogicHigh = 1,
};

// The driver's own error codes (HRESULTs with the severity bit set, hence negative).
// "Not licensed" is numerically above "not installed" although it comes first in the messages.
enum VelmoraQdxErrorCodesEnum : int {
  E_VELMORAQDX_PERSONALITY_NOT_ACTIVE = static_cast<int>(0x80044211u),
  E_VELMORAQDX_PERSONALITY_NOT_INSTALLED = static_cast<int>(0x80044212u),
  E_VELMORAQDX_PERSONALITY_NOT_LICENSED = static_cast<int>(0x80044213u),
  E_VELMORAQDX_IO_GENERAL = static_cast<int>(0x80044214u),
  E_VELMORAQDX_IO_TIMEOUT = static_cast<int>(0x80044215u),
  E_VELMORAQDX_MODEL_NOT_SUPPORTED = static_cast<int>(0x80044216u),
};
