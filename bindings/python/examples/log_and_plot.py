#!/usr/bin/env python3
"""Step the voltage of every output in three steps while logging, then plot the run.

Usage: log_and_plot.py [RESOURCE [IMAGE]]   (default: simulated session, run.png)
Needs matplotlib for the plot (Debian: python3-matplotlib).
"""
import sys

import veqdx

resource = sys.argv[1] if len(sys.argv) > 1 else "TCPIP::localhost::INSTR"
image = sys.argv[2] if len(sys.argv) > 2 else "run.png"
readings: list[veqdx.Reading] = []
with veqdx.Session(resource, simulate=len(sys.argv) < 2, timeout=5) as psu:
    outputs = list(psu.outputs)
    for out in outputs:
        out.current_limit, out.enabled = 2.0, True
    for volts in (4.0, 9.0, 15.0):
        for number, out in enumerate(outputs, start=1):
            out.voltage_level = volts + 2 * number
        readings += psu.log(interval=0.05, count=15)
    for out in outputs:
        out.enabled = False
    title = f"{psu.model}: voltage steps"
print(f"{len(readings)} readings; plot in", veqdx.plot(readings, image, title=title))
