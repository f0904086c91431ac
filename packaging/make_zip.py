#!/usr/bin/env python3
"""Pack the files of a tree into a zip file, below a top-level folder.

usage: make_zip.py TREE ZIP FOLDER

The output is reproducible: names are sorted, and times and permissions are fixed.
"""

import sys
import zipfile
from pathlib import Path


def entry(name):
    info = zipfile.ZipInfo(name, date_time=(1980, 1, 1, 0, 0, 0))
    info.external_attr = 0o100644 << 16
    info.compress_type = zipfile.ZIP_DEFLATED
    return info


def main(tree, archive, folder):
    files = sorted(path.relative_to(tree).as_posix() for path in Path(tree).rglob("*") if path.is_file())
    with zipfile.ZipFile(archive, "w", compresslevel=9) as out:
        for name in files:
            out.writestr(entry(f"{folder}/{name}"), (Path(tree) / name).read_bytes(), compresslevel=9)


if __name__ == "__main__":
    main(*sys.argv[1:])
