"""The kept faults: patches in this folder, each of which plants one fault in the product.

A patch begins with lines "KEY: TEXT", which an empty line ends:

    breaks: what the fault breaks, and why that matters
    noticed by: TREE/TEST, the build tree and the ctest name of the test that must notice the fault
    only: a GTEST_FILTER, if the test takes long (optional)
    explained: instead of "noticed by": why no test can notice the fault

Its folder is the folder of the faulty file.
"""

import re
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
ROOT = FOLDER.parent.parent
TREES = ("native", "native-tsan", "windows")


class Fault:
    """One kept fault. Raises ValueError if its patch has not the form above."""

    def __init__(self, path):
        self.path = path
        self.name = path.relative_to(FOLDER).with_suffix("").as_posix()
        self.room = "/".join(Path(self.name).parent.parts[:2])
        head, _, patch = path.read_text(encoding="utf-8").partition("\n\n")
        keys = dict(line.split(": ", 1) for line in head.splitlines() if ": " in line)
        unknown = keys.keys() - {"breaks", "noticed by", "only", "explained"}
        if unknown or len(keys) != len(head.splitlines()) or not keys.get("breaks"):
            raise ValueError(f"{self.name}: its first lines have not the form of a kept fault")
        self.breaks, self.only, self.explained = keys["breaks"], keys.get("only"), keys.get("explained")
        self.tree, _, self.test = keys.get("noticed by", "").partition("/")
        if bool(self.test) == bool(self.explained) or (self.test and self.tree not in TREES):
            raise ValueError(f'{self.name}: needs either "explained" or "noticed by" with TREE/TEST')
        self.files = re.findall(r"^\+\+\+ b/(\S+)", patch, re.MULTILINE)
        if Path(self.name).parent.as_posix() not in {Path(file).parent.as_posix() for file in self.files}:
            raise ValueError(f"{self.name}: plants nothing in the folder of its name")


def read_faults():
    """Return all kept faults, sorted by name."""
    return [Fault(path) for path in sorted(FOLDER.rglob("*.patch"))]


def rooms(faults):
    """Yield (room, planted, noticed, explained) for each room. `noticed` is what the patches promise."""
    for room in sorted({fault.room for fault in faults}):
        of_room = [fault for fault in faults if fault.room == room]
        explained = sum(1 for fault in of_room if fault.explained)
        yield room, len(of_room), len(of_room) - explained, explained
