"""Exceptions and warnings raised for the driver's status codes.

Every failed call raises :class:`VeqdxError` or one of its subclasses, which are also the
built-in exception a Python programmer would catch for that kind of failure. A call that
succeeds with a warning status (a positive ViStatus) issues a :class:`VeqdxWarning` through
the :mod:`warnings` module instead, so it can be filtered, logged or turned into an error.
"""
from __future__ import annotations

import warnings
from ctypes import byref, create_string_buffer
from typing import Any

from . import _constants as c
from . import lowlevel as ll

__all__ = ["VeqdxError", "VeqdxTimeoutError", "VeqdxIOError", "InvalidValueError",
           "UnknownChannelError", "VeqdxWarning", "error_message", "last_error"]

_ENCODING, _ERRORS = "utf-8", "surrogateescape"  # any byte from the instrument survives


def clean(text: str) -> str:
    """The driver's text on one line: its CR LF line breaks become spaces, none trail."""
    return " ".join(part.strip() for part in text.split("\r\n") if part.strip())


def _hex(status: int) -> str:
    return f"0x{status & 0xFFFFFFFF:08X}"


class VeqdxError(Exception):
    """A driver call failed.

    Attributes: ``status`` (the ViStatus, a signed 32-bit int comparable with the
    ``VEQDX_ERROR_*`` constants), ``description`` (the driver's text for this failure, on one
    line) and ``function`` (the C function that failed, or "" when raised by the binding).
    """

    def __init__(self, status: int, description: str, function: str = "") -> None:
        super().__init__(status, description)
        self.status = status
        self.description = description
        self.function = function

    def __str__(self) -> str:
        where = f" in {self.function}" if self.function else ""
        return f"{self.description} (status {_hex(self.status)}{where})"


class VeqdxTimeoutError(VeqdxError, TimeoutError):
    """The instrument did not answer or accept data within the session's timeout."""


class VeqdxIOError(VeqdxError, OSError):
    """The link to the instrument failed (cannot connect, connection lost, file error)."""


class InvalidValueError(VeqdxError, ValueError):
    """A value is out of range or not supported; the driver refused it before sending."""


class UnknownChannelError(VeqdxError, KeyError):
    """An output selector names no output of the session, or one is needed and missing."""


_CLASSES: dict[int, type[VeqdxError]] = {
    c.VEQDX_ERROR_IO_TIMEOUT: VeqdxTimeoutError,
    c.VEQDX_ERROR_IO_GENERAL: VeqdxIOError,
    c.VEQDX_ERROR_CANNOT_OPEN_FILE: VeqdxIOError,
    c.VEQDX_ERROR_READING_FILE: VeqdxIOError,
    c.VEQDX_ERROR_WRITING_FILE: VeqdxIOError,
    c.VEQDX_ERROR_FILE_NOT_FOUND: VeqdxIOError,
    c.VEQDX_ERROR_TOO_MANY_OPEN_FILES: VeqdxIOError,
    c.VEQDX_ERROR_INVALID_VALUE: InvalidValueError,
    c.VEQDX_ERROR_VALUE_NOT_SUPPORTED: InvalidValueError,
    c.VEQDX_ERROR_UNKNOWN_CHANNEL_NAME: UnknownChannelError,
    c.VEQDX_ERROR_CHANNEL_NAME_REQUIRED: UnknownChannelError,
    c.VEQDX_ERROR_UNKNOWN_NAME_IN_SELECTOR: UnknownChannelError,
}


def make_error(status: int, description: str, function: str = "") -> VeqdxError:
    """The exception for ``status``: the most specific class the status has."""
    return _CLASSES.get(status, VeqdxError)(status, description, function)


class VeqdxWarning(UserWarning):
    """A call did its work but returned a warning status (positive ViStatus).

    Attributes ``status``, ``description`` and ``function`` as for :class:`VeqdxError`.
    """

    def __init__(self, status: int, description: str, function: str = "") -> None:
        super().__init__(f"{description} (status {_hex(status)} in {function})")
        self.status = status
        self.description = description
        self.function = function


def decode(raw: bytes) -> str:
    """Text from the driver (bytes that are no UTF-8 survive as surrogate escapes)."""
    return raw.decode(_ENCODING, _ERRORS)


def encode(text: str | None) -> bytes | None:
    """Text for the driver; refuses NUL, which would silently cut the string short."""
    if text is None:
        return None
    data = text.encode(_ENCODING, _ERRORS)
    if b"\0" in data:
        raise InvalidValueError(c.VEQDX_ERROR_INVALID_VALUE,
                                f"a string for the driver cannot contain NUL: {text!r}")
    return data


def error_message(status: int, vi: int = c.VI_NULL) -> str:
    """The driver's fixed text for a status code (``veqdx_error_message``)."""
    buffer = create_string_buffer(ll.FIXED_STRING_SIZE)
    ll.function("veqdx_error_message")(vi, status, buffer)
    return clean(decode(buffer.value))


def last_error(vi: int = c.VI_NULL) -> tuple[int, str]:
    """``(status, description)`` recorded on session ``vi``, or for this thread with 0.

    (0, "") when nothing is recorded. Reading does not clear the record.
    """
    get_error = ll.function("veqdx_GetError")
    needed = int(get_error(vi, None, 0, None))
    if needed < 0:
        raise make_error(needed, error_message(needed), "veqdx_GetError")
    code, buffer = ll.ViStatus(0), create_string_buffer(max(needed, 1))
    status = int(get_error(vi, byref(code), needed, buffer))
    if status < 0:
        raise make_error(status, error_message(status), "veqdx_GetError")
    return int(code.value), clean(decode(buffer.value))


def _description(vi: int, status: int) -> str:
    if status == c.VEQDX_ERROR_INVALID_SESSION_HANDLE:
        vi = c.VI_NULL  # an unknown handle's failure is recorded for the calling thread
    try:
        code, text = last_error(vi)
    except VeqdxError:
        code, text = 0, ""
    # Another thread may have recorded a newer failure on the session; then the fixed text.
    return text if code == status and text else error_message(status)


_WARNING_BASE = 0x3FFA0000  # below it, a positive return is a buffer size, not a warning


def check(vi: int, result: Any, function: str, stacklevel: int = 3) -> int:
    """Raise for a negative status, warn for a warning status; return the status."""
    status = int(result)
    if status < 0:
        raise make_error(status, _description(vi, status), function)
    if status >= _WARNING_BASE:
        warnings.warn(VeqdxWarning(status, error_message(status), function),
                      stacklevel=stacklevel + 1)
    return status
