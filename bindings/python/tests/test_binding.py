"""The binding against the header, its loading, enumerations, options and documentation."""
from __future__ import annotations

import ast
import ctypes.util
import inspect
import os
import re
import shutil
import subprocess
import sys
from ctypes import POINTER, c_char, c_char_p, c_double, c_int16, c_int32, c_uint16, c_uint32
from pathlib import Path

import pytest

import gen_constants
import veqdx
from veqdx import lowlevel
from conftest import BINDING, HEADER

C_TYPES = {"ViSession": c_uint32, "ViStatus": c_int32, "ViInt32": c_int32, "ViInt16": c_int16,
           "ViBoolean": c_uint16, "ViReal64": c_double, "ViAttr": c_uint32,
           "ViConstString": c_char_p}


def header_functions() -> dict[str, list[object]]:
    text = re.sub(r"/\*.*?\*/", "", HEADER.read_text(encoding="utf-8"), flags=re.S)
    found = {}
    for name, params in re.findall(r"VEQDX_EXPORT\s+ViStatus\s+(\w+)\s*\(([^)]*)\)", text):
        types: list[object] = []
        for param in (p.strip() for p in params.split(",")):
            kind = param.split()[0].rstrip("*")
            if param.startswith("ViChar") and param.endswith("]"):
                types.append(POINTER(c_char))
            else:
                types.append(POINTER(C_TYPES[kind]) if "*" in param else C_TYPES[kind])
        found[name] = types
    return found


def test_prototypes_match_the_header() -> None:
    expected = header_functions()
    assert len(expected) == 70
    assert sorted(lowlevel.PROTOTYPES) == sorted(expected)
    for name, types in expected.items():
        function = lowlevel.function(name)
        assert (function.argtypes, function.restype) == (types, c_int32), name


def test_every_c_function_has_a_python_path() -> None:
    """Each C function's name is called from the API modules (not only declared)."""
    used = set()
    for module in (BINDING / "veqdx").glob("*.py"):
        if module.name == "lowlevel.py":
            continue
        for node in ast.walk(ast.parse(module.read_text(encoding="utf-8"))):
            if isinstance(node, ast.Constant) and node.value in lowlevel.PROTOTYPES:
                used.add(node.value)
    assert sorted(set(lowlevel.PROTOTYPES) - used) == []


def test_every_output_property_of_the_driver_is_a_python_setting() -> None:
    # The driver's single list of output properties, in its slot order.
    source = (BINDING.parent.parent / "src/dcpwr/output_properties.h").read_text(encoding="utf-8")
    names = re.findall(r"^\s+kSlot(\w+),", source, flags=re.M)
    assert len(names) == 20, names
    settings = {value.attribute for cls in (veqdx.Output, veqdx.ExternalControl)
                for value in vars(cls).values() if isinstance(value, veqdx.outputs.Setting)}
    for name in names:
        snake = re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", "_", name).upper()
        attribute = getattr(veqdx, "VEQDX_ATTR_" + ("OUTPUT_ENABLED" if name == "Enabled" else snake))
        assert attribute in settings, name


def test_constants_file_is_a_fresh_generation() -> None:
    committed = (BINDING / "veqdx" / "_constants.py").read_text(encoding="utf-8")
    assert committed == gen_constants.generate(HEADER.read_text(encoding="utf-8"))


def public_names() -> list[tuple[str, object]]:
    names = []
    for name in veqdx.__all__:
        item = getattr(veqdx, name)
        names.append((name, item))
        if inspect.isclass(item) and item.__module__.startswith("veqdx"):
            names += [(f"{name}.{member}", value) for member, value in vars(item).items()
                      if not member.startswith("_") and not inspect.isclass(value)
                      and not isinstance(value, int)]
    return names


def test_every_public_name_is_documented() -> None:
    undocumented = [name for name, item in public_names()
                    if not (getattr(item, "__doc__", None) or "").strip()]
    assert undocumented == []
    manual = subprocess.run([sys.executable, "-c", "import veqdx; help(veqdx.Session)"],
                            capture_output=True, text=True, check=True).stdout
    assert "volts" in manual and "timeout" in manual and "# ----" not in manual


@pytest.mark.parametrize("enum, given, member", [
    (veqdx.Measurement, "voltage", veqdx.Measurement.VOLTAGE),
    (veqdx.Measurement, 0, veqdx.Measurement.CURRENT),
    (veqdx.OutputState, "constant current", veqdx.OutputState.CONSTANT_CURRENT),
    (veqdx.OutputState, "Over-Voltage", veqdx.OutputState.OVER_VOLTAGE),
    (veqdx.OutputState, 28, veqdx.OutputState.OVER_VOLTAGE2),
    (veqdx.PowerOnState, " FORCE ", veqdx.PowerOnState.FORCE),
    (veqdx.OperationMode, "cv", veqdx.OperationMode.CONSTANT_VOLTAGE),
    (veqdx.TriggerSource, "software", veqdx.TriggerSource.SOFTWARE),
])
def test_enumerations_take_names(enum: type[veqdx.enums.NamedIntEnum], given: object,
                                 member: object) -> None:
    assert enum.of(given) is member  # type: ignore[arg-type]


@pytest.mark.parametrize("enum, given", [(veqdx.Measurement, "power"),
                                         (veqdx.OutputState, 5), (veqdx.Memory, 0)])
def test_enumerations_refuse_other_values(enum: type[veqdx.enums.NamedIntEnum],
                                          given: object) -> None:
    with pytest.raises(veqdx.InvalidValueError, match="use one of"):
        enum.of(given)  # type: ignore[arg-type]


@pytest.mark.parametrize("options, simulate, timeout, expected", [
    ("", False, None, ""),
    ("", True, None, "Simulate=true"),
    ("RangeCheck=false", True, 2.5, "Simulate=true, RangeCheck=false, DriverSetup=IoTimeout=2500"),
    ("Cache=false, DriverSetup=Model=QDX750ML", False, 0.05,
     "Cache=false, DriverSetup=Model=QDX750ML, IoTimeout=50"),
])
def test_option_string(options: str, simulate: bool, timeout: float | None,
                       expected: str) -> None:
    assert veqdx.option_string(options, simulate=simulate, timeout=timeout) == expected


def test_option_string_refuses_a_timeout_the_driver_would_refuse() -> None:
    for seconds in (0, 0.0004, 3600.5, -1):
        with pytest.raises(ValueError):
            veqdx.option_string(timeout=seconds)


def test_warning_statuses_are_python_warnings() -> None:
    with pytest.warns(veqdx.VeqdxWarning, match="Reset is not supported") as caught:
        assert veqdx.errors.check(0, 0x3FFA0066, "veqdx_reset") == 0x3FFA0066
    assert caught[0].message.status == 0x3FFA0066  # type: ignore[union-attr]


def load_in_subprocess(package_parent: Path, library: str | None) -> subprocess.CompletedProcess[str]:
    env = {k: v for k, v in os.environ.items() if k != "VEQDX_LIBRARY"}
    env.update(PYTHONPATH=str(package_parent), PYTHONDONTWRITEBYTECODE="1")
    if library is not None:
        env["VEQDX_LIBRARY"] = library
    return subprocess.run([sys.executable, "-c", "import veqdx; "
                           "print(veqdx.lowlevel.library_path())"],
                          env=env, cwd=package_parent, capture_output=True, text=True)


def test_library_search_order(tmp_path: Path) -> None:
    shutil.copytree(BINDING / "veqdx", tmp_path / "veqdx")
    if ctypes.util.find_library("veqdx") is None:  # nothing installed on this machine
        missing = load_in_subprocess(tmp_path, None)
        assert "LibraryNotFoundError" in missing.stderr
        assert str(tmp_path / "veqdx" / "libveqdx.so.1") in missing.stderr
        assert "find_library" in missing.stderr and "Fix: set VEQDX_LIBRARY" in missing.stderr
    beside = tmp_path / "veqdx" / "libveqdx.so.1"
    shutil.copy(lowlevel.library_path(), beside)
    assert load_in_subprocess(tmp_path, None).stdout.strip() == str(beside)
    wrong = load_in_subprocess(tmp_path, str(tmp_path / "nowhere.so"))
    assert wrong.returncode != 0  # no fallback past a named library that does not load
    assert "VEQDX_LIBRARY=" + str(tmp_path / "nowhere.so") in wrong.stderr


def test_mypy_strict_is_clean(tmp_path: Path) -> None:
    pytest.importorskip("mypy")
    done = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir",
                           str(tmp_path), "veqdx", "examples", "_build"], cwd=BINDING,
                          capture_output=True, text=True)
    assert done.returncode == 0, done.stdout
