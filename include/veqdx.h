/*
 * veqdx.h: C interface of the VelmoraQdx DC power supply driver (libveqdx.so).
 *
 * Plain C99; usable from C++ (all functions have C linkage). Every function returns a ViStatus:
 * VI_SUCCESS (0), a warning (positive) or an error (negative). A failing call records its status
 * and description on its session, read back with veqdx_GetError(); failures without a usable
 * session are recorded for the calling thread and read with veqdx_GetError(VI_NULL, ...).
 */
#ifndef VEQDX_H
#define VEQDX_H

#include <stdint.h>

/* ---- Symbol visibility -------------------------------------------------------------------- */
/* The library is built with hidden visibility; only what carries VEQDX_EXPORT is exported. */
#if defined(__GNUC__) || defined(__clang__)
#define VEQDX_EXPORT __attribute__((visibility("default")))
#else
#define VEQDX_EXPORT
#endif

/* ---- VISA base types ---------------------------------------------------------------------- */
/* Skipped when a vendor's visatype.h came first, so both headers can be used together. */
#ifndef __VISATYPE_HEADER__
typedef uint32_t ViUInt32;
typedef int32_t ViInt32;
typedef uint16_t ViUInt16;
typedef int16_t ViInt16;
typedef ViUInt32 ViSession;
typedef ViInt32 ViStatus;
typedef ViUInt16 ViBoolean;
typedef double ViReal64;
typedef char ViChar;
typedef const ViChar* ViConstString;
typedef ViChar* ViRsrc;
typedef ViUInt32 ViAttr;
#define VI_TRUE (1)
#define VI_FALSE (0)
#define VI_NULL 0
#define VI_SUCCESS 0
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status codes ------------------------------------------------------------------------- */
/* Errors are 0xBFFA0000 + offset, written as plain signed int constants: they compare equal
 * to a ViStatus without sign conversion and can be used in #if as well as in case labels. */
#define VEQDX_STATUS_ERROR_BASE_ (-1074135040) /* 0xBFFA0000 */
#define VEQDX_STATUS_ERROR_(offset) (VEQDX_STATUS_ERROR_BASE_ + (offset))

#define VEQDX_SUCCESS (0)

/* Errors converted from the driver's object layer (IVI class-compliant conditions). */
#define VEQDX_ERROR_CANNOT_RECOVER VEQDX_STATUS_ERROR_(0x0000)             /* 0xBFFA0000 */
#define VEQDX_ERROR_INSTRUMENT_STATUS VEQDX_STATUS_ERROR_(0x0001)          /* 0xBFFA0001 */
#define VEQDX_ERROR_CANNOT_OPEN_FILE VEQDX_STATUS_ERROR_(0x0002)           /* 0xBFFA0002 */
#define VEQDX_ERROR_READING_FILE VEQDX_STATUS_ERROR_(0x0003)               /* 0xBFFA0003 */
#define VEQDX_ERROR_WRITING_FILE VEQDX_STATUS_ERROR_(0x0004)               /* 0xBFFA0004 */
#define VEQDX_ERROR_INVALID_PATHNAME VEQDX_STATUS_ERROR_(0x000B)           /* 0xBFFA000B */
#define VEQDX_ERROR_ATTR_NOT_WRITABLE VEQDX_STATUS_ERROR_(0x000D)          /* 0xBFFA000D */
#define VEQDX_ERROR_ATTR_NOT_READABLE VEQDX_STATUS_ERROR_(0x000E)          /* 0xBFFA000E */
#define VEQDX_ERROR_INVALID_VALUE VEQDX_STATUS_ERROR_(0x0010)              /* 0xBFFA0010 */
#define VEQDX_ERROR_FUNCTION_NOT_SUPPORTED VEQDX_STATUS_ERROR_(0x0011)     /* 0xBFFA0011 */
#define VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED VEQDX_STATUS_ERROR_(0x0012)    /* 0xBFFA0012 */
#define VEQDX_ERROR_VALUE_NOT_SUPPORTED VEQDX_STATUS_ERROR_(0x0013)        /* 0xBFFA0013 */
#define VEQDX_ERROR_TYPES_DO_NOT_MATCH VEQDX_STATUS_ERROR_(0x0015)         /* 0xBFFA0015 */
#define VEQDX_ERROR_NOT_INITIALIZED VEQDX_STATUS_ERROR_(0x001D)            /* 0xBFFA001D */
#define VEQDX_ERROR_UNKNOWN_CHANNEL_NAME VEQDX_STATUS_ERROR_(0x0020)       /* 0xBFFA0020 */
#define VEQDX_ERROR_TOO_MANY_OPEN_FILES VEQDX_STATUS_ERROR_(0x0023)        /* 0xBFFA0023 */
#define VEQDX_ERROR_CHANNEL_NAME_REQUIRED VEQDX_STATUS_ERROR_(0x0044)      /* 0xBFFA0044 */
#define VEQDX_ERROR_MISSING_OPTION_NAME VEQDX_STATUS_ERROR_(0x0049)        /* 0xBFFA0049 */
#define VEQDX_ERROR_MISSING_OPTION_VALUE VEQDX_STATUS_ERROR_(0x004A)       /* 0xBFFA004A */
#define VEQDX_ERROR_BAD_OPTION_NAME VEQDX_STATUS_ERROR_(0x004B)            /* 0xBFFA004B */
#define VEQDX_ERROR_BAD_OPTION_VALUE VEQDX_STATUS_ERROR_(0x004C)           /* 0xBFFA004C */
#define VEQDX_ERROR_OUT_OF_MEMORY VEQDX_STATUS_ERROR_(0x0056)              /* 0xBFFA0056 */
#define VEQDX_ERROR_OPERATION_PENDING VEQDX_STATUS_ERROR_(0x0057)          /* 0xBFFA0057 */
#define VEQDX_ERROR_NULL_POINTER VEQDX_STATUS_ERROR_(0x0058)               /* 0xBFFA0058 */
#define VEQDX_ERROR_UNEXPECTED_RESPONSE VEQDX_STATUS_ERROR_(0x0059)        /* 0xBFFA0059 */
#define VEQDX_ERROR_FILE_NOT_FOUND VEQDX_STATUS_ERROR_(0x005B)             /* 0xBFFA005B */
#define VEQDX_ERROR_INVALID_FILE_FORMAT VEQDX_STATUS_ERROR_(0x005C)        /* 0xBFFA005C */
#define VEQDX_ERROR_STATUS_NOT_AVAILABLE VEQDX_STATUS_ERROR_(0x005D)       /* 0xBFFA005D */
#define VEQDX_ERROR_ID_QUERY_FAILED VEQDX_STATUS_ERROR_(0x005E)            /* 0xBFFA005E */
#define VEQDX_ERROR_RESET_FAILED VEQDX_STATUS_ERROR_(0x005F)               /* 0xBFFA005F */
#define VEQDX_ERROR_RESOURCE_UNKNOWN VEQDX_STATUS_ERROR_(0x0060)           /* 0xBFFA0060 */
#define VEQDX_ERROR_ALREADY_INITIALIZED VEQDX_STATUS_ERROR_(0x0061)        /* 0xBFFA0061 */
#define VEQDX_ERROR_SIMULATION_STATE_UNSUPPORTED VEQDX_STATUS_ERROR_(0x0062) /* 0xBFFA0062 */
#define VEQDX_ERROR_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR VEQDX_STATUS_ERROR_(0x0063) /* 0xBFFA0063 */
#define VEQDX_ERROR_INVALID_RANGE_IN_SELECTOR VEQDX_STATUS_ERROR_(0x0064)  /* 0xBFFA0064 */
#define VEQDX_ERROR_UNKNOWN_NAME_IN_SELECTOR VEQDX_STATUS_ERROR_(0x0065)   /* 0xBFFA0065 */
#define VEQDX_ERROR_BADLY_FORMED_SELECTOR VEQDX_STATUS_ERROR_(0x0066)      /* 0xBFFA0066 */
#define VEQDX_ERROR_UNKNOWN_PHYSICAL_IDENTIFIER VEQDX_STATUS_ERROR_(0x0067) /* 0xBFFA0067 */
#define VEQDX_ERROR_INVALID_SESSION_HANDLE VEQDX_STATUS_ERROR_(0x1190)     /* 0xBFFA1190 */
/* DC power class error. */
#define VEQDX_ERROR_TRIGGER_NOT_SOFTWARE VEQDX_STATUS_ERROR_(0x1001)       /* 0xBFFA1001 */
/* The driver's own errors. */
#define VEQDX_ERROR_IO_GENERAL VEQDX_STATUS_ERROR_(0x4214)                 /* 0xBFFA4214 */
#define VEQDX_ERROR_IO_TIMEOUT VEQDX_STATUS_ERROR_(0x4215)                 /* 0xBFFA4215 */
#define VEQDX_ERROR_MODEL_NOT_SUPPORTED VEQDX_STATUS_ERROR_(0x4216)        /* 0xBFFA4216 */
#define VEQDX_ERROR_PERSONALITY_NOT_ACTIVE VEQDX_STATUS_ERROR_(0x4211)     /* 0xBFFA4211 */
#define VEQDX_ERROR_PERSONALITY_NOT_INSTALLED VEQDX_STATUS_ERROR_(0x4212)  /* 0xBFFA4212 */
#define VEQDX_ERROR_PERSONALITY_NOT_LICENSED VEQDX_STATUS_ERROR_(0x4213)   /* 0xBFFA4213 */
/* Only from veqdx_StatusGetRegister / veqdx_StatusSetRegister. */
#define VEQDX_ERROR_INVALID_REGISTER VEQDX_STATUS_ERROR_(0x4217)           /* 0xBFFA4217 */
#define VEQDX_ERROR_INVALID_SUB_REGISTER VEQDX_STATUS_ERROR_(0x4218)       /* 0xBFFA4218 */

/* Warnings: the call did its work but something could not be done. */
#define VEQDX_WARN_NSUP_ID_QUERY (0x3FFA0065)
#define VEQDX_WARN_NSUP_RESET (0x3FFA0066)
#define VEQDX_WARN_NSUP_SELF_TEST (0x3FFA0067)
#define VEQDX_WARN_NSUP_ERROR_QUERY (0x3FFA0068)
#define VEQDX_WARN_NSUP_REV_QUERY (0x3FFA0069)
/* veqdx_error_message: the status has no message. */
#define VEQDX_WARN_UNKNOWN_STATUS (0x3FFF0085)

/* The same codes under the names of the IVI shared components, for code written against them.
 * Each is skipped when an IVI header already defined it. */
#ifndef IVI_ERROR_INVALID_SESSION_HANDLE
#define IVI_ERROR_INVALID_SESSION_HANDLE VEQDX_ERROR_INVALID_SESSION_HANDLE
#endif
#ifndef IVI_ERROR_CANNOT_RECOVER
#define IVI_ERROR_CANNOT_RECOVER VEQDX_ERROR_CANNOT_RECOVER
#endif
#ifndef IVI_ERROR_ATTRIBUTE_NOT_SUPPORTED
#define IVI_ERROR_ATTRIBUTE_NOT_SUPPORTED VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED
#endif
#ifndef IVI_ERROR_TYPES_DO_NOT_MATCH
#define IVI_ERROR_TYPES_DO_NOT_MATCH VEQDX_ERROR_TYPES_DO_NOT_MATCH
#endif
#ifndef IVI_ERROR_ATTR_NOT_WRITABLE
#define IVI_ERROR_ATTR_NOT_WRITABLE VEQDX_ERROR_ATTR_NOT_WRITABLE
#endif
#ifndef IVI_ERROR_ATTR_NOT_READABLE
#define IVI_ERROR_ATTR_NOT_READABLE VEQDX_ERROR_ATTR_NOT_READABLE
#endif
#ifndef IVI_ERROR_INVALID_VALUE
#define IVI_ERROR_INVALID_VALUE VEQDX_ERROR_INVALID_VALUE
#endif
#ifndef IVI_ERROR_NULL_POINTER
#define IVI_ERROR_NULL_POINTER VEQDX_ERROR_NULL_POINTER
#endif
#ifndef IVI_ERROR_VALUE_NOT_SUPPORTED
#define IVI_ERROR_VALUE_NOT_SUPPORTED VEQDX_ERROR_VALUE_NOT_SUPPORTED
#endif
#ifndef IVI_ERROR_UNKNOWN_CHANNEL_NAME
#define IVI_ERROR_UNKNOWN_CHANNEL_NAME VEQDX_ERROR_UNKNOWN_CHANNEL_NAME
#endif
#ifndef IVI_ERROR_CHANNEL_NAME_REQUIRED
#define IVI_ERROR_CHANNEL_NAME_REQUIRED VEQDX_ERROR_CHANNEL_NAME_REQUIRED
#endif
#ifndef VI_WARN_UNKNOWN_STATUS
#define VI_WARN_UNKNOWN_STATUS VEQDX_WARN_UNKNOWN_STATUS
#endif

/* ---- Attribute identifiers ---------------------------------------------------------------- */
/* Inherent attributes: session settings and identity (channel selector ignored). */
#define VEQDX_ATTR_RANGE_CHECK 1050002L                      /* ViBoolean, read/write */
#define VEQDX_ATTR_QUERY_INSTRUMENT_STATUS 1050003L          /* ViBoolean, read/write */
#define VEQDX_ATTR_CACHE 1050004L                            /* ViBoolean, read/write */
#define VEQDX_ATTR_SIMULATE 1050005L                         /* ViBoolean, read/write */
#define VEQDX_ATTR_RECORD_COERCIONS 1050006L                 /* ViBoolean, read/write */
#define VEQDX_ATTR_DRIVER_SETUP 1050007L                     /* ViString, read only */
#define VEQDX_ATTR_INTERCHANGE_CHECK 1050021L                /* ViBoolean, read/write */
#define VEQDX_ATTR_CHANNEL_COUNT 1050203L                    /* ViInt32, read only: only
                                                                veqdx_GetAttributeViInt32 accepts
                                                                it and answers the output count */
#define VEQDX_ATTR_SPECIFIC_DRIVER_PREFIX 1050302L           /* ViString, read only */
#define VEQDX_ATTR_IO_RESOURCE_DESCRIPTOR 1050304L           /* ViString, read only */
#define VEQDX_ATTR_LOGICAL_NAME 1050305L                     /* ViString, read only */
#define VEQDX_ATTR_SUPPORTED_INSTRUMENT_MODELS 1050327L      /* ViString, read only */
#define VEQDX_ATTR_GROUP_CAPABILITIES 1050401L               /* ViString, read only */
#define VEQDX_ATTR_INSTRUMENT_FIRMWARE_REVISION 1050510L     /* ViString, read only */
#define VEQDX_ATTR_INSTRUMENT_MANUFACTURER 1050511L          /* ViString, read only */
#define VEQDX_ATTR_INSTRUMENT_MODEL 1050512L                 /* ViString, read only */
#define VEQDX_ATTR_SPECIFIC_DRIVER_VENDOR 1050513L           /* ViString, read only */
#define VEQDX_ATTR_SPECIFIC_DRIVER_DESCRIPTION 1050514L      /* ViString, read only */
#define VEQDX_ATTR_SPECIFIC_DRIVER_CLASS_SPEC_MAJOR_VERSION 1050515L /* ViInt32, read only */
#define VEQDX_ATTR_SPECIFIC_DRIVER_CLASS_SPEC_MINOR_VERSION 1050516L /* ViInt32, read only */
#define VEQDX_ATTR_SPECIFIC_DRIVER_REVISION 1050551L         /* ViString, read only */

/* DC power class attributes of one output (channel selector names the output). */
#define VEQDX_ATTR_VOLTAGE_LEVEL 1250001L                    /* ViReal64, read/write */
#define VEQDX_ATTR_OVP_ENABLED 1250002L                      /* ViBoolean, read/write */
#define VEQDX_ATTR_OVP_LIMIT 1250003L                        /* ViReal64, read/write */
#define VEQDX_ATTR_CURRENT_LIMIT_BEHAVIOR 1250004L           /* ViInt32, read/write */
#define VEQDX_ATTR_CURRENT_LIMIT 1250005L                    /* ViReal64, read/write */
#define VEQDX_ATTR_OUTPUT_ENABLED 1250006L                   /* ViBoolean, read/write */
#define VEQDX_ATTR_TRIGGER_SOURCE 1250101L                   /* ViInt32, read/write */
#define VEQDX_ATTR_TRIGGERED_CURRENT_LIMIT 1250102L          /* ViReal64, read/write */
#define VEQDX_ATTR_TRIGGERED_VOLTAGE_LEVEL 1250103L          /* ViReal64, read/write */
#define VEQDX_ATTR_OUTPUT_COUNT 1250203L                     /* ViInt32, read only */

/* Instrument-specific attributes of one output. */
#define VEQDX_ATTR_OUTPUT_CONTROL_LOGIC 1150001L             /* ViInt32 (EXTERNAL_LOGIC), r/w */
#define VEQDX_ATTR_OUTPUT_CONTROL_ENABLED 1150002L           /* ViBoolean, read/write */
#define VEQDX_ATTR_CC_CONTROL_ENABLED 1150003L               /* ViBoolean, read/write */
#define VEQDX_ATTR_CV_CONTROL_ENABLED 1150004L               /* ViBoolean, read/write */
#define VEQDX_ATTR_ANALOG_CONTROL_RANGE 1150005L             /* ViInt32 (EXTERNAL_RANGE), r/w */
#define VEQDX_ATTR_ALANOG_CONTROL_RANGE VEQDX_ATTR_ANALOG_CONTROL_RANGE /* object-model spelling */
#define VEQDX_ATTR_UVL 1150006L                              /* ViReal64, read/write */
#define VEQDX_ATTR_PON_STATE 1150007L                        /* ViInt32 (PON_STATE), r/w */
#define VEQDX_ATTR_BLEEDER_ENABLED 1150008L                  /* ViBoolean, read/write */
#define VEQDX_ATTR_PROTECTION_RECOVERY 1150009L              /* ViInt32 (PROTECTION_RECOVERY) */
#define VEQDX_ATTR_OPERATION_PRIORITY 1150010L               /* ViInt32 (OPERATION_MODE), r/w */
#define VEQDX_ATTR_EXTERNAL_MONITOR_RANGE 1150011L           /* ViInt32 (EXTERNAL_RANGE), r/w */
#define VEQDX_ATTR_OCP_LIMIT 1150012L                        /* ViReal64, read/write */

/* Global settings for every output at once (write only, selector ignored). */
#define VEQDX_ATTR_GLOBAL_OUTPUT_ENABLED 1150025L            /* ViBoolean, write only */
#define VEQDX_ATTR_GLOBAL_VOLTAGE_LEVEL 1150026L             /* ViReal64, write only */
#define VEQDX_ATTR_GLOBAL_CURRENT_LIMIT 1150027L             /* ViReal64, write only */

/* ---- Enumeration values ------------------------------------------------------------------- */
/* veqdx_Measure MeasurementType. */
#define VEQDX_VAL_MEASURE_CURRENT 0
#define VEQDX_VAL_MEASURE_VOLTAGE 1

/* veqdx_QueryOutputState OutputState: 0..4 class states, 20..28 the instrument's own. */
#define VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE 0
#define VEQDX_VAL_OUTPUT_CONSTANT_CURRENT 1
#define VEQDX_VAL_OUTPUT_OVER_VOLTAGE 2
#define VEQDX_VAL_OUTPUT_OVER_CURRENT 3
#define VEQDX_VAL_OUTPUT_UNREGULATED 4
#define VEQDX_VAL_OUTPUT_AC_POWER_FAILURE 20
#define VEQDX_VAL_OUTPUT_POWER_LIMIT 21
#define VEQDX_VAL_OUTPUT_OVER_TEMPERATURE 22
#define VEQDX_VAL_OUTPUT_SHUTDOWN_ALARM 23
#define VEQDX_VAL_OUTPUT_SENSING_ALARM 24
#define VEQDX_VAL_OUTPUT_FAN_ALARM 25
#define VEQDX_VAL_OUTPUT_OUTPUT_INHIBITED 26
#define VEQDX_VAL_OUTPUT_I2C_ALARM 27
#define VEQDX_VAL_OUTPUT_OVER_VOLTAGE2 28

/* Current limit behaviour (veqdx_ConfigureCurrentLimit, VEQDX_ATTR_CURRENT_LIMIT_BEHAVIOR). */
#define VEQDX_VAL_CURRENT_REGULATE 0
#define VEQDX_VAL_CURRENT_TRIP 1

/* Trigger source (veqdx_ConfigureTriggerSource, VEQDX_ATTR_TRIGGER_SOURCE); 1 is no member. */
#define VEQDX_VAL_TRIG_IMMEDIATE 0
#define VEQDX_VAL_TRIG_SW_TRIG_FUNC 2

/* veqdx_ConfigureOutputRange RangeType. */
#define VEQDX_VAL_RANGE_CURRENT 0
#define VEQDX_VAL_RANGE_VOLTAGE 1

/* Power-on state (veqdx_ConfigurePONState, VEQDX_ATTR_PON_STATE). */
#define VEQDX_VAL_PON_STATE_SAFE 0
#define VEQDX_VAL_PON_STATE_AUTO 1
#define VEQDX_VAL_PON_STATE_FORCE 2

/* Protection recovery (veqdx_ConfigureProtectionRecovery). */
#define VEQDX_VAL_PROTECTION_RECOVERY_SAFE 0
#define VEQDX_VAL_PROTECTION_RECOVERY_AUTO 1

/* Operation priority (veqdx_ConfigureOperationPriority). */
#define VEQDX_VAL_OPERATION_MODE_CC 0
#define VEQDX_VAL_OPERATION_MODE_CV 1

/* External control logic (veqdx_ConfigureOutputControlLogic). */
#define VEQDX_VAL_EXTERNAL_LOGIC_LOW 0
#define VEQDX_VAL_EXTERNAL_LOGIC_HIGH 1

/* External ranges: 5 V (LOW) or 10 V (HIGH) full scale (analog control, monitor range). */
#define VEQDX_VAL_EXTERNAL_RANGE_LOW 0
#define VEQDX_VAL_EXTERNAL_RANGE_HIGH 1

/* Setting memories A, B and C (veqdx_SaveState, veqdx_RecallState). */
#define VEQDX_VAL_MEMORY_A 1
#define VEQDX_VAL_MEMORY_B 2
#define VEQDX_VAL_MEMORY_C 3

/* veqdx_StatusGetRegister / veqdx_StatusSetRegister Register. With an output selector only
 * OPERATION and QUESTIONABLE exist (the output's summary registers). */
#define VEQDX_VAL_REGISTER_OPERATION 0
#define VEQDX_VAL_REGISTER_QUESTIONABLE 1
#define VEQDX_VAL_REGISTER_OPERATION_INSTRUMENT 2
#define VEQDX_VAL_REGISTER_QUESTIONABLE_INSTRUMENT 3
#define VEQDX_VAL_REGISTER_STANDARD_EVENT 4
#define VEQDX_VAL_REGISTER_STATUS_BYTE 5
/* SubRegister; only ENABLE can be written. */
#define VEQDX_VAL_SUB_REGISTER_CONDITION 0
#define VEQDX_VAL_SUB_REGISTER_ENABLE 1
#define VEQDX_VAL_SUB_REGISTER_EVENT 2

/* ---- Functions ---------------------------------------------------------------------------- */
/* Session. ResourceName is declared const so that string literals can be passed from C++;
 * a ViRsrc argument converts to it. */
VEQDX_EXPORT ViStatus veqdx_init(ViConstString ResourceName, ViBoolean IdQuery, ViBoolean Reset,
                                 ViSession* Vi);
VEQDX_EXPORT ViStatus veqdx_InitWithOptions(ViConstString ResourceName, ViBoolean IdQuery,
                                            ViBoolean Reset, ViConstString OptionsString,
                                            ViSession* Vi);
VEQDX_EXPORT ViStatus veqdx_close(ViSession Vi);

/* Errors. veqdx_GetError(VI_NULL, ...) reads the calling thread's record. */
VEQDX_EXPORT ViStatus veqdx_GetError(ViSession Vi, ViStatus* ErrorCode,
                                     ViInt32 ErrorDescriptionBufferSize,
                                     ViChar ErrorDescription[]);
VEQDX_EXPORT ViStatus veqdx_ClearError(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_error_message(ViSession Vi, ViStatus ErrorCode,
                                          ViChar ErrorMessage[256]);
VEQDX_EXPORT ViStatus veqdx_error_query(ViSession Vi, ViInt32* ErrorCode,
                                        ViChar ErrorMessage[256]);

/* Explicit session lock (recursive; CallerHasLock may be VI_NULL). */
VEQDX_EXPORT ViStatus veqdx_LockSession(ViSession Vi, ViBoolean* CallerHasLock);
VEQDX_EXPORT ViStatus veqdx_UnlockSession(ViSession Vi, ViBoolean* CallerHasLock);

/* Utility. */
VEQDX_EXPORT ViStatus veqdx_reset(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_ResetWithDefaults(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_Disable(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_self_test(ViSession Vi, ViInt16* TestResult,
                                      ViChar TestMessage[256]);
VEQDX_EXPORT ViStatus veqdx_revision_query(ViSession Vi, ViChar DriverRev[256],
                                           ViChar InstrRev[256]);
VEQDX_EXPORT ViStatus veqdx_InvalidateAllAttributes(ViSession Vi);

/* Interchange checking and coercion records. */
VEQDX_EXPORT ViStatus veqdx_ClearInterchangeWarnings(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_GetNextInterchangeWarning(ViSession Vi,
                                                      ViInt32 InterchangeWarningBufferSize,
                                                      ViChar InterchangeWarning[]);
VEQDX_EXPORT ViStatus veqdx_ResetInterchangeCheck(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_GetNextCoercionRecord(ViSession Vi, ViInt32 CoercionRecordBufferSize,
                                                  ViChar CoercionRecord[]);

/* Outputs; ChannelName selects one output, a range or a list ("Output1-Output3"). */
VEQDX_EXPORT ViStatus veqdx_ConfigureOutputEnabled(ViSession Vi, ViConstString ChannelName,
                                                   ViBoolean Enabled);
VEQDX_EXPORT ViStatus veqdx_ConfigureVoltageLevel(ViSession Vi, ViConstString ChannelName,
                                                  ViReal64 Level);
VEQDX_EXPORT ViStatus veqdx_ConfigureCurrentLimit(ViSession Vi, ViConstString ChannelName,
                                                  ViInt32 Behavior, ViReal64 Limit);
VEQDX_EXPORT ViStatus veqdx_ConfigureOVP(ViSession Vi, ViConstString ChannelName,
                                         ViBoolean Enabled, ViReal64 Limit);
VEQDX_EXPORT ViStatus veqdx_ConfigureOutputRange(ViSession Vi, ViConstString ChannelName,
                                                 ViInt32 RangeType, ViReal64 Range);
VEQDX_EXPORT ViStatus veqdx_QueryMaxCurrentLimit(ViSession Vi, ViConstString ChannelName,
                                                 ViReal64 VoltageLevel,
                                                 ViReal64* MaxCurrentLimit);
VEQDX_EXPORT ViStatus veqdx_QueryMaxVoltageLevel(ViSession Vi, ViConstString ChannelName,
                                                 ViReal64 CurrentLimit,
                                                 ViReal64* MaxVoltageLevel);
VEQDX_EXPORT ViStatus veqdx_QueryOutputState(ViSession Vi, ViConstString ChannelName,
                                             ViInt32 OutputState, ViBoolean* InState);
VEQDX_EXPORT ViStatus veqdx_ResetOutputProtection(ViSession Vi, ViConstString ChannelName);
VEQDX_EXPORT ViStatus veqdx_Measure(ViSession Vi, ViConstString ChannelName,
                                    ViInt32 MeasurementType, ViReal64* Measurement);

/* Output names by one-based index, in discovery order. */
VEQDX_EXPORT ViStatus veqdx_GetOutputName(ViSession Vi, ViInt32 Index, ViInt32 NameBufferSize,
                                          ViChar Name[]);
VEQDX_EXPORT ViStatus veqdx_GetChannelName(ViSession Vi, ViInt32 Index, ViInt32 NameBufferSize,
                                           ViChar Name[]);

/* Trigger. */
VEQDX_EXPORT ViStatus veqdx_ConfigureTriggerSource(ViSession Vi, ViConstString ChannelName,
                                                   ViInt32 Source);
VEQDX_EXPORT ViStatus veqdx_ConfigureTriggeredVoltageLevel(ViSession Vi,
                                                           ViConstString ChannelName,
                                                           ViReal64 Level);
VEQDX_EXPORT ViStatus veqdx_ConfigureTriggeredCurrentLimit(ViSession Vi,
                                                           ViConstString ChannelName,
                                                           ViReal64 Limit);
VEQDX_EXPORT ViStatus veqdx_Abort(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_Initiate(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_SendSoftwareTrigger(ViSession Vi);

/* Instrument-specific output settings. */
VEQDX_EXPORT ViStatus veqdx_ConfigureUVL(ViSession Vi, ViConstString ChannelName, ViReal64 UVL);
VEQDX_EXPORT ViStatus veqdx_ConfigureOCPLimit(ViSession Vi, ViConstString ChannelName,
                                              ViReal64 OCPLimit);
VEQDX_EXPORT ViStatus veqdx_ConfigurePONState(ViSession Vi, ViConstString ChannelName,
                                              ViInt32 PONState);
VEQDX_EXPORT ViStatus veqdx_ConfigureProtectionRecovery(ViSession Vi, ViConstString ChannelName,
                                                        ViInt32 Recovery);
VEQDX_EXPORT ViStatus veqdx_ConfigureOperationPriority(ViSession Vi, ViConstString ChannelName,
                                                       ViInt32 Priority);
VEQDX_EXPORT ViStatus veqdx_ConfigureBleederEnabled(ViSession Vi, ViConstString ChannelName,
                                                    ViBoolean Enabled);
VEQDX_EXPORT ViStatus veqdx_ConfigureExternalMonitorRange(ViSession Vi,
                                                          ViConstString ChannelName,
                                                          ViInt32 Range);
VEQDX_EXPORT ViStatus veqdx_ConfigureOutputControlEnabled(ViSession Vi,
                                                          ViConstString ChannelName,
                                                          ViBoolean Enabled);
VEQDX_EXPORT ViStatus veqdx_ConfigureOutputControlLogic(ViSession Vi, ViConstString ChannelName,
                                                        ViInt32 Logic);
VEQDX_EXPORT ViStatus veqdx_ConfigureAnalogControlRange(ViSession Vi, ViConstString ChannelName,
                                                        ViInt32 Range);
VEQDX_EXPORT ViStatus veqdx_ConfigureCCControlEnabled(ViSession Vi, ViConstString ChannelName,
                                                      ViBoolean Enabled);
VEQDX_EXPORT ViStatus veqdx_ConfigureCVControlEnabled(ViSession Vi, ViConstString ChannelName,
                                                      ViBoolean Enabled);

/* Global settings for all outputs. The spelling "Gloab" is the published name. */
VEQDX_EXPORT ViStatus veqdx_ConfigureGloabOutputEnabled(ViSession Vi, ViBoolean Enabled);
VEQDX_EXPORT ViStatus veqdx_ConfigureGlobalVoltageLevel(ViSession Vi, ViReal64 VoltageLevel);
VEQDX_EXPORT ViStatus veqdx_ConfigureGlobalCurrentLimit(ViSession Vi, ViReal64 CurrentLimit);

/* System, memories and status registers. */
VEQDX_EXPORT ViStatus veqdx_SystemWrite(ViSession Vi, ViConstString Command);
VEQDX_EXPORT ViStatus veqdx_SystemRead(ViSession Vi, ViInt32 BufferSize, ViChar Buffer[],
                                       ViInt32* ActualCount);
VEQDX_EXPORT ViStatus veqdx_SaveState(ViSession Vi, ViInt32 Memory);
VEQDX_EXPORT ViStatus veqdx_RecallState(ViSession Vi, ViInt32 Memory);
VEQDX_EXPORT ViStatus veqdx_Clear(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_Preset(ViSession Vi);
VEQDX_EXPORT ViStatus veqdx_StatusGetRegister(ViSession Vi, ViConstString ChannelName,
                                              ViInt32 Register, ViInt32 SubRegister,
                                              ViInt32* Value);
VEQDX_EXPORT ViStatus veqdx_StatusSetRegister(ViSession Vi, ViConstString ChannelName,
                                              ViInt32 Register, ViInt32 SubRegister,
                                              ViInt32 Value);

/* Typed attribute access (VEQDX_ATTR_...). */
VEQDX_EXPORT ViStatus veqdx_GetAttributeViInt32(ViSession Vi, ViConstString RepCapIdentifier,
                                                ViAttr AttributeID, ViInt32* AttributeValue);
VEQDX_EXPORT ViStatus veqdx_GetAttributeViReal64(ViSession Vi, ViConstString RepCapIdentifier,
                                                 ViAttr AttributeID, ViReal64* AttributeValue);
VEQDX_EXPORT ViStatus veqdx_GetAttributeViBoolean(ViSession Vi, ViConstString RepCapIdentifier,
                                                  ViAttr AttributeID,
                                                  ViBoolean* AttributeValue);
VEQDX_EXPORT ViStatus veqdx_GetAttributeViSession(ViSession Vi, ViConstString RepCapIdentifier,
                                                  ViAttr AttributeID,
                                                  ViSession* AttributeValue);
VEQDX_EXPORT ViStatus veqdx_GetAttributeViString(ViSession Vi, ViConstString RepCapIdentifier,
                                                 ViAttr AttributeID,
                                                 ViInt32 AttributeValueBufferSize,
                                                 ViChar AttributeValue[]);
VEQDX_EXPORT ViStatus veqdx_SetAttributeViInt32(ViSession Vi, ViConstString RepCapIdentifier,
                                                ViAttr AttributeID, ViInt32 AttributeValue);
VEQDX_EXPORT ViStatus veqdx_SetAttributeViReal64(ViSession Vi, ViConstString RepCapIdentifier,
                                                 ViAttr AttributeID, ViReal64 AttributeValue);
VEQDX_EXPORT ViStatus veqdx_SetAttributeViBoolean(ViSession Vi, ViConstString RepCapIdentifier,
                                                  ViAttr AttributeID, ViBoolean AttributeValue);
VEQDX_EXPORT ViStatus veqdx_SetAttributeViSession(ViSession Vi, ViConstString RepCapIdentifier,
                                                  ViAttr AttributeID, ViSession AttributeValue);
VEQDX_EXPORT ViStatus veqdx_SetAttributeViString(ViSession Vi, ViConstString RepCapIdentifier,
                                                 ViAttr AttributeID,
                                                 ViConstString AttributeValue);

#ifdef __cplusplus
}
#endif

#endif /* VEQDX_H */
