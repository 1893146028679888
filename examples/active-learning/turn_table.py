"""The table of the turns: errors of each model, and what was found with it."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional, Sequence


@dataclass(frozen=True)
class Walks:
    """What the walks on one model have found; of dynamics, how many frames are written and uncertain."""

    steps: int
    accepted: int
    unknown: int


@dataclass(frozen=True)
class Row:
    """One model: its training data, its errors on the test data, and the walks on it."""

    turn: int
    geometries: int
    refused: int
    energy_error: float  # eV/atom
    force_error: float  # eV/Angstrom
    walks: Walks
    new_force_error: Optional[float] = None  # on what was calculated next, before it was learned


HEAD = (
    "model",
    "training geometries",
    "test RMSE(E), meV/atom",
    "test RMSE(F), eV/A",
    "RMSE(F) on the next geometries",
    "accepted steps",
    "unknown geometries",
)
HEADS = {"metro": HEAD, "md": (*HEAD[:-2], "frames of steps", "uncertain frames")}


def format_table(rows: Sequence[Row], source: str = "metro") -> str:
    """A table that can be read on a console and by a Markdown viewer."""
    lines = [HEADS[source], ("---",) + ("---:",) * (len(HEAD) - 1)]
    for row in rows:
        share = row.walks.unknown / row.walks.accepted if row.walks.accepted else 0.0
        lines.append(
            (
                "start" if row.turn == 0 else f"after turn {row.turn}",
                str(row.geometries) + (f" - {row.refused}" if row.refused else ""),
                f"{1000.0 * row.energy_error:.1f}",
                f"{row.force_error:.3f}",
                "" if row.new_force_error is None else f"{row.new_force_error:.3f}",
                f"{row.walks.accepted} of {row.walks.steps}",
                f"{row.walks.unknown} ({share:.0%})",
            )
        )
    widths = [max(len(line[i]) for line in lines) for i in range(len(HEAD))]
    return "".join("| " + " | ".join(map(pad, line, widths)) + " |\n" for line in lines)


def pad(cell: str, width: int) -> str:
    """Fills a cell up; those of the line under the head with more of their dashes."""
    return cell.replace("---", "-" * (width - len(cell) + 3)) if cell.startswith("---") else cell.rjust(width)
