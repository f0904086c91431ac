"""Tests that the service writes no PIN, no private key and no data of a client: neither to its outputs nor to
the trace, and no PIN and no key to the store. Every other test of a running service checks the same for what
it sends: see token_service.SentTexts."""

import contextlib
import os
import subprocess
import tempfile
import unittest

from token_service import FRAME_TYPE, JSON_TYPE, Service, b64, database_of, make_frame, run_token

PIN = "Kq7-zX9vT2"
NEW_PIN = "Wd4/mB6yHs"
DATA = b"what a client signs and encrypts"
NAME = "OWN"
TIME_STAMP_QUERY = "application/timestamp-query"


def make_credential(folder):
    """Makes a key and its certificate. Returns the file, and a part of the private exponent."""
    def openssl(*arguments):
        return subprocess.run(["openssl", *arguments], check=True, capture_output=True).stdout

    key = os.path.join(folder, "key.pem")
    openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", key)
    certificate = openssl("req", "-x509", "-new", "-key", key, "-days", "30", "-subj", "/CN=" + NAME)
    with open(key, "ab") as file:
        file.write(certificate)
    return key, openssl("pkey", "-in", key, "-outform", "DER")[400:432]


@contextlib.contextmanager
def without_containers(service):
    """The store lacks a table meanwhile."""
    with database_of(service) as database:
        database.execute("ALTER TABLE container RENAME TO hidden")
        yield
        database.execute("ALTER TABLE hidden RENAME TO container")


class Written(unittest.TestCase):
    def test_no_pin_no_key_and_no_data_is_written(self):
        with Service() as service, tempfile.TemporaryDirectory() as folder:
            credential, private_exponent = make_credential(folder)
            run_token("import", NAME, credential, "--pin", PIN, store=service.store)
            service.sent.note_secrets(PIN, NEW_PIN, DATA, private_exponent)
            self.make_calls(service)
            self.make_refused_requests(service)
            with without_containers(service):
                self.assertEqual(service.login(NAME, PIN), 0x0B000001)
            self.assertIn(b"velm_softtoken: Login: store: no such table", service.standard_error())
            self.assertEqual(service.login(NAME, PIN), 0)

    def make_calls(self, service):
        self.assertEqual(service.login(NAME, NEW_PIN), 0x0B000426)
        self.assertEqual(service.login(NAME, PIN), 0)
        for old, new in ((PIN, NEW_PIN), (NEW_PIN, PIN)):
            self.assertEqual(service.call(9, ContainerName=NAME, OldPassWd=b64(old.encode()),
                                          NewPassWd=b64(new.encode()))[0], 0)
        self.assertEqual(service.call(29, ContainerName=NAME, Pin=PIN, FileType=1, FileIndex=1, Offset=0,
                                      WriteData=b64(b"x"))[0], 0)
        self.assertEqual(service.sign(NAME, DATA)[0], 0)
        service.sign_message(NAME, DATA, 1)
        code, envelope = service.frame(19, service.certificate("RSA_2048_DEMO", 10), DATA)
        self.assertEqual(code, 0)
        self.assertEqual(service.login("RSA_2048_DEMO"), 0)
        self.assertEqual(service.frame(20, "RSA_2048_DEMO", envelope), (0, DATA))

    def make_refused_requests(self, service):
        login = b'{"funcid":7,"UserName":"%s","PassWd":"%s"}' % (NAME.encode(), b64(PIN.encode()).encode())
        write = b'{"funcid":29,"ContainerName":"%s","Pin":"%s"}' % (NAME.encode(), PIN.encode())
        frame = make_frame(20, PIN, DATA)
        for status, body, content_type, path, headers in (
                (400, login[:-1], JSON_TYPE, "/", {}), (400, write + b"x", JSON_TYPE, "/", {}),
                (400, b'{"PassWd":"%s"}' % PIN.encode(), JSON_TYPE, "/", {}),
                (200, login.replace(b":7", b":777"), JSON_TYPE, "/", {}),
                (200, write.replace(b":29", b":-1"), JSON_TYPE, "/token", {}),
                (400, frame[2:], FRAME_TYPE, "/", {}), (200, frame[:-1], FRAME_TYPE, "/", {}),
                (403, login, JSON_TYPE, "/", {"Origin": "null"}), (415, login, "text/plain", "/", {}),
                (414, login, JSON_TYPE, "/" + PIN * 200, {}), (200, login, JSON_TYPE, "/?" + PIN, {}),
                (415, login, JSON_TYPE, "/tsa", {}),
                (200, login, TIME_STAMP_QUERY, "/tsa", {"X-Pin": PIN})):
            found = service.post(body, content_type, headers, path)[0]
            self.assertEqual(found, status, (body, content_type, path))

    def test_what_is_written_is_searched(self):
        for name, text in (("standard output", "listening on"), ("trace", "GetVersion"),
                           ("store", "CREATE TABLE"), ("standard error", "no such table")):
            with self.subTest(name), self.assertRaisesRegex(AssertionError, f"{name}.* contains"):
                with Service() as service:
                    self.assertEqual(service.call(0)[0], 0)
                    with without_containers(service):
                        service.login(NAME)
                    (service.sent.others if name == "trace" else service.sent.secrets).add(text.encode())


if __name__ == "__main__":
    unittest.main()
