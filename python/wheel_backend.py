"""Builds the package's wheel with CMake: what "pip install ." calls in a clone, without network."""

import base64
import hashlib
import os
import re
import subprocess
import sysconfig
import tempfile
import zipfile
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
HEADER = (SOURCE / "include/Oxel_Morvel6_render.h").read_text()
VERSION = ".".join(re.findall(r"OXEL_VERSION_[A-Z]+ (\d+)", HEADER))
INFO = f"oxel-{VERSION}.dist-info"
TAG = "py3-none-" + sysconfig.get_platform().replace("-", "_").replace(".", "_")
DESCRIPTION = {
    "METADATA": f"Metadata-Version: 2.1\nName: oxel\nVersion: {VERSION}\n"
    "Summary: Renders pictures for colour e-paper panels\n"
    "Requires-Python: >=3.9\nRequires-Dist: numpy\n",
    "WHEEL": f"Wheel-Version: 1.0\nGenerator: oxel\nRoot-Is-Purelib: false\nTag: {TAG}\n",
}


def _install(build: Path, root: Path) -> None:
    """Builds the package, and installs it alone into `root`."""
    jobs = str(os.cpu_count())
    for command in (
        ["-S", SOURCE, "-B", build, "-DOXEL_BUILD_PYTHON=ON", "-DOXEL_PYTHON_INSTALL_DIR=."],
        ["--build", build, "--parallel", jobs, "--target", "oxel_python"],
        ["--install", build, "--component", "python", "--prefix", root],
    ):
        subprocess.run(["cmake", *command], check=True)


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    """The hook of PEP 517: writes the wheel and returns its name."""
    name = f"oxel-{VERSION}-{TAG}.whl"
    record = ""
    with tempfile.TemporaryDirectory() as folder, zipfile.ZipFile(
        Path(wheel_directory, name), "w", zipfile.ZIP_DEFLATED
    ) as wheel:
        root = Path(folder, "root")
        _install(Path(folder, "build"), root)
        files = {str(path.relative_to(root)): path.read_bytes()
                 for path in sorted(root.rglob("*")) if path.is_file()}
        files.update({f"{INFO}/{part}": text.encode() for part, text in DESCRIPTION.items()})
        for path, content in files.items():
            digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=")
            record += f"{path},sha256={digest.decode()},{len(content)}\n"
            wheel.writestr(path, content)
        wheel.writestr(f"{INFO}/RECORD", record + f"{INFO}/RECORD,,\n")
    return name
