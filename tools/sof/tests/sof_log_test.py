"""Tests `sof log`: the texts of result codes, colours, following, and verbose logging."""

import os
import time
import unittest

from sof_case import DONE, PROBLEMS, SofCase
from sof_console import ConsoleRun, Follower, sof


class LogCommand(SofCase):
    # A call that fails in process; its log line contains the function and the code.
    FAILING = "stamp check --stamp any --cert any -i any"

    def setUp(self):
        self.write("any", b"no stamp")
        self.done("log --verbose off")
        self.addCleanup(self.done, "log --verbose off")

    def lines(self):
        return self.ends(DONE, "log --json").json["lines"]

    def lines_of(self, line):
        """Returns the lines that a run adds to the log. Repeats the run if the date, and so the log file,
        changed."""
        while True:
            day = time.localtime()[:3]
            before = len(self.lines())
            sof(line, b"", self.folder)
            added = self.lines()[before:]
            if time.localtime()[:3] == day:
                return added

    def test_result_codes_in_the_log_have_texts(self):
        (line,) = self.lines_of(self.FAILING)
        self.assertEqual((line["level"], line["process"]), ("ERR", "sof"))
        self.assertRegex(line["message"], r"^\"SAF_Ext_GM_Tsp_VerifyTimeStamp\" 0x0200")
        ((code, text),) = line["codes"].items()
        self.assertIn(code, line["message"])
        self.assertIn(f"{line['message']}  ({code} {text})\n", self.done("log").text)

    def test_only_complete_lines_are_shown(self):
        self.lines_of(self.FAILING)
        path = self.unix_path(self.json("log")["path"])
        before = len(self.lines())
        with open(path, "ab") as log:
            log.write(b"[IFO|half a line")
            log.flush()
            self.assertEqual(len(self.lines()), before)
            log.write(b", and the rest\r\n")
        (line,) = self.lines()[before:]
        self.assertEqual(line["message"], "[IFO|half a line, and the rest")

    @staticmethod
    def unix_path(path):
        drive, rest = path.split(":")
        return os.path.join(os.environ["WINEPREFIX"], f"drive_{drive.lower()}", *rest.split("\\"))

    def test_colours_are_for_consoles(self):
        self.lines_of(self.FAILING)
        self.assertNotIn(b"\x1b", self.done("log").output)
        run = ConsoleRun("log", self.folder)
        self.assertEqual(run.end(), DONE, run.shown)
        self.assertIn(b"\x1b[31m", run.shown)
        self.assertIn(b"\x1b[31m[ERR|", self.done("log --color always").output)

    def test_verbose_logging_is_switched(self):
        self.assertEqual(self.lines_of("base64"), [])
        self.assertTrue(self.json("log --verbose on")["verbose"])
        self.assertIn("IFO", [line["level"] for line in self.lines_of("base64")])
        findings = self.json("doctor", status=PROBLEMS)["findings"]
        grades = {finding["subject"]: finding["grade"] for finding in findings}
        self.assertEqual(grades["verbose logging"], "warning")
        self.assertIn("is off", self.done("log --verbose off").text)
        self.assertEqual(self.lines_of("base64"), [])

    def test_the_log_is_followed(self):
        day = None
        while day != time.localtime()[:3]:
            day = time.localtime()[:3]
            before = len(self.lines())
            with Follower() as follower:
                sof(self.FAILING, b"", self.folder)
                line = follower.lines(before + 1)[before]
        self.assertTrue(line.startswith("[ERR|"))
        self.assertIn("SAF_Ext_GM_Tsp_VerifyTimeStamp", line)


if __name__ == "__main__":
    unittest.main()
