#!/usr/bin/env python3
"""Compare the exports in the public header, the module definition files and the built DLL.

Prints one line per failed check and exits with 1, or prints a summary and exits with 0.
"""

import argparse
import re
import struct
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path

FUNCTION_COUNT = 88
LIBRARY = "velm_sof_client"
SAME_ADDRESS = ("SOF_Ext_GetSealInfoEPoint", "SOF_Ext_ParseSealInfo")
MODULES = ("velm_client_saf", "velm_openssl_api", "velm_common", "velm_dev_enum")
SYSTEM_DLLS = ("kernel32", "msvcrt", "winhttp", "user32", "shell32", "advapi32")
CHARACTERISTICS = ("DYNAMIC_BASE", "NX_COMPAT", "HIGH_ENTROPY_VA")


@dataclass
class Function:
    name: str
    result: str
    parameters: list  # pairs (type, name)
    comment: str  # its documentation, or ""


@dataclass
class Definition:
    library: str = ""
    names: list = field(default_factory=list)


@dataclass
class Image:
    exports: dict = field(default_factory=dict)  # name -> address
    unnamed_exports: int = 0
    imports: dict = field(default_factory=dict)  # DLL name as written -> function names
    directories: dict = field(default_factory=dict)  # directory number -> size
    characteristics: set = field(default_factory=set)


# ---- reading

def without_comments(text):
    return re.sub(r"/\*.*?\*/|//[^\n]*", " ", text, flags=re.DOTALL)


def parse_parameter(text):
    match = re.fullmatch(r"(.*[\s*])(\w+)", text.strip(), re.DOTALL)
    if not match:
        return text.strip(), ""
    return " ".join(match[1].split()), match[2]


def comment_before(text, position):
    """Return the documentation comment directly before a position; "" for group and trailing comments."""
    before = text[:position].rstrip()
    if not before.endswith("*/"):
        return ""
    comment = before[before.rindex("/*"):]
    if not comment.startswith("/**") or comment.startswith("/**<") or re.search(r"@[{}]", comment):
        return ""
    return comment


def parse_header(text, mark):
    """Return all functions declared as `MARK type name(parameters);` at the start of a line."""
    functions = []
    declaration = rf"^{mark}\s+([\w\s*]*?[\s*])(\w+)\s*\(([^()]*)\)\s*;"
    for match in re.finditer(declaration, text, re.MULTILINE):
        inside = match[3].strip()
        parameters = [] if inside in ("void", "") else [parse_parameter(p) for p in inside.split(",")]
        comment = comment_before(text, match.start())
        functions.append(Function(match[2], match[1].strip(), parameters, comment))
    return functions


def declared_names(text):
    """Return the names of all function declarations, in any form."""
    code = re.sub(r"^\s*#.*$", "", without_comments(text), flags=re.MULTILINE)
    return re.findall(r"\b(?!static_assert\b|offsetof\b|sizeof\b)(\w+)\s*\([^()]*\)\s*;", code)


def parse_cjson_header(text):
    return re.findall(r"^CJSON_PUBLIC\([^)]*\)\s*(\w+)\s*\(", text, re.MULTILINE)


def parse_definition(text):
    definition = Definition()
    for line in text.splitlines():
        words = line.split(";")[0].replace("=", " = ").split()
        if not words or words == ["EXPORTS"]:
            continue
        if words[0] == "LIBRARY":
            definition.library = " ".join(words[1:])
        else:
            definition.names.append(words[0])
    return definition


def parse_objdump(text):
    """Parse the output of `objdump -p` for a DLL."""
    image = Image()
    addresses, names, dll = {}, {}, None
    for line in text.splitlines():
        if match := re.match(r"Entry ([0-9a-f]) [0-9a-f]+ ([0-9a-f]+) ", line):
            image.directories[int(match[1], 16)] = int(match[2], 16)
        elif match := re.match(r"\tDLL Name: (\S+)", line):
            dll = match[1]
            image.imports[dll] = []
        elif match := re.match(r"\s+\[\s*(\d+)\] \+base\[\s*\d+\] ([0-9a-f]+) Export RVA", line):
            addresses[int(match[1])] = int(match[2], 16)
        elif match := re.match(r"\s+\[\s*(\d+)\] \+base\[\s*\d+\] [0-9a-f]+ Forwarder RVA", line):
            addresses[int(match[1])] = None
        elif match := re.match(r"\s+\[\s*(\d+)\](?: \+base\[\s*\d+\]\s+[0-9a-f]+)? (\S+)$", line):
            names[int(match[1])] = names.get(int(match[1]), []) + [match[2]]
        elif dll and (match := re.match(r"\s+[0-9a-f]+\s+(?:<none>\s+)?[0-9a-f]+\s+(\w+)", line)):
            image.imports[dll].append(match[1])
        elif match := re.match(r"\t{3,}([A-Z_]+)$", line):
            image.characteristics.add(match[1])
        elif not line.strip():
            dll = None
    image.exports = {name: addresses.get(index) for index, list_ in names.items() for name in list_}
    image.unnamed_exports = len(set(addresses) - set(names))
    return image


def time_stamp(image_bytes):
    """Return the time stamp of the COFF header."""
    header = struct.unpack_from("<I", image_bytes, 0x3C)[0]
    if image_bytes[header:header + 4] != b"PE\0\0":
        raise ValueError("no PE header")
    return struct.unpack_from("<I", image_bytes, header + 8)[0]


# ---- checking: each function returns the lines to print

def compare_names(place, found, expected):
    failures = [f"{place}: missing {name}" for name in expected if name not in found]
    failures += [f"{place}: unexpected {name}" for name in found if name not in expected]
    twice = sorted({name for name in found if found.count(name) > 1})
    return failures + [f"{place}: {name} occurs more than once" for name in twice]


def check_documentation(function):
    place = f"header: {function.name}"
    if not function.comment:
        return [f"{place} is not documented"]
    # An entry extends from its command to the next command.
    entries = re.split(r"\n[\s*]*(?=@)", function.comment.removesuffix("*/"))
    parameters, retvals = [], 0
    failures = []
    for entry in entries:
        words = " ".join(re.sub(r"\n\s*\*", " ", entry).split())
        if words.startswith("@param"):
            match = re.match(r"@param(?:\[([a-z,]*)\])? ?(\w*) ?(.*)", words)
            parameters.append(match[2])
            by_type = dict((name, type_) for type_, name in function.parameters)
            read_only = match[2] in by_type and ("*" not in by_type[match[2]] or "const" in by_type[match[2]])
            if match[1] not in ("in", "out", "in,out"):
                failures.append(f"{place}: parameter {match[2]} has no direction")
            elif read_only and match[1] != "in":
                failures.append(f"{place}: parameter {match[2]} cannot be [{match[1]}]")
            if not match[3]:
                failures.append(f"{place}: parameter {match[2]} is not described")
        elif words.startswith("@retval"):
            retvals += 1
    declared = [name for _, name in function.parameters]
    failures += compare_names(f"{place}: documentation", parameters, declared)
    if sorted(parameters) == sorted(declared) and parameters != declared:
        failures.append(f"{place}: parameters are not documented in the order of their declaration")
    if function.result == "void" and retvals:
        failures.append(f"{place} returns nothing but documents results")
    if function.result != "void" and not retvals:
        failures.append(f"{place} documents no results")
    return failures


def check_header(functions, text):
    names = [function.name for function in functions]
    failures = []
    if len(names) != FUNCTION_COUNT:
        failures.append(f"header: declares {len(names)} functions instead of {FUNCTION_COUNT}")
    failures += compare_names("header", names, declared_names(text))
    for function in functions:
        failures += check_documentation(function)
    defined = set(re.findall(r"^#define (SOR_\w+)", text, re.MULTILINE))
    failures += [f"header: {code} is used but not defined"
                 for code in sorted(set(re.findall(r"\bSOR_\w+", text)) - defined)]
    return failures


def check_definition(definition, library, expected):
    place = f"{library}.def"
    failures = compare_names(place, definition.names, expected)
    if definition.library != library:
        failures.append(f"{place}: the library name is \"{definition.library}\"")
    return failures


def check_exports(image, expected):
    failures = compare_names("DLL exports", list(image.exports), expected)
    if image.unnamed_exports:
        failures.append(f"DLL exports: {image.unnamed_exports} without a name")
    failures += [f"DLL exports: {name} has no address in the DLL"
                 for name, address in image.exports.items() if address is None]
    first, second = SAME_ADDRESS
    if image.exports.get(first) != image.exports.get(second):
        failures.append(f"DLL exports: {first} and {second} differ in address")
    return failures


def check_imports(image, modules):
    """Check the imports. `modules`: names in the definition file, by module."""
    failures = []
    for dll, names in image.imports.items():
        library = dll.lower().removesuffix(".dll")
        if library in modules:
            failures += [f"DLL imports: {name} of {dll} is not in {library}.def"
                         for name in names if name not in modules[library]]
        elif library not in SYSTEM_DLLS:
            failures.append(f"DLL imports: {dll} is not allowed")
    if not image.imports:
        failures.append("DLL imports: none found")
    if image.directories.get(0xD):
        failures.append("DLL imports: some are delay-loaded")
    return failures


def check_image(image, image_bytes):
    failures = [f"DLL: {name} is not set" for name in CHARACTERISTICS if name not in image.characteristics]
    try:
        if stamp := time_stamp(image_bytes):
            failures.append(f"DLL: the time stamp is 0x{stamp:08X} instead of 0")
    except (ValueError, struct.error):
        failures.append("DLL: has no PE header")
    if not image.directories.get(2):
        failures.append("DLL: has no resources")
    if "StringFileInfo".encode("utf-16-le") not in image_bytes:
        failures.append("DLL: has no version information")
    return failures


def check_module(name, header_text, definition):
    functions = parse_header(header_text, "VELM_MODULE_API")
    names = [function.name for function in functions]
    failures = check_definition(definition, name, names)
    failures += compare_names(f"{name}.h", names, declared_names(header_text))
    if not names:
        failures.append(f"{name}.h: declares no functions")
    return failures


# ---- the command

def run(options):
    header_text = options.header.read_text(encoding="utf-8")
    functions = parse_header(header_text, "VELM_SOF_API")
    cjson_names = parse_cjson_header(options.cjson_header.read_text(encoding="utf-8"))
    expected = [function.name for function in functions] + cjson_names

    failures = check_header(functions, header_text)
    if not cjson_names:
        failures.append("cJSON's header: declares no functions")
    definition = parse_definition(options.definition.read_text(encoding="utf-8"))
    failures += check_definition(definition, LIBRARY, expected)

    modules = {}
    for module in MODULES:
        definition = parse_definition((options.modules_dir / f"{module}.def").read_text(encoding="utf-8"))
        module_header = (options.modules_dir / f"{module}.h").read_text(encoding="utf-8")
        failures += check_module(module, module_header, definition)
        modules[module] = definition.names

    if not options.without_dll:
        command = [options.objdump, "-p", str(options.dll)]
        dump = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True)
        image = parse_objdump(dump.stdout)
        failures += check_exports(image, expected)
        failures += check_imports(image, modules)
        failures += check_image(image, options.dll.read_bytes())

    for failure in failures:
        print(failure)
    if not failures:
        print(f"catalogue: {len(functions)} functions, {len(cjson_names)} of cJSON, "
              f"{sum(map(len, modules.values()))} of the modules; "
              f"{'DLL not checked' if options.without_dll else 'DLL matches'}")
    return 1 if failures else 0


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--header", type=Path, required=True, help="velm_sof_client.h")
    parser.add_argument("--def", dest="definition", type=Path, required=True, help="velm_sof_client.def")
    parser.add_argument("--cjson-header", type=Path, required=True, help="cJSON.h")
    parser.add_argument("--modules-dir", type=Path, required=True, help="the modules' headers and .def files")
    parser.add_argument("--dll", type=Path, help="the built velm_sof_client.dll")
    parser.add_argument("--objdump", default="x86_64-w64-mingw32-objdump", help="objdump for Windows images")
    parser.add_argument("--without-dll", action="store_true", help="skip the checks of the DLL")
    options = parser.parse_args(arguments)
    if options.without_dll == (options.dll is not None):
        parser.error("exactly one of --dll and --without-dll is required")
    try:
        return run(options)
    except (OSError, UnicodeDecodeError, subprocess.CalledProcessError) as error:
        print(f"catalogue: {error}")
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
