"""Check the tables of security claims: each claim names tests, and these exist.

usage: security_claims.py ROOT

A test is named `Suite.Case` (GoogleTest), `module.test_case` (unittest) or by the path of a script that the
test suite runs. Prints one line per fault and exits with 1, or prints a summary and exits with 0.
"""

import re
import sys
from pathlib import Path

PAGES = {"docs/security.md": "| claim | shown by |", "docs/zh/security.md": "| 承诺 | 由此验证 |"}
SKIPPED_FOLDERS = {"build", ".deps", ".git"}
SCRIPTS = re.compile(r"(packaging|tests|tools)/[\w/.-]+\.(sh|py|mjs)")


def sources(root, suffix):
    for path in sorted(Path(root).rglob(f"*{suffix}")):
        if path.relative_to(root).parts[0] not in SKIPPED_FOLDERS:
            yield path, path.read_text(encoding="utf-8")


def tests_in(root):
    """Return the names of all tests in the sources."""
    tests = set()
    for _, text in sources(root, ".cpp"):
        cases = re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", text, re.M)
        tests.update(f"{suite}.{case}" for suite, case in cases)
    for path, text in sources(root, "_test.py"):
        tests.update(f"{path.stem}.{case}" for case in re.findall(r"^    def (test_\w+)\(", text, re.M))
    return tests


def claims_in(page, text):
    """Return pairs of claim and names of tests."""
    _, header, rest = text.partition(PAGES[page] + "\n|---|---|\n")
    rows = re.match(r"(?:\|.*\|\n)*", rest).group().splitlines() if header else []
    for row in rows:
        claim, _, shown_by = row.strip("|").rpartition("|")
        yield claim.strip(), re.findall(r"`([^`]+)`", shown_by)


def check(root):
    tests = tests_in(root)
    shown_by = {}
    for page in PAGES:
        claims = list(claims_in(page, Path(root, page).read_text(encoding="utf-8")))
        if not claims:
            yield f"{page}: has no table of claims"
        for claim, names in claims:
            if not names:
                yield f"{page}: no test shows this: {claim}"
            for name in names:
                script = SCRIPTS.fullmatch(name) and Path(root, name).is_file()
                if name not in tests and not script:
                    yield f"{page}: there is no test {name}"
        shown_by[page] = [names for _, names in claims]
    first, second = shown_by.values()
    if first != second:
        yield "the two tables name different tests"


def main(root):
    faults = list(check(root))
    print("\n".join(faults) if faults else "each claim is shown by a test")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
