#!/usr/bin/env python3
"""What a step of molecular dynamics costs, in microseconds of processor time for each atom.

usage: bench/dynamics/speed.py [--work DIR] [--repeat N] [--only REGEX] [--scaling]

Silicon crystals of 1,000 and 8,000 atoms on one core: models of 1 and 16 networks through stock LAMMPS with the KIM API
and through the pair style, with and without the spread of forces in each step, and in the same run what comes with
LAMMPS. "All" is the whole loop with lists that are built anew every 20 steps, "without lists" the pair style alone. The
least of --repeat runs counts, because other work on the machine only ever adds.

--scaling instead compares 2 processes, and 1 process with 2 threads, with 1 process on one core: how many times as fast
by the clock, where 2 is best, and their processor time in that of 1 process, where 1 is best. Nothing else may run then.

The networks are trained for a moment on examples/silicon, as far as a crystal that stays one needs it. Times do not
depend on their weights.
"""

from __future__ import annotations

import argparse
import re
import shutil
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Optional, Sequence

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))

from lammps import LMP, LMP_SNAP, MELTA, RELEASE, ROOT, Host, Log, RunFailure, crystal, pair_style  # noqa: E402
from lammps import parser_of, print_table, published, run, snap, status_of  # noqa: E402

SILICON = ROOT / "examples" / "silicon"
NAMES = {
    "cluster": "cluster functions",
    "chebyshev20": "20 + 20 Chebyshev functions",
    "chebyshev": "50 + 30 Chebyshev functions",
}
FUNCTIONS = {
    "cluster": "symmFunc cluster\nlbfgs 0\n",
    "chebyshev20": "symmFunc chebyshev\nnumRadius 20\nnumAngle 20\nrcutRadius 5.5\nrcutAngle 5.5\nlbfgs 0\n",
    "chebyshev": "symmFunc chebyshev\nlbfgs 0\n",
}
TRAINING = """\
layers 2
nodes 40
models {models}
batchs 8
epochs 10
epochsOnlyE 0
epochsApproxF 0
geomsEpoch 0
learnRate 0.005
learnRateFinal 0.0005
rmseEnergy 0.0001
rmseForce 0.001
"""
SIZES = {1000: (5, 200), 8000: (10, 40)}  # atoms: cells along an edge, steps
INPUT = """\
neigh_modify every 20 delay 0 check no
thermo {steps}
thermo_style custom step temp etotal
fix 1 all nve
run {steps}
"""


@dataclass(frozen=True)
class Case:
    """A row of the table."""

    name: str
    host: Host
    lattice: float
    pace: float = 1.0  # steps, compared with SIZES
    threaded: Optional[Host] = None  # the same with 2 threads
    scales: bool = False  # whether --scaling measures it


def force_field(kind: str, models: int, work: Path) -> Path:
    folder = work / f"{kind}_{models}"
    result = folder / "ffield.melta"
    if not result.exists():
        folder.mkdir(parents=True, exist_ok=True)
        shutil.copy(SILICON / "melta.train", folder)
        (folder / "melta.prop").write_text(FUNCTIONS[kind] + TRAINING.format(models=models))
        for mode in ("--train", "--export"):
            command = [str(MELTA), "--omp", "1", mode]
            with open(folder / f"{mode[2:]}.text", "w") as output:
                if subprocess.run(command, cwd=folder, stdout=output).returncode != 0:
                    raise RunFailure(f"melta {mode} failed, see {output.name}")
    return result


def kim(force_field: Path, name: str, work: Path) -> Host:
    tool = [sys.executable, str(ROOT / "tools" / "melta-kim"), "install", str(force_field), name]
    library = RELEASE / "kim" / "libkim-api-portable-model.so"
    tool += ["--collection", str(work / "models"), "--library", str(library)]
    subprocess.run(tool, check=True, stdout=subprocess.DEVNULL)
    program = work / "lmp_kim"
    program.write_text(f'#!/bin/sh\nKIM_API_PORTABLE_MODELS_DIR="{work / "models"}" exec {LMP} "$@"\n')
    program.chmod(0o755)
    return Host("KIM", str(program), "kim interactions Si", f"kim init {name} metal")


def our_cases(work: Path, wanted: re.Pattern[str]) -> list[Case]:
    cases = []
    for kind, name in NAMES.items():
        for models in (1, 16):
            title = f"{name}, {models} model{'s' if models > 1 else ''}"
            if not wanted.search(title):
                continue
            file = force_field(kind, models, work)
            scales = models == 16
            cases.append(Case(f"{title}, KIM", kim(file, f"Melta_{kind}_{models}", work), 5.41, scales=scales))
            threaded = pair_style(file, "threads 2")
            cases.append(Case(f"{title}, pair style", pair_style(file), 5.41, threaded=threaded, scales=scales))
            if models > 1:
                cases.append(Case(f"{title}, pair style, spread 1", pair_style(file, "spread 1"), 5.41))
    return cases


def their_cases(wanted: re.Pattern[str]) -> list[Case]:
    cases = [
        Case("Stillinger-Weber", published("sw", "Si.sw"), 5.431, 5.0),
        Case("Tersoff", published("tersoff", "Si.tersoff"), 5.432, 5.0),
    ]
    if LMP_SNAP.exists():
        cases.append(Case("SNAP", snap(), 5.468, 0.1))
    return [case for case in cases if wanted.search(case.name)]


def measure(case: Case, atoms: int, folder: Path, ranks: int = 1, host: Optional[Host] = None) -> Log:
    host = host or case.host
    cells, steps = SIZES[atoms]
    text = crystal(host, cells, case.lattice, 300.0) + INPUT.format(steps=max(4, round(case.pace * steps)))
    shutil.rmtree(folder, ignore_errors=True)
    return run(host, text, folder, ranks)


def speed_row(case: Case, work: Path, repeat: int) -> list[str]:
    row = [case.name]
    for atoms in SIZES:
        logs = [measure(case, atoms, work / "run") for _ in range(repeat)]
        whole = min(log.microseconds for log in logs)
        pair = min(log.microseconds * log.pair_share for log in logs)
        row += [f"{whole:.2f}", f"{pair:.2f}"]
    return row


def scaling_rows(case: Case, work: Path, repeat: int) -> list[list[str]]:
    """A row for 2 processes and, where there are threads, one for 2 of these; the runs take turns."""
    layouts = [("1 process", 1, case.host), ("2 processes", 2, case.host)]
    if case.threaded is not None:
        layouts.append(("1 process, 2 threads", 1, case.threaded))
    rows = [[f"{case.name}, {name}"] for name, _, _ in layouts]
    for atoms in SIZES:
        turns = [[measure(case, atoms, work / "run", ranks, host) for _, ranks, host in layouts] for _ in range(repeat)]
        wall = [min(log.loop_seconds for log in logs) for logs in zip(*turns)]
        cpu = [min(log.cpu_seconds for log in logs) for logs in zip(*turns)]
        for i, row in enumerate(rows):
            row += [f"{wall[0] / wall[i]:.2f}", f"{cpu[i] / cpu[0]:.2f}"]
    return rows[1:]


def parse_arguments(arguments: Optional[Sequence[str]] = None) -> argparse.Namespace:
    parser = parser_of(__doc__)
    parser.add_argument("--work", type=Path, default=Path("speed"))
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--only", type=re.compile, default=re.compile(""), help="rows whose name has a match")
    parser.add_argument("--scaling", action="store_true")
    return parser.parse_args(arguments)


def measure_all(arguments: argparse.Namespace) -> None:
    work = arguments.work.resolve()
    cases = our_cases(work, arguments.only) + their_cases(arguments.only)
    if arguments.scaling:
        head = ["against 1 process"]
        head += [f"{atoms:,} atoms, {what}" for atoms in SIZES for what in ("times as fast", "processor time")]
        rows = (row for case in cases if case.scales for row in scaling_rows(case, work, arguments.repeat))
    else:
        head = ["us for each atom and step"]
        head += [f"{atoms:,} atoms, {what}" for atoms in SIZES for what in ("all", "without lists")]
        rows = (speed_row(case, work, arguments.repeat) for case in cases)
    print_table(head, rows)


if __name__ == "__main__":
    sys.exit(status_of(lambda: measure_all(parse_arguments())))
