#!/usr/bin/env python3
"""Builds and runs the Python, C# and Java examples on the build host, with a stand-in for the library.

Their output, on success and with a rejected PIN, must equal that of the C and C++ examples with the library
under Wine.
"""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
EXAMPLES = HERE.parent
EXPECTED = (HERE / "story.txt").read_text()
JNA = "/usr/share/java/jna.jar"


def run(arguments, folder, **environment):
    return subprocess.run([str(argument) for argument in arguments], cwd=folder, timeout=120,
                          env=os.environ | environment, encoding="utf-8", capture_output=True)


def made(arguments, folder):
    result = run(arguments, folder)
    if result.returncode != 0:
        raise AssertionError(f"{arguments[0]} failed:\n{result.stdout}{result.stderr}")


class Stories(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        work = tempfile.TemporaryDirectory()
        cls.addClassCleanup(work.cleanup)
        cls.folder = Path(work.name)
        # The file name of the library differs between languages.
        library = cls.folder / "libvelm_sof_client.so"
        made(["gcc", "-shared", "-fPIC", "-Wall", "-Wextra", "-Werror", "-I", EXAMPLES.parent / "inc",
              HERE / "stand_in.c", "-o", library], cls.folder)
        (cls.folder / "velm_sof_client.dll").symlink_to(library.name)

    def check(self, *command):
        environment = {"LD_LIBRARY_PATH": str(self.folder), "LC_ALL": "C.UTF-8"}
        told = run(command, self.folder, **environment)
        self.assertEqual((told.stdout, told.stderr, told.returncode), (EXPECTED, "", 0))
        refused = run(command, self.folder, REFUSE_PIN="1", **environment)
        self.assertEqual((refused.stdout, refused.stderr, refused.returncode),
                         ("", "SOF_Login: 0x0B000426 错误的口令\n", 1))

    def test_python(self):
        self.check(sys.executable, "-B", EXAMPLES / "python" / "story.py", ".")

    def test_csharp(self):
        made(["mcs", "-warnaserror", "-out:Story.exe", EXAMPLES / "csharp" / "Story.cs"], self.folder)
        self.check("mono", "Story.exe")

    def test_java(self):
        made(["ecj", "-17", "-proc:none", "-warn:-serial", "-failOnWarning", "-cp", JNA, "-d", self.folder,
              EXAMPLES / "java" / "Story.java"], self.folder)
        self.check("java", "-Dfile.encoding=UTF-8", "-Dstderr.encoding=UTF-8",
                   f"-Djna.library.path={self.folder}", "-cp", f"{JNA}:{self.folder}", "Story")


if __name__ == "__main__":
    unittest.main()
