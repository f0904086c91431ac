"""Kills the service at random moments: acknowledged changes persist, nothing is half-written, and no PIN
attempt is restored."""

import http.client
import random
import sqlite3
import subprocess
import threading
import time
import unittest

from token_service import PIN, PROGRAM, Service, b64, run_token

WRITES = 500
FILE_SIZE = 4096


class Writer:
    """Writes files, changes PINs and adds containers until the service ends. Records what was
    acknowledged."""

    def __init__(self, service):
        self.service = service
        self.files = {}
        self.attempted_files = {}
        self.pins = {"SM2_DEMO": [PIN]}
        self.containers = set()
        self.acknowledged = 0
        self.next = 0
        self.killed = False
        self.failure = None

    def write_file(self, number):
        index = number % 20
        content = bytes([number % 256]) * FILE_SIZE
        self.attempted_files[index] = content
        code, _ = self.service.call(29, ContainerName="RSA_2048_DEMO", Pin=PIN, FileType=1, FileIndex=index,
                                    Offset=0, WriteData=b64(content))
        assert code == 0, hex(code)
        self.files[index] = content

    def change_pin(self, number):
        old, new = self.pins["SM2_DEMO"][-1], f"pin-{number}"
        self.pins["SM2_DEMO"] = [old, new]
        code, _ = self.service.call(9, ContainerName="SM2_DEMO", OldPassWd=b64(old.encode()),
                                    NewPassWd=b64(new.encode()))
        assert code == 0, hex(code)
        self.pins["SM2_DEMO"] = [new]

    def add_container(self, number):
        name = f"ADDED_{number}"
        run_token("container", "add", name, "--pin", PIN, store=self.service.store)
        self.containers.add(name)

    def run(self):
        """Runs until the kill breaks the connection. Any other exception is a failure."""
        try:
            while self.acknowledged < WRITES:
                number = self.next
                self.next += 1
                step = (self.change_pin if number % 10 == 5 else
                        self.add_container if number % 50 == 7 else self.write_file)
                step(number)
                self.acknowledged += 1
        except Exception as error:
            if not (self.killed and isinstance(error, (OSError, http.client.HTTPException))):
                self.failure = error


class Killed(unittest.TestCase):
    def check(self, service, writer):
        database = sqlite3.connect(service.store)
        self.assertEqual(database.execute("PRAGMA integrity_check").fetchone()[0], "ok")
        database.close()
        for index, content in writer.files.items():
            code, found = service.frame(28, "RSA_2048_DEMO", 1, index, 0, FILE_SIZE * 2)
            self.assertEqual(code, 0)
            self.assertIn(found, (content, writer.attempted_files[index]))
        names = service.call(5, ReturnMethod=0)[1]
        for name in writer.containers:
            self.assertIn(name, names)
        opened = [pin for pin in writer.pins["SM2_DEMO"] if service.login("SM2_DEMO", pin) == 0]
        self.assertEqual(len(opened), 1, "exactly the old or the new PIN opens")
        writer.pins["SM2_DEMO"] = opened
        writer.files.update({index: service.frame(28, "RSA_2048_DEMO", 1, index, 0, FILE_SIZE * 2)[1]
                             for index in writer.files})

    def test_killing_the_service_loses_no_acknowledged_write(self):
        dice = random.Random(7)
        with Service() as service:
            writer = Writer(service)
            kills = 0
            while writer.acknowledged < WRITES:
                writer.killed = False
                worker = threading.Thread(target=writer.run)
                worker.start()
                worker.join(dice.uniform(0.2, 3))
                writer.killed = True
                service.kill()
                worker.join()
                if writer.failure:
                    raise writer.failure
                kills += 1
                service.start()
                self.check(service, writer)
            print(f"{kills} kills during {writer.acknowledged} acknowledged writes")
            self.assertGreater(kills, 3)

    def test_killing_a_command_adds_a_complete_container_or_none(self):
        dice = random.Random(8)
        with Service() as service:
            for number in range(12):
                name = f"KILLED_{number}"
                command = [PROGRAM, "container", "add", name, "--pin", PIN, "--data", service.store]
                with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
                    time.sleep(dice.uniform(0, 0.5))
                    process.kill()
                added = name in service.call(5, ReturnMethod=0)[1]
                self.assertEqual(service.login(name) == 0, added)
                if added:
                    self.assertEqual(service.sign(name, b"data")[0], 0)

    def test_killing_the_service_restores_no_pin_attempt(self):
        with Service() as service:
            left = service.call(8, ContainerName="SM2_DEMO")[1]["RetryCount"]
            for expected in range(left - 1, left - 6, -1):
                worker = threading.Thread(target=lambda: self.log_in_with_a_wrong_pin(service))
                worker.start()
                # The retry counter is decremented before the slow part of the PIN check, which the kill
                # interrupts.
                deadline = time.monotonic() + 10
                while self.retry_counter_in_store(service) != expected and time.monotonic() < deadline:
                    pass
                service.kill()
                worker.join()
                service.start()
                self.assertEqual(service.call(8, ContainerName="SM2_DEMO")[1]["RetryCount"], expected)

    @staticmethod
    def log_in_with_a_wrong_pin(service):
        try:
            service.login("SM2_DEMO", "wrong")
        except (OSError, http.client.HTTPException):
            pass

    @staticmethod
    def retry_counter_in_store(service):
        database = sqlite3.connect(service.store)
        try:
            return database.execute("SELECT tries_left FROM container WHERE name = 'SM2_DEMO'").fetchone()[0]
        finally:
            database.close()


class Concurrent(unittest.TestCase):
    def test_concurrent_clients_get_their_own_responses(self):
        with Service() as service:
            names = ["SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"]
            certificates = {}
            for name in names:
                self.assertEqual(service.login(name), 0)
                certificates[name] = service.certificate(name)
            failures = []

            def client(number):
                name = names[number % len(names)]
                for turn in range(20):
                    data = f"{number}-{turn}".encode()
                    code, signature = service.sign(name, data)
                    verdict = service.call(16, EncodeCert=b64(certificates[name]), InData=b64(data),
                                           SignValue=b64(signature), base64=True)[0] if code == 0 else code
                    if verdict != 0:
                        failures.append((name, hex(verdict)))

            threads = [threading.Thread(target=client, args=(number,)) for number in range(12)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual(failures, [])

    def test_concurrent_wrong_pins_are_all_counted(self):
        with Service() as service:
            threads = [threading.Thread(target=service.login, args=("SM2_DEMO", "wrong")) for _ in range(6)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual(service.call(8, ContainerName="SM2_DEMO")[1], {"RetryCount": 4})


if __name__ == "__main__":
    unittest.main()
