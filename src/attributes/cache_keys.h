// The cached properties' keys: "Interface.Property", spelled with the interface that declares
// the property. Each key is built (and hashed) once, at compile time. The comment gives the
// value type the entry holds; a key must always be used with that type.
#pragma once
#include "attributes/key_hash.h"

namespace veqdx::attr::keys {

// IVelmoraQdxOutput: levels and limits (double).
inline constexpr CacheKey VoltageLevel{"IVelmoraQdxOutput.VoltageLevel"};
inline constexpr CacheKey CurrentLimit{"IVelmoraQdxOutput.CurrentLimit"};
inline constexpr CacheKey TriggeredVoltageLevel{"IVelmoraQdxOutput.TriggeredVoltageLevel"};
inline constexpr CacheKey TriggeredCurrentLimit{"IVelmoraQdxOutput.TriggeredCurrentLimit"};
inline constexpr CacheKey OVPLimit{"IVelmoraQdxOutput.OVPLimit"};
inline constexpr CacheKey OCPLimit{"IVelmoraQdxOutput.OCPLimit"};
inline constexpr CacheKey UVL{"IVelmoraQdxOutput.UVL"};
// IVelmoraQdxOutput: VARIANT_BOOL (int16_t).
inline constexpr CacheKey Enabled{"IVelmoraQdxOutput.Enabled"};
inline constexpr CacheKey BleederEnabled{"IVelmoraQdxOutput.BleederEnabled"};
// IVelmoraQdxOutput: enumerations (the enum type named in the comment).
inline constexpr CacheKey CurrentLimitBehavior{"IVelmoraQdxOutput.CurrentLimitBehavior"};  // CurrentLimitBehavior
inline constexpr CacheKey PONState{"IVelmoraQdxOutput.PONState"};                          // PONState
inline constexpr CacheKey TriggerSource{"IVelmoraQdxOutput.TriggerSource"};                // TriggerSource
inline constexpr CacheKey ExternalMonitorRange{"IVelmoraQdxOutput.ExternalMonitorRange"};  // ExternalRange
inline constexpr CacheKey OperationPriority{"IVelmoraQdxOutput.OperationPriority"};        // OperationMode
inline constexpr CacheKey ProtectionRecovery{"IVelmoraQdxOutput.ProtectionRecovery"};      // ProtectionRecovery
// IVelmoraQdxOutputExternalControl.
inline constexpr CacheKey OutputControlEnabled{
    "IVelmoraQdxOutputExternalControl.OutputControlEnabled"};  // VARIANT_BOOL
inline constexpr CacheKey OutputControlLogic{
    "IVelmoraQdxOutputExternalControl.OutputControlLogic"};  // ExternalLogic
inline constexpr CacheKey AlanogControlRange{
    "IVelmoraQdxOutputExternalControl.AlanogControlRange"};  // ExternalRange
inline constexpr CacheKey CCControlEnabled{
    "IVelmoraQdxOutputExternalControl.CCControlEnabled"};  // VARIANT_BOOL
inline constexpr CacheKey CVControlEnabled{
    "IVelmoraQdxOutputExternalControl.CVControlEnabled"};  // VARIANT_BOOL
// Status enable registers.
inline constexpr CacheKey StatusOperationEnableRegister{
    "IVelmoraQdxStatusOperation.EnableRegister"};  // int16_t
inline constexpr CacheKey StatusQuestionableEnableRegister{
    "IVelmoraQdxStatusQuestionable.EnableRegister"};  // int16_t
inline constexpr CacheKey StatusStandardEventEnableRegister{
    "IVelmoraQdxStatusStandardEvent.EnableRegister"};  // uint8_t
inline constexpr CacheKey StatusStatusByteEnableRegister{
    "IVelmoraQdxStatusStatusByte.EnableRegister"};  // uint8_t
inline constexpr CacheKey StatusOperationInstrumentEnableRegister{
    "IVelmoraQdxStatusOperationInstrument.EnableRegister"};  // int32_t
inline constexpr CacheKey StatusQuestionableInstrumentEnableRegister{
    "IVelmoraQdxStatusQuestionableInstrument.EnableRegister"};  // int32_t

}  // namespace veqdx::attr::keys
