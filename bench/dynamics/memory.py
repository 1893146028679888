#!/usr/bin/env python3
"""Memory of molecular dynamics: for each atom of large crystals, and over time.

usage: bench/dynamics/memory.py FFIELD [--work DIR] [--large CELLS] [--steps N]

Peak of the resident memory of one process through the pair style, for crystals of silicon of different size, a few steps
each, less that of 8 atoms; then of 1,000 atoms after a short and after a long run.
"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

from lammps import Log, crystal, pair_style, parser_of, print_table, run, status_of  # noqa: E402

LATTICE = 5.466  # Angstrom


def measure(arguments: argparse.Namespace, cells: int, steps: int) -> Log:
    host = pair_style(arguments.ffield.resolve())
    text = crystal(host, cells, LATTICE, 1500.0) + f"thermo {max(1, steps // 2)}\nfix 1 all nve\nrun {steps}\n"
    return run(host, text, arguments.work / f"memory_{cells}_{steps}")


def parse_arguments() -> argparse.Namespace:
    parser = parser_of(__doc__)
    parser.add_argument("ffield", type=Path)
    parser.add_argument("--work", type=Path, default=Path("memory"))
    parser.add_argument("--large", type=int, default=50, help="cubic cells along an edge of the largest crystal")
    parser.add_argument("--steps", type=int, default=4000, help="of the long run")
    return parser.parse_args()


def measure_all(arguments: argparse.Namespace) -> None:
    least = measure(arguments, 1, 3).peak_bytes
    rows = []
    for cells in (10, 20, arguments.large):
        log = measure(arguments, cells, 3)
        each = (log.peak_bytes - least) / log.atoms
        rows.append([f"{log.atoms:,} atoms", f"{log.peak_bytes / 1e9:.2f}", f"{each:.0f}"])
    print_table(["", "peak, GB", "bytes for each atom"], rows)
    print()
    short, long = measure(arguments, 5, arguments.steps // 20), measure(arguments, 5, arguments.steps)
    rows = [[f"{log.steps:,} steps", f"{log.peak_bytes / 1e6:.2f}"] for log in (short, long)]
    print_table(["1,000 atoms, 1,500 K", "peak, MB"], rows)


if __name__ == "__main__":
    sys.exit(status_of(lambda: measure_all(parse_arguments())))
