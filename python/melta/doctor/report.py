"""The findings as text and as JSON."""

from __future__ import annotations

import json
from dataclasses import dataclass, field
from itertools import groupby
from typing import Iterator

from .coverage import Coverage, quantiles
from .findings import Finding, Rank

LISTED = 5  # of a kind, unless all are wanted


@dataclass
class Report:
    """All that was found in a file."""

    name: str
    num_lines: int
    num_structures: int
    coverage: Coverage
    findings: list[Finding] = field(default_factory=list)

    def count(self, rank: Rank) -> int:
        return sum(finding.rank == rank for finding in self.findings)

    @property
    def is_sound(self) -> bool:
        """Whether nothing of the first rank was found."""
        return self.count(Rank.ERROR) == 0

    def text(self, lists_all: bool = False) -> str:
        """For people, in lines."""
        counts = f"{self.num_lines} lines, {self.num_structures} structures, {self.coverage.num_atoms} atoms"
        lines = [f"{self.name}: {counts}"]
        lines += _coverage_lines(self.coverage) if self.num_structures else []
        for _, group in groupby(self.findings, key=lambda one: (one.rank, one.kind)):
            lines += ["", *self._lines_of_kind(list(group), lists_all)]
        counts = [f"{self.count(rank)} {rank.word}{'' if self.count(rank) == 1 else 's'}" for rank in Rank]
        return "\n".join([*lines, "", "found: " + ", ".join(counts)])

    def _lines_of_kind(self, findings: list[Finding], lists_all: bool) -> Iterator[str]:
        listed = findings if lists_all else findings[:LISTED]
        for place, finding in enumerate(listed):
            where = f"{self.name}:{finding.line}" if finding.line else self.name
            which = "" if finding.structure is None else f", structure {finding.structure}"
            yield f"{finding.rank.word}: {where}{which}: [{finding.kind}] {finding.found}"
            if place == 0 or finding.expected != listed[place - 1].expected:
                yield f"    expected: {finding.expected}"
            if place == 0 or finding.advice != listed[place - 1].advice:
                yield f"    to do:    {finding.advice}"
        if len(findings) > len(listed):
            yield f"    and {len(findings) - len(listed)} more of the kind (--all)"

    def json(self) -> str:
        """For programs; findings in the same order."""
        content = {
            "file": self.name,
            "lines": self.num_lines,
            "structures": self.num_structures,
            "errors": self.count(Rank.ERROR),
            "warnings": self.count(Rank.WARNING),
            "remarks": self.count(Rank.REMARK),
            "findings": [finding.as_dict() for finding in self.findings],
            "coverage": self.coverage.as_dict(),
        }
        return json.dumps(content, indent=1, allow_nan=False) + "\n"


def _coverage_lines(coverage: Coverage) -> Iterator[str]:
    yield "  elements:        " + ", ".join(f"{name} {count}" for name, count in sorted(coverage.elements.items()))
    formulas = [f"{name} ({count})" for name, count in coverage.formulas.most_common(6)]
    more = len(coverage.formulas) - len(formulas)
    yield "  compositions:    " + ", ".join(formulas) + (f" and {more} more" if more else "")
    for name, row in coverage.distances.items():
        if row["peak"] is not None:
            yield f"  {name + ' distance:':<16} from {row['shortest']:.2f}, peak at {row['peak']:.2f} Angstrom"
    for name, counts in sorted(coverage.coordination.items()):
        total = sum(counts.values())
        most = ", ".join(f"{n} ({100 * c / total:.0f} %)" for n, c in counts.most_common(4))
        yield f"  {name + ' neighbours:':<16} {most}"
    yield from _row("volume", coverage.volumes, "Angstrom^3 for an atom")
    yield from _row("energy", coverage.offsets, "eV for an atom, off the composition")
    yield from _row("force component", coverage.spreads, "eV/Angstrom, root mean square")
    for group in coverage.temperatures[:LISTED]:
        size = f"{group.num_structures} structures of {group.formula} from line {group.line} on"
        yield f"  temperature:     {group.temperature:.0f} K by the forces on displaced atoms, {size}"


def _row(name: str, values, unit: str) -> Iterator[str]:
    if figures := quantiles(values):
        low, _, middle, _, high = figures
        yield f"  {name + ':':<16} {low:.4g} to {high:.4g}, middle {middle:.4g} {unit}"
