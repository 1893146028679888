"""Learning curves, also of a training that goes on."""

from __future__ import annotations

import time
from typing import Callable, Optional, Sequence

import numpy as np

from . import log, style
from .log import TrainingLog

TITLES = {
    "RMSE(E)": "Energy, eV/atom",
    "RMSE(F)": "Force, eV/Angstrom",
    "RMSE(S)": "Stress times volume, eV/atom",
    "RMSE(Q)": "Charge, e",
    "Loss": "Loss",
}


def draw(logs: Sequence[TrainingLog]):
    """A figure with a panel for each kind of error; training data thin, those of the in-situ test thick."""
    names = [name for name in TITLES if any(has_numbers(one, name) for one in logs)]
    figure, axes = style.panels(1, max(len(names), 1), height=2.9)
    for name, panel in zip(names, axes[0]):
        for index, one in enumerate(logs):
            draw_curves(panel, one, name, index, len(logs) > 1)
        panel.set(title=TITLES[name], xlabel="epoch", yscale="log")
        panel.grid(True, which="major", color="0.9", linewidth=0.6)
    if not names:
        axes[0][0].set(title="no epoch yet", xlabel="epoch")
    else:
        axes[0][0].legend(loc="best")
    return figure


def has_numbers(one: TrainingLog, name: str) -> bool:
    return any(value > 0.0 for curve in (one.training, one.testing) for value in curve.values.get(name, []))


def draw_curves(panel, one: TrainingLog, name: str, index: int, is_named: bool) -> None:
    prefix = f"{one.name}, " if is_named else ""
    for curve, part, width, opacity in ((one.training, "training", 0.6, 0.45), (one.testing, "test", 1.6, 1.0)):
        values = np.array(curve.values.get(name, []), dtype=float)
        if len(values) and np.nanmax(values) > 0.0:
            label = prefix + part
            look = style.line_of(index)
            shown = np.where(values > 0.0, values, np.nan)
            panel.plot(curve.epochs, shown, label=label, linewidth=width, alpha=opacity, **look)
    for epoch, _ in one.changes[1:]:
        panel.axvline(epoch + 0.5, color="0.7", linewidth=0.7, linestyle=":")


def summary(one: TrainingLog) -> str:
    """How far a training has come."""
    if not one.training.epochs:
        return f"{one.name}: no epoch yet"
    limit = f" of {one.limit}" if one.limit else ""
    curve = one.testing if one.testing.epochs else one.training
    part = "test" if one.testing.epochs else "training"
    errors = [f"{name} {column[-1]:.3e}" for name, column in curve.values.items() if name != "Loss"]
    end = ", ended" if one.is_finished else time_left(one.seconds_left())
    return f"{one.name}: epoch {one.training.epochs[-1]}{limit}, {part} {' '.join(sorted(errors))}{end}"


def time_left(seconds: Optional[float]) -> str:
    if seconds is None:
        return ""
    for unit, length in (("d", 86400.0), ("h", 3600.0), ("min", 60.0)):
        if seconds >= 2 * length:
            return f", at most {seconds / length:.1f} {unit} left"
    return f", at most {seconds:.0f} s left"


def follow(runs: Sequence[str], output: str, interval: float, tell: Callable[[str], None]) -> None:
    """Draws anew whenever one of the runs has printed more, until all have ended. interval: seconds."""
    before: list = []
    while True:
        logs = [log.read(run) for run in runs]
        state = [(one.training.epochs[-1:], one.is_finished) for one in logs]
        if state != before:
            with style.style():
                style.save(draw(logs), output)
            for one in logs:
                tell(summary(one))
            before = state
        if all(one.is_finished for one in logs):
            return
        time.sleep(interval)
