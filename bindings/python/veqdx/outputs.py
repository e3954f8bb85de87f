"""Outputs of a supply: their settings as properties, measurements and queries as methods."""
from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import TYPE_CHECKING, Any, Generic, TypeVar, overload

from . import _constants as c
from . import lowlevel as ll
from ._calls import call, get, get_attribute, set_attribute, string
from .enums import (CurrentLimitBehavior, ExternalLogic, ExternalRange, Measurement,
                    NamedIntEnum, OperationMode, OutputState, PowerOnState, ProtectionRecovery,
                    RangeType, Register, TriggerSource)
from .errors import UnknownChannelError, encode
from .status import StatusRegister

if TYPE_CHECKING:
    from .session import Session

__all__ = ["ExternalControl", "Output", "OutputStatus", "Outputs"]

T = TypeVar("T")
S = TypeVar("S")


class _Selected:
    """Something of a session addressed by an output selector."""

    def __init__(self, session: Session, selector: str) -> None:
        self._session = session
        self._selector = selector

    @property
    def vi(self) -> int:
        """The session handle of the C interface."""
        return self._session.vi


class Setting(Generic[T, S]):
    """A setting of an output: read from its attribute, written by its C configure function.

    ``kind`` is the attribute's Python type; ``convert`` turns what a caller assigns (for an
    enumeration also its name) into the value passed to C, and the raw value read into T.
    """

    def __init__(self, attribute: int, kind: type, configure: str | None,
                 convert: Callable[[Any], T], doc: str) -> None:
        self.attribute, self.kind, self.configure, self.convert = attribute, kind, configure, convert
        self.__doc__ = doc

    @overload
    def __get__(self, owner: None, cls: type) -> Setting[T, S]: ...
    @overload
    def __get__(self, owner: _Selected, cls: type) -> T: ...

    def __get__(self, owner: _Selected | None, cls: type) -> T | Setting[T, S]:
        if owner is None:
            return self
        return self.convert(get_attribute(owner, self.kind, owner._selector, self.attribute))

    def __set__(self, owner: _Selected, value: S) -> None:
        c_value = self.kind(self.convert(value))
        if self.configure is None:
            set_attribute(owner, self.kind, owner._selector, self.attribute, c_value)
        else:
            call(owner, self.configure, encode(owner._selector), c_value)


def _real(attribute: int, configure: str | None, doc: str) -> Setting[float, float]:
    return Setting(attribute, float, configure, float, doc)


def _flag(attribute: int, configure: str | None, doc: str) -> Setting[bool, bool]:
    return Setting(attribute, bool, configure, bool, doc)


E = TypeVar("E", bound=NamedIntEnum)


def _choice(attribute: int, enum: type[E], configure: str | None,
            doc: str) -> Setting[E, E | int | str]:
    return Setting(attribute, int, configure, enum, doc)


class ExternalControl(_Selected):
    """The output's external analog control (``out.external_control``)."""

    output_control_enabled = _flag(
        c.VEQDX_ATTR_OUTPUT_CONTROL_ENABLED, "veqdx_ConfigureOutputControlEnabled",
        "Whether the external on/off input switches the output (bool).")
    output_control_logic = _choice(
        c.VEQDX_ATTR_OUTPUT_CONTROL_LOGIC, ExternalLogic, "veqdx_ConfigureOutputControlLogic",
        "Input level that switches the output on: ExternalLogic.LOW or HIGH.")
    analog_control_range = _choice(
        c.VEQDX_ATTR_ANALOG_CONTROL_RANGE, ExternalRange, "veqdx_ConfigureAnalogControlRange",
        "Range of the analog programming inputs: ExternalRange.LOW or HIGH.")
    cc_control_enabled = _flag(
        c.VEQDX_ATTR_CC_CONTROL_ENABLED, "veqdx_ConfigureCCControlEnabled",
        "Whether the current limit follows the external analog input (bool).")
    cv_control_enabled = _flag(
        c.VEQDX_ATTR_CV_CONTROL_ENABLED, "veqdx_ConfigureCVControlEnabled",
        "Whether the voltage level follows the external analog input (bool).")


class OutputStatus(_Selected):
    """The output's own status registers (``out.status``)."""

    @property
    def operation(self) -> StatusRegister:
        """The output's operation register (bit 8: constant voltage, 10: constant current)."""
        return StatusRegister(self._session, self._selector, Register.OPERATION)

    @property
    def questionable(self) -> StatusRegister:
        """The output's questionable register (protection and alarm bits)."""
        return StatusRegister(self._session, self._selector, Register.QUESTIONABLE)


class Output(_Selected):
    """One output of the supply, or several named by one selector ("Output1-Output3").

    Reading a property asks the driver (which may answer from its cache); assigning one
    range-checks the value against the output's rating and sends it. Units: volts, amperes.
    """

    @property
    def name(self) -> str:
        """The selector this object addresses ("Output1"; "" for the only output)."""
        return self._selector

    def __repr__(self) -> str:
        return f"<veqdx.Output {self._selector!r}>"

    enabled = _flag(c.VEQDX_ATTR_OUTPUT_ENABLED, "veqdx_ConfigureOutputEnabled",
                    "Whether the output delivers power (bool).")
    voltage_level = _real(c.VEQDX_ATTR_VOLTAGE_LEVEL, "veqdx_ConfigureVoltageLevel",
                          "Programmed output voltage in volts.")
    current_limit = _real(c.VEQDX_ATTR_CURRENT_LIMIT, None,
                          "Current limit in amperes (see configure_current_limit).")
    current_limit_behavior = _choice(
        c.VEQDX_ATTR_CURRENT_LIMIT_BEHAVIOR, CurrentLimitBehavior, None,
        "What happens at the current limit: CurrentLimitBehavior.REGULATE or TRIP.")
    ovp_limit = _real(c.VEQDX_ATTR_OVP_LIMIT, None,
                      "Over-voltage protection limit in volts; the output trips above it.")
    ovp_enabled = _flag(c.VEQDX_ATTR_OVP_ENABLED, None,
                        "Over-voltage protection; always True, assigning False is refused "
                        "with InvalidValueError (this family cannot switch it off).")
    uvl = _real(c.VEQDX_ATTR_UVL, "veqdx_ConfigureUVL",
                "Under-voltage limit in volts: the lowest voltage level the output accepts.")
    ocp_limit = _real(c.VEQDX_ATTR_OCP_LIMIT, "veqdx_ConfigureOCPLimit",
                      "Over-current protection limit in amperes.")
    pon_state = _choice(c.VEQDX_ATTR_PON_STATE, PowerOnState, "veqdx_ConfigurePONState",
                        "State after mains power returns: PowerOnState.SAFE, AUTO or FORCE.")
    protection_recovery = _choice(
        c.VEQDX_ATTR_PROTECTION_RECOVERY, ProtectionRecovery,
        "veqdx_ConfigureProtectionRecovery",
        "After a protection trip: ProtectionRecovery.SAFE (stay off) or AUTO (come back).")
    operation_priority = _choice(
        c.VEQDX_ATTR_OPERATION_PRIORITY, OperationMode, "veqdx_ConfigureOperationPriority",
        "Preferred regulation mode: OperationMode.CONSTANT_VOLTAGE or CONSTANT_CURRENT.")
    bleeder_enabled = _flag(c.VEQDX_ATTR_BLEEDER_ENABLED, "veqdx_ConfigureBleederEnabled",
                            "Whether the bleeder resistor discharges the output (bool).")
    external_monitor_range = _choice(
        c.VEQDX_ATTR_EXTERNAL_MONITOR_RANGE, ExternalRange,
        "veqdx_ConfigureExternalMonitorRange",
        "Range of the analog monitor outputs: ExternalRange.LOW or HIGH.")
    trigger_source = _choice(c.VEQDX_ATTR_TRIGGER_SOURCE, TriggerSource,
                             "veqdx_ConfigureTriggerSource",
                             "What fires a triggered change: TriggerSource.IMMEDIATE or SOFTWARE.")
    triggered_voltage_level = _real(
        c.VEQDX_ATTR_TRIGGERED_VOLTAGE_LEVEL, "veqdx_ConfigureTriggeredVoltageLevel",
        "Voltage level in volts that the output takes when the trigger fires.")
    triggered_current_limit = _real(
        c.VEQDX_ATTR_TRIGGERED_CURRENT_LIMIT, "veqdx_ConfigureTriggeredCurrentLimit",
        "Current limit in amperes that the output takes when the trigger fires.")

    @property
    def external_control(self) -> ExternalControl:
        """The external analog control settings of this output."""
        return ExternalControl(self._session, self._selector)

    @property
    def status(self) -> OutputStatus:
        """The status registers of this output."""
        return OutputStatus(self._session, self._selector)

    def _selector_bytes(self) -> bytes | None:
        return encode(self._selector)

    def configure_current_limit(self, limit: float,
                                behavior: CurrentLimitBehavior | int | str = "regulate") -> None:
        """Set the current limit in amperes.

        ``behavior`` is handed to the driver, which ignores it on this family: assign
        :attr:`current_limit_behavior` to make the output trip instead of regulating.
        """
        call(self, "veqdx_ConfigureCurrentLimit", self._selector_bytes(),
             CurrentLimitBehavior.of(behavior), limit)

    def configure_ovp(self, limit: float, enabled: bool = True) -> None:
        """Set the over-voltage protection limit in volts (it cannot be disabled)."""
        call(self, "veqdx_ConfigureOVP", self._selector_bytes(), bool(enabled), limit)

    def configure_range(self, range_type: RangeType | int | str, value: float) -> None:
        """Check that ``value`` (volts or amperes) fits the output's single range.

        Accepted from 0 to 1.05 times the output's rating; nothing is sent to the instrument.
        """
        call(self, "veqdx_ConfigureOutputRange", self._selector_bytes(),
             RangeType.of(range_type), value)

    def max_current_limit(self, voltage_level: float) -> float:
        """The highest current limit in amperes allowed at ``voltage_level`` volts."""
        return float(get(self, "veqdx_QueryMaxCurrentLimit", ll.ViReal64,
                         self._selector_bytes(), voltage_level))

    def max_voltage_level(self, current_limit: float) -> float:
        """The highest voltage level in volts allowed at ``current_limit`` amperes."""
        return float(get(self, "veqdx_QueryMaxVoltageLevel", ll.ViReal64,
                         self._selector_bytes(), current_limit))

    def query_state(self, state: OutputState | int | str) -> bool:
        """Whether the output is in ``state`` now (asks the instrument)."""
        return bool(get(self, "veqdx_QueryOutputState", ll.ViBoolean, self._selector_bytes(),
                        OutputState.of(state)))

    def reset_protection(self) -> None:
        """Clear a protection trip (over-voltage, over-current) so the output can run again."""
        call(self, "veqdx_ResetOutputProtection", self._selector_bytes())

    def measure(self, kind: Measurement | int | str) -> float:
        """Measure at the output terminals: volts for VOLTAGE, amperes for CURRENT."""
        return float(get(self, "veqdx_Measure", ll.ViReal64, self._selector_bytes(),
                         Measurement.of(kind)))

    def measure_voltage(self) -> float:
        """Measure the output voltage in volts."""
        return self.measure(Measurement.VOLTAGE)

    def measure_current(self) -> float:
        """Measure the output current in amperes."""
        return self.measure(Measurement.CURRENT)


class Outputs:
    """The outputs of a session, in the instrument's order.

    ``outputs["Output1"]`` gives an output by name (:class:`UnknownChannelError`, a KeyError,
    for a name the session does not have); ``for out in psu.outputs`` visits every output;
    ``"Output1" in psu.outputs`` and ``names()`` tell the names.
    """

    def __init__(self, session: Session) -> None:
        self._session = session
        self._names: list[str] | None = None

    @property
    def vi(self) -> int:
        """The session handle of the C interface."""
        return self._session.vi

    def names(self) -> list[str]:
        """The output names, read once from the driver (they do not change in a session)."""
        if self._names is None:
            count = get_attribute(self, int, "", c.VEQDX_ATTR_OUTPUT_COUNT)
            self._names = [string(self, "veqdx_GetOutputName", i) for i in range(1, count + 1)]
        return self._names

    def channel_names(self) -> list[str]:
        """The channel names by index (``veqdx_GetChannelName``; the same as the outputs')."""
        count = get_attribute(self, int, "", c.VEQDX_ATTR_CHANNEL_COUNT)
        return [string(self, "veqdx_GetChannelName", i) for i in range(1, count + 1)]

    def __getitem__(self, name: str) -> Output:
        if name not in self.names():
            raise UnknownChannelError(c.VEQDX_ERROR_UNKNOWN_CHANNEL_NAME,
                                      f"no output {name!r}; this supply has "
                                      + ", ".join(self.names()))
        return Output(self._session, name)

    def __iter__(self) -> Iterator[Output]:
        return (Output(self._session, name) for name in self.names())

    def __contains__(self, name: object) -> bool:
        return name in self.names()

    def __len__(self) -> int:
        return len(self.names())

    def __repr__(self) -> str:
        return f"<veqdx.Outputs {self.names()}>"
