"""Check that a DLL uses mingw_tls/ and that its thread-local variables fit into the storage of a thread.

usage: check_mingw_dll.py --nm NM --room BYTES --map MAP DLL

The DLL must not be stripped yet: the project's variables are found by their symbols. Variables of the
compiler's libraries have no symbols; they are found by their sections in MAP, the linker map.

Prints the variables. Exits with 1 if

- they need more than BYTES in total,
- one has an initial value or an alignment that mingw_tls/ does not support, which would terminate the process
  at its first use, or
- functions that mingw_tls/ replaces were linked from the compiler's libraries.
"""

import argparse
import re
import struct
import subprocess
import sys
from pathlib import Path

PREFIX = "__emutls_v."
# Members of the compiler's libraries that mingw_tls/ replaces.
REPLACED = ("eh_alloc.o", "emutls.o")
ALIGNMENT = 16


def addresses(nm, dll, link_map):
    """Return the names of the thread-local variables by the addresses of their descriptors."""
    listed = subprocess.run([nm, "--format=posix", dll], check=True, capture_output=True, text=True).stdout
    if not listed:
        sys.exit(f"{dll}: no symbols; check it before it is stripped")
    rows = (line.split() for line in listed.splitlines())
    found = {int(row[2], 16): row[0][len(PREFIX):] for row in rows if row[0].startswith(PREFIX)}
    section = re.compile(r"^ \.\w+\$__emutls_v\.(\S+)\s+0x([0-9a-f]+) ", re.MULTILINE)
    for name, address in section.findall(link_map):
        found.setdefault(int(address, 16), name)
    return found


class Image:
    """A PE32+ image, read by virtual address as if loaded at its preferred base."""

    def __init__(self, data):
        self.data = data
        header = struct.unpack_from("<I", data, 0x3C)[0]
        count, = struct.unpack_from("<H", data, header + 6)
        optional_size, = struct.unpack_from("<H", data, header + 20)
        optional = header + 24
        self.base, = struct.unpack_from("<Q", data, optional + 24)
        self.sections = [struct.unpack_from("<8xIIII", data, optional + optional_size + 40 * i)
                         for i in range(count)]

    def words(self, address, count):
        """Return 64-bit words. Uninitialised data, which the file does not contain, reads as zero."""
        offset = address - self.base
        for virtual_size, start, raw_size, raw in self.sections:
            if not start <= offset < start + max(virtual_size, raw_size):
                continue
            stored = self.data[raw + offset - start:raw + raw_size][:8 * count]
            return struct.unpack(f"<{count}Q", stored.ljust(8 * count, b"\0"))
        sys.exit(f"no section at address {address:#x}")


def faults(variables, room):
    """Yield one line per fault. `variables`: name, size, alignment, address of the initial value."""
    total = 0
    for name, size, alignment, initial_value in variables:
        total += (size + ALIGNMENT - 1) // ALIGNMENT * ALIGNMENT
        if alignment > ALIGNMENT:
            yield f"{name} is aligned to {alignment} bytes; the maximum is {ALIGNMENT}"
        if initial_value:
            yield f"{name} has an initial value other than zero"
    if total > room:
        yield f"{total} bytes of thread-local variables; the maximum is {room}"


def linked(link_map):
    """Yield one line for each library member that should have been replaced."""
    for member in REPLACED:
        if f"({member})" in link_map:
            yield f"{member} of the compiler is linked instead of mingw_tls/"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--nm", required=True)
    parser.add_argument("--room", required=True, type=int)
    parser.add_argument("--map", required=True, type=Path)
    parser.add_argument("dll")
    options = parser.parse_args()
    image = Image(Path(options.dll).read_bytes())
    link_map = options.map.read_text()
    variables = []
    for address, name in sorted(addresses(options.nm, options.dll, link_map).items()):
        size, alignment, _, initial_value = image.words(address, 4)
        variables.append((name, size, alignment, initial_value))
        print(f"  {name}: {size} bytes")
    found = list(faults(variables, options.room)) + list(linked(link_map))
    for fault in found:
        print(f"{options.dll}: {fault}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
