#!/usr/bin/env python3
"""Print the files of a tree as macros for the installer script.

usage: list_files.py TREE

InstallFiles copies them to $INSTDIR. RemoveFiles deletes exactly these files, and their folders if they are
empty afterwards. ForEachProgram calls a macro with the name of each program and library.
"""

import sys
from pathlib import Path


def windows(path):
    return str(path).replace("/", "\\")


def macro(name, lines):
    print(f"!macro {name}")
    for line in lines:
        print(f"  {line}")
    print("!macroend")


def main(tree):
    tree = Path(tree).resolve()
    files = sorted(path.relative_to(tree) for path in tree.rglob("*") if path.is_file())
    folders = sorted({parent for file in files for parent in file.parents} - {Path(".")})
    install = []
    for folder in [Path("."), *folders]:
        inside = [file for file in files if file.parent == folder]
        if inside:
            place = "$INSTDIR" if folder == Path(".") else f"$INSTDIR\\{windows(folder)}"
            install.append(f'SetOutPath "{place}"')
            install += [f'File "{tree / file}"' for file in inside]
    macro("InstallFiles", install)
    macro("RemoveFiles", [f'Delete "$INSTDIR\\{windows(file)}"' for file in files]
          + [f'RMDir "$INSTDIR\\{windows(folder)}"' for folder in reversed(folders)])
    macro("ForEachProgram", [f'!insertmacro ${{ACTION}} "{windows(file)}"'
                             for file in files if file.suffix in (".exe", ".dll")])


if __name__ == "__main__":
    main(*sys.argv[1:])
