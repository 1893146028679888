#!/usr/bin/env python3
"""Looks at the cases as a whole: what several of them need stands in one place, and nothing stands there in vain."""

from __future__ import annotations

import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent
SHARED = ROOT / "shared"
SMALL = 24  # bytes; a reference to such a file says less than the file


def find_cases() -> list[Path]:
    return sorted(path.parent for path in ROOT.glob("*/*/arguments"))


def files_below(directory: Path) -> list[Path]:
    return sorted(path for path in directory.rglob("*") if path.is_file())


def named_from_root(path: Path) -> str:
    return path.relative_to(ROOT).as_posix()


class TreeTest(unittest.TestCase):
    def test_no_input_file_is_a_copy(self) -> None:
        first: dict[bytes, Path] = {}
        paths = [*files_below(SHARED), *(path for case in find_cases() for path in files_below(case / "input"))]
        for path in paths:
            contents = path.read_bytes()
            if len(contents) > SMALL:
                with self.subTest(named_from_root(path)):
                    origin = first.setdefault(contents, path)
                    self.assertEqual(origin, path, "share this file")

    def test_shared_files_are_used(self) -> None:
        listings = [case / name for case in find_cases() for name in ("inputs", "outputs")]
        lines = [line for path in listings if path.is_file() for line in path.read_text(encoding="utf-8").splitlines()]
        used = {line.split(" ")[1] for line in lines}

        self.assertEqual(sorted({named_from_root(path) for path in files_below(SHARED)} - used), [])


if __name__ == "__main__":
    unittest.main()
