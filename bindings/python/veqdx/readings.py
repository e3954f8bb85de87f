"""Timed readings of outputs and a plot of them."""
from __future__ import annotations

import datetime
import math
import time
from collections.abc import Iterable, Iterator
from pathlib import Path
from typing import TYPE_CHECKING, NamedTuple

from . import _constants as c
from .errors import InvalidValueError

if TYPE_CHECKING:
    from .session import Session

__all__ = ["Reading", "log", "plot"]


class Reading(NamedTuple):
    """One measurement of one output.

    ``timestamp`` is the wall-clock time of the reading, ``elapsed`` the seconds since the
    log started (on the monotonic clock), ``voltage`` in volts and ``current`` in amperes.
    """
    timestamp: datetime.datetime
    elapsed: float
    output: str
    voltage: float
    current: float


def log(session: Session, interval: float = 1.0, count: int | None = None,
        duration: float | None = None,
        outputs: Iterable[str] | None = None) -> Iterator[Reading]:
    """Measure voltage and current of ``outputs`` (default: all) every ``interval`` seconds.

    Stops after ``count`` rounds or after ``duration`` seconds (give one of them; both:
    whichever comes first). The schedule is steady: rounds start at whole multiples of
    ``interval`` after the first; when a round overruns, the slots it missed are skipped
    rather than crowding the next rounds. Yields one :class:`Reading` per output and round.
    """
    if count is None and duration is None:
        raise InvalidValueError(c.VEQDX_ERROR_INVALID_VALUE, "log needs count= or duration=")
    if interval <= 0:
        raise InvalidValueError(c.VEQDX_ERROR_INVALID_VALUE,
                                f"interval must be positive seconds, not {interval!r}")
    selected = [session.outputs[name] for name in (outputs or session.outputs.names())]
    start = time.monotonic()
    slot, rounds = 0, 0
    while count is None or rounds < count:
        if duration is not None and slot * interval > duration:
            return
        time.sleep(max(0.0, start + slot * interval - time.monotonic()))
        for output in selected:
            voltage, current = output.measure_voltage(), output.measure_current()
            yield Reading(datetime.datetime.now(datetime.timezone.utc),
                          time.monotonic() - start, output.name, voltage, current)
        rounds += 1
        slot = max(slot + 1, math.ceil((time.monotonic() - start) / interval))


def plot(readings: Iterable[Reading], path: str | Path, title: str = "") -> Path:
    """Draw voltage and current over time, one line per output, into an image file.

    Time runs in seconds from the earliest reading's timestamp, so the readings of several
    :func:`log` runs line up.

    The file type follows the suffix of ``path`` (".png", ".svg", ".pdf"). Needs matplotlib
    (Debian: python3-matplotlib; pip: the "plot" extra). Returns the path written.
    """
    try:
        import matplotlib
        matplotlib.use("Agg")  # files only: no display needed
        import matplotlib.pyplot as pyplot
    except ImportError as error:
        raise ImportError("veqdx.plot needs matplotlib: install python3-matplotlib "
                          "(apt) or 'pip install veqdx[plot]'") from error
    rows = list(readings)
    by_output: dict[str, list[Reading]] = {}
    for reading in rows:
        by_output.setdefault(reading.output, []).append(reading)
    first = min((row.timestamp for row in rows), default=None)
    figure, (volts, amperes) = pyplot.subplots(2, 1, sharex=True, figsize=(8, 5))
    for name, series in by_output.items():
        times = [(row.timestamp - first).total_seconds() for row in series if first]
        volts.plot(times, [row.voltage for row in series], marker=".", label=name)
        amperes.plot(times, [row.current for row in series], marker=".", label=name)
    volts.set_ylabel("voltage (V)")
    amperes.set_ylabel("current (A)")
    amperes.set_xlabel("time (s)")
    for axes in (volts, amperes):
        axes.grid(True)
    volts.legend(loc="best")
    if title:
        volts.set_title(title)
    figure.tight_layout()
    target = Path(path)
    figure.savefig(target)
    pyplot.close(figure)
    return target
