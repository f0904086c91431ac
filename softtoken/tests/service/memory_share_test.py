"""Tests which requests wait for memory, for how long, and which never do."""

import contextlib
import threading
import time
import unittest

from connections import HELLO, connect, head
from load_test import BUSY, MIB, UNKNOWN_FUNCTION, code_in
from slow_readers_test import SlowReaders
from token_service import FRAME_TYPE, JSON_TYPE, Service, make_frame


class Waiting(unittest.TestCase):
    def test_a_body_may_take_its_time_although_its_memory_came_late(self):
        with Service("--request-time", "4", "--memory-budget", "16", demo=False) as service:
            first = make_frame(UNKNOWN_FUNCTION, bytes(3 * MIB))
            second = HELLO.ljust(3 * MIB)
            with connect(service) as holder, connect(service) as waiting:
                holder.sendall(head(service, len(first), FRAME_TYPE) + first[:1])
                time.sleep(0.5)
                waiting.sendall(head(service, len(second)) + second[:1])
                time.sleep(2.5)
                holder.sendall(first[1:])
                time.sleep(2.5)
                waiting.sendall(second[1:])
                self.assertTrue(waiting.recv(1000).startswith(b"HTTP/1.1 200 "))

    def test_a_request_without_memory_waits_and_is_then_told_so(self):
        """The first client sends its body late and does not read the answer, so that it keeps its share for
        longer than the others may wait."""
        answers = {}

        def client(service, body, content_type):
            started = time.monotonic()
            status, _, answer = service.post(body, content_type)
            answers[content_type] = (status, code_in(content_type, answer))
            self.assertGreater(time.monotonic() - started, 3)

        with Service("--request-time", "4", "--memory-budget", "16") as service:
            held = make_frame(19, service.certificate("SM2_DEMO", 10), bytes(7 * MIB))
            waiting = {JSON_TYPE: HELLO.ljust(6 * MIB),
                       FRAME_TYPE: make_frame(UNKNOWN_FUNCTION, bytes(6 * MIB))}
            with connect(service) as connection:
                connection.sendall(head(service, len(held), FRAME_TYPE) + held[:1])
                time.sleep(0.5)
                threads = [threading.Thread(target=client, args=(service, body, content_type))
                           for content_type, body in waiting.items()]
                for thread in threads:
                    thread.start()
                started = time.monotonic()
                self.assertEqual(service.call(58)[0], 0, "a small request has memory of its own")
                self.assertLess(time.monotonic() - started, 1)
                time.sleep(1.5)
                connection.sendall(held[1:])
                for thread in threads:
                    thread.join()
            self.assertEqual(answers, {JSON_TYPE: (503, BUSY), FRAME_TYPE: (503, BUSY)})
            self.assertEqual(service.post(waiting[JSON_TYPE], JSON_TYPE)[0], 200)


class Reserve(unittest.TestCase):
    """Clients that occupy the 32 MiB for bodies of up to 64 KiB, or could: four times the body, or the
    answer."""

    def test_slow_senders_delay_no_small_request(self):
        """Two waves of clients send their body late: the first one occupies the reserve, the second one waits
        for it. A request that is not small, and has no room beside them, is refused in time."""
        request_time = 6
        wave = 130
        refused = {}

        def send_larger_request(service):
            started = time.monotonic()
            status, _, answer = service.post(HELLO.ljust(60_000), JSON_TYPE)
            refused.update(status=status, code=code_in(JSON_TYPE, answer), after=time.monotonic() - started)

        with Service("--request-time", str(request_time)) as service, contextlib.ExitStack() as opened:
            def send_heads():
                for _ in range(wave):
                    connection = opened.enter_context(connect(service))
                    connection.sendall(head(service, 65536) + b"{")

            send_heads()
            time.sleep(request_time / 2)
            send_heads()
            time.sleep(1)  # until all of them wait: the larger request must not come before one of them
            larger = threading.Thread(target=send_larger_request, args=(service,))
            larger.start()
            started = time.monotonic()
            for call in (lambda: service.call(58)[0], lambda: service.login("SM2_DEMO"),
                         lambda: service.sign("SM2_DEMO", bytes(2000))[0]):
                self.assertEqual(call(), 0)
            self.assertLess(time.monotonic() - started, request_time / 2)
            larger.join()
        self.assertEqual((refused["status"], refused["code"]), (503, BUSY))
        self.assertLess(refused["after"], request_time + 2)

    def test_answers_that_the_system_buffers_occupy_nothing(self):
        """The reserve has room for less than half of these answers."""
        count = 300
        with Service("--request-time", "100", demo=False) as service:
            body = b'{"funcid":26,"Len":190000}'
            with SlowReaders(service, count) as readers:
                readers.ask(head(service, len(body), extra="Connection: close\r\n") + body)
                self.assertEqual(readers.statuses(count), {200: count})


if __name__ == "__main__":
    unittest.main()
