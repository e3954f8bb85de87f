"""How the API calls the C functions: status checks, typed outputs, variable-size strings."""
from __future__ import annotations

from ctypes import byref, create_string_buffer
from typing import Any, Protocol

from . import lowlevel as ll
from .errors import check, decode, encode

_WARNING_BASE = 0x3FFA0000  # a positive return below it is the buffer size a string needs

# The typed attribute functions, by the Python type of the value.
ATTRIBUTE_TYPES: dict[type, tuple[str, str, Any]] = {
    int: ("veqdx_GetAttributeViInt32", "veqdx_SetAttributeViInt32", ll.ViInt32),
    float: ("veqdx_GetAttributeViReal64", "veqdx_SetAttributeViReal64", ll.ViReal64),
    bool: ("veqdx_GetAttributeViBoolean", "veqdx_SetAttributeViBoolean", ll.ViBoolean),
    str: ("veqdx_GetAttributeViString", "veqdx_SetAttributeViString", None),
}


class Caller(Protocol):
    """What the parts of a session (outputs, status, trigger) need from it."""

    @property
    def vi(self) -> int: ...  # noqa: D102


def call(owner: Caller, name: str, *args: Any) -> int:
    """Call C function ``name`` on the owner's session; raise or warn for its status."""
    return check(owner.vi, ll.function(name)(owner.vi, *args), name, stacklevel=3)


def get(owner: Caller, name: str, ctype: Any, *args: Any) -> Any:
    """Call ``name`` with a trailing output argument of ``ctype``; return its value."""
    value = ctype()
    call(owner, name, *args, byref(value))
    return value.value


def string(owner: Caller, name: str, *args: Any) -> str:
    """A variable-size string output: ask for the size needed, then fetch exactly that."""
    function = ll.function(name)
    status = int(function(owner.vi, *args, 0, None))
    for _ in range(3):  # the text may grow between the two calls: then ask again
        check(owner.vi, status if status < 0 else 0, name)
        size = max(status, 1)
        buffer = create_string_buffer(size)
        status = int(function(owner.vi, *args, size, buffer))
        if not size < status < _WARNING_BASE:
            break
    check(owner.vi, status, name)
    return decode(buffer.value)


def get_attribute(owner: Caller, kind: type, selector: str, attribute: int) -> Any:
    """Read attribute ``attribute`` of ``kind`` (int, float, bool, str) for ``selector``."""
    getter, _, ctype = ATTRIBUTE_TYPES[kind]
    if kind is str:
        return string(owner, getter, encode(selector), attribute)
    return kind(get(owner, getter, ctype, encode(selector), attribute))


def set_attribute(owner: Caller, kind: type, selector: str, attribute: int, value: Any) -> None:
    """Write attribute ``attribute`` of ``kind`` for ``selector``."""
    setter = ATTRIBUTE_TYPES[kind][1]
    c_value = encode(value) if kind is str else kind(value)
    call(owner, setter, encode(selector), attribute, c_value)
