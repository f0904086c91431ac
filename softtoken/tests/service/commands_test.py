"""Tests commands of the program: what they change, print and return."""

import json
import os
import signal
import socket
import subprocess
import tempfile
import unittest

from http_case import HELLO
from token_service import JSON_TYPE, PIN, PROGRAM, Service, run_token

BUFFER_TOO_SMALL = 0x0B000422
LOCKED = 0x0B000442
WRONG_PIN = 0x0B000426
PASSWORD = "pass-phrase of the file"


def openssl(*arguments, **options):
    return subprocess.run(["openssl", *arguments], check=True, capture_output=True, **options).stdout


def run(*arguments):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True)


class Containers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.service = Service()

    @classmethod
    def tearDownClass(cls):
        with cls.service:
            pass

    def test_unlock_resets_the_retry_counter(self):
        for _ in range(10):
            self.assertEqual(self.service.login("SM2_DEMO", "wrong"), WRONG_PIN)
        self.assertEqual(self.service.login("SM2_DEMO"), LOCKED)
        run_token("unlock", "SM2_DEMO", store=self.service.store)
        self.assertEqual(self.service.call(8, ContainerName="SM2_DEMO"), (0, {"RetryCount": 10}))
        self.assertEqual(self.service.login("SM2_DEMO"), 0)

    def test_each_certificate_is_exported(self):
        store, name = self.service.store, "RSA_2048_DEMO"
        der = lambda *options: openssl("x509", "-outform", "DER",
                                       input=run_token("export-cert", name, *options, store=store).encode())
        self.assertEqual(der(), self.service.certificate(name))
        self.assertEqual(der("--exchange"), self.service.certificate(name, 10))
        issuer = openssl("x509", "-inform", "DER", "-noout", "-issuer", input=der())
        subject = openssl("x509", "-inform", "DER", "-noout", "-subject", input=der("--authority"))
        self.assertEqual(issuer.removeprefix(b"issuer"), subject.removeprefix(b"subject"))

    def test_keys_are_imported_with_the_password_of_their_file(self):
        with tempfile.TemporaryDirectory() as folder:
            key, certificate, both, pkcs12 = (os.path.join(folder, name) for name in "kcbp")
            openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-aes256",
                    "-pass", "pass:" + PASSWORD, "-out", key)
            openssl("req", "-x509", "-new", "-key", key, "-passin", "pass:" + PASSWORD, "-out", certificate,
                    "-days", "30", "-subj", "/CN=imported")
            openssl("pkcs12", "-export", "-inkey", key, "-in", certificate, "-passin", "pass:" + PASSWORD,
                    "-passout", "pass:" + PASSWORD, "-out", pkcs12)
            with open(both, "wb") as file:
                for part in (key, certificate):
                    with open(part, "rb") as source:
                        file.write(source.read())
            for number, source in enumerate((both, pkcs12)):
                command = ["import", f"I{number}", source, "--pin", PIN, "--data", self.service.store]
                for wrong in ([], ["--password", "wrong"], ["--password", PASSWORD[:-1]]):
                    refused = run(*command, *wrong)
                    self.assertEqual(refused.returncode, 1, wrong)
                    self.assertNotIn(PIN, refused.stdout + refused.stderr)
                imported = run(*command, "--password", PASSWORD)
                self.assertEqual((imported.returncode, imported.stdout, imported.stderr), (0, "", ""))
                self.assertEqual(self.service.login(f"I{number}"), 0)
                self.assertEqual(self.service.sign(f"I{number}", b"data")[0], 0)
            self.assertEqual(self.service.certificate("I0"), self.service.certificate("I1"))

    def test_failures_have_a_message_and_an_exit_code(self):
        store = ["--data", self.service.store]
        for arguments, message in (
                (["container", "delete", "nobody"], "failed with result code 0x0B000425"),
                (["unlock", "nobody"], "failed with result code 0x0B000425"),
                (["container", "add", "SM2_DEMO", "--pin", PIN], "failed with result code 0x0B000439"),
                (["container", "add", "SHORT", "--pin", "123"], "failed with result code 0x0B000201"),
                (["import", "X", "/no/such/file", "--pin", PIN], "cannot read /no/such/file"),
                (["import", "X", "/dev/null", "--pin", PIN],
                 "/dev/null does not contain a private key and its certificate"),
                (["serve", "--port", str(self.service.port)], "the port is in use")):
            failed = run(*arguments, *store)
            self.assertEqual((failed.returncode, failed.stdout, failed.stderr),
                             (1, "", f"velm_softtoken: {message}\n"), arguments)


class UserList(unittest.TestCase):
    def test_a_list_that_clients_have_no_room_for_is_refused(self):
        """The list has at most 2,000 bytes, with quotation marks, commas and brackets."""
        with Service(demo=False) as service:
            def add(name):
                run_token("container", "add", name, "--pin", PIN, store=service.store)

            for number in "零一二三四五六七八九":
                add(number * 64)
            add("a" * 46)
            status, _, answer = service.post(b'{"funcid":5,"ReturnMethod":0}', JSON_TYPE)
            self.assertEqual(status, 200)
            names = json.dumps(json.loads(answer)["Result"], separators=(",", ":"), ensure_ascii=False)
            self.assertEqual(len(names.encode()), 2000)
            self.assertLessEqual(len(answer), 2048)
            run_token("container", "delete", "a" * 46, store=service.store)
            add("a" * 47)
            self.assertEqual(service.call(5, ReturnMethod=0), (BUFFER_TOO_SMALL, None))


class Serve(unittest.TestCase):
    def test_either_signal_ends_the_service_in_order(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with Service(demo=False) as service:
                service.process.send_signal(number)
                self.assertEqual(service.end(), 0)

    def test_the_service_restarts_on_its_port_at_once(self):
        """Connections that the first service has closed still occupy the port."""
        with Service(demo=False) as first:
            with socket.create_connection(("127.0.0.1", first.port)) as connection:
                connection.sendall(b"x\r\n\r\n")
                while connection.recv(4096):
                    pass
            self.assertEqual(first.stop(), 0)
            with Service(port=first.port, store=first.store) as second:
                self.assertEqual(second.port, first.port)
                self.assertEqual(second.call(58)[0], 0)

    def test_the_limit_of_bodies_is_in_mib(self):
        with Service("--body-limit", "0.5", demo=False) as service:
            for size, status in ((512 * 1024, 200), (512 * 1024 + 1, 413)):
                self.assertEqual(service.post(HELLO.ljust(size), JSON_TYPE)[0], status)

    def test_a_body_may_have_half_of_the_memory_budget(self):
        with Service("--memory-budget", "1", demo=False) as service:
            for size, status in ((512 * 1024, 200), (512 * 1024 + 1, 413)):
                self.assertEqual(service.post(HELLO.ljust(size), JSON_TYPE)[0], status)


if __name__ == "__main__":
    unittest.main()
