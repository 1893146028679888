"""All messages with which the sources stop, as they stand there.

A message is the literal that stopWithMessage is given, with its places for values. Some functions make messages of
texts that they get from their callers or from a table: CARRIERS says how such a text becomes a message. A format that
says nothing by itself, such as "%s: %s", needs a carrier in its file.
"""

from __future__ import annotations

import fnmatch
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator

LITERAL = r'"((?:\\.|[^"\\\n])*)"'
LITERALS = rf"(?:{LITERAL}\s*)+"
STOP = re.compile(rf"\bstopWithMessage\(\s*({LITERALS}|\w+)")
PLACE = re.compile(r"%(?:\.\d+)?(?:ll)?[sdcf]")
ANY_TEXT = {"s": r".+", "d": r"-?\d+", "c": r".", "f": r"[\d.]+|<some>"}


@dataclass(frozen=True)
class Carrier:
    """Texts behind a pattern in some files, and the message that such a text, {}, becomes."""

    files: str
    pattern: str
    message: str

    def messages(self, path: str, text: str) -> Iterator[str]:
        if fnmatch.fnmatchcase(path, self.files):
            for match in re.finditer(rf"{self.pattern}{LITERAL}(\s*\+)?", text):
                yield self.message.format(unescape(match[1]) + ("%s" if match[2] else ""))


ARGUMENTS = r'\((?:[^";{}]|\([^";{}]*\))*'  # up to the first literal of a call
HEAD = r"(?:formatText\()?\s*"

CARRIERS = (
    Carrier("base/FileReplacement.cpp", rf"\bfail{ARGUMENTS}", "cannot {} file: %s"),
    Carrier("baseline/classical/ClassicalPot.cpp", rf"\brequireObject{ARGUMENTS}", "{} is null."),
    Carrier("baseline/reax/ReaxKind.cpp", rf"\breadRow{ARGUMENTS}", "{}"),
    Carrier("symmfunc/behler/SymmFuncBehler.cpp", rf"\bcheckArray{ARGUMENTS}", "{} is null."),
    Carrier("config/HeadReader.cpp", rf"\bnext\({HEAD}", "{}"),
    Carrier("config/HeadReader.cpp", rf"\brefuse\({HEAD}", "{}"),
    Carrier("config/HeadReader.cpp", rf"\brequire{ARGUMENTS}", "incorrect {}: %s"),
    Carrier("config/HeadReader.cpp", r"\bcompare\([^;\"]*", "incorrect {} of %s neural network: %s"),
    Carrier("config/Property.cpp", rf"\brequireConsistent{ARGUMENTS}", "{}: %s"),
    Carrier("modelio/ModelStore.cpp", r"\brequireFinite\([^;{}\"]*", "the training diverged: {}"),
    Carrier("modelio/NetworkHead.cpp", rf"\bnext\({HEAD}", "{}"),
    Carrier("modelio/NetworkHead.cpp", rf"\brefuse\(\s*{HEAD}", "{}"),
    Carrier("modelio/NetworkHead.cpp", rf"\brequire{ARGUMENTS}", "incorrect {}: %s"),
    Carrier("network/NNLayer.cpp", r"\brequireLearnable\(", "{}"),
    Carrier("sampling/GeometryCard.cpp", r"\bstop\(", "{}: %s"),
    Carrier("structure/io/Extxyz*.cpp", r"\brefuse\(", "{} in line %d: %s"),
    Carrier("evaluation/FrameStream.cpp", r"\brefuseAtom\([^;\"]*", "{} in line %d: %s"),
    Carrier("structure/io/Extxyz*.cpp", r"\brefuse(?:Comment|Atom)\([^;\"]*", "{} in line %d: %s"),
    Carrier("structure/io/Extxyz*.cpp", r"\btensorOf\([^;\"]*", "{} in line %d: %s"),
    Carrier("structure/Geometry.cpp", r"\bfault = ", "{}"),
    Carrier("symmfunc/behler/BehlerFile.cpp", rf"\brequire{ARGUMENTS}", "{}: %s"),
    Carrier("symmfunc/behler/BehlerKind.cpp", rf"\breadParameters{ARGUMENTS}", "{}"),
    Carrier("symmfunc/*/*Kind.cpp", r"\bhead\.next\(", "{}"),
    Carrier("symmfunc/*/*Kind.cpp", r"&Property::\w+,\s*", "incorrect {}: %s"),
    Carrier("symmfunc/*/*Kind.cpp", r"\bhead\.refuse\(", "{}"),
    Carrier("symmfunc/*/*Kind.cpp", rf"\bhead\.require{ARGUMENTS}", "incorrect {}: %s"),
    Carrier("symmfunc/cluster/ClusterKind.cpp", rf"\brequireFit{ARGUMENTS}", "{}: %s"),
    Carrier("training/LbfgsOptimizer.cpp", r"\? ", "the training diverged: {}"),
    Carrier("training/LbfgsOptimizer.cpp", r'\? "[^"]*" : ', "the training diverged: {}"),
    Carrier("training/NNTrainer.cpp", r"\brequire\([^;\"]*", "incorrect {} of %s neural network: %s"),
)

# Keys of melta.prop and of melta.metro, in whose rows the messages are not written out.
SIMPLE_KEY = re.compile(r'\b(integer|onOff|shape|real|coefficient|named)\("(\w+)"([^)]*)\)')
FULL_KEY = re.compile(r'\{"(\w+)", Check::(\w+),\s+(\w+)Target\{.*?\},\s*"(\w+)",\s*"(\w+)"\}', re.DOTALL)
WALK_KEY = re.compile(r'\{"(\w+)", &MetropolisInput::\w+, Check::(\w+)\}')
COMPLAINTS = {
    "positive": "is not positive",
    "notNegative": "is negative",
    "negative": "is not negative",
    "upToOne": "is out of range",
    "belowOne": "is out of range",
}
# Formats of which the carriers and the keys make all messages.
SPELT_OUT = {
    "%s %s: %s",
    "%s in line %lld: %s",
    "%s is null.",
    "%s: %s",
    "%s",
    "incorrect '%s'",
    "%s is not positive: %s",
    "incorrect %s (%s): %s",
    "the training diverged: %s",
    "incorrect %s of %s neural network: %s",
}
# What hands messages on that are made elsewhere, and the function itself.
KNOWN = {"base/CleanStop.hpp", "base/Reporting.hpp", "base/Reporting.cpp", "baseline/BaselineStress.cpp"}


def unescape(literal: str) -> str:
    return re.sub(r"\\(.)", r"\1", literal)


def join_literals(text: str) -> str:
    return "".join(unescape(literal) for literal in re.findall(LITERAL, text))


def key_messages(check: str, unreadable: str, checked: str) -> Iterator[str]:
    yield f"incorrect '{unreadable}'"
    if check in COMPLAINTS:
        yield f"{checked} {COMPLAINTS[check]}: %s"


def messages_of_keys(text: str) -> Iterator[str]:
    for kind, key, rest in SIMPLE_KEY.findall(text):
        check = "positive" if kind == "shape" else "".join(re.findall(r"Check::(\w+)", rest))
        yield from key_messages(check, key, key)
    for _, check, target, unreadable, checked in FULL_KEY.findall(text):
        yield from key_messages(check, unreadable, checked)
        if target in ("Word", "SymmFunc"):
            yield f"incorrect {checked} (%s): %s"
    for key, check in WALK_KEY.findall(text):
        yield from key_messages(check, key, key)


def messages_of(path: str, text: str) -> Iterator[str]:
    """Those of one source, given relative to src."""
    for match in STOP.finditer(text):
        if match[1].startswith('"'):
            message = join_literals(match[1])
            if message not in SPELT_OUT:
                yield message
    for carrier in CARRIERS:
        yield from carrier.messages(path, text)
    yield from messages_of_keys(text)


def find_sources(src: Path) -> Iterator[tuple[str, str]]:
    """The name relative to src and the text without its comments, of each."""
    for source in sorted([*src.rglob("*.cpp"), *src.rglob("*.hpp")]):
        yield source.relative_to(src).as_posix(), re.sub(r"//[^\n]*", "", source.read_text(encoding="utf-8"))


def find_silent_formats(src: Path) -> Iterator[tuple[str, str]]:
    """The sources with a format that is spelt out nowhere, and the format."""
    for path, text in find_sources(src):
        is_told = any(True for carrier in CARRIERS for _ in carrier.messages(path, text)) or any(messages_of_keys(text))
        for match in STOP.finditer(text):
            is_silent = not match[1].startswith('"') or join_literals(match[1]) in SPELT_OUT
            if is_silent and not is_told and path not in KNOWN:
                yield path, match[1].strip()


def find_messages(src: Path) -> dict[str, list[str]]:
    """The messages, each with the sources that it stands in."""
    found: dict[str, list[str]] = {}
    for path, text in find_sources(src):
        for message in messages_of(path, text):
            if path not in found.setdefault(message, []):
                found[message].append(path)
    return found


def pattern_of(message: str) -> re.Pattern[str]:
    """Matches what a message becomes when its places are filled."""
    texts = PLACE.split(message)
    places = [f"(?:{ANY_TEXT[place[-1]]})" for place in PLACE.findall(message)]
    pattern = re.escape(texts[0])
    for place, text in zip(places, texts[1:]):
        pattern += place + re.escape(text)
    return re.compile(pattern)
