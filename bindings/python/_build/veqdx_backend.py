"""The package's own build backend: makes the wheel and the source archive with the standard
library alone.

The package is pure Python, so a wheel is a zip of its modules plus three metadata files.
Building it here, instead of through setuptools, lets `pip install ./bindings/python` work in a
fresh virtual environment with no package index: Debian 12's venv carries a setuptools that
cannot make wheels without the separate `wheel` package.
"""
from __future__ import annotations

import base64
import hashlib
import io
import sysconfig
import tarfile
import tomllib
import zipfile
from pathlib import Path
from typing import Any

ROOT = Path(__file__).resolve().parent.parent
PACKAGE = "veqdx"


def _project() -> dict[str, Any]:
    with open(ROOT / "pyproject.toml", "rb") as f:
        project: dict[str, Any] = tomllib.load(f)["project"]
    return project


def _metadata() -> str:
    p = _project()
    lines = ["Metadata-Version: 2.1", f"Name: {p['name']}", f"Version: {p['version']}",
             f"Summary: {p['description']}", f"Requires-Python: {p['requires-python']}",
             f"License: {p['license']['text']}"]
    lines += [f"Classifier: {c}" for c in p.get("classifiers", [])]
    for extra, requirements in p.get("optional-dependencies", {}).items():
        lines.append(f"Provides-Extra: {extra}")
        lines += [f'Requires-Dist: {r}; extra == "{extra}"' for r in requirements]
    lines.append("Description-Content-Type: text/markdown")
    readme = (ROOT / str(p["readme"])).read_text(encoding="utf-8")
    return "\n".join(lines) + "\n\n" + readme


def _package_files() -> list[Path]:
    """The package's modules, its py.typed marker and a library copied beside them."""
    folder = ROOT / PACKAGE
    return sorted(f for f in folder.iterdir()
                  if f.is_file() and (f.suffix in (".py", ".typed") or
                                      f.name.startswith("libveqdx.so")))


def _tag(files: list[Path]) -> str:
    # A wheel that carries the native library only fits machines like this one.
    native = any(f.name.startswith("libveqdx.so") for f in files)
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"py3-none-{platform}" if native else "py3-none-any"


def _write_wheel(directory: str, entries: list[tuple[str, bytes]], tag: str) -> str:
    p = _project()
    name = f"{p['name']}-{p['version']}"
    info = f"{name}.dist-info"
    entries = entries + [
        (f"{info}/METADATA", _metadata().encode()),
        (f"{info}/WHEEL", (f"Wheel-Version: 1.0\nGenerator: veqdx_backend\n"
                           f"Root-Is-Purelib: {'false' if 'any' not in tag else 'true'}\n"
                           f"Tag: {tag}\n").encode()),
        (f"{info}/top_level.txt", f"{PACKAGE}\n".encode()),
    ]
    record = []
    for path, data in entries:
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        record.append(f"{path},sha256={digest},{len(data)}")
    record.append(f"{info}/RECORD,,")
    wheel = f"{name}-{tag}.whl"
    with zipfile.ZipFile(Path(directory) / wheel, "w", zipfile.ZIP_DEFLATED) as z:
        for path, data in entries:
            z.writestr(path, data)
        z.writestr(f"{info}/RECORD", "\n".join(record) + "\n")
    return wheel


def get_requires_for_build_wheel(config_settings: Any = None) -> list[str]:
    return []


def get_requires_for_build_sdist(config_settings: Any = None) -> list[str]:
    return []


def get_requires_for_build_editable(config_settings: Any = None) -> list[str]:
    return []


def build_wheel(wheel_directory: str, config_settings: Any = None,
                metadata_directory: str | None = None) -> str:
    files = _package_files()
    entries = [(f"{PACKAGE}/{f.name}", f.read_bytes()) for f in files]
    return _write_wheel(wheel_directory, entries, _tag(files))


def build_editable(wheel_directory: str, config_settings: Any = None,
                   metadata_directory: str | None = None) -> str:
    # The interpreter finds the package in this source folder through a .pth file.
    return _write_wheel(wheel_directory, [(f"_{PACKAGE}_editable.pth", f"{ROOT}\n".encode())],
                        "py3-none-any")


def build_sdist(sdist_directory: str, config_settings: Any = None) -> str:
    p = _project()
    name = f"{p['name']}-{p['version']}"
    members = [ROOT / "pyproject.toml", ROOT / p["readme"], Path(__file__).resolve()]
    members += [f for f in _package_files() if not f.name.startswith("libveqdx.so")]
    archive = f"{name}.tar.gz"
    with tarfile.open(Path(sdist_directory) / archive, "w:gz") as tar:
        for f in members:
            tar.add(f, arcname=f"{name}/{f.relative_to(ROOT)}")
        pkg_info = _metadata().encode()
        entry = tarfile.TarInfo(f"{name}/PKG-INFO")
        entry.size = len(pkg_info)
        tar.addfile(entry, io.BytesIO(pkg_info))
    return archive
