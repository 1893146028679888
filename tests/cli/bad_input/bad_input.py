#!/usr/bin/env python3
"""Gives the console command broken input files, reader by reader.

usage: bad_input.py --command PATH [--unlimited] READER...

Whatever a file holds, the command has to end in time and within its memory, without a signal, and with either of

  status 0 and no line that begins with "[STOP] ", or
  status 1 and exactly one such line, the last one.

Cases that no reader may accept have to end in the second way. --unlimited lifts the limit of the memory, for commands
that are built with sanitizers.
"""

from __future__ import annotations

import argparse
import os
import random
import resource
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import Iterable, Iterator, Sequence

HERE = Path(__file__).resolve().parent
MODEL = HERE.parent / "shared" / "silica"
MODEL_FILES = ("melta.train", "melta.test", "melta.data", "melta.data_e", "melta.gdist")
TIMEOUT = 20.0
MEMORY_LIMIT = 3 * 1024**3  # bytes
HUGE = "2000000000"
LONG_LINE = 100_000
TOO_LONG_LINE = (1 << 20) + 1
LONG_WORD = "x" * 300
NUM_CUTS = 24
NOT_FINITE = ("nan", "-inf", "1e999")
ODD_NUMBERS = (HUGE, "-" + HUGE, "99999999999999999999", "0", "-1", "1e30", "1e-30")


@dataclass(frozen=True)
class Case:
    name: str
    contents: bytes
    must_stop: bool = False
    must_run: bool = False


# ---------------------------------------------------------------------------------------------
# Ways to break a file
# ---------------------------------------------------------------------------------------------


def make_cuts(text: str) -> Iterator[Case]:
    """Files that end too early; what is left may still make sense."""
    data = text.encode()
    lines = text.splitlines(keepends=True)
    ends = [sum(map(len, lines[:count])) for count in range(len(lines))]
    places = {len(data) * i // NUM_CUTS for i in range(NUM_CUTS)} | set(ends[:: max(1, len(ends) // NUM_CUTS)])
    for place in sorted(places):
        yield Case(f"cut at byte {place}", data[:place])


def make_junk(text: str) -> Iterator[Case]:
    """Bytes of no meaning: a whole file of them, and some in the middle of a good one."""
    data = text.encode()
    middle = len(data) // 2
    for seed in range(3):
        draw = random.Random(seed)
        yield Case(f"junk {seed}", draw.randbytes(3000))
        yield Case(f"junk {seed} in the middle", data[:middle] + draw.randbytes(50) + data[middle:])
    yield Case("zero bytes", bytes(5000))
    yield Case("zero bytes in the middle", data[:middle] + bytes(50) + data[middle:])
    yield Case("bytes 255", b"\xff" * 5000)
    yield Case("carriage returns", data.replace(b"\n", b"\r\n"))
    yield Case("line breaks", b"\n" * 5000)
    yield Case("one line", data.replace(b"\n", b" "))


def make_long_lines(text: str) -> Iterator[Case]:
    lines = text.split("\n")
    for index in (0, 1, len(lines) // 2):
        for what, tail in (("blanks", " "), ("digits", "1"), ("letters", "x"), ("numbers", " 1.5")):
            changed = lines.copy()
            changed[index] += tail * (LONG_LINE // len(tail))
            yield Case(f"long line {index + 1} of {what}", "\n".join(changed).encode())
    yield Case("one long line of digits", b"1" * LONG_LINE)


def replace_field(text: str, line: int, field: int, value: str, must_stop: bool = False) -> Case:
    lines = text.split("\n")
    fields = lines[line].split()
    name = f"{value[:24]} for {fields[field]} in line {line + 1}"
    fields[field] = value
    lines[line] = " ".join(fields)
    return Case(name, "\n".join(lines).encode(), must_stop)


def count_fields(text: str, line: int) -> int:
    return len(text.split("\n")[line].split())


# ---------------------------------------------------------------------------------------------
# Readers
# ---------------------------------------------------------------------------------------------


class Reader:
    """A file, the command that reads it, and the good files around it."""

    def __init__(self, file: str, words: Sequence[str], properties: str = "", stride: int = 1) -> None:
        self.file = file
        self.words = words
        paths = [*(HERE / "files").iterdir(), *(MODEL / name for name in MODEL_FILES)]
        self.files = {path.name: path.read_text(encoding="utf-8") for path in paths}
        self.files["melta.data_q"] = self.files["melta.data_e"]
        self.files["melta.prop"] += properties
        self.stride = stride  # takes every so-manieth case

    @property
    def text(self) -> str:
        return self.files[self.file]

    def own_cases(self) -> Iterable[Case]:
        raise NotImplementedError

    def cases(self) -> list[Case]:
        cases = [Case("empty", b""), *make_cuts(self.text), *make_junk(self.text), *make_long_lines(self.text)]
        return [*cases, *self.own_cases()][:: self.stride]


class PropertiesReader(Reader):
    # Sizes and other numbers of a training, and the words. Left out are the numbers that a user may raise until the
    # training takes for ever.
    INTEGERS = (
        "numRadius numAngle models layers nodes lbfgs lineSteps batchs m2 m3 geomsEpoch epochsStore epochsOnlyE"
        " epochsApproxF directSF elemWeight withCharge withClassical withReaxFF gpuThreads"
    ).split()
    REALS = (
        "maxForce minEDev maxEDev rinner router rcutRadius rcutAngle rmseEnergy rmseForce coefEnergy coefForce"
        " learnRate learnRateFinal learnRateDecay adamBeta1 adamBeta2"
    ).split()
    WORDS = ("symmFunc", "activ", "lineSearch")

    def own_cases(self) -> Iterator[Case]:
        for key in (*self.INTEGERS, *self.REALS, *self.WORDS):
            for value in ("", "x", LONG_WORD):
                yield self.add(f"{key} {value}", must_stop=True)
        for key in self.INTEGERS:
            for value in (HUGE, "-" + HUGE, "99999999999999999999", "1" * 300):
                yield self.add(f"{key} {value}")
            yield self.add(f"{key} nan", must_stop=True)
        for key in self.REALS:
            for value in NOT_FINITE:
                yield self.add(f"{key} {value}", must_stop=True)
            for value in ("1e30", "1e-30", "-1", "0", "1" * 300):
                yield self.add(f"{key} {value}")
        for key in ("models", "layers", "nodes", "numRadius", "numAngle"):
            yield self.add(f"{key} {HUGE}", must_stop=True)
        yield self.add(f"{LONG_WORD} 1", must_stop=True)
        yield self.add("#" * TOO_LONG_LINE, must_stop=True)

    def add(self, line: str, must_stop: bool = False) -> Case:
        return Case(line[:40], f"{self.text}{line}\n".encode(), must_stop)


class DataReader(Reader):
    def own_cases(self) -> Iterator[Case]:
        yield replace_field(self.text, 0, 0, HUGE, must_stop=True)
        yield Case("huge count alone", HUGE.encode(), must_stop=True)
        yield Case("huge count with a cell", f"{HUGE} 0 1\n1 0 0\n0 1 0\n0 0 1\n".encode(), must_stop=True)
        yield Case("too long line", self.text.encode() + b" " * TOO_LONG_LINE, must_stop=True)
        yield from self.cuts_within_a_block()
        first_atom = 4
        for line in range(1, first_atom + 1):
            for field in range(1 if line == first_atom else 0, count_fields(self.text, line)):
                for value in (*NOT_FINITE, "x"):
                    yield replace_field(self.text, line, field, value, must_stop=True)
        for line in (0, 1, 2, first_atom):
            for field in range(count_fields(self.text, line)):
                for value in ODD_NUMBERS:
                    yield replace_field(self.text, line, field, value)
        for value in (LONG_WORD, "-", "nan"):
            yield replace_field(self.text, first_atom, 0, value, must_stop=True)

    def cuts_within_a_block(self) -> Iterator[Case]:
        lines = self.text.splitlines(keepends=True)
        num_lines = 4 + int(lines[0].split()[0])
        for start in (0, num_lines):
            for kept in range(1, num_lines):
                contents = "".join(lines[: start + kept]).encode()
                yield Case(f"cut behind line {start + kept}", contents, must_stop=True)


class HeadReader(Reader):
    SIZES = {(1, 0), (1, 1), (3, 0), (3, 1), (3, 3), (4, 0)}  # line and field
    REALS = {(5, 1), (5, 2), (6, 1), (6, 2)}
    CUTOFFS = {(1, 2), (1, 3)}
    NUM_LINES = 7

    def own_cases(self) -> Iterator[Case]:
        # A restart takes the cutoffs from the settings.
        reals = self.REALS if "--train" in self.words else self.REALS | self.CUTOFFS
        lines = self.text.splitlines(keepends=True)
        for kept in range(self.NUM_LINES):
            yield Case(f"cut behind line {kept}", "".join(lines[:kept]).encode(), must_stop=True)
        for line in range(self.NUM_LINES):
            for field in range(count_fields(self.text, line)):
                for value in (*NOT_FINITE, "x", LONG_WORD):
                    must_stop = (line, field) in reals and value != LONG_WORD
                    yield replace_field(self.text, line, field, value, must_stop)
                for value in ODD_NUMBERS:
                    must_stop = (line, field) in self.SIZES and value in (HUGE, "-1", "-" + HUGE)
                    yield replace_field(self.text, line, field, value, must_stop)
        yield Case("too long line", b" " * TOO_LONG_LINE + self.text.encode(), must_stop=True)


class CompanionReader(Reader):
    def own_cases(self) -> Iterator[Case]:
        words = self.text.split()
        for kept in range(0, len(words), 29):
            yield Case(f"cut behind number {kept}", " ".join(words[:kept]).encode(), must_stop=True)
        num_lines = self.text.count("\n")
        for line in sorted({0, 1, num_lines // 2, num_lines - 1}):
            for field in range(count_fields(self.text, line)):
                for value in (*NOT_FINITE, "x", LONG_WORD):
                    yield replace_field(self.text, line, field, value, must_stop=True)
            for value in ODD_NUMBERS:
                yield replace_field(self.text, line, 0, value)


class BehlerReader(Reader):
    def __init__(self) -> None:
        super().__init__("melta.behler", ["--train"], "symmFunc behler\n")
        for name in ("melta.data", "melta.data_e"):
            del self.files[name]

    def own_cases(self) -> Iterator[Case]:
        lines = self.text.split("\n")
        for line, words in enumerate(map(str.split, lines)):
            for field in range(len(words)):
                for value in (*NOT_FINITE, "x", LONG_WORD):
                    # What stands behind the first word of a header means nothing, and a shift may be missing.
                    is_number = words[0][0].isdigit()
                    must_stop = is_number and (value in NOT_FINITE or field == 0)
                    yield replace_field(self.text, line, field, value, must_stop)
                for value in ODD_NUMBERS:
                    yield replace_field(self.text, line, field, value)
        yield Case("too long line", self.text.encode() + b" " * TOO_LONG_LINE, must_stop=True)
        yield Case("two angular sections", (self.text + "\nG4\n0.1 1\n").encode(), must_stop=True)


class ChargeCompanionReader(CompanionReader):
    """The companion of charges: the same shape as that of energies, and a head that asks for it."""

    def __init__(self) -> None:
        super().__init__("melta.data_q", ["--test"])
        head = self.files["melta.data"].split("\n")
        shape = head[3]
        head[2:4] = ["1", shape, shape]
        self.files["melta.data"] = "\n".join(head)


class MetropolisReader(Reader):
    NUM_HEAD = 10  # lines of keys
    FLAGS = ("unknownGeoms", "withShift", "shiftInit")
    COUNTS = (12, 17)  # lines
    CELL = (18, 19, 20)
    ATOMS = (21, 22, 23, 24)
    PAIR = 13

    def __init__(self) -> None:
        super().__init__("melta.metro", ["--metro"])

    def own_cases(self) -> Iterator[Case]:
        yield from self.heads()
        for line in self.COUNTS:
            for value in (HUGE, "-" + HUGE, "0", "x", "nan"):
                yield replace_field(self.text, line, 0, value, must_stop=True)
        for line, first in (*((line, 0) for line in self.CELL), *((line, 1) for line in self.ATOMS)):
            for field in range(first, first + 3):
                for value in (*NOT_FINITE, "x"):
                    yield replace_field(self.text, line, field, value, must_stop=True)
                for value in ODD_NUMBERS:
                    yield replace_field(self.text, line, field, value)
        for value in (LONG_WORD, "-", "nan"):
            yield replace_field(self.text, self.ATOMS[0], 0, value, must_stop=True)
            yield replace_field(self.text, self.PAIR, 0, value, must_stop=True)
        for value in (*NOT_FINITE, *ODD_NUMBERS):
            yield replace_field(self.text, self.PAIR, 2, value, value in NOT_FINITE)
        yield Case("too long line", self.text.encode() + b" " * TOO_LONG_LINE, must_stop=True)

    def heads(self) -> Iterator[Case]:
        for line in range(self.NUM_HEAD):
            key = self.text.split("\n")[line].split()[0]
            for value in ("x", "nan", LONG_WORD):
                yield replace_field(self.text, line, 1, value, must_stop=True)
            for value in ODD_NUMBERS:
                is_refused = key not in self.FLAGS and value in ("0", "-1", "-" + HUGE)
                # A walk of so many steps takes for ever.
                if key != "maxSteps" or is_refused:
                    yield replace_field(self.text, line, 1, value, is_refused)
        yield Case("unknown key", f"{LONG_WORD} 1\n{self.text}".encode(), must_stop=True)


class DistributionsReader(Reader):
    NUM_COUNTS = 4  # lines at the end of the file

    def __init__(self) -> None:
        super().__init__("melta.gdist", ["--metro"])

    def own_cases(self) -> Iterator[Case]:
        lines = self.text.splitlines(keepends=True)
        for kept in range(len(lines)):
            yield Case(f"cut behind line {kept}", "".join(lines[:kept]).encode(), must_stop=True)
        for field in range(3):
            for value in (HUGE, "-" + HUGE, "0", "x", "nan"):
                yield replace_field(self.text, 0, field, value, must_stop=True)
        for field in (1, 2):
            for value in (*NOT_FINITE, HUGE, "x"):
                yield replace_field(self.text, 1, field, value, must_stop=True)
        yield replace_field(self.text, 1, 0, LONG_WORD, must_stop=True)
        for line in (len(lines) - self.NUM_COUNTS, len(lines) - 1):
            for value in ("nan", "x", "99999999999999999999"):
                yield replace_field(self.text, line, 0, value, must_stop=True)
            for value in (HUGE, "0", "-1", "-" + HUGE):
                yield replace_field(self.text, line, 0, value)
        yield Case("too long line", b" " * TOO_LONG_LINE + self.text.encode(), must_stop=True)


class FramesReader(Reader):
    """Extended XYZ: a crystal and a cluster."""

    CRYSTAL, CLUSTER = 2, 7  # lines of the first atoms
    PLACES = (1, 2, 3)

    def __init__(self, words: Sequence[str]) -> None:
        super().__init__("in.xyz", words)
        del self.files["melta.train"]

    def own_cases(self) -> Iterator[Case]:
        yield replace_field(self.text, 0, 0, HUGE, must_stop=True)
        yield Case("huge count alone", HUGE.encode(), must_stop=True)
        yield Case("too long line", self.text.encode() + b" " * TOO_LONG_LINE, must_stop=True)
        lines = self.text.splitlines(keepends=True)
        for kept in (1, 2, 3, 4, 6, 7, 8, 9):
            yield Case(f"cut behind line {kept}", "".join(lines[:kept]).encode(), must_stop=True)
        for line in (self.CRYSTAL, self.CLUSTER):
            for field in self.PLACES:
                for value in (*NOT_FINITE, "x"):
                    yield replace_field(self.text, line, field, value, must_stop=True)
                for value in ODD_NUMBERS:
                    yield replace_field(self.text, line, field, value)
            for value in (LONG_WORD, "-", "nan"):
                yield replace_field(self.text, line, 0, value, must_stop=True)
        for field in range(count_fields(self.text, 1)):
            for value in (*ODD_NUMBERS, *NOT_FINITE, "x", '"', "a=", "[[", "=", "Properties=x:R:" + HUGE, LONG_WORD):
                yield replace_field(self.text, 1, field, value)
        for value in (*NOT_FINITE, "x"):
            yield replace_field(self.text, 1, 1, value, must_stop=True)


def make_reader(name: str) -> Reader:
    if name == "melta.behler":
        return BehlerReader()
    if name == "melta.data_q":
        return ChargeCompanionReader()
    if name == "melta.metro":
        return MetropolisReader()
    if name == "melta.gdist":
        return DistributionsReader()
    if name == "melta.prop":
        return PropertiesReader("melta.prop", ["--train"])
    if name == "melta.train":
        return DataReader("melta.train", ["--train"])
    if name == "melta.test":
        return DataReader("melta.test", ["--test"])
    if name == "melta.test-in-situ":
        return DataReader("melta.test", ["--train"], stride=5)
    if name == "melta.data":
        return HeadReader("melta.data", ["--test"])
    if name == "melta.data-restart":
        return HeadReader("melta.data", ["--train"], "restart 1\n", stride=5)
    if name == "melta.data_e":
        return CompanionReader("melta.data_e", ["--test"])
    if name == "melta.data_e-restart":
        return CompanionReader("melta.data_e", ["--train"], "restart 1\n", stride=5)
    if name == "in.xyz":
        return FramesReader(["--evaluate", "in.xyz", "out.xyz"])
    if name == "in.xyz-import":
        return FramesReader(["--import", "in.xyz"])
    raise ValueError(f"unknown reader: {name}")


# ---------------------------------------------------------------------------------------------
# Running and judging
# ---------------------------------------------------------------------------------------------


def limit_memory() -> None:
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))


def judge(case: Case, result: subprocess.CompletedProcess[bytes]) -> str:
    """What is wrong with the outcome, or an empty text."""
    if result.returncode < 0:
        return f"signal {-result.returncode}"
    if result.stderr:
        return "output on the standard error"
    if not result.stdout.endswith(b"\n"):
        return "the output does not end with a line"
    lines = result.stdout[:-1].split(b"\n")
    stops = [line for line in lines if line.startswith(b"[STOP] ")]
    if result.returncode == 0:
        if case.must_stop:
            return "accepted"
        return "a stop with status 0" if stops else ""
    if result.returncode != 1 or case.must_run:
        return f"status {result.returncode}"
    if len(stops) != 1 or lines[-1] != stops[0]:
        return f"{len(stops)} stops, last line {lines[-1]!r}"
    return ""


def run_case(command: Path, reader: Reader, case: Case, is_limited: bool) -> str:
    """What is wrong, or an empty text."""
    with tempfile.TemporaryDirectory(prefix="melta-bad-") as scratch:
        for name, text in reader.files.items():
            (Path(scratch) / name).write_text(text, encoding="utf-8")
        (Path(scratch) / reader.file).write_bytes(case.contents)
        try:
            result = subprocess.run(
                [os.fspath(command), "--omp", "1", *reader.words],
                cwd=scratch,
                capture_output=True,
                timeout=TIMEOUT,
                check=False,
                preexec_fn=limit_memory if is_limited else None,
            )
        except subprocess.TimeoutExpired:
            return f"no end within {TIMEOUT:g} s"
    complaint = judge(case, result)
    tail = (result.stdout + result.stderr)[-400:].decode("utf-8", "backslashreplace")
    return f"{complaint}; the end of the output:\n{tail}" if complaint else ""


def main() -> int:
    parser = argparse.ArgumentParser(description="Gives the console command broken input files.")
    parser.add_argument("--command", type=Path, required=True, help="the command to test")
    parser.add_argument("--unlimited", action="store_true", help="do not limit the memory")
    parser.add_argument("readers", nargs="+", metavar="READER", help="such as melta.data or melta.data-restart")
    options = parser.parse_args()

    num_failed = 0
    for name in options.readers:
        reader = make_reader(name)
        cases = [Case("the good file", reader.text.encode(), must_run=True), *reader.cases()]
        for case in cases:
            complaint = run_case(options.command.resolve(), reader, case, not options.unlimited)
            if complaint:
                num_failed += 1
                print(f"FAILED {name}: {case.name}: {complaint}", flush=True)
        print(f"{name}: {len(cases)} cases")
    return 1 if num_failed > 0 else 0


if __name__ == "__main__":
    sys.exit(main())
