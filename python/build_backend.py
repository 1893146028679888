"""Makes the wheel with CMake and what stands in the standard library, so that an installation needs no network.

Settings, as in ``pip install . --config-settings cmake-args="-DNAME=VALUE ..."``:

cmake-args
    more options of CMake.
build-dir
    a build of the tree that is there already; what it has is used again.
"""

from __future__ import annotations

import base64
import hashlib
import os
import re
import shlex
import shutil
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import zipfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
NAME = "melta"
# What the build needs of the tree, beside this folder.
TREE = ("CMakeLists.txt", "LICENSE", "cmake", "include", "src", "tools")


def source_tree() -> Path:
    """The tree of the library: around this folder, or inside of it in a source distribution."""
    inside = HERE / "tree"
    return inside if inside.is_dir() else HERE.parent


def version() -> str:
    """The one version of the project, as CMake has it."""
    text = (source_tree() / "CMakeLists.txt").read_text(encoding="utf-8")
    found = re.search(r"project\(melta VERSION ([0-9.]+)", text)
    if not found:
        raise RuntimeError("CMakeLists.txt does not tell the version")
    return found.group(1)


def project_text() -> str:
    return (HERE / "pyproject.toml").read_text(encoding="utf-8")


def quoted(line: str) -> list[str]:
    return re.findall(r'"([^"]*)"', line)


def metadata() -> str:
    """Core metadata, from pyproject.toml. Its few simple lines need no parser, which older Pythons lack."""
    text = project_text()
    lines = ["Metadata-Version: 2.1", f"Name: {NAME}", f"Version: {version()}"]
    lines.append("Summary: " + quoted(re.search(r"^description = .*$", text, re.M).group())[0])
    lines.append("Requires-Python: " + quoted(re.search(r"^requires-python = .*$", text, re.M).group())[0])
    for name in quoted(re.search(r"^dependencies = .*$", text, re.M).group()):
        lines.append(f"Requires-Dist: {name}")
    extras = text.partition("[project.optional-dependencies]")[2].partition("\n[")[0]
    for extra, names in re.findall(r"^(\w+) = (.*)$", extras, re.M):
        lines.append(f"Provides-Extra: {extra}")
        lines += [f'Requires-Dist: {name}; extra == "{extra}"' for name in quoted(names)]
    return "\n".join(lines) + "\n"


def entry_points() -> str:
    scripts = project_text().partition("[project.scripts]")[2].partition("\n[")[0]
    found = re.findall(r'^([\w-]+) = "([^"]*)"$', scripts, re.M)
    return "[console_scripts]\n" + "".join(f"{name} = {target}\n" for name, target in found)


def tag() -> str:
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = re.sub(r"[-.]", "_", sysconfig.get_platform())
    return f"{python}-{python}-{platform}"


def wheel_text() -> str:
    return f"Wheel-Version: 1.0\nGenerator: {NAME}\nRoot-Is-Purelib: false\nTag: {tag()}\n"


def cmake_options(settings) -> list[str]:
    given = (settings or {}).get("cmake-args", [])
    words = [word for text in ([given] if isinstance(given, str) else given) for word in shlex.split(text)]
    options = [
        "-DCMAKE_BUILD_TYPE=Release",
        "-DMELTA_BUILD_TESTS=OFF",
        "-DMELTA_BUILD_BENCHMARKS=OFF",
        "-DMELTA_BUILD_PYTHON=ON",
        "-DMELTA_INSTALL=OFF",
        f"-DPython_EXECUTABLE={sys.executable}",
    ]
    # What earlier builds of the tree have fetched.
    fetched = source_tree() / "build" / "deps"
    if fetched.is_dir():
        options.append(f"-DMELTA_DEPENDENCY_DIR={fetched}")
    return options + words


def configure(directory: Path, settings) -> None:
    generator = []
    if "CMAKE_GENERATOR" not in os.environ and shutil.which("ninja"):
        generator = ["-G", "Ninja"]
    tree = ["-S", os.fspath(source_tree()), "-B", os.fspath(directory)]
    subprocess.run(["cmake", *tree, *generator, *cmake_options(settings)], check=True)


def build_module(directory: Path) -> Path:
    """Builds the package in this directory, which is configured; returns where it lies."""
    count = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1
    build = ["cmake", "--build", os.fspath(directory), "--target", "melta_python", "--parallel", str(count)]
    if subprocess.run(build).returncode != 0:
        raise RuntimeError(
            "the module was not built; it needs pybind11 and the development files of Python "
            "(Debian packages pybind11-dev and python3-dev)"
        )
    return directory / "python" / NAME


def package_files(package: Path) -> dict[str, bytes]:
    """Contents by their place in the wheel, those of folders in the package included."""
    files = [file for file in sorted(package.rglob("*")) if file.is_file() and file.suffix in (".py", ".so")]
    return {f"{NAME}/{file.relative_to(package).as_posix()}": file.read_bytes() for file in files}


def digest(data: bytes) -> str:
    return base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()


def write_wheel(path: Path, files: dict[str, bytes]) -> None:
    """files: contents by their place; the record of them is added."""
    info = f"{NAME}-{version()}.dist-info"
    record = "".join(f"{name},sha256={digest(data)},{len(data)}\n" for name, data in files.items())
    files[f"{info}/RECORD"] = (record + f"{info}/RECORD,,\n").encode()
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in files.items():
            entry = zipfile.ZipInfo(name)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = (0o755 if name.endswith(".so") else 0o644) << 16
            wheel.writestr(entry, data)


def info_files() -> dict[str, bytes]:
    info = f"{NAME}-{version()}.dist-info"
    texts = {"METADATA": metadata(), "WHEEL": wheel_text(), "entry_points.txt": entry_points()}
    return {f"{info}/{name}": text.encode() for name, text in texts.items()}


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None) -> str:
    """Hook of PEP 517."""
    name = f"{NAME}-{version()}-{tag()}.whl"
    existing = (config_settings or {}).get("build-dir")
    if existing:
        files = package_files(build_module(Path(existing).resolve()))
    else:
        with tempfile.TemporaryDirectory(prefix="melta-build-") as directory:
            configure(Path(directory), config_settings)
            files = package_files(build_module(Path(directory)))
    write_wheel(Path(wheel_directory) / name, {**files, **info_files()})
    return name


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None) -> str:
    """Hook of PEP 517."""
    for name, data in info_files().items():
        path = Path(metadata_directory) / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(data)
    return f"{NAME}-{version()}.dist-info"


def build_sdist(sdist_directory, config_settings=None) -> str:
    """Hook of PEP 517: this folder, and the tree of the library inside of it."""
    stem = f"{NAME}-{version()}"

    def wanted(entry: tarfile.TarInfo):
        return None if "__pycache__" in entry.name else entry

    with tarfile.open(Path(sdist_directory) / f"{stem}.tar.gz", "w:gz") as archive:
        for path in sorted(HERE.iterdir()):
            if path.name != "tree":
                archive.add(path, f"{stem}/{path.name}", filter=wanted)
                archive.add(path, f"{stem}/tree/python/{path.name}", filter=wanted)
        for name in TREE:
            archive.add(source_tree() / name, f"{stem}/tree/{name}", filter=wanted)
        with tempfile.TemporaryDirectory() as directory:
            info = Path(directory) / "PKG-INFO"
            info.write_text(metadata(), encoding="utf-8")
            archive.add(info, f"{stem}/PKG-INFO")
    return f"{stem}.tar.gz"
