#!/usr/bin/env python3
"""Tests of check_catalogue.py: small catalogues, valid or with one fault each."""

import contextlib
import io
import os
import re
import struct
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import check_catalogue as checker

SEAL_NAMES = list(checker.SAME_ADDRESS)
PLAIN_NAMES = [f"SOF_F{number:02}" for number in range(checker.FUNCTION_COUNT - len(SEAL_NAMES) - 1)]
CJSON_NAMES = ["cJSON_Parse", "cJSON_Delete"]
NAMES = PLAIN_NAMES + ["SOF_Text"] + SEAL_NAMES
MODULE_FUNCTIONS = {
    "velm_client_saf": ["SAF_Hash", "SAF_Finalize"],
    "velm_openssl_api": ["VELM_Openssl_Encrypt"],
    "velm_common": ["vc_input_pin"],
    "velm_dev_enum": ["vde_get_last_device_config"],
}


def plain_function(name):
    return f"""/**
 * @brief Does something.
 * @param[in] pInput Data,
 *   over two lines.
 * @param[in] uLen Length.
 * @param[out] puOut Result.
 * @retval SOR_OK Done.
 */
VELM_SOF_API uint32_t {name}(
    const uint8_t* pInput, uint32_t uLen,
    uint32_t* puOut);

"""


def header():
    text = "#define VELM_SOF_API\n#define SOR_OK 0u  /**< Fine. */\n/** @{ */\n"
    text += "".join(plain_function(name) for name in PLAIN_NAMES)
    text += "/** @brief Text.\n * @param[out] pszText Text. */\n"
    text += "VELM_SOF_API void SOF_Text(\n    char* pszText);\n"
    text += "".join("/** @brief Seal.\n * @retval SOR_OK Done. */\n"
                    f"VELM_SOF_API uint32_t {name}(\n    void);\n" for name in SEAL_NAMES)
    return text + "/** @} */\n"


def definition(library, names):
    lines = [f"{name} = {SEAL_NAMES[1]}" if name == SEAL_NAMES[0] else name for name in names]
    return f"; exports\nLIBRARY {library}\nEXPORTS\n" + "".join(f"  {line}\n" for line in lines)


def objdump_text(names):
    """Return objdump's output. Each name has its own address, except that the two seal names share one."""
    address = {name: 0x1000 + 16 * index for index, name in enumerate(names)}
    address[SEAL_NAMES[1]] = address[SEAL_NAMES[0]]
    text = "DllCharacteristics\t00000160\n"
    text += "".join(f"\t\t\t\t\t{name}\n" for name in checker.CHARACTERISTICS)
    text += "\nThe Data Directory\n"
    text += "Entry 2 0000000000001000 00000200 Resource Directory [.rsrc]\n"
    text += "Entry d 0000000000000000 00000000 Delay Import Directory\n"
    columns = "\tvma:  Hint/Ord Member-Name Bound-To\n"
    text += f"\n\tDLL Name: KERNEL32.dll\n{columns}\t1d340\t  283  Sleep\n"
    text += f"\n\tDLL Name: VELM_client_saf.dll\n{columns}\t1d341\t    0  SAF_Hash\n"
    text += "\nExport Address Table -- Ordinal Base 1\n"
    text += "".join(f"\t[{index:4}] +base[{index + 1:4}] {address[name]:x} Export RVA\n"
                    for index, name in enumerate(names))
    text += "\n[Ordinal/Name Pointer] Table\n"
    return text + "".join(f"\t[{index:4}] {name}\n" for index, name in enumerate(names))


def image_bytes(stamp=0):
    image = bytearray(0x100)
    struct.pack_into("<I", image, 0x3C, 0x80)
    image[0x80:0x84] = b"PE\0\0"
    struct.pack_into("<I", image, 0x88, stamp)
    return bytes(image) + "StringFileInfo".encode("utf-16-le")


class Catalogue:
    """The inputs of the checker, valid until a test changes them."""

    def __init__(self):
        self.header = header()
        self.definition = definition(checker.LIBRARY, NAMES + CJSON_NAMES)
        self.cjson = "".join(f"CJSON_PUBLIC(cJSON *) {name}(char *value);\n" for name in CJSON_NAMES)
        self.objdump = objdump_text(NAMES + CJSON_NAMES)
        self.objdump_code = 0
        self.dll = image_bytes()
        self.module_headers, self.module_definitions = {}, {}
        for module, names in MODULE_FUNCTIONS.items():
            declarations = [f"VELM_MODULE_API void* {name}(\n    void);\n" for name in names]
            self.module_headers[module] = "".join(declarations)
            self.module_definitions[module] = definition(module, names)

    def run(self, with_dll=True):
        with tempfile.TemporaryDirectory() as name:
            directory = Path(name)
            files = {"sof.h": self.header, "sof.def": self.definition, "cJSON.h": self.cjson,
                     "dump.txt": self.objdump,
                     "objdump": "#!/bin/sh\n"
                                f"[ \"$1\" = -p ] && [ \"$2\" = '{name}/sof.dll' ] || exit 2\n"
                                f"cat '{name}/dump.txt'\nexit {self.objdump_code}\n"}
            for module in MODULE_FUNCTIONS:
                files[f"{module}.h"] = self.module_headers[module]
                files[f"{module}.def"] = self.module_definitions[module]
            for file, text in files.items():
                (directory / file).write_text(text, encoding="utf-8")
            (directory / "sof.dll").write_bytes(self.dll)
            os.chmod(directory / "objdump", 0o755)
            arguments = ["--header", f"{name}/sof.h", "--def", f"{name}/sof.def",
                         "--cjson-header", f"{name}/cJSON.h", "--modules-dir", name,
                         "--objdump", f"{name}/objdump"]
            arguments += ["--dll", f"{name}/sof.dll"] if with_dll else ["--without-dll"]
            output = io.StringIO()
            with contextlib.redirect_stdout(output):
                code = checker.main(arguments)
            return code, output.getvalue().splitlines()


class ValidCatalogue(unittest.TestCase):
    def test_all_checks_pass(self):
        self.assertEqual(Catalogue().run(), (0, ["catalogue: 88 functions, 2 of cJSON, 5 of the modules; "
                                                 "DLL matches"]))

    def test_without_dll(self):
        catalogue = Catalogue()
        catalogue.objdump = ""
        catalogue.dll = b""
        code, lines = catalogue.run(with_dll=False)
        self.assertEqual(code, 0)
        self.assertIn("DLL not checked", lines[0])

    def test_newer_objdump_format(self):
        catalogue = Catalogue()
        tables, names = catalogue.objdump.split("[Ordinal/Name Pointer] Table\n")
        names = re.sub(r"\[ *(\d+)\] ",
                       lambda m: f"[{m[1]:>4}] +base[{int(m[1]) + 1:4}]  {int(m[1]):04x} ", names)
        tables = tables.replace("\t1d340\t  283  Sleep", "\t0001d340  <none>  011b  Sleep")
        catalogue.objdump = tables + "[Ordinal/Name Pointer] Table\n" + names
        self.assertEqual(catalogue.run()[0], 0)


class OneFault(unittest.TestCase):
    """Each test breaks one thing and expects exactly the lines that report it."""

    def expect(self, catalogue, *lines):
        self.assertEqual(catalogue.run(), (1, list(lines)))

    def replace(self, attribute, old, new, *lines, count=1):
        catalogue = Catalogue()
        text = getattr(catalogue, attribute)
        self.assertIn(old, text)
        setattr(catalogue, attribute, text.replace(old, new, count))
        self.expect(catalogue, *lines)

    # The header

    def test_function_missing(self):
        self.replace("header", plain_function("SOF_F07"), "",
                     "header: declares 87 functions instead of 88",
                     "velm_sof_client.def: unexpected SOF_F07",
                     "DLL exports: unexpected SOF_F07")

    def test_function_twice(self):
        self.replace("header", plain_function("SOF_F07"), 2 * plain_function("SOF_F07"),
                     "header: declares 89 functions instead of 88",
                     "header: SOF_F07 occurs more than once")

    def test_declaration_in_another_form(self):
        self.replace("header", "/** @} */", "extern uint32_t SOF_Other(void);\n/** @} */",
                     "header: missing SOF_Other")

    def test_no_documentation(self):
        self.replace("header", "/** @brief Text.\n * @param[out] pszText Text. */\n", "",
                     "header: SOF_Text is not documented")

    def test_plain_comment_is_not_documentation(self):
        self.replace("header", "/** @brief Text.", "/* @brief Text.", "header: SOF_Text is not documented")

    def test_group_comment_is_not_documentation(self):
        self.replace("header", "/** @brief Text.\n * @param[out] pszText Text. */", "/** @} */",
                     "header: SOF_Text is not documented")

    def test_parameter_undocumented(self):
        self.replace("header", " * @param[in] uLen Length.\n", "",
                     "header: SOF_F00: documentation: missing uLen")

    def test_unknown_parameter(self):
        self.replace("header", "@param[in] uLen Length.", "@param[in] uLength Length.",
                     "header: SOF_F00: documentation: missing uLen",
                     "header: SOF_F00: documentation: unexpected uLength")

    def test_parameter_documented_twice(self):
        self.replace("header", " * @param[in] uLen Length.\n", 2 * " * @param[in] uLen Length.\n",
                     "header: SOF_F00: documentation: uLen occurs more than once")

    def test_parameters_in_different_order(self):
        self.replace("header", "pInput Data,\n *   over two lines.\n * @param[in] uLen Length.",
                     "uLen Length.\n * @param[in] pInput Data.",
                     "header: SOF_F00: parameters are not documented in the order of their declaration")

    def test_parameter_without_direction(self):
        self.replace("header", "@param[in] uLen", "@param uLen",
                     "header: SOF_F00: parameter uLen has no direction")

    def test_parameter_with_impossible_direction(self):
        self.replace("header", "@param[in] uLen", "@param[out] uLen",
                     "header: SOF_F00: parameter uLen cannot be [out]")
        self.replace("header", "@param[in] pInput", "@param[in,out] pInput",
                     "header: SOF_F00: parameter pInput cannot be [in,out]")

    def test_parameter_without_description(self):
        self.replace("header", "@param[in] uLen Length.", "@param[in] uLen",
                     "header: SOF_F00: parameter uLen is not described")

    def test_no_result_documented(self):
        self.replace("header", " * @retval SOR_OK Done.\n", "", "header: SOF_F00 documents no results")

    def test_result_documented_for_void_function(self):
        self.replace("header", "pszText Text. */", "pszText Text.\n * @retval SOR_OK Done. */",
                     "header: SOF_Text returns nothing but documents results")

    def test_undefined_code(self):
        self.replace("header", "@retval SOR_OK", "@retval SOR_OKAY",
                     "header: SOR_OKAY is used but not defined")

    # The module definition file

    def test_definition_lacks_a_name(self):
        self.replace("definition", "  SOF_F03\n", "", "velm_sof_client.def: missing SOF_F03")

    def test_definition_lacks_a_cjson_name(self):
        self.replace("definition", "  cJSON_Delete\n", "", "velm_sof_client.def: missing cJSON_Delete")

    def test_definition_has_an_extra_name(self):
        self.replace("definition", "  SOF_F03\n", "  SOF_F03\n  SOF_F99\n",
                     "velm_sof_client.def: unexpected SOF_F99")

    def test_definition_has_a_name_in_a_comment(self):
        self.replace("definition", "  SOF_F03\n", "  ; SOF_F03\n", "velm_sof_client.def: missing SOF_F03")

    def test_definition_of_another_library(self):
        self.replace("definition", "LIBRARY velm_sof_client", "LIBRARY other",
                     "velm_sof_client.def: the library name is \"other\"")

    def test_cjson_header_declares_nothing(self):
        self.replace("cjson", "CJSON_PUBLIC", "CJSON_HIDDEN",
                     "cJSON's header: declares no functions",
                     "velm_sof_client.def: unexpected cJSON_Parse",
                     "velm_sof_client.def: unexpected cJSON_Delete",
                     "DLL exports: unexpected cJSON_Parse",
                     "DLL exports: unexpected cJSON_Delete", count=-1)

    # The exports of the DLL

    def expect_exports(self, names, *lines):
        catalogue = Catalogue()
        catalogue.objdump = objdump_text(names)
        self.expect(catalogue, *lines)

    def test_export_missing(self):
        self.expect_exports([name for name in NAMES + CJSON_NAMES if name != "SOF_F05"],
                            "DLL exports: missing SOF_F05")

    def test_extra_export(self):
        self.expect_exports(NAMES + CJSON_NAMES + ["DllMain"],
                            "DLL exports: unexpected DllMain")

    def test_export_without_name(self):
        self.replace("objdump", "\n\n[Ordinal", "\n\t[  90] +base[  91] 2000 Export RVA\n\n[Ordinal",
                     "DLL exports: 1 without a name")

    def test_export_forwarded(self):
        self.replace("objdump", "1000 Export RVA", "1000 Forwarder RVA -- other.SOF_F00",
                     "DLL exports: SOF_F00 has no address in the DLL")

    def test_seal_names_at_two_addresses(self):
        index = NAMES.index(SEAL_NAMES[1])
        address = 0x1000 + 16 * (index - 1)
        self.replace("objdump", f"+base[{index + 1:4}] {address:x} ", f"+base[{index + 1:4}] 9999 ",
                     "DLL exports: SOF_Ext_GetSealInfoEPoint and SOF_Ext_ParseSealInfo differ in address")

    # The imports and the image

    def test_import_from_a_disallowed_dll(self):
        for dll in ("WS2_32.dll", "PSAPI.DLL", "libstdc++-6.dll"):
            self.replace("objdump", "DLL Name: KERNEL32.dll", f"DLL Name: {dll}",
                         f"DLL imports: {dll} is not allowed")

    def test_import_of_an_unknown_module_function(self):
        self.replace("objdump", "SAF_Hash", "SAF_Sign",
                     "DLL imports: SAF_Sign of VELM_client_saf.dll is not in velm_client_saf.def")

    def test_no_imports(self):
        self.replace("objdump", "DLL Name: ", "DLL: ", "DLL imports: none found", count=-1)

    def test_delayed_imports(self):
        self.replace("objdump", "Entry d 0000000000000000 00000000", "Entry d 0000000000003000 00000040",
                     "DLL imports: some are delay-loaded")

    def test_characteristics(self):
        for name in checker.CHARACTERISTICS:
            self.replace("objdump", f"\t{name}\n", "\n", f"DLL: {name} is not set")

    def test_time_stamp(self):
        catalogue = Catalogue()
        catalogue.dll = image_bytes(0x6B01902D)
        self.expect(catalogue, "DLL: the time stamp is 0x6B01902D instead of 0")

    def test_no_image(self):
        catalogue = Catalogue()
        catalogue.dll = b"MZ"
        self.expect(catalogue, "DLL: has no PE header", "DLL: has no version information")

    def test_no_resources(self):
        self.replace("objdump", "0000000000001000 00000200 Resource", "0000000000000000 00000000 Resource",
                     "DLL: has no resources")

    def test_no_version_information(self):
        self.replace("dll", "StringFileInfo".encode("utf-16-le"), b"", "DLL: has no version information")

    def test_objdump_prints_nothing(self):
        catalogue = Catalogue()
        catalogue.objdump = ""
        code, lines = catalogue.run()
        self.assertEqual(code, 1)
        self.assertIn("DLL exports: missing SOF_F00", lines)

    def test_objdump_fails(self):
        catalogue = Catalogue()
        catalogue.objdump_code = 3
        code, lines = catalogue.run()
        self.assertEqual((code, len(lines)), (1, 1))
        self.assertIn("exit status 3", lines[0])

    # The modules

    def test_module_definition_has_a_name_that_its_header_lacks(self):
        catalogue = Catalogue()
        catalogue.module_definitions["velm_common"] += "  vc_other\n"
        self.expect(catalogue, "velm_common.def: unexpected vc_other")

    def test_module_definition_lacks_a_name_of_its_header(self):
        catalogue = Catalogue()
        catalogue.module_definitions["velm_client_saf"] = definition("velm_client_saf", ["SAF_Hash"])
        self.expect(catalogue, "velm_client_saf.def: missing SAF_Finalize")

    def test_module_definition_names_another_library(self):
        catalogue = Catalogue()
        catalogue.module_definitions["velm_common"] = definition("velm_comon", ["vc_input_pin"])
        self.expect(catalogue, "velm_common.def: the library name is \"velm_comon\"")

    def test_module_header_declares_nothing(self):
        catalogue = Catalogue()
        catalogue.module_headers["velm_common"] = ""
        self.expect(catalogue, "velm_common.def: unexpected vc_input_pin",
                    "velm_common.h: declares no functions")

    def test_file_missing(self):
        lines = io.StringIO()
        with contextlib.redirect_stdout(lines):
            code = checker.main(["--header", "/nonexistent.h", "--def", "x", "--cjson-header", "x",
                                 "--modules-dir", "x", "--without-dll"])
        self.assertEqual(code, 1)
        self.assertIn("/nonexistent.h", lines.getvalue())


class Arguments(unittest.TestCase):
    def test_dll_and_without_dll_are_exclusive(self):
        basic = ["--header", "x", "--def", "x", "--cjson-header", "x", "--modules-dir", "x"]
        for arguments in (basic, basic + ["--dll", "x", "--without-dll"]):
            with contextlib.redirect_stderr(io.StringIO()), self.assertRaises(SystemExit) as raised:
                checker.main(arguments)
            self.assertEqual(raised.exception.code, 2)


if __name__ == "__main__":
    unittest.main()
