"""Tests that clients which do not read their answers cannot exhaust the memory of the service."""

import collections
import json
import select
import socket
import unittest

from connections import allow_open_files, head, median_latency
from load_test import MIB, forget_peak, resident, status_of
from token_service import Service

PATIENCE = 100
# What the service may use beside its budget: the reserve for small requests, the calls in progress, and what
# the allocator keeps.
CONSTANT = (32 + 96) * MIB
LARGEST_RANDOM = 16 * MIB
TRACED_CALLS = 1000


class SlowReaders:
    """Connections with a small receive buffer that send a request and read no answer."""

    def __init__(self, service, count):
        self.connections = []
        for _ in range(count):
            connection = socket.socket()
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)  # the system has a minimum
            connection.connect(("127.0.0.1", service.port))
            self.connections.append(connection)

    def ask(self, request):
        for connection in self.connections:
            connection.sendall(request)

    def statuses(self, count):
        """Returns how often each status is among the first `count` answers. Reads only the first bytes."""
        waiting = select.poll()
        by_number = {connection.fileno(): connection for connection in self.connections}
        for number in by_number:
            waiting.register(number, select.POLLIN)
        found = collections.Counter()
        while found.total() < count:
            ready = waiting.poll(PATIENCE * 1000)
            assert ready, "no answer arrives"
            for number, _ in ready:
                waiting.unregister(number)
                found[int(by_number[number].recv(12)[9:])] += 1
        return found

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for connection in self.connections:
            connection.close()


class SlowReadersTest(unittest.TestCase):
    def measure(self, service, count, request, answers):
        """Returns the statuses of the first answers to slow readers, and the growth of the service."""
        if not allow_open_files(count + 200):
            self.skipTest("too few open files are allowed")
        with SlowReaders(service, count) as readers:
            self.assertEqual(service.call(58)[0], 0)
            before = resident(service)
            forget_peak(service)
            readers.ask(request)
            self.assertLess(median_latency(service, 20), 1, "other clients are served meanwhile")
            statuses = readers.statuses(answers)
            grown = status_of(service, "VmHWM") * 1024 - before
            self.assertEqual(service.call(58)[0], 0)
        print(f"{dict(statuses)}, {grown / MIB:.0f} MiB")
        return statuses, grown

    def test_a_thousand_readers_of_the_largest_random_answer(self):
        budget = 128
        with Service("--request-time", "100", "--memory-budget", str(budget), demo=False) as service:
            body = json.dumps({"funcid": 26, "Len": LARGEST_RANDOM}).encode()
            request = head(service, len(body)) + body
            statuses, grown = self.measure(service, 1000, request, answers=200)
        self.assertEqual(statuses.keys(), {200, 503})
        self.assertLessEqual(statuses[200] * LARGEST_RANDOM * 4 // 3, budget * MIB)
        self.assertLess(grown, budget * MIB + CONSTANT)

    def test_readers_of_the_trace(self):
        """The trace has no share of the budget: the system buffers it, and 300 MiB do not stay here."""
        count = 4000
        with Service("--request-time", "100", "--memory-budget", "16", demo=False) as service:
            for _ in range(TRACED_CALLS):
                self.assertEqual(service.call(58)[0], 0)
            request = f"GET /trace HTTP/1.1\r\nHost: 127.0.0.1:{service.port}\r\n\r\n".encode()
            statuses, grown = self.measure(service, count, request, answers=count)
        self.assertEqual(statuses, {200: count})
        self.assertLess(grown, 16 * MIB + CONSTANT)


if __name__ == "__main__":
    unittest.main()
