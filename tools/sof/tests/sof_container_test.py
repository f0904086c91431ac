"""Tests the sub-commands of sof for containers, certificates and storage, as text and as JSON."""

import base64
import unittest

from sof_case import (BINARY, CALL_FAILED, CHINESE, DONE, NO_ACCESS, PIN, REFUSED, SCAN_CONTAINERS, USAGE,
                      ServiceCase)
from sof_console import ConsoleRun


class WithService(ServiceCase):
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

    def test_a_locked_pin_is_no_access(self):
        name = SCAN_CONTAINERS[1]
        for _ in range(10):
            self.ends(NO_ACCESS, f"login {name}", b"87654321\n")
        self.fails(NO_ACCESS, "SOF_Login", "0x0B000442", f"login {name}", PIN)
        self.assertEqual(self.json(f"pin retry {name}")["retries_left"], 0)

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
