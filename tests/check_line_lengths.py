"""Fail if a line of a source file or document is longer than 110 columns. Rows of tables may be longer.

usage: check_line_lengths.py SOURCE_FOLDER
"""

import sys
from pathlib import Path

LONGEST = 110
ENDINGS = {".cmake", ".cpp", ".h", ".hpp", ".md", ".mjs", ".py", ".sh"}
# Folders that the project generates or downloads.
MADE = {"build", ".deps"}


def sources(folder):
    for path in sorted(folder.iterdir()):
        if path.is_dir() and path.name not in MADE and not path.name.startswith("."):
            yield from sources(path)
        elif path.suffix in ENDINGS or path.name == "CMakeLists.txt":
            yield path


def main():
    root = Path(sys.argv[1])
    files = [root / "dev", *sources(root)]
    long_lines = [f"{path.relative_to(root)}:{number}: {len(line)} columns"
                  for path in files
                  for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1)
                  if len(line) > LONGEST and not line.startswith("|")]
    print("\n".join(long_lines) or f"{len(files)} files")
    return 1 if long_lines or len(files) < 100 else 0


if __name__ == "__main__":
    sys.exit(main())
