#!/usr/bin/env python3
"""Tests of the parts of bench/record and bench/compare that run nothing."""

from __future__ import annotations

import itertools
import json
import os
import random
import re
import sys
import unittest
from pathlib import Path
from typing import Any

sys.dont_write_bytecode = True
sys.path.insert(0, os.fspath(Path(__file__).resolve().parents[1] / "support"))

from script_module import load_script  # noqa: E402

BENCH = Path(__file__).resolve().parents[2] / "bench"

benchmarks = load_script(BENCH / "benchmarks.py")
record = load_script(BENCH / "record")
compare = load_script(BENCH / "compare")


def row(name: str, real: float, cpu: float, **more: Any) -> dict[str, Any]:
    """A row of a report as Google Benchmark writes it, in milliseconds."""
    return {
        "name": name,
        "family_index": 0,
        "per_family_instance_index": 0,
        "run_name": name,
        "run_type": "iteration",
        "repetitions": 1,
        "repetition_index": 0,
        "threads": 1,
        "iterations": 4,
        "real_time": real,
        "cpu_time": cpu,
        "time_unit": "ms",
        **more,
    }


def report(*rows: dict[str, Any]) -> str:
    return json.dumps({"context": {"num_cpus": 2}, "benchmarks": rows})


class ParseReportTest(unittest.TestCase):
    def test_times_are_seconds_and_counters_are_what_is_not_google_benchmarks_own(self) -> None:
        measured = benchmarks.parse_report(report(row("run/n:4", 6.0, 5.0, **{"atoms/s": 12.5, "sgemv/this": 1.9})))

        self.assertEqual(list(measured), ["run/n:4"])
        one = measured["run/n:4"]
        self.assertAlmostEqual(one.real_seconds, 0.006)
        self.assertAlmostEqual(one.cpu_seconds, 0.005)
        self.assertEqual(one.iterations, 4)
        self.assertEqual(one.counters, {"atoms/s": 12.5, "sgemv/this": 1.9})

    def test_units(self) -> None:
        for unit, size in (("ns", 1e-9), ("us", 1e-6), ("ms", 1e-3), ("s", 1.0)):
            with self.subTest(unit=unit):
                measured = benchmarks.parse_report(report(row("run", 3.0, 2.0, time_unit=unit)))
                self.assertAlmostEqual(measured["run"].real_seconds / size, 3.0)

    def test_the_time_that_counts_goes_by_the_name(self) -> None:
        for name, seconds in (
            ("run/models:1", 0.002),
            ("run/models:1/real_time", 0.003),
            ("run/repeats:5/manual_time", 0.003),
            ("run/process_time", 0.002),
            ("surreal_time/n:1", 0.002),
        ):
            with self.subTest(name=name):
                self.assertAlmostEqual(benchmarks.parse_report(report(row(name, 3.0, 2.0)))[name].seconds, seconds)

    def test_repetitions_become_their_median_and_aggregates_do_not_count(self) -> None:
        name = "run/repeats:3"
        rows = [row(name, time, time, rate=10.0 * time) for time in (9.0, 2.0, 3.0)]
        mean = row(f"{name}_mean", 70.0, 70.0, rate=7.0, run_name=name, run_type="aggregate", aggregate_name="mean")

        measured = benchmarks.parse_report(report(*rows, mean))

        self.assertEqual(list(measured), [name])
        self.assertAlmostEqual(measured[name].seconds, 0.003)
        self.assertAlmostEqual(measured[name].counters["rate"], 30.0)

    def test_the_median_where_the_repetitions_are_not_told(self) -> None:
        name = "run/repeats:5/manual_time"
        rows = [
            row(f"{name}_{kind}", time, time, run_name=name, run_type="aggregate", aggregate_name=kind, rate=time)
            for kind, time in (("mean", 7.0), ("median", 3.0), ("stddev", 0.5))
        ]

        measured = benchmarks.parse_report(report(*rows))

        self.assertEqual(list(measured), [name])
        self.assertAlmostEqual(measured[name].seconds, 0.003)
        self.assertEqual(measured[name].counters, {"rate": 3.0})

    def test_a_benchmark_that_failed(self) -> None:
        text = report(row("run", 1.0, 1.0, error_occurred=True, error_message="no such kernel"))

        with self.assertRaisesRegex(benchmarks.BenchmarkFailure, "run: no such kernel"):
            benchmarks.parse_report(text)

    def test_what_is_no_report(self) -> None:
        cut = report(row("run", 1.0, 1.0))[:-20]
        without_unit = row("run", 1.0, 1.0)
        del without_unit["time_unit"]
        for text in ("", cut, "[]", "{}", '{"benchmarks": 3}', '{"benchmarks": [3]}', report(without_unit)):
            with self.subTest(text=text):
                with self.assertRaisesRegex(benchmarks.BenchmarkFailure, "not a report"):
                    benchmarks.parse_report(text)


class NamesTest(unittest.TestCase):
    def test_prefix_of_a_program(self) -> None:
        for path, prefix in (
            ("build/release/bench/network/melta_network_force_assembly_benchmark", "network/force_assembly"),
            ("bench/symmfunc/melta_other_benchmark", "symmfunc/other"),
        ):
            with self.subTest(path=path):
                self.assertEqual(benchmarks.Program(Path(path)).prefix, prefix)

    def test_exact_filter_chooses_the_names_and_no_other_ones(self) -> None:
        names = ["run/n:1", "run/a.b", "run/(x|y)", "run+", "sum[3]"]
        expression = re.compile(benchmarks.exact_filter(names))

        for name in names:
            self.assertTrue(expression.search(name), name)
        for name in ("run/n:16", "prerun/n:1", "run/aXb", "run/x", "runn", "sum3"):
            self.assertFalse(expression.search(name), name)

    def test_words_choose_programs(self) -> None:
        programs = [
            benchmarks.Program(Path(f"bench/{folder}/melta_{folder}_{name}_benchmark"))
            for folder, name in (("network", "epoch"), ("network", "ensemble"), ("symmfunc", "behler"))
        ]

        self.assertEqual(record.choose_programs(programs, []), programs)
        self.assertEqual(record.choose_programs(programs, ["behler", "network/ep"]), [programs[0], programs[2]])
        with self.assertRaisesRegex(benchmarks.BenchmarkFailure, "no program has netwrok"):
            record.choose_programs(programs, ["network", "netwrok"])

    def test_benchmarks_of_two_commits_are_matched_by_label(self) -> None:
        def listed(directory: str, *names: str) -> list[Any]:
            program = benchmarks.Program(Path(f"{directory}/network/melta_network_epoch_benchmark"))
            return [benchmarks.Benchmark(program, name) for name in names]

        first, second = listed("a", "old", "one", "two"), listed("b", "two", "new", "one")

        common, only_first, only_second = compare.match_benchmarks(first, second)

        self.assertEqual(common, [(first[2], second[0]), (first[1], second[2])])
        self.assertEqual(only_first, ["network/epoch/old"])
        self.assertEqual(only_second, ["network/epoch/new"])


class MachineTest(unittest.TestCase):
    def test_processor(self) -> None:
        text = (
            "processor\t: 0\nmodel name\t: Some CPU @ 2.6GHz: B\nflags\t\t: fpu sse2 avx2 fma sse2x rdrand ssse3\n\n"
            "processor\t: 1\nmodel name\t: Other\nflags\t\t: avx512f\n"
        )

        self.assertEqual(
            record.parse_processor(text), ("Some CPU @ 2.6GHz: B", ["avx2", "fma", "sse2", "sse2x", "ssse3"])
        )

    def test_processor_of_another_kind(self) -> None:
        self.assertEqual(record.parse_processor("Features\t: fp asimd sve2 aes\n"), ("unknown", ["asimd", "sve2"]))
        self.assertEqual(record.parse_processor(""), ("unknown", []))

    def test_memory(self) -> None:
        self.assertEqual(record.parse_memory("MemFree: 1 kB\nMemTotal:       2048 kB\n"), 2048 * 1024)
        self.assertIsNone(record.parse_memory(""))

    def test_cache_of_the_build(self) -> None:
        cache = (
            "// CMAKE_BUILD_TYPE:STRING=no\nCMAKE_BUILD_TYPE:STRING=Release\nCMAKE_CXX_COMPILER:FILEPATH=/bin/c++=x\n"
        )

        self.assertEqual(record.parse_cache(cache, "CMAKE_BUILD_TYPE"), "Release")
        self.assertEqual(record.parse_cache(cache, "CMAKE_CXX_COMPILER"), "/bin/c++=x")
        self.assertIsNone(record.parse_cache(cache, "CMAKE_CXX"))


class SpreadTest(unittest.TestCase):
    # How many values are cut off at each end, from the table of the binomial distribution with p = 1/2.
    SKIPPED = {1: 0, 2: 0, 5: 0, 6: 0, 8: 0, 9: 1, 11: 1, 12: 2, 15: 3, 20: 5, 25: 7}

    def test_sorted_values_are_cut_off_at_both_ends(self) -> None:
        for count, skipped in self.SKIPPED.items():
            with self.subTest(count=count):
                values = [float(i) for i in range(count)]
                random.Random(count).shuffle(values)
                self.assertEqual(compare.spread_of_median(values), (float(skipped), float(count - 1 - skipped)))

    def test_one_value_fewer_would_not_enclose_the_median_often_enough(self) -> None:
        # Each value of a sample is below the true median or above it with the same probability: all cases are counted.
        for count in (6, 9, 12):
            low, high = (int(value) for value in compare.spread_of_median([float(i) for i in range(count)]))
            narrower = enclosed = 0
            for sides in itertools.product((0, 1), repeat=count):
                below = sum(sides)
                enclosed += low < below <= high
                narrower += low + 1 < below <= high - 1
            with self.subTest(count=count):
                self.assertGreaterEqual(enclosed / 2**count, compare.COVERAGE)
                self.assertLess(narrower / 2**count, compare.COVERAGE)


class ComparisonTest(unittest.TestCase):
    def test_the_ratio_is_the_median_of_the_ratios_of_the_pairs(self) -> None:
        # The machine slows down from pair to pair; the ratios do not notice.
        pairs = [(time, 1.1 * time) for time in (1.0, 2.0, 30.0, 4.0, 50.0)]

        result = compare.compare_times("run", pairs)

        self.assertAlmostEqual(result.ratio, 1.1)
        self.assertAlmostEqual(result.low, 1.1)
        self.assertAlmostEqual(result.high, 1.1)
        self.assertAlmostEqual(result.first, 4.0)
        self.assertAlmostEqual(result.second, 4.4)

    def test_times_that_no_ratio_can_be_made_of(self) -> None:
        for pair in ((0.0, 1.0), (1.0, 0.0), (1.0, float("nan")), (float("inf"), 1.0), (-1.0, 1.0)):
            with self.subTest(pair=pair):
                with self.assertRaisesRegex(benchmarks.BenchmarkFailure, "run took no time"):
                    compare.compare_times("run", [(1.0, 1.0), pair])

    def test_verdict(self) -> None:
        for ratio, low, high, verdict in (
            (1.05, 1.01, 1.07, "slower"),
            (1.05, 0.99, 1.07, ""),  # within its own spread
            (1.02, 1.01, 1.03, ""),  # within the threshold
            (0.95, 0.93, 0.99, "faster"),
            (0.95, 0.93, 1.01, ""),
            (0.98, 0.97, 0.99, ""),
            (1.0 / 1.025, 0.97, 0.99, ""),
            (1.0 / 1.035, 0.96, 0.99, "faster"),
            (1.0, 1.0, 1.0, ""),
        ):
            with self.subTest(ratio=ratio, low=low, high=high):
                self.assertEqual(compare.Comparison("run", 1.0, ratio, ratio, low, high).verdict(0.03), verdict)


class TableTest(unittest.TestCase):
    def test_seconds(self) -> None:
        for seconds, text in (
            (12.345678, "12.35 s"),
            (1.0, "1 s"),
            (0.99999, "1 s"),
            (0.0012345, "1.234 ms"),
            (0.99999e-3, "1 ms"),
            (0.9994e-3, "999.4 us"),
            (4.5e-8, "45 ns"),
        ):
            with self.subTest(seconds=seconds):
                self.assertEqual(compare.format_seconds(seconds), text)

    def test_rows_and_summary(self) -> None:
        rows = [
            compare.Comparison("network/epoch/run", 0.002, 0.0022, 1.1, 1.05, 1.2),
            compare.Comparison("symmfunc/behler/long", 3e-6, 3e-6, 1.0, 0.99, 1.01),
        ]
        labels = [comparison.label for comparison in rows]

        lines = [compare.table_head(labels)] + [compare.table_row(one, labels, 0.03) for one in rows]

        self.assertEqual(
            lines,
            [
                "benchmark                     A          B     B/A  spread",
                "network/epoch/run          2 ms     2.2 ms   1.100  1.050 .. 1.200  slower",
                "symmfunc/behler/long       3 us       3 us   1.000  0.990 .. 1.010",
            ],
        )
        self.assertEqual(
            compare.summary(rows, 0.03),
            "2 benchmarks: 1 slower and 0 faster by more than 3 % and than their spread; median of B/A 1.050, of the "
            "widths of the spreads 0.085",
        )


if __name__ == "__main__":
    unittest.main()
