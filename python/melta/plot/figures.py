"""The pictures of errors, of their spread, of runs side by side, and of distances."""

from __future__ import annotations

from typing import Sequence

import numpy as np

from . import style
from .errors import Row, errors_of
from .run import QUANTITIES, Run
from .spread import Calibration

MOST_BARS = 24


def draw_histogram(run: Run, rows: Sequence[Row], by: str):
    """Distributions of the errors of energies and of forces, and the errors of the rows as bars."""
    figure, axes = style.panels(1, 3)
    draw_energies(axes[0][0], run)
    draw_forces(axes[0][1], run)
    draw_rows(axes[0][2], rows, by)
    return figure


def draw_energies(panel, run: Run) -> None:
    values = run.errors("energy")
    panel.hist(values, bins=bins_for(values), color=style.COLOURS[0])
    panel.axvline(0.0, color="0.6", linewidth=0.8)
    panel.set(title="Energy", xlabel="network - reference, meV/atom", ylabel="geometries")


def bins_for(values: np.ndarray) -> int:
    return int(np.clip(np.sqrt(len(values)) * 1.5, 8, 60))


def draw_forces(panel, run: Run) -> None:
    """A line for each element, on a logarithmic scale: the tails are what matters."""
    errors = run.force_errors()
    labels = run.label_of_atom
    longest = float(np.abs(errors).max()) or 1.0
    edges = np.linspace(-longest, longest, 61)
    for index, label in enumerate(dict.fromkeys(labels)):
        chosen = errors[labels == label].ravel()
        panel.hist(chosen, bins=edges, histtype="step", label=f"{label}, {errors_of(chosen).rmse:.3g}", **look(index))
    panel.set(title="Force", xlabel="network - reference, eV/Angstrom", ylabel="components", yscale="log")
    panel.legend(title="RMSE", loc="upper right")


def look(index: int) -> dict:
    return {**style.line_of(index), "linewidth": 1.3}


def draw_rows(panel, rows: Sequence[Row], by: str) -> None:
    shown = list(rows[:MOST_BARS])[::-1]
    panel.barh(range(len(shown)), [row.force.rmse for row in shown], color=style.COLOURS[0])
    panel.set_yticks(range(len(shown)))
    panel.set_yticklabels([f"{row.name} ({row.geometries})" for row in shown], fontsize=7)
    more = f", the largest {MOST_BARS} of {len(rows)}" if len(rows) > MOST_BARS else ""
    panel.set(title=f"By {by}{more}", xlabel="RMSE of forces, eV/Angstrom")


def draw_spread(found: Sequence[Calibration]):
    """Spread against error on logarithmic scales, with the means of bins and the line where both are equal."""
    figure, axes = style.panels(1, len(found))
    for one, panel in zip(found, axes[0]):
        # Atoms that symmetry keeps free of forces have neither, but for rounding.
        lowest = 1e-3 * max(1e-6, float(np.median(one.spread)))
        spread, error = np.maximum(one.spread, lowest), np.maximum(one.error, lowest)
        panel.scatter(spread, error, s=4, linewidths=0, alpha=0.35, color=style.COLOURS[0], rasterized=True)
        means = np.maximum(one.binned(), lowest)
        panel.plot(*means.T, "o-", color=style.COLOURS[1], markersize=4, label="root mean squares")
        ends = [min(spread.min(), means.min()), max(spread.max(), means.max())]
        panel.plot(ends, ends, color="0.4", linewidth=0.8, linestyle="--", label="error = spread")
        panel.set(xscale="log", yscale="log", title=one.title)
        panel.set(xlabel=f"spread of the networks, {one.unit}", ylabel=f"error, {one.unit}")
        panel.legend(loc="lower right")
    return figure


def draw_comparison(runs: Sequence[Run]):
    """Errors of several runs as bars, and how many force components have errors below a bound."""
    figure, axes = style.panels(1, 3)
    for key, panel in zip(("energy", "force"), axes[0]):
        draw_bars(panel, runs, key)
    panel = axes[0][2]
    for index, run in enumerate(runs):
        sizes = np.sort(np.abs(run.errors("force")))
        shares = np.arange(1, len(sizes) + 1) / len(sizes)
        panel.plot(np.maximum(sizes, 1e-5), shares, label=run.name, **look(index))
    panel.set(title="Force", xlabel="error, eV/Angstrom", ylabel="share of components with less", xscale="log")
    panel.set_ylim(0.0, 1.0)
    panel.legend(loc="upper left")
    return figure


def draw_bars(panel, runs: Sequence[Run], key: str) -> None:
    found = [errors_of(run.errors(key)) for run in runs]
    places = np.arange(len(runs))
    panel.bar(places - 0.2, [one.rmse for one in found], 0.4, label="RMSE", color=style.COLOURS[0])
    panel.bar(places + 0.2, [one.mae for one in found], 0.4, label="MAE", color=style.COLOURS[5], hatch="//")
    panel.set_xticks(places)
    panel.set_xticklabels([run.name for run in runs], rotation=30, ha="right")
    panel.set(title=QUANTITIES[key].title, ylabel=QUANTITIES[key].error_unit)
    panel.set_ylim(0.0, 1.25 * max(one.rmse for one in found))
    panel.legend(loc="upper right", ncol=2)


def draw_radial(sets: dict[str, dict], longest: float):
    """g(r) of each pair of elements, a line for each set: sets[name][pair] is [bins]."""
    pairs = sorted({pair for found in sets.values() for pair in found})
    columns = min(3, len(pairs))
    figure, axes = style.panels(-(-len(pairs) // columns), columns, height=2.6)
    for panel in axes.flat[len(pairs) :]:
        panel.set_axis_off()
    for pair, panel in zip(pairs, axes.flat):
        for index, (name, found) in enumerate(sets.items()):
            if pair in found:
                step = longest / len(found[pair])
                panel.plot(np.arange(len(found[pair])) * step + step / 2, found[pair], label=name, **look(index))
        panel.axhline(1.0, color="0.85", linewidth=0.7, zorder=0)
        panel.set(title="-".join(pair), xlabel="distance, Angstrom", ylabel="g(r)", xlim=(0.0, longest))
    axes.flat[0].legend(loc="best")
    return figure
