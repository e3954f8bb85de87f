"""The driver's enumerations as :class:`enum.IntEnum` classes.

Wherever the API takes one of these, it also takes the member's name as a string, without
regard to case and with blanks or hyphens for underscores (``"voltage"``,
``"constant current"``), or the plain integer value of the C interface.
"""
from __future__ import annotations

import enum
from typing import Any, TypeVar

from . import _constants as c
from .errors import InvalidValueError

__all__ = ["CurrentLimitBehavior", "ExternalLogic", "ExternalRange", "Measurement", "Memory",
           "OperationMode", "OutputState", "PowerOnState", "ProtectionRecovery", "RangeType",
           "Register", "SubRegister", "TriggerSource"]

E = TypeVar("E", bound="NamedIntEnum")


class NamedIntEnum(enum.IntEnum):
    """An IntEnum that also accepts its members' names (case and separators ignored)."""

    @classmethod
    def _missing_(cls, value: object) -> Any:
        if isinstance(value, str):
            key = value.strip().upper().replace(" ", "_").replace("-", "_")
            if key in cls.__members__:
                return cls.__members__[key]
        names = ", ".join(name.lower() for name in cls.__members__)
        raise InvalidValueError(c.VEQDX_ERROR_INVALID_VALUE,
                                f"{value!r} is no {cls.__name__}; use one of: {names}")

    @classmethod
    def of(cls: type[E], value: E | int | str) -> E:
        """The member for a member, its value or its name; InvalidValueError otherwise."""
        return cls(value)  # type: ignore[arg-type]  # names arrive through _missing_


class Measurement(NamedIntEnum):
    """What :meth:`veqdx.Output.measure` measures."""
    CURRENT = c.VEQDX_VAL_MEASURE_CURRENT
    VOLTAGE = c.VEQDX_VAL_MEASURE_VOLTAGE


class OutputState(NamedIntEnum):
    """A state an output can be asked about with :meth:`veqdx.Output.query_state`."""
    CONSTANT_VOLTAGE = c.VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE
    CONSTANT_CURRENT = c.VEQDX_VAL_OUTPUT_CONSTANT_CURRENT
    OVER_VOLTAGE = c.VEQDX_VAL_OUTPUT_OVER_VOLTAGE
    OVER_CURRENT = c.VEQDX_VAL_OUTPUT_OVER_CURRENT
    UNREGULATED = c.VEQDX_VAL_OUTPUT_UNREGULATED
    AC_POWER_FAILURE = c.VEQDX_VAL_OUTPUT_AC_POWER_FAILURE
    POWER_LIMIT = c.VEQDX_VAL_OUTPUT_POWER_LIMIT
    OVER_TEMPERATURE = c.VEQDX_VAL_OUTPUT_OVER_TEMPERATURE
    SHUTDOWN_ALARM = c.VEQDX_VAL_OUTPUT_SHUTDOWN_ALARM
    SENSING_ALARM = c.VEQDX_VAL_OUTPUT_SENSING_ALARM
    FAN_ALARM = c.VEQDX_VAL_OUTPUT_FAN_ALARM
    OUTPUT_INHIBITED = c.VEQDX_VAL_OUTPUT_OUTPUT_INHIBITED
    I2C_ALARM = c.VEQDX_VAL_OUTPUT_I2C_ALARM
    OVER_VOLTAGE2 = c.VEQDX_VAL_OUTPUT_OVER_VOLTAGE2


class CurrentLimitBehavior(NamedIntEnum):
    """At the current limit the output regulates the current, or trips (switches off)."""
    REGULATE = c.VEQDX_VAL_CURRENT_REGULATE
    TRIP = c.VEQDX_VAL_CURRENT_TRIP


class TriggerSource(NamedIntEnum):
    """What starts a triggered level change after :meth:`veqdx.Trigger.initiate`."""
    IMMEDIATE = c.VEQDX_VAL_TRIG_IMMEDIATE
    SOFTWARE = c.VEQDX_VAL_TRIG_SW_TRIG_FUNC


class RangeType(NamedIntEnum):
    """Which quantity :meth:`veqdx.Output.configure_range` sets the range of."""
    CURRENT = c.VEQDX_VAL_RANGE_CURRENT
    VOLTAGE = c.VEQDX_VAL_RANGE_VOLTAGE


class PowerOnState(NamedIntEnum):
    """The output's state after mains power returns."""
    SAFE = c.VEQDX_VAL_PON_STATE_SAFE
    AUTO = c.VEQDX_VAL_PON_STATE_AUTO
    FORCE = c.VEQDX_VAL_PON_STATE_FORCE


class ProtectionRecovery(NamedIntEnum):
    """After a protection trip the output stays off (safe) or comes back (auto)."""
    SAFE = c.VEQDX_VAL_PROTECTION_RECOVERY_SAFE
    AUTO = c.VEQDX_VAL_PROTECTION_RECOVERY_AUTO


class OperationMode(NamedIntEnum):
    """Which regulation mode the output gives priority to."""
    CONSTANT_CURRENT = c.VEQDX_VAL_OPERATION_MODE_CC
    CONSTANT_VOLTAGE = c.VEQDX_VAL_OPERATION_MODE_CV
    CC = c.VEQDX_VAL_OPERATION_MODE_CC
    CV = c.VEQDX_VAL_OPERATION_MODE_CV


class ExternalLogic(NamedIntEnum):
    """The level of the external output-control input that switches the output on."""
    LOW = c.VEQDX_VAL_EXTERNAL_LOGIC_LOW
    HIGH = c.VEQDX_VAL_EXTERNAL_LOGIC_HIGH


class ExternalRange(NamedIntEnum):
    """Range of the external analog control and monitor signals (low or high voltage)."""
    LOW = c.VEQDX_VAL_EXTERNAL_RANGE_LOW
    HIGH = c.VEQDX_VAL_EXTERNAL_RANGE_HIGH


class Memory(NamedIntEnum):
    """A state memory of the instrument for :meth:`veqdx.Session.save_state`."""
    A = c.VEQDX_VAL_MEMORY_A
    B = c.VEQDX_VAL_MEMORY_B
    C = c.VEQDX_VAL_MEMORY_C


class Register(NamedIntEnum):
    """A status register group, as numbered by the C interface."""
    OPERATION = c.VEQDX_VAL_REGISTER_OPERATION
    QUESTIONABLE = c.VEQDX_VAL_REGISTER_QUESTIONABLE
    OPERATION_INSTRUMENT = c.VEQDX_VAL_REGISTER_OPERATION_INSTRUMENT
    QUESTIONABLE_INSTRUMENT = c.VEQDX_VAL_REGISTER_QUESTIONABLE_INSTRUMENT
    STANDARD_EVENT = c.VEQDX_VAL_REGISTER_STANDARD_EVENT
    STATUS_BYTE = c.VEQDX_VAL_REGISTER_STATUS_BYTE


class SubRegister(NamedIntEnum):
    """A part of a status register group."""
    CONDITION = c.VEQDX_VAL_SUB_REGISTER_CONDITION
    ENABLE = c.VEQDX_VAL_SUB_REGISTER_ENABLE
    EVENT = c.VEQDX_VAL_SUB_REGISTER_EVENT
