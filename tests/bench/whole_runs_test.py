#!/usr/bin/env python3
"""Whole runs of bench/record and bench/compare, on a small project with stand-ins for the benchmark programs.

What the scripts need besides Python is git, CMake and Ninja; where one is missing the status is 77, which ctest shows
as skipped.
"""

from __future__ import annotations

import contextlib
import fcntl
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from typing import Callable, Iterator

BENCH = Path(__file__).resolve().parents[2] / "bench"
STATUS_SKIPPED = 77
PATIENCE = 60.0  # seconds

PRESETS = """\
{ "version": 6,
  "configurePresets": [
    { "name": "release", "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}" } ] }
"""
PROJECT = """\
cmake_minimum_required(VERSION 3.22)
project(toy LANGUAGES NONE)
file(APPEND "${MELTA_DEPENDENCY_DIR}/used" "${PROJECT_SOURCE_DIR}\\n")
add_custom_target(elsewhere ALL COMMAND false)
add_subdirectory(bench)
"""
BUILD_RULES = """\
add_custom_target(toy ALL
  COMMAND sh "${CMAKE_CURRENT_SOURCE_DIR}/build_step"
  COMMAND cmake -E make_directory network
  COMMAND cmake -E copy "${CMAKE_CURRENT_SOURCE_DIR}/toy" network/melta_network_toy_benchmark)
"""
# A benchmark program: it takes the options of the true ones and says what it was made to say.
PROGRAM = """\
#!{python}
import json, os, re, sys
TIMES = {times}
options = dict(word[2:].split("=", 1) for word in sys.argv[1:])
if "benchmark_list_tests" in options:
    print("\\n".join(TIMES))
    sys.exit()
print("  * Something that melta prints.")
with open(os.environ["TOY_LOG"], "a") as log:
    print(os.path.dirname(__file__).split("/")[-2], sorted(os.sched_getaffinity(0)), file=log)
rows = [
    dict(name=name, run_name=name, run_type="iteration", iterations=3, real_time=9.0 * time, cpu_time=time,
         time_unit="us", rate=1.0 / time, min_time=float(options["benchmark_min_time"]))
    for name, time in TIMES.items() if re.search(options["benchmark_filter"], name)
]
with open(options["benchmark_out"], "w") as report:
    json.dump(dict(benchmarks=rows), report)
"""


class Toy:
    """A repository with the scripts and a benchmark program."""

    def __init__(self, root: Path) -> None:
        self.root = root
        self.log = root / "log"
        (root / "bench").mkdir()
        (root / "build" / "deps").mkdir(parents=True)
        for name in ("benchmarks.py", "record", "compare"):
            shutil.copy2(BENCH / name, root / "bench" / name)
        (root / ".gitignore").write_text("/build/\n/bench/records/\n")
        (root / "CMakePresets.json").write_text(PRESETS)
        (root / "CMakeLists.txt").write_text(PROJECT)
        (root / "bench" / "CMakeLists.txt").write_text(BUILD_RULES)
        self.environment = {name: text for name, text in os.environ.items() if not name.startswith("GIT_")}
        self.environment["TOY_LOG"] = os.fspath(self.log)
        self.run("git", "init", "-q")

    def run(self, *command: str) -> str:
        done = subprocess.run(command, cwd=self.root, env=self.environment, check=True, capture_output=True, text=True)
        return done.stdout

    def write_program(self, times: dict[str, float]) -> None:
        path = self.root / "bench" / "toy"
        path.write_text(PROGRAM.format(python=sys.executable, times=times))
        path.chmod(0o755)

    def commit(self, times: dict[str, float], build_step: str = ":") -> str:
        self.write_program(times)
        (self.root / "bench" / "build_step").write_text(build_step)
        self.run("git", "add", "-A")
        self.run("git", "-c", "user.name=a", "-c", "user.email=b", "commit", "-q", "--allow-empty", "-m", "one")
        return self.run("git", "rev-parse", "HEAD").strip()

    def start(self, script: str, *words: str) -> subprocess.Popen[str]:
        command = [sys.executable, "-B", os.fspath(self.root / "bench" / script), *words]
        # A shell's background job ignores SIGINT, and so would the script if the tests are one.
        return subprocess.Popen(
            command,
            env=self.environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL),
        )

    def go(self, script: str, *words: str) -> tuple[int, str]:
        process = self.start(script, *words)
        output, _ = process.communicate(timeout=PATIENCE)
        return process.returncode, output


class WholeRunsTest(unittest.TestCase):
    def setUp(self) -> None:
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.toy = Toy(Path(directory.name).resolve())

    def assert_no_worktree(self) -> None:
        listed = self.toy.run("git", "worktree", "list", "--porcelain").split("\n\n")
        self.assertEqual(len([tree for tree in listed if tree.strip()]), 1, listed)
        self.assertEqual(list((self.toy.root / "build" / "compare").glob("worktree*")), [])

    def assert_rows(self, output: str, *rows: str) -> None:
        lines = [" ".join(line.split()) for line in output.splitlines()]
        for row in rows:
            self.assertIn(row, lines, output)

    def test_slower_and_faster(self) -> None:
        first = self.toy.commit({"run/n:1": 2.0, "run/n:16": 8.0, "gone": 1.0})
        second = self.toy.commit({"new": 1.0, "run/n:1": 2.2, "run/n:16": 8.08})

        status, output = self.toy.go("compare", first, second)
        self.assert_rows(
            output,
            "only in A: network/toy/gone",
            "only in B: network/toy/new",
            "network/toy/run/n:1 2 us 2.2 us 1.100 1.100 .. 1.100 slower",
            "network/toy/run/n:16 8 us 8.08 us 1.010 1.010 .. 1.010",
        )
        self.assertEqual(status, 1, output)
        self.assertIn("compare: building", output)
        self.assert_no_worktree()

        status, output = self.toy.go("compare", second, first)
        self.assert_rows(output, "network/toy/run/n:1 2.2 us 2 us 0.909 0.909 .. 0.909 faster")
        self.assertEqual(status, 0, output)
        self.assertNotIn("compare: building", output)

        for word in ("--no-fail", "--threshold=11"):
            with self.subTest(word=word):
                self.assertEqual(self.toy.go("compare", first, second, word)[0], 0)

    def test_the_two_take_turns_on_the_same_cores(self) -> None:
        first, second = self.toy.commit({"run": 2.0, "other": 1.0}), self.toy.commit({"run": 2.0, "other": 1.0})
        core = min(os.sched_getaffinity(0))

        status, output = self.toy.go("compare", "HEAD~1", "HEAD", "toy/r.n", "--pairs", "5", f"--cores={core}")

        self.assertEqual(status, 0, output)
        turn = [f"programs-{commit[:12]} [{core}]" for commit in (first, second)]
        self.assertEqual(self.toy.log.read_text().splitlines(), 5 * turn)

    def test_downloaded_sources_are_shared(self) -> None:
        commit = self.toy.commit({"run": 2.0})

        self.assertEqual(self.toy.go("compare", commit, commit)[0], 0)

        trees = (self.toy.root / "build" / "deps" / "used").read_text().splitlines()
        self.assertEqual(trees, [os.fspath(self.toy.root / "build" / "compare" / f"worktree-{commit[:12]}")])

    def test_a_build_that_fails(self) -> None:
        first = self.toy.commit({"run": 2.0})
        second = self.toy.commit({"run": 2.0}, "echo this does not compile; exit 3")

        status, output = self.toy.go("compare", first, second)

        self.assertEqual(status, 2, output)
        self.assertIn("this does not compile", output)
        self.assert_no_worktree()

    def test_a_signal_during_the_build_leaves_neither_worktree_nor_process(self) -> None:
        marker = self.toy.root / "marker"
        commit = self.toy.commit({"run": 2.0}, f"echo $$ > {marker}.new; mv {marker}.new {marker}; sleep 300")
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number=number), self.started("compare", commit, commit) as process:
                wait_until(marker.exists)
                step = int(marker.read_text())
                marker.unlink()

                process.send_signal(number)

                self.assertEqual(process.wait(timeout=PATIENCE), 128 + number)
                wait_until(lambda: not is_running(step))
                self.assert_no_worktree()

    def test_what_a_killed_comparison_left_does_not_matter(self) -> None:
        marker = self.toy.root / "marker"
        commit = self.toy.commit({"run": 2.0}, f"test -e {marker} || {{ touch {marker}; sleep 2; }}")
        with self.started("compare", commit, commit) as process:
            wait_until(marker.exists)
            process.kill()
            process.wait()
        self.assertTrue(list((self.toy.root / "build" / "compare").glob("worktree*")))

        status, output = self.toy.go("compare", commit, commit)

        self.assertEqual(status, 0, output)
        self.assert_no_worktree()

    def test_a_folder_in_the_place_of_a_worktree_goes(self) -> None:
        commit = self.toy.commit({"run": 2.0})
        (self.toy.root / "build" / "compare" / f"worktree-{commit[:12]}" / "bench").mkdir(parents=True)

        status, output = self.toy.go("compare", commit, commit)

        self.assertEqual(status, 0, output)
        self.assert_no_worktree()

    def test_a_second_comparison_is_refused(self) -> None:
        commit = self.toy.commit({"run": 2.0})
        (self.toy.root / "build" / "compare").mkdir()
        with open(self.toy.root / "build" / "compare" / "lock", "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)

            status, output = self.toy.go("compare", commit, commit)

        self.assertEqual((status, output), (2, "compare: another comparison is running here\n"))

    def test_wrong_words_of_compare(self) -> None:
        self.toy.commit({"run": 2.0})
        for words, message in (
            (("HEAD", "nothing"), "compare: this is no revision: nothing"),
            (("HEAD", "HEAD", "nothing"), "share no benchmark"),
            (("HEAD", "HEAD", "("), "argument REGEX"),
            (("HEAD", "HEAD", "--pairs=4"), "must be at least 5"),
            (("HEAD", "HEAD", "--cores=9999"), "may not use"),
            (("HEAD", "HEAD", "--min-time=0"), "must be positive"),
        ):
            with self.subTest(words=words):
                status, output = self.toy.go("compare", *words)
                self.assertEqual(status, 2, output)
                self.assertIn(message, output)

    def test_record(self) -> None:
        commit = self.toy.commit({"run/n:1": 2.0, "run/n:16": 4.0, "run/real_time": 1.0})
        self.toy.run("cmake", "--preset", "release", f"-DMELTA_DEPENDENCY_DIR={self.toy.root / 'build' / 'deps'}")

        status, output = self.toy.go("record", "network/t", "--filter", "n:16|real", "--min-time", "0.25")

        self.assertEqual(status, 0, output)
        paths = list((self.toy.root / "bench" / "records").iterdir())
        self.assertEqual(len(paths), 1)
        self.assertTrue(paths[0].name.endswith(f"-{commit[:10]}.json"), paths[0])
        record = json.loads(paths[0].read_text())
        self.assertEqual(list(record), ["format", "date", "commit", "machine", "options", "benchmarks"])
        self.assertEqual(record["commit"], {"hash": commit, "dirty": False})
        self.assertEqual(record["options"], {"minTime": 0.25, "filter": "n:16|real"})
        self.assertEqual([row["name"] for row in record["benchmarks"]], ["run/n:16", "run/real_time"])
        first, second = record["benchmarks"]
        self.assertEqual(first["program"], "network/toy")
        self.assertEqual(first["iterations"], 3)
        self.assertAlmostEqual(first["seconds"], 4e-6)
        self.assertAlmostEqual(first["realSeconds"], 36e-6)
        self.assertAlmostEqual(second["seconds"], 9e-6)
        self.assertEqual(first["counters"], {"rate": 0.25, "min_time": 0.25})

    def test_a_record_belongs_to_what_lies_in_the_tree(self) -> None:
        self.toy.commit({"run": 2.0})
        self.toy.run("cmake", "--preset", "release", f"-DMELTA_DEPENDENCY_DIR={self.toy.root / 'build' / 'deps'}")
        output = self.toy.root / "build" / "one.json"
        self.assertEqual(self.toy.go("record", f"--output={output}")[0], 0)
        self.toy.write_program({"run": 3.0})

        self.assertEqual(self.toy.go("record", f"--output={output}")[0], 0)

        record = json.loads(output.read_text())
        self.assertTrue(record["commit"]["dirty"])
        self.assertAlmostEqual(record["benchmarks"][0]["seconds"], 3e-6)

    def test_wrong_words_of_record(self) -> None:
        self.toy.commit({"run": 2.0})
        self.assertEqual(
            self.toy.go("record"), (2, "record: build/release is not configured (cmake --preset release)\n")
        )
        self.toy.run("cmake", "--preset", "release", f"-DMELTA_DEPENDENCY_DIR={self.toy.root / 'build' / 'deps'}")
        for words, message in (
            (("nothing",), "no program has nothing in its name; there are network/toy"),
            (("--filter=nothing",), "no benchmark matches nothing"),
        ):
            with self.subTest(words=words):
                self.assertEqual(self.toy.go("record", *words), (2, f"record: {message}\n"))

    @contextlib.contextmanager
    def started(self, script: str, *words: str) -> Iterator[subprocess.Popen[str]]:
        with self.toy.start(script, *words) as process:
            try:
                yield process
            finally:
                process.kill()


def wait_until(condition: Callable[[], bool]) -> None:
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError("it does not happen")
        time.sleep(0.02)


def is_running(process: int) -> bool:
    try:
        status = Path(f"/proc/{process}/stat").read_text()
    except OSError:
        return False
    return status.rpartition(")")[2].split()[0] != "Z"


if __name__ == "__main__":
    if any(shutil.which(tool) is None for tool in ("git", "cmake", "ninja")):
        sys.exit(STATUS_SKIPPED)
    unittest.main()
