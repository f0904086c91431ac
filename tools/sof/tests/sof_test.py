"""Every sub-command of sof, as text and as JSON, with the exit status of each way that it can end."""

import base64
import hashlib
import os
import shutil
import tempfile
import time
import unittest

from sof_console import FOLDER, Follower, Service, sof

PIN = b"12345678\n"
CHINESE = "演示容器_SM2"
BINARY = bytes(range(256)) * 3 + b"\r\n\x1a\n"

DONE, CALL_FAILED, USAGE, FILE, REFUSED, NO_SERVICE, NO_ACCESS, PROBLEMS, NO_LIBRARY = range(9)


class SofTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="velm-sof-test-")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)
        return self.path(name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def ends(self, status, *arguments, data=b""):
        """A run that has to end with this status."""
        result = sof(*arguments, data=data, cwd=self.folder)
        self.assertEqual(result.status, status, (arguments, result.output[:2000], result.errors))
        return result

    def done(self, *arguments, data=b""):
        result = self.ends(DONE, *arguments, data=data)
        self.assertEqual(result.errors, "")
        return result

    def json(self, *arguments, data=b"", status=DONE):
        result = self.ends(status, *arguments, "--json", data=data).json
        self.assertEqual(result["ok"], status == DONE)
        return result

    def call_fails(self, status, function, code, *arguments, data=b""):
        """The failing call's name, code and text go to standard error, and into the JSON object."""
        result = self.ends(status, *arguments, "--json", data=data)
        found = result.json
        self.assertEqual((found["ok"], found["function"], found["code"]), (False, function, code))
        self.assertEqual(result.errors, f"sof: {function}: {code} {found['text']}\n")
        return found["text"]


class WithoutService(SofTest):
    def test_help_lists_commands_and_exit_statuses(self):
        text = self.done("--help").text
        for word in ("login", "doctor", "Exit status:", "  5  the local service cannot be reached"):
            self.assertIn(word, text)
        self.assertIn("--detached", self.done("sign", "message", "--help").text)
        self.assertRegex(self.done("--version").text, r"^\d+\.\d+\.\d+\n$")

    def test_a_wrong_command_line_is_told_apart(self):
        for arguments in ([], ["nonsense"], ["login"], ["cert", "info"], ["error", "12345678x"],
                          ["hash", "--algorithm", "md5"], ["sign", "data", "SM2_DEMO", "--pin", "1"]):
            result = self.ends(USAGE, *arguments)
            self.assertNotEqual(result.errors, "")

    def test_without_a_service_calls_end_with_its_status(self):
        text = self.call_fails(NO_SERVICE, "SOF_GetUserList", "0x0B000445", "users")
        self.assertEqual(text, "通讯错误")
        self.call_fails(NO_SERVICE, "SOF_Login", "0x0B000445", "login", "SM2_DEMO", data=PIN)

    def test_error_texts(self):
        self.assertEqual(self.done("error", "0x0B000426").text, "0x0B000426 错误的口令\n")
        self.assertEqual(self.done("error", "b000445").text, "0x0B000445 通讯错误\n")
        self.assertEqual(self.done("error", "0x02000403").text, "0x02000403 未登录\n")
        self.assertEqual(self.json("error", "0")["text"], "成功")
        self.assertEqual(self.ends(CALL_FAILED, "error", "12345678").text, "0x12345678 has no text\n")

    def test_base64_goes_both_ways(self):
        encoded = base64.b64encode(BINARY)
        self.assertEqual(self.done("base64", data=BINARY).output, encoded + b"\n")
        self.assertEqual(self.done("base64", "-d", data=encoded + b"\r\n").output, BINARY)
        self.assertEqual(self.json("base64", data=BINARY)["text"].encode(), encoded)
        self.done("base64", "-d", "-i", self.write("b64", encoded), "-o", self.path("bytes"))
        self.assertEqual(self.read("bytes"), BINARY)
        self.assertEqual(self.done("base64").output, b"\n")
        self.call_fails(CALL_FAILED, "SOF_Base64Decode", "0x0B010005", "base64", "-d", data=b"a")

    def test_hashes_of_data_and_files_agree(self):
        expected = hashlib.sha256(BINARY).hexdigest()
        name = self.write("散列 输入.bin", BINARY)
        for result in (self.done("hash", "--algorithm", "sha256", data=BINARY),
                       self.done("hash", "--algorithm", "sha256", "-i", name)):
            self.assertEqual(result.text, expected + "\n")
        self.assertEqual(self.json("hash", "--algorithm", "sha1", "-i", name)["hex"], hashlib.sha1(BINARY).hexdigest())
        self.done("hash", "--algorithm", "sha256", "-i", name, "-o", self.path("hash"))
        self.assertEqual(self.read("hash").hex(), expected)
        self.assertEqual(self.done("hash", data=b"abc").text,
                         "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0\n")

    def test_files_that_cannot_be_used(self):
        for arguments in (["hash", "-i", "absent"], ["base64", "-i", "absent"], ["hash", "-o", "absent/out"],
                          ["verify", "data", "--cert", "absent", "--signature", "absent"]):
            result = self.ends(FILE, *arguments, data=b"abc")
            self.assertIn("absent", result.errors)
        self.assertEqual(self.json("base64", "-i", "absent", status=FILE)["path"], "absent")

    def test_signing_xml_is_not_supported(self):
        self.call_fails(CALL_FAILED, "SOF_SignDataXML", "0x0B000002", "sign", "xml", "SM2_DEMO", data=b"<a/>")

    def test_doctor_finds_the_service_missing(self):
        result = self.ends(PROBLEMS, "doctor")
        self.assertIn("problem  service: does not answer on 127.0.0.1, port 55661\n", result.text)
        self.assertIn("-> start it", result.text)
        found = self.json("doctor", status=PROBLEMS)
        self.assertEqual(found["worst"], "problem")
        grades = {finding["subject"]: finding["grade"] for finding in found["findings"]}
        self.assertEqual(grades["velm_sof_client.dll"], "ok")
        self.assertEqual(grades["log folder"], "ok")
        self.assertEqual(grades["service"], "problem")

    def test_doctor_and_others_run_without_a_module(self):
        folder = self.path("incomplete")
        shutil.copytree(FOLDER, folder)
        os.remove(os.path.join(folder, "velm_openssl_api.dll"))
        result = sof("doctor", "--json", folder=folder)
        self.assertEqual(result.status, PROBLEMS)
        found = {finding["subject"]: finding for finding in result.json["findings"]}
        self.assertEqual(found["velm_openssl_api.dll"]["found"], "is missing")
        self.assertEqual(found["velm_client_saf.dll"]["grade"], "ok")
        self.assertEqual(found["library"]["grade"], "problem")
        result = sof("users", folder=folder)
        self.assertEqual(result.status, NO_LIBRARY)
        self.assertIn("`sof doctor` tells what is missing", result.errors)


class WithService(SofTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.service = Service()
        cls.service.start()
        for name in ("SM2_DEMO", "RSA_2048_DEMO", "SM2_SCAN_CONTAINER_DEMO", "RSA_2048_SCAN_CONTAINER_DEMO", CHINESE):
            assert sof("login", name, data=PIN).status == DONE

    @classmethod
    def tearDownClass(cls):
        cls.service.stop()
        cls.service.remove()
        super().tearDownClass()

    def verifies(self, *arguments):
        self.assertEqual(self.done("verify", *arguments).text, "valid: yes\n")

    def refused(self, function, code, *arguments):
        self.call_fails(REFUSED, function, code, "verify", *arguments)

    # Containers

    def test_users_are_listed_in_utf8(self):
        names = self.done("users").text.splitlines()
        self.assertIn("SM2_DEMO", names)
        self.assertIn(CHINESE, names)
        self.assertEqual(self.json("users")["users"], names)

    def test_login_state_belongs_to_the_service(self):
        self.assertEqual(self.done("login", "SEAL_SM2_DEMO", data=PIN).text, "container: SEAL_SM2_DEMO\nlogged in: yes\n")
        self.assertTrue(self.json("login", CHINESE, data=PIN)["logged_in"])
        self.assertEqual(self.state_of("SEAL_SM2_DEMO")["logged_in"], True)
        self.assertFalse(self.json("logout", "SEAL_SM2_DEMO")["logged_in"])
        self.assertEqual(self.state_of("SEAL_SM2_DEMO"), {"name": "SEAL_SM2_DEMO", "logged_in": False, "tries_left": 10})
        self.assertRegex(self.done("users", "--state").text, r"SEAL_SM2_DEMO +no +10\n")
        self.call_fails(NO_ACCESS, "SOF_SignData", "0x0B000438", "sign", "data", "SEAL_SM2_DEMO", data=b"abc")

    def state_of(self, name):
        return next(user for user in self.json("users", "--state")["users"] if user["name"] == name)

    def test_a_wrong_pin_costs_a_try(self):
        name = "RSA_1024_DEMO"
        self.assertEqual(self.call_fails(NO_ACCESS, "SOF_Login", "0x0B000426", "login", name, data=b"87654321\n"),
                         "错误的口令")
        self.assertEqual(self.done("pin", "retry", name).text, f"container: {name}\ntries left: 9\n")
        self.assertEqual(self.json("pin", "retry", name)["tries_left"], 9)
        self.done("login", name, "--pin-stdin", data=b"12345678\r\n")
        self.assertEqual(self.json("pin", "retry", name)["tries_left"], 10)
        self.call_fails(CALL_FAILED, "SOF_Login", "0x0B000425", "login", "nobody", data=PIN)

    def test_a_missing_or_endless_pin_is_not_sent(self):
        for data in (b"", b"\n", b"1" * 300):
            self.assertIn("PIN of SM2_DEMO", self.ends(USAGE, "login", "SM2_DEMO", data=data).errors)
        self.assertEqual(self.json("pin", "retry", "SM2_DEMO")["tries_left"], 10)

    def test_a_pin_is_changed(self):
        name = "REVOKED_SM2_DEMO"
        self.assertTrue(self.json("pin", "change", name, data=b"12345678\nanother\nanother\n")["changed"])
        self.call_fails(NO_ACCESS, "SOF_Login", "0x0B000426", "login", name, data=PIN)
        self.done("login", name, data=b"another\n")
        self.assertIn("differ", self.ends(USAGE, "pin", "change", name, data=b"another\none\ntwo\n").errors)

    def test_devices_are_described(self):
        self.assertEqual(self.json("device")["devices"], ["VELM Software Token"])
        self.assertIn("name: VELM Software Token\n", self.done("device", "SM2_DEMO").text)
        self.assertEqual(self.json("device", "SM2_DEMO")["maker"], "VELM")

    # Certificates

    def test_certificates_are_exported_and_read(self):
        der = self.done("cert", "export", CHINESE).output
        self.assertEqual(der[:1], b"\x30")
        self.done("cert", "export", CHINESE, "-o", self.path("证书.der"))
        self.assertEqual(self.read("证书.der"), der)
        self.assertEqual(base64.b64decode(self.json("cert", "export", CHINESE)["data"]), der)
        self.assertEqual(self.done("cert", "export", CHINESE, "--base64").output, base64.b64encode(der) + b"\n")
        self.assertNotEqual(self.done("cert", "export", CHINESE, "--exchange").output, der)
        pem = self.done("cert", "export", CHINESE, "--pem").output
        self.assertEqual(base64.b64decode(b"".join(pem.splitlines()[1:-1])), der)

        shown = self.done("cert", "info", "--cert", self.write("cert.pem", pem)).text
        self.assertIn(f"common name: {CHINESE}\n", shown)
        self.assertEqual(self.json("cert", "info", "--container", CHINESE)["common_name"], CHINESE)
        self.assertEqual(self.done("cert", "oid", "2.5.4.3", "--cert", self.path("证书.der")).text, CHINESE + "\n")
        self.assertEqual(self.json("cert", "oid", "2.5.4.3", "--container", CHINESE)["text"], CHINESE)
        self.call_fails(CALL_FAILED, "SOF_GetCertInfoByOid", "0x0B000444", "cert", "oid", "1.2.3", "--container", CHINESE)

    def test_certificates_are_checked(self):
        self.assertEqual(self.done("cert", "check", "--container", "SM2_DEMO").text, "valid: yes\n")
        self.call_fails(REFUSED, "SOF_ValidateCert", "0x0B000407", "cert", "check", "--container", "EXPIRED_RSA_2048_DEMO")
        self.call_fails(REFUSED, "SOF_ValidateCert", "0x0B000408", "cert", "check", "--container", "REVOKED_SM2_DEMO")
        self.assertEqual(self.json("cert", "alg", "--container", "RSA_2048_DEMO")["algorithm"], "RSA-2048")
        self.assertEqual(self.done("cert", "alg", "--container", "SM2_DEMO").text, "algorithm: SM2\nnumber: 40\n")
        garbage = self.write("garbage", b"no certificate")
        self.call_fails(CALL_FAILED, "SOF_GetCertAlg", "0x0B000443", "cert", "alg", "--cert", garbage)

    # Signatures

    def test_data_signatures(self):
        for name in ("SM2_DEMO", CHINESE):
            signature = self.write("data.sig", self.done("sign", "data", name, data=BINARY).output)
            data = self.write("data", BINARY)
            self.verifies("data", "--container", name, "--signature", signature, "-i", data)
            altered = self.write("altered", BINARY[:-1])
            self.refused("SOF_VerifySignedData", "0x0B000410",
                         "data", "--container", name, "--signature", signature, "-i", altered)
        result = self.json("sign", "data", "SM2_DEMO", data=BINARY)
        self.assertEqual(len(base64.b64decode(result["data"])), result["size"])
        self.assertTrue(self.json("verify", "data", "--container", name, "--signature", signature, data=BINARY)["valid"])

    def test_message_signatures(self):
        content = self.write("content", BINARY)
        for flag in ([], ["--detached"]):
            self.done("sign", "message", "RSA_2048_DEMO", "-i", content, "-o", "message.p7", *flag)
            given = ["-i", content] if flag else []
            self.verifies("message", "--message", "message.p7", *given)
        self.refused("SOF_VerifySignedMessage", "0x0B000410", "message", "--message", "message.p7", "-i", "message.p7")
        large = self.json("sign", "message", "SM2_DEMO", data=b"x" * 200000)
        self.assertGreater(large["size"], 200000)

    def test_hash_signatures(self):
        for name, algorithm, extra in (("SM2_DEMO", "sm3", ["--container", "SM2_DEMO"]), ("RSA_2048_DEMO", "sha256", [])):
            digest = self.done("hash", "--algorithm", algorithm, *extra, data=BINARY).output
            signature = self.write("hash.sig", self.done(
                "sign", "hash", name, "--algorithm", algorithm, "--hex", data=digest).output)
            self.verifies("hash", "--container", name, "--signature", signature, "--hex", "-i", self.write("hex", digest))
            self.verifies("data", "--container", name, "--signature", signature, "-i", self.write("data", BINARY))
            other = self.write("hash", bytes(32))
            self.call_fails(REFUSED, "SOF_Ext_VerifySignedHash", "0x0B000308",
                            "verify", "hash", "--container", name, "--signature", signature, "-i", other)
        self.assertIn("not hexadecimal", self.ends(USAGE, "sign", "hash", "SM2_DEMO", "--hex", data=b"xy").errors)

    def test_file_signatures(self):
        name = self.write("合同.txt", BINARY)
        self.done("sign", "file", CHINESE, "-i", name, "-o", "合同.sig")
        self.verifies("file", "--container", CHINESE, "--signature", "合同.sig", "-i", name)
        self.assertTrue(self.json("verify", "file", "--container", CHINESE, "--signature", "合同.sig", data=BINARY)["valid"])
        self.refused("SOF_VerifySignedFile", "0x0B000308",
                     "file", "--container", CHINESE, "--signature", "合同.sig", "-i", "合同.sig")
        self.assertEqual(self.json("sign", "file", "RSA_2048_DEMO", data=BINARY)["size"], 256)

    def test_pkcs7_signatures(self):
        content = self.write("内容", BINARY)
        for name in ("SM2_SCAN_CONTAINER_DEMO", "RSA_2048_SCAN_CONTAINER_DEMO"):
            self.done("sign", "pkcs7", name, "-i", content, "-o", "attached.p7")
            self.verifies("pkcs7", "--message", "attached.p7")
            self.done("sign", "pkcs7", name, "--detached", "-i", content, "-o", "detached.p7")
            self.verifies("pkcs7", "--message", "detached.p7", "-i", content)
            self.refused("SOF_Ext_PKCS7_VerifySignedFile", "0x0B000302",
                         "pkcs7", "--message", "detached.p7", "-i", "attached.p7")
        digest = hashlib.sha256(BINARY).digest()
        self.assertGreater(self.json("sign", "pkcs7", "RSA_2048_SCAN_CONTAINER_DEMO", "--hash", data=digest)["size"], 256)
        self.call_fails(CALL_FAILED, "SOF_Ext_PKCS7_SignFile", "0x0B000310", "sign", "pkcs7", "SM2_DEMO", "-i", content)

    def test_what_is_no_signed_xml_does_not_verify(self):
        result = self.ends(CALL_FAILED, "verify", "xml", data=b"no XML")
        self.assertRegex(result.errors, r"^sof: SOF_VerifySignedDataXML: 0x0B0000\d\d .+\n$")

    # Encryption

    def test_data_envelopes(self):
        envelope = self.done("encrypt", "data", "--container", CHINESE, data=BINARY).output
        self.assertEqual(self.done("decrypt", "data", CHINESE, data=envelope).output, BINARY)
        self.assertEqual(base64.b64decode(self.json("decrypt", "data", CHINESE, data=envelope)["data"]), BINARY)
        self.assertEqual(self.ends(CALL_FAILED, "decrypt", "data", CHINESE, data=BINARY).output, b"")

    def test_file_envelopes(self):
        plain = self.write("明文.bin", BINARY * 1000)
        for extra in ([], ["--service"], ["--method", "0x402"]):
            self.done("encrypt", "file", "--container", "RSA_2048_DEMO", "-i", plain, "-o", "密文.p7m", *extra)
            self.assertNotIn(BINARY, self.read("密文.p7m"))
            self.done("decrypt", "file", "RSA_2048_DEMO", "-i", "密文.p7m", "-o", "还原.bin")
            self.assertEqual(self.read("还原.bin"), BINARY * 1000)
        envelope = self.done("encrypt", "file", "--container", "SM2_DEMO", data=BINARY).output
        self.assertEqual(self.done("decrypt", "file", "SM2_DEMO", data=envelope).output, BINARY)
        self.assertEqual(base64.b64decode(self.json("decrypt", "file", "SM2_DEMO", data=envelope)["data"]), BINARY)

    def test_a_failed_decryption_leaves_no_file(self):
        self.write("kept.bin", b"as it was")
        before = set(os.listdir(self.folder))
        self.ends(CALL_FAILED, "decrypt", "file", "SM2_DEMO", "-o", "kept.bin", data=b"no envelope")
        self.ends(CALL_FAILED, "decrypt", "file", "SM2_DEMO", "-o", "never.bin", data=b"no envelope")
        self.assertEqual(self.read("kept.bin"), b"as it was")
        self.assertEqual(set(os.listdir(self.folder)), before)

    # Random bytes and time stamps

    def test_random_bytes(self):
        self.assertEqual(len(self.done("random", "1000").output), 1000)
        self.assertNotEqual(self.done("random", "32").output, self.done("random", "32").output)
        self.assertRegex(self.done("random", "16", "--hex").text, r"^[0-9a-f]{32}\n$")
        self.assertEqual(len(base64.b64decode(self.json("random", "20")["data"])), 20)

    def test_time_stamps(self):
        data = self.write("stamped", BINARY)
        for algorithm in ("sm3", "sha256"):
            self.done("stamp", "get", "--algorithm", algorithm, "-i", data, "-o", "stamp.tsr")
            self.assertRegex(self.done("stamp", "check", "--stamp", "stamp.tsr", "-i", data).text,
                             r"^valid: yes\ntime: \d{14}Z\n$")
        self.done("label", "SM2_DEMO", "TIME_STAMP_AUTHORITY", "--type", "7", "-o", "tsa.der")
        self.assertTrue(self.json("stamp", "check", "--stamp", "stamp.tsr", "--cert", "tsa.der", data=BINARY)["valid"])
        self.call_fails(REFUSED, "SOF_Ext_GM_Tsp_VerifyTimeStamp", "0x0B000308",
                        "stamp", "check", "--stamp", "stamp.tsr", data=BINARY + b"!")

    def test_a_provider_that_cannot_be_opened_is_no_success(self):
        folder = os.path.join(self.folder, "unconfigured")
        shutil.copytree(FOLDER, folder)
        with open(os.path.join(folder, "saf_config.dat"), "w") as file:
            file.write("no such key = 1\n")
        for arguments in (["stamp", "get"], ["stamp", "check", "--stamp", self.write("any", b"x"), "--cert", self.path("any")]):
            result = sof(*arguments, data=b"data", folder=folder)
            self.assertEqual(result.status, CALL_FAILED)
            self.assertIn("the signature provider could not be opened", result.errors)
        result = sof("doctor", folder=folder)
        self.assertEqual(result.status, PROBLEMS)
        self.assertIn("problem  signature provider: cannot be opened", result.text)

    # Storage

    def test_device_files(self):
        self.done("files", "create", "SM2_DEMO", "笔记", "--size", "1024", "--write", "user", "--read", "anyone")
        self.assertEqual(self.json("files", "write", "SM2_DEMO", "笔记", "--offset", "10", data=BINARY)["written"], len(BINARY))
        self.assertEqual(self.done("files", "list", "SM2_DEMO").text, "笔记\n")
        self.assertEqual(self.json("files", "list", "SM2_DEMO")["files"], ["笔记"])
        self.assertEqual(self.json("files", "info", "SM2_DEMO", "笔记"), {
            "ok": True, "container": "SM2_DEMO", "file": "笔记", "size": 1024, "read": "anyone", "write": "user"})
        content = self.done("files", "read", "SM2_DEMO", "笔记").output
        self.assertEqual((len(content), content[10:10 + len(BINARY)]), (1024, BINARY))
        self.assertEqual(self.done("files", "read", "SM2_DEMO", "笔记", "--offset", "10", "--length", "5").output, BINARY[:5])
        self.call_fails(CALL_FAILED, "SOF_Ext_CreateFile", "0x0B000432", "files", "create", "SM2_DEMO", "笔记", "--size", "1")
        self.done("files", "delete", "SM2_DEMO", "笔记")
        self.assertEqual(self.json("files", "list", "SM2_DEMO")["files"], [])
        self.call_fails(CALL_FAILED, "SOF_Ext_GetFileAttribute", "0x0B000434", "files", "info", "SM2_DEMO", "笔记")

    def test_labels(self):
        name = "SM2_SCAN_CONTAINER_DEMO"
        label = self.done("label", name, name + "_FromCache", "--type", "7").output
        self.assertEqual(label, self.done("cert", "export", name).output)
        self.call_fails(CALL_FAILED, "SOF_Ext_ReadLabel", "0x0B000504", "label", name, "none", "--type", "7")

    def test_seals(self):
        seals = self.json("seal", "list", "SEAL_SM2_DEMO")["seals"]
        self.assertEqual([seal["name"] for seal in seals], ["演示公章", "演示合同章"])
        self.assertIn("演示合同章", self.done("seal", "list", "SEAL_SM2_DEMO").text)
        self.assertEqual(self.done("seal", "get", "SEAL_SM2_DEMO", "1", "name").text, "演示合同章\n")
        self.assertIn(b"<svg", self.done("seal", "get", "SEAL_SM2_DEMO", "0", "picture").output)
        self.assertEqual(self.json("seal", "list", "SM2_DEMO")["seals"], [])
        self.call_fails(CALL_FAILED, "SOF_Ext_GetSeaInfo", "0x0B01000B", "seal", "get", "SEAL_SM2_DEMO", "2", "name")

    def test_user_data(self):
        file = ["SM2_DEMO", "--type", "1", "--index", "4"]
        data = self.write("user data", BINARY)
        self.assertEqual(self.json("userdata", "write", *file, "-i", data, data=PIN)["written"], len(BINARY))
        self.assertEqual(self.done("userdata", "read", *file, "--length", "5000").output, BINARY)
        self.assertEqual(self.done("userdata", "read", *file, "--offset", "9", "--length", "5").output, BINARY[9:14])
        self.call_fails(NO_ACCESS, "SOF_Ext_WriteUsrDataFile", "0x0B000426",
                        "userdata", "write", *file, "-i", data, data=b"wrong\n")
        for extra in ([], ["--pin-stdin"]):
            result = self.ends(USAGE, "userdata", "write", *file, *extra, data=PIN)
            self.assertIn("standard input cannot carry both the data and the PIN", result.errors)
        self.call_fails(CALL_FAILED, "SOF_Ext_ReadUsrDataFile", "0x0B000434",
                        "userdata", "read", "SM2_DEMO", "--type", "1", "--index", "99", "--length", "5")

    def test_settings(self):
        self.assertTrue(self.json("config", "idle-logout", "0")["done"])
        self.done("config", "1", "-i", "-", data=bytes(4))
        self.call_fails(CALL_FAILED, "SOF_Config", "0x0B000419", "config", "99", "0")

    # Doctor

    def test_doctor_looks_at_everything(self):
        text = self.done("doctor").text
        self.assertRegex(text, r"ok +service: version 1\.0\.0 answers in \d+\.\d ms\n")
        self.assertRegex(text, rf"ok +{CHINESE}: both certificates are valid until \d+Z\n")
        self.assertRegex(text, r"warning +EXPIRED_RSA_2048_DEMO, signing certificate: 0x0B000407 证书已过期")
        found = self.json("doctor")
        self.assertEqual(found["worst"], "warning")
        subjects = [finding["subject"] for finding in found["findings"]]
        for subject in ("velm_common.dll", "log folder", "verbose logging", "code page", "signature provider"):
            self.assertIn(subject, subjects)


class LogCommand(SofTest):
    def setUp(self):
        self.done("log", "--verbose", "off")
        self.addCleanup(self.done, "log", "--verbose", "off")

    def lines_after(self, *arguments):
        """What a run added to the log; once more if the day, and so the file, changed meanwhile."""
        while True:
            day = time.localtime()[:3]
            before = len(self.ends(DONE, "log", "--json").json["lines"])
            sof(*arguments, data=b"a")
            lines = self.ends(DONE, "log", "--json").json["lines"]
            if time.localtime()[:3] == day:
                return lines[before:]

    def test_failures_are_shown_with_their_codes_texts(self):
        (line,) = self.lines_after("stamp", "check", "--stamp", self.write("stamp", b"no stamp"), "--cert", self.path("stamp"))
        self.assertEqual((line["level"], line["process"]), ("ERR", "sof"))
        self.assertRegex(line["message"], r"^\"SAF_Ext_GM_Tsp_VerifyTimeStamp\" 0x0200")
        self.assertNotEqual(line["codes"], {})
        self.assertIn(line["message"].rstrip(), self.done("log").text)

    def test_colours_are_for_terminals(self):
        self.lines_after("stamp", "check", "--stamp", self.write("stamp", b"no stamp"), "--cert", self.path("stamp"))
        self.assertNotIn(b"\x1b", self.done("log").output)
        self.assertIn(b"\x1b[31m[ERR|", self.done("log", "--color", "always").output)

    def test_verbose_logging_is_switched(self):
        self.assertNotIn("SOF_Base64Encode", str(self.lines_after("base64")))
        self.assertTrue(self.json("log", "--verbose", "on")["verbose"])
        self.assertIn("IFO", [line["level"] for line in self.lines_after("base64")])
        findings = {finding["subject"]: finding for finding in self.json("doctor", status=PROBLEMS)["findings"]}
        self.assertEqual(findings["verbose logging"]["grade"], "warning")
        self.assertIn("is off", self.done("log", "--verbose", "off").text)
        self.assertEqual(self.lines_after("base64"), [])

    def test_the_log_is_followed(self):
        file = self.write("stamp", b"no stamp")
        day = None
        while day != time.localtime()[:3]:
            day = time.localtime()[:3]
            before = len(self.ends(DONE, "log", "--json").json["lines"])
            with Follower() as follower:
                sof("stamp", "check", "--stamp", file, "--cert", file, data=b"a")
                lines = follower.lines(before + 1)
        self.assertTrue(lines[before].startswith("[ERR|"))
        self.assertIn("SAF_Ext_GM_Tsp_VerifyTimeStamp", lines[before])


if __name__ == "__main__":
    unittest.main()
