"""Pictures of what the data cover, with Matplotlib."""

from __future__ import annotations

from pathlib import Path

import numpy as np

from .coverage import Coverage
from .survey import BIN

FORMATS = ("png", "svg")
MOST_CURVES = 10


def draw(coverage: Coverage, directory: Path) -> list[Path]:
    """Draws all pictures; returns their files. Raises ImportError without Matplotlib, OSError without room."""
    from matplotlib.backends.backend_agg import FigureCanvasAgg
    from matplotlib.figure import Figure

    directory.mkdir(parents=True, exist_ok=True)
    written = []
    for name, plot in PICTURES.items():
        figure = Figure(figsize=(6.0, 4.0), layout="constrained")
        FigureCanvasAgg(figure)
        plot(figure.add_subplot(), coverage)
        for suffix in FORMATS:
            path = directory / f"{name}.{suffix}"
            figure.savefig(path, dpi=150)
            written.append(path)
    return written


def _distances(axes, coverage: Coverage) -> None:
    middles = (np.arange(len(next(iter(coverage.histograms.values()), []))) + 0.5) * BIN
    largest = sorted(coverage.histograms, key=lambda name: -coverage.histograms[name].sum())[:MOST_CURVES]
    for name in sorted(largest):
        histogram = coverage.histograms[name]
        density = histogram / middles**2
        axes.plot(middles, density / max(density.max(), 1.0e-12), label=name)
    axes.set(xlabel="distance, Angstrom", ylabel="pairs, over the square of the distance, highest 1")
    if largest:
        axes.legend()


def _coordination(axes, coverage: Coverage) -> None:
    width = 0.8 / max(len(coverage.coordination), 1)
    for place, (name, counts) in enumerate(sorted(coverage.coordination.items())):
        total = sum(counts.values())
        numbers = np.array(sorted(counts))
        middle = (place - 0.5 * (len(coverage.coordination) - 1)) * width
        axes.bar(numbers + middle, [counts[n] / total for n in numbers], width, label=name)
    axes.xaxis.get_major_locator().set_params(integer=True)
    axes.set(xlabel="neighbours up to 1.3 times the sum of covalent radii", ylabel="share of the atoms")
    if coverage.coordination:
        axes.legend()


def _density(axes, coverage: Coverage) -> None:
    axes.plot(coverage.volumes, coverage.offsets, ".")
    axes.set(xlabel="volume of an atom, Angstrom^3", ylabel="energy off the composition, eV for an atom")


def _forces(axes, coverage: Coverage) -> None:
    axes.hist(coverage.spreads, bins=40)
    axes.set(xlabel="root mean square force component, eV/Angstrom", ylabel="structures")


PICTURES = {"distances": _distances, "coordination": _coordination, "density": _density, "forces": _forces}
