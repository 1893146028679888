"""Which of the geometries that were found are calculated."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Optional, Sequence, TypeVar

Item = TypeVar("Item")

DEBIAN_PYTHON = "/usr/bin/python3"
NOTHING_LEFT = "there are no structures left."


class ChoiceError(Exception):
    """A failure with a message for the user."""


def evenly_spaced(found: Sequence[Item], wanted: int) -> list[Item]:
    """Neighbours in a walk differ by the place of one atom, so those taken are as far apart as they can be."""
    count = min(wanted, len(found))
    return [found[(2 * i + 1) * len(found) // (2 * count)] for i in range(count)]


@dataclass(frozen=True)
class Selector:
    """The command melta-data of the Python package.

    words, environment
        What starts it, and in which environment.
    limits
        Further options of its subcommand select, such as a spread that is wanted.
    """

    words: Sequence[str]
    environment: dict[str, str]
    limits: Sequence[str] = ()

    def run(self, arguments: Sequence[str], directory: Path) -> "subprocess.CompletedProcess[str]":
        return subprocess.run(
            [*self.words, *arguments],
            cwd=directory,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
        )

    def is_usable(self) -> bool:
        try:
            return self.run(["select", "--help"], Path()).returncode == 0
        except OSError:
            return False

    def select(self, turn: Path, folders: Sequence[str], wanted: int, target: str) -> str:
        """Puts up to so many geometries of some folders of a turn into another one; returns what is printed.

        What is in the turn's training data need not be chosen. Without any that is left there is no folder.
        """
        options = ["--model", ".", "--known", "melta.train", *self.limits]
        done = self.run(["select", str(wanted), *folders, target, *options], turn)
        complaint = done.stderr.strip()
        if done.returncode != 0 and not complaint.endswith(NOTHING_LEFT):
            raise ChoiceError(f"melta-data select has failed in {turn}: {complaint.splitlines()[-1:]}")
        return done.stdout + complaint


def find_selector(package: Path, command: Optional[str], limits: Sequence[str]) -> Optional[Selector]:
    """The command that was given, else of the package in the build tree, else the one on PATH; None: there is none.

    The package is made for one interpreter, which need not be the one that runs this script.
    """
    if command is not None:
        starts = [[command]]
    else:
        pythons = [sys.executable] + [python for python in (DEBIAN_PYTHON,) if os.path.exists(python)]
        starts = [[python, "-m", "melta.convert"] for python in pythons if package.exists()]
        starts += [[found] for found in [shutil.which("melta-data")] if found]
    for words in starts:
        environment = dict(os.environ)
        if len(words) > 1:
            environment["PYTHONPATH"] = os.fspath(package)
        selector = Selector(words, environment, limits)
        if selector.is_usable():
            return selector
    return None
