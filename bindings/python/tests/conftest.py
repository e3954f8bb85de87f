"""Fixtures: a simulated session, and a qdx-sim emulator with a transcript of what it got.

Environment: VEQDX_LIBRARY names the library under test; QDX_SIM the qdx-sim program (the
emulator tests are skipped without it); VEQDX_SOURCE_DIR / VEQDX_BUILD_DIR the trees.
"""
from __future__ import annotations

import os
import subprocess
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import pytest

import veqdx

BINDING = Path(__file__).resolve().parent.parent
HEADER = BINDING.parent.parent / "include" / "veqdx.h"


@pytest.fixture
def sim() -> Iterator[veqdx.Session]:
    with veqdx.Session("TCPIP::localhost::INSTR", simulate=True) as session:
        yield session


class Emulator:
    """A qdx-sim process with outputs 1 to 3 (QDX750ML: 80 V, 28 A each)."""

    def __init__(self, folder: Path, *arguments: str) -> None:
        self.transcript = folder / "transcript.log"
        self.process = subprocess.Popen(
            [os.environ["QDX_SIM"], "--listen", "127.0.0.1:0", "--channels", "1,2,3",
             "--transcript", str(self.transcript), *arguments],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        assert self.process.stdout is not None
        self.port = self.process.stdout.readline().strip()
        self.resource = f"TCPIP::127.0.0.1::{self.port}::SOCKET"

    def lines(self) -> list[str]:
        return [line.split(" ", 2)[2] for line in self.transcript.read_text().splitlines()]

    def sent(self, session: veqdx.Session, action: Callable[[], Any]) -> list[str]:
        """The messages ``action`` sent, fenced by a query of our own."""
        mark = len(self.lines())
        action()
        assert session.query("*OPC?") == "1"
        return self.lines()[mark:-1]

    def stop(self) -> None:
        self.process.terminate()
        self.process.wait(10)
        assert self.process.stdout is not None
        self.process.stdout.close()


@pytest.fixture(scope="module")
def emulator(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Emulator]:
    if not os.environ.get("QDX_SIM"):
        pytest.skip("QDX_SIM names no qdx-sim program")
    running = Emulator(tmp_path_factory.mktemp("sim"))
    yield running
    running.stop()


@pytest.fixture
def psu(emulator: Emulator) -> Iterator[veqdx.Session]:
    with veqdx.Session(emulator.resource, reset=True) as session:
        yield session
