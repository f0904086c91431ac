"""Tests of the call reference: it is complete, and doxygen fails if the header lacks documentation.

usage: reference_test.py DOXYGEN DOXYFILE HEADER
"""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

DOXYGEN, DOXYFILE, HEADER = sys.argv[1:4]


def without(text, line):
    assert text.count(line) >= 1, f"the header has no line {line!r}"
    return text.replace(line, "", 1)


class Reference(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.header = Path(HEADER).read_text(encoding="utf-8")

    def make(self, header):
        """Run doxygen on a header with the reference's options. Return exit status and warnings."""
        (self.folder / "velm_sof_client.h").write_text(header, encoding="utf-8")
        options = Path(DOXYFILE).read_text(encoding="utf-8")
        options += f"INPUT = \"{self.folder}/velm_sof_client.h\"\nOUTPUT_DIRECTORY = \"{self.folder}\"\n"
        run = subprocess.run([DOXYGEN, "-"], input=options, capture_output=True, text=True)
        return run.returncode, run.stderr

    def expect_refusal(self, header, message):
        status, warnings = self.make(header)
        self.assertNotEqual(status, 0)
        self.assertRegex(warnings, message)

    def test_reference_contains_every_function(self):
        self.assertEqual(self.make(self.header), (0, ""))
        names = re.findall(r"^VELM_SOF_API .*?(SOF_\w+)\(", self.header, re.MULTILINE)
        self.assertEqual(len(names), 88)
        pages = "".join(page.read_text(encoding="utf-8")
                        for page in (self.folder / "reference").glob("group__*.html"))
        titles = set(re.findall(r'<h2 class="memtitle">.*?</span>(\w+)\(\)</h2>', pages))
        self.assertEqual(set(names) - titles, set())

    def test_undocumented_parameter_is_refused(self):
        line = " * @param[in] szOldPassWord PIN in force, not empty.\n"
        self.expect_refusal(without(self.header, line), "parameter 'szOldPassWord'")

    def test_unknown_parameter_is_refused(self):
        self.expect_refusal(self.header.replace("@param[out] pszVersion", "@param[out] pszVersoin", 1),
                            "pszVersoin")

    def test_undocumented_result_is_refused(self):
        function = self.header.index("@brief Stores the process's envelope type")
        start = self.header.index(" * @retval", function)
        end = self.header.index(" * @par", start)
        self.expect_refusal(self.header[:start] + self.header[end:], "SOF_Ext_SetEnvelopType")

    def test_undocumented_function_is_refused(self):
        group = self.header.index("@defgroup velm_sof_configuration")
        start = self.header.index("/**", group)
        end = self.header.index("*/", start) + 2
        self.expect_refusal(self.header[:start] + self.header[end:], "SOF_Config")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
