"""Check that ctest runs every test program and that every test has exactly one label.

usage: check_registered.py CTEST BUILD_FOLDER TEST_FOLDER

Test programs are the executables in TEST_FOLDER and those named ..._test anywhere in BUILD_FOLDER.
"""

import json
import os
import subprocess
import sys
from pathlib import Path

LABELS = {"unit", "call", "system", "soak"}


def is_program(path):
    return path.is_file() and (path.suffix == ".exe" or (path.suffix == "" and os.access(path, os.X_OK)))


def test_programs(build_folder, test_folder):
    found = {path for path in test_folder.iterdir() if is_program(path)}
    for folder, _, files in os.walk(build_folder):
        found.update(path for path in (Path(folder, name) for name in files)
                     if path.stem.endswith("_test") and is_program(path))
    return {path.resolve() for path in found}


def registered_tests(ctest, build_folder):
    command = [ctest, "--show-only=json-v1"]
    listing = subprocess.run(command, cwd=build_folder, check=True, capture_output=True)
    return json.loads(listing.stdout)["tests"]


def labels_of(test):
    return [label for entry in test["properties"] if entry["name"] == "LABELS" for label in entry["value"]]


def programs_of(tests):
    arguments = (argument for test in tests for argument in test.get("command", []))
    return {Path(argument).resolve() for argument in arguments if "/" in argument}


def main(ctest, build_folder, test_folder):
    programs = test_programs(Path(build_folder), Path(test_folder))
    tests = registered_tests(ctest, build_folder)
    unregistered = sorted(programs - programs_of(tests))
    unlabelled = [test["name"] for test in tests if len(LABELS.intersection(labels_of(test))) != 1]
    for path in unregistered:
        print(f"not registered with ctest: {path}")
    for name in unlabelled:
        print(f"does not have exactly one label of {', '.join(sorted(LABELS))}: {name}")
    if not programs:
        print(f"no test program in {test_folder}")
    return 1 if unregistered or unlabelled or not programs else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
