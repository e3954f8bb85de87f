#!/usr/bin/env python3
"""Set 12 V and 2 A on the first output, switch it on, measure 100 times, print statistics.

Usage: measure_stats.py [RESOURCE]   (without a resource the session is simulated)
"""
import statistics
import sys

import veqdx

resource = sys.argv[1] if len(sys.argv) > 1 else "TCPIP::localhost::INSTR"
with veqdx.Session(resource, simulate=len(sys.argv) < 2, timeout=5) as psu:
    out = next(iter(psu.outputs))
    out.voltage_level, out.current_limit, out.enabled = 12.0, 2.0, True
    volts = [out.measure_voltage() for _ in range(100)]
    out.enabled = False
print(f"{out.name}: {len(volts)} readings, min {min(volts):.3f} V, "
      f"mean {statistics.mean(volts):.3f} V, max {max(volts):.3f} V")
