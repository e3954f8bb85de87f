"""Installing the package: cmake --install into a prefix, and pip into a fresh venv.

Both run a program with no veqdx environment variables, which must find the library on its
own: the prefix's library through the path recorded at install, the venv's copy beside the
package (the way a wheel carries it).
"""
from __future__ import annotations

import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

from conftest import BINDING

PROGRAM = ("import veqdx, pathlib; print(pathlib.Path(veqdx.__file__).parent); "
           "print(pathlib.Path(veqdx.lowlevel.library_path()).resolve()); "
           "print(veqdx.Session('TCPIP::localhost::INSTR', simulate=True).revision().driver)")


def run_clean(python: str, folder: Path, pythonpath: str = "") -> list[str]:
    env = {k: v for k, v in os.environ.items()
           if k not in ("VEQDX_LIBRARY", "PYTHONPATH", "LD_LIBRARY_PATH")}
    if pythonpath:
        env["PYTHONPATH"] = pythonpath
    done = subprocess.run([python, "-c", PROGRAM], cwd=folder, env=env, capture_output=True,
                          text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    return done.stdout.splitlines()


def test_cmake_install_puts_a_working_package_in_the_site_folder(tmp_path: Path) -> None:
    build = os.environ.get("VEQDX_BUILD_DIR")
    if not build:
        pytest.skip("VEQDX_BUILD_DIR names no build tree")
    for component in ("veqdx", "python"):
        subprocess.run(["cmake", "--install", build, "--prefix", str(tmp_path / "prefix"),
                        "--component", component], check=True, capture_output=True)
    [package] = (tmp_path / "prefix").glob("lib/python3*/*-packages/veqdx")
    assert (package / "py.typed").exists()
    found = run_clean(sys.executable, tmp_path, str(package.parent))
    library = Path(found[1])
    assert (Path(found[0]), found[2]) == (package, "1.0.4.0")
    assert library.is_relative_to(tmp_path / "prefix") and library.name.startswith("libveqdx")


def test_pip_installs_into_a_fresh_venv(tmp_path: Path) -> None:
    source = tmp_path / "source"  # a copy: an in-tree build would leave files behind
    shutil.copytree(BINDING, source, ignore=shutil.ignore_patterns("tests", "build", "*.egg-info",
                                                                   "__pycache__"))
    library = Path(os.environ["VEQDX_LIBRARY"]).resolve()
    shutil.copy(library, source / "veqdx" / "libveqdx.so.1")  # as a wheel would carry it
    venv = tmp_path / "venv"
    subprocess.run([sys.executable, "-m", "venv", str(venv)], check=True)
    pip = subprocess.run([str(venv / "bin" / "pip"), "install", "--no-build-isolation",
                          "--no-index", "--quiet", str(source)], capture_output=True, text=True)
    assert pip.returncode == 0, pip.stdout + pip.stderr
    found = run_clean(str(venv / "bin" / "python"), tmp_path)
    assert Path(found[0]).is_relative_to(venv) and (Path(found[0]) / "py.typed").exists()
    assert Path(found[1]) == (Path(found[0]) / "libveqdx.so.1").resolve()
    assert found[2] == "1.0.4.0"
