"""What pip installs."""

from __future__ import annotations

import base64
import hashlib
import importlib.util
import os
import shutil
import subprocess
import sys
import tarfile
import zipfile
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
BUILD = os.environ.get("MELTA_BUILD", "")


@pytest.fixture(scope="module")
def backend():
    spec = importlib.util.spec_from_file_location("build_backend", ROOT / "python" / "build_backend.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


@pytest.fixture(scope="module")
def wheel(backend, tmp_path_factory):
    directory = tmp_path_factory.mktemp("wheel")
    return directory / backend.build_wheel(directory, {"build-dir": BUILD})


def test_metadata(backend):
    import melta

    lines = backend.metadata().splitlines()

    assert f"Version: {melta.__version__}" in lines
    assert "Requires-Dist: numpy" in lines
    assert 'Requires-Dist: ase; extra == "ase"' in lines
    assert "Requires-Python: >=3.9" in lines
    commands = ["melta-data = melta.convert:main", "melta-plot = melta.plot.command:main"]
    assert backend.entry_points().splitlines() == ["[console_scripts]", *commands]


def test_wheel_is_recorded(wheel):
    with zipfile.ZipFile(wheel) as archive:
        assert archive.testzip() is None
        names = archive.namelist()
        record = archive.read(next(name for name in names if name.endswith("/RECORD"))).decode().splitlines()
        assert sorted(line.split(",")[0] for line in record) == sorted(names)
        for line in record:
            name, digest, length = line.split(",")
            if digest:
                data = archive.read(name)
                expected = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
                assert (digest, length) == (f"sha256={expected}", str(len(data)))


def test_all_sources_are_in_the_wheel(wheel):
    with zipfile.ZipFile(wheel) as archive:
        names = set(archive.namelist())

    package = ROOT / "python" / "melta"
    for source in package.rglob("*.py"):
        assert f"melta/{source.relative_to(package).as_posix()}" in names
    assert any(name.startswith("melta/_core.") for name in names)


def test_installed_by_pip(tmp_path):
    if importlib.util.find_spec("pip") is None:
        pytest.skip("there is no pip")
    options = ["--quiet", "--no-index", "--no-deps", "--target", tmp_path / "site", "--no-cache-dir"]
    settings = ["--config-settings", f"build-dir={BUILD}"]
    pip = [sys.executable, "-m", "pip", "install", *options, *settings, ROOT / "python"]
    done = subprocess.run(list(map(str, pip)), capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr

    environment = {**os.environ, "PYTHONPATH": str(tmp_path / "site")}
    code = "import melta; print(melta.__file__, melta.__version__)"
    shown = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, env=environment)
    assert shown.stdout.startswith(str(tmp_path / "site")), shown.stderr
    for command, option in (("melta-data convert", "--test-fraction"), ("melta-plot learning", "--follow")):
        name, word = command.split()
        script = [sys.executable, str(tmp_path / "site" / "bin" / name), word, "--help"]
        assert option in subprocess.run(script, capture_output=True, text=True, env=environment).stdout


def test_source_distribution_has_what_the_build_needs(backend, tmp_path):
    name = backend.build_sdist(tmp_path)

    with tarfile.open(tmp_path / name) as archive:
        names = set(archive.getnames())
    stem = name[: -len(".tar.gz")]
    for needed in ("PKG-INFO", "pyproject.toml", "build_backend.py", "tree/CMakeLists.txt", "tree/src/CMakeLists.txt"):
        assert f"{stem}/{needed}" in names
    for needed in ("python/CMakeLists.txt", "python/src/Module.cpp", "include/melta/Potential.hpp", "tools/melta-pw"):
        assert f"{stem}/tree/{needed}" in names
    assert not [entry for entry in names if "__pycache__" in entry or "/build/" in entry]


def test_debian_package_holds_the_python_package(tmp_path):
    tools = ("cpack", "dpkg-deb", "dpkg-shlibdeps")
    if missing := [tool for tool in tools if shutil.which(tool) is None]:
        pytest.skip(f"there is no {' '.join(missing)}")
    done = subprocess.run(["cpack", "-G", "DEB", "-B", tmp_path], cwd=BUILD, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
    (package,) = tmp_path.glob("melta_*.deb")
    subprocess.run(["dpkg-deb", "-x", package, tmp_path / "root"], check=True)

    place = tmp_path / "root" / "usr" / "lib" / "python3" / "dist-packages"
    environment = {**os.environ, "PYTHONPATH": str(place)}
    code = "import melta, melta.plot.command, melta.tasks; print(melta.__file__, len(melta.Potential.__doc__))"
    shown = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, env=environment)
    assert shown.stdout.startswith(str(place)), shown.stderr
    for name in ("melta-data", "melta-plot"):
        command = [sys.executable, tmp_path / "root" / "usr" / "bin" / name, "--help"]
        assert f"usage: {name}" in subprocess.run(command, capture_output=True, text=True, env=environment).stdout
    control = subprocess.run(["dpkg-deb", "-I", package], capture_output=True, text=True).stdout
    assert "python3-numpy" in control and "libopenblas" in control
