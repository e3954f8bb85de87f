// The public headers agree with each other and with the driver core's own declarations.
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

// Included together on purpose: the public headers must not clash with the core's.
#include "base/error_reporter.h"
#include "base/hresult.h"
#include "veqdx.h"
#include "veqdx/enums.hpp"
#include "veqdx/ivi_interfaces.hpp"
#include "veqdx/status.hpp"

namespace veqdx {
namespace {

TEST(PublicHeaders, CEnumerationValuesMatchTheObjectModel) {
  const std::pair<std::int32_t, long> rows[] = {
      {VelmoraQdxMeasurementCurrent, VEQDX_VAL_MEASURE_CURRENT},
      {VelmoraQdxMeasurementVoltage, VEQDX_VAL_MEASURE_VOLTAGE},
      {VelmoraQdxOutputStateConstantVoltage, VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE},
      {VelmoraQdxOutputStateConstantCurrent, VEQDX_VAL_OUTPUT_CONSTANT_CURRENT},
      {VelmoraQdxOutputStateOverVoltage, VEQDX_VAL_OUTPUT_OVER_VOLTAGE},
      {VelmoraQdxOutputStateOverCurrent, VEQDX_VAL_OUTPUT_OVER_CURRENT},
      {VelmoraQdxOutputStateUnregulated, VEQDX_VAL_OUTPUT_UNREGULATED},
      {VelmoraQdxOutputStateACPowerFailure, VEQDX_VAL_OUTPUT_AC_POWER_FAILURE},
      {VelmoraQdxOutputStatePowerLimit, VEQDX_VAL_OUTPUT_POWER_LIMIT},
      {VelmoraQdxOutputStateOverTemperature, VEQDX_VAL_OUTPUT_OVER_TEMPERATURE},
      {VelmoraQdxOutputStateShutdownAlarm, VEQDX_VAL_OUTPUT_SHUTDOWN_ALARM},
      {VelmoraQdxOutputStateSensingAlarm, VEQDX_VAL_OUTPUT_SENSING_ALARM},
      {VelmoraQdxOutputStateFanAlarm, VEQDX_VAL_OUTPUT_FAN_ALARM},
      {VelmoraQdxOutputStateOutputInhibited, VEQDX_VAL_OUTPUT_OUTPUT_INHIBITED},
      {VelmoraQdxOutputStateI2CAlarm, VEQDX_VAL_OUTPUT_I2C_ALARM},
      {VelmoraQdxOutputStateOverVoltage2, VEQDX_VAL_OUTPUT_OVER_VOLTAGE2},
      {VelmoraQdxCurrentLimitRegulate, VEQDX_VAL_CURRENT_REGULATE},
      {VelmoraQdxCurrentLimitTrip, VEQDX_VAL_CURRENT_TRIP},
      {VelmoraQdxTriggerSourceImmediate, VEQDX_VAL_TRIG_IMMEDIATE},
      {VelmoraQdxTriggerSourceSwTrigFunc, VEQDX_VAL_TRIG_SW_TRIG_FUNC},
      {VelmoraQdxPONStateSafe, VEQDX_VAL_PON_STATE_SAFE},
      {VelmoraQdxPONStateAuto, VEQDX_VAL_PON_STATE_AUTO},
      {VelmoraQdxPONStateForce, VEQDX_VAL_PON_STATE_FORCE},
      {VelmoraQdxProtectionRecoverySafe, VEQDX_VAL_PROTECTION_RECOVERY_SAFE},
      {VelmoraQdxProtectionRecoveryAuto, VEQDX_VAL_PROTECTION_RECOVERY_AUTO},
      {VelmoraQdxOperationModeCC, VEQDX_VAL_OPERATION_MODE_CC},
      {VelmoraQdxOperationModeCV, VEQDX_VAL_OPERATION_MODE_CV},
      {VelmoraQdxExternalLogicLow, VEQDX_VAL_EXTERNAL_LOGIC_LOW},
      {VelmoraQdxExternalLogicHigh, VEQDX_VAL_EXTERNAL_LOGIC_HIGH},
      {VelmoraQdxExternalRangeLow, VEQDX_VAL_EXTERNAL_RANGE_LOW},
      {VelmoraQdxExternalRangeHigh, VEQDX_VAL_EXTERNAL_RANGE_HIGH},
      {IviDCPwrRangeCurrent, VEQDX_VAL_RANGE_CURRENT},
      {IviDCPwrRangeVoltage, VEQDX_VAL_RANGE_VOLTAGE},
  };
  for (const auto& [objectModel, c] : rows) EXPECT_EQ(objectModel, c);
  static_assert(sizeof(VelmoraQdxOutputStateEnum) == 4 && sizeof(VelmoraQdxPONStateEnum) == 4);
}

}  // namespace
}  // namespace veqdx
