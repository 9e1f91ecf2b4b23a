"""Builds the package with CMake, without network: what "pip install ." calls in a clone.

The hooks of PEP 517 and PEP 660 for wheels, editable installs and source distributions. Their
metadata is the [project] table of pyproject.toml. The environment's CMAKE_ARGS go to CMake.
"""

import base64
import gzip
import hashlib
import io
import os
import re
import shlex
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import zipfile
from pathlib import Path
from typing import Any, Dict, Optional

if sys.version_info >= (3, 11):
    import tomllib
else:
    import tomli as tomllib

SOURCE = Path(__file__).resolve().parent.parent
PROJECT = tomllib.loads((SOURCE / "pyproject.toml").read_text("utf-8"))["project"]
HEADER = (SOURCE / "include/Oxel_Morvel6_render.h").read_text("utf-8")
VERSION = ".".join(re.findall(r"OXEL_VERSION_[A-Z]+ (\d+)", HEADER))
NAME = f"{PROJECT['name']}-{VERSION}"
TAG = "py3-none-" + sysconfig.get_platform().replace("-", "_").replace(".", "_")
SHIPPED = ("CMakeLists.txt", "README.md", "cmake", "docs", "examples", "include", "pyproject.toml",
           "python", "src", "tools")
EPOCH = 315532800  # 1980, where ZIP's time begins: the same sources make the same bytes


def _metadata() -> str:
    known = {"name", "dynamic", "description", "keywords", "requires-python", "authors", "license",
             "urls", "classifiers", "dependencies", "optional-dependencies", "readme"}
    if not known.issuperset(PROJECT):
        raise SystemExit(f"pyproject.toml: {', '.join(set(PROJECT) - known)}: wheel_backend.py "
                         "would leave it out")
    lines = ["Metadata-Version: 2.1", f"Name: {PROJECT['name']}", f"Version: {VERSION}",
             f"Summary: {PROJECT['description']}",
             f"Keywords: {','.join(PROJECT['keywords'])}",
             f"Requires-Python: {PROJECT['requires-python']}"]
    for author in PROJECT.get("authors", []):
        name, address = author.get("name", ""), author.get("email", "")
        lines.append(f"Author-email: {name} <{address}>" if address else f"Author: {name}")
    if "license" in PROJECT:
        license = PROJECT["license"]
        lines.append(f"License: {license if isinstance(license, str) else license['text']}")
    lines += [f"Project-URL: {label}, {url}" for label, url in PROJECT.get("urls", {}).items()]
    lines += [f"Classifier: {classifier}" for classifier in PROJECT["classifiers"]]
    lines += [f"Requires-Dist: {requirement}" for requirement in PROJECT["dependencies"]]
    for extra, requirements in PROJECT["optional-dependencies"].items():
        lines.append(f"Provides-Extra: {extra}")
        lines += [f"Requires-Dist: {requirement}; extra == '{extra}'"
                  for requirement in requirements]
    lines += ["Description-Content-Type: text/markdown", "",
              (SOURCE / PROJECT["readme"]).read_text("utf-8")]
    return "\n".join(lines)


def _description() -> Dict[str, bytes]:
    """The files of the folder .dist-info but RECORD."""
    wheel = f"Wheel-Version: 1.0\nGenerator: oxel\nRoot-Is-Purelib: false\nTag: {TAG}\n"
    return {f"{NAME}.dist-info/METADATA": _metadata().encode(),
            f"{NAME}.dist-info/WHEEL": wheel.encode()}


def _cmake(*arguments: object) -> None:
    subprocess.run(["cmake", *map(str, arguments)], check=True)


def _build(folder: Path) -> None:
    """Builds the package in a folder; it is usable there, under python/."""
    _cmake("-S", SOURCE, "-B", folder, "-DOXEL_BUILD_PYTHON=ON", "-DOXEL_PYTHON_INSTALL_DIR=.",
           *shlex.split(os.environ.get("CMAKE_ARGS", "")))
    _cmake("--build", folder, "--parallel", os.cpu_count() or 1, "--target", "oxel_python")


def _write_wheel(folder: str, files: Dict[str, bytes]) -> str:
    files = {**files, **_description()}
    record = ""
    for path, content in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=")
        record += f"{path},sha256={digest.decode()},{len(content)}\n"
    files[f"{NAME}.dist-info/RECORD"] = f"{record}{NAME}.dist-info/RECORD,,\n".encode()
    name = f"{NAME}-{TAG}.whl"
    with zipfile.ZipFile(Path(folder, name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, content in files.items():
            entry = zipfile.ZipInfo(path)
            entry.external_attr = 0o100644 << 16
            wheel.writestr(entry, content, zipfile.ZIP_DEFLATED)
    return name


def build_wheel(wheel_directory: str, config_settings: Optional[Dict[str, Any]] = None,
                metadata_directory: Optional[str] = None) -> str:
    """Writes the wheel and returns its name."""
    with tempfile.TemporaryDirectory() as folder:
        build, root = Path(folder, "build"), Path(folder, "root")
        _build(build)
        _cmake("--install", build, "--component", "python", "--prefix", root)
        return _write_wheel(wheel_directory, {
            str(path.relative_to(root)): path.read_bytes()
            for path in sorted(root.rglob("*")) if path.is_file()})


def build_editable(wheel_directory: str, config_settings: Optional[Dict[str, Any]] = None,
                   metadata_directory: Optional[str] = None) -> str:
    """Writes a wheel that leads to the sources and to a build in build/editable."""
    build = SOURCE / "build" / "editable"
    _build(build)
    return _write_wheel(wheel_directory, {"oxel-editable.pth": f"{build / 'python'}\n".encode()})


def prepare_metadata_for_build_wheel(metadata_directory: str,
                                     config_settings: Optional[Dict[str, Any]] = None) -> str:
    """Writes what the wheel will say about itself, and returns the folder's name."""
    for path, content in _description().items():
        file = Path(metadata_directory, path)
        file.parent.mkdir(exist_ok=True)
        file.write_bytes(content)
    return f"{NAME}.dist-info"


prepare_metadata_for_build_editable = prepare_metadata_for_build_wheel


def build_sdist(sdist_directory: str, config_settings: Optional[Dict[str, Any]] = None) -> str:
    """Writes the source distribution, of which wheels can be built, and returns its name."""
    archive = io.BytesIO()
    with tarfile.open(fileobj=archive, mode="w", format=tarfile.PAX_FORMAT) as tar:
        def add(path: str, content: bytes, mode: int = 0o644) -> None:
            entry = tarfile.TarInfo(f"{NAME}/{path}")
            entry.size, entry.mode, entry.mtime = len(content), mode, EPOCH
            tar.addfile(entry, io.BytesIO(content))

        add("PKG-INFO", _metadata().encode())
        found = {file for part in SHIPPED for file in [SOURCE / part, *(SOURCE / part).rglob("*")]
                 if file.is_file() and "__pycache__" not in file.parts}
        for file in sorted(found):
            add(file.relative_to(SOURCE).as_posix(), file.read_bytes(),
                0o755 if os.access(file, os.X_OK) else 0o644)
    name = f"{NAME}.tar.gz"
    Path(sdist_directory, name).write_bytes(gzip.compress(archive.getvalue(), mtime=EPOCH))
    return name
