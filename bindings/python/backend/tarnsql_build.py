"""Builds the module for pip (PEP 517) with nothing but Python and a C++ compiler: no other package, so no network.

Everything is built in a temporary directory. Without a compiler, or without Python's headers, the wheel has no compiled core, and the
module works over ctypes. Settings (pip --config-settings NAME=VALUE):

    core      a compiled core to take instead of compiling one
    library   a libtarnsql to carry inside, which is then found before any other
"""

import base64
import csv
import hashlib
import io
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PACKAGE = ROOT / "src" / "tarnsql"
CORE = "_core.pyd" if sys.platform == "win32" else "_core.abi3.so"
DATES = (1980, 1, 1, 0, 0, 0)  # of files in the wheel: builds are reproducible

METADATA = """Metadata-Version: 2.1
Name: tarnsql
Version: {version}
Summary: The TARNDBMS database server from Python (DB API 2.0)
License: MIT
Requires-Python: >=3.9
Classifier: Programming Language :: Python :: 3
Classifier: Topic :: Database :: Front-Ends
Classifier: Typing :: Typed
Description-Content-Type: text/markdown

{readme}"""


def _version():
    return re.search(r'^__version__ = "(.*)"', (PACKAGE / "__init__.py").read_text(), re.MULTILINE)[1]


def _header_directory():
    for directory in (ROOT / "include", ROOT.parent.parent / "include"):
        if (directory / "tarnsql.h").exists():
            return directory
    sys.exit("tarnsql.h is not there")


def _compile(directory):
    """The core; None where there is no compiler."""
    if sys.implementation.name != "cpython" or sys.platform == "win32":
        return None
    compiler = shlex.split(os.environ.get("CXX", "")) or [shutil.which("c++") or "g++"]
    core = pathlib.Path(directory) / CORE
    command = [*compiler, "-std=c++20", "-O2", "-fPIC", "-fvisibility=hidden", "-shared", "-DNDEBUG"]
    command += ["-DPy_LIMITED_API=0x03090000", *shlex.split(os.environ.get("CXXFLAGS", ""))]
    if sys.platform == "darwin":
        command += ["-undefined", "dynamic_lookup"]
    command += [f"-I{_header_directory()}", "-isystem", sysconfig.get_paths()["include"]]
    command += [*map(str, sorted((ROOT / "core").glob("*.cpp"))), "-o", str(core)]
    try:
        subprocess.run(command, check=True)
    except (OSError, subprocess.CalledProcessError) as error:
        print(f"tarnsql: no compiled core, the module will work over ctypes ({error})", file=sys.stderr)
        return None
    return core


def _tag(core, library):
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_") if core or library else "any"
    return f"{'cp39-abi3' if core else 'py3-none'}-{platform}"


def _write_wheel(path, tag, files):
    """files: name in the wheel -> content."""
    records = io.StringIO()
    record = csv.writer(records, lineterminator="\n")
    info = f"tarnsql-{_version()}.dist-info"
    files[f"{info}/METADATA"] = METADATA.format(
        version=_version(), readme=(ROOT / "README.md").read_text("utf-8")
    ).encode()
    pure = "true" if tag.endswith("any") else "false"
    files[
        f"{info}/WHEEL"
    ] = f"Wheel-Version: 1.0\nGenerator: tarnsql\nRoot-Is-Purelib: {pure}\nTag: {tag}\n".encode()
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, content in sorted(files.items()):
            digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
            record.writerow([name, f"sha256={digest}", len(content)])
            _add(wheel, name, content)
        record.writerow([f"{info}/RECORD", "", ""])
        _add(wheel, f"{info}/RECORD", records.getvalue().encode())


def _add(wheel, name, content):
    entry = zipfile.ZipInfo(name, DATES)
    entry.compress_type = zipfile.ZIP_DEFLATED
    entry.external_attr = 0o644 << 16
    wheel.writestr(entry, content)


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    settings = config_settings or {}
    with tempfile.TemporaryDirectory() as directory:
        core, library = settings.get("core") or _compile(directory), settings.get("library")
        files = {f"tarnsql/{path.name}": path.read_bytes() for path in PACKAGE.iterdir() if path.is_file()}
        if core:
            files[f"tarnsql/{CORE}"] = pathlib.Path(core).read_bytes()
        if library:
            name = "tarnsql.dll" if sys.platform == "win32" else "libtarnsql.so.1"
            files[f"tarnsql/{name}"] = pathlib.Path(library).read_bytes()
        tag = _tag(core, library)
        name = f"tarnsql-{_version()}-{tag}.whl"
        _write_wheel(pathlib.Path(wheel_directory) / name, tag, files)
        return name


def build_sdist(sdist_directory, config_settings=None):
    base = f"tarnsql-{_version()}"
    with tarfile.open(pathlib.Path(sdist_directory) / f"{base}.tar.gz", "w:gz") as archive:
        for name in ("pyproject.toml", "README.md", "backend/tarnsql_build.py", "core", "src"):
            archive.add(
                ROOT / name,
                f"{base}/{name}",
                filter=lambda entry: None if "__pycache__" in entry.name else entry,
            )
        archive.add(_header_directory(), f"{base}/include")
        information = METADATA.format(version=_version(), readme="").encode()
        entry = tarfile.TarInfo(f"{base}/PKG-INFO")
        entry.size = len(information)
        archive.addfile(entry, io.BytesIO(information))
    return f"{base}.tar.gz"
