#!/usr/bin/env python3
"""Runs a file of tests with pytest.

usage: run_tests.py FILE [MODULE ...]

Ends with status 77, for a skipped test, where pytest or one of the modules is not installed.
"""

from __future__ import annotations

import importlib.util
import sys


def main(arguments: list[str]) -> int:
    file, *modules = arguments
    missing = [name for name in ["pytest", "numpy", *modules] if importlib.util.find_spec(name) is None]
    if missing:
        print(f"skipped: Python has no {', '.join(missing)}")
        return 77
    import pytest

    return pytest.main(["-q", "-p", "no:cacheprovider", file])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
