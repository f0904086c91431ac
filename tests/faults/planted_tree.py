"""A copy of the project's tree, in which faults are planted, built and tested."""

import datetime
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from kept_faults import ROOT

# With a fault, a test must end with a message within the first time. Without one, it may take the second.
SECONDS = 60
SECONDS_WITHOUT_FAULT = 300


class DoesNotApply(Exception):
    """A patch does not fit the tree."""


class DoesNotBuild(Exception):
    """The tree does not build with a fault."""


class PlantedTree:
    """A copy of the project's tree in `folder`, with build trees of its own, which later runs reuse."""

    def __init__(self, folder):
        self.folder = folder
        self.update()

    def update(self):
        """Make the copy equal to the project's tree. Files that are equal keep their time."""
        listing = self.run("git", "-C", ROOT, "ls-files", "-z", "--cached", "--others", "--exclude-standard")
        wanted = {name for name in listing.stdout.split("\0") if name and (ROOT / name).is_file()}
        for folder, folders, files in os.walk(self.folder):
            if Path(folder) == self.folder and "build" in folders:
                folders.remove("build")
            for name in files:
                path = Path(folder, name)
                if path.relative_to(self.folder).as_posix() not in wanted:
                    path.unlink()
        for name in wanted:
            self.restore(name)

    def restore(self, name):
        original, copy = ROOT / name, self.folder / name
        if copy.is_file() and copy.read_bytes() == original.read_bytes():
            return
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(original, copy)
        shutil.copymode(original, copy)

    def plant(self, fault):
        planted = self.run("patch", "--strip=1", "--fuzz=0", "--batch", "--forward",
                           "--no-backup-if-mismatch", "--reject-file=-",
                           input=fault.path.read_text(encoding="utf-8"), check=False)
        if planted.returncode != 0:
            raise DoesNotApply(planted.stdout)

    def remove(self, fault):
        for name in fault.files:
            self.restore(name)

    def build(self, tree, test):
        """Build what a test of a build tree needs."""
        build = self.folder / "build" / tree
        if not (build / "build.ninja").is_file():
            self.run("cmake", "--preset", tree, f"-DVELM_DEPS={os.environ['VELM_DEPS']}",
                     "-DBUILD_TESTING=ON", "-DVELM_DOCUMENTATION=ON")
        self.run("ninja", "-C", build, "build.ninja")
        targets = self.run(sys.executable, "cmake/choose_tests.py", "targets", build, "--tests-regex",
                           exactly(test)).stdout.split()
        if not targets:
            return
        built = self.run("ninja", "-C", build, *targets, check=False)
        if built.returncode != 0:
            raise DoesNotBuild(built.stdout)

    def test(self, tree, test, only, seconds=SECONDS):
        """Run a test of a build tree. Return "passed", "failed" or "hangs", and the test's output."""
        end = datetime.datetime.now() + datetime.timedelta(seconds=seconds)
        variables = {**os.environ, "GTEST_FAIL_FAST": "1", **({"GTEST_FILTER": only} if only else {})}
        ran = self.run("ctest", "--test-dir", self.folder / "build" / tree, "--tests-regex", exactly(test),
                       "--no-tests=error", "--output-on-failure", "--stop-time", f"{end:%H:%M:%S}",
                       check=False, env=variables)
        if ran.returncode == 0:
            return "passed", ran.stdout
        return "hangs" if "***Timeout" in ran.stdout else "failed", ran.stdout

    def run(self, *command, check=True, **options):
        self.folder.mkdir(parents=True, exist_ok=True)
        return subprocess.run([str(word) for word in command], cwd=self.folder, check=check, text=True,
                              errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)


def exactly(test):
    return f"^{re.escape(test)}$"
