#!/usr/bin/env python3
"""Time per voltage measurement from Python, against one qdx-sim in the same run.

Three clients measure the same output of the same emulator, N times each (default 1000):
  veqdx       out.measure_voltage() through this package
  pyvisa-py   inst.query(":MEAS:VOLT?") with PyVISA's pure-Python backend (Debian:
              python3-pyvisa-py); skipped when it is not installed
  socket      ":MEAS:VOLT?" written and its line read on a plain socket: the floor that the
              emulator and the loopback link set
Prints microseconds per call (median of 5 runs) and the ratios between them.

Usage: measure_voltage.py QDX_SIM [N]   (VEQDX_LIBRARY as for the package)
"""
from __future__ import annotations

import socket
import statistics
import subprocess
import sys
import time
from collections.abc import Callable

import veqdx


def per_call(action: Callable[[], object], count: int) -> float:
    """Median over five runs of the seconds one call takes."""
    action()  # warm up: connection, caches, channel selection
    runs = []
    for _ in range(5):
        start = time.perf_counter()
        for _ in range(count):
            action()
        runs.append((time.perf_counter() - start) / count)
    return statistics.median(runs)


def main() -> int:
    simulator, count = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 1000
    emulator = subprocess.Popen([simulator, "--listen", "127.0.0.1:0"],
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    assert emulator.stdout is not None
    port = int(emulator.stdout.readline())
    resource = f"TCPIP::127.0.0.1::{port}::SOCKET"
    results: dict[str, float] = {}
    try:
        with veqdx.Session(resource, reset=True) as psu:
            out = psu.output
            out.voltage_level, out.current_limit, out.enabled = 12.0, 2.0, True
            results["veqdx"] = per_call(out.measure_voltage, count)
        try:
            import pyvisa
            from pyvisa.resources import MessageBasedResource
            manager = pyvisa.ResourceManager("@py")
            instrument = manager.open_resource(resource, read_termination="\n",
                                               write_termination="\n")
            assert isinstance(instrument, MessageBasedResource)
            query = instrument.query
            results["pyvisa-py"] = per_call(lambda: query(":MEAS:VOLT?"), count)
            instrument.close()
            manager.close()
        except ImportError:
            print("pyvisa-py not installed (Debian: python3-pyvisa-py): skipped")
        with socket.create_connection(("127.0.0.1", port)) as link:
            reader = link.makefile("rb")

            def raw() -> bytes:
                link.sendall(b":MEAS:VOLT?\n")
                return reader.readline()
            results["socket"] = per_call(raw, count)
    finally:
        emulator.terminate()
        emulator.wait(10)
        emulator.stdout.close()
    for name, seconds in results.items():
        print(f"{name:10} {seconds * 1e6:9.1f} us per call ({count} calls, median of 5)")
    if "pyvisa-py" in results:
        print(f"ratio pyvisa-py/veqdx {results['pyvisa-py'] / results['veqdx']:.2f}")
    print(f"ratio veqdx/socket    {results['veqdx'] / results['socket']:.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
