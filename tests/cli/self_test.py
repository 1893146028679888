#!/usr/bin/env python3
"""Tests of the runner of console cases: above all, that what has to fail does fail."""

from __future__ import annotations

import contextlib
import io
import os
import sys
import tempfile
import unittest
from pathlib import Path

import run_case
from comparison import CaseError, describe_difference, mask_times, read_tolerances

PROGRESS_LINE = "  #.     1  RMSE(E): 1.000e-01  RMSE(F): 2.000e-01  Loss: 3.000e-01  Time[ wall={} epoch={} ]\n"


class RunnerTest(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = Path(scratch.name)
        self.root.chmod(0o755)
        self.case = self.root / "mode" / "case"
        self.write("arguments", "--go\n")
        self.write("expected/stdout", "done\n")

    def write(self, name: str, text: str) -> None:
        path = self.case / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def share(self, name: str, text: str) -> None:
        path = self.root / "shared" / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def read(self, name: str) -> str:
        return (self.case / name).read_text(encoding="utf-8")

    def run_with(self, body: str, *options: str) -> int:
        """Runs the case with a command that is a few lines of Python. Leaves the report in self.report."""
        return self.run_script(
            f"#!{sys.executable}\nimport os, sys, pathlib\nwords = sys.argv[1:]\n{body}\n", *options
        )

    def run_script(self, script: str, *options: str) -> int:
        command = self.root / "command"
        command.write_text(script, encoding="utf-8")
        command.chmod(0o755)
        report = io.StringIO()
        with contextlib.redirect_stdout(report):
            status = run_case.main(["--command", os.fspath(command), *options, os.fspath(self.case)])
        self.report = report.getvalue()
        return status

    def assert_passes(self, body: str) -> None:
        self.assertEqual(self.run_with(body), 0, self.report)

    def assert_fails(self, body: str, report: str) -> None:
        self.assertEqual(self.run_with(body), 1)
        self.assertIn(report, self.report)


class ConsoleTest(RunnerTest):
    def test_expected_output_passes(self) -> None:
        self.assert_passes("print('done')")

    def test_other_output_fails_with_a_diff(self) -> None:
        self.assert_fails("print('gone')", "-done\n+gone")

    def test_longer_output_fails(self) -> None:
        self.assert_fails("print('done'); print('more')", "+more")

    def test_shorter_output_fails(self) -> None:
        self.assert_fails("pass", "-done")

    def test_missing_line_end_fails(self) -> None:
        self.assert_fails("print('done', end='')", "expected stdout")

    def test_trailing_blank_fails(self) -> None:
        self.assert_fails("print('done ')", "+done ")

    def test_output_on_the_standard_error_fails(self) -> None:
        self.assert_fails("print('done'); print('oops', file=sys.stderr)", "oops")

    def test_other_status_fails(self) -> None:
        self.assert_fails("print('done'); sys.exit(3)", "exit status of run 1 (--go): 3, expected 0")

    def test_expected_status_passes(self) -> None:
        self.write("expected/status", "1\n")

        self.assert_passes("print('done'); sys.exit(1)")
        self.assert_fails("print('done')", "0, expected 1")

    def test_crash_fails(self) -> None:
        self.assert_fails("print('done', flush=True); os.abort()", "-6, expected 0")

    def test_endless_run_fails(self) -> None:
        status = self.run_with("while True: pass", "--timeout", "0.5")

        self.assertEqual(status, 1)
        self.assertIn("did not end", self.report)

    def test_case_without_expected_output_fails(self) -> None:
        (self.case / "expected/stdout").unlink()

        self.assert_fails("pass", "expected/stdout is missing")

    def test_case_without_arguments_fails(self) -> None:
        (self.case / "arguments").unlink()

        self.assert_fails("print('done')", "arguments is missing")

    def test_misspelt_entry_fails(self) -> None:
        self.write("tolerances", "")

        self.assert_fails("print('done')", "unknown entry of the case: tolerances")

    def test_entries_of_no_run_fail(self) -> None:
        for name in ("stdin.2", "inputs.2", "input.old"):
            self.write(name, "")

            self.assert_fails("print('done')", f"unknown entry of the case: {name}")
            (self.case / name).unlink()

    def test_words_arrive_as_written(self) -> None:
        self.write("arguments", "--omp\n4 5\n\n*\n")
        self.write("expected/stdout", "['--omp', '4 5', '', '*']\n")

        self.assert_passes("print(words)")

    def test_empty_arguments_are_no_words(self) -> None:
        self.write("arguments", "")
        self.write("expected/stdout", "[]\n")

        self.assert_passes("print(words)")

    def test_standard_input_arrives(self) -> None:
        self.write("stdin", "answer\n")
        self.write("expected/stdout", "answer\n")

        self.assert_passes("print(input())")

    def test_environment_is_empty(self) -> None:
        os.environ["OMP_NUM_THREADS"] = "7"
        self.addCleanup(os.environ.pop, "OMP_NUM_THREADS")
        self.write("expected/stdout", "None\n")

        self.assert_passes("print(os.environ.get('OMP_NUM_THREADS'))")


class SeveralRunsTest(RunnerTest):
    def setUp(self) -> None:
        super().setUp()
        self.write("arguments", "first\n---\nsecond\n")
        self.write("expected/stdout", "first\n")
        self.write("expected/stdout.2", "second\n")

    def test_every_run_is_compared(self) -> None:
        self.assert_passes("print(words[0])")
        self.assert_fails("print('first')", "-second\n+first")

    def test_statuses_belong_to_their_runs(self) -> None:
        self.write("expected/status.2", "1\n")

        self.assert_passes("print(words[0]); sys.exit(words[0] == 'second')")
        self.assert_fails("print(words[0]); sys.exit(words[0] == 'first')", "exit status of run 1")

    def test_runs_share_their_directory(self) -> None:
        self.write("expected/note", "first")

        self.assert_passes(
            "print(words[0])\n"
            "if words[0] == 'first': pathlib.Path('note').write_text('first')\n"
            "else: assert pathlib.Path('note').read_text() == 'first'"
        )

    def test_missing_output_of_a_run_fails(self) -> None:
        (self.case / "expected/stdout.2").unlink()

        self.assert_fails("print(words[0])", "expected/stdout.2 is missing")


class FilesTest(RunnerTest):
    def setUp(self) -> None:
        super().setUp()
        self.write("input/given", "old\n")

    def test_untouched_input_passes(self) -> None:
        self.assert_passes("assert open('given').read() == 'old\\n'; print('done')")

    def test_changed_input_fails(self) -> None:
        self.assert_fails("open('given', 'w').write('new\\n'); print('done')", "-old\n+new")

    def test_expected_change_passes(self) -> None:
        self.write("expected/given", "new\n")

        self.assert_passes("open('given', 'w').write('new\\n'); print('done')")
        self.assert_fails("print('done')", "-new\n+old")

    def test_unexpected_file_fails(self) -> None:
        self.assert_fails("open('extra', 'w'); print('done')", "unexpected file: extra")

    def test_unexpected_file_of_a_directory_fails(self) -> None:
        self.assert_fails("os.mkdir('d'); open('d/extra', 'w'); print('done')", "unexpected file: d/extra")

    def test_unexpected_empty_directory_fails(self) -> None:
        self.assert_fails("os.mkdir('d'); print('done')", "empty directories: ['d'], expected []")

    def test_expected_empty_directory_passes(self) -> None:
        self.write("expected/empty_directories", "d\n")

        self.assert_passes("os.mkdir('d'); print('done')")
        self.assert_fails("print('done')", "empty directories: [], expected ['d']")

    def test_missing_file_fails(self) -> None:
        self.write("expected/result", "42\n")

        self.assert_fails("print('done')", "missing file: result")
        self.assert_passes("open('result', 'w').write('42\\n'); print('done')")

    def test_removed_input_fails_unless_it_is_expected(self) -> None:
        self.assert_fails("os.remove('given'); print('done')", "missing file: given")
        self.write("expected/removed", "given\n")

        self.assert_passes("os.remove('given'); print('done')")
        self.assert_fails("print('done')", "unexpected file: given")

    def test_removal_of_nothing_fails(self) -> None:
        self.write("expected/removed", "misspelt\n")

        self.assert_fails("print('done')", "no input file can be removed: misspelt")

    def test_the_case_itself_is_not_touched(self) -> None:
        self.run_with("open('given', 'w').write('new'); open('extra', 'w')")

        self.assertEqual(self.read("input/given"), "old\n")
        self.assertFalse((self.case / "input/extra").exists())

    def test_bytes_that_are_no_text_are_compared(self) -> None:
        (self.case / "expected/raw").write_bytes(b"\xff\x00\n")

        self.assert_passes("open('raw', 'wb').write(b'\\xff\\x00\\n'); print('done')")
        self.assert_fails("open('raw', 'wb').write(b'\\xfe\\x00\\n'); print('done')", "expected raw")

    def test_line_ends_are_compared(self) -> None:
        (self.case / "expected/raw").write_bytes(b"a\r\n")

        self.assert_passes("open('raw', 'wb').write(b'a\\r\\n'); print('done')")
        self.assert_fails("open('raw', 'wb').write(b'a\\n'); print('done')", "expected raw")

    def test_directory_can_be_read_only(self) -> None:
        self.write("read_only", "")

        status = self.run_script("#!/bin/sh\n( : > extra ) 2> /dev/null || echo done\n")

        self.assertIn(status, (0, run_case.STATUS_SKIPPED), self.report)
        self.assertEqual(status != 0, "SKIPPED" in self.report)

    def test_command_that_cannot_start_fails(self) -> None:
        self.assertEqual(self.run_script("#!/missing/interpreter\n"), 1)
        self.assertIn("cannot start the command", self.report)


class InputReferenceTest(RunnerTest):
    BODY = "print(open('given').read(), end='')"

    def setUp(self) -> None:
        super().setUp()
        self.share("text", "done\n")

    def test_shared_file_stands_in_the_working_directory(self) -> None:
        self.write("inputs", "given shared/text\nd/e/given shared/text\n")

        self.assert_passes("assert open('d/e/given').read() == 'done\\n'\n" + self.BODY)

    def test_shared_and_own_files_stand_together(self) -> None:
        self.write("inputs", "given shared/text\n")
        self.write("input/own", "mine\n")

        self.assert_passes("assert open('own').read() == 'mine\\n'\n" + self.BODY)

    def test_shared_file_has_to_stay_as_it_is(self) -> None:
        self.write("inputs", "given shared/text\n")

        self.assert_fails("open('given', 'a').write('more\\n'); print('done')", "+more")
        self.assert_fails("os.remove('given'); print('done')", "missing file: given")
        self.assertEqual((self.root / "shared/text").read_text(encoding="utf-8"), "done\n")

    def test_shared_file_may_be_removed_if_that_is_expected(self) -> None:
        self.write("inputs", "given shared/text\n")
        self.write("expected/removed", "given\n")

        self.assert_passes("os.remove('given'); print('done')")

    def test_bad_references_fail(self) -> None:
        for line, complaint in (
            ("given shared/none", "a reference to no file: shared/none"),
            ("given shared", "a reference to no file: shared"),
            ("given", "cannot read the reference: 'given'"),
            ("given  shared/text", "cannot read the reference"),
            ("given shared/text # why", "cannot read the reference"),
            ("", "cannot read the reference: ''"),
            ("../given shared/text", "leaves its directory: ../given"),
            ("/given shared/text", "leaves its directory: /given"),
            ("given ../text", "leaves the tree of the cases: ../text"),
            ("given shared/../shared/text", "leaves the tree of the cases"),
            ("given /shared/text", "leaves the tree of the cases"),
            ("given shared/outside", "leaves the tree of the cases: shared/outside"),
            ("own shared/text", "a reference for a file that the case has itself: own"),
            ("twice shared/text", "two references for one file: twice"),
        ):
            with self.subTest(line):
                (self.root / "shared/outside").unlink(missing_ok=True)
                (self.root / "shared/outside").symlink_to("/dev/null")
                self.write("input/own", "done\n")
                self.write("inputs", f"twice shared/text\n{line}\n")

                self.assert_fails("print('done')", complaint)


class OutputReferenceTest(RunnerTest):
    BODY = "print('done'); open('result', 'w').write('42\\n')"

    def setUp(self) -> None:
        super().setUp()
        self.share("console", "done\n")
        self.share("answer", "42\n")
        (self.case / "expected/stdout").unlink()
        self.write("outputs", "stdout shared/console\nresult shared/answer\n")

    def test_shared_expectations_are_compared(self) -> None:
        self.assert_passes(self.BODY)
        self.assert_fails(self.BODY.replace("42", "43"), "-42\n+43")
        self.assert_fails(self.BODY.replace("done", "gone"), "-done\n+gone")
        self.assert_fails("print('done')", "missing file: result")

    def test_own_expectation_beside_a_reference_fails(self) -> None:
        self.write("expected/result", "42\n")

        self.assert_fails(self.BODY, "a reference for a file that the case has itself: result")

    def test_expectation_of_no_run_fails(self) -> None:
        self.write("outputs", "stdout shared/console\nresult shared/answer\nstdout.2 shared/console\n")

        self.assert_fails(self.BODY, "an expectation of no run: stdout.2")

    def test_expectation_that_changes_nothing_fails(self) -> None:
        self.write("inputs", "result shared/answer\n")

        self.assert_fails(self.BODY, "an expected change that changes nothing: result")

    def test_regeneration_keeps_references_that_hold(self) -> None:
        body = self.BODY.replace("done", "gone")

        self.assertEqual(self.run_with(body, "--regenerate"), 0)

        self.assert_passes(body)
        self.assertEqual(self.read("outputs"), "result shared/answer\n")
        self.assertEqual(self.read("expected/stdout"), "gone\n")
        self.assertFalse((self.case / "expected/result").exists())
        self.assertEqual((self.root / "shared/console").read_text(encoding="utf-8"), "done\n")

    def test_regeneration_removes_references_that_do_not_hold(self) -> None:
        self.assertEqual(self.run_with("print('gone')", "--regenerate"), 0)

        self.assert_passes("print('gone')")
        self.assertFalse((self.case / "outputs").exists())
        self.assertFalse((self.case / "expected/result").exists())


class TimesTest(RunnerTest):
    def test_times_may_differ(self) -> None:
        self.write("expected/stdout", PROGRESS_LINE.format("01.25s", "00.50s"))

        self.assert_passes(f"print({PROGRESS_LINE.format('12.00m', '9.99s')!r}, end='')")

    def test_text_beside_the_times_may_not(self) -> None:
        self.write("expected/stdout", PROGRESS_LINE.format("01.25s", "00.50s"))
        other = PROGRESS_LINE.format("01.25s", "00.50s").replace("1.000e-01", "1.001e-01")

        self.assert_fails(f"print({other!r}, end='')", "1.001e-01")

    def test_unreadable_time_fails_even_if_it_is_expected(self) -> None:
        for bad in ("", "nan", "1.5s", "00.50", "00.50x", "-1.00s", "00.5s"):
            line = PROGRESS_LINE.format("01.25s", bad)
            self.write("expected/stdout", line)

            self.assert_fails(f"print({line!r}, end='')", "no readable time")

    def test_missing_time_fails(self) -> None:
        self.write("expected/stdout", PROGRESS_LINE.format("01.25s", "00.50s"))
        line = PROGRESS_LINE.split("  Time[")[0]

        self.assert_fails(f"print({line!r})", "expected stdout")

    def test_full_time_is_masked(self) -> None:
        self.assertEqual(mask_times("  * Wall time: 1d 2h 3m 4.50s.\n"), "  * Wall time: 0d 0h 0m 0.00s.\n")
        with self.assertRaises(CaseError):
            mask_times("  * Wall time: 4.50s.\n")

    def test_times_in_files_are_not_masked(self) -> None:
        self.write("expected/log", PROGRESS_LINE.format("01.25s", "00.50s"))

        self.assert_fails(
            f"open('log', 'w').write({PROGRESS_LINE.format('01.26s', '00.50s')!r}); print('done')", "01.26s"
        )


class ToleranceTest(RunnerTest):
    def setUp(self) -> None:
        super().setUp()
        self.write("tolerance", "# rounding\nresult* 1e-3 1e-6\n")
        self.write("expected/result", "label   1.0000 count  10\n")

    def assert_result(self, text: str, is_accepted: bool) -> None:
        body = f"open('result', 'w').write({text!r}); print('done')"
        if is_accepted:
            self.assert_passes(body)
        else:
            self.assert_fails(body, "expected result")

    def test_numbers_may_vary_within_the_tolerance(self) -> None:
        self.assert_result("label   1.0009 count  10\n", True)
        self.assert_result("label  1.00001 count  10\n", True)

    def test_numbers_beyond_the_tolerance_fail(self) -> None:
        self.assert_result("label   1.0011 count  10\n", False)
        self.assert_result("label  -1.0000 count  10\n", False)

    def test_a_unit_may_follow_a_number(self) -> None:
        self.write("expected/result", "energy: -1.0000eV\n")
        self.assert_result("energy: -1.0009eV\n", True)
        self.assert_result("energy: -1.0011eV\n", False)
        self.assert_result("energy: -1.0009eVs\n", False)

    def test_whole_numbers_have_to_be_equal(self) -> None:
        self.assert_result("label   1.0000 count  11\n", False)

    def test_text_has_to_be_equal(self) -> None:
        self.assert_result("lable   1.0000 count  10\n", False)
        self.assert_result("label   1.0000  count  10 \n", False)

    def test_no_number_is_never_near(self) -> None:
        self.assert_result("label   nan count  10\n", False)
        self.assert_result("label   inf count  10\n", False)
        self.assert_result("label count  10\n", False)

    def test_number_of_lines_has_to_be_equal(self) -> None:
        self.assert_result("label   1.0009 count  10\n\n", False)
        self.assert_result("", False)

    def test_other_files_stay_exact(self) -> None:
        self.write("expected/other", "1.0000\n")
        body = (
            "open('result', 'w').write('label   1.0000 count  10\\n')\n"
            "open('other', 'w').write({!r}); print('done')"
        )

        self.assert_passes(body.format("1.0000\n"))
        self.assert_fails(body.format("1.0001\n"), "expected other")

    def test_diff_shows_only_what_counts(self) -> None:
        rule = read_tolerances("* 1e-3 0")[0]

        diff = describe_difference("name", "1.000\n2.000\n", "1.0001\n3.000\n", rule)

        self.assertIn("-2.000\n+3.000", diff)
        self.assertNotIn("1.0001", diff)

    def test_unreadable_rules_fail(self) -> None:
        for numbers in ("", "1e-3", "x 0", "1e-3 0 0", "nan 0", "0 inf", "-1 0", "1 0"):
            with self.assertRaises(CaseError, msg=numbers):
                read_tolerances(f"result {numbers}")

    def test_rule_for_no_file_fails(self) -> None:
        self.write("tolerance", "misspelt 1e-3 0\n")

        self.assert_fails("open('result', 'w').write('label   1.0000 count  10\\n'); print('done')", "not expected")


class RegenerationTest(RunnerTest):
    BODY = (
        "print('new'); open('result', 'w').write('1.0001\\n'); os.remove('old'); os.makedirs('d/e'); sys.exit(1)"
    )

    def setUp(self) -> None:
        super().setUp()
        self.write("input/old", "old\n")
        self.write("input/kept", "kept\n")
        self.write("expected/stale", "stale\n")

    def test_rewritten_case_passes(self) -> None:
        self.assertEqual(self.run_with(self.BODY), 1)

        self.assertEqual(self.run_with(self.BODY, "--regenerate"), 0)

        self.assert_passes(self.BODY)
        self.assertEqual(self.read("expected/stdout"), "new\n")
        self.assertEqual(self.read("expected/status"), "1\n")
        self.assertEqual(self.read("expected/removed"), "old\n")
        self.assertEqual(self.read("expected/empty_directories"), "d/e\n")
        self.assertFalse((self.case / "expected/stale").exists())
        self.assertFalse((self.case / "expected/kept").exists())

    def test_passing_case_stays_as_it_is(self) -> None:
        self.run_with(self.BODY, "--regenerate")
        self.write("expected/result", "1.0000\n")
        self.write("tolerance", "result 1e-3 0\n")

        self.assertEqual(self.run_with(self.BODY, "--regenerate"), 0)

        self.assertEqual(self.report, "")
        self.assertEqual(self.read("expected/result"), "1.0000\n")

    def test_times_are_stored_masked(self) -> None:
        line = PROGRESS_LINE.format("01.25s", "00.50s")

        self.run_with(f"print({line!r}, end='')", "--regenerate")

        self.assertEqual(self.read("expected/stdout"), PROGRESS_LINE.format("00.00s", "00.00s"))

    def test_reserved_names_are_refused(self) -> None:
        self.assertEqual(self.run_with("open('status', 'w')", "--regenerate"), 1)
        self.assertIn("reserved name: status", self.report)


if __name__ == "__main__":
    unittest.main()
