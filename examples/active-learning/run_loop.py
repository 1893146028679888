#!/usr/bin/env python3
"""Learns a potential actively: it decides itself which configurations are calculated.

The start is a handful of configurations. Each turn takes the potential of the turn before,
walks on it (melta --metro, or molecular dynamics by lmp_melta), takes geometries that its
training data do not cover, calculates them (melta --dft, then "sh dft_run.sh" with pw.x),
appends them to the training data, trains anew and tests. Nobody has to do anything by hand.
The end is a table of the errors on the test data and of the unknown geometries, before the
first turn and after each.

The system is described by six files, by default those beside this script: melta.train (the
start), melta.test, adam.prop and lbfgs.prop (the two trainings), melta.metro (the walk; for
dynamics in.md) and pw.in (the DFT calculation).

Everything is kept in the work directory, and finished steps are not repeated: a stopped run
goes on where it was when it is started again, and more turns can be added to a finished one.
"""

from __future__ import annotations

import argparse
import math
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import time
from dataclasses import dataclass, replace
from pathlib import Path
from typing import NoReturn, Optional, Sequence

HERE = Path(__file__).resolve().parent
sys.path.insert(0, os.fspath(HERE))

import choosing  # noqa: E402
import dynamics  # noqa: E402
import turn_table  # noqa: E402
from turn_table import Row, Walks  # noqa: E402

REPOSITORY = HERE.parent.parent
MELTA_PW = REPOSITORY / "tools" / "melta-pw"
BUILD = REPOSITORY / "build" / "release"
BUILT_MELTA = BUILD / "src" / "driver" / "melta"
BUILT_LMP = BUILD / "lammps" / "lmp_melta"
BUILT_PACKAGE = BUILD / "python"

TRAININGS = ("adam", "lbfgs")
INPUT_FILES = ("melta.train", "melta.test", "adam.prop", "lbfgs.prop", "pw.in")
SOURCE_FILES = {"metro": "melta.metro", "md": dynamics.SCRIPT}
DEFAULT_SPREAD = {"metro": None, "md": 0.1}  # eV/Angstrom, with which a geometry begins to be worth a calculation
MODEL_FILES = ("melta.data", "melta.data_e", "melta.gdist")
NEW_DATA = "new.train"  # the data of a finished batch of calculations
BATCH_SIZE = 5  # calculations of one dft_run.sh; a stopped run repeats no more than that for each job

# One process needs no launcher, and those of MPI tie each job to the same core, so that two
# jobs at a time would share it. This one only drops the number of processes.
LAUNCHER = '#!/bin/sh\nshift 2\nexec "$@"\n'

PSEUDO_DIR = re.compile(r"(pseudo_dir\s*=\s*)'([^']*)'")
PSEUDO_FILE = re.compile(r"^\s*[A-Z][a-z]?\w*\s+[0-9.]+\s+(\S+\.UPF)\s*$", re.MULTILINE | re.IGNORECASE)
TEST_ERROR = re.compile(r"RMSE\((Etot|Force)\)\s*:\s*(\S+)")
REFUSED = re.compile(r"Rejected Geometries\s*=\s*(\d+)")
ACCEPTED = re.compile(r"=>\s*(\d+)\s*/\s*(\d+)\s*$", re.MULTILINE)


class LoopError(Exception):
    """A failure with a message for the user."""


def say(message: str) -> None:
    print(message, flush=True)


# ---------------------------------------------------------------------------------------------
# Data files
# ---------------------------------------------------------------------------------------------


def split_blocks(text: str) -> list[str]:
    """The configurations of a data file."""
    lines = [f"{line}\n" for line in text.splitlines()]  # also the last one ends
    blocks: list[str] = []
    start = 0
    while start < len(lines):
        size = 4 + int(lines[start].split()[0])
        if start + size > len(lines):
            raise LoopError(f"a data file ends within configuration {len(blocks) + 1}")
        blocks.append("".join(lines[start : start + size]))
        start += size
    return blocks


def write_whole(path: Path, text: str) -> None:
    """Writes under another name first: a file that is there is complete."""
    temporary = path.with_name(path.name + ".part")
    temporary.write_text(text, encoding="utf-8")
    os.replace(temporary, path)


def append_data(earlier: Path, new: Sequence[Path], target: Path) -> int:
    """Writes what "earlier" holds, and behind it the new data, to another file.

    Returns the number of new configurations. The earlier file is only read.
    """
    texts = [path.read_text(encoding="utf-8") for path in (earlier, *new)]
    blocks = [split_blocks(text) for text in texts]
    write_whole(target, "".join(block for file in blocks for block in file))
    return sum(len(file) for file in blocks[1:])


# ---------------------------------------------------------------------------------------------
# Programs
# ---------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Settings:
    melta: str
    pw: str
    work: Path
    turns: int
    geoms: int
    walks: int
    jobs: int
    threads: int
    displace: Optional[float]
    source: str  # metro or md
    lmp: str
    min_spread: Optional[float]  # eV/Angstrom; of dynamics, where frames begin to be uncertain
    max_spread: Optional[float]
    selector: Optional[choosing.Selector]  # None: geometries are taken evenly spaced


def run_melta(settings: Settings, words: Sequence[str], directory: Path, answers: str = "") -> str:
    """Runs the command in a directory and returns what it prints."""
    done = subprocess.run(
        [settings.melta, "--omp", str(settings.threads), *words],
        cwd=directory,
        input=answers,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
    )
    if done.returncode != 0:
        end = done.stdout.strip().splitlines()[-1:] or ["no message"]
        raise LoopError(f"melta {' '.join(words)} has failed in {directory}: {end[0].strip()}")
    return done.stdout


def logged_step(settings: Settings, log: Path, words: Sequence[str]) -> bool:
    """Runs the command, unless its log is there: then it was done by an earlier run. Tells whether it ran."""
    if log.exists():
        return False
    output = run_melta(settings, words, log.parent)
    write_whole(log, output)
    return True


class SecondsClock:
    """The command seeds its random numbers with the time in seconds: runs within one second would be alike."""

    def __init__(self) -> None:
        self.last = 0

    def wait_for_the_next(self) -> None:
        while int(time.time()) <= self.last:
            time.sleep(0.02)
        self.last = int(time.time())


SECONDS = SecondsClock()

# ---------------------------------------------------------------------------------------------
# Training and test
# ---------------------------------------------------------------------------------------------


def turn_directory(settings: Settings, turn: int) -> Path:
    return settings.work / f"turn-{turn}"


def train(settings: Settings, turn: int) -> None:
    """Trains from random weights: the old ones know only the old data, and these trainings take seconds."""
    directory = turn_directory(settings, turn)
    for name in TRAININGS:
        started = time.monotonic()
        if logged_step(settings, directory / f"{name}.log", ["--train", f"{name}.prop"]):
            say(f"turn {turn}: trained with {name}.prop, {time.monotonic() - started:.1f} s")


def test(settings: Settings, turn: int) -> tuple[float, float]:
    """Errors of energy per atom and of forces on the test data."""
    log = turn_directory(settings, turn) / "test.log"
    logged_step(settings, log, ["--test"])
    return errors_of(log.read_text(encoding="utf-8"))


def test_on_new(settings: Settings, turn: int) -> Optional[float]:
    """Force error of this turn's model on the geometries that were calculated next: what it knew of them before."""
    new = new_data_of(settings, turn)
    if not new:
        return None
    directory = turn_directory(settings, turn) / "new"
    log = directory / "test.log"
    if not log.exists():
        make_anew(directory)
        copy_model(settings, turn, directory)
        write_whole(directory / "melta.test", "".join(path.read_text(encoding="utf-8") for path in new))
        logged_step(settings, log, ["--test"])
    return errors_of(log.read_text(encoding="utf-8"))[1]


def new_data_of(settings: Settings, turn: int) -> list[Path]:
    """What has been calculated with the help of this turn's model."""
    files = turn_directory(settings, turn).glob(f"dft-*/{NEW_DATA}")
    return sorted(files, key=lambda path: int(path.parent.name[len("dft-") :]))


def copy_model(settings: Settings, turn: int, directory: Path) -> None:
    for name in MODEL_FILES:
        shutil.copy(turn_directory(settings, turn) / name, directory)


def errors_of(log: str) -> tuple[float, float]:
    errors = dict(TEST_ERROR.findall(log))
    if len(errors) != 2:
        raise LoopError("a test has printed no errors")
    return float(errors["Etot"]), float(errors["Force"])


def count_refused(log: str) -> int:
    """Training geometries that maxForce has kept out."""
    match = REFUSED.search(log)
    return int(match.group(1)) if match else 0


# ---------------------------------------------------------------------------------------------
# Walks
# ---------------------------------------------------------------------------------------------


def explore(settings: Settings, turn: int) -> tuple[list[Path], Walks]:
    """Geometries that the model of this turn does not know, in their order, and how many there were."""
    if settings.source == "md":
        return simulate(settings, turn)
    found = walk(settings, turn)
    return found, count_walks(walk_directories(settings, turn))


def walk(settings: Settings, turn: int) -> list[Path]:
    """Walks several times on the model of this turn; the unknown geometries of all walks."""
    found: list[Path] = []
    for number in range(1, settings.walks + 1):
        directory = turn_directory(settings, turn) / f"walk-{number}"
        if not (directory / "walk.log").exists():
            make_anew(directory)
            copy_model(settings, turn, directory)
            shutil.copy(settings.work / "input" / "melta.metro", directory)
            SECONDS.wait_for_the_next()
            logged_step(settings, directory / "walk.log", ["--metro"])
            walks = count_walks([directory])
            say(f"turn {turn}: walk {number}: {walks.unknown} unknown geometries in {walks.accepted} accepted steps")
        found += geometries_in(directory / "dft_geom")
    return found


def make_anew(directory: Path) -> None:
    if directory.exists():
        shutil.rmtree(directory)
    directory.mkdir(parents=True)


def geometries_in(directory: Path) -> list[Path]:
    """geom.1, geom.2, ... up to the first number that is missing."""
    found: list[Path] = []
    while (path := directory / f"geom.{len(found) + 1}").exists():
        found.append(path)
    return found


def walk_directories(settings: Settings, turn: int) -> list[Path]:
    return [turn_directory(settings, turn) / f"walk-{number}" for number in range(1, settings.walks + 1)]


def count_walks(directories: Sequence[Path]) -> Walks:
    moves = [
        (int(accepted), int(total))
        for directory in directories
        for accepted, total in ACCEPTED.findall((directory / "walk.log").read_text(encoding="utf-8"))
    ]
    return Walks(
        steps=sum(total for _, total in moves),
        accepted=sum(accepted for accepted, _ in moves),
        unknown=sum(len(geometries_in(directory / "dft_geom")) for directory in directories),
    )


def simulate(settings: Settings, turn: int) -> tuple[list[Path], Walks]:
    """Runs dynamics several times with the model of this turn; the frames that it is not sure of, as geometries."""
    logged_step(settings, turn_directory(settings, turn) / "export.log", ["--export"])
    found: list[Path] = []
    steps = num_frames = 0
    for number, directory in enumerate(walk_directories(settings, turn), start=1):
        if not (directory / "walk.log").exists():
            make_anew(directory)
            shutil.copy(settings.work / "input" / dynamics.SCRIPT, directory)
            shutil.copy(turn_directory(settings, turn) / dynamics.FORCE_FIELD, directory)
            output = dynamics.run(settings.lmp, directory, 1000 * turn + number)
            dynamics.write_uncertain(directory, settings.min_spread or 0.0, settings.max_spread or math.inf)
            write_whole(directory / "walk.log", output)
        frames = list(dynamics.read_frames(directory / dynamics.DUMP))
        uncertain = geometries_in(directory / "dft_geom")
        say(f"turn {turn}: dynamics {number}: {len(uncertain)} uncertain frames of {len(frames)}")
        steps += frames[-1].step if frames else 0
        num_frames += len(frames)
        found += uncertain
    return found, Walks(steps=steps, accepted=num_frames, unknown=len(found))


def choose(settings: Settings, turn: int, found: Sequence[Path]) -> list[Path]:
    """Those of the found geometries that are calculated."""
    if settings.selector is None or not found:
        return choosing.evenly_spaced(found, settings.geoms)
    directory = turn_directory(settings, turn)
    log = directory / "chosen.log"
    if not log.exists():
        shutil.rmtree(directory / "chosen", ignore_errors=True)
        folders = dict.fromkeys(os.fspath(path.parent.relative_to(directory)) for path in found)
        output = settings.selector.select(directory, list(folders), settings.geoms, "chosen")
        write_whole(log, output)
    chosen = geometries_in(directory / "chosen")
    say(f"turn {turn}: {len(chosen)} of {len(found)} geometries are chosen")
    return chosen


# ---------------------------------------------------------------------------------------------
# DFT
# ---------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Batch:
    """Calculations of one dft_run.sh, in a directory of their own."""

    directory: Path
    geometries: Sequence[Path]  # of walks; empty for displaced atoms
    count: int

    def is_done(self) -> bool:
        return (self.directory / NEW_DATA).exists()


def batches_of(settings: Settings, turn: int, chosen: Sequence[Path]) -> list[Batch]:
    """The calculations of a turn; without chosen geometries, of displaced atoms."""
    total = len(chosen) or settings.geoms
    batches: list[Batch] = []
    for start in range(0, total, BATCH_SIZE):
        directory = turn_directory(settings, turn) / f"dft-{len(batches) + 1}"
        batches.append(Batch(directory, chosen[start : start + BATCH_SIZE], min(BATCH_SIZE, total - start)))
    return batches


def prepare_batch(settings: Settings, batch: Batch) -> None:
    """Writes the jobs and their script.

    The script begins with deleting the data file that it fills. Here that is a file of its own
    directory, so that no earlier data can be lost.
    """
    make_anew(batch.directory)
    (batch.directory / "dft_geom").mkdir()
    for number, geometry in enumerate(batch.geometries, start=1):
        shutil.copy(geometry, batch.directory / "dft_geom" / f"geom.{number}")
    shutil.copy(settings.work / "input" / "pw.in", batch.directory)
    # The script calls the commands by a relative name without blanks, wherever the files lie.
    command = shlex.join([sys.executable, str(MELTA_PW), "--pw", settings.pw])
    write_program(batch.directory / "run-pw", f'#!/bin/sh\nexec {command} "$@"\n')
    write_program(batch.directory / "launch", LAUNCHER)
    source = ["yes"] if batch.geometries else [str(batch.count), str(settings.displace)]
    answers = [*source, "../../run-pw", "../../launch", "1", "1", "train"]
    SECONDS.wait_for_the_next()
    output = run_melta(settings, ["--dft", "pw.in"], batch.directory, "\n".join(answers) + "\n")
    if not (batch.directory / "dft_run.sh").exists():
        raise LoopError(f"melta --dft has written no script in {batch.directory}:\n{output}")


def write_program(path: Path, text: str) -> None:
    path.write_text(text, encoding="utf-8")
    path.chmod(0o755)


def start_batch(settings: Settings, batch: Batch) -> subprocess.Popen[bytes]:
    prepare_batch(settings, batch)
    with open(batch.directory / "dft_run.log", "wb") as log:
        return subprocess.Popen(
            ["sh", "dft_run.sh"],
            cwd=batch.directory,
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=subprocess.STDOUT,
            start_new_session=True,  # so that a job that is stopped takes its pw.x along
        )


def finish_batch(batch: Batch, status: int) -> None:
    """Takes the data over; what has not converged is missing in them."""
    data = batch.directory / "melta.train"
    if status != 0 or not data.exists():
        raise LoopError(f"dft_run.sh has failed, see {batch.directory / 'dft_run.log'}")
    found = len(split_blocks(data.read_text(encoding="utf-8")))
    if found == 0:
        raise LoopError(f"no calculation has succeeded, see {batch.directory / 'dft_out' / 'out.1' / 'PW.out'}")
    os.replace(data, batch.directory / NEW_DATA)


def calculate(settings: Settings, turn: int, batches: Sequence[Batch]) -> None:
    """Runs what has not been done, a few batches at a time."""
    waiting = [batch for batch in batches if not batch.is_done()]
    running: list[tuple[Batch, subprocess.Popen[bytes]]] = []
    done = len(batches) - len(waiting)
    started = time.monotonic()
    try:
        while waiting or running:
            while waiting and len(running) < settings.jobs:
                batch = waiting.pop(0)
                running.append((batch, start_batch(settings, batch)))
            time.sleep(0.05)
            for batch, process in [pair for pair in running if pair[1].poll() is not None]:
                running.remove((batch, process))
                finish_batch(batch, process.returncode)
                done += 1
                found = len(split_blocks((batch.directory / NEW_DATA).read_text(encoding="utf-8")))
                say(
                    f"turn {turn}: batch {done} of {len(batches)}: {found} of {batch.count} calculated, "
                    f"{time.monotonic() - started:.0f} s"
                )
    finally:
        for _, process in running:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGTERM)
            process.wait()


# ---------------------------------------------------------------------------------------------
# Loop
# ---------------------------------------------------------------------------------------------


def begin_turn(settings: Settings, turn: int) -> None:
    """Gives a turn its directory with all inputs; the training data come last and say that it is complete."""
    directory = turn_directory(settings, turn)
    if (directory / "melta.train").exists():
        return
    directory.mkdir(exist_ok=True)
    for name in ("melta.test", *(f"{training}.prop" for training in TRAININGS)):
        shutil.copy(settings.work / "input" / name, directory)
    if turn == 0:
        append_data(settings.work / "input" / "melta.train", [], directory / "melta.train")
        return
    earlier = turn_directory(settings, turn - 1)
    count = append_data(earlier / "melta.train", new_data_of(settings, turn - 1), directory / "melta.train")
    say(f"turn {turn}: {count} configurations appended")


def evaluate(settings: Settings, turn: int) -> tuple[Row, list[Path]]:
    """Trains, tests and walks; the row of the table and the unknown geometries."""
    begin_turn(settings, turn)
    directory = turn_directory(settings, turn)
    train(settings, turn)
    energy_error, force_error = test(settings, turn)
    found, walks = explore(settings, turn)
    row = Row(
        turn=turn,
        geometries=len(split_blocks((directory / "melta.train").read_text(encoding="utf-8"))),
        refused=count_refused((directory / f"{TRAININGS[0]}.log").read_text(encoding="utf-8")),
        energy_error=energy_error,
        force_error=force_error,
        walks=walks,
    )
    say(
        f"turn {turn}: test errors {1000.0 * energy_error:.1f} meV/atom and {force_error:.3f} eV/A, "
        f"{row.walks.unknown} unknown geometries"
    )
    return row, found


def run_loop(settings: Settings) -> list[Row]:
    rows: list[Row] = []
    for turn in range(settings.turns + 1):
        row, found = evaluate(settings, turn)
        rows.append(row)
        write_whole(settings.work / "table.md", turn_table.format_table(rows, settings.source))
        if turn == settings.turns:
            break
        chosen = [] if settings.displace is not None else choose(settings, turn, found)
        if not chosen and settings.displace is None:
            say("Nothing is found that the data do not cover: longer or hotter walks would be needed.")
            break
        calculate(settings, turn + 1, batches_of(settings, turn, chosen))
        rows[-1] = replace(row, new_force_error=test_on_new(settings, turn))
    return rows


# ---------------------------------------------------------------------------------------------
# Start
# ---------------------------------------------------------------------------------------------


def begin_work(settings: Settings, inputs: Path, pseudo_dir: Optional[Path]) -> None:
    """Copies the inputs. A run that goes on has to have the same ones."""
    texts = {name: read_input(inputs / name) for name in (*INPUT_FILES, SOURCE_FILES[settings.source])}
    texts["pw.in"] = with_pseudo_dir(texts["pw.in"], pseudo_dir)
    texts["settings"] = marks_of(settings)  # the last to be written
    copies = settings.work / "input"
    if (copies / "settings").exists():
        changed = [name for name, text in texts.items() if text_of(copies / name) != text]
        if changed:
            raise LoopError(
                f"{settings.work} was begun with another {', '.join(changed)}; take another directory with --work"
            )
        return
    copies.mkdir(parents=True, exist_ok=True)
    for name, text in texts.items():
        write_whole(copies / name, text)


def marks_of(settings: Settings) -> str:
    """What a run that goes on has to have been begun with."""
    marks = {
        "geoms": settings.geoms,
        "walks": settings.walks,
        "displace": settings.displace,
        "source": settings.source,
        "choose": "even" if settings.selector is None else "farthest",
        "min-spread": settings.min_spread,
        "max-spread": settings.max_spread,
    }
    return "".join(f"{name} {value}\n" for name, value in marks.items())


def text_of(path: Path) -> str:
    """What stands in a file; nothing in one that is not there."""
    return path.read_text(encoding="utf-8") if path.exists() else ""


def read_input(path: Path) -> str:
    try:
        return path.read_text(encoding="utf-8")
    except OSError as error:
        raise LoopError(f"cannot read the file: {path}: {error.strerror}") from error


def with_pseudo_dir(pw_input: str, pseudo_dir: Optional[Path]) -> str:
    """The template with this directory of pseudopotentials, which has to hold all that it names."""
    if pseudo_dir is not None:
        directory = str(pseudo_dir.resolve())
        pw_input = PSEUDO_DIR.sub(lambda match: f"{match.group(1)}'{directory}'", pw_input)
    match = PSEUDO_DIR.search(pw_input)
    if match is None:
        raise LoopError("pw.in has no line pseudo_dir = '...'")
    for name in PSEUDO_FILE.findall(pw_input):
        if not (Path(match.group(2)) / name).exists():
            raise LoopError(
                f"there is no pseudopotential {name} in {match.group(2)}: install quantum-espresso-data, "
                "or give its place with --pseudo-dir"
            )
    return pw_input


def find_program(command: str, hint: str) -> str:
    found = shutil.which(command)
    if found is None:
        raise LoopError(f"cannot find the command {command}: {hint}")
    return str(Path(found).absolute())


def whole_number(word: str) -> int:
    number = int(word)
    if number < 1:
        raise argparse.ArgumentTypeError(f"{word} is not positive")
    return number


def length(word: str) -> float:
    number = float(word)
    if not 0.0 < number < math.inf:
        raise argparse.ArgumentTypeError(f"{word} is not positive")
    return number


def parse_arguments(words: Optional[Sequence[str]] = None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter, allow_abbrev=False
    )
    parser.add_argument("--input", type=Path, default=HERE, help="directory of the six files (default: this one)")
    parser.add_argument("--work", type=Path, default=HERE / "work", help="directory of the run (default: work here)")
    parser.add_argument("--turns", type=whole_number, default=2, help="turns of the loop (default 2)")
    parser.add_argument("--geoms", type=whole_number, default=40, help="calculations of a turn (default 40)")
    parser.add_argument("--walks", type=whole_number, default=8, help="walks on each model (default 8)")
    parser.add_argument(
        "--source", choices=SOURCE_FILES, default="metro", help="Monte Carlo walks, or molecular dynamics (metro)"
    )
    parser.add_argument(
        "--choose",
        choices=("even", "farthest"),
        default="even",
        help="what is calculated of the found geometries: some at equal intervals, or those that differ most (even)",
    )
    parser.add_argument(
        "--min-spread",
        type=length,
        metavar="X",
        help="take geometries where the networks' forces differ by X eV/Angstrom (default: any of walks, "
        f"{DEFAULT_SPREAD['md']} of dynamics)",
    )
    parser.add_argument("--max-spread", type=length, metavar="X", help="and by no more than X")
    parser.add_argument("--jobs", type=whole_number, default=2, help="calculations at the same time (default 2)")
    parser.add_argument(
        "--threads", type=whole_number, default=1, help="threads of melta (default 1, enough for small cells)"
    )
    parser.add_argument(
        "--displace",
        type=length,
        metavar="LENGTH",
        help="for comparison: calculate the atoms of pw.in, displaced at random by this standard deviation "
        "in Angstrom, in place of what the walks find",
    )
    add_programs(parser)
    return parser.parse_args(words)


def add_programs(parser: argparse.ArgumentParser) -> None:
    built = str(BUILT_MELTA) if BUILT_MELTA.exists() else "melta"
    parser.add_argument("--melta", default=built, help="the command (default: the one built here, else that on PATH)")
    parser.add_argument("--pw", default="pw.x", help="the pw.x to run (default: the one on PATH)")
    parser.add_argument("--pseudo-dir", type=Path, help="directory of the pseudopotentials (default: that in pw.in)")
    lmp = str(BUILT_LMP) if BUILT_LMP.exists() else "lmp_melta"
    parser.add_argument("--lmp", default=lmp, help="the lmp_melta for dynamics (default: as for --melta)")
    parser.add_argument("--melta-data", help="the melta-data that chooses (default: as for --melta)")


def settings_of(arguments: argparse.Namespace) -> Settings:
    return Settings(
        melta=find_program(arguments.melta, "build it, or give its place with --melta"),
        pw=find_program(arguments.pw, "install quantum-espresso, or give its place with --pw"),
        work=arguments.work.absolute(),
        turns=arguments.turns,
        geoms=arguments.geoms,
        walks=arguments.walks,
        jobs=arguments.jobs,
        threads=arguments.threads,
        displace=arguments.displace,
        source=arguments.source,
        lmp=lmp_of(arguments),
        min_spread=arguments.min_spread or DEFAULT_SPREAD[arguments.source],
        max_spread=arguments.max_spread,
        selector=selector_of(arguments),
    )


def lmp_of(arguments: argparse.Namespace) -> str:
    if arguments.source != "md":
        return ""
    return find_program(arguments.lmp, "build it (it needs liblammps-dev), or give its place with --lmp")


def selector_of(arguments: argparse.Namespace) -> Optional[choosing.Selector]:
    """None where geometries are taken evenly spaced, because that is wanted or because nothing else can be."""
    limits = {"--min-spread": arguments.min_spread, "--max-spread": arguments.max_spread}
    words = [f"{name}={value}" for name, value in limits.items() if value is not None]
    selector = None
    if arguments.choose == "farthest":
        selector = choosing.find_selector(BUILT_PACKAGE, arguments.melta_data, words)
        if selector is None:
            say(
                "There is no melta-data that can select: geometries are taken EVENLY SPACED. Install pybind11-dev, "
                "python3-dev and python3-numpy and build, or give its place with --melta-data."
            )
    if selector is None and words and arguments.source == "metro":
        raise LoopError("limits of the spread of walks need --choose farthest, and melta-data for it")
    return selector


def end_on_signal(_number: int, _frame: object) -> NoReturn:
    sys.exit("stopped; the same command goes on from here")


def main() -> int:
    arguments = parse_arguments()
    signal.signal(signal.SIGTERM, end_on_signal)
    started = time.monotonic()
    try:
        settings = settings_of(arguments)
        begin_work(settings, arguments.input, arguments.pseudo_dir)
        rows = run_loop(settings)
    except (LoopError, choosing.ChoiceError, dynamics.DynamicsError) as error:
        print(f"run_loop.py: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("stopped; the same command goes on from here", file=sys.stderr)
        return 130
    seconds = time.monotonic() - started
    say(f"\n{turn_table.format_table(rows, settings.source)}")
    say(f"This run took {seconds:.0f} s. The table is in {settings.work / 'table.md'}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
