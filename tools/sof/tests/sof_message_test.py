"""Tests the sub-commands of sof that sign, verify, encrypt, decrypt and time-stamp, as text and as JSON."""

import base64
import hashlib
import os
import unittest

from sof_case import BINARY, CALL_FAILED, CHINESE, REFUSED, SCAN_CONTAINERS, USAGE, ServiceCase

# XML documents with signatures of every form. The signing keys are not available.
SIGNED_XML = os.path.join(os.path.dirname(__file__), "..", "..", "..", "softtoken", "tests", "fuzz", "seeds",
                          "xml_signature")


class WithService(ServiceCase):
    def verifies(self, line):
        self.assertEqual(self.done("verify " + line).text, "valid: yes\n")

    def refuses(self, function, code, line):
        self.fails(REFUSED, function, code, "verify " + line)

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
        for text in (b"xy", b"1g", b"g1", b"abc", b"0x" + b"ab" * 31, b"+1" * 32, b"-1" * 32):
            self.assertIn("not hexadecimal", self.ends(USAGE, "sign hash SM2_DEMO --hex", text).errors)

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


if __name__ == "__main__":
    unittest.main()
