#!/usr/bin/env python3
"""Compares the functions that the Python, C# and Java examples declare with the public header."""

import ctypes
import re
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path[:0] = [str(ROOT / "tests" / "catalogue"), str(ROOT / "examples" / "python")]

import check_catalogue  # noqa: E402
import story  # noqa: E402

# Equivalents of the C types in each language.
PYTHON = {
    "uint32_t": ctypes.c_uint32,
    "uint32_t*": ctypes.POINTER(ctypes.c_uint32),
    "const char*": ctypes.c_char_p,
    "const uint8_t*": ctypes.c_char_p,
    "uint8_t*": ctypes.c_char_p,
}
CSHARP = {
    "void": "void",
    "uint32_t": "uint",
    "uint32_t*": "ref uint",
    "const char*": "byte[]",
    "const uint8_t*": "byte[]",
    "uint8_t*": "[Out] byte[]",
    "char*": "[Out] byte[]",
}
JAVA = {
    "void": "void",
    "uint32_t": "int",
    "uint32_t*": "IntByReference",
    "const char*": "String",
    "const uint8_t*": "byte[]",
    "uint8_t*": "byte[]",
    "char*": "byte[]",
}


def header_functions():
    text = (ROOT / "inc" / "velm_sof_client.h").read_text(encoding="utf-8")
    return {function.name: function for function in check_catalogue.parse_header(text, "VELM_SOF_API")}


def declared(text, pattern):
    """Returns name -> (result type, parameter types). The pattern captures result, name and parameter
    list."""
    functions = {}
    for result, name, parameters in re.findall(pattern, text):
        types = [" ".join(parameter.split()).rpartition(" ")[0] for parameter in parameters.split(",")]
        functions[name] = (result, types if parameters.strip() else [])
    return functions


def csharp(text):
    return declared(text, r"\[DllImport\(Library\)\] public static extern (\w+) (\w+)\(([^)]*)\);")


def java(text):
    return declared(text, r"\n    (\w+) (SOF_\w+)\(([^)]*)\);")


def differences(functions, types):
    """Returns the differences between a binding and the header, in the language's types."""
    header = header_functions()
    found = []
    for name, declaration in functions.items():
        function = header.get(name)
        if function is None:
            found.append(f"{name} is no function of the library")
            continue
        expected = (types[function.result], [types[type_] for type_, _ in function.parameters])
        if declaration != expected:
            found.append(f"{name} is declared as {declaration} instead of {expected}")
    return found


def source(language, name):
    return (ROOT / "examples" / language / name).read_text(encoding="utf-8")


class Bindings(unittest.TestCase):
    def test_python(self):
        functions = {name: (ctypes.c_uint32, types) for name, types in story.PROTOTYPES.items()}
        self.assertEqual(differences(functions, PYTHON), [])
        self.assertEqual(len(functions), 10)

    def test_csharp(self):
        text = source("csharp", "Story.cs")
        self.assertEqual(differences(csharp(text), CSHARP), [])
        self.assertEqual(len(csharp(text)), text.count("DllImport("))

    def test_java(self):
        text = source("java", "Story.java")
        self.assertEqual(differences(java(text), JAVA), [])
        self.assertEqual(set(java(text)), set(csharp(source("csharp", "Story.cs"))))

    def test_a_difference_is_found(self):
        text = source("csharp", "Story.cs")
        for right, wrong in (("uint dataLength", "ulong dataLength"),
                             ("[Out] byte[] signature", "byte[] signature"),
                             ("uint SOF_Initialize", "uint SOF_Initialise"),
                             ("(byte[] container, ", "(")):
            self.assertIn(right, text)
            wrong = text.replace(right, wrong)
            self.assertNotEqual(differences(csharp(wrong), CSHARP), [])


if __name__ == "__main__":
    unittest.main()
