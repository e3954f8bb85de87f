"""Python binding of libveqdx, the VelmoraQdx DC power supply driver.

Example, on a simulated session (no instrument needed)::

    import veqdx

    with veqdx.Session("TCPIP::localhost::INSTR", options="Simulate=true") as psu:
        psu.configure_voltage_level(12.5)
        psu.configure_current_limit(1.5)
        psu.configure_output_enabled(True)
        print(psu.measure(veqdx.VEQDX_VAL_MEASURE_VOLTAGE))
        try:
            psu.configure_voltage_level(5.0, output="Output7")
        except veqdx.VeqdxError as error:
            print(hex(error.status & 0xFFFFFFFF), error.description)

Outputs are named by a selector string ("Output1", "Output1-Output3"); the default ""
names the only output of a single-output supply. Failures raise VeqdxError (.status,
.description, .function); warning statuses are reported with warnings.warn(VeqdxWarning).
veqdx.lowlevel offers every C function under its own name, for anything not wrapped here.
The library is found through VEQDX_LIBRARY, then beside this package, then as libveqdx.so.1.
"""
from . import lowlevel
from ._constants import *  # noqa: F401,F403
from .session import Session, VeqdxError, VeqdxWarning, error_message, get_error

__all__ = ["Session", "VeqdxError", "VeqdxWarning", "error_message", "get_error", "lowlevel"]
__all__ += [name for name in dir() if name.isupper()]
