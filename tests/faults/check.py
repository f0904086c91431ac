"""Check the kept faults without building them.

usage: check.py CTEST BUILD_FOLDER

Each patch has the form of a kept fault and fits the tree, and ctest knows its test in BUILD_FOLDER (native
or windows; the tests of native-tsan are those of native). At least FEWEST faults are kept, at most one of
FIFTY is explained instead of noticed, and the tables of the documents count what is there.
"""

import json
import re
import subprocess
import sys
from pathlib import Path

from kept_faults import ROOT, read_faults, rooms

FEWEST = 150
FIFTY = 50
DOCUMENTS = ("docs/reliability.md", "docs/zh/reliability.md")


def registered_tests(ctest, build):
    listing = subprocess.run([ctest, "--show-only=json-v1"], cwd=build, check=True, capture_output=True)
    return {test["name"] for test in json.loads(listing.stdout)["tests"]}


def misfits(faults):
    for fault in faults:
        tried = subprocess.run(["patch", "--dry-run", "--strip=1", "--fuzz=0", "--batch", "--forward",
                                "--reject-file=-"], cwd=ROOT, input=fault.path.read_bytes(),
                               capture_output=True, check=False)
        if tried.returncode != 0:
            yield f"{fault.name}: no longer applies:\n{tried.stdout.decode(errors='replace')}"


def unknown_tests(faults, tree, tests):
    of_tree = [fault for fault in faults if fault.tree.removesuffix("-tsan") == tree]
    return [f"{fault.name}: there is no test {fault.test}" for fault in of_tree if fault.test not in tests]


def wrong_rows(faults, document):
    """Compare the rows "| `folder` | planted | noticed | not noticeable |" of a document with the faults."""
    text = (ROOT / document).read_text(encoding="utf-8")
    found = re.findall(r"^\| `(\S+)` \| (\d+) \| (\d+) \| (\d+) \|$", text, re.MULTILINE)
    kept = [tuple(map(str, row)) for row in rooms(faults)]
    if found != kept:
        yield f"{document}: the table of kept faults must have the rows"
        yield from (f"| `{room}` | {' | '.join(counts)} |" for room, *counts in kept)


def main(ctest, build):
    faults = read_faults()
    build = Path(build)
    errors = [*misfits(faults), *unknown_tests(faults, build.name, registered_tests(ctest, build))]
    for document in DOCUMENTS:
        errors += wrong_rows(faults, document)
    if len(faults) < FEWEST:
        errors.append(f"only {len(faults)} kept faults")
    if FIFTY * sum(1 for fault in faults if fault.explained) > len(faults):
        errors.append("too many faults are explained instead of noticed")
    print("\n".join(errors) or f"{len(faults)} kept faults")
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
