#!/usr/bin/env python3
"""Compares the version in the public header with that of the build and of the library's version resource.

usage: check_version.py HEADER BUILD_VERSION DLL
"""

import re
import struct
import sys
from pathlib import Path

FIXED_INFO_SIGNATURE = struct.pack("<I", 0xFEEF04BD)


def header_versions(text):
    """The version of the three numbers, and that of the text."""
    numbers = [re.search(rf"^#define VELM_SOF_VERSION_{part} +(\d+)\b", text, re.M)[1]
               for part in ("MAJOR", "MINOR", "PATCH")]
    return ".".join(numbers), re.search(r'^#define VELM_SOF_VERSION +"([^"]*)"', text, re.M)[1]


def fixed_versions(dll):
    """File and product version of VS_FIXEDFILEINFO."""
    at = dll.index(FIXED_INFO_SIGNATURE)
    words = struct.unpack_from("<8H", dll, at + 8)
    for minor, major, build, patch in (words[:4], words[4:]):
        yield f"{major}.{minor}.{patch}" + (f".{build}" if build else "")


def text_version(dll, name):
    """A string of the version resource: the name and the value in UTF-16, each aligned to 4 bytes."""
    start = dll.index((name + "\0").encode("utf-16-le")) + 2 * (len(name) + 1)
    return dll[start:start + 64].decode("utf-16-le", "replace").lstrip("\0").partition("\0")[0]


def main():
    header, build, path = sys.argv[1:]
    dll = Path(path).read_bytes()
    numbers, text = header_versions(Path(header).read_text(encoding="utf-8"))
    file_version, product_version = fixed_versions(dll)
    found = {
        "VELM_SOF_VERSION": text,
        "build": build,
        "FILEVERSION": file_version,
        "PRODUCTVERSION": product_version,
        "FileVersion": text_version(dll, "FileVersion"),
        "ProductVersion": text_version(dll, "ProductVersion"),
    }
    wrong = {name: value for name, value in found.items() if value != numbers}
    for name, value in wrong.items():
        print(f"{name} is {value!r}, the header's numbers are {numbers}")
    if not wrong:
        print(f"{numbers}: header, build and resource agree")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
