#!/usr/bin/env python3
"""Kills walks at odd moments and looks at what they leave: every geometry and every frame has to be complete. Only the
frame that is being appended may be cut, and that between two pages of the file, where the system heeds a signal.

usage: killed_walk.py --command PATH
"""

from __future__ import annotations

import argparse
import mmap
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

MODEL = Path(__file__).resolve().parents[1] / "shared" / "silica"
NUM_KILLS = 6
TIMEOUT = 60.0
NUM_SIDE = 3  # atoms along an edge of the cell
SPACING = 2.4  # Angstrom


def make_input() -> str:
    """A walk that finds something in each step and never ends by itself."""
    edge = NUM_SIDE * SPACING
    lines = ["maxSteps 1000000000", "numGeoms 1000000000", "unknownGeoms 0", "temperature 1e9", "GEOMETRY"]
    lines += [str(NUM_SIDE**3), f"{edge} 0 0", f"0 {edge} 0", f"0 0 {edge}"]
    for i in range(NUM_SIDE**3):
        place = (i % NUM_SIDE, i // NUM_SIDE % NUM_SIDE, i // NUM_SIDE**2)
        lines.append(" ".join(["Si" if i % 2 else "O", *(f"{SPACING * n:.3f}" for n in place)]))
    return "\n".join(lines) + "\n"


def count_geometries(directory: Path) -> int:
    """Geometries of the walk, which have to be numbered without a gap."""
    numbers = sorted(int(path.suffix[1:]) for path in (directory / "dft_geom").glob("geom.*") if path.suffix != ".new")
    if numbers != list(range(1, len(numbers) + 1)):
        sys.exit(f"numbers of the geometries: {numbers}")
    return len(numbers)


def check_geometry(path: Path) -> None:
    lines = path.read_text(encoding="utf-8").split("\n")
    if len(lines) != NUM_SIDE**3 + 8 or lines[-2:] != ["", ""] or any(len(x.split()) != 4 for x in lines[6:-2]):
        sys.exit(f"incomplete geometry: {path.name}")


def count_frames(path: Path) -> int:
    lines = path.read_text(encoding="utf-8").split("\n")
    size = NUM_SIDE**3 + 2
    num_frames, rest = divmod(len(lines) - 1, size)
    is_cut = rest != 0 or lines[-1] != ""
    if is_cut and path.stat().st_size % mmap.PAGESIZE != 0:
        sys.exit("the movie is cut within a page")
    if any(lines[size * i] != str(NUM_SIDE**3) for i in range(num_frames)):
        sys.exit("incomplete frame of the movie")
    return num_frames


def kill_walk(command: Path, directory: Path, num_wanted: int) -> None:
    with subprocess.Popen(
        [os.fspath(command), "--omp", "1", "--metro"], cwd=directory, stdout=subprocess.DEVNULL
    ) as process:
        end = time.monotonic() + TIMEOUT
        while not (directory / "dft_geom" / f"geom.{num_wanted}").exists():
            if process.poll() is not None or time.monotonic() > end:
                process.kill()
                sys.exit("the walk does not get on")
            time.sleep(0.0005)
        process.send_signal(signal.SIGKILL)


def check_kill(command: Path, num_wanted: int) -> int:
    with tempfile.TemporaryDirectory(prefix="melta-kill-") as scratch:
        directory = Path(scratch)
        for name in ("melta.data", "melta.data_e", "melta.gdist"):
            shutil.copy(MODEL / name, directory)
        (directory / "melta.metro").write_text(make_input(), encoding="utf-8")
        kill_walk(command, directory, num_wanted)
        num_geometries = count_geometries(directory)
        for number in range(1, num_geometries + 1):
            check_geometry(directory / "dft_geom" / f"geom.{number}")
        movie = directory / "movie" / "metro_1.xyz"
        num_frames = count_frames(movie) if movie.exists() else 0
        # A geometry is written in front of its frame.
        if num_geometries - num_frames not in (0, 1):
            sys.exit(f"{num_geometries} geometries and {num_frames} frames")
        return num_geometries


def main() -> int:
    parser = argparse.ArgumentParser(description="Kills walks and looks at what they leave.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    options = parser.parse_args()
    counts = [check_kill(options.command.resolve(), 1 + 7 * i) for i in range(NUM_KILLS)]
    print(f"killed walks with {counts} geometries")
    return 0


if __name__ == "__main__":
    sys.exit(main())
