"""What the data cover: distances, neighbours, densities, energies and forces."""

from __future__ import annotations

from collections import Counter
from dataclasses import asdict, dataclass, field
from typing import Iterator

import numpy as np

from .energies import residuals
from .findings import Finding, Rank
from .record import Record
from .survey import BIN, Survey
from .temperature import GroupTemperature, find_temperatures

QUANTILES = (0.0, 0.05, 0.5, 0.95, 1.0)
SAME_DENSITY = 0.01  # of the middle
NARROW_FORCES = 0.02  # eV/Angstrom, root mean square component
FEW = 20  # structures


@dataclass
class Coverage:
    """Figures for people and pictures.

    distances
        For each pair of symbols: the shortest distance and the middle of the first peak, Angstrom; None without any.
    histograms
        For each pair of symbols the numbers of pairs in bins of BIN, Angstrom.
    coordination
        For each symbol how many atoms have how many neighbours.
    volumes, spreads, offsets
        (m,), one for each structure: volume of an atom, Angstrom^3; root mean square force component, eV/Angstrom;
        energy without what belongs to the elements, eV for an atom.
    temperatures
        Of groups of structures that solid matter could take in turn.
    """

    num_atoms: int = 0
    formulas: Counter = field(default_factory=Counter)
    elements: Counter = field(default_factory=Counter)
    distances: dict[str, dict] = field(default_factory=dict)
    histograms: dict[str, np.ndarray] = field(default_factory=dict)
    coordination: dict[str, Counter] = field(default_factory=dict)
    volumes: np.ndarray = field(default_factory=lambda: np.zeros(0))
    spreads: np.ndarray = field(default_factory=lambda: np.zeros(0))
    offsets: np.ndarray = field(default_factory=lambda: np.zeros(0))
    temperatures: list[GroupTemperature] = field(default_factory=list)

    def as_dict(self) -> dict:
        coordination = self.coordination.items()
        return {
            "atoms": self.num_atoms,
            "elements": dict(self.elements),
            "formulas": dict(self.formulas.most_common()),
            "distances": self.distances,
            "coordination": {name: {str(n): c for n, c in sorted(counts.items())} for name, counts in coordination},
            "volume_per_atom": quantiles(self.volumes),
            "force_component": quantiles(self.spreads),
            "energy_offset": quantiles(self.offsets),
            "temperatures": [asdict(one) for one in self.temperatures],
        }


def quantiles(values: np.ndarray) -> list[float]:
    """Smallest, 5 %, middle, 95 %, largest of what is finite; empty without values."""
    values = values[np.isfinite(values)]
    return [float(value) for value in np.quantile(values, QUANTILES)] if len(values) else []


def measure(records: list[Record], survey: Survey) -> Coverage:
    """Figures of all structures."""
    result = Coverage()
    for record, around in zip(records, survey.surroundings):
        symbols = record.structure.symbols()
        result.formulas[record.formula] += 1
        result.elements.update(symbols)
        result.num_atoms += record.num_atoms
        if around is not None:
            for symbol, count in zip(symbols, around.coordination):
                result.coordination.setdefault(symbol, Counter())[int(count)] += 1
    for (one, other), histogram in sorted(survey.histograms.items()):
        name = f"{one}-{other}"
        result.histograms[name] = histogram
        result.distances[name] = _peak(histogram)
    result.volumes = np.array([abs(one.volume) / one.num_atoms for one in records])
    result.spreads = np.array([np.sqrt(np.mean(one.forces**2)) for one in records])
    result.offsets = residuals(records)
    result.temperatures = [one for one in find_temperatures(records) if np.isfinite(one.temperature)]
    return result


def _peak(histogram: np.ndarray) -> dict:
    """The shortest distance and the first peak of a histogram, by the density of pairs."""
    filled = np.flatnonzero(histogram)
    if not len(filled):
        return {"shortest": None, "peak": None}
    middles = (np.arange(len(histogram)) + 0.5) * BIN
    density = np.convolve(histogram / middles**2, np.ones(5) / 5.0, mode="same")
    high = np.flatnonzero(density >= 0.5 * density.max())
    end = high[0]
    while end + 1 < len(density) and density[end + 1] >= density[end]:
        end += 1
    return {"shortest": round(float(middles[filled[0]]), 3), "peak": round(float(middles[end]), 3)}


def check(records: list[Record], coverage: Coverage) -> Iterator[Finding]:
    """Remarks on what the data do not cover."""
    if len(records) < FEW:
        found, advice = f"there are {len(records)} structures", "add structures, or expect little"
        yield Finding(Rank.REMARK, "coverage", 0, None, found, f"{FEW} at least", advice)
        return
    middle = float(np.median(coverage.volumes))
    if np.ptp(coverage.volumes) < SAME_DENSITY * middle:
        found = f"all structures have the same density, {middle:.4g} Angstrom^3 for an atom"
        advice = "add compressed and stretched cells if the cell is to move"
        yield Finding(Rank.REMARK, "coverage", 0, None, found, "a range of densities", advice)
    high = float(np.quantile(coverage.spreads, 0.95))
    if high < NARROW_FORCES:
        found = f"19 of 20 structures have force components below {high:.2g} eV/Angstrom"
        advice = "add displaced atoms; a solid at 300 K has some tenths"
        yield Finding(Rank.REMARK, "coverage", 0, None, found, "forces of moving atoms", advice)
