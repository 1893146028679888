"""The examples run, and print numbers."""

from __future__ import annotations

import importlib.util
import math
import re
import subprocess
import sys

import pytest
from conftest import ROOT


def numbers_of(name, *arguments):
    """The numbers that an example prints."""
    script = ROOT / "python" / "examples" / f"{name}.py"
    done = subprocess.run([sys.executable, script, *arguments], capture_output=True, text=True, timeout=200)
    assert done.returncode == 0, done.stdout + done.stderr
    found = [float(word) for word in re.findall(r"-?\d+\.\d+|nan|inf", done.stdout)]
    assert found and all(math.isfinite(number) for number in found)
    return done.stdout


def test_phonons(silicon):
    if importlib.util.find_spec("phonopy") is None:
        pytest.skip("there is no phonopy")
    shown = numbers_of("phonons", silicon)

    acoustic = [abs(float(word)) for word in shown.splitlines()[0].split()[1:4]]
    assert max(acoustic) < 0.1


def test_threads(silicon):
    assert "RMSE of energies" in numbers_of("threads", silicon, silicon / "melta.test")


def test_vacancy_jump(silicon):
    shown = numbers_of("vacancy_jump", silicon)

    path = [float(word) for word in re.search(r"path +(.*) eV", shown).group(1).split()]
    assert len(path) == 5 and path[0] == 0.0
    assert path[-1] == pytest.approx(0.0, abs=0.05)  # the same vacancy in another place
