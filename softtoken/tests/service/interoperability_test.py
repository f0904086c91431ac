"""Tests in both directions against the system's openssl program as an independent peer."""

import os
import subprocess
import tempfile
import unittest

from token_service import PIN, Service, b64, run_token

SM2_ID = ["-sigopt", "distid:1234567812345678"]


class Interoperability(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.service = Service()
        cls.folder = tempfile.TemporaryDirectory(prefix="velm-openssl-")
        for name in ("SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"):
            assert cls.service.login(name) == 0

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()
        with cls.service:
            pass

    def path(self, name, content=None):
        path = os.path.join(self.folder.name, name)
        if content is not None:
            with open(path, "wb") as file:
                file.write(content)
        return path

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def openssl(self, *arguments, expect=0):
        done = subprocess.run(["openssl", *arguments], capture_output=True)
        self.assertEqual(done.returncode == 0, expect == 0, (arguments, done.stderr.decode()))
        return done.stdout

    def public_key(self, name):
        self.path("cert.der", self.service.certificate(name))
        pem = self.openssl("x509", "-inform", "DER", "-in", self.path("cert.der"), "-pubkey", "-noout")
        return self.path("public.pem", pem)

    def authority(self, name):
        root = run_token("export-cert", name, "--authority", store=self.service.store)
        return self.path("root.pem", root.encode())

    def import_own(self, name, algorithm):
        """Imports a key and a certificate made by openssl as a container."""
        key, certificate = self.path(name + ".key"), self.path(name + ".pem")
        options = ["-sigopt", "distid:1234567812345678", "-sm3"] if algorithm == "SM2" else []
        generate = ["-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:SM2"] if algorithm == "SM2" else [
            "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048"]
        self.openssl("genpkey", *generate, "-out", key)
        self.openssl("req", "-x509", "-new", "-key", key, "-out", certificate, "-days", "30",
                     "-subj", "/CN=" + name, *options)
        both = self.path(name + "-both.pem", self.read(name + ".key") + self.read(name + ".pem"))
        run_token("import", name, both, "--pin", PIN, store=self.service.store)
        self.assertEqual(self.service.login(name), 0)
        return key, certificate

    def test_openssl_verifies_our_certificates(self):
        for name in ("RSA_2048_DEMO", "SM2_DEMO"):
            own = run_token("export-cert", name, store=self.service.store)
            certificate = self.path("own.pem", own.encode())
            options = ["-vfyopt", "distid:1234567812345678"] if name.startswith("SM2") else []
            out = self.openssl("verify", *options, "-CAfile", self.authority(name), certificate)
            self.assertIn(b": OK", out)

    def test_openssl_verifies_our_signatures(self):
        data = self.path("data", b"data to sign")
        for name, digest, options in (("SM2_DEMO", "-sm3", SM2_ID), ("RSA_2048_DEMO", "-sha256", []),
                                      ("RSA_1024_DEMO", "-sha1", [])):
            signature = self.path("signature", self.service.sign(name, b"data to sign")[1])
            verify = ["dgst", digest, "-verify", self.public_key(name), *options, "-signature", signature]
            self.assertIn(b"Verified OK", self.openssl(*verify, data))
            self.openssl(*verify, self.path("other", b"data to sigN"), expect=1)

    def test_we_verify_the_signatures_of_openssl(self):
        data = self.path("data", b"data to sign")
        for name, digest, options in (("OWN_SM2", "-sm3", SM2_ID), ("OWN_RSA", "-sha256", [])):
            key, _ = self.import_own(name, name[4:])
            self.openssl("dgst", digest, "-sign", key, *options, "-out", self.path("signature"), data)
            verify = lambda content: self.service.call(
                16, EncodeCert=b64(self.service.certificate(name)), InData=b64(content),
                SignValue=b64(self.read("signature")), base64=True)[0]
            self.assertEqual(verify(b"data to sign"), 0)
            self.assertEqual(verify(b"data to sigN"), 0x0B000410)

    def test_openssl_verifies_our_messages(self):
        root = self.authority("RSA_2048_DEMO")
        attached = self.path("attached.p7", self.service.sign_message("RSA_2048_DEMO", b"content", 0))
        detached = self.path("detached.p7", self.service.sign_message("RSA_2048_DEMO", b"content", 1))
        for command in ("cms", "smime"):
            verify = [command, "-verify", "-inform", "DER", "-binary", "-purpose", "any", "-CAfile", root]
            self.assertEqual(self.openssl(*verify, "-in", attached), b"content")
            content, other = self.path("content", b"content"), self.path("other", b"contenT")
            self.assertEqual(self.openssl(*verify, "-in", detached, "-content", content), b"content")
            self.openssl(*verify, "-in", detached, "-content", other, expect=1)

    def test_we_verify_the_messages_of_openssl(self):
        key, certificate = self.import_own("MESSAGE_RSA", "RSA")
        content = self.path("content", b"content")
        verify = lambda data: self.service.call(
            24, MessageData=b64(self.read("message.p7")), InData=b64(data), base64=True)[0]
        for options in ([], ["-noattr"]):
            sign = ["cms", "-sign", "-binary", "-in", content, "-signer", certificate,
                    "-inkey", key, "-outform", "DER",
                    "-out", self.path("message.p7"), "-md", "sha256", *options]
            self.openssl(*sign)
            self.assertEqual([verify(b"content"), verify(b"contenT"), verify(b"")],
                             [0, 0x0B000410, 0x0B000410])
            self.openssl(*sign, "-nodetach")
            self.assertEqual([verify(b""), verify(b"content"), verify(b"contenT")], [0, 0, 0x0B000410])
            self.assertEqual(self.service.frame(25, self.read("message.p7"), 1), (0, b"content"))

    def test_we_reject_messages_with_two_signers(self):
        first_key, first = self.import_own("COSIGNER_A", "RSA")
        second_key, second = self.import_own("COSIGNER_B", "RSA")
        self.openssl("cms", "-sign", "-binary", "-nodetach", "-in", self.path("content", b"content"),
                     "-signer", first, "-inkey", first_key, "-signer", second, "-inkey", second_key,
                     "-outform", "DER", "-out", self.path("message.p7"), "-md", "sha256")
        message = self.read("message.p7")
        self.assertEqual(self.service.call(24, MessageData=b64(message), InData="", base64=True)[0],
                         0x0B000417)
        for item in (1, 2, 3):
            self.assertEqual(self.service.frame(25, message, item)[0], 0x0B000417, item)

    def test_openssl_opens_our_envelopes(self):
        key, certificate = self.import_own("ENVELOPE_RSA", "RSA")
        recipient = self.service.certificate("ENVELOPE_RSA", 10)
        code, envelope = self.service.frame(19, recipient, b"secret content")
        self.assertEqual(code, 0)
        opened = self.openssl("cms", "-decrypt", "-inform", "DER", "-in", self.path("envelope", envelope),
                              "-inkey", key, "-recip", certificate)
        self.assertEqual(opened, b"secret content")

    def test_we_open_the_envelopes_of_openssl(self):
        _, certificate = self.import_own("OPENED_RSA", "RSA")
        content = self.path("content", b"secret content")
        for cipher in ("-sm4-cbc", "-aes256", "-des3"):
            self.openssl("cms", "-encrypt", "-binary", cipher, "-in", content, "-outform", "DER",
                         "-out", self.path("envelope"), certificate)
            opened = self.service.frame(20, "OPENED_RSA", self.read("envelope"))
            self.assertEqual(opened, (0, b"secret content"), cipher)

    def test_public_key_encryption_agrees(self):
        for name, algorithm in (("RAW_RSA", "RSA"), ("RAW_SM2", "SM2")):
            key, certificate = self.import_own(name, algorithm)
            code, cipher = self.service.frame(60, self.service.certificate(name, 10), b"key")
            self.assertEqual(code, 0)
            self.path("cipher", cipher)
            decrypted = self.openssl("pkeyutl", "-decrypt", "-inkey", key, "-in", self.path("cipher"))
            self.assertEqual(decrypted, b"key")
            self.openssl("pkeyutl", "-encrypt", "-certin", "-inkey", certificate,
                         "-in", self.path("plain", b"key"),
                         "-out", self.path("cipher"))
            self.assertEqual(self.service.frame(61, name, 1, self.read("cipher")), (0, b"key"))

    def test_a_pkcs12_file_is_imported(self):
        key, certificate = self.import_own("FIRST_RSA", "RSA")
        own = self.path("own.p12")
        store = self.service.store
        self.openssl("pkcs12", "-export", "-inkey", key, "-in", certificate, "-passout", "pass:word",
                     "-out", own)
        run_token("import", "SECOND_RSA", own, "--password", "word", "--pin", PIN, store=store)
        self.assertEqual(self.service.certificate("FIRST_RSA"), self.service.certificate("SECOND_RSA"))
        with self.assertRaises(subprocess.CalledProcessError):
            run_token("import", "THIRD_RSA", own, "--password", "wrong", "--pin", PIN, store=store)


if __name__ == "__main__":
    unittest.main()
