"""The driver session: opening, inherent operations, direct I/O, memories, attributes."""
from __future__ import annotations

import contextlib
import weakref
from collections.abc import Iterable, Iterator
from ctypes import byref, create_string_buffer
from types import TracebackType
from typing import TYPE_CHECKING, Any, NamedTuple

from . import _constants as c
from . import lowlevel as ll
from ._calls import call, get_attribute, set_attribute, string
from .enums import Memory
from .errors import UnknownChannelError, check, clean, decode, encode, error_message, last_error
from .outputs import Output, Outputs
from .status import GlobalSettings, Status, Trigger

if TYPE_CHECKING:
    from .readings import Reading

__all__ = ["InstrumentError", "Revision", "SelfTestResult", "Session", "option_string"]


class SelfTestResult(NamedTuple):
    """Outcome of :meth:`Session.self_test`: ``code`` 0 means passed."""
    code: int
    message: str


class Revision(NamedTuple):
    """Driver and instrument firmware revisions."""
    driver: str
    instrument: str


class InstrumentError(NamedTuple):
    """An entry of the instrument's error queue; ``code`` 0 means the queue is empty."""
    code: int
    message: str


def option_string(options: str = "", *, simulate: bool = False,
                  timeout: float | None = None) -> str:
    """The option string for :class:`Session`: ``options`` with the simulate flag in front
    and the I/O timeout (seconds) as DriverSetup item ``IoTimeout`` (milliseconds) at the end.
    """
    text = options.strip().strip(",")
    if simulate:
        text = "Simulate=true" + (", " + text if text else "")
    if timeout is not None:
        milliseconds = round(timeout * 1000)
        if not 1 <= milliseconds <= 3_600_000:
            from .errors import InvalidValueError
            raise InvalidValueError(c.VEQDX_ERROR_INVALID_VALUE,
                                    f"timeout {timeout!r} s is outside 0.001 to 3600 s")
        if "DRIVERSETUP" in text.upper():  # DriverSetup is always last: extend it
            text += f", IoTimeout={milliseconds}"
        else:
            text += (", " if text else "") + f"DriverSetup=IoTimeout={milliseconds}"
    return text


class Session:
    """A session with one VelmoraQdx DC power supply.

    ``resource`` is an instrument address ("TCPIP::192.0.2.7::5025::SOCKET",
    "TCPIP::host::INSTR", "ASRL/dev/ttyUSB0::INSTR", "USB::...::INSTR") or the logical name of
    a driver session in the configuration store. ``id_query`` checks the instrument's
    identity, ``reset`` resets it when opening, ``simulate`` runs without an instrument,
    ``options`` is the driver's option string ("RangeCheck=false, DriverSetup=Model=QDX750ML")
    and ``timeout`` the limit in seconds for every read and write on the link (default 2 s).

    Use it as a context manager; the session is closed on leaving the block::

        with veqdx.Session("TCPIP::192.0.2.7::5025::SOCKET") as psu:
            out = psu.output                    # the only output; or psu.outputs["Output1"]
            out.voltage_level = 12.0            # volts
            out.current_limit = 1.5             # amperes
            out.enabled = True
            print(out.measure_voltage(), out.measure("current"))

    Failures raise :class:`veqdx.VeqdxError` (or a subclass); warnings are issued as
    :class:`veqdx.VeqdxWarning`. A session may be shared by threads; :meth:`lock` holds the
    others off for a sequence of calls.
    """

    def __init__(self, resource: str, *, id_query: bool = True, reset: bool = False,
                 simulate: bool = False, options: str = "",
                 timeout: float | None = None) -> None:
        self._vi = c.VI_NULL
        options = option_string(options, simulate=simulate, timeout=timeout)
        handle = ll.ViSession(0)
        if options:
            status = ll.function("veqdx_InitWithOptions")(
                encode(resource), bool(id_query), bool(reset), encode(options), byref(handle))
        else:
            status = ll.function("veqdx_init")(encode(resource), bool(id_query), bool(reset),
                                               byref(handle))
        # A failed open has no session: its error is recorded for this thread.
        check(c.VI_NULL, status, "veqdx_InitWithOptions" if options else "veqdx_init", 2)
        self._vi = int(handle.value)
        # A session dropped without close() is still closed, at the latest when Python exits.
        self._finalizer = weakref.finalize(self, ll.function("veqdx_close"), self._vi)
        self.resource = resource
        self.outputs = Outputs(self)
        """The outputs by name: ``psu.outputs["Output1"]``; iterate for all names."""
        self.trigger = Trigger(self)
        """Arming and firing triggered level changes."""
        self.status = Status(self)
        """The driver-wide status registers."""
        self.global_settings = GlobalSettings(self)
        """Write-only settings for all outputs of a multi-unit system."""

    # ---- life cycle -------------------------------------------------------------------------
    @property
    def vi(self) -> int:
        """The session handle of the C interface (0 once closed)."""
        return self._vi

    def close(self) -> None:
        """Close the session; further calls fail. Closing twice does nothing."""
        if self._vi != c.VI_NULL:
            vi, self._vi = self._vi, c.VI_NULL
            self._finalizer.detach()
            check(vi, ll.function("veqdx_close")(vi), "veqdx_close")

    def __enter__(self) -> Session:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed" if self._vi == c.VI_NULL else f"vi={self._vi}"
        return f"<veqdx.Session {self.resource!r} {state}>"

    @contextlib.contextmanager
    def lock(self) -> Iterator[Session]:
        """Hold the session for this thread during the block; other threads' calls wait.

        Re-entrant: nested ``with psu.lock():`` blocks in one thread are fine.
        """
        has_lock = ll.ViBoolean(c.VI_FALSE)
        call(self, "veqdx_LockSession", byref(has_lock))
        try:
            yield self
        finally:
            call(self, "veqdx_UnlockSession", byref(has_lock))

    # ---- outputs ----------------------------------------------------------------------------
    @property
    def output(self) -> Output:
        """The only output of a single-output supply (UnknownChannelError if it has more)."""
        names = self.outputs.names()
        if len(names) != 1:
            raise UnknownChannelError(c.VEQDX_ERROR_CHANNEL_NAME_REQUIRED,
                                      f"this supply has {len(names)} outputs ("
                                      + ", ".join(names) + "); use psu.outputs[name]")
        return self.outputs[names[0]]

    def select(self, selector: str) -> Output:
        """Several outputs at once ("Output1-Output3", "Output1,Output3"): settings assigned
        go to each; reading a setting or measuring needs a single output."""
        return Output(self, selector)

    def log(self, interval: float = 1.0, count: int | None = None,
            duration: float | None = None,
            outputs: Iterable[str] | None = None) -> Iterator[Reading]:
        """Measure the outputs every ``interval`` seconds; see :func:`veqdx.log`."""
        from .readings import log
        return log(self, interval=interval, count=count, duration=duration, outputs=outputs)

    # ---- inherent operations ----------------------------------------------------------------
    def reset(self) -> None:
        """Reset the instrument to its known state and clear the driver's cache."""
        call(self, "veqdx_reset")

    def reset_with_defaults(self) -> None:
        """Reset, then apply the session's configured initial settings."""
        call(self, "veqdx_ResetWithDefaults")

    def disable(self) -> None:
        """Put the instrument in a state where it delivers no power (all outputs off)."""
        call(self, "veqdx_Disable")

    def self_test(self) -> SelfTestResult:
        """Run the instrument's self test; code 0 means passed."""
        result, text = ll.ViInt16(), create_string_buffer(ll.FIXED_STRING_SIZE)
        call(self, "veqdx_self_test", byref(result), text)
        return SelfTestResult(int(result.value), clean(decode(text.value)))

    def revision(self) -> Revision:
        """The driver's revision and the instrument's firmware revision."""
        driver, instrument = (create_string_buffer(ll.FIXED_STRING_SIZE) for _ in range(2))
        call(self, "veqdx_revision_query", driver, instrument)
        return Revision(decode(driver.value), decode(instrument.value))

    def error_query(self) -> InstrumentError:
        """Read the next entry of the instrument's error queue."""
        code, text = ll.ViInt32(), create_string_buffer(ll.FIXED_STRING_SIZE)
        call(self, "veqdx_error_query", byref(code), text)
        return InstrumentError(int(code.value), clean(decode(text.value)))

    def invalidate_all_attributes(self) -> None:
        """Forget every cached setting, so that the next reads ask the instrument."""
        call(self, "veqdx_InvalidateAllAttributes")

    # ---- the driver's error record and queues -----------------------------------------------
    @property
    def last_error(self) -> tuple[int, str]:
        """``(status, description)`` of the session's latest failure; (0, "") if none."""
        return last_error(self._vi)

    def clear_error(self) -> None:
        """Empty the session's error record."""
        call(self, "veqdx_ClearError")

    def error_message(self, status: int) -> str:
        """The driver's text for a status code."""
        return error_message(status, self._vi)

    def coercion_records(self) -> list[str]:
        """Take the recorded value coercions (with RecordCoercions=true in the options)."""
        return list(iter(lambda: string(self, "veqdx_GetNextCoercionRecord"), ""))

    def interchange_warnings(self) -> list[str]:
        """Take the queued interchangeability warnings."""
        return list(iter(lambda: string(self, "veqdx_GetNextInterchangeWarning"), ""))

    def clear_interchange_warnings(self) -> None:
        """Drop all queued interchangeability warnings."""
        call(self, "veqdx_ClearInterchangeWarnings")

    def reset_interchange_check(self) -> None:
        """Restart the interchangeability check from a clean state."""
        call(self, "veqdx_ResetInterchangeCheck")

    # ---- memories and direct I/O ------------------------------------------------------------
    def save_state(self, memory: Memory | int | str) -> None:
        """Store the instrument's settings in memory 1 to 3 (Memory.A to C, or "a").

        Memories live in the instrument: a simulated session refuses this with VeqdxIOError.
        """
        call(self, "veqdx_SaveState", Memory.of(memory))

    def recall_state(self, memory: Memory | int | str) -> None:
        """Restore the settings stored in a memory."""
        call(self, "veqdx_RecallState", Memory.of(memory))

    def write(self, command: str) -> None:
        """Send a command to the instrument as it is (the line end is added)."""
        call(self, "veqdx_SystemWrite", encode(command))

    def read(self, max_length: int = 65536) -> str:
        """Read one response, without its line end; at most ``max_length`` characters."""
        buffer, count = create_string_buffer(max_length + 1), ll.ViInt32()
        call(self, "veqdx_SystemRead", max_length + 1, buffer, byref(count))
        return decode(buffer.raw[:count.value]).rstrip("\r\n")

    def query(self, command: str, max_length: int = 65536) -> str:
        """Send a query and read its response, without the line end."""
        with self.lock():  # no other thread's read may take this reply
            self.write(command)
            return self.read(max_length)

    # ---- attributes -------------------------------------------------------------------------
    def get_attribute(self, attribute: int, kind: type, selector: str = "") -> Any:
        """Read attribute ``attribute`` (a ``VEQDX_ATTR_*`` number) of Python type ``kind``:
        int (ViInt32), float (ViReal64), bool (ViBoolean) or str (ViString)."""
        return get_attribute(self, kind, selector, attribute)

    def set_attribute(self, attribute: int, value: int | float | bool | str,
                      selector: str = "") -> None:
        """Write attribute ``attribute``; the C function is chosen by the value's type."""
        kind = next(k for k in (bool, int, float, str) if isinstance(value, k))
        set_attribute(self, kind, selector, attribute, value)

    def get_session_attribute(self, attribute: int, selector: str = "") -> int:
        """Read a ViSession attribute (a handle)."""
        value = ll.ViSession()
        call(self, "veqdx_GetAttributeViSession", encode(selector), attribute, byref(value))
        return int(value.value)

    def set_session_attribute(self, attribute: int, value: int, selector: str = "") -> None:
        """Write a ViSession attribute (a handle)."""
        call(self, "veqdx_SetAttributeViSession", encode(selector), attribute, value)

    @property
    def simulating(self) -> bool:
        """Whether the session runs without an instrument."""
        return bool(self.get_attribute(c.VEQDX_ATTR_SIMULATE, bool))

    @property
    def model(self) -> str:
        """The instrument's model ("QDX750ML")."""
        return str(self.get_attribute(c.VEQDX_ATTR_INSTRUMENT_MODEL, str))

    @property
    def range_check(self) -> bool:
        """Whether values are checked against the outputs' ratings before sending."""
        return bool(self.get_attribute(c.VEQDX_ATTR_RANGE_CHECK, bool))

    @range_check.setter
    def range_check(self, on: bool) -> None:
        self.set_attribute(c.VEQDX_ATTR_RANGE_CHECK, bool(on))
