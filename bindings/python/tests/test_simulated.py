"""The API on a simulated session: settings, errors, locking, logging and plotting."""
from __future__ import annotations

import gc
import sys
import threading
from pathlib import Path

import pytest

import veqdx
from veqdx import CurrentLimitBehavior as Behavior, ExternalLogic, ExternalRange, OperationMode
from veqdx import PowerOnState, ProtectionRecovery, TriggerSource

# (path from the output, two values to assign in turn, what each reads back as)
SETTINGS = [
    ("enabled", (True, False), (True, False)),
    ("voltage_level", (12.345678901, 3.0), (12.345678901, 3.0)),
    ("current_limit", (2.5, 1.25), (2.5, 1.25)),
    ("current_limit_behavior", ("trip", 0), (Behavior.TRIP, Behavior.REGULATE)),
    ("ovp_limit", (50.25, 60.5), (50.25, 60.5)),
    ("uvl", (1.5, 0.5), (1.5, 0.5)),
    ("ocp_limit", (3.25, 4.5), (3.25, 4.5)),
    ("pon_state", ("force", PowerOnState.SAFE), (PowerOnState.FORCE, PowerOnState.SAFE)),
    ("protection_recovery", ("auto", "safe"), (ProtectionRecovery.AUTO, ProtectionRecovery.SAFE)),
    ("operation_priority", ("cc", "cv"), (OperationMode.CC, OperationMode.CV)),
    ("bleeder_enabled", (False, True), (False, True)),
    ("external_monitor_range", ("high", "low"), (ExternalRange.HIGH, ExternalRange.LOW)),
    ("trigger_source", ("software", 0), (TriggerSource.SOFTWARE, TriggerSource.IMMEDIATE)),
    ("triggered_voltage_level", (7.5, 8.0), (7.5, 8.0)),
    ("triggered_current_limit", (0.75, 1.0), (0.75, 1.0)),
    ("external_control.output_control_enabled", (True, False), (True, False)),
    ("external_control.output_control_logic", ("high", "low"),
     (ExternalLogic.HIGH, ExternalLogic.LOW)),
    ("external_control.analog_control_range", ("high", "low"),
     (ExternalRange.HIGH, ExternalRange.LOW)),
    ("external_control.cc_control_enabled", (True, False), (True, False)),
    ("external_control.cv_control_enabled", (True, False), (True, False)),
]


@pytest.mark.parametrize("path, values, expected", SETTINGS)
def test_settings_read_back_what_was_assigned(sim: veqdx.Session, path: str,
                                              values: tuple[object, object],
                                              expected: tuple[object, object]) -> None:
    *parents, name = path.split(".")
    owner: object = sim.output
    for parent in parents:
        owner = getattr(owner, parent)
    for value, wanted in zip(values, expected):
        setattr(owner, name, value)
        read = getattr(owner, name)
        assert (read, type(read)) == (wanted, type(wanted))


def test_simulated_session_basics(sim: veqdx.Session) -> None:
    assert sim.revision() == ("1.0.4.0", "Sim1.0.4.0")
    assert sim.self_test().code == 0
    assert ([o.name for o in sim.outputs], sim.outputs.channel_names(), sim.output.name) == (
        ["Output0"], ["Output0"], "Output0")
    assert (sim.simulating, sim.model) == (True, "QDX750ML")
    out = sim.output
    out.voltage_level, out.enabled = 5.5, True
    assert (out.measure("voltage"), out.measure_voltage()) == (5.5, 5.5)
    sim.set_attribute(veqdx.VEQDX_ATTR_RANGE_CHECK, False)
    assert sim.range_check is False
    assert sim.get_attribute(veqdx.VEQDX_ATTR_SPECIFIC_DRIVER_PREFIX, str) == "veqdx"


def fail_open() -> None:
    veqdx.Session("TCPIP::localhost::INSTR", options="Simulate=maybe")


def closed_session_call() -> None:
    with veqdx.Session("TCPIP::localhost::INSTR", simulate=True) as session:
        pass
    session.reset()


# (what fails, exception class, built-in it also is, status, start of the description)
FAILURES = [
    (lambda s: setattr(s.output, "voltage_level", 85), veqdx.InvalidValueError, ValueError,
     0xBFFA0010, "VelmoraQdx: Invalid value (85) for method put_VoltageLevel, parameter val."),
    (lambda s: setattr(s.select("Output3"), "voltage_level", 1), veqdx.UnknownChannelError,
     KeyError, 0xBFFA0020, "VelmoraQdx: Unknown channel name. Output3"),
    (lambda s: s.outputs["Output3"], veqdx.UnknownChannelError, KeyError, 0xBFFA0020,
     "no output 'Output3'; this supply has Output0"),
    (lambda s: setattr(s.output, "ovp_enabled", False), veqdx.InvalidValueError, ValueError,
     0xBFFA0013, ""),
    (lambda s: s.get_attribute(veqdx.VEQDX_ATTR_PON_STATE, float), veqdx.VeqdxError,
     Exception, 0xBFFA0015, ""),
    (lambda s: s.status.standard_event.condition, veqdx.VeqdxError, Exception, 0xBFFA4218,
     "The given Sub-Register type is invalid."),
    (lambda s: s.output.measure("power"), veqdx.InvalidValueError, ValueError, 0xBFFA0010,
     "'power' is no Measurement"),
    (lambda s: s.write("*IDN?\0junk"), veqdx.InvalidValueError, ValueError, 0xBFFA0010,
     "a string for the driver cannot contain NUL"),
    (lambda s: fail_open(), veqdx.VeqdxError, Exception, 0xBFFA004C,
     "VelmoraQdx: The maybe value in the option string is unknown."),
    (lambda s: closed_session_call(), veqdx.VeqdxError, Exception, 0xBFFA1190,
     "The session handle is not valid."),
]


@pytest.mark.parametrize("action, kind, builtin, status, text", FAILURES)
def test_failures_raise_the_matching_exception(sim: veqdx.Session, action: object,
                                               kind: type, builtin: type, status: int,
                                               text: str) -> None:
    with pytest.raises(kind) as caught:
        action(sim)  # type: ignore[operator]
    error = caught.value
    assert isinstance(error, builtin)
    assert error.status & 0xFFFFFFFF == status
    assert error.description.startswith(text) and not error.description.endswith("\n")
    assert f"0x{status:08X}" in str(error) and "\r" not in str(error)


def test_a_dropped_session_is_closed() -> None:
    vi = veqdx.Session("TCPIP::localhost::INSTR", simulate=True).vi
    gc.collect()  # the session's parts refer back to it
    assert veqdx.lowlevel.veqdx_ClearError(vi) == veqdx.VEQDX_ERROR_INVALID_SESSION_HANDLE


def test_error_record_follows_the_failure(sim: veqdx.Session) -> None:
    with pytest.raises(veqdx.InvalidValueError) as caught:
        sim.output.voltage_level = -1
    assert sim.last_error == (caught.value.status, caught.value.description)
    sim.clear_error()
    assert sim.last_error == (0, "")
    assert sim.error_message(veqdx.VEQDX_ERROR_IO_TIMEOUT) == "I/O timeout error."


def test_lock_holds_other_threads_off_until_released(sim: veqdx.Session) -> None:
    finished = threading.Event()

    def other_thread() -> None:
        sim.output.voltage_level  # noqa: B018 - waits for the lock
        finished.set()

    with sim.lock(), sim.lock():  # re-entrant
        worker = threading.Thread(target=other_thread, daemon=True)
        worker.start()
        assert not finished.wait(0.3), "a call got through a held lock"
    assert finished.wait(10), "lock not released"
    worker.join()


def test_log_keeps_a_steady_schedule(sim: veqdx.Session) -> None:
    sim.output.voltage_level, sim.output.current_limit, sim.output.enabled = 4.0, 0.5, True
    rows = list(sim.log(interval=0.05, count=4))
    assert [(r.output, r.voltage, r.current) for r in rows] == [("Output0", 4.0, 0.5)] * 4
    assert all(row.elapsed >= n * 0.05 for n, row in enumerate(rows))
    assert len(list(sim.log(interval=0.05, duration=0.1))) == 3  # at 0, 0.05 and 0.1 s
    with pytest.raises(ValueError, match="count= or duration="):
        next(sim.log(interval=0.05))


def test_plot_writes_a_png(sim: veqdx.Session, tmp_path: Path) -> None:
    pytest.importorskip("matplotlib")
    sim.output.enabled = True
    target = veqdx.plot(sim.log(interval=0.01, count=3), tmp_path / "run.png", title="t")
    assert target.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"


def test_plot_without_matplotlib_says_what_to_install(monkeypatch: pytest.MonkeyPatch,
                                                      tmp_path: Path) -> None:
    monkeypatch.setitem(sys.modules, "matplotlib", None)
    with pytest.raises(ImportError, match="python3-matplotlib"):
        veqdx.plot([], tmp_path / "run.png")


def test_a_store_name_opens_its_session(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    store = tmp_path / "store.xml"
    store.write_text(
        '<IviConfigStore><SoftwareModules><SoftwareModule name="VelmoraQdx" prefix="veqdx"/>'
        '</SoftwareModules><DriverSessions>'
        '<DriverSession name="PSU1" softwareModule="VelmoraQdx" resource="TCPIP::localhost::INSTR"'
        ' simulate="true" driverSetup="Model=QDX750L"/></DriverSessions>'
        '<LogicalNames><LogicalName name="MainSupply" session="PSU1"/></LogicalNames>'
        '</IviConfigStore>')
    monkeypatch.setenv("IVI_CONFIG_STORE", str(store))
    with veqdx.Session("MainSupply") as psu:
        assert psu.simulating and psu.model == "QDX750L"
        assert psu.get_attribute(veqdx.VEQDX_ATTR_LOGICAL_NAME, str) == "MainSupply"
