"""Control VelmoraQdx DC power supplies from Python (a binding of libveqdx).

Open a :class:`Session`, set levels through the outputs' properties, measure::

    import veqdx

    with veqdx.Session("TCPIP::192.0.2.7::5025::SOCKET", timeout=5) as psu:
        out = psu.output                 # single-output unit; else psu.outputs["Output1"]
        out.voltage_level = 12.0         # volts
        out.current_limit = 1.5          # amperes
        out.ocp_limit = 2.0
        out.enabled = True
        print(out.measure_voltage(), out.measure("current"))

``Session(..., simulate=True)`` needs no instrument. Enumerations (:class:`Measurement`,
:class:`OutputState`, :class:`PowerOnState`, ...) are IntEnums and also accepted by name.
Failures raise :class:`VeqdxError` or a subclass that is also the matching built-in
exception (:class:`VeqdxTimeoutError` is a TimeoutError, :class:`VeqdxIOError` an OSError,
:class:`InvalidValueError` a ValueError, :class:`UnknownChannelError` a KeyError); warning
statuses arrive as :class:`VeqdxWarning` through the :mod:`warnings` module.
``psu.log(interval=0.5, count=100)`` yields timed :class:`Reading` rows and
:func:`plot` draws them. :mod:`veqdx.lowlevel` offers the C functions by their own names.

The library libveqdx.so.1 is found through ``VEQDX_LIBRARY``, then next to this package, then
where ``cmake --install`` put it, then on the system loader's path.
"""
from ._constants import *  # noqa: F401,F403 - the header's status, attribute and value numbers
from .enums import (CurrentLimitBehavior, ExternalLogic, ExternalRange, Measurement, Memory,
                    OperationMode, OutputState, PowerOnState, ProtectionRecovery, RangeType,
                    Register, SubRegister, TriggerSource)
from .errors import (InvalidValueError, UnknownChannelError, VeqdxError, VeqdxIOError,
                     VeqdxTimeoutError, VeqdxWarning, error_message, last_error)
from .lowlevel import LibraryNotFoundError
from .outputs import ExternalControl, Output, Outputs, OutputStatus
from .readings import Reading, log, plot
from .session import InstrumentError, Revision, SelfTestResult, Session, option_string
from .status import GlobalSettings, Status, StatusGroup, StatusRegister, Trigger

__version__ = "1.0.4"

__all__ = [
    "CurrentLimitBehavior", "ExternalControl", "ExternalLogic", "ExternalRange",
    "GlobalSettings", "InstrumentError", "InvalidValueError", "LibraryNotFoundError",
    "Measurement", "Memory", "OperationMode", "Output", "OutputState", "OutputStatus",
    "Outputs", "PowerOnState", "ProtectionRecovery", "RangeType", "Reading", "Register",
    "Revision", "SelfTestResult", "Session", "Status", "StatusGroup", "StatusRegister",
    "SubRegister", "Trigger", "TriggerSource", "UnknownChannelError", "VeqdxError",
    "VeqdxIOError", "VeqdxTimeoutError", "VeqdxWarning", "error_message", "last_error", "log",
    "option_string", "plot",
]
