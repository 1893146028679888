"""What all commands do of failures, of readers that stop reading and of Ctrl+C."""

import subprocess
import sys

import pytest

from melta import Error
from melta._console import status_of
from melta.structure import DataError


def raising(error):
    def work():
        raise error

    return work


@pytest.mark.parametrize("kind", (DataError, Error))
def test_failure_is_one_line(kind, capsys):
    assert status_of("melta-data", raising(kind("it is too late."))) == 1
    assert capsys.readouterr().err == "melta-data: it is too late.\n"


def test_status_is_that_of_the_work():
    assert status_of("melta", lambda: None) == 0
    assert status_of("melta", lambda: 3) == 3


def test_interrupt_leaves_no_trace(capsys):
    assert status_of("melta", raising(KeyboardInterrupt())) == 130
    assert capsys.readouterr().err == ""


def test_faults_of_the_program_are_not_hidden():
    with pytest.raises(ZeroDivisionError):
        status_of("melta", lambda: 1 // 0)


@pytest.mark.parametrize("lines", (1, 100_000), ids=("in the buffer", "beyond the buffer"))
def test_reader_that_stops_gets_no_trace(lines):
    code = f"import sys; from melta._console import status_of; sys.exit(status_of('melta', lambda: print('x\\n' * {lines})))"
    writer = subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    writer.stdout.close()
    assert writer.stderr.read() == b""
    assert writer.wait(timeout=60) == 1
