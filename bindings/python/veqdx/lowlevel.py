"""The C interface of libveqdx.so, one to one.

Every function of veqdx.h is a module attribute of the same name (a ctypes function with
argtypes and restype declared), and every constant of the header is here too. Pass strings
as bytes, outputs as ctypes.byref(...) or buffers from ctypes.create_string_buffer().
Return values are the ViStatus as a signed int.

The library is looked up in this order: the environment variable VEQDX_LIBRARY (a full
path), libveqdx.so beside this package, the system loader's libveqdx.so.1.
"""
import ctypes
import os
from ctypes import POINTER, c_char, c_char_p, c_double, c_int16, c_int32, c_uint16, c_uint32

from ._constants import *  # noqa: F401,F403 - the header's constants

ViSession = c_uint32
ViStatus = c_int32
ViInt16 = c_int16
ViInt32 = c_int32
ViUInt32 = c_uint32
ViBoolean = c_uint16
ViReal64 = c_double
ViAttr = c_uint32
ViConstString = c_char_p  # input strings (bytes or None)
ViBuffer = POINTER(c_char)  # output character arrays (create_string_buffer or None)

FIXED_STRING_SIZE = 256  # ErrorMessage[256], TestMessage[256], DriverRev[256], InstrRev[256]


def _load():
    path = os.environ.get("VEQDX_LIBRARY")
    if path:
        return ctypes.CDLL(path)  # named explicitly: no fallback that would hide a mistake
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), "libveqdx.so")
    if os.path.exists(beside):
        return ctypes.CDLL(beside)
    return ctypes.CDLL("libveqdx.so.1")


library = _load()

_S, _STR, _BUF = ViSession, ViConstString, ViBuffer
_I32, _R64, _BOOL = ViInt32, ViReal64, ViBoolean
_P = POINTER

# Argument types of every function, in the order of veqdx.h; all return ViStatus.
PROTOTYPES = {
    "veqdx_init": (_STR, _BOOL, _BOOL, _P(ViSession)),
    "veqdx_InitWithOptions": (_STR, _BOOL, _BOOL, _STR, _P(ViSession)),
    "veqdx_close": (_S,),
    "veqdx_GetError": (_S, _P(ViStatus), _I32, _BUF),
    "veqdx_ClearError": (_S,),
    "veqdx_error_message": (_S, ViStatus, _BUF),
    "veqdx_error_query": (_S, _P(ViInt32), _BUF),
    "veqdx_LockSession": (_S, _P(ViBoolean)),
    "veqdx_UnlockSession": (_S, _P(ViBoolean)),
    "veqdx_reset": (_S,),
    "veqdx_ResetWithDefaults": (_S,),
    "veqdx_Disable": (_S,),
    "veqdx_self_test": (_S, _P(ViInt16), _BUF),
    "veqdx_revision_query": (_S, _BUF, _BUF),
    "veqdx_InvalidateAllAttributes": (_S,),
    "veqdx_ClearInterchangeWarnings": (_S,),
    "veqdx_GetNextInterchangeWarning": (_S, _I32, _BUF),
    "veqdx_ResetInterchangeCheck": (_S,),
    "veqdx_GetNextCoercionRecord": (_S, _I32, _BUF),
    "veqdx_ConfigureOutputEnabled": (_S, _STR, _BOOL),
    "veqdx_ConfigureVoltageLevel": (_S, _STR, _R64),
    "veqdx_ConfigureCurrentLimit": (_S, _STR, _I32, _R64),
    "veqdx_ConfigureOVP": (_S, _STR, _BOOL, _R64),
    "veqdx_ConfigureOutputRange": (_S, _STR, _I32, _R64),
    "veqdx_QueryMaxCurrentLimit": (_S, _STR, _R64, _P(ViReal64)),
    "veqdx_QueryMaxVoltageLevel": (_S, _STR, _R64, _P(ViReal64)),
    "veqdx_QueryOutputState": (_S, _STR, _I32, _P(ViBoolean)),
    "veqdx_ResetOutputProtection": (_S, _STR),
    "veqdx_Measure": (_S, _STR, _I32, _P(ViReal64)),
    "veqdx_GetOutputName": (_S, _I32, _I32, _BUF),
    "veqdx_GetChannelName": (_S, _I32, _I32, _BUF),
    "veqdx_ConfigureTriggerSource": (_S, _STR, _I32),
    "veqdx_ConfigureTriggeredVoltageLevel": (_S, _STR, _R64),
    "veqdx_ConfigureTriggeredCurrentLimit": (_S, _STR, _R64),
    "veqdx_Abort": (_S,),
    "veqdx_Initiate": (_S,),
    "veqdx_SendSoftwareTrigger": (_S,),
    "veqdx_ConfigureUVL": (_S, _STR, _R64),
    "veqdx_ConfigureOCPLimit": (_S, _STR, _R64),
    "veqdx_ConfigurePONState": (_S, _STR, _I32),
    "veqdx_ConfigureProtectionRecovery": (_S, _STR, _I32),
    "veqdx_ConfigureOperationPriority": (_S, _STR, _I32),
    "veqdx_ConfigureBleederEnabled": (_S, _STR, _BOOL),
    "veqdx_ConfigureExternalMonitorRange": (_S, _STR, _I32),
    "veqdx_ConfigureOutputControlEnabled": (_S, _STR, _BOOL),
    "veqdx_ConfigureOutputControlLogic": (_S, _STR, _I32),
    "veqdx_ConfigureAnalogControlRange": (_S, _STR, _I32),
    "veqdx_ConfigureCCControlEnabled": (_S, _STR, _BOOL),
    "veqdx_ConfigureCVControlEnabled": (_S, _STR, _BOOL),
    "veqdx_ConfigureGloabOutputEnabled": (_S, _BOOL),
    "veqdx_ConfigureGlobalVoltageLevel": (_S, _R64),
    "veqdx_ConfigureGlobalCurrentLimit": (_S, _R64),
    "veqdx_SystemWrite": (_S, _STR),
    "veqdx_SystemRead": (_S, _I32, _BUF, _P(ViInt32)),
    "veqdx_SaveState": (_S, _I32),
    "veqdx_RecallState": (_S, _I32),
    "veqdx_Clear": (_S,),
    "veqdx_Preset": (_S,),
    "veqdx_StatusGetRegister": (_S, _STR, _I32, _I32, _P(ViInt32)),
    "veqdx_StatusSetRegister": (_S, _STR, _I32, _I32, _I32),
    "veqdx_GetAttributeViInt32": (_S, _STR, ViAttr, _P(ViInt32)),
    "veqdx_GetAttributeViReal64": (_S, _STR, ViAttr, _P(ViReal64)),
    "veqdx_GetAttributeViBoolean": (_S, _STR, ViAttr, _P(ViBoolean)),
    "veqdx_GetAttributeViSession": (_S, _STR, ViAttr, _P(ViSession)),
    "veqdx_GetAttributeViString": (_S, _STR, ViAttr, _I32, _BUF),
    "veqdx_SetAttributeViInt32": (_S, _STR, ViAttr, _I32),
    "veqdx_SetAttributeViReal64": (_S, _STR, ViAttr, _R64),
    "veqdx_SetAttributeViBoolean": (_S, _STR, ViAttr, _BOOL),
    "veqdx_SetAttributeViSession": (_S, _STR, ViAttr, ViSession),
    "veqdx_SetAttributeViString": (_S, _STR, ViAttr, _STR),
}

for _name, _argtypes in PROTOTYPES.items():
    _function = getattr(library, _name)
    _function.argtypes = list(_argtypes)
    _function.restype = ViStatus
    globals()[_name] = _function
del _name, _argtypes, _function
