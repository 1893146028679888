"""What a training prints, as numbers."""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from pathlib import Path
from typing import Optional

import numpy as np

from ..structure import DataError

DEFAULT_NAME = "melta.log"  # in the directory of a run

EPOCH = re.compile(r"^\s*#\.\s*(\d+)\s+(.*)Time\[ wall=([\d.]+)([smhd]) epoch=.*\]")
TEST = re.compile(r"^\s*@\s+(.*)\(for \w+ data\)")
VALUE = re.compile(r"(RMSE\(\w\)|Loss):\s*(\S+)")
SUPER = re.compile(r"Start the Super Epoch of \[\s*(\d+)\s*/\s*(\d+)\s*\]")
LIMIT = re.compile(r"Maximum Epochs\s*=\s*(\d+)")
BANNER = re.compile(r"This is .*Training.* Mode")
SECONDS = {"s": 1.0, "m": 60.0, "h": 3600.0, "d": 86400.0}


@dataclass
class Curve:
    """Numbers that belong to epochs, by their names (``RMSE(E)``, ``Loss``): each [number of epochs]."""

    epochs: list = field(default_factory=list)
    values: dict = field(default_factory=dict)

    def add(self, epoch: int, text: str) -> None:
        """Takes the values of a printed line."""
        self.epochs.append(epoch)
        found = dict(VALUE.findall(text))
        for name in found.keys() | self.values.keys():
            column = self.values.setdefault(name, [])
            column += [np.nan] * (len(self.epochs) - 1 - len(column))
            column.append(float(found.get(name, "nan")))


@dataclass
class TrainingLog:
    """A training as it printed itself, finished or not.

    Epochs count on where the training begins to count anew: in each super epoch, and where another training was
    appended to the file.

    training, testing
        The errors on the training data and on those of the in-situ test.
    changes
        Epochs before which another gradient came into use, with the words of the training.
    limit
        How many epochs there are at most, None where the banner does not tell.
    walls
        Seconds since the data were read, for each epoch of the training that was printed last.
    is_finished
        Whether the last training has come to its end.
    """

    name: str
    training: Curve = field(default_factory=Curve)
    testing: Curve = field(default_factory=Curve)
    changes: list = field(default_factory=list)
    limit: Optional[int] = None
    walls: list = field(default_factory=list)
    is_finished: bool = False
    _offset: int = 0
    _limit_of_each: Optional[int] = None

    def take(self, line: str) -> None:
        """Takes a printed line."""
        if found := EPOCH.match(line):
            self._take_epoch(int(found.group(1)), found.group(2), float(found.group(3)) * SECONDS[found.group(4)])
        elif found := TEST.match(line):
            if self.training.epochs:
                self.testing.add(self.training.epochs[-1], found.group(1))
        elif ">>>" in line:
            self.changes.append((self._last(), line.replace(">>>", "").strip()))
        elif BANNER.search(line):
            self.walls, self.is_finished, self._offset = [], False, self._last()
        elif found := LIMIT.search(line):
            self._limit_of_each = int(found.group(1))
            self.limit = self._offset + self._limit_of_each
        elif found := SUPER.search(line):
            self._begin_super_epoch(int(found.group(1)), int(found.group(2)))
        elif "* Wall time" in line or line.startswith("[STOP]"):
            self.is_finished = True

    def _last(self) -> int:
        return self.training.epochs[-1] if self.training.epochs else 0

    def _take_epoch(self, epoch: int, values: str, wall: float) -> None:
        self.training.add(self._offset + epoch, values)
        self.walls.append(wall)

    def _begin_super_epoch(self, number: int, count: int) -> None:
        self._offset = self._last()
        if self._limit_of_each is not None:
            self.limit = self._offset + (count - number + 1) * self._limit_of_each

    def seconds_left(self) -> Optional[float]:
        """How long the training takes at most, as its second half so far went; None where nothing tells."""
        if self.is_finished:
            return 0.0
        middle = len(self.walls) // 2
        if self.limit is None or len(self.walls) - middle < 2:
            return None
        pace = (self.walls[-1] - self.walls[middle]) / (len(self.walls) - 1 - middle)
        return max(0.0, pace * (self.limit - self._last()))


def path_of(run) -> Path:
    """The file with the printed lines of a run: itself, or the usual one of a directory."""
    path = Path(run)
    return path / DEFAULT_NAME if path.is_dir() else path


def read(run) -> TrainingLog:
    """Reads what a training has printed so far. Raises DataError where the file cannot be read."""
    path = path_of(run)
    log = TrainingLog(str(run))
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            for line in file:
                if line.endswith("\n"):  # another one is being written
                    log.take(line)
    except OSError as error:
        raise DataError(f"cannot read the file: {path}: {error.strerror}") from error
    return log
