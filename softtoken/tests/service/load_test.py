"""Tests the service under load: many connections, large bodies, slow readers."""

import json
import os
import threading
import time
import unittest

# Freed memory that the address sanitizer holds back would count as memory of the service.
os.environ["ASAN_OPTIONS"] = ":".join(filter(None, [os.environ.get("ASAN_OPTIONS"), "quarantine_size_mb=8"]))

from connections import HELLO, IdleConnections, allow_open_files, connect, head, median_latency  # noqa: E402
from token_service import FRAME_TYPE, JSON_TYPE, Service, b64, make_frame  # noqa: E402

MIB = 1024 * 1024
UNKNOWN_FUNCTION = 200
BUSY = 0x0B000001


def status_of(service, name):
    """A value of /proc/PID/status; sizes are in KiB."""
    with open(f"/proc/{service.process.pid}/status", encoding="ascii") as lines:
        return int(next(line for line in lines if line.startswith(f"{name}:")).split()[1])


def forget_peak(service):
    with open(f"/proc/{service.process.pid}/clear_refs", "w", encoding="ascii") as file:
        file.write("5")


def resident(service):
    return status_of(service, "VmRSS") * 1024


def code_in(content_type, body):
    return (int(json.loads(body)["ErrorCode"], 16) if content_type == JSON_TYPE else
            int.from_bytes(body[:4], "little"))


class Connections(unittest.TestCase):
    def test_5000_idle_connections_cost_no_thread_and_no_time(self):
        count = 5000
        if not allow_open_files(count + 200):
            self.skipTest("too few open files are allowed")
        with Service("--request-time", "120", demo=False) as service:
            alone = median_latency(service)
            threads = status_of(service, "Threads")
            with IdleConnections(service, count):
                crowded = median_latency(service)
                self.assertEqual(status_of(service, "Threads"), threads)
        print(f"{alone * 1e6:.0f} us alone, {crowded * 1e6:.0f} us with {count} connections")
        self.assertLess(crowded, 5 * alone + 0.005)


class Memory(unittest.TestCase):
    def test_a_body_that_is_announced_but_not_sent_costs_no_memory(self):
        with Service("--request-time", "60", demo=False) as service:
            self.assertEqual(service.call(58)[0], 0)
            before = resident(service)
            with connect(service) as connection:
                connection.sendall(head(service, 512 * MIB) + b"{")
                self.assertEqual(service.call(58)[0], 0)
                self.assertLess(resident(service) - before, 128 * MIB)

    def test_no_call_needs_more_memory_than_it_reserves(self):
        reserved = 4
        with Service("--request-time", "60") as service:
            name = "SM2_DEMO"
            self.assertEqual(service.login(name), 0)
            certificate, recipient = service.certificate(name), service.certificate(name, 10)
            data = bytes(32 * MIB)
            signature = service.sign(name, data)[1]
            message = service.sign_message(name, data, 0)
            envelope = service.frame(19, recipient, data)[1]
            base64_size = len(data) * 4 // 3
            calls = {
                "SignData": (base64_size, lambda: service.sign(name, data)[0]),
                "VerifySignedData": (base64_size, lambda: service.call(
                    16, EncodeCert=b64(certificate), InData=b64(data), SignValue=b64(signature))[0]),
                "SignMessage": (base64_size, lambda: service.sign_message(name, data, 0) and 0),
                "VerifySignedMessage": (base64_size, lambda: service.call(
                    24, MessageData=b64(message), InData="")[0]),
                "GetInfoFromSignedMessage": (len(data), lambda: service.frame(25, message, 1)[0]),
                "EncryptData": (len(data), lambda: service.frame(19, recipient, data)[0]),
                "DecryptData": (len(data), lambda: service.frame(20, name, envelope)[0]),
            }
            for call, (body_size, run) in calls.items():
                with self.subTest(call):
                    before = resident(service)
                    forget_peak(service)
                    self.assertEqual(run(), 0)
                    needed = status_of(service, "VmHWM") * 1024 - before
                    print(f"{call}: {needed / body_size:.2f} times its body")
                    self.assertLess(needed, reserved * body_size + 16 * MIB)

    def test_a_slow_reader_of_a_large_answer_delays_nobody(self):
        with Service("--request-time", "60") as service:
            body = make_frame(19, service.certificate("SM2_DEMO", 10), bytes(256 * MIB))
            with connect(service) as connection:
                connection.sendall(head(service, len(body), FRAME_TYPE))
                connection.sendall(body)
                del body
                self.assertTrue(connection.recv(1000).startswith(b"HTTP/1.1 200 "))
                latency = median_latency(service)
                before = resident(service)
                median_latency(service, 1000)
                self.assertLess(resident(service) - before, 64 * MIB)
                self.assertLess(before, 1024 * MIB)
                self.assertLess(latency, 0.05)

    def test_a_hundred_large_requests_stay_within_the_budget(self):
        answers = []

        def client(service, body):
            status, _, answer = service.post(body, FRAME_TYPE)
            answers.append((status, code_in(FRAME_TYPE, answer)))

        with Service("--request-time", "15", "--memory-budget", "1024") as service:
            body = make_frame(19, service.certificate("SM2_DEMO", 10), bytes(64 * MIB - 4096))
            before = resident(service)
            threads = [threading.Thread(target=client, args=(service, body)) for _ in range(100)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            peak = status_of(service, "VmHWM") * 1024
        served = answers.count((200, 0))
        print(f"{served} served, {len(answers) - served} busy, {(peak - before) // MIB} MiB")
        self.assertEqual(served + answers.count((503, BUSY)), 100, answers)
        self.assertGreater(served, 3)
        self.assertLess(peak - before, 1024 * MIB + 128 * MIB)


if __name__ == "__main__":
    unittest.main()
