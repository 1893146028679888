#!/usr/bin/env python3
"""Runs "melta --dft" and then the shell script that it has written.

usage: run_script.py --command PATH stand_in|pw

With "stand_in" small scripts play the parts of the launcher and of the DFT code. With "pw" the jobs are true
calculations by pw.x, called through tools/melta-pw; where pw.x, its pseudopotentials or mpiexec are not installed the
status is 77, which ctest shows as skipped.
"""

from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Optional, Sequence

MELTA_PW = Path(__file__).resolve().parents[3] / "tools" / "melta-pw"
STATUS_SKIPPED = 77
BOHR = 0.5291772  # Angstrom
PSEUDO_FILE = "Si.pz-vbc.UPF"

# The smearing keeps levels that cross from spoiling the convergence: the displacements differ from run to run.
TEMPLATE = """\
&CONTROL
  calculation = 'scf', prefix = 'si', outdir = 'tmpdir', pseudo_dir = '{pseudo_dir}'
  tprnfor = .true.
  tmelta = .true.
/
&SYSTEM
  ibrav = 2, celldm(1) = 10.2, nat = 2, ntyp = 1, ecutwfc = 8.0
  nosym = .true. ! displaced atoms have no symmetry
  occupations = 'smearing', degauss = 0.05
/
&ELECTRONS
  conv_thr = 1.0d-6
/
ATOMIC_SPECIES
Si 28.0855 Si.pz-vbc.UPF
ATOMIC_POSITIONS {{angstrom}}
Si 0.0 0.0 0.0
Si 1.3494 1.3494 1.3494
K_POINTS gamma
"""

# Tells its arguments and the number of threads, and runs the rest of its line.
LAUNCHER = """\
#!/bin/sh
printf '%s\\n' "$* $OMP_NUM_THREADS" >> {log}
shift 2
exec "$@"
"""

# Writes two data files that name the job, in both places, and a directory of the kind that fills disks.
DFT_CODE = """\
#!/bin/sh
test "$1 $2" = "-in PW.inp" || exit 1
job=`basename $PWD`
mkdir tmpdir tmpdir/si.save si.save
echo "$job here" > si.melta
echo "$job there" > tmpdir/si.melta
"""


class CheckFailed(Exception):
    """Something is not as it should be."""


def check(is_right: bool, message: str) -> None:
    if not is_right:
        raise CheckFailed(message)


def write_program(path: Path, text: str) -> Path:
    path.write_text(text, encoding="utf-8")
    path.chmod(0o755)
    return path


class JobRun:
    def __init__(self, melta: Path, directory: Path) -> None:
        self.melta = melta
        self.directory = directory

    def generate(self, template: str, answers: Sequence[object]) -> None:
        (self.directory / "pw.in").write_text(template, encoding="utf-8")
        done = subprocess.run(
            [self.melta, "--dft", "pw.in"],
            cwd=self.directory,
            input="".join(f"{answer}\n" for answer in answers),
            capture_output=True,
            text=True,
            check=False,
        )
        check(done.returncode == 0 and not done.stderr, f"melta has failed:\n{done.stdout}{done.stderr}")
        check("Shell script file" in done.stdout, f"no script is written:\n{done.stdout}")

    def run_script(self) -> None:
        # Launchers refuse the superuser, who runs the tests in containers, unless they are told.
        environment = {**os.environ, "OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1"}
        done = subprocess.run(
            ["sh", "dft_run.sh"],
            cwd=self.directory,
            env=environment,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=240,
            check=False,
        )
        check(done.returncode == 0, f"the script has failed:\n{done.stdout}{done.stderr}")
        check(done.stdout == "", f"the script has printed:\n{done.stdout}")

    def read(self, name: str) -> str:
        path = self.directory / name
        check(path.is_file(), f"no file: {name}")
        return path.read_text(encoding="utf-8")

    def check_jobs(self, count: int) -> None:
        """Each job has its directory with its input, and nothing large is left."""
        names = sorted(path.name for path in (self.directory / "dft_out").iterdir())
        check(names == sorted(f"out.{i}" for i in range(1, count + 1)), f"directories: {names}")
        for i in range(1, count + 1):
            same = self.read(f"dft_out/out.{i}/PW.inp") == self.read(f"dft_inp/inp.{i}")
            check(same, f"job {i} has another input")
        left = [path.name for path in (self.directory / "dft_out").rglob("*.save")]
        check(not left, f"directories that should be gone: {left}")


def test_stand_in(run: JobRun) -> None:
    log = run.directory / "log"
    launcher = write_program(run.directory / "launcher", LAUNCHER.format(log=log))
    dft_code = write_program(run.directory / "dft_code", DFT_CODE)
    (run.directory / "melta.test").write_text("earlier data\n", encoding="utf-8")
    (run.directory / "melta.train").write_text("other data\n", encoding="utf-8")
    (run.directory / "dft_out" / "out.1").mkdir(parents=True)
    (run.directory / "dft_out" / "out.1" / "earlier.melta").write_text("earlier data\n", encoding="utf-8")

    run.generate(TEMPLATE.format(pseudo_dir="."), [11, 0.1, dft_code, launcher, 3, 5, "test"])
    check(run.read("melta.test") == "earlier data\n", "melta itself has changed the data")
    run.run_script()

    run.check_jobs(11)
    expected = "".join(f"out.{i} here\nout.{i} there\n" for i in range(1, 12))
    check(run.read("melta.test") == expected, f"data:\n{run.read('melta.test')}")
    check(run.read("melta.train") == "other data\n", "the script has changed the other data")
    line = f"-n 3 {dft_code} -in PW.inp 5\n"
    check(run.read("log") == line * 11, f"calls:\n{run.read('log')}")


def find_pseudo_directory() -> Optional[Path]:
    """Where the pseudopotentials of the pw.x on PATH are installed."""
    pw = shutil.which("pw.x")
    if pw is None or shutil.which("mpiexec") is None:
        return None
    directory = Path(pw).resolve().parents[1] / "share" / "espresso" / "pseudo"
    return directory if (directory / PSEUDO_FILE).exists() else None


def positions_of(pw_input: str) -> list[list[float]]:
    lines = pw_input.split("ATOMIC_POSITIONS {angstrom}\n")[1].splitlines()[:2]
    return [[float(word) for word in line.split()[1:]] for line in lines]


def check_block(block: Sequence[str], positions: list[list[float]]) -> None:
    """A data block has the energy of silicon, the positions of the input, and opposite forces."""
    num_atoms, _, energy = (float(word) for word in block[0].split())
    check(num_atoms == 2 and -17.0 < energy < -13.0, f"head of a block: {block[0]}")
    atoms = [line.split() for line in block[4:6]]
    for atom, position in zip(atoms, positions):
        check(atom[0] == "Si", f"an atom with another name: {atom[0]}")
        for bohr, angstrom in zip(atom[1:4], position):
            check(abs(float(bohr) * BOHR - angstrom) <= 1.0e-6, f"position {bohr} Bohr, not {angstrom} Angstrom")
    forces = [[float(word) for word in atom[5:8]] for atom in atoms]
    check(max(abs(force) for force in forces[0]) > 1.0e-5, f"no forces: {forces}")
    check(max(abs(a + b) for a, b in zip(*forces)) <= 1.0e-3, f"forces do not cancel: {forces}")


def test_pw(run: JobRun) -> None:
    pseudo_dir = find_pseudo_directory()
    if pseudo_dir is None:
        print(f"SKIPPED: pw.x of Quantum ESPRESSO with {PSEUDO_FILE}, or mpiexec, is not installed")
        sys.exit(STATUS_SKIPPED)
    melta_pw = run.directory / "melta-pw"
    melta_pw.symlink_to(MELTA_PW)  # so that blanks in the path of the sources do not matter

    run.generate(TEMPLATE.format(pseudo_dir=pseudo_dir), [2, 0.05, melta_pw, "mpiexec", 1, 1, "train"])
    run.run_script()

    run.check_jobs(2)
    lines = run.read("melta.train").splitlines()
    messages = "".join(run.read(f"dft_out/out.{i}/PW.err") for i in (1, 2))
    check(len(lines) == 12, f"data:\n{run.read('melta.train')}{messages}")
    for i in (1, 2):
        check_block(lines[6 * (i - 1) : 6 * i], positions_of(run.read(f"dft_inp/inp.{i}")))
    check(lines[:6] != lines[6:], "both configurations are the same")


def main() -> int:
    parser = argparse.ArgumentParser(description="Runs the shell script of --dft.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    parser.add_argument("test", choices=("stand_in", "pw"))
    options = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="melta-dft-") as directory:
        run = JobRun(options.command.resolve(), Path(directory))
        try:
            {"stand_in": test_stand_in, "pw": test_pw}[options.test](run)
        except CheckFailed as error:
            print(f"FAILED: {error}")
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
