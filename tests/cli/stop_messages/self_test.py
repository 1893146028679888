#!/usr/bin/env python3
"""Tests of the runner of stop messages and of the census: above all, that what has to fail does fail."""

from __future__ import annotations

import contextlib
import io
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import golden
from census import judge
from messages import find_messages, find_silent_formats, pattern_of
from rows import Edit, Files, Group, add, drop, folder, keep, line, link, make_name, put, row, say
from stop_messages import CaseError, RowRunner, check_test, regenerate, require_good

STOP = "print('[STOP] no luck: in')\nsys.exit(1)"
GOOD = "print('head')\nif 'bad' not in text: sys.exit(0)\n"


class RunnerTest(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = Path(scratch.name)
        patch = mock.patch.object(golden, "HERE", self.root)
        patch.start()
        self.addCleanup(patch.stop)
        self.group = Group("group", ["--go"], {"in": "1\n2\n3\n"}, [row(line("in", 2, "bad"), "no luck: in")])

    def runner_of(self, body: str) -> RowRunner:
        """Runs a few lines of Python, for which `text` is the file of the directory."""
        script = f"#!{sys.executable}\nimport pathlib, sys\ntext = pathlib.Path('in').read_text()\n{body}\n"
        command = self.root / "command"
        command.write_text(script, encoding="utf-8")
        command.chmod(0o755)
        return RowRunner(command, True)

    def regenerate(self, body: str) -> None:
        with contextlib.redirect_stdout(io.StringIO()):
            regenerate(self.runner_of(body), self.group)

    def check(self, body: str) -> None:
        check_test(self.runner_of(body), self.group, "no_luck_in", self.group.rows[0])

    def assert_fails(self, body: str, report: str) -> None:
        with self.assertRaises(CaseError) as caught:
            self.check(body)
        self.assertIn(report, str(caught.exception))

    def test_passes_what_it_has_written(self) -> None:
        self.regenerate(GOOD + STOP)

        self.check(GOOD + STOP)

        text = (self.root / "expected" / "group").read_text(encoding="utf-8")
        self.assertEqual(text, "=== the good files\n|head\n=== no_luck_in\n<<< 1\n|[STOP] no luck: in\n")

    def test_fails_without_an_expectation(self) -> None:
        self.assert_fails(GOOD + STOP, "no expectation")

    def test_fails_on_another_message(self) -> None:
        self.regenerate(GOOD + STOP)

        self.assert_fails(GOOD + STOP.replace("luck", "money"), "no money")

    def test_fails_on_text_behind_the_message(self) -> None:
        self.regenerate(GOOD + STOP)

        self.assert_fails(GOOD + STOP.replace("\n", "\nprint('more')\n"), "more")

    def test_fails_on_other_text_before_the_message(self) -> None:
        self.regenerate(GOOD + STOP)

        self.assert_fails(GOOD + "print('more')\n" + STOP, "+more")

    def test_fails_on_another_status(self) -> None:
        self.regenerate(GOOD + STOP)

        self.assert_fails(GOOD + STOP.replace("exit(1)", "exit(2)"), "status 2")

    def test_fails_on_output_on_the_standard_error(self) -> None:
        self.regenerate(GOOD + STOP)

        self.assert_fails(GOOD + "print('oh', file=sys.stderr)\n" + STOP, "oh")

    def test_fails_on_a_new_file(self) -> None:
        self.regenerate(GOOD + STOP)

        self.assert_fails(GOOD + "pathlib.Path('out').touch()\n" + STOP, "unexpected: new out")

    def test_fails_on_another_new_file(self) -> None:
        write = "pathlib.Path('out').write_text('{}')\n"
        self.regenerate(GOOD + write.format("one") + STOP)

        self.check(GOOD + write.format("one") + STOP)
        self.assert_fails(GOOD + write.format("two") + STOP, "+two")

    def test_fails_on_a_file_that_goes(self) -> None:
        self.regenerate(GOOD + STOP)

        self.assert_fails(GOOD + "pathlib.Path('in').unlink()\n" + STOP, "unexpected: gone in")

    def test_wants_good_files_to_run(self) -> None:
        with self.assertRaises(CaseError):
            require_good(self.runner_of(STOP), self.group)

    def test_says_which_rows_share_a_message(self) -> None:
        group = Group("group", [], {}, [say("no.", "--a"), say("no.", "--b"), say("#no", "--c")])

        self.assertEqual([name for name, _ in group.named_rows()], ["no", "no.2", "number_of_no"])


class EditTest(unittest.TestCase):
    def edited(self, edit: Edit) -> Files:
        files: Files = {"in": "1\n2\n3\n"}
        edit(files)
        return files

    def test_changes_files(self) -> None:
        self.assertEqual(self.edited(add("in", "4"))["in"], "1\n2\n3\n4\n")
        self.assertEqual(self.edited(add("new", "4"))["new"], "4\n")
        self.assertEqual(self.edited(line("in", 2, "x"))["in"], "1\nx\n3\n")
        self.assertEqual(self.edited(keep("in", 2))["in"], "1\n2\n")
        self.assertEqual(self.edited(put("in", "x"))["in"], "x")
        self.assertEqual(self.edited(drop("in")), {})

    def test_refuses_to_change_what_is_no_text(self) -> None:
        for first in (folder("in"), link("in", "there")):
            files = self.edited(first)
            with self.assertRaises(AssertionError):
                line("in", 1, "x")(files)


class CensusTest(unittest.TestCase):
    def find(self, text: str, name: str = "source.cpp") -> list[str]:
        with tempfile.TemporaryDirectory() as scratch:
            source = Path(scratch) / name
            source.parent.mkdir(parents=True, exist_ok=True)
            source.write_text(text, encoding="utf-8")
            self.silent = list(find_silent_formats(Path(scratch)))
            return sorted(find_messages(Path(scratch)))

    def test_finds_messages(self) -> None:
        text = (
            'stopWithMessage("no %s: "\n    "%s", a, b);\n// stopWithMessage("no.")\n'
            'stopWithMessage("say \\"no\\"");'
        )

        self.assertEqual(self.find(text), ["no %s: %s", 'say "no"'])

    def test_finds_messages_of_keys(self) -> None:
        text = 'real("size", &Property::size, Check::positive),\nonOff("old", &Property::old),\n'

        self.assertEqual(self.find(text), ["incorrect 'old'", "incorrect 'size'", "size is not positive: %s"])

    def test_finds_messages_of_carriers(self) -> None:
        text = 'void stop() { stopWithMessage("%s: %s", a, b); }\nstop("no atoms");\n'

        self.assertEqual(self.find(text, "sampling/GeometryCard.cpp"), ["no atoms: %s"])
        self.assertEqual(self.silent, [])

    def test_notices_formats_that_nobody_spells_out(self) -> None:
        self.find('stopWithMessage("%s: %s", a, b);\nstopWithMessage(message);')

        self.assertEqual(self.silent, [("source.cpp", '"%s: %s"'), ("source.cpp", "message")])

    def test_fills_places(self) -> None:
        pattern = pattern_of("no %s of %d (%c): %s")

        self.assertTrue(pattern.fullmatch("no end of -3 (x): melta.prop"))
        self.assertFalse(pattern.fullmatch("no end of three (x): melta.prop"))
        self.assertFalse(pattern.fullmatch("no end of 3 (x): "))

    def test_wants_a_test_or_a_reason(self) -> None:
        messages = {"a: %s": ["a.cpp"], "b.": ["b.cpp"]}

        self.assertEqual(list(judge(messages, {"a: x"}, ["b."])), [])
        self.assertEqual(len(list(judge(messages, {"a: x"}, []))), 1)
        self.assertEqual(len(list(judge(messages, {"a: x", "b."}, ["b."]))), 1)
        self.assertEqual(len(list(judge(messages, {"a: x", "c."}, ["b."]))), 1)
        self.assertEqual(len(list(judge(messages, {"a: x"}, ["b.", "c."]))), 1)

    def test_shortens_names(self) -> None:
        self.assertEqual(make_name("cannot open file: melta.prop"), "cannot_open_file_melta.prop")
        self.assertLessEqual(len(make_name("word " * 100)), 80)


if __name__ == "__main__":
    unittest.main()
