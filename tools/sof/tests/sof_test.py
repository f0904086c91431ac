"""Tests every sub-command of sof, as text and as JSON, with each exit status that it can return."""

import base64
import hashlib
import os
import unittest

from sof_case import (BINARY, CALL_FAILED, CHINESE, DONE, FILE, NO_ACCESS, NO_SERVICE, PIN, REFUSED,
                      SCAN_CONTAINERS, USAGE, ServiceCase, SofCase)
from sof_console import ConsoleRun, unread_sof

# XML documents with signatures of every form. The signing keys are not available.
SIGNED_XML = os.path.join(os.path.dirname(__file__), "..", "..", "..", "softtoken", "tests", "fuzz", "seeds",
                          "xml_signature")


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


class WithService(ServiceCase):
    def verifies(self, line):
        self.assertEqual(self.done("verify " + line).text, "valid: yes\n")

    def refuses(self, function, code, line):
        self.fails(REFUSED, function, code, "verify " + line)

    # Containers

    def test_users_are_listed_in_utf8(self):
        names = self.done("users").text.splitlines()
        self.assertIn("SM2_DEMO", names)
        self.assertIn(CHINESE, names)
        self.assertEqual(self.json("users")["users"], names)

    def test_login_state_belongs_to_the_service(self):
        name = "SEAL_SM2_DEMO"
        self.assertEqual(self.done(f"login {name}", PIN).text, f"container: {name}\nlogged in: yes\n")
        self.assertTrue(self.json(f"login {CHINESE}", PIN)["logged_in"])
        self.assertTrue(self.state_of(name)["logged_in"])
        self.assertFalse(self.json(f"logout {name}")["logged_in"])
        self.assertEqual(self.state_of(name), {"name": name, "logged_in": False, "retries_left": 10})
        self.assertRegex(self.done("users --state").text, rf"{name} +no +10\n")
        self.fails(NO_ACCESS, "SOF_SignData", "0x0B000438", f"sign data {name}", b"abc")

    def state_of(self, name):
        return next(user for user in self.json("users --state")["users"] if user["name"] == name)

    def test_a_wrong_pin_lowers_the_retry_counter(self):
        name = "RSA_1024_DEMO"
        text = self.fails(NO_ACCESS, "SOF_Login", "0x0B000426", f"login {name}", b"87654321\n")
        self.assertEqual(text, "错误的口令")
        self.assertEqual(self.done(f"pin retry {name}").text, f"container: {name}\nretries left: 9\n")
        self.assertEqual(self.json(f"pin retry {name}")["retries_left"], 9)
        self.done(f"login {name} --pin-stdin", b"12345678\r\n")
        self.assertEqual(self.json(f"pin retry {name}")["retries_left"], 10)
        self.fails(CALL_FAILED, "SOF_Login", "0x0B000425", "login nobody", PIN)

    def test_a_typed_pin_is_not_shown(self):
        run = ConsoleRun(f"login {CHINESE}", self.folder)
        run.type(b"12345678\r", f"PIN of {CHINESE}:".encode())
        self.assertEqual(run.end(), DONE, run.shown)
        self.assertIn(b"logged in: yes", run.shown)
        self.assertNotIn(b"1234", run.shown)

    def test_a_missing_or_endless_pin_is_not_sent(self):
        for data in (b"", b"\n", b"1" * 300):
            self.assertIn("PIN of SM2_DEMO", self.ends(USAGE, "login SM2_DEMO", data).errors)
        self.assertEqual(self.json("pin retry SM2_DEMO")["retries_left"], 10)

    def test_a_pin_is_changed(self):
        line = "pin change REVOKED_SM2_DEMO"
        self.assertTrue(self.json(line, b"12345678\nanother\nanother\n")["changed"])
        self.fails(NO_ACCESS, "SOF_Login", "0x0B000426", "login REVOKED_SM2_DEMO", PIN)
        self.done("login REVOKED_SM2_DEMO", b"another\n")
        self.assertIn("differ", self.ends(USAGE, line, b"another\none\ntwo\n").errors)

    def test_devices_are_described(self):
        self.assertEqual(self.json("device")["devices"], ["VELM Software Token"])
        self.assertIn("name: VELM Software Token\n", self.done("device SM2_DEMO").text)
        self.assertEqual(self.json("device SM2_DEMO")["maker"], "VELM")

    # Certificates

    def test_certificates_are_exported(self):
        line = f"cert export {CHINESE}"
        der = self.done(line).output
        self.assertEqual(der[:1], b"\x30")
        self.assertEqual(self.json_data(line), der)
        self.done(f"{line} -o 证书.der")
        self.assertEqual(self.read("证书.der"), der)
        self.assertEqual(self.done(f"{line} --base64").output, base64.b64encode(der) + b"\n")
        self.assertNotEqual(self.done(f"{line} --exchange").output, der)
        pem = self.done(f"{line} --pem").output
        self.assertEqual(base64.b64decode(b"".join(pem.splitlines()[1:-1])), der)

    def test_certificates_are_read(self):
        self.done(f"cert export {CHINESE} --pem -o cert.pem")
        self.assertIn(f"common name: {CHINESE}\n", self.done("cert info --cert cert.pem").text)
        self.assertEqual(self.json(f"cert info --container {CHINESE}")["common_name"], CHINESE)
        self.assertEqual(self.done("cert oid 2.5.4.3 --cert cert.pem").text, CHINESE + "\n")
        self.assertEqual(self.json("cert oid 2.5.4.3 --cert cert.pem")["text"], CHINESE)
        self.fails(CALL_FAILED, "SOF_GetCertInfoByOid", "0x0B000444", "cert oid 1.2.3 --cert cert.pem")

    def test_certificates_are_checked(self):
        self.assertEqual(self.done("cert check --container SM2_DEMO").text, "valid: yes\n")
        for name, code in (("EXPIRED_RSA_2048_DEMO", "0x0B000407"), ("REVOKED_SM2_DEMO", "0x0B000408")):
            self.fails(REFUSED, "SOF_ValidateCert", code, f"cert check --container {name}")
        self.assertEqual(self.json("cert alg --container RSA_2048_DEMO")["algorithm"], "RSA-2048")
        self.assertEqual(self.done("cert alg --container SM2_DEMO").text, "algorithm: SM2\nnumber: 40\n")
        self.write("garbage", b"no certificate")
        self.fails(CALL_FAILED, "SOF_GetCertAlg", "0x0B000443", "cert alg --cert garbage")

    def test_certificate_texts_cannot_forge_lines(self):
        certificate = self.done("cert export SM2_DEMO").output
        forging = "A\n\x1b[2Jü".encode()
        self.assertEqual((certificate.count(b"SM2_DEMO"), len(forging)), (1, len(b"SM2_DEMO")))
        self.write("forging", certificate.replace(b"SM2_DEMO", forging))
        self.assertIn("common name: A??[2Jü\n", self.done("cert info --cert forging").text)
        self.assertEqual(self.json("cert info --cert forging")["common_name"], forging.decode())
        self.write("forging", certificate.replace(b"SM2_DEMO", "AB\u009b2JDE".encode()))
        self.assertIn("common name: AB?2JDE\n", self.done("cert info --cert forging").text)

    # Signatures

    def test_data_signatures(self):
        self.write("data", BINARY)
        self.write("altered", BINARY[:-1])
        for name in ("SM2_DEMO", CHINESE):
            self.write("data.sig", self.done(f"sign data {name}", BINARY).output)
            line = f"data --container {name} --signature data.sig"
            self.verifies(f"{line} -i data")
            self.assertTrue(self.json(f"verify {line}", BINARY)["valid"])
            self.refuses("SOF_VerifySignedData", "0x0B000410", f"{line} -i altered")
        self.write("data.sig", self.json_data("sign data RSA_2048_DEMO", BINARY))
        self.verifies("data --container RSA_2048_DEMO --signature data.sig -i data")

    def test_message_signatures(self):
        self.write("content", BINARY)
        self.done("sign message RSA_2048_DEMO -i content -o attached.p7")
        self.verifies("message --message attached.p7")
        self.done("sign message RSA_2048_DEMO --detached -i content -o detached.p7")
        self.verifies("message --message detached.p7 -i content")
        self.refuses("SOF_VerifySignedMessage", "0x0B000410", "message --message detached.p7 -i attached.p7")
        self.assertIn(b"x" * 200000, self.json_data("sign message SM2_DEMO", b"x" * 200000))

    def test_hash_signatures(self):
        self.write("data", BINARY)
        self.write("other", bytes(32))
        for name, hashing in (("SM2_DEMO", "hash --container SM2_DEMO"),
                              ("RSA_2048_DEMO", "hash --algorithm sha256")):
            self.write("hex", self.done(hashing, BINARY).output)
            algorithm = "sm3" if name == "SM2_DEMO" else "sha256"
            self.done(f"sign hash {name} --algorithm {algorithm} --hex -i hex -o hash.sig")
            self.verifies(f"hash --container {name} --signature hash.sig --hex -i hex")
            self.verifies(f"data --container {name} --signature hash.sig -i data")
            self.refuses("SOF_Ext_VerifySignedHash", "0x0B000308",
                         f"hash --container {name} --signature hash.sig -i other")
        self.assertIn("not hexadecimal", self.ends(USAGE, "sign hash SM2_DEMO --hex", b"xy").errors)

    def test_file_signatures(self):
        self.write("合同.txt", BINARY)
        line = f"file --container {CHINESE} --signature 合同.sig"
        self.done(f"sign file {CHINESE} -i 合同.txt -o 合同.sig")
        self.verifies(f"{line} -i 合同.txt")
        self.assertTrue(self.json(f"verify {line}", BINARY)["valid"])
        self.refuses("SOF_VerifySignedFile", "0x0B000308", f"{line} -i 合同.sig")
        self.assertEqual(len(self.json_data("sign file RSA_2048_DEMO", BINARY)), 256)

    def test_pkcs7_signatures(self):
        self.write("内容", BINARY)
        for name in SCAN_CONTAINERS:
            self.done(f"sign pkcs7 {name} -i 内容 -o attached.p7")
            self.verifies("pkcs7 --message attached.p7")
            self.done(f"sign pkcs7 {name} --detached -i 内容 -o detached.p7")
            self.verifies("pkcs7 --message detached.p7 -i 内容")
            self.refuses("SOF_Ext_PKCS7_VerifySignedFile", "0x0B000302",
                         "pkcs7 --message detached.p7 -i attached.p7")
        digest = hashlib.sha256(BINARY).digest()
        self.assertGreater(len(self.json_data(f"sign pkcs7 {SCAN_CONTAINERS[1]} --hash", digest)), 256)
        self.fails(CALL_FAILED, "SOF_Ext_PKCS7_SignFile", "0x0B000310", "sign pkcs7 SM2_DEMO -i 内容")

    def test_signed_xml(self):
        for name in sorted(os.listdir(SIGNED_XML)):
            with open(os.path.join(SIGNED_XML, name), "rb") as file:
                document = file.read()
            self.write("signed.xml", document)
            self.verifies("xml -i signed.xml")
            altered = document.replace(b"what was signed", b"what was sighed").replace(b">one<", b">two<")
            self.assertNotEqual(altered, document)
            self.write("signed.xml", altered)
            self.refuses("SOF_VerifySignedDataXML", "0x0B000308", "xml -i signed.xml")

    def test_invalid_xml_is_an_error(self):
        errors = self.ends(CALL_FAILED, "verify xml", b"no XML").errors
        self.assertRegex(errors, r"^sof: SOF_VerifySignedDataXML: 0x0B[0-9A-F]{6} .+\n$")

    # Encryption

    def test_digital_envelopes_of_data(self):
        envelope = self.done(f"encrypt data --container {CHINESE}", BINARY).output
        self.assertNotIn(BINARY, envelope)
        self.assertEqual(self.done(f"decrypt data {CHINESE}", envelope).output, BINARY)
        envelope = self.json_data("encrypt data --container RSA_2048_DEMO", BINARY)
        self.assertEqual(self.json_data("decrypt data RSA_2048_DEMO", envelope), BINARY)
        self.assertEqual(self.ends(CALL_FAILED, "decrypt data SM2_DEMO", BINARY).output, b"")

    def test_digital_envelopes_of_files(self):
        plain = BINARY * 1000
        self.write("明文.bin", plain)
        for option in ("", "--service", "--method 0x402"):
            self.done(f"encrypt file --container RSA_2048_DEMO -i 明文.bin -o 密文.p7m {option}")
            self.assertNotIn(BINARY, self.read("密文.p7m"))
            self.done("decrypt file RSA_2048_DEMO -i 密文.p7m -o 还原.bin")
            self.assertEqual(self.read("还原.bin"), plain)
        envelope = self.done("encrypt file --container SM2_DEMO", BINARY).output
        self.assertEqual(self.done("decrypt file SM2_DEMO", envelope).output, BINARY)
        self.assertEqual(self.json_data("decrypt file SM2_DEMO", envelope), BINARY)

    def test_digital_envelopes_in_base64(self):
        plain = BINARY * 10
        found = self.json("encrypt file --container SM2_DEMO --base64 -o envelope.txt", plain)
        envelope = base64.b64decode(self.read("envelope.txt"), validate=False)
        self.assertEqual((found["out"], found["size"]), ("envelope.txt", len(envelope)))
        self.done("decrypt file SM2_DEMO --base64 -o plain.txt", envelope)
        self.assertEqual(self.read("plain.txt"), base64.b64encode(plain) + b"\n")

    # Random bytes and time-stamp tokens

    def test_random_bytes(self):
        self.assertEqual(len(self.done("random 1000").output), 1000)
        self.assertNotEqual(self.done("random 32").output, self.done("random 32").output)
        self.assertRegex(self.done("random 16 --hex").text, r"^[0-9a-f]{32}\n$")
        self.assertEqual(len(self.json_data("random 20")), 20)

    def test_time_stamp_tokens(self):
        self.write("stamped", BINARY)
        for algorithm in ("sm3", "sha256"):
            self.done(f"stamp get --algorithm {algorithm} -i stamped -o stamp.tsr")
            self.assertRegex(self.done("stamp check --stamp stamp.tsr -i stamped").text,
                             r"^valid: yes\ntime: \d{14}Z\n$")
        self.done("label SM2_DEMO TIME_STAMP_AUTHORITY --type 7 -o tsa.der")
        self.assertTrue(self.json("stamp check --stamp stamp.tsr --cert tsa.der", BINARY)["valid"])
        self.fails(REFUSED, "SOF_Ext_GM_Tsp_VerifyTimeStamp", "0x0B000308",
                   "stamp check --stamp stamp.tsr", BINARY + b"!")

    def test_a_provider_that_cannot_be_opened_is_an_error(self):
        folder = self.copy_of_program("misconfigured")
        with open(os.path.join(folder, "saf_config.dat"), "w") as file:
            file.write("no such key = 1\n")
        self.write("any", b"x")
        for line in ("stamp get", "stamp check --stamp any --cert any"):
            errors = self.ends(CALL_FAILED, line, b"data", folder).errors
            self.assertIn("the signature provider could not be opened", errors)

    # Storage

    def test_device_files(self):
        file = "SM2_DEMO 笔记"
        self.done(f"files create {file} --size 1024 --write user --read anyone")
        self.assertEqual(self.json(f"files write {file} --offset 10", BINARY)["written"], len(BINARY))
        self.assertEqual(self.done("files list SM2_DEMO").text, "笔记\n")
        self.assertEqual(self.json("files list SM2_DEMO")["files"], ["笔记"])
        self.assertEqual(self.json(f"files info {file}"),
                         {"ok": True, "container": "SM2_DEMO", "file": "笔记", "size": 1024,
                          "read": "anyone", "write": "user"})
        content = self.done(f"files read {file}").output
        self.assertEqual((len(content), content[10:10 + len(BINARY)]), (1024, BINARY))
        self.assertEqual(self.json_data(f"files read {file} --offset 10 --length 5"), BINARY[:5])
        self.fails(CALL_FAILED, "SOF_Ext_CreateFile", "0x0B000432", f"files create {file} --size 1")
        self.done(f"files delete {file}")
        self.assertEqual(self.json("files list SM2_DEMO")["files"], [])
        self.fails(CALL_FAILED, "SOF_Ext_GetFileAttribute", "0x0B000434", f"files info {file}")

    def test_labels(self):
        name = SCAN_CONTAINERS[0]
        label = self.done(f"label {name} {name}_FromCache --type 7").output
        self.assertEqual(label, self.done(f"cert export {name}").output)
        self.fails(CALL_FAILED, "SOF_Ext_ReadLabel", "0x0B000504", f"label {name} none --type 7")

    def test_seals(self):
        seals = self.json("seal list SEAL_SM2_DEMO")["seals"]
        self.assertEqual([seal["name"] for seal in seals], ["演示公章", "演示合同章"])
        self.assertIn("演示合同章", self.done("seal list SEAL_SM2_DEMO").text)
        self.assertEqual(self.done("seal get SEAL_SM2_DEMO 1 name").text, "演示合同章\n")
        self.assertIn(b"<svg", self.json_data("seal get SEAL_SM2_DEMO 0 picture"))
        self.assertEqual(self.json("seal list SM2_DEMO")["seals"], [])
        self.fails(CALL_FAILED, "SOF_Ext_GetSeaInfo", "0x0B01000B", "seal get SEAL_SM2_DEMO 2 name")

    def test_user_data(self):
        file = "SM2_DEMO --type 1 --index 4"
        self.write("user data", BINARY)
        written = self.json(f"userdata write {file} -i 'user data'", PIN)["written"]
        self.assertEqual(written, len(BINARY))
        self.assertEqual(self.done(f"userdata read {file} --length 5000").output, BINARY)
        self.assertEqual(self.json_data(f"userdata read {file} --offset 9 --length 5"), BINARY[9:14])
        self.fails(NO_ACCESS, "SOF_Ext_WriteUsrDataFile", "0x0B000426",
                   f"userdata write {file} -i 'user data'", b"wrong\n")
        self.fails(CALL_FAILED, "SOF_Ext_ReadUsrDataFile", "0x0B000434",
                   "userdata read SM2_DEMO --type 1 --index 99 --length 5")

    def test_standard_input_supplies_one_item(self):
        for option in ("", "--pin-stdin"):
            line = f"userdata write SM2_DEMO --type 1 --index 5 {option}"
            self.assertIn("standard input cannot carry both the data and the PIN",
                          self.ends(USAGE, line, PIN).errors)
        line = "verify data --container SM2_DEMO --signature - -i -"
        self.assertIn("both the signature and the data", self.ends(USAGE, line, BINARY).errors)

    def test_settings(self):
        self.assertTrue(self.json("config idle-logout 0")["done"])
        self.done("config 1 -i -", bytes(4))
        self.fails(CALL_FAILED, "SOF_Config", "0x0B000419", "config 99 0")


if __name__ == "__main__":
    unittest.main()
