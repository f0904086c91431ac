#!/usr/bin/env python3
"""List the targets that tests need, or the tests that depend on files, for one build tree.

usage: choose_tests.py targets BUILD CTEST_OPTION...     targets needed by the tests that ctest selects
       choose_tests.py affected BUILD LABEL,... FILE...  tests with one of the labels that depend on FILEs

Uses ctest's test list and ninja's dependencies. `affected` prints lines "test NAME" and "target NAME", and
"other NAME" for dependent tests without such a label.

A test that needs more than the programs in its command declares it in CMake with velm_test_needs. A test that
needs no targets reads sources or documents and depends on every file.

Nearly every test loads the library. If a changed source defines exported functions (SOF_...), a test that
only loads the library depends on that source only if the test's own sources name one of these functions.
"""

import functools
import json
import os
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
EXPORTED = re.compile(r"^\w[\w ]*\b(SOF_\w+)\(", re.MULTILINE)
NAMED = re.compile(r"\bSOF_\w+")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Tree:
    """A build tree: its tests, its targets, and the inputs of each target."""

    def __init__(self, build):
        self.build = Path(build).resolve()
        self.targets = {line.split(": ")[0] for line in self.ninja("-t", "targets", "all").splitlines()}
        self.inputs = {}

    def ninja(self, *arguments):
        return run("ninja", "-C", str(self.build), *arguments)

    def tests(self, *options):
        listing = run("ctest", "--test-dir", str(self.build), "--show-only=json-v1", *options)
        return json.loads(listing)["tests"]

    def needs(self, test):
        """Return the targets that a test needs.

        These are the ones in its command, the ones declared with velm_test_needs, and the one with the test's
        name: ctest omits the command of a test whose program is not built.
        """
        found = {test["name"], f"{test['name']}_needs"} & self.targets
        for argument in test.get("command", []):
            path = Path(argument)
            if path.is_absolute() and path.is_relative_to(self.build):
                found |= {path.relative_to(self.build).as_posix()} & self.targets
        return found

    def load_inputs(self, targets):
        """Query ninja for the inputs of `targets`, recursively."""
        wanted = {target for target in targets if target in self.targets and target not in self.inputs}
        while wanted:
            current = None
            section = None
            for line in self.ninja("-t", "query", *sorted(wanted)).splitlines():
                if not line.startswith(" "):
                    current = self.inputs.setdefault(line.removesuffix(":"), set())
                elif not line.startswith("    "):
                    section = line.split(":")[0].strip()
                elif section == "input":
                    current.add(line.strip().removeprefix("|| ").removeprefix("| "))
            wanted = {name for target in wanted for name in self.inputs.get(target, ())
                      if name in self.targets and name not in self.inputs}

    def find_changed(self, changed):
        """Return, by target or input, which of the `changed` files it is or includes."""
        found, current = {}, None
        for line in self.ninja("-t", "deps").splitlines():
            if line and not line.startswith(" "):
                current = line.split(": #deps")[0]
            elif line and (path := self.path(line.strip())) in changed:
                found.setdefault(current, set()).add(path)
        for name in set().union(*self.inputs.values()):
            if (path := self.path(name)) in changed:
                found.setdefault(name, set()).add(path)
        return found

    @functools.cache
    def path(self, name):
        return Path(os.path.normpath(self.build / name))

    def parts(self, targets, through_libraries=True):
        """Return the names of all inputs of `targets`, recursively.

        Without `through_libraries`, DLLs and programs among the inputs are omitted, and their inputs too.
        """
        seen, waiting = set(), list(targets)
        while waiting:
            name = waiting.pop()
            if name not in seen:
                seen.add(name)
                waiting += [part for part in self.inputs.get(name, ())
                            if through_libraries or not part.endswith((".dll", ".exe"))]
        return seen


def exported_functions(path):
    if path.suffix != ".cpp" or not path.is_file():
        return set()
    return set(EXPORTED.findall(path.read_text(encoding="utf-8")))


def names_one_of(files, functions):
    sources = [path for path in files
               if path.suffix == ".cpp" and path.is_relative_to(ROOT) and path.is_file()]
    return any(functions.intersection(NAMED.findall(path.read_text(encoding="utf-8"))) for path in sources)


def depends_on(tree, targets, found):
    """Return whether `targets` depend on a changed file. `found`: the result of find_changed()."""
    def hits(parts):
        return set().union(*(found[name] for name in parts & found.keys()))

    changed = hits(tree.parts(targets))
    own = tree.parts(targets, through_libraries=False)
    if not changed or hits(own):
        return bool(changed)
    return any(not (functions := exported_functions(path)) or names_one_of(map(tree.path, own), functions)
               for path in changed)


def labels_of(test):
    return {label for entry in test["properties"] if entry["name"] == "LABELS" for label in entry["value"]}


def print_targets(build, *options):
    tree = Tree(build)
    print(*sorted({target for test in tree.tests(*options) for target in tree.needs(test)}), sep="\n")


def print_affected(build, labels, *names):
    tree = Tree(build)
    needs = {test["name"]: tree.needs(test) for test in tree.tests()}
    tree.load_inputs(set().union(*needs.values()))
    found = tree.find_changed({Path(os.path.abspath(name)) for name in names})
    targets = set()
    for test in tree.tests():
        name = test["name"]
        if needs[name] and not depends_on(tree, needs[name], found):
            continue
        if not needs[name] and not labels_of(test) & set(labels.split(",")):
            continue
        chosen = labels_of(test) & set(labels.split(","))
        print("test" if chosen else "other", name)
        targets |= needs[name] if chosen else set()
    for target in sorted(targets):
        print("target", target)


if __name__ == "__main__":
    {"targets": print_targets, "affected": print_affected}[sys.argv[1]](*sys.argv[2:])
