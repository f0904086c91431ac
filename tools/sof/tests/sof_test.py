"""Tests the sub-commands of sof that need no local service, as text and as JSON, and their exit statuses."""

import base64
import hashlib
import os
import unittest

from sof_case import BINARY, CALL_FAILED, DONE, FILE, NO_SERVICE, PIN, USAGE, SofCase
from sof_console import ConsoleRun, unread_sof


class WithoutService(SofCase):
    def test_help_lists_commands_and_exit_statuses(self):
        text = self.done("--help").text
        for word in ("login", "doctor", "Exit status:", "  5  the local service cannot be reached"):
            self.assertIn(word, text)
        self.assertIn("--detached", self.done("sign message --help").text)
        self.assertRegex(self.done("--version").text, r"^\d+\.\d+\.\d+\n$")

    def test_an_invalid_command_line_has_its_own_status(self):
        for line in ("", "nonsense", "login", "cert info", "error 12345678x", "error 123456789", "error 0x",
                     "error +1", "error ' 1'", "error -- -1", "hash --algorithm md5", "hash --id somebody",
                     "sign data SM2_DEMO --pin 12345678"):
            self.assertNotEqual(self.ends(USAGE, line).errors, "")

    def test_an_unreachable_service_has_its_own_status(self):
        self.assertEqual(self.fails(NO_SERVICE, "SOF_GetUserList", "0x0B000445", "users"), "通讯错误")
        self.fails(NO_SERVICE, "SOF_Login", "0x0B000445", "login SM2_DEMO", PIN)

    def test_error_texts(self):
        self.assertEqual(self.done("error 0x0B000426").text, "0x0B000426 错误的口令\n")
        self.assertEqual(self.done("error b000445").text, "0x0B000445 通讯错误\n")
        self.assertEqual(self.done("error 0x02000403").text, "0x02000403 未登录\n")
        self.assertEqual(self.json("error 0")["text"], "成功")
        self.assertEqual(self.ends(CALL_FAILED, "error 12345678").text, "0x12345678 has no text\n")

    def test_base64_goes_both_ways(self):
        encoded = base64.b64encode(BINARY)
        self.assertEqual(self.done("base64", BINARY).output, encoded + b"\n")
        self.assertEqual(self.done("base64 -d", encoded + b"\r\n").output, BINARY)
        self.assertEqual(self.json("base64", BINARY)["text"].encode(), encoded)
        self.write("encoded", encoded)
        self.done("base64 -d -i encoded -o decoded")
        self.assertEqual(self.read("decoded"), BINARY)
        self.assertEqual(self.done("base64").output, b"\n")
        self.fails(CALL_FAILED, "SOF_Base64Decode", "0x0B010005", "base64 -d", b"a")

    def test_hashes_of_data_and_files_agree(self):
        expected = hashlib.sha256(BINARY).hexdigest()
        self.write("散列 输入.bin", BINARY)
        self.assertEqual(self.done("hash --algorithm sha256", BINARY).text, expected + "\n")
        self.assertEqual(self.done("hash --algorithm sha256 -i '散列 输入.bin'").text, expected + "\n")
        sha1 = self.json("hash --algorithm sha1 -i '散列 输入.bin'")["hex"]
        self.assertEqual(sha1, hashlib.sha1(BINARY).hexdigest())
        self.done("hash --algorithm sha256 -o hash", BINARY)
        self.assertEqual(self.read("hash").hex(), expected)
        self.assertEqual(self.done("hash", b"abc").text,
                         "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0\n")

    def test_files_that_cannot_be_used(self):
        for line in ("hash -i absent", "base64 -i absent", "hash -o absent/out",
                     "verify data --cert absent --signature absent"):
            self.assertIn("absent", self.ends(FILE, line, b"abc").errors)
        self.assertEqual(self.json("base64 -i absent", status=FILE)["path"], "absent")

    def test_a_file_that_fails_while_it_is_read(self):
        # Linux opens this file but fails the first read.
        self.assertIn("mem: cannot be read", self.ends(FILE, "base64 -i Z:/proc/self/mem").errors)
        self.assertEqual(self.json("base64 -i Z:/proc/self/mem", status=FILE)["message"], "cannot be read")

    def test_a_closed_standard_output_is_reported(self):
        for line, status in (("error 0", FILE), ("error 0 --json", FILE), ("doctor", FILE),
                             ("log --json", FILE), ("--help", FILE),
                             ("users", NO_SERVICE), ("users --json", NO_SERVICE)):
            result = unread_sof(line, self.folder)
            self.assertEqual(result.status, status, (line, result.errors))
            self.assertNotIn("terminate", result.errors)

    def test_progress_is_shown_on_a_console(self):
        with open(os.path.join(self.folder, "large"), "wb") as file:
            file.truncate(256 << 20)
        run = ConsoleRun("hash -i large", self.folder)
        self.assertEqual(run.end(), DONE, run.shown)
        self.assertIn(b"256.0 MiB", run.shown)

    def test_a_console_shows_bytes_as_base64(self):
        self.write("encoded", base64.b64encode(b"\0\1\2"))
        run = ConsoleRun("base64 -d -i encoded", self.folder)
        self.assertEqual(run.end(), DONE, run.shown)
        self.assertIn(base64.b64encode(b"\0\1\2"), run.shown)

    def test_signing_xml_is_not_supported(self):
        self.fails(CALL_FAILED, "SOF_SignDataXML", "0x0B000002", "sign xml SM2_DEMO", b"<a/>")


if __name__ == "__main__":
    unittest.main()
