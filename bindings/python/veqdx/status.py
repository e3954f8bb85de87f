"""Status registers, trigger and global settings of a session."""
from __future__ import annotations

from typing import TYPE_CHECKING

from . import lowlevel as ll
from ._calls import call, get
from .enums import Register, SubRegister
from .errors import encode

if TYPE_CHECKING:
    from .session import Session

__all__ = ["GlobalSettings", "Status", "StatusGroup", "StatusRegister", "Trigger"]


class _Part:
    def __init__(self, session: Session) -> None:
        self._session = session

    @property
    def vi(self) -> int:
        """The session handle of the C interface."""
        return self._session.vi


class StatusRegister(_Part):
    """One status register with its condition, enable and event parts (integers).

    Reading ``event`` clears the instrument's event register. A part the register does not
    have (the standard event register's condition, the status byte's event) raises
    :class:`veqdx.VeqdxError`.
    """

    def __init__(self, session: Session, selector: str, register: Register) -> None:
        super().__init__(session)
        self._selector, self.register = selector, register

    def __repr__(self) -> str:
        where = f" of {self._selector}" if self._selector else ""
        return f"<veqdx.StatusRegister {self.register.name}{where}>"

    def _read(self, part: SubRegister) -> int:
        return int(get(self, "veqdx_StatusGetRegister", ll.ViInt32, encode(self._selector),
                       self.register, part))

    @property
    def condition(self) -> int:
        """The bits that are true now."""
        return self._read(SubRegister.CONDITION)

    @property
    def event(self) -> int:
        """The bits that became true since the last read (the read clears them)."""
        return self._read(SubRegister.EVENT)

    @property
    def enable(self) -> int:
        """The bits that are passed on to the summary bit of the next register up."""
        return self._read(SubRegister.ENABLE)

    @enable.setter
    def enable(self, mask: int) -> None:
        call(self, "veqdx_StatusSetRegister", encode(self._selector), self.register,
             SubRegister.ENABLE, mask)


class StatusGroup(StatusRegister):
    """A driver-wide operation or questionable register with its instrument summary."""

    def __init__(self, session: Session, register: Register, instrument: Register) -> None:
        super().__init__(session, "", register)
        self._instrument = instrument

    @property
    def instrument(self) -> StatusRegister:
        """The summary register with one bit per output."""
        return StatusRegister(self._session, "", self._instrument)


class Status(_Part):
    """The driver-wide status registers (``psu.status``)."""

    @property
    def operation(self) -> StatusGroup:
        """The operation status register."""
        return StatusGroup(self._session, Register.OPERATION, Register.OPERATION_INSTRUMENT)

    @property
    def questionable(self) -> StatusGroup:
        """The questionable status register."""
        return StatusGroup(self._session, Register.QUESTIONABLE,
                           Register.QUESTIONABLE_INSTRUMENT)

    @property
    def standard_event(self) -> StatusRegister:
        """The IEEE 488.2 standard event register (event and enable only)."""
        return StatusRegister(self._session, "", Register.STANDARD_EVENT)

    @property
    def status_byte(self) -> StatusRegister:
        """The status byte (condition and enable only)."""
        return StatusRegister(self._session, "", Register.STATUS_BYTE)

    def clear(self) -> None:
        """Clear every event register and the error queue of the instrument (``*CLS``)."""
        call(self, "veqdx_Clear")

    def preset(self) -> None:
        """Set the enable registers to their power-on values."""
        call(self, "veqdx_Preset")


class Trigger(_Part):
    """Triggered level changes (``psu.trigger``): configure each output's triggered levels
    and source, then :meth:`initiate`, then fire with :meth:`send_software_trigger`."""

    def initiate(self) -> None:
        """Arm the trigger system: the next trigger applies the triggered levels."""
        call(self, "veqdx_Initiate")

    def abort(self) -> None:
        """Disarm the trigger system; pending triggered changes are dropped."""
        call(self, "veqdx_Abort")

    def send_software_trigger(self) -> None:
        """Fire the trigger (for outputs whose source is TriggerSource.SOFTWARE)."""
        call(self, "veqdx_SendSoftwareTrigger")


class GlobalSettings(_Part):
    """Settings applied to all units of a multi-unit system at once (``psu.global_settings``).

    They are write-only: the instrument cannot report them back, so reading raises
    AttributeError. They always go to the link, so a simulated session refuses them with
    :class:`veqdx.VeqdxIOError`.
    """

    @staticmethod
    def _write_only(name: str) -> AttributeError:
        return AttributeError(f"global {name} is write-only; read each output's setting")

    @property
    def enabled(self) -> bool:
        """Switch every output on (True) or off (False)."""
        raise self._write_only("enabled")

    @enabled.setter
    def enabled(self, value: bool) -> None:
        call(self, "veqdx_ConfigureGloabOutputEnabled", bool(value))

    @property
    def voltage_level(self) -> float:
        """Set every output's voltage level, in volts."""
        raise self._write_only("voltage_level")

    @voltage_level.setter
    def voltage_level(self, volts: float) -> None:
        call(self, "veqdx_ConfigureGlobalVoltageLevel", volts)

    @property
    def current_limit(self) -> float:
        """Set every output's current limit, in amperes."""
        raise self._write_only("current_limit")

    @current_limit.setter
    def current_limit(self, amperes: float) -> None:
        call(self, "veqdx_ConfigureGlobalCurrentLimit", amperes)
