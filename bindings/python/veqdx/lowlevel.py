"""The C interface of libveqdx, one to one, and how the library is found.

Every function of ``veqdx.h`` is reachable as ``veqdx.lowlevel.<C name>`` (a ctypes function
with its argument and result types declared); :data:`PROTOTYPES` lists them all. Pass strings
as ``bytes``, outputs as ``ctypes.byref(...)`` or buffers from ``ctypes.create_string_buffer``;
each returns the ViStatus as a signed int. The :class:`veqdx.Session` API is built on these and
is what most programs want.

The library is loaded on first use, looked up in this order:

1. the environment variable ``VEQDX_LIBRARY`` (a path; when set, nothing else is tried, so a
   mistake in it is not hidden by another copy of the library);
2. ``libveqdx.so.1`` or ``libveqdx.so`` next to this package (a wheel may carry it);
3. the library of the installation this package came with (``cmake --install`` records where
   it put the library, relative to the package);
4. the system loader's search path, through ``ctypes.util.find_library("veqdx")``.
"""
from __future__ import annotations

import ctypes
import ctypes.util
import importlib
import os
import threading
from ctypes import POINTER, c_char, c_char_p, c_double, c_int16, c_int32, c_uint16, c_uint32
from pathlib import Path
from typing import Any

__all__ = ["LibraryNotFoundError", "PROTOTYPES", "function", "library", "library_path"]

ViSession = c_uint32
ViStatus = c_int32
ViInt16 = c_int16
ViInt32 = c_int32
ViBoolean = c_uint16
ViReal64 = c_double
ViAttr = c_uint32
ViConstString = c_char_p
ViBuffer = POINTER(c_char)

FIXED_STRING_SIZE = 256
"""Size of the fixed text outputs (error message, self-test message, revisions)."""

_S, _STR, _BUF, _I32, _R64, _BOOL, _P = (ViSession, ViConstString, ViBuffer, ViInt32,
                                         ViReal64, ViBoolean, POINTER)

PROTOTYPES: dict[str, tuple[Any, ...]] = {
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
"""Argument types of every C function, in the order of ``veqdx.h``; all return ViStatus."""

_SONAMES = ("libveqdx.so.1", "libveqdx.so")
_PACKAGE_DIR = Path(__file__).resolve().parent


class LibraryNotFoundError(OSError):
    """libveqdx could not be loaded; the text lists every place that was tried."""


def _installed_library() -> Path | None:
    """The library that ``cmake --install`` put beside this package's installation."""
    try:  # written by cmake --install only
        relative = str(importlib.import_module(f"{__package__}._installed").LIBRARY)
    except ImportError:
        return None
    return (_PACKAGE_DIR / relative).resolve()


def _candidates() -> tuple[list[str], list[str]]:
    """Paths to try in order, and a description of each place looked at (for the error)."""
    explicit = os.environ.get("VEQDX_LIBRARY")
    if explicit:
        return [explicit], [f"VEQDX_LIBRARY={explicit}"]
    tried = [f"{_PACKAGE_DIR}/{name}" for name in _SONAMES]
    paths = [path for path in tried if os.path.exists(path)]
    installed = _installed_library()
    if installed is not None:
        tried.append(str(installed))
        paths += [str(installed)] if installed.exists() else []
    found = ctypes.util.find_library("veqdx")
    tried.append("the system loader's path (ctypes.util.find_library('veqdx'))")
    paths += [found] if found else []
    return paths, tried


def _load() -> tuple[ctypes.CDLL, str]:
    paths, tried = _candidates()
    problems = []
    for path in paths:
        try:
            return ctypes.CDLL(path), path
        except OSError as error:
            problems.append(str(error))
    raise LibraryNotFoundError(
        "cannot load libveqdx.so.1; looked at: " + "; ".join(tried)
        + ("" if not problems else "; loader said: " + "; ".join(problems))
        + ". Fix: set VEQDX_LIBRARY to the library's full path (for a build tree: "
        "VEQDX_LIBRARY=$PWD/build/libveqdx.so), or install the library "
        "(cmake --install build, then ldconfig).")


_lock = threading.Lock()
_loaded: tuple[ctypes.CDLL, str] | None = None


def _library() -> tuple[ctypes.CDLL, str]:
    global _loaded
    with _lock:
        if _loaded is None:
            cdll, path = _load()
            for name, argtypes in PROTOTYPES.items():
                entry = getattr(cdll, name)
                entry.argtypes = list(argtypes)
                entry.restype = ViStatus
            _loaded = cdll, path
        return _loaded


def library() -> ctypes.CDLL:
    """The loaded libveqdx (loaded now if not yet); raises :class:`LibraryNotFoundError`."""
    return _library()[0]


def library_path() -> str:
    """The path or name the library was loaded from."""
    return _library()[1]


def function(name: str) -> Any:
    """The C function ``name`` with its prototype declared (a ctypes function pointer)."""
    if name not in PROTOTYPES:
        raise AttributeError(f"veqdx.h has no function {name!r}")
    return getattr(library(), name)


def __getattr__(name: str) -> Any:
    """``veqdx.lowlevel.veqdx_Measure`` and the like: the C functions by their own names."""
    if name in PROTOTYPES:
        return function(name)
    raise AttributeError(f"module 'veqdx.lowlevel' has no attribute {name!r}")
