cmake_minimum_required(VERSION 3.25)
# Lists the dynamic symbols that libveqdx.so defines and fails on any that is not a veqdx_
# function of the version node VEQDX_1.0, or when one of the functions it must export is
# missing (an application built against 1.0 would no longer start).
find_program(NM nm REQUIRED)
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(names "")
foreach(line IN LISTS lines)
  if(line MATCHES "^[0-9a-fA-F]+ ([A-Za-z]) ([^ @]+)(@*)([^ ]*)")
    set(kind ${CMAKE_MATCH_1})
    set(name ${CMAKE_MATCH_2})
    set(version ${CMAKE_MATCH_4})
    if(kind STREQUAL "A")  # the version node itself
      continue()
    endif()
    if(NOT name MATCHES "^veqdx_")
      message(FATAL_ERROR "libveqdx.so exports ${name}")
    endif()
    if(NOT version STREQUAL "VEQDX_1.0")
      message(FATAL_ERROR "libveqdx.so exports ${name} without the version VEQDX_1.0")
    endif()
    list(APPEND names ${name})
  endif()
endforeach()
# Every function of the C contract.
set(required_functions
  veqdx_init veqdx_InitWithOptions veqdx_close
  veqdx_GetError veqdx_ClearError veqdx_error_message veqdx_error_query
  veqdx_LockSession veqdx_UnlockSession
  veqdx_reset veqdx_ResetWithDefaults veqdx_Disable veqdx_self_test veqdx_revision_query
  veqdx_InvalidateAllAttributes
  veqdx_ClearInterchangeWarnings veqdx_GetNextInterchangeWarning veqdx_ResetInterchangeCheck
  veqdx_GetNextCoercionRecord
  veqdx_ConfigureOutputEnabled veqdx_ConfigureVoltageLevel veqdx_ConfigureCurrentLimit
  veqdx_ConfigureOVP veqdx_ConfigureOutputRange veqdx_QueryMaxCurrentLimit
  veqdx_QueryMaxVoltageLevel veqdx_QueryOutputState veqdx_ResetOutputProtection veqdx_Measure
  veqdx_GetOutputName veqdx_GetChannelName
  veqdx_ConfigureTriggerSource veqdx_ConfigureTriggeredVoltageLevel
  veqdx_ConfigureTriggeredCurrentLimit veqdx_Abort veqdx_Initiate veqdx_SendSoftwareTrigger
  veqdx_ConfigureUVL veqdx_ConfigureOCPLimit veqdx_ConfigurePONState
  veqdx_ConfigureProtectionRecovery veqdx_ConfigureOperationPriority
  veqdx_ConfigureBleederEnabled veqdx_ConfigureExternalMonitorRange
  veqdx_ConfigureOutputControlEnabled veqdx_ConfigureOutputControlLogic
  veqdx_ConfigureAnalogControlRange veqdx_ConfigureCCControlEnabled
  veqdx_ConfigureCVControlEnabled
  veqdx_ConfigureGloabOutputEnabled veqdx_ConfigureGlobalVoltageLevel
  veqdx_ConfigureGlobalCurrentLimit
  veqdx_SystemWrite veqdx_SystemRead veqdx_SaveState veqdx_RecallState veqdx_Clear veqdx_Preset
  veqdx_StatusGetRegister veqdx_StatusSetRegister
  veqdx_GetAttributeViInt32 veqdx_GetAttributeViReal64 veqdx_GetAttributeViBoolean
  veqdx_GetAttributeViSession veqdx_GetAttributeViString
  veqdx_SetAttributeViInt32 veqdx_SetAttributeViReal64 veqdx_SetAttributeViBoolean
  veqdx_SetAttributeViSession veqdx_SetAttributeViString)
foreach(required IN LISTS required_functions)
  if(NOT required IN_LIST names)
    message(FATAL_ERROR "libveqdx.so does not export ${required}")
  endif()
endforeach()
list(LENGTH required_functions required_count)
list(LENGTH names count)
if(NOT count EQUAL required_count)
  message(FATAL_ERROR "libveqdx.so exports ${count} veqdx_ functions, expected ${required_count}")
endif()
message(STATUS "libveqdx.so exports ${count} veqdx_ functions")
