"""What the scripts of the benchmarks share: silicon in LAMMPS, and what its log says.

A run is kept in a folder of its own and not repeated as long as its input stays the same: a series that was stopped goes
on where it was.
"""

from __future__ import annotations

import argparse
import os
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Iterable, Mapping, Sequence

ROOT = Path(__file__).resolve().parents[2]
RELEASE = ROOT / "build" / "release"
MELTA = RELEASE / "src" / "driver" / "melta"
LMP_MELTA = RELEASE / "lammps" / "lmp_melta"
LMP = "lmp"
LMP_SNAP = RELEASE / "bench" / "dynamics" / "melta_snap_host"
POTENTIALS = Path("/usr/share/lammps/potentials")
LOOP = re.compile(r"^Loop time of (\S+) on (\d+) procs for (\d+) steps with (\d+) atoms", re.MULTILINE)
PAIR = re.compile(r"^Pair +\| [^|]*\| (\S+) ", re.MULTILINE)
CPU = re.compile(r"^(\S+)% CPU use", re.MULTILINE)
REPORT = re.compile(r"^melta: step (\d+), largest spread of forces (\S+), of energies (\S+?),? ", re.MULTILINE)


class RunFailure(Exception):
    """A run that ended badly; the text is for the user."""


@dataclass(frozen=True)
class Log:
    """What LAMMPS wrote about one run command."""

    text: str
    columns: Mapping[str, Sequence[float]]  # of the thermodynamic output, by heading
    loop_seconds: float  # wall time
    cpu_seconds: float  # processor time of all processes and threads in it
    pair_share: float  # part of the loop in the pair style
    steps: int
    atoms: int
    peak_bytes: int  # largest resident memory of a process

    @property
    def microseconds(self) -> float:
        """Processor time for an atom and step, everything included."""
        return 1.0e6 * self.cpu_seconds / (self.steps * self.atoms)


@dataclass(frozen=True)
class Host:
    """A program with the lines of input that give it a potential: ``early`` before the box is made."""

    name: str
    program: str
    potential: str
    early: str = "units metal"


def pair_style(force_field: Path, options: str = "") -> Host:
    return Host("pair style", str(LMP_MELTA), f"pair_style melta {options}\npair_coeff * * {force_field} Si")


def published(style: str, file: str) -> Host:
    """A style of the distribution's LAMMPS with the parameters that come with it."""
    return Host(style, LMP, f"pair_style {style}\npair_coeff * * {POTENTIALS / file} Si")


def snap(kind: str = "") -> Host:
    """The published potentials of the pair style snap for silicon, `kind` "" or ".quadratic", that come with LAMMPS."""
    files = f"{POTENTIALS}/Si_Zuo_JPCA2020{kind}"
    return Host("snap", str(LMP_SNAP), f"pair_style snap\npair_coeff * * {files}.snapcoeff {files}.snapparam Si")


def crystal(host: Host, cells: int, lattice: float, temperature: float, seed: int = 4321) -> str:
    """Input up to the velocities: cells^3 cubic cells of silicon (Angstrom). At rest at their sites, atoms lose half of
    what they get to the potential, so that they begin with twice the temperature (K)."""
    return f"""\
{host.early}
lattice diamond {lattice}
region box block 0 {cells} 0 {cells} 0 {cells}
create_box 1 box
create_atoms 1 box
mass 1 28.085
{host.potential}
neighbor 1.0 bin
neigh_modify every 1 delay 0 check yes
velocity all create {2.0 * temperature} {seed}
timestep 0.001
"""


def run(host: Host, text: str, folder: Path, ranks: int = 1, threads: int = 1) -> Log:
    """Runs an input in a folder, unless it was done there already."""
    folder.mkdir(parents=True, exist_ok=True)
    program, log = folder / "in.lammps", folder / "log.lammps"
    if not (log.exists() and "Total wall time" in log.read_text() and program.read_text() == text):
        program.write_text(text)
        command = [host.program, "-in", program.name, "-log", log.name]
        if ranks > 1:
            command = ["mpirun", "--oversubscribe", "-np", str(ranks), *command]
        _start(command, folder, threads)
    return read_log(log.read_text(), int((folder / "peak").read_text()))


def _start(command: Sequence[str], folder: Path, threads: int) -> None:
    root = {"OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1"}
    environment = {**os.environ, **root, "OMP_NUM_THREADS": str(threads)}
    with open(folder / "out.text", "w") as output:
        child = subprocess.Popen(
            command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT
        )
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
    (folder / "peak").write_text(str(1024 * usage.ru_maxrss))
    if child.returncode != 0:
        raise RunFailure(f"{command[0]} failed, see {folder / 'out.text'}")


def read_log(text: str, peak_bytes: int = 0) -> Log:
    """The last run command of a log."""
    loops = list(LOOP.finditer(text))
    if not loops:
        raise RunFailure("the log has no run")
    seconds, procs, steps, atoms = loops[-1].groups()
    head = text.rindex("\nStep ", 0, loops[-1].start()) + 1
    names, *rows = text[head : loops[-1].start()].splitlines()
    numbers = [row for row in map(_numbers, rows) if len(row) == len(names.split())]
    columns = {name: [row[i] for row in numbers] for i, name in enumerate(names.split())}
    share, busy = PAIR.search(text, loops[-1].end()), CPU.search(text, loops[-1].end())
    loop = float(seconds)
    return Log(
        text=text,
        columns=columns,
        loop_seconds=loop,
        cpu_seconds=loop * int(procs) * float(busy.group(1)) / 100.0 if busy else loop * int(procs),
        pair_share=float(share.group(1)) / loop if share and loop > 0.0 else 0.0,
        steps=int(steps),
        atoms=int(atoms),
        peak_bytes=peak_bytes,
    )


def _numbers(line: str) -> list[float]:
    try:
        return [float(word) for word in line.split()]
    except ValueError:
        return []


def parser_of(doc: str) -> argparse.ArgumentParser:
    """A parser whose usage is the line of the script's own text."""
    return argparse.ArgumentParser(usage=doc.split("usage: ")[1].splitlines()[0], allow_abbrev=False)


def status_of(work: Callable[[], None]) -> int:
    """Does the work: 0, or 1 with the words of a run that ended badly."""
    try:
        work()
    except RunFailure as failure:
        print(failure)
        return 1
    return 0


def print_table(head: Sequence[str], rows: Iterable[Sequence[str]]) -> None:
    """In the form that Markdown reads."""
    print("| " + " | ".join(head) + " |")
    print("| --- |" + " ---: |" * (len(head) - 1))
    for row in rows:
        print("| " + " | ".join(row) + " |", flush=True)
