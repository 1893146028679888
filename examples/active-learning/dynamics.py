"""Molecular dynamics of a trained potential, and the frames of it that the potential is not sure of.

The dynamics are those of a LAMMPS input for lmp_melta, which writes the spread of the committee with the atoms:

    dump frames all custom 5 md.dump id element x y z c_spread
"""

from __future__ import annotations

import os
import subprocess
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator, Sequence

SCRIPT = "in.md"
DUMP = "md.dump"
FORCE_FIELD = "ffield.melta"
COLUMNS = ("element", "x", "y", "z", "c_spread")

# What the pair style says when it ends a run itself, at the limit behind its option "stop".
LIMIT = "the spread of forces exceeds"


class DynamicsError(Exception):
    """A failure with a message for the user."""


@dataclass(frozen=True)
class Frame:
    """A configuration of the dynamics.

    cell, atoms
        Three cell vectors; a name and three coordinates for each atom; Angstrom, as texts.
    spread
        The largest standard deviation of the force on an atom among the networks, eV/Angstrom.
    """

    step: int
    cell: Sequence[str]
    atoms: Sequence[str]
    spread: float


def run(program: str, directory: Path, seed: int) -> str:
    """Runs the dynamics in a directory that has the input and the force field; returns what is printed.

    A run that the pair style ends at its limit is a good one.
    """
    done = subprocess.run(
        [program, "-in", SCRIPT, "-log", "none", "-var", "seed", str(seed)],
        cwd=directory,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        env={**os.environ, "OMP_NUM_THREADS": "1"},
        text=True,
        check=False,
    )
    if done.returncode != 0 and LIMIT not in done.stdout:
        lines = [line for line in done.stdout.splitlines() if "ERROR" in line] or ["no message"]
        raise DynamicsError(f"{SCRIPT} has failed in {directory}: {lines[0].strip()}")
    if not (directory / DUMP).exists():
        raise DynamicsError(f"{SCRIPT} has written no {DUMP} in {directory}")
    return done.stdout


def read_frames(dump: Path) -> Iterator[Frame]:
    """The complete frames of a dump: a run that was ended may have cut the last one short."""
    lines = dump.read_text(encoding="utf-8").splitlines()
    start = 0
    while start + 9 <= len(lines):
        count = int(lines[start + 3])
        if start + 9 + count > len(lines):
            return
        yield frame_of(lines[start : start + 9 + count])
        start += 9 + count


def frame_of(lines: Sequence[str]) -> Frame:
    """lines are those of one frame, from "ITEM: TIMESTEP" on."""
    names = lines[8].split()[2:]
    missing = [name for name in COLUMNS if name not in names]
    if not lines[0].startswith("ITEM: TIMESTEP") or missing:
        raise DynamicsError(f"a frame of {DUMP} has no {' '.join(missing) or 'step'}")
    places = [names.index(name) for name in COLUMNS]
    rows = [[line.split()[place] for place in places] for line in lines[9:]]
    return Frame(
        step=int(lines[1]),
        cell=cell_of(lines[4], lines[5:8]),
        atoms=["  ".join(row[:4]) for row in rows],
        spread=max(float(row[4]) for row in rows),
    )


def cell_of(head: str, bounds: Sequence[str]) -> list[str]:
    """Cell vectors from the bounds of a box, of which those of a tilted one go around all of it."""
    rows = [[float(word) for word in line.split()] for line in bounds]
    xy, xz, yz = (row[2] if "xy xz yz" in head else 0.0 for row in rows)
    (xlo, xhi), (ylo, yhi), (zlo, zhi) = (row[:2] for row in rows)
    shifts = (0.0, xy, xz, xy + xz)
    length_x = xhi - max(shifts) - (xlo - min(shifts))
    length_y = yhi - max(0.0, yz) - (ylo - min(0.0, yz))
    vectors = [(length_x, 0.0, 0.0), (xy, length_y, 0.0), (xz, yz, zhi - zlo)]
    return ["  ".join(f"{number:.8f}" for number in vector) for vector in vectors]


def write_uncertain(directory: Path, least: float, most: float) -> None:
    """Writes the frames of a run with a spread between these two as dft_geom/geom.N."""
    folder = directory / "dft_geom"
    folder.mkdir()
    frames = [frame for frame in read_frames(directory / DUMP) if least <= frame.spread <= most]
    for number, frame in enumerate(frames, start=1):
        (folder / f"geom.{number}").write_text(geometry_text(frame), encoding="utf-8")


def geometry_text(frame: Frame) -> str:
    """A frame as the walks write theirs, and as melta --dft reads them."""
    return "\n".join(
        ["CELL_PARAMETERS {angstrom}", *frame.cell, "", "ATOMIC_POSITIONS {angstrom}", *frame.atoms, "", ""]
    )
