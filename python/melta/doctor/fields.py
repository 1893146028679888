"""Fields of a line as the command takes them: by the rules of the C library's formatted reads."""

from __future__ import annotations

import math
import re
from typing import Optional

SPACE = b" \t\n\r\v\f"
LONGEST_LINE = 1 << 20  # characters; a longer one stops the command
LARGEST_INT = 2**31 - 1
LARGEST_FLOAT = 3.4028235677973366e38  # from here on single precision is infinite

_WORD = re.compile(rb"[ \t\n\r\v\f]*([^ \t\n\r\v\f]+)")
_INTEGER = re.compile(rb"[ \t\n\r\v\f]*([+-]?[0-9]+)")
_NUMBER = re.compile(
    rb"[ \t\n\r\v\f]*([+-]?(?:"
    rb"0[xX](?:[0-9a-fA-F]+\.?[0-9a-fA-F]*|\.[0-9a-fA-F]+)(?:[pP][+-]?[0-9]+)?"
    rb"|(?:[0-9]+\.?[0-9]*|\.[0-9]+)(?:[eE][+-]?[0-9]+)?"
    rb"|infinity|inf|nan(?:\([0-9a-zA-Z_]*\))?))",
    re.IGNORECASE,
)


class FieldScanner:
    """Takes fields from a line one after the other. Once one cannot be read, all later ones fail, too."""

    def __init__(self, line: bytes):
        self.text = line.partition(b"\0")[0]  # the command sees no more
        self.place = 0
        self.has_failed = False

    def word(self) -> Optional[bytes]:
        found = None if self.has_failed else _WORD.match(self.text, self.place)
        return self._take(found)

    def whole(self) -> Optional[int]:
        """A whole number of any size; one of very many digits as a huge one."""
        digits = self._take(None if self.has_failed else _INTEGER.match(self.text, self.place))
        if digits is None:
            return None
        return int(digits) if len(digits) < 20 else (-1 if digits.startswith(b"-") else 1) * 2**63

    def int32(self) -> Optional[int]:
        """The same; one beyond 32 bits cannot be read."""
        value = self.whole()
        if value is not None and not -LARGEST_INT - 1 <= value <= LARGEST_INT:
            self.has_failed = True
            return None
        return value

    def number(self) -> Optional[float]:
        """NaN and infinities are read as such."""
        text = self._take(None if self.has_failed else _NUMBER.match(self.text, self.place))
        return None if text is None else _value_of(text)

    def numbers(self, count: int) -> Optional[list[float]]:
        """None unless all are there."""
        values = [self.number() for _ in range(count)]
        return None if self.has_failed else [value for value in values if value is not None]

    def rest(self) -> bytes:
        return self.text[self.place :].strip(SPACE)

    def is_glued(self) -> bool:
        """Whether text follows without a blank."""
        return not self.has_failed and bool(self.text[self.place : self.place + 1].strip(SPACE))

    def _take(self, found) -> Optional[bytes]:
        if found is None:
            self.has_failed = True
            return None
        self.place = found.end()
        return found.group(1)


def _value_of(text: bytes) -> float:
    lower = text.lower()
    if b"nan" in lower:
        return math.nan
    if b"x" in lower:
        try:
            return float.fromhex(lower.decode())
        except OverflowError:
            return math.inf
    return float(text)


def read_row(line: bytes, with_word: bool, count: int) -> Optional[tuple[bytes, list[float]]]:
    """A word, if wanted, and numbers. None where the command could not read them."""
    words = line.split()
    if len(words) > count and not with_word or len(words) > count + 1:
        words = words[: count + with_word]
    # Nearly all lines are plain; Python reads a few things as numbers that C does not, and the other way round.
    if len(words) == count + with_word and b"_" not in line and b"\0" not in line:
        try:
            return (words[0] if with_word else b""), [float(word) for word in words[with_word:]]
        except ValueError:
            pass
    scanner = FieldScanner(line)
    word = scanner.word() if with_word else b""
    values = scanner.numbers(count)
    return None if values is None or word is None else (word, values)
