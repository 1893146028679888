#!/usr/bin/env python3
"""Tests of tools/melta-pw.

Most tests run the tool with a small stand-in for pw.x; the last class runs the true pw.x
and is skipped where that is not installed.
"""

from __future__ import annotations

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import textwrap
import time
import unittest
from pathlib import Path
from typing import Optional, Sequence

sys.dont_write_bytecode = True
sys.path.insert(0, os.fspath(Path(__file__).resolve().parents[1] / "support"))

from script_module import load_script  # noqa: E402

TOOL = Path(__file__).resolve().parents[2] / "tools" / "melta-pw"

melta_pw = load_script(TOOL)


def stock_text(text: str) -> str:
    return melta_pw.parse_pw_input(text).stock_text


def control(body: str) -> str:
    return f"&CONTROL\n{body}\n/\n"


class TmeltaRemovalTest(unittest.TestCase):
    def assert_stock(self, body: str, expected: str, wants_melta: bool = True) -> None:
        pw_input = melta_pw.parse_pw_input(control(body))
        self.assertEqual(pw_input.stock_text, control(expected))
        self.assertEqual(pw_input.wants_melta, wants_melta)

    def test_input_without_the_option_stays_as_it_is(self) -> None:
        self.assert_stock("  prefix = 'si'\n  tprnfor = .true.", "  prefix = 'si'\n  tprnfor = .true.", False)

    def test_line_of_its_own(self) -> None:
        self.assert_stock(
            "  prefix = 'si'\n  tmelta = .true.\n  tprnfor = .true.",
            "  prefix = 'si'\n  \n  tprnfor = .true.",
        )

    def test_spellings_of_true(self) -> None:
        for value in (".true.", ".TRUE.", ".t.", "T", "t", "true", ".True."):
            with self.subTest(value=value):
                self.assert_stock(f"tmelta={value}", "")

    def test_spellings_of_false(self) -> None:
        for value in (".false.", ".FALSE.", ".f.", "F", "f", "false"):
            with self.subTest(value=value):
                self.assert_stock(f"tmelta={value}", "", wants_melta=False)

    def test_name_in_any_case(self) -> None:
        for name in ("tmelta", "TMELTA", "tMelta"):
            with self.subTest(name=name):
                self.assert_stock(f"{name} = .true.", "")

    def test_first_in_a_line_with_commas(self) -> None:
        self.assert_stock("tmelta=.true., nstep=1, tprnfor=.true.", " nstep=1, tprnfor=.true.")

    def test_in_the_middle_of_a_line_with_commas(self) -> None:
        self.assert_stock("nstep=1, tmelta=.true., tprnfor=.true.", "nstep=1,  tprnfor=.true.")

    def test_last_in_a_line_with_commas(self) -> None:
        self.assert_stock("nstep=1, tmelta=.true.", "nstep=1, ")

    def test_options_separated_by_blanks(self) -> None:
        self.assert_stock("nstep=1 tmelta=.true. tprnfor=.true.", "nstep=1  tprnfor=.true.")

    def test_comma_at_the_begin_of_the_next_line_goes_too(self) -> None:
        self.assert_stock("nstep=1, tmelta=.true. ! data\n , tprnfor=.true.", "nstep=1,  ! data\n  tprnfor=.true.")

    def test_blanks_and_line_ends_around_the_equals_sign(self) -> None:
        self.assert_stock("tmelta \n\t = \n .true.\n nstep=1", "\n nstep=1")

    def test_comment_behind_the_value_stays(self) -> None:
        self.assert_stock("tmelta = .true. ! tmelta = .false., 'quoted", " ! tmelta = .false., 'quoted")

    def test_commented_option_counts_for_nothing(self) -> None:
        for sign in "!#":
            with self.subTest(sign=sign):
                body = f"{sign} tmelta = .true.\n nstep=1"
                self.assert_stock(body, body, wants_melta=False)

    def test_option_inside_a_text_counts_for_nothing(self) -> None:
        for body in ("title = 'tmelta = .true.'", 'title = "it\'s / tmelta=t"', "title = 'don''t, tmelta=t'"):
            with self.subTest(body=body):
                self.assert_stock(body, body, wants_melta=False)

    def test_longer_names_are_other_options(self) -> None:
        body = "tmelta2 = .true., xtmelta = .true."
        self.assert_stock(body, body, wants_melta=False)

    def test_last_of_two_settings_counts(self) -> None:
        self.assert_stock("tmelta=.true.\ntmelta=.false.", "\n", wants_melta=False)

    def test_option_without_value(self) -> None:
        self.assert_stock("tmelta = , nstep = 1", "  nstep = 1", wants_melta=False)
        self.assert_stock("tmelta = nstep = 1", " nstep = 1", wants_melta=False)

    def test_end_sign_directly_behind_the_value(self) -> None:
        self.assertEqual(stock_text("&control tmelta=.true./\nK_POINTS gamma\n"), "&control /\nK_POINTS gamma\n")

    def test_other_namelists_and_other_end_signs(self) -> None:
        text = "&CONTROL\n nstep=1\n&end\n &system\n nat=1, tmelta=t\n/\nATOMIC_SPECIES\n"

        pw_input = melta_pw.parse_pw_input(text)

        self.assertEqual(pw_input.stock_text, "&CONTROL\n nstep=1\n&end\n &system\n nat=1, \n/\nATOMIC_SPECIES\n")
        self.assertTrue(pw_input.wants_melta)

    def test_cards_are_left_alone(self) -> None:
        text = control("nstep=1") + "ATOMIC_SPECIES\nSi 28.0 'tmelta = .true.\ntmelta = .true.\n"

        self.assertEqual(stock_text(text), text)

    def test_line_ends_of_either_system_are_kept(self) -> None:
        self.assertEqual(stock_text("&CONTROL\r\n tmelta=t\r\n nstep=1\r\n/\r\n"), "&CONTROL\r\n \r\n nstep=1\r\n/\r\n")


class PrefixAndOutdirTest(unittest.TestCase):
    def setUp(self) -> None:
        self.saved = os.environ.pop("ESPRESSO_TMPDIR", None)

    def tearDown(self) -> None:
        os.environ.pop("ESPRESSO_TMPDIR", None)
        if self.saved is not None:
            os.environ["ESPRESSO_TMPDIR"] = self.saved

    def test_defaults(self) -> None:
        pw_input = melta_pw.parse_pw_input(control("tmelta=t"))

        self.assertEqual(pw_input.melta_file(), Path("pwscf.melta"))
        self.assertEqual(pw_input.xml_candidates(), (Path("pwscf.save/data-file-schema.xml"), Path("pwscf.xml")))

    def test_given_values(self) -> None:
        pw_input = melta_pw.parse_pw_input(control("PREFIX = \"it's\", outdir='./tmp dir/' ! 'x'"))

        self.assertEqual(pw_input.prefix, "it's")
        self.assertEqual(pw_input.outdir, Path("tmp dir"))

    def test_doubled_quotation_mark(self) -> None:
        self.assertEqual(melta_pw.parse_pw_input(control("prefix = 'it''s'")).prefix, "it's")

    def test_default_of_outdir_follows_the_variable_of_pw(self) -> None:
        os.environ["ESPRESSO_TMPDIR"] = "scratch"

        self.assertEqual(melta_pw.parse_pw_input(control("tmelta=t")).outdir, Path("scratch"))
        self.assertEqual(melta_pw.parse_pw_input(control("outdir='here'")).outdir, Path("here"))


class RankTest(unittest.TestCase):
    def setUp(self) -> None:
        self.saved = {name: os.environ.pop(name) for name in melta_pw.RANK_VARIABLES if name in os.environ}

    def tearDown(self) -> None:
        for name in melta_pw.RANK_VARIABLES:
            os.environ.pop(name, None)
        os.environ.update(self.saved)

    def test_serial_run(self) -> None:
        self.assertEqual(melta_pw.launcher_rank(), 0)

    def test_each_launcher(self) -> None:
        for name in ("OMPI_COMM_WORLD_RANK", "PMIX_RANK", "PMI_RANK", "SLURM_PROCID"):
            with self.subTest(name=name):
                os.environ[name] = "3"

                self.assertEqual(melta_pw.launcher_rank(), 3)

                del os.environ[name]

    def test_launcher_comes_before_the_resource_manager(self) -> None:
        os.environ["SLURM_PROCID"] = "0"
        os.environ["PMI_RANK"] = "1"

        self.assertEqual(melta_pw.launcher_rank(), 1)


RECORD = """
    {convergence}
    <atomic_structure nat="2" alat="1.0e1">
      <atomic_positions>
        <atom name="Si" index="1">{x} 0.000000000000000e0 -2.500000000000000e-1</atom>
        <atom name="Ge1" index="2">1.234567890123456e0 2.000000000000000e0 3.000000000000000e0</atom>
      </atomic_positions>
      <cell>
        <a1>1.000000000000000e1 0.000000000000000e0 0.000000000000000e0</a1>
        <a2>0.000000000000000e0 1.100000000000000e1 0.000000000000000e0</a2>
        <a3>5.000000000000000e-1 0.000000000000000e0 1.200000000000000e1</a3>
      </cell>
    </atomic_structure>
    <total_energy><etot>{energy}</etot><eband>9.0e0</eband></total_energy>
    {forces}
"""
FORCES = '<forces rank="2" dims="3 2" order="F">\n 1.0e-2 -2.0e-2 3.0e-2\n -1.0e-2 2.0e-2 -3.0e-2\n</forces>'


STRESS = '<stress rank="2" dims="3 3" order="F">\n 1.0e-3 4.0e-3 5.0e-3\n 4.0e-3 2.0e-3 6.0e-3\n 5.0e-3 6.0e-3 -3.0e-3\n</stress>'


def record(converged: str = "true", x: str = "1.0e-1", energy: str = "-1.125e1", forces: str = FORCES) -> str:
    convergence = f"<scf_conv><convergence_achieved>{converged}</convergence_achieved></scf_conv>"
    return RECORD.format(convergence=convergence, x=x, energy=energy, forces=forces)


def xml_text(output: str, steps: Sequence[str] = ()) -> str:
    step_text = "".join(f'<step n_step="1">{step}</step>' for step in steps)
    return (
        '<?xml version="1.0" encoding="UTF-8"?>\n'
        '<qes:espresso xmlns:qes="http://www.quantum-espresso.org/ns/qes/qes-1.0" Units="Hartree atomic units">'
        f"<input>{record(energy='7.0e0')}</input>{step_text}<output>{output}</output></qes:espresso>\n"
    )


EXPECTED_BLOCK = """\
2 0 -22.5
10.0 0.0 0.0
0.0 11.0 0.0
0.5 0.0 12.0
Si 0.1 0.0 -0.25 0.0 0.02 -0.04 0.06 0.0 0.0 0.0 0.0 0.0
Ge1 1.234567890123 2.0 3.0 0.0 -0.02 0.04 -0.06 0.0 0.0 0.0 0.0 0.0
"""


def fields_of(block: str) -> list[list[object]]:
    """Words of each line, numbers as numbers."""
    return [[number_or_word(word) for word in line.split()] for line in block.splitlines()]


def number_or_word(word: str) -> object:
    try:
        return float(word)
    except ValueError:
        return word


class ResultTest(unittest.TestCase):
    def setUp(self) -> None:
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.xml_file = Path(directory.name) / "result.xml"

    def read(self, text: str) -> "melta_pw.Result":
        self.xml_file.write_text(text)
        return melta_pw.read_result(self.xml_file)

    def assert_refused(self, text: str, message: str) -> None:
        with self.assertRaisesRegex(melta_pw.MeltaPwError, message):
            self.read(text)

    def test_conversion(self) -> None:
        block = melta_pw.format_block(self.read(xml_text(record())))

        self.assertEqual(fields_of(block), fields_of(EXPECTED_BLOCK))

    def test_atom_lines_have_thirteen_fields(self) -> None:
        block = melta_pw.format_block(self.read(xml_text(record())))

        self.assertEqual([len(line.split()) for line in block.splitlines()], [3, 3, 3, 3, 13, 13])

    def test_stress(self) -> None:
        block = melta_pw.format_block(self.read(xml_text(record(forces=FORCES + STRESS))))

        fields = fields_of(block)
        self.assertEqual(fields[0], [2, 0, -22.5, -0.002, -0.004, 0.006, -0.012, -0.01, -0.008])
        self.assertEqual(fields[1:], fields_of(EXPECTED_BLOCK)[1:])

    def test_wrong_number_of_stress_components(self) -> None:
        stress = STRESS.replace(" -3.0e-3", "")
        self.assert_refused(
            xml_text(record(forces=FORCES + stress)), "incomplete: .*: expected 9 values in stress, found 8"
        )

    def test_digits(self) -> None:
        block = melta_pw.format_block(self.read(xml_text(record(energy="-1.23456789012345e2"))))

        self.assertLessEqual(abs(float(block.split()[2]) + 246.91357802469), 1.0e-11)

    def test_moved_atoms_of_the_output_are_not_mixed_with_older_forces(self) -> None:
        steps = [record(x="3.0e-1", energy="-1.0e1"), record(x="4.0e-1")]

        result = self.read(xml_text(record(x="5.0e-1"), steps))

        self.assertEqual(result.positions[0][0], 0.4)

    def test_output_with_an_energy_of_its_own_counts(self) -> None:
        steps = [record(x="3.0e-1", energy="-1.0e1")]

        result = self.read(xml_text(record(x="5.0e-1", energy="-1.125e1"), steps))

        self.assertEqual((result.positions[0][0], result.energy), (0.5, -22.5))

    def test_missing_forces(self) -> None:
        self.assert_refused(xml_text(record(forces="")), "there are no forces, set tprnfor = .true.: .*result.xml")

    def test_not_converged(self) -> None:
        self.assert_refused(xml_text(record(converged="false")), "is not converged: .*result.xml")

    def test_missing_output(self) -> None:
        self.assert_refused("<espresso><input/></espresso>", "there is no output in the result")

    def test_missing_energy(self) -> None:
        self.assert_refused(xml_text(record().replace("etot>", "other>")), "incomplete: .*: no total_energy/etot")

    def test_wrong_number_of_forces(self) -> None:
        forces = FORCES.replace(" -3.0e-2", "")
        self.assert_refused(xml_text(record(forces=forces)), "incomplete: .*: expected 6 values in forces, found 5")

    def test_value_that_is_no_number(self) -> None:
        self.assert_refused(xml_text(record(energy="******")), "incomplete")

    def test_value_that_is_not_finite(self) -> None:
        for energy in ("NaN", "Infinity"):
            with self.subTest(energy=energy):
                self.assert_refused(xml_text(record(energy=energy)), "not finite in etot")

    def test_broken_file(self) -> None:
        self.assert_refused(xml_text(record())[:-20], "cannot read the result of pw.x: .*result.xml")


# A stand-in for pw.x: keeps its arguments and its input, and plays the part that "fake.*" files ask for.
FAKE_PW = """\
#!{python} -B
import os, shutil, signal, sys, time
from pathlib import Path
rank = os.environ.get("PMI_RANK", "0")
name = sys.argv[sys.argv.index("-in") + 1]
Path("seen.args." + rank).write_text("\\n".join(sys.argv[1:]))
shutil.copyfile(name, "seen.input." + rank)
print("output of rank " + rank, flush=True)
if Path("fake.signal").exists():
    os.kill(os.getpid(), signal.SIGKILL)
if Path("fake.sleep").exists():
    time.sleep(60)
if Path("fake.xml").exists() and rank == "0":
    Path("tmpdir/si.save").mkdir(parents=True, exist_ok=True)
    shutil.copyfile("fake.xml", "tmpdir/si.save/data-file-schema.xml")
sys.exit(int(Path("fake.status").read_text()) if Path("fake.status").exists() else 0)
"""

PW_INPUT = "&CONTROL\n prefix='si', outdir='./tmpdir', tmelta=.true., tprnfor=.true.\n/\n"
STOCK_INPUT = "&CONTROL\n prefix='si', outdir='./tmpdir',  tprnfor=.true.\n/\n"


class RunDirectoryTest(unittest.TestCase):
    """A run directory with an input PW.inp and a directory bin to stand on PATH."""

    def setUp(self) -> None:
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name)
        self.bin = self.root / "bin"
        self.run_directory = self.root / "run"
        self.bin.mkdir()
        self.run_directory.mkdir()
        self.write("PW.inp", PW_INPUT)

    def write(self, name: str, text: str) -> None:
        (self.run_directory / name).write_text(text)

    def environment(self, rank_variables: Optional[dict[str, str]] = None) -> dict[str, str]:
        hidden = (*melta_pw.RANK_VARIABLES, "ESPRESSO_TMPDIR")
        environment = {name: value for name, value in os.environ.items() if name not in hidden}
        environment["PATH"] = f"{self.bin}{os.pathsep}{environment['PATH']}"
        environment.update(rank_variables or {})
        return environment

    def files(self) -> set[str]:
        return {file.name for file in self.run_directory.iterdir()}


class FakePwTest(RunDirectoryTest):
    def setUp(self) -> None:
        super().setUp()
        self.make_fake_pw(self.bin / "pw.x")
        self.write("fake.xml", xml_text(record()))

    def make_fake_pw(self, file: Path) -> None:
        file.write_text(FAKE_PW.format(python=sys.executable))
        file.chmod(0o755)

    def run_tool(self, *arguments: str, rank: Optional[int] = None) -> "subprocess.CompletedProcess[str]":
        return subprocess.run(
            [sys.executable, str(TOOL), *arguments],
            cwd=self.run_directory,
            env=self.environment({} if rank is None else {"PMI_RANK": str(rank)}),
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )

    def assert_no_block(self, done: "subprocess.CompletedProcess[str]", status: int, message: str) -> None:
        self.assertEqual(done.returncode, status)
        self.assertRegex(done.stdout, message)
        self.assertEqual([name for name in self.files() if ".melta" in name], [])

    def test_serial_run(self) -> None:
        done = self.run_tool("-in", "PW.inp")

        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "output of rank 0\n", ""))
        self.assertEqual((self.run_directory / "seen.input.0").read_text(), STOCK_INPUT)
        self.assertEqual(fields_of((self.run_directory / "si.melta").read_text()), fields_of(EXPECTED_BLOCK))

    def test_nothing_else_is_left_behind(self) -> None:
        before = self.files()

        self.run_tool("-in", "PW.inp")

        self.assertEqual(self.files() - before, {"si.melta", "seen.args.0", "seen.input.0", "tmpdir"})

    def test_input_option_in_all_spellings(self) -> None:
        for option in ("-i", "-in", "-inp", "-input"):
            with self.subTest(option=option):
                self.assertEqual(self.run_tool(option, "PW.inp").returncode, 0)

    def test_other_options_are_passed_on(self) -> None:
        self.run_tool("-nk", "2", "-in", "PW.inp", "-ndiag", "1")

        words = (self.run_directory / "seen.args.0").read_text().split("\n")
        self.assertEqual(words[:-1], ["-nk", "2", "-ndiag", "1", "-in"])
        self.assertEqual(Path(words[-1]).name, "PW.inp")

    def test_pw_of_another_place(self) -> None:
        (self.bin / "pw.x").rename(self.root / "other-pw")

        self.assertEqual(self.run_tool("-in", "PW.inp", "--pw", str(self.root / "other-pw")).returncode, 0)
        self.assertIn("si.melta", self.files())

    def test_bytes_outside_of_ascii_are_kept(self) -> None:
        comment = b"! \xc3\xa4 \xff\n"
        (self.run_directory / "PW.inp").write_bytes(PW_INPUT.encode() + comment)

        self.run_tool("-in", "PW.inp")

        self.assertEqual((self.run_directory / "seen.input.0").read_bytes(), STOCK_INPUT.encode() + comment)

    def test_without_tmelta_only_pw_runs(self) -> None:
        self.write("PW.inp", STOCK_INPUT)
        self.write("si.melta", "of another run")

        done = self.run_tool("-in", "PW.inp")

        self.assertEqual((done.returncode, done.stdout), (0, "output of rank 0\n"))
        self.assertEqual((self.run_directory / "si.melta").read_text(), "of another run")

    def test_only_the_first_rank_writes(self) -> None:
        self.write("si.melta", "of the first rank")

        done = self.run_tool("-in", "PW.inp", rank=1)

        self.assertEqual((done.returncode, done.stdout), (0, "output of rank 1\n"))
        self.assertEqual((self.run_directory / "seen.input.1").read_text(), STOCK_INPUT)
        self.assertEqual((self.run_directory / "si.melta").read_text(), "of the first rank")
        self.run_tool("-in", "PW.inp", rank=0)
        self.assertEqual(fields_of((self.run_directory / "si.melta").read_text()), fields_of(EXPECTED_BLOCK))

    def test_status_of_pw_passes_through(self) -> None:
        self.write("fake.status", "7")

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 7, "no si.melta is written: pw.x ended with status 7\n")

    def test_pw_that_gave_up_before_convergence(self) -> None:
        self.write("fake.status", "2")
        self.write("fake.xml", xml_text(record(converged="false")))

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 2, "pw.x ended with status 2: .* is not converged")

    def test_status_of_a_rank_that_does_not_write(self) -> None:
        self.write("fake.status", "7")

        done = self.run_tool("-in", "PW.inp", rank=1)

        self.assertEqual((done.returncode, done.stdout), (7, "output of rank 1\n"))

    def test_pw_that_is_killed(self) -> None:
        self.write("fake.signal", "")

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 128 + signal.SIGKILL, "pw.x ended with status 137")

    def test_unconverged_result_with_status_zero(self) -> None:
        self.write("fake.xml", xml_text(record(converged="false")))

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 1, "no si.melta is written: .* is not converged")

    def test_result_without_forces(self) -> None:
        self.write("fake.xml", xml_text(record(forces="")))

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 1, "there are no forces, set tprnfor = .true.")

    def test_block_of_an_earlier_run_does_not_survive_a_failure(self) -> None:
        self.write("fake.status", "7")
        self.write("si.melta", "of an earlier run")

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 7, "status 7")

    def test_result_of_an_earlier_run_is_not_taken(self) -> None:
        self.run_tool("-in", "PW.inp")
        (self.run_directory / "fake.xml").unlink()

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 1, "pw.x has written no result, is disk_io 'none'")

    def test_missing_input_option(self) -> None:
        self.assert_no_block(self.run_tool("-nk", "2"), 1, "melta-pw: no input file, use -in FILE")

    def test_input_option_without_value(self) -> None:
        self.assert_no_block(self.run_tool("-in"), 1, "no value behind the option -in")

    def test_missing_input_file(self) -> None:
        self.assert_no_block(self.run_tool("-in", "none.inp"), 1, "cannot open the file: none.inp")

    def test_missing_pw(self) -> None:
        done = self.run_tool("-in", "PW.inp", "--pw", "no-such-pw")

        self.assert_no_block(done, 1, "cannot find the command of Quantum ESPRESSO: no-such-pw")

    def test_pw_that_is_the_tool_itself(self) -> None:
        (self.bin / "pw.x").unlink()
        (self.bin / "pw.x").symlink_to(TOOL)

        self.assert_no_block(self.run_tool("-in", "PW.inp"), 1, "this is melta-pw itself")

    def test_help(self) -> None:
        done = self.run_tool("--help")

        self.assertEqual(done.returncode, 0)
        self.assertIn("usage: melta-pw -in FILE", done.stdout)

    def test_signal_ends_pw_and_removes_the_temporary_input(self) -> None:
        self.write("fake.sleep", "")
        command = [sys.executable, str(TOOL), "-in", "PW.inp"]
        process = subprocess.Popen(
            command, cwd=self.run_directory, env=self.environment(), stdout=subprocess.PIPE, text=True
        )
        assert process.stdout is not None
        self.addCleanup(process.stdout.close)
        self.assertEqual(process.stdout.readline(), "output of rank 0\n")
        time.sleep(0.2)

        process.terminate()

        self.assertEqual(process.wait(timeout=30), 128 + signal.SIGTERM)
        self.assertEqual([name for name in self.files() if "melta" in name], [])


REAL_INPUT = textwrap.dedent(
    """\
    &CONTROL
      calculation = '{calculation}', prefix = 'real', outdir = './tmpdir', disk_io = 'minimal'
      pseudo_dir = '{pseudo_dir}', tprnfor = {tprnfor}, tstress = {tstress}, TMELTA = .True., nstep = 3
    /
    &SYSTEM
      ibrav = 2, celldm(1) = 10.2, nat = 2, ntyp = 1, ecutwfc = 12.0, nosym = .true.
    /
    &ELECTRONS
      conv_thr = 1.0d-9, electron_maxstep = {max_steps}
    /
    &IONS
    /
    ATOMIC_SPECIES
    Si 28.0855 Si.pz-vbc.UPF
    ATOMIC_POSITIONS bohr
    Si 0.10 0.05 0.00
    Si 2.55 2.55 2.55
    K_POINTS automatic
    2 2 2 0 0 0
    """
)


def pseudo_directory() -> Optional[Path]:
    """Where the pseudopotentials of the pw.x on PATH are installed."""
    pw = shutil.which("pw.x")
    if pw is None:
        return None
    directory = Path(pw).resolve().parents[1] / "share" / "espresso" / "pseudo"
    return directory if (directory / "Si.pz-vbc.UPF").exists() else None


@unittest.skipIf(pseudo_directory() is None, "pw.x of Quantum ESPRESSO with Si.pz-vbc.UPF is not installed")
class RealPwTest(RunDirectoryTest):
    def run_pw(self, *launcher: str, options: Sequence[str] = (), **changes: str) -> "subprocess.CompletedProcess[str]":
        values = {
            "calculation": "scf",
            "tprnfor": ".true.",
            "tstress": ".false.",
            "max_steps": "100",
            **changes,
        }
        self.write("PW.inp", REAL_INPUT.format(pseudo_dir=pseudo_directory(), **values))
        return subprocess.run(
            [*launcher, sys.executable, str(TOOL), *options, "-in", "PW.inp"],
            cwd=self.run_directory,
            env=self.environment({"OMP_NUM_THREADS": "1"}),
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=300,
            check=False,
        )

    def assert_block_agrees(self, text: str) -> list[list[object]]:
        """Compares energy and forces of the block with the last ones of the text output."""
        block = fields_of((self.run_directory / "real.melta").read_text())
        energy = [float(value) for value in re.findall(r"^!\s+total energy\s+=\s+(\S+) Ry", text, re.MULTILINE)][-1]
        forces = re.findall(r"atom\s+\d+ type\s+\d+\s+force =\s+(\S+)\s+(\S+)\s+(\S+)", text)[-2:]
        self.assertEqual(block[0][:2], [2.0, 0.0])
        self.assertLessEqual(abs(block[0][2] - energy), 1.0e-8)
        self.assertEqual(len(forces), 2)
        for atom, force in zip(block[4:], forces):
            for value, expected in zip(atom[5:8], force):
                self.assertLessEqual(abs(value - float(expected)), 1.0e-8)
        self.assertGreater(max(abs(value) for value in block[4][5:8]), 1.0e-3)
        return block

    def test_serial_run(self) -> None:
        done = self.run_pw()

        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        block = self.assert_block_agrees(done.stdout)
        self.assertEqual(block[1:4], [[-5.1, 0.0, 5.1], [0.0, 5.1, 5.1], [-5.1, 5.1, 0.0]])
        self.assertEqual(block[4][:4] + block[5][:4], ["Si", 0.1, 0.05, 0.0, "Si", 2.55, 2.55, 2.55])
        self.assertEqual(self.files(), {"PW.inp", "real.melta", "tmpdir"})

    def test_stress_has_the_opposite_sign(self) -> None:
        done = self.run_pw(tstress=".true.")

        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        block = self.assert_block_agrees(done.stdout)
        self.assertEqual(len(block[0]), 9)
        behind = done.stdout[done.stdout.index("(Ry/bohr**3)") :].splitlines()[1:4]
        rows = [[float(word) for word in line.split()[:3]] for line in behind]
        for value, (a, b) in zip(block[0][3:], ((0, 0), (1, 1), (2, 2), (1, 2), (0, 2), (0, 1))):
            self.assertLessEqual(abs(value + rows[a][b]), 1.0e-8)
        self.assertGreater(max(abs(value) for value in block[0][3:]), 1.0e-4)

    def test_molecular_dynamics_gives_the_last_computed_geometry(self) -> None:
        done = self.run_pw(calculation="md")

        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        block = self.assert_block_agrees(done.stdout)
        moves = re.findall(r"^ATOMIC_POSITIONS.*\nSi\s+(\S+)", done.stdout, re.MULTILINE)
        self.assertEqual(len(moves), 3)
        self.assertLessEqual(abs(block[4][1] - float(moves[-2])), 1.0e-8)

    def test_run_without_forces(self) -> None:
        done = self.run_pw(tprnfor=".false.")

        self.assertEqual(done.returncode, 1)
        self.assertIn("there are no forces, set tprnfor = .true.", done.stdout)
        self.assertEqual(self.files(), {"PW.inp", "tmpdir"})

    def test_run_without_convergence(self) -> None:
        done = self.run_pw(max_steps="2")

        self.assertNotEqual(done.returncode, 0)
        self.assertIn("is not converged", done.stdout)
        self.assertEqual(self.files(), {"PW.inp", "tmpdir"})

    @unittest.skipIf(shutil.which("mpiexec") is None, "mpiexec is not installed")
    def test_parallel_run(self) -> None:
        done = self.run_pw(*mpi_launcher(), options=("-nk", "2"))

        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"running on\s+2 processors")
        self.assertRegex(done.stdout, r"K-points division:\s+npool\s+=\s+2")
        self.assert_block_agrees(done.stdout)
        self.assertEqual(done.stdout.count("!    total energy"), 1)
        self.assertEqual(self.files(), {"PW.inp", "real.melta", "tmpdir"})


def mpi_launcher() -> list[str]:
    """Two processes, also where the launcher sees one core only or runs in a container as root."""
    launcher = ["mpiexec", "-n", "2"]
    version = subprocess.run(["mpiexec", "--version"], capture_output=True, text=True, check=False).stdout
    if "OpenRTE" in version or "Open MPI" in version:
        launcher.insert(1, "--oversubscribe")
        if os.geteuid() == 0:
            launcher.insert(1, "--allow-run-as-root")
    return launcher


if __name__ == "__main__":
    unittest.main()
