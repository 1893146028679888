"""How lines end, and how the data do."""

from __future__ import annotations

from typing import Iterator, Optional

from ..datafile import FIELDS
from .faults import count_blocks, quote
from .fields import SPACE, read_row
from .findings import Finding, Rank
from .record import Record

MARKS = (b"\xef\xbb\xbf", b"\xff\xfe", b"\xfe\xff")  # of encodings, in front of a text


def check_line_ends(lines: list[bytes]) -> Iterator[Finding]:
    """Lines that end with CR and LF, or are divided by CR."""
    windows = [number for number, line in enumerate(lines, 1) if line.endswith(b"\r")]
    if windows:
        are_all = len(windows) == len(lines)
        found = f"{'all' if are_all else len(windows)} lines end as on Windows (CR and LF)"
        advice = "nothing for melta, which reads both; for other programs: sed -i 's/\\r$//' FILE"
        rank = Rank.REMARK if are_all else Rank.WARNING
        expected = "one kind of line ends: LF"
        yield Finding(rank, "crlf", windows[0], None, found, expected, advice, len(windows))
    for number, line in enumerate(lines, 1):
        if b"\r" in line.rstrip(b"\r"):
            found = "CR stands within the line; it separates fields, not lines"
            advice = "put LF in its place: tr '\\r' '\\n'"
            yield Finding(Rank.ERROR, "cr-alone", number, None, found, "lines that end with LF", advice)
            return


def check_end(lines: list[bytes], place: int, records: list[Record]) -> tuple[Optional[Finding], int]:
    """What is said of a line, at a place from 0, with which the data end, and how many structures it hides."""
    line = lines[place]
    if not any(line.strip(SPACE) for line in lines[place:]):
        return None, 0
    hidden = count_blocks(lines, place)
    more = f"; {hidden} structures behind it are not read" if hidden else ""
    index, rank, kind = len(records), Rank.ERROR, "rest"
    found = f"a line that does not begin with a number, with which the data end: {quote(line)}"
    advice = "remove the line"
    if line.startswith(MARKS):
        kind, found, advice = "encoding", "a mark of the encoding in front of the text", "save the file as plain ASCII"
    elif records and read_row(line, True, FIELDS - 1) is not None:
        head = records[-1]
        kind, index = "atom-count", head.index
        found = f"an atom more than the {head.num_atoms} of line {head.line}, where the data end"
        advice = f"correct the number of atoms in line {head.line}"
    else:
        if not line.strip(SPACE):
            kind, found = "blank-line", "a blank line, with which the data end"
        rank = Rank.ERROR if hidden or not records else Rank.WARNING
    return Finding(rank, kind, place + 1, index, found + more, "a head", advice, max(hidden, 1)), hidden
