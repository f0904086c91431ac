"""Tests the lists of the installer and the zip on a small tree."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
FILES = ("readme.txt", "bin/program.exe", "bin/library.dll", "doc/a/deep/page.html", "doc/a/page.html",
         "lib/x.a", "doc/licences/program.exe.txt", "文件/说明.txt")


class PackageFiles(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="velm-package-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def tree(self, name, files):
        """Creates the files in the given order."""
        tree = self.folder / name
        for file in files:
            path = tree / file
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text("content of " + file)
        return tree

    def macros(self):
        """Returns the lines of each macro."""
        command = [sys.executable, HERE / "list_files.py", self.tree("tree", FILES)]
        text = subprocess.run(command, check=True, capture_output=True, encoding="utf-8",
                              env={**os.environ, "PYTHONUTF8": "1"}).stdout
        return {name: body.strip().split("\n  ")
                for name, body in re.findall(r"!macro (\w+)\n(.*?)\n!macroend", text, re.DOTALL)}

    def zip_of(self, name, files):
        tree = self.tree(name, files)
        archive = self.folder / f"{name}.zip"
        subprocess.run([sys.executable, HERE / "make_zip.py", tree, archive, "top"], check=True)
        return archive

    def test_every_file_is_installed_into_its_folder(self):
        installed = set()
        place = None
        for line in self.macros()["InstallFiles"]:
            word, argument = line.split(" ", 1)
            if word == "SetOutPath":
                place = argument.strip('"')
            else:
                self.assertEqual(word, "File")
                installed.add(place + "\\" + Path(argument.strip('"')).name)
        self.assertEqual(installed, {"$INSTDIR\\" + file.replace("/", "\\") for file in FILES})

    def test_exactly_the_installed_files_are_removed_and_folders_last(self):
        files = ["$INSTDIR\\" + file.replace("/", "\\") for file in FILES]
        present = {*files, *(file[:end.start()] for file in files for end in re.finditer(r"\\", file))}
        present.remove("$INSTDIR")
        for line in self.macros()["RemoveFiles"]:
            word, argument = line.split(" ", 1)
            path = argument.strip('"')
            self.assertEqual(word, "Delete" if path in files else "RMDir", path)
            inside = [other for other in present if other.startswith(path + "\\")]
            self.assertEqual(inside, [], f"{path} is removed before what is in it")
            present.remove(path)
        self.assertEqual(present, set())

    def test_programs_and_libraries_are_checked_for_use(self):
        lines = [f'!insertmacro ${{ACTION}} "bin\\{name}"' for name in ("library.dll", "program.exe")]
        self.assertEqual(self.macros()["ForEachProgram"], lines)

    def test_a_zip_depends_on_names_and_contents_alone(self):
        first = self.zip_of("first", FILES)
        second_tree = self.tree("second", tuple(reversed(FILES)))
        for path in second_tree.rglob("*"):
            os.utime(path, (1e9, 1e9))
            path.chmod(0o755)
        second = self.zip_of("second", ())
        self.assertEqual(first.read_bytes(), second.read_bytes())

    def test_a_zip_contains_every_file_below_one_folder(self):
        with zipfile.ZipFile(self.zip_of("any", FILES)) as archive:
            self.assertIsNone(archive.testzip())
            self.assertEqual(archive.namelist(), sorted("top/" + file for file in FILES))
            for file in FILES:
                self.assertEqual(archive.read("top/" + file).decode(), "content of " + file)
                info = archive.getinfo("top/" + file)
                self.assertEqual(info.date_time, (1980, 1, 1, 0, 0, 0))
                self.assertEqual(info.external_attr >> 16, 0o100644)


if __name__ == "__main__":
    unittest.main()
