"""What bench/record and bench/compare share: finding the benchmark programs, running them, reading what they say.

A benchmark is known by its label, "<folder>/<program>/<name>": melta_network_epoch_benchmark in the folder network with
its benchmark trainingEpoch/models:1/real_time is network/epoch/trainingEpoch/models:1/real_time. Filters are regular
expressions that are searched in labels.
"""

from __future__ import annotations

import argparse
import contextlib
import json
import os
import re
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable, Iterable, Iterator, Mapping, NoReturn, Sequence

ROOT = Path(__file__).resolve().parents[1]
SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
# What Google Benchmark says of each run beside the counters of the benchmark.
OWN_KEYS = frozenset(
    "name run_name run_type family_index per_family_instance_index repetitions repetition_index threads iterations "
    "real_time cpu_time time_unit aggregate_name aggregate_unit label error_occurred error_message".split()
)
ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
NO_SIGNAL = 0  # asks whether there is a process
POSIX_SPECIAL = re.compile(r"([][.^$*+?(){}|\\])")


class BenchmarkFailure(Exception):
    """A program or a tool that did not do its work; the text is for the user."""


class Terminated(Exception):
    """SIGTERM or SIGHUP arrived."""


@dataclass(frozen=True)
class Measurement:
    """One benchmark of one run of its program: medians over its repetitions, if it has any."""

    name: str
    real_seconds: float  # wall time of one iteration; the time that the benchmark took itself if it is a manual one
    cpu_seconds: float  # processor time of the main thread, one iteration
    iterations: int
    counters: Mapping[str, float]

    @property
    def seconds(self) -> float:
        """The time that counts: by Google Benchmark's rule the processor's unless the name says otherwise."""
        return self.real_seconds if {"real_time", "manual_time"} & set(self.name.split("/")) else self.cpu_seconds


@dataclass(frozen=True)
class Program:
    path: Path

    @property
    def prefix(self) -> str:
        """Folder and name without what all names share: network/force_assembly."""
        folder = self.path.parent.name
        name = self.path.name
        for part in (f"melta_{folder}_", "melta_"):
            if name.startswith(part):
                name = name[len(part) :]
                break
        return f"{folder}/{name[: -len('_benchmark')]}" if name.endswith("_benchmark") else f"{folder}/{name}"

    def label(self, name: str) -> str:
        return f"{self.prefix}/{name}"


@dataclass(frozen=True)
class Benchmark:
    program: Program
    name: str

    @property
    def label(self) -> str:
        return self.program.label(self.name)


def find_programs(directory: Path) -> list[Program]:
    """The benchmark programs in the folders below this one, sorted."""
    paths = sorted(directory.glob("*/melta_*_benchmark"))
    return [Program(path) for path in paths if path.is_file() and os.access(path, os.X_OK)]


def parse_report(text: str) -> dict[str, Measurement]:
    """The measurements in a report of Google Benchmark in JSON, by name. Raises BenchmarkFailure."""
    try:
        rows = json.loads(text)["benchmarks"]
        for row in rows:
            if row.get("error_occurred"):
                raise BenchmarkFailure(f"{row['name']}: {row.get('error_message', 'failed')}")
        runs = group_by_run(row for row in rows if row["run_type"] == "iteration")
        # A benchmark may ask for statistics of its repetitions instead of them.
        medians = group_by_run(row for row in rows if row.get("aggregate_name") == "median")
        return {name: summarize(name, group) for name, group in {**medians, **runs}.items()}
    except (ValueError, KeyError, TypeError, AttributeError) as error:
        raise BenchmarkFailure(f"this is not a report of Google Benchmark ({error!r}): {text[:200]}") from error


def group_by_run(rows: Iterable[Mapping[str, Any]]) -> dict[str, list[Mapping[str, Any]]]:
    groups: dict[str, list[Mapping[str, Any]]] = {}
    for row in rows:
        groups.setdefault(row["run_name"], []).append(row)
    return groups


def summarize(name: str, rows: Sequence[Mapping[str, Any]]) -> Measurement:
    """One measurement from the repetitions of one benchmark."""

    def median(key: str, unit: float = 1.0) -> float:
        return statistics.median(float(row[key]) * unit for row in rows)

    unit = SECONDS[rows[0]["time_unit"]]
    counters = {key: median(key) for key in rows[0] if key not in OWN_KEYS}
    iterations = int(statistics.median_low(row["iterations"] for row in rows))
    return Measurement(name, median("real_time", unit), median("cpu_time", unit), iterations, counters)


def exact_filter(names: Iterable[str]) -> str:
    """The value of --benchmark_filter that chooses these benchmarks and no other one."""
    return "^(" + "|".join(POSIX_SPECIAL.sub(r"\\\1", name) for name in names) + ")$"


def run_command(command: Sequence[str], cores: frozenset[int] = frozenset(), quiet: bool = True) -> str:
    """Runs a command to its end, on these cores if any are given, and returns what it printed.

    When anything interrupts the waiting, the command ends first, with the processes that it started: a build that is
    stopped leaves no compiler at work behind it. Raises BenchmarkFailure with the output.
    """
    pin = (lambda: os.sched_setaffinity(0, cores)) if cores else None
    errors = subprocess.PIPE if quiet else subprocess.STDOUT
    try:
        process = subprocess.Popen(
            command, stdout=subprocess.PIPE, stderr=errors, text=True, start_new_session=True, preexec_fn=pin
        )
    except OSError as error:
        raise BenchmarkFailure(f"{command[0]} does not start: {error}") from error
    try:
        output, messages = process.communicate()
    except BaseException:
        with signals_ignored():
            end_group(process)
        raise
    if process.returncode != 0:
        raise BenchmarkFailure(f"{command[0]} ended with status {process.returncode}:\n{output}{messages or ''}")
    return output


def end_group(process: subprocess.Popen[str]) -> None:
    """Ends a process and its group: with SIGTERM, which Ninja hands on to the groups of its own that it makes for its
    jobs, and what is still there after ten seconds with SIGKILL.
    """
    end = time.monotonic() + 10.0
    number = signal.SIGTERM
    with contextlib.suppress(ProcessLookupError):
        while True:
            os.killpg(process.pid, number)
            process.poll()
            time.sleep(0.02)
            number = signal.SIGKILL if time.monotonic() > end else NO_SIGNAL
    process.wait()


@contextlib.contextmanager
def signals_ignored() -> Iterator[None]:
    """Keeps what cleans up from being interrupted."""
    previous = {number: signal.signal(number, signal.SIG_IGN) for number in ENDING_SIGNALS}
    try:
        yield
    finally:
        for number, handler in previous.items():
            signal.signal(number, handler)


def list_benchmarks(programs: Iterable[Program], pattern: str) -> list[Benchmark]:
    """All benchmarks of these programs whose label the pattern is found in."""
    wanted = re.compile(pattern)
    found: list[Benchmark] = []
    for program in programs:
        names = run_command([str(program.path), "--benchmark_list_tests=true"]).split()
        found += [Benchmark(program, name) for name in names if wanted.search(program.label(name))]
    return found


def run_benchmarks(
    program: Program, names: Sequence[str], min_time: float, cores: frozenset[int] = frozenset()
) -> dict[str, Measurement]:
    """One run of a program for these of its benchmarks; raises BenchmarkFailure unless each gave a measurement."""
    with tempfile.TemporaryDirectory() as directory:
        # Not to the standard output, where the report would stand among what melta itself prints.
        report = Path(directory) / "report.json"
        command = [
            str(program.path),
            f"--benchmark_out={report}",
            "--benchmark_out_format=json",
            f"--benchmark_min_time={min_time:g}",
            f"--benchmark_filter={exact_filter(names)}",
        ]
        output = run_command(command, cores)
        if not report.exists():
            raise BenchmarkFailure(f"{program.path} wrote no report:\n{output}")
        measured = parse_report(report.read_text(encoding="utf-8"))
    missing = [name for name in names if name not in measured]
    if missing:
        raise BenchmarkFailure(f"{program.path} gave no measurement of {', '.join(missing)}")
    return measured


def obtain_commit(revision: str = "HEAD") -> str:
    """The hash of a revision."""
    try:
        return git("rev-parse", "--verify", "--quiet", "--end-of-options", f"{revision}^{{commit}}").strip()
    except BenchmarkFailure as error:
        raise BenchmarkFailure(f"this is no revision: {revision}") from error


def git(*words: str) -> str:
    return run_command(["git", "-C", str(ROOT), *words])


def positive_number(text: str) -> float:
    """A type for options."""
    value = float(text)
    if not 0.0 < value < float("inf"):
        raise argparse.ArgumentTypeError(f"must be positive: {text}")
    return value


def regular_expression(text: str) -> str:
    """A type for options."""
    try:
        re.compile(text)
    except re.error as error:
        raise argparse.ArgumentTypeError(f"{text}: {error}") from error
    return text


def raise_terminated(number: int, frame: object) -> NoReturn:
    raise Terminated(128 + number)


def run_main(main: Callable[[Sequence[str]], int], name: str) -> int:
    """The status of a script: failures are told on the standard error, and signals unwind the script as Ctrl-C does."""
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, raise_terminated)
    try:
        return main(sys.argv[1:])
    except BenchmarkFailure as error:
        print(f"{name}: {error}", file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    except Terminated as stop:
        return int(stop.args[0])
