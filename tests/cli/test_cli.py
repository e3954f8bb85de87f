"""The veqdx tool run through its command line, as a user runs it: a simulated session, and
qdx-sim on 127.0.0.1 (raw socket, VXI-11 with its own portmapper port, a pseudo-terminal).
VEQDX_CLI and QDX_SIM name the programs (set by CTest)."""
import json
import os
import re
import signal
import subprocess
import time
from pathlib import Path

import pytest

CLI = os.environ["VEQDX_CLI"]
SIM = os.environ["QDX_SIM"]
IDN = "Velmora,QDX750ML,SIM0001,1.00"
ERROR_LINE = re.compile(r"^veqdx: 0x[0-9A-F]{8} \S.*$")


def run(*args, env=None, timeout=30):
    full_env = {k: v for k, v in os.environ.items() if k not in ("VEQDX_RESOURCE", "IVI_CONFIG_STORE")}
    full_env.update(env or {})
    return subprocess.run([CLI, *args], capture_output=True, text=True, timeout=timeout, env=full_env)


class Sim:
    """A qdx-sim process; its first output lines tell the ports (or the terminal)."""

    def __init__(self, tmp, *flags):
        self.transcript = tmp / f"transcript{id(self)}"
        self.proc = subprocess.Popen([SIM, "--listen", "127.0.0.1:0", "--transcript", str(self.transcript), *flags],
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.port = self.proc.stdout.readline().strip()
        self.vxi11 = self.proc.stdout.readline().split() if "--vxi11" in flags else None
        self.resource = f"TCPIP::127.0.0.1::{self.port}::SOCKET"

    def received(self):
        """The messages received since the last call, without time stamp and connection."""
        lines = self.transcript.read_text().splitlines()
        new, self.seen = lines[getattr(self, "seen", 0):], len(lines)
        return [line.split(" ", 2)[2] for line in new]

    def stop(self):
        self.proc.send_signal(signal.SIGTERM)
        self.proc.wait(timeout=10)


@pytest.fixture(scope="module")
def sim(tmp_path_factory):
    s = Sim(tmp_path_factory.mktemp("sim"), "--channels", "1,2", "--vxi11", "--portmap-port", "0")
    yield s
    s.stop()


def on(sim, *args):
    return run("-r", sim.resource, *args)


# ---- simulated session ------------------------------------------------------------------------

SIMULATED = [  # arguments, text output (exact)
    (["identify"], "Model: QDX750ML\nManufacturer: Velmora\nSerial: \nFirmware: Sim1.0.4.0\n"
                   "Driver: 1.0.4.0\nOutput0  80 V  28 A  750 W\n"),
    (["set", "--voltage", "12", "--on", "-v"], "Output0: VoltageLevel 12\nOutput0: Enabled true\n"),
    (["measure"], "Output0  0.000 V  0.000 A\n"),
    (["self-test"], "0 Selftest passed\n"),
    (["errors"], ""),
    (["reset"], ""),
]


@pytest.mark.parametrize("args,text", SIMULATED, ids=[a[0] for a, _ in SIMULATED])
def test_simulated_text(args, text):
    r = run("--simulate", *args)
    assert (r.returncode, r.stdout, r.stderr) == (0, text, "")


def test_simulated_json():
    ident = json.loads(run("--simulate", "identify", "--json").stdout)
    assert ident == {"model": "QDX750ML", "manufacturer": "Velmora", "serial": "", "firmware": "Sim1.0.4.0",
                     "driver": "1.0.4.0", "outputs": [{"name": "Output0", "volts": 80, "amps": 28, "watts": 750}]}
    assert json.loads(run("--simulate", "set", "--off", "--json").stdout) == {"ok": True}
    assert json.loads(run("self-test", "--json", "--simulate").stdout) == {"result": 0, "message": "Selftest passed"}
    # The resource may come from the environment instead of --resource.
    r = run("--simulate", "get", "--json", env={"VEQDX_RESOURCE": "TCPIP::localhost::INSTR"})
    assert json.loads(r.stdout)["outputs"][0]["enabled"] is False


def test_driver_failure_is_one_line_with_status():
    r = run("--simulate", "scpi", "*IDN?")  # no direct I/O while simulating
    assert r.returncode == 1 and r.stdout == ""
    assert ERROR_LINE.match(r.stderr) and r.stderr.startswith("veqdx: 0xBFFA4214 ") and r.stderr.count("\n") == 1
    r = run("--simulate", "--options", "DriverSetup=IoTimeout=5s", "get")
    assert r.returncode == 1 and r.stderr.startswith("veqdx: 0xBFFA004C ") and "5s" in r.stderr


USAGE = [  # arguments, what the message says
    ([], "subcommand is required"),
    (["frob"], "unknown command 'frob'"),
    (["get"], "--resource"),
    (["--simulate", "set"], "nothing to set"),
    (["--simulate", "set", "--on", "--off"], "excludes"),
    (["--simulate", "log"], "--count N or --duration S"),
    (["--simulate", "log", "--count", "2", "--duration", "1"], "excludes"),
    (["--simulate", "--timeout", "0", "get"], "--timeout"),
    (["store", "add", "X"], "--resource"),
    (["scpi", "--simulate"], "CMD"),
]


@pytest.mark.parametrize("args,message", USAGE, ids=[" ".join(a) or "none" for a, _ in USAGE])
def test_usage_errors(args, message):
    r = run(*args)
    assert r.returncode == 2 and message in r.stderr and "--help' for usage." in r.stderr, r.stderr


@pytest.mark.parametrize("command", ["", "identify", "set", "get", "measure", "state", "log", "scpi", "errors",
                                     "reset", "self-test", "discover", "store", "store list", "store add",
                                     "store remove"])
def test_every_help_has_an_example(command):
    r = run(*command.split(), "--help")
    assert r.returncode == 0 and "\nExample:\n  veqdx " in r.stdout


def test_version_names_tool_and_driver():
    r = run("--version")
    assert r.returncode == 0 and re.fullmatch(r"veqdx \d+\.\d+\.\d+\ndriver 1\.0\.4\.0\n", r.stdout)


# ---- against qdx-sim --------------------------------------------------------------------------

def test_set_sends_each_setting_in_order_then_reads_back(sim):
    sim.received()
    r = on(sim, "set", "-o", "Output2", "--voltage", "5", "--current", "1", "--ovp", "20", "--ocp", "2",
           "--uvl", "1", "--on")
    assert (r.returncode, r.stdout, r.stderr) == (0, "", "")
    sent = sim.received()
    assert sent[sent.index(":INST:NSEL 2"):] == [":INST:NSEL 2", ":VOLT 5", ":CURR 1", ":VOLT:PROT 20",
                                                 ":CURR:PROT 2", ":VOLT:LIM:LOW 1", ":OUTP 1"]
    got = json.loads(on(sim, "get", "--json", "-o", "Output2").stdout)
    assert got == {"outputs": [{"name": "Output2", "voltage_level": 5, "current_limit": 1, "ovp_limit": 20,
                                "ocp_limit": 2, "uvl": 1, "enabled": True}]}
    assert on(sim, "get", "-o", "Output2").stdout == (
        "Output2\n  VoltageLevel  5 V\n  CurrentLimit  1 A\n  OVPLimit      20 V\n  OCPLimit      2 A\n"
        "  UVL           1 V\n  Enabled       true\n")


def test_reading_commands(sim):
    on(sim, "set", "-o", "Output2", "--voltage", "5", "--current", "1", "--on")
    on(sim, "set", "-o", "Output1", "--off")
    assert on(sim, "identify").stdout == (f"Model: QDX750ML\nManufacturer: Velmora\nSerial: SIM0001\n"
                                          "Firmware: 1.00\nDriver: 1.0.4.0\nOutput1  80 V  28 A  750 W\n"
                                          "Output2  80 V  28 A  750 W\n")
    # 5 V on the default 10 ohm load: 0.5 A, constant voltage; the other output is off.
    assert on(sim, "measure", "-o", "Output1-Output2").stdout == "Output1  0.000 V  0.000 A\nOutput2  5.000 V  0.500 A\n"
    assert json.loads(on(sim, "measure", "--json", "-o", "Output2").stdout) == {
        "outputs": [{"name": "Output2", "volts": 5, "amps": 0.5}]}
    assert on(sim, "state").stdout == "Output1  none\nOutput2  CV\n"
    assert json.loads(on(sim, "state", "--json").stdout)["outputs"][1] == {"name": "Output2", "states": ["CV"]}
    sim.received()
    assert on(sim, "scpi", ":VOLT 7.5", ":VOLT?", "*IDN?").stdout == f"7.5\n{IDN}\n"
    assert sim.received()[-3:] == [":VOLT 7.5", ":VOLT?", "*IDN?"]
    assert json.loads(on(sim, "scpi", "--json", ":VOLT?").stdout) == {"replies": ["7.5"]}


def test_errors_drains_the_queue(sim):
    on(sim, "scpi", ":VOLT 999", ":CURR 999")
    assert on(sim, "errors").stdout == '-222,"Data out of range"\n-222,"Data out of range"\n'
    assert json.loads(on(sim, "errors", "--json").stdout) == {"errors": []}
    on(sim, "scpi", ":VOLT 999")
    assert json.loads(on(sim, "errors", "--json").stdout) == {"errors": [{"code": -222, "message": "Data out of range"}]}


def test_unknown_output_and_unreachable_instrument(sim):
    r = on(sim, "measure", "-o", "Output7")
    assert r.returncode == 1 and r.stderr.startswith("veqdx: 0xBFFA0020 ") and "Output7" in r.stderr
    r = run("-r", "TCPIP::127.0.0.1::1::SOCKET", "--timeout", "500", "identify")
    assert r.returncode == 1 and ERROR_LINE.match(r.stderr) and r.stderr.count("\n") == 1


def read_csv(path):
    lines = path.read_text().split("\n")
    assert lines[0] == "time,output,volts,amps" and lines[-1] == ""  # every row complete
    return [line.split(",") for line in lines[1:-1]]


def stamp(row):
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z", row[0])
    t = time.strptime(row[0][:19], "%Y-%m-%dT%H:%M:%S")
    return time.mktime(t) + int(row[0][20:23]) / 1000


def test_log_writes_steady_ticks(sim, tmp_path):
    on(sim, "set", "-o", "Output2", "--voltage", "5", "--current", "1", "--on")
    csv = tmp_path / "log.csv"
    r = on(sim, "log", "--interval", "0.2", "--count", "4", "-o", "Output2", "--csv", str(csv))
    assert r.returncode == 0 and r.stdout == "" and "4 readings, 0 skipped, 4 rows" in r.stderr
    rows = read_csv(csv)
    assert [row[1:] for row in rows] == [["Output2", "5", "0.5"]] * 4
    times = [stamp(row) for row in rows]
    assert all(0.1 < b - a < 0.3 for a, b in zip(times, times[1:])), times
    # To standard output by default, and quiet leaves standard error empty.
    r = on(sim, "log", "--interval", "0.05", "--count", "2", "-q")
    assert r.returncode == 0 and r.stderr == "" and r.stdout.count("\n") == 5


def test_log_skips_missed_ticks_instead_of_bunching(tmp_path):
    slow = Sim(tmp_path, "--reply-delay-ms", "120")  # each reading takes about 240 ms
    try:
        csv = tmp_path / "slow.csv"
        r = run("-r", slow.resource, "log", "--interval", "0.1", "--count", "6", "--csv", str(csv))
        rows = read_csv(csv)
    finally:
        slow.stop()
    assert r.returncode == 0 and len(rows) == 6
    measured = [stamp(row) for row in rows if row[2] != ""]
    skipped = [row for row in rows if row[2] == ""]
    assert skipped and all(row[3] == "" for row in skipped) and f"{len(skipped)} skipped" in r.stderr
    assert all(b - a >= 0.15 for a, b in zip(measured, measured[1:])), measured


def test_ctrl_c_ends_log_with_complete_csv(sim, tmp_path):
    csv = tmp_path / "stop.csv"
    proc = subprocess.Popen([CLI, "-r", sim.resource, "log", "--interval", "0.05", "--count", "1000",
                             "--csv", str(csv)], stderr=subprocess.PIPE, text=True)
    deadline = time.monotonic() + 20
    while (not csv.exists() or csv.read_text().count("\n") < 7) and time.monotonic() < deadline:
        time.sleep(0.02)
    proc.send_signal(signal.SIGINT)
    assert proc.wait(timeout=10) == 130
    rows = read_csv(csv)
    assert len(rows) >= 6 and len(rows) % 2 == 0 and all(len(row) == 4 and row[2] for row in rows)


def test_discover_finds_vxi11_socket_and_serial(sim, tmp_path):
    pty = subprocess.Popen([SIM, "--serial-pty"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        tty = pty.stdout.readline().strip()
        portmap = sim.vxi11[3]
        r = run("discover", "--address", "127.0.0.1", "--portmap-port", portmap, "--socket-port", sim.port,
                "--serial", tty, "--json", "--timeout", "1000")
        text = run("discover", "--address", "127.0.0.1", "--portmap-port", portmap, "--socket-port", sim.port)
    finally:
        pty.send_signal(signal.SIGTERM)
        pty.wait(timeout=10)
    assert r.returncode == 0
    found = {i["resource"]: i["idn"] for i in json.loads(r.stdout)["instruments"]}
    assert found == {"TCPIP::127.0.0.1::INSTR": IDN, sim.resource: IDN, f"ASRL{tty}::INSTR": IDN}
    assert text.returncode == 0 and sorted(text.stdout.splitlines()) == sorted(
        [f"TCPIP::127.0.0.1::INSTR  {IDN}", f"{sim.resource}  {IDN}"])


# ---- configuration store ----------------------------------------------------------------------

FOREIGN = """<?xml version="1.0" encoding="UTF-8"?>
<IviConfigStore version="1">
  <!-- kept by hand -->
  <OtherVendorData x="1"/>
  <HardwareAssets><HardwareAsset name="Scope" resource="TCPIP::10.0.0.9::INSTR"/></HardwareAssets>
  <DriverSessions>
    <DriverSession name="Scope1" softwareModule="OtherScope" hardwareAsset="Scope"/>
  </DriverSessions>
</IviConfigStore>
"""


def test_store_add_list_remove_keeps_foreign_elements(tmp_path):
    env = {"XDG_CONFIG_HOME": str(tmp_path)}
    store = tmp_path / "ivi" / "IviConfigurationStore.xml"
    store.parent.mkdir()
    store.write_text(FOREIGN)
    r = run("store", "add", "PSU1", "--resource", "TCPIP::127.0.0.1::5025::SOCKET", "--simulate",
            "--driver-setup", "Model=QDX750L", "--logical-name", "MainSupply", env=env)
    assert (r.returncode, r.stdout, r.stderr) == (0, "", "")
    listed = json.loads(run("store", "list", "--json", env=env).stdout)
    assert listed["sessions"] == [
        {"name": "Scope1", "resource": "TCPIP::10.0.0.9::INSTR", "software_module": "OtherScope",
         "hardware_asset": "Scope", "simulate": False, "driver_setup": ""},
        {"name": "PSU1", "resource": "TCPIP::127.0.0.1::5025::SOCKET", "software_module": "VelmoraQdx",
         "hardware_asset": "PSU1", "simulate": True, "driver_setup": "Model=QDX750L"}]
    assert listed["logical_names"] == [{"name": "MainSupply", "session": "PSU1"}]
    text = run("store", "list", env=env).stdout
    assert re.search(r"^PSU1 +TCPIP::127\.0\.0\.1::5025::SOCKET +true +Model=QDX750L$", text, re.M)
    assert re.search(r"^MainSupply +PSU1$", text, re.M)
    xml = store.read_text()
    assert 'prefix="veqdx"' in xml and "<!-- kept by hand -->" in xml

    assert run("store", "remove", "PSU1", "--json", env=env).stdout == '{"ok":true}\n'
    xml = store.read_text()
    assert "PSU1" not in xml and "MainSupply" not in xml
    for kept in ('<OtherVendorData x="1"', 'name="Scope1"', 'name="Scope"', "<!-- kept by hand -->"):
        assert kept in xml
    assert [p.name for p in store.parent.iterdir()] == [store.name]  # no temporary left behind
    r = run("store", "remove", "PSU1", env=env)
    assert r.returncode == 1 and r.stderr.startswith("veqdx: 0xBFFA0060 ")


def test_store_file_is_created_and_bad_files_are_reported(tmp_path):
    fresh = tmp_path / "new" / "store.xml"
    assert run("store", "add", "A", "-r", "ASRL1::INSTR", env={"IVI_CONFIG_STORE": str(fresh)}).returncode == 0
    assert 'resource="ASRL1::INSTR"' in fresh.read_text()
    bad = tmp_path / "bad.xml"
    bad.write_text("<IviConfigStore>\n<DriverSessions>\n</IviConfigStore>\n")
    r = run("store", "list", "--store", str(bad))
    assert r.returncode == 1 and r.stderr.startswith("veqdx: 0xBFFA005C ") and "line 3" in r.stderr


def test_logical_name_opens_a_session(sim, tmp_path):
    env = {"IVI_CONFIG_STORE": str(tmp_path / "store.xml")}
    run("store", "add", "PSU1", "--resource", sim.resource, "--logical-name", "MainSupply", env=env)
    r = run("-r", "MainSupply", "identify", "--json", env=env)
    assert r.returncode == 0 and json.loads(r.stdout)["serial"] == "SIM0001"
