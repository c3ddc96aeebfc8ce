"""The build backend of `pip install .`: builds the compiled module with the
project's CMake, for the interpreter pip runs, and packs it with the package's
Python files into a wheel.

Standard library only, so that `pip install .` needs nothing but CMake and a
C++20 compiler, offline, with or without build isolation, in any virtual
environment (one made by a pyenv interpreter has no `wheel` package, which
setuptools' wheel builder would need). The build directory is
build/wheel-<interpreter tag> in the checkout, reused by the next build;
ZMPAVA_WHEEL_BUILD_DIR chooses another, CMAKE_ARGS adds CMake options (a
compiler launcher such as ccache, a generator).
"""

import base64
import hashlib
import os
import re
import shlex
import subprocess
import sys
import sysconfig
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
NAME = "zmpavaanalyzer"
SUMMARY = "PAVA protocol codec: records as dicts, frames as bytes, streams and asyncio"


def _version():
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"project\(ZMPavaAnalyzer VERSION ([0-9.]+)", text).group(1)


def _tag():
    interpreter = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = re.sub(r"[-.]", "_", sysconfig.get_platform())
    return f"{interpreter}-{interpreter}{sys.abiflags}-{platform}"


def _metadata(version):
    return (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {version}\nSummary: {SUMMARY}\n"
            f"Requires-Python: >=3.10\n")


def _build_module():
    """Builds pava._pava; returns the module file."""
    build = Path(os.environ.get("ZMPAVA_WHEEL_BUILD_DIR") or ROOT / "build" / f"wheel-{_tag()}")
    configure = ["cmake", "-S", str(ROOT), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release",
                 "-DZMPAVA_BUILD_TESTS=OFF", "-DZMPAVA_BUILD_EXAMPLES=OFF", "-DZMPAVA_BUILD_BENCHMARKS=OFF",
                 "-DZMPAVA_INSTALL=OFF", "-DZMPAVA_BUILD_PYTHON=ON", f"-DPython3_EXECUTABLE={sys.executable}"]
    configure += shlex.split(os.environ.get("CMAKE_ARGS", ""))
    subprocess.run(configure, check=True, stdout=sys.stderr)
    subprocess.run(["cmake", "--build", str(build), "--target", "_pava", "--config", "Release",
                    "--parallel", str(os.cpu_count() or 1)], check=True, stdout=sys.stderr)
    suffix = sysconfig.get_config_var("EXT_SUFFIX")
    module = build / "python" / "pava" / f"_pava{suffix}"
    if not module.exists():
        raise RuntimeError(f"the build made no {module}")
    return module


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}"


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    """PEP 517: the wheel of the package and its compiled module."""
    version = _version()
    module = _build_module()
    files = {}
    for path in sorted((ROOT / "python" / "pava").iterdir()):
        if path.suffix in (".py", ".pyi") or path.name == "py.typed":
            files[f"pava/{path.name}"] = path.read_bytes()
    files[f"pava/{module.name}"] = module.read_bytes()
    info = f"{NAME}-{version}.dist-info"
    files[f"{info}/METADATA"] = _metadata(version).encode()
    files[f"{info}/WHEEL"] = (f"Wheel-Version: 1.0\nGenerator: pava_backend\nRoot-Is-Purelib: false\n"
                              f"Tag: {_tag()}\n").encode()
    record = [_record_line(name, data) for name, data in files.items()] + [f"{info}/RECORD,,"]
    files[f"{info}/RECORD"] = ("\n".join(record) + "\n").encode()

    wheel = f"{NAME}-{version}-{_tag()}.whl"
    with zipfile.ZipFile(Path(wheel_directory) / wheel, "w", zipfile.ZIP_DEFLATED) as out:
        for name, data in files.items():
            entry = zipfile.ZipInfo(name, date_time=(2020, 1, 1, 0, 0, 0))
            entry.external_attr = (0o755 if name.endswith((".so", ".pyd")) else 0o644) << 16
            out.writestr(entry, data, zipfile.ZIP_DEFLATED)
    return wheel


def get_requires_for_build_wheel(config_settings=None):
    """PEP 517: nothing beyond the standard library (CMake is a program)."""
    return []
