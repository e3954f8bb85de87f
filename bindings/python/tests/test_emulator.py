"""The API against qdx-sim: what goes on the wire, replies, timeouts, link failures, examples."""
from __future__ import annotations

import os
import socket
import subprocess
import sys
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest

import veqdx
from conftest import BINDING, Emulator

Out = veqdx.Output
S = veqdx.Session

# (action on the session and its Output2, the messages it sends)
WIRE: list[tuple[Callable[[S, Out], Any], list[str]]] = [
    (lambda s, o: setattr(s.select("Output1-Output3"), "voltage_level", 12.345678901),
     [":INST:NSEL 1", ":VOLT 12.345678901", ":INST:NSEL 2", ":VOLT 12.345678901",
      ":INST:NSEL 3", ":VOLT 12.345678901"]),
    (lambda s, o: setattr(o, "enabled", True), [":INST:NSEL 2", ":OUTP 1"]),
    (lambda s, o: o.configure_current_limit(2.5, "trip"),
     [":INST:NSEL 2", ":CURR 2.5"]),  # the driver ignores the behaviour here
    (lambda s, o: o.configure_ovp(50.25), [":INST:NSEL 2", ":VOLT:PROT 50.25"]),
    (lambda s, o: setattr(o, "uvl", 1.5), [":INST:NSEL 2", ":VOLT:LIM:LOW 1.5"]),
    (lambda s, o: setattr(o, "ocp_limit", 3.25), [":INST:NSEL 2", ":CURR:PROT 3.25"]),
    (lambda s, o: setattr(o, "pon_state", "force"), [":INST:NSEL 2", ":OUTP:PON FORC"]),
    (lambda s, o: setattr(o, "protection_recovery", "auto"),
     [":INST:NSEL 2", ":SYST:CONF:PROT:REC AUTO"]),
    (lambda s, o: setattr(o, "operation_priority", "cc"),
     [":INST:NSEL 2", ":SYST:CONF:STAR:PRI CC"]),
    (lambda s, o: setattr(o, "external_monitor_range", "high"),
     [":INST:NSEL 2", ":SYST:CONF:MON:RANG HIGH"]),
    (lambda s, o: setattr(o.external_control, "output_control_logic", "high"),
     [":INST:NSEL 2", ":OUTP:EXT:LOG HIGH"]),
    (lambda s, o: setattr(o.external_control, "cv_control_enabled", True),
     [":INST:NSEL 2", ":VOLT:EXT:SOUR VOLT"]),
    (lambda s, o: setattr(o, "triggered_voltage_level", 7.5), [":INST:NSEL 2", ":VOLT:TRIG 7.5"]),
    (lambda s, o: setattr(o, "trigger_source", "software"),
     [":INST:NSEL 2", "TRIG:TRAN:SOUR BUS"]),
    (lambda s, o: setattr(o, "current_limit_behavior", "trip"),
     [":INST:NSEL 2", ":CURR:PROT:STAT 1"]),
    (lambda s, o: (s.trigger.initiate(), s.trigger.send_software_trigger(), s.trigger.abort()),
     [":INIT", "*TRG", ":ABOR"]),
    (lambda s, o: (s.save_state("b"), s.recall_state(veqdx.Memory.C)), ["*SAV 2", "*RCL 3"]),
    (lambda s, o: (s.status.clear(), s.status.preset()), ["*CLS", ":STAT:PRES"]),
    (lambda s, o: setattr(s.status.operation, "enable", 0x100), [":STAT:OPER:ENAB 256"]),
    (lambda s, o: setattr(o.status.operation, "enable", 3), [":STAT:OPER:INST:ISUM2:ENAB 3"]),
    (lambda s, o: s.status.operation.instrument.condition, [":STAT:OPER:INST:COND?"]),
    (lambda s, o: (setattr(s.global_settings, "enabled", True),
                   setattr(s.global_settings, "voltage_level", 5),
                   setattr(s.global_settings, "current_limit", 2)),
     [":GLOB:OUTP 1", ":GLOB:VOLT 5", ":GLOB:CURR 2"]),
    (lambda s, o: o.reset_protection(), [":INST:NSEL 2", ":OUTP:PROT:CLE"]),
    (lambda s, o: o.configure_range("voltage", 30), []),
]


@pytest.mark.parametrize("action, expected", WIRE)
def test_wire_traffic(emulator: Emulator, psu: S, action: Callable[[S, Out], Any],
                      expected: list[str]) -> None:
    assert emulator.sent(psu, lambda: action(psu, psu.outputs["Output2"])) == expected


def test_replies(psu: S) -> None:
    out = psu.outputs["Output2"]
    out.voltage_level, out.current_limit, out.enabled = 12.5, 2.0, True  # 10 ohm load
    assert out.measure_voltage() == 12.5
    assert out.query_state("constant voltage") and not out.query_state("over voltage")
    assert out.status.operation.condition & 0x100  # constant voltage
    assert out.max_voltage_level(2.0) == 80.0
    assert psu.error_query() == (0, "No error")
    with pytest.raises(veqdx.UnknownChannelError):
        psu.output  # three outputs: a name is needed  # noqa: B018
    psu.write("*IDN?")
    assert psu.read() == "Velmora,QDX750ML,SIM0001,1.00"
    assert psu.query(":VOLT?;" * 599 + ":VOLT?") == ";".join(["12.5"] * 600)


def test_timeout_raises_timeout_error_and_the_session_stays_usable(emulator: Emulator) -> None:
    with veqdx.Session(emulator.resource, timeout=0.3) as psu:
        psu.write(":VOLT 1")  # no reply comes
        with pytest.raises(TimeoutError) as caught:
            psu.read()
        assert isinstance(caught.value, veqdx.VeqdxTimeoutError)
        assert caught.value.status == veqdx.VEQDX_ERROR_IO_TIMEOUT
        assert psu.query("*OPC?") == "1"


def test_refused_connection_is_an_os_error() -> None:
    with socket.socket() as closed:
        closed.bind(("127.0.0.1", 0))
        port = closed.getsockname()[1]
    with pytest.raises(OSError) as caught:
        veqdx.Session(f"TCPIP::127.0.0.1::{port}::SOCKET", timeout=2)
    assert isinstance(caught.value, veqdx.VeqdxIOError)


def run_example(name: str, *arguments: str) -> str:
    done = subprocess.run([sys.executable, str(BINDING / "examples" / name), *arguments],
                          capture_output=True, text=True, timeout=120, env=os.environ)
    assert done.returncode == 0, done.stderr
    return done.stdout


def test_examples_run_against_the_emulator(emulator: Emulator, tmp_path: Path) -> None:
    stats = run_example("measure_stats.py", emulator.resource)
    assert "min 12.000 V" in stats and "mean 12.000 V" in stats and "max 12.000 V" in stats
    pytest.importorskip("matplotlib")
    image = tmp_path / "run.png"
    run_example("log_and_plot.py", emulator.resource, str(image))
    assert image.read_bytes()[:4] == b"\x89PNG"
