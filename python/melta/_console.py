"""What the commands share: a failure is one line, and who stops reading or waiting gets no trace."""

from __future__ import annotations

import os
import sys
from typing import Callable, Optional

from ._core import Error
from .structure import DataError

INTERRUPTED = 130  # as a shell tells of Ctrl+C


def status_of(command: str, work: Callable[[], Optional[int]]) -> int:
    """Does the work of a command; returns its status, that of the work where it has one."""
    try:
        status = work()
        sys.stdout.flush()
        return status or 0
    except (DataError, Error) as error:
        print(f"{command}: {error}", file=sys.stderr)
        return 1
    except BrokenPipeError:
        # What is left in the buffer must not fail once more at the exit.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    except KeyboardInterrupt:
        return INTERRUPTED
