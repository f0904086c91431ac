"""Tests of security_claims.py: each breaks one thing in a small tree."""

import tempfile
import unittest
from pathlib import Path

import security_claims

ENGLISH = """# Security

| claim | shown by |
|---|---|
| A PIN is wiped. | `Pin.IsWiped`, `http_test.test_pins` |
| The installer sets \\| permissions. | `packaging/test.sh` |

The end.
"""
CHINESE = ENGLISH.replace("| claim | shown by |", "| 承诺 | 由此验证 |")
TESTS = {
    "tests/pin_test.cpp": "TEST_F(Pin,\n       IsWiped) {\n}\n",
    "tests/http_test.py": "class Http:\n    def test_pins(self):\n        pass\n",
    "packaging/test.sh": "",
    "build/old_test.cpp": "TEST(Pin, WasWiped) {}\n",
}


class SecurityClaims(unittest.TestCase):
    def expect(self, *faults, change=("", ""), of_both=True):
        english = ENGLISH.replace(*change)
        chinese = CHINESE.replace(*change) if of_both else CHINESE
        with tempfile.TemporaryDirectory() as root:
            for name, text in {**TESTS, "docs/security.md": english, "docs/zh/security.md": chinese}.items():
                Path(root, name).parent.mkdir(parents=True, exist_ok=True)
                Path(root, name).write_text(text, encoding="utf-8")
            self.assertEqual(list(security_claims.check(root)), list(faults))

    def test_claims_with_tests(self):
        self.expect()

    def test_a_claim_without_a_test(self):
        claim = "The installer sets \\| permissions."
        self.expect(f"docs/security.md: no test shows this: {claim}",
                    f"docs/zh/security.md: no test shows this: {claim}",
                    change=("`packaging/test.sh`", "by its design"))

    def test_a_test_that_does_not_exist(self):
        for name in ("Pin.WasWiped", "http_test.test_more", "packaging/none.sh", "docs/security.md"):
            self.expect(f"docs/security.md: there is no test {name}",
                        f"docs/zh/security.md: there is no test {name}", change=("Pin.IsWiped", name))

    def test_a_page_without_a_table(self):
        self.expect("docs/security.md: has no table of claims", "the two tables name different tests",
                    change=("| claim |", "| promise |"), of_both=False)

    def test_tables_that_differ(self):
        self.expect("the two tables name different tests",
                    change=("`Pin.IsWiped`, `http_test.test_pins`", "`Pin.IsWiped`"), of_both=False)


if __name__ == "__main__":
    unittest.main()
