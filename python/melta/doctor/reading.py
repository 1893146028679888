"""Reads a data file as the command does, goes on where the command would stop, and tells what it met."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Optional

import numpy as np

from .. import datafile
from .._core import RYDBERG
from .endings import check_end, check_line_ends
from .faults import Fault, fault_of_atom, next_block, quote
from .fields import LARGEST_FLOAT, LARGEST_INT, LONGEST_LINE, FieldScanner, read_row
from .findings import Finding, Rank
from .record import Record

NUMBERS = datafile.FIELDS - 1  # of the line of an atom, behind its label
SINGLE = [0, 1, 2, 4, 5, 6, 7, 9, 10, 11]  # those of them that the command keeps in single precision


@dataclass
class DataFile:
    """What was read.

    num_lines
        Lines of the file.
    records
        Structures that can be read, those of them included that stand behind what would stop the command.
    findings
        What was met on the way.
    hidden
        Structures that stand behind the line with which the data end for the command.
    """

    name: str
    num_lines: int = 0
    records: list[Record] = field(default_factory=list)
    findings: list[Finding] = field(default_factory=list)
    hidden: int = 0


@dataclass
class Head:
    """First line of a structure."""

    count: int
    values: list[float]  # as datafile.structure_of takes them
    flag: bool
    has_total: bool


def read(path, max_force: float = 10.0) -> DataFile:
    """Reads a file. Raises OSError where it cannot be opened.

    max_force
        eV/Angstrom; structures with larger forces do not count in the messages of the command. 0 or less: all do.
    """
    with open(path, "rb") as file:
        data = file.read()
    return _Reader(str(path), data, max_force).read()


class _Reader:
    def __init__(self, name: str, data: bytes, max_force: float):
        self.lines = data.split(b"\n")
        if not self.lines[-1]:
            self.lines.pop()
        self.max_force = max_force
        self.accepted = 0  # structures, as the messages of the command count them
        self.file = DataFile(name, len(self.lines))

    def read(self) -> DataFile:
        self.file.findings += check_line_ends(self.lines)
        place = 0
        while place < len(self.lines):
            head = FieldScanner(self.lines[place]).whole()
            if head is None:
                finding, self.file.hidden = check_end(self.lines, place, self.file.records)
                self.file.findings += [finding] if finding else []
                break
            place = self._step(place)
        if not self.file.records:
            self._add(Rank.ERROR, "no-structures", 0, None, "no structure can be read", "at least one", "see above")
        return self.file

    def _add(self, rank, kind, line, structure, found, expected, advice, count=1) -> None:
        self.file.findings.append(Finding(rank, kind, line, structure, found, expected, advice, count))

    def _step(self, place: int) -> int:
        """Reads the structure whose head stands there; returns where to go on."""
        try:
            head = self._read_head(place)
            self._read_block(place, head)
            return place + 4 + head.count
        except Fault as fault:
            advice = f'{fault.advice}; the command stops with "{fault.message}: {self.file.name}"'
            index = len(self.file.records)
            self._add(Rank.ERROR, fault.kind, fault.line, index, fault.found, fault.expected, advice)
            return next_block(self.lines, max(fault.line - 1, place + 1))

    def _line(self, place: int) -> bytes:
        if place >= len(self.lines):
            text, wanted = "the file ends within a structure", "all lines of the structure"
            raise Fault(len(self.lines), "too less lines", text, wanted, "complete or remove the last structure")
        if len(self.lines[place]) > LONGEST_LINE:
            text = f"a line of {len(self.lines[place])} characters"
            raise Fault(place + 1, "too long line", text, f"at most {LONGEST_LINE}", "this is no data file")
        return self.lines[place]

    def _read_head(self, place: int) -> Head:
        line = self._line(place)
        fields = FieldScanner(line)
        count = fields.whole() or 0
        nth = f"of the {self.accepted} -th geometry"
        if count < 1:
            text = f"{count} atoms: {quote(line)}"
            raise Fault(place + 1, f"#atoms {nth} is not positive", text, "at least one", "correct the head")
        if count > LARGEST_INT:
            text = f"a huge number of atoms: {quote(line)}"
            raise Fault(place + 1, f"too large #atoms {nth}", text, "a count", "correct the head")
        flag = fields.int32()
        flag_is_glued = fields.is_glued()
        total = fields.number()
        head = Head(count, [float(count)], True, total is not None)
        if flag is not None and total is not None:
            head.flag = flag != 0
            head.values += [float(head.flag), total]
            if not np.isfinite(total * RYDBERG):
                text = f"the total energy is no number: {quote(line)}"
                advice = "remove the structure: its calculation failed"
                raise Fault(place + 1, f"NaN at the total energy {nth}", text, "Ry", advice, "not-finite")
        self._judge_head(place + 1, line, head, flag, flag_is_glued or fields.is_glued())
        self._read_stress(place + 1, fields, head, nth)
        return head

    def _judge_head(self, number: int, line: bytes, head: Head, flag: Optional[int], is_glued: bool) -> None:
        """Tells of a head that the command reads as something else than what is meant."""
        wanted = "number of atoms, flag, total energy in Ry: 8 0 -63.3857"
        index = len(self.file.records)
        if flag not in (0, 1) and head.has_total:
            found = f"the command takes {flag} as the flag and {head.values[2]:g} Ry as the energy of {quote(line)}"
            rank = Rank.ERROR if is_glued else Rank.WARNING
            self._add(rank, "head", number, index, found, wanted, "write 0 or, with atomic energies, 1 as the flag")
        elif is_glued and head.has_total:
            found = f"the command takes {head.values[2]:g} Ry as the energy of {quote(line)}"
            self._add(Rank.ERROR, "head", number, index, found, wanted, "write exponents with e, and blanks between")
        elif not head.has_total and len(line.split()) > 1:
            found = f"no total energy is read in {quote(line)}: it becomes the sum of column 5"
            self._add(Rank.ERROR, "head", number, index, found, wanted, "complete the head, or leave the count alone")

    def _read_stress(self, number: int, fields: FieldScanner, head: Head, nth: str) -> None:
        if not head.has_total:
            return
        rest = fields.rest()
        stress = fields.numbers(6)
        if stress is None:
            if rest and FieldScanner(rest).number() is not None:
                found = f"an incomplete stress, which is ignored: {quote(rest)}"
                wanted = "six numbers, xx yy zz yz xz xy in Ry/Bohr^3"
                index = len(self.file.records)
                self._add(Rank.WARNING, "stress", number, index, found, wanted, "complete it or remove it")
            return
        if not np.isfinite(stress).all():
            found = f"a stress that is no number: {quote(rest)}"
            raise Fault(number, f"NaN at the stress {nth}", found, "Ry/Bohr^3", "remove the stress", "not-finite")
        head.values += stress

    def _read_block(self, place: int, head: Head) -> None:
        cell = np.array([self._read_vector(place + 1 + row) for row in range(3)])
        labels: list[str] = []
        rows: list[list[float]] = []
        for atom in range(head.count):
            label, numbers = self._read_atom(place, atom, head.count)
            labels.append(label)
            rows.append(numbers)
        array = np.array(rows)
        structure = datafile.structure_of(labels, cell, array, head.values)
        structure.source = f"{self.file.name}:{place + 1}"
        record = Record(len(self.file.records), place + 1, structure, head.has_total, head.flag, array)
        self.file.records.append(record)
        if self.max_force <= 0.0 or record.largest_force <= self.max_force:
            self.accepted += 1

    def _read_vector(self, place: int) -> list[float]:
        line = self._line(place)
        row = read_row(line, False, 3)
        nth = f"of the {self.accepted} -th geometry"
        wanted = "a cell vector: three numbers in Bohr"
        if row is None:
            text = f"cannot read lattice {nth}"
            raise Fault(place + 1, text, f"no cell vector: {quote(line)}", wanted, "three lines follow each head")
        if not _are_finite(np.array(row[1])):
            text = f"NaN at the lattice {nth}"
            raise Fault(place + 1, text, f"no number: {quote(line)}", wanted, "correct the cell", "not-finite")
        return row[1]

    def _read_atom(self, head_place: int, atom: int, count: int) -> tuple[str, list[float]]:
        place = head_place + 4 + atom
        line = self._line(place)
        row = read_row(line, True, NUMBERS)
        if row is None:
            message = f"cannot read the {atom} -th atom of the {self.accepted} -th geometry"
            raise fault_of_atom(self.lines, head_place, atom, count, message)
        word, numbers = row
        if not _are_finite(np.array(numbers), SINGLE):
            text = f"NaN at the {atom} -th atom of the {self.accepted} -th geometry"
            advice = "remove the structure: its calculation failed"
            raise Fault(place + 1, text, f"NaN or infinity: {quote(line)}", "finite numbers", advice, "not-finite")
        return word.decode("utf-8", errors="replace"), numbers


def _are_finite(values: np.ndarray, single=slice(None)) -> bool:
    """Whether the command finds numbers, the chosen ones of them in single precision, and energies in eV."""
    return bool(np.isfinite(values * RYDBERG).all() and (np.abs(values[single]) < LARGEST_FLOAT).all())
