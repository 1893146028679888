"""Data files of the command: ``melta.train``, ``melta.test``, ``melta.valid``, in Rydberg atomic units.

    >>> from melta import datafile
    >>> structures = list(datafile.read("melta.train"))
    >>> datafile.write("melta.test", structures[:10])
"""

from __future__ import annotations

import os
from pathlib import Path
from typing import Iterable, Iterator, Optional, TextIO

import numpy as np

from ._core import BOHR, RYDBERG, RYDBERG_OF_ATOMS, RYDBERG_PER_BOHR, RYDBERG_PER_CUBIC_BOHR
from .structure import DataError, Structure

FIELDS = 13  # of the line of an atom
LONGEST_LABEL = 8


def read(path) -> Iterator[Structure]:
    """The structures of a data file one by one. Raises DataError where the file is not as it should be."""
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            lines = _Lines(file, os.fspath(path))
            while (head := lines.head()) is not None:
                yield _read_structure(head, lines)
    except OSError as error:
        raise DataError(f"cannot read the file: {path}: {error.strerror}") from error


class _Lines:
    """Lines of a file, with the place for messages."""

    def __init__(self, file: TextIO, name: str):
        self.file = file
        self.name = name
        self.number = 0

    def place(self) -> str:
        return f"{self.name}:{self.number}"

    def next(self) -> list[str]:
        self.number += 1
        return self.file.readline().split()

    def head(self) -> Optional[list[str]]:
        """The next head, or None at the end: where a line does not begin with a number."""
        words = self.next()
        try:
            float(words[0])
        except (IndexError, ValueError):
            return None
        return words

    def numbers(self, words: list[str]) -> list[float]:
        try:
            return [float(word) for word in words]
        except ValueError as error:
            raise DataError(f"expected numbers: {self.place()}") from error


def _numbers_at_front(words: list[str]) -> list[float]:
    found = []
    for word in words:
        try:
            found.append(float(word))
        except ValueError:
            break
    return found


def _read_structure(head: list[str], lines: _Lines) -> Structure:
    place = lines.place()
    values = _numbers_at_front(head)
    count = int(values[0]) if np.isfinite(values[0]) else 0
    if count < 1:
        raise DataError(f"the number of atoms is not positive: {place}")
    cell = np.array([_vector(lines) for _ in range(3)])
    labels, rows = [], np.empty((count, FIELDS - 1))
    for i in range(count):
        words = lines.next()
        if len(words) < FIELDS:
            raise DataError(f"expected {FIELDS} fields, found {len(words)}: {lines.place()}")
        labels.append(words[0])
        rows[i] = lines.numbers(words[1:FIELDS])
    structure = structure_of(labels, cell, rows, values)
    structure.source = place
    structure.require_finite()
    return structure


def _vector(lines: _Lines) -> list[float]:
    words = lines.next()
    if len(words) < 3:
        raise DataError(f"expected a cell vector: {lines.place()}")
    return lines.numbers(words[:3])


def structure_of(labels: list, cell: np.ndarray, rows: np.ndarray, head: list[float]) -> Structure:
    """rows [n][12] are the numbers behind the labels, head those of the first line."""
    energies = rows[:, 3] * RYDBERG_OF_ATOMS
    has_total = len(head) >= 3
    return Structure(
        labels=labels,
        cell=cell * BOHR,
        positions=rows[:, 0:3] * BOHR,
        energy=head[2] * RYDBERG if has_total else float(energies.sum()),
        energies=energies if not has_total or head[1] != 0 else None,
        forces=rows[:, 4:7] * RYDBERG_PER_BOHR,
        stress=np.array(head[3:9]) * RYDBERG_PER_CUBIC_BOHR if len(head) >= 9 else None,
        charges=_unless_zero(rows[:, 7]),
        coulomb_energies=_unless_zero(rows[:, 8] * RYDBERG_OF_ATOMS),
        coulomb_forces=_unless_zero(rows[:, 9:12] * RYDBERG_PER_BOHR),
    )


def _unless_zero(values: np.ndarray) -> Optional[np.ndarray]:
    return values.copy() if values.any() else None


def write(path, structures: Iterable[Structure]) -> int:
    """Writes structures, over a file of that name when all are complete; returns how many.

    Raises DataError for a structure without energy or forces, with a number that is not finite or with a label
    that the command would not read.
    """
    return replace_file(path, (_block(structure) for structure in structures))


def replace_file(path, texts: Iterable[str]) -> int:
    """Writes the texts under another name first, so that nobody ever finds half a file."""
    target = Path(path)
    temporary = target.with_name(target.name + ".new")
    count = 0
    try:
        with open(temporary, "w", encoding="utf-8") as file:
            for text in texts:
                file.write(text)
                count += 1
        os.replace(temporary, target)
    except OSError as error:
        raise DataError(f"cannot write the file: {path}: {error.strerror}") from error
    finally:
        temporary.unlink(missing_ok=True)
    return count


def _block(structure: Structure) -> str:
    if structure.energy is None or structure.forces is None:
        raise DataError(f"there is no energy or there are no forces: {structure.source}")
    structure.require_finite()
    for label in structure.labels:
        if not label or len(label) > LONGEST_LABEL or any(c.isspace() for c in label):
            raise DataError(f"the label {label!r} of an element is not usable: {structure.source}")
    count = len(structure.labels)
    rows = np.zeros((count, FIELDS - 1))
    rows[:, 0:3] = structure.positions / BOHR
    rows[:, 4:7] = structure.forces / RYDBERG_PER_BOHR
    if structure.energies is not None:
        rows[:, 3] = structure.energies / RYDBERG_OF_ATOMS
    if structure.charges is not None:
        rows[:, 7] = structure.charges
    if structure.coulomb_energies is not None:
        rows[:, 8] = structure.coulomb_energies / RYDBERG_OF_ATOMS
    if structure.coulomb_forces is not None:
        rows[:, 9:12] = structure.coulomb_forces / RYDBERG_PER_BOHR
    head = [structure.energy / RYDBERG]
    if structure.stress is not None:
        head += list(structure.stress / RYDBERG_PER_CUBIC_BOHR)
    flag = 0 if structure.energies is None else 1
    lines = [f"{count} {flag} {_text(head)}"]
    lines += [_text(vector) for vector in structure.cell / BOHR]
    lines += [f"{label} {_text(row)}" for label, row in zip(structure.labels, rows)]
    return "\n".join(lines) + "\n"


def _text(numbers: Iterable[float]) -> str:
    # Fifteen digits are what double precision keeps of any decimal number.
    return " ".join(f"{number:.15g}" for number in numbers)
