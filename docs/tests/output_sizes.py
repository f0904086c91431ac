"""Compare the table of output sizes in the calling conventions with the public header.

usage: output_sizes.py ROOT

Every number and argument in a row must occur in the description of each function of that row.
"""

import re
import sys
from pathlib import Path

HEADER = "inc/velm_sof_client.h"
PAGES = ("docs/calling_conventions.md", "docs/zh/calling_conventions.md")


def read_descriptions(header):
    """Return the comment and the arguments of each function, by name."""
    found = re.findall(r"(/\*\*(?:(?!\*/).)*\*/)\s*VELM_SOF_API \w+ (SOF_\w+)\(([^)]*)\);", header, re.DOTALL)
    return {name: comment + arguments for comment, name, arguments in found}


def words_of(text):
    return set(re.findall(r"[\w.]+(?<!\.)", re.sub(r"(?<=\d),(?=\d{3})", "", text)))


def size_rows(page):
    """Yield the functions in the first cell of each row, and the numbers and arguments in the others."""
    for line in page.splitlines():
        cells = line.split(" | ")
        if line.startswith("| `SOF_") and len(cells) == 3:
            words = words_of(" ".join(cells[1:]))
            sizes = {word for word in words if re.fullmatch(r"u\w*Len|lFlag|\d[\d.]*", word)}
            yield re.findall(r"`(SOF_\w+)`", cells[0]), sizes


def check(header, name, page):
    descriptions = read_descriptions(header)
    rows = list(size_rows(page))
    if not any(sizes for _, sizes in rows):
        yield f"{name}: has no table of sizes"
    for functions, sizes in rows:
        for function in functions:
            if function not in descriptions:
                yield f"{name}: {function} is not in the header"
                continue
            for size in sorted(sizes - words_of(descriptions[function])):
                yield f"{name}: {size} is not in the description of {function}"


def main(root):
    def read(path):
        return Path(root, path).read_text(encoding="utf-8")

    header = read(HEADER)
    faults = [fault for page in PAGES for fault in check(header, page, read(page))]
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
