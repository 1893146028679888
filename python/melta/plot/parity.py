"""Parity plots: reference against network."""

from __future__ import annotations

from typing import Optional, Sequence

import numpy as np

from . import style
from .errors import errors_of
from .run import QUANTITIES, Run

MOST_POINTS = 20000  # more cannot be told apart
CELLS = 60  # of the grid, in each direction, that densities are counted on
COMPONENTS = {"energy": 1, "stress": 6}  # lines of a table for each geometry


def draw(runs: Sequence[Run], outliers: int = 3):
    """A figure with a row for each run and a panel for each quantity that it has."""
    rows = [[key for key in QUANTITIES if run.has(key)] for run in runs]
    figure, axes = style.panels(len(runs), max(len(keys) for keys in rows))
    for run, keys, row in zip(runs, rows, axes):
        for key, panel in zip(keys, row):
            draw_panel(panel, run, key, outliers)
        for panel in row[len(keys) :]:
            panel.set_axis_off()
        if len(runs) > 1:
            row[0].set_ylabel(f"{run.name}\n{row[0].get_ylabel()}")
    return figure


def draw_panel(panel, run: Run, key: str, outliers: int) -> None:
    """One quantity of one run."""
    from matplotlib.colors import LogNorm

    quantity, pairs = QUANTITIES[key], run.table(key)
    low, high = limits(pairs)
    panel.set(xlim=(low, high), ylim=(low, high), aspect="equal", title=quantity.title)
    panel.plot([low, high], [low, high], color="0.6", linewidth=0.8, zorder=1)
    chosen = thinned(pairs)
    density = densities(chosen, low, high)
    order = np.argsort(density)  # the dense places on top
    points = chosen[order]
    panel.scatter(*points.T, c=density[order], cmap=style.DENSITY, s=5, linewidths=0, norm=LogNorm(), rasterized=True)
    for index in np.argsort(-np.abs(pairs[:, 1] - pairs[:, 0]))[:outliers]:
        mark_outlier(panel, pairs[index], outlier_name(run, key, int(index)))
    found = errors_of(run.errors(key))
    note = f"RMSE {found.rmse:.3g} {quantity.error_unit}\nMAE {found.mae:.3g} {quantity.error_unit}"
    panel.text(0.04, 0.96, note, transform=panel.transAxes, va="top", fontsize=8)
    panel.set_xlabel(f"reference, {quantity.unit}")
    panel.set_ylabel(f"network, {quantity.unit}")


def limits(pairs: np.ndarray) -> tuple[float, float]:
    low, high = float(pairs.min()), float(pairs.max())
    room = 0.04 * (high - low) or 1.0
    return low - room, high + room


def thinned(pairs: np.ndarray) -> np.ndarray:
    """At most MOST_POINTS of the pairs, always the ones with the largest errors among them."""
    if len(pairs) <= MOST_POINTS:
        return pairs
    order = np.argsort(np.abs(pairs[:, 1] - pairs[:, 0]))
    even = order[np.linspace(0, len(order) - 1, MOST_POINTS).astype(int)]
    return pairs[even]


def densities(pairs: np.ndarray, low: float, high: float) -> np.ndarray:
    """How many of the pairs lie in the cell of the grid of each pair [n], at least 1."""
    places = np.clip(((pairs - low) / (high - low) * CELLS).astype(int), 0, CELLS - 1)
    flat = places[:, 0] * CELLS + places[:, 1]
    return np.bincount(flat, minlength=CELLS * CELLS)[flat]


def outlier_name(run: Run, key: str, index: int) -> Optional[str]:
    """The geometry of a line of a table; None where nothing tells it."""
    if key in ("force", "charge"):
        if not run.has_structures():
            return None
        atom = index // 3 if key == "force" else index
        return run.name_of_geometry(int(run.geometry_of_atom[atom]))
    if key == "stress":
        if not run.has_structures():
            return None
        with_stress = [i for i, one in enumerate(run.structures) if one.stress is not None]
        return run.name_of_geometry(with_stress[index // COMPONENTS[key]])
    return run.name_of_geometry(index)


def mark_outlier(panel, point: np.ndarray, name: Optional[str]) -> None:
    panel.plot(*point, marker="o", markersize=5, markerfacecolor="none", color=style.COLOURS[1], markeredgewidth=0.8)
    if name:
        place, sides = room_beside(point, panel.get_xlim())
        panel.annotate(name, point, xytext=place, textcoords="offset points", fontsize=7, color="0.25", **sides)


def room_beside(point: np.ndarray, limits: tuple[float, float]) -> tuple[tuple[int, int], dict]:
    """Where the name of a point stands, in points from it: away from the diagonal, and within the panel."""
    across = (point[0] - limits[0]) / (limits[1] - limits[0])
    if point[1] > point[0]:
        return ((-5, 2), {"ha": "right", "va": "center"}) if across > 0.25 else ((-3, 5), {"ha": "left", "va": "bottom"})
    return ((5, -2), {"ha": "left", "va": "center"}) if across < 0.75 else ((3, -5), {"ha": "right", "va": "top"})
