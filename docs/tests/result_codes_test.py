"""Tests of result_codes.py: each breaks one thing in small sources or pages."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import result_codes

SOURCES = {
    "inc/velm_sof_client.h": "#define SOR_OK                     0x00000000u  /**< Success. */\n"
                             "#define SOR_UNKNOWNERR             0x0B000001u  /**< Unknown. */\n"
                             "#define SOR_FILEERR                0x0B000002u  /**< A file. */\n"
                             "#define SOR_PROVIDERMINUS1ERR      0xFFFFFFFFu  /**< -1. */\n",
    "src/velm_sof_client/error_texts.h": '{0x00000000, "成功"},\n{0x0B000001, "异常错误"},\n'
                                         '{0x0B000002, "文件"},\n',
    "protocol/result_codes.h": "{0x02000001, 0x02000002, SOR_UNKNOWNERR},\n"
                               "{0x02000319, 0x02000319, SOR_PROVIDERMINUS1ERR},\n",
    "protocol/saf_codes.h": "constexpr uint32_t kSafCertificateInvalid = 0x02000319;\n",
    "src/sof_impl.cpp": "if (code == SOR_FILEERR) return SOR_OK;  // never SOR_UNKNOWNERR\n",
    "src/checks.h": "constexpr uint32_t kOther = protocol::kSafCertificateInvalid;\n",
    "docs/result_codes.md": "before\n" + result_codes.BEGIN + result_codes.END + "after\n",
    "docs/zh/result_codes.md": result_codes.BEGIN + result_codes.END,
}
ENGLISH = """before
<!-- made by result_codes.py -->
| Code | Constant | Meaning | Text | Given by |
| --- | --- | --- | --- | --- |
| `0x00000000` | `SOR_OK` | Success. | 成功 | library |
| `0x0B000001` | `SOR_UNKNOWNERR` | Unknown. | 异常错误 | `0x02000001` |
| `0x0B000002` | `SOR_FILEERR` | A file. | 文件 | `0x02000002` |
| `0xFFFFFFFF` | `SOR_PROVIDERMINUS1ERR` | -1. |  | library, `0x02000319` |
<!-- end -->
after
"""


class ResultCodes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        for name, text in SOURCES.items():
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        self.run_it("--write")

    def run_it(self, *options):
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            return result_codes.main(self.root, *options), output.getvalue()

    def replace(self, name, old, new):
        path = self.root / name
        text = path.read_text(encoding="utf-8")
        self.assertIn(old, text)
        path.write_text(text.replace(old, new), encoding="utf-8")

    def expect_fault(self, name, old, new, fault):
        self.replace(name, old, new)
        status, output = self.run_it()
        self.assertEqual(status, 1)
        self.assertIn(fault, output)

    def test_matching_table(self):
        self.assertEqual((self.root / "docs/result_codes.md").read_text(encoding="utf-8"), ENGLISH)
        self.assertEqual(self.run_it(), (0, ""))

    def test_changed_page(self):
        for page in result_codes.LANGUAGES:
            self.expect_fault(page, "`0x02000319`", "`0x02000318`", f"{page}: the table does not match")

    def test_changed_meaning(self):
        self.expect_fault("inc/velm_sof_client.h", "Unknown.", "Not known.",
                          "docs/result_codes.md: the table")

    def test_changed_text(self):
        self.expect_fault("src/velm_sof_client/error_texts.h", "成功", "完成",
                          "docs/zh/result_codes.md: the table")

    def test_changed_provider_result(self):
        self.expect_fault("protocol/result_codes.h", "0x02000319", "0x02000318",
                          "docs/result_codes.md: the table")

    def test_code_no_longer_used_by_the_library(self):
        self.expect_fault("src/sof_impl.cpp", "return SOR_OK", "return", "docs/result_codes.md: the table")

    def test_provider_result_no_longer_used_by_the_library(self):
        self.expect_fault("src/checks.h", "protocol::kSafCertificateInvalid", "0",
                          "docs/result_codes.md: the table")

    def test_code_without_text_or_constant(self):
        self.expect_fault("src/velm_sof_client/error_texts.h", '{0x0B000002, "文件"},', "",
                          "header and texts differ in `0x0B000002`")
        self.expect_fault("inc/velm_sof_client.h", "0x0B000002u", "0x0B000003u",
                          "header and texts differ in `0x0B000003`")

    def test_two_constants_with_the_same_code(self):
        self.expect_fault("inc/velm_sof_client.h", "0x0B000002u", "0x0B000001u", "have the same code")

    def test_unreadable_constant(self):
        self.expect_fault("inc/velm_sof_client.h", "  /**< A file. */", "", "could not be read")

    def test_provider_result_mapped_to_an_unknown_code(self):
        self.expect_fault("protocol/result_codes.h", "0x02000002, SOR_UNKNOWNERR",
                          "0x02000003, SOR_UNKNOWNERR", "a code that the header does not define")
        self.expect_fault("protocol/result_codes.h", "SOR_UNKNOWNERR", "SOR_OTHERERR",
                          "SOR_OTHERERR, which the header does not define")

    def test_unknown_provider_result(self):
        self.expect_fault("src/checks.h", "kSafCertificateInvalid", "kSafOther",
                          "checks.h: kSafOther is not a known provider result")

    def test_unreadable_provider_results(self):
        self.expect_fault("protocol/result_codes.h", "{0x", "[0x", "no provider results")

    def test_page_without_markers(self):
        self.expect_fault("docs/result_codes.md", "<!-- end -->", "", "has no markers for the table")


if __name__ == "__main__":
    unittest.main()
