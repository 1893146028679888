"""Console output of a run whose numbers depend on random start weights.

A template is the output to the byte, with these tokens in place of what differs from run to run:

  <number>     a number as "%10.3e" prints it, neither NaN nor infinite
  <time>       a compact time such as 01.25s
  <full time>  a time such as 0d 0h 0m 1.25s

Everything else has to be there as it stands, line by line.
"""

from __future__ import annotations

import difflib
import re

TOKENS = {
    "<number>": r"[ -]\d\.\d{3}e[-+]\d\d",
    "<time>": r"\d\d\.\d\d[smhd]",
    "<full time>": r"\d+d \d+h \d+m \d+\.\d\ds",
}
SPLITTER = re.compile("(" + "|".join(re.escape(token) for token in TOKENS) + ")")


def line_matches(template: str, line: str) -> bool:
    pattern = "".join(TOKENS.get(part) or re.escape(part) for part in SPLITTER.split(template))
    return re.fullmatch(pattern, line) is not None


def describe_difference(template: str, output: str) -> str:
    """A unified diff of template and output, or an empty text when the output is of that form."""
    expected = template.split("\n")
    actual = output.split("\n")
    if len(expected) == len(actual):
        actual = [wanted if line_matches(wanted, found) else found for wanted, found in zip(expected, actual)]
    return "\n".join(difflib.unified_diff(expected, actual, "template", "output", lineterm=""))
