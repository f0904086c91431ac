"""Tests the service while other processes read or lock its store."""

import contextlib
import os
import select
import threading
import time
import unittest

from connections import connect, head
from load_test import status_of
from token_service import PIN, Service, b64, database_of

NAME = "SM2_DEMO"
WRONG_PIN = 0x0B000426
BUSY_SECONDS = 10  # for which the service waits for other processes
LONG_CALL = b'{"funcid":26,"Len":16}'


def change_pin(service, old, new):
    return service.call(9, ContainerName=NAME, OldPassWd=b64(old.encode()), NewPassWd=b64(new.encode()))[0]


def duration(call):
    started = time.monotonic()
    call()
    return time.monotonic() - started


class Reader(unittest.TestCase):
    """Replaced keys remain in the write-ahead log while another process reads an earlier state."""

    def test_replaced_keys_are_removed_when_a_reader_ends(self):
        with Service() as service, database_of(service) as reader:
            reader.execute("BEGIN")
            reader.execute("SELECT * FROM container").fetchall()
            ending = threading.Timer(1, reader.execute, ["COMMIT"])
            ending.start()
            self.assertEqual(change_pin(service, PIN, "new-pin"), 0)
            ending.join()
            self.assertEqual(os.path.getsize(service.store + "-wal"), 0)

    def test_a_reader_that_does_not_end_delays_a_pin_change_for_a_limited_time(self):
        with Service() as service, database_of(service) as reader:
            reader.execute("BEGIN")
            reader.execute("SELECT * FROM container").fetchall()
            waited = duration(lambda: self.assertEqual(change_pin(service, PIN, "new-pin"), 0))
            self.assertLess(waited, BUSY_SECONDS + 5)
            self.assertEqual(service.login(NAME, PIN), WRONG_PIN)
            self.assertEqual(service.login(NAME, "new-pin"), 0)
            self.assertGreater(os.path.getsize(service.store + "-wal"), 0)
            reader.execute("COMMIT")
            self.assertEqual(change_pin(service, "new-pin", PIN), 0)
            self.assertEqual(os.path.getsize(service.store + "-wal"), 0)


class Writer(unittest.TestCase):
    """A process that locks the store blocks the calls that need it, each in a thread of the service."""

    def test_calls_that_need_no_store_have_other_threads(self):
        with Service("--threads", "2") as service, database_of(service) as writer, \
                contextlib.ExitStack() as opened:
            writer.execute("BEGIN IMMEDIATE")
            blocked = [threading.Thread(target=service.login, args=(NAME,)),
                       threading.Thread(target=service.call, args=(8,), kwargs={"ContainerName": NAME})]
            try:
                for thread in blocked:
                    thread.start()
                    time.sleep(0.5)
                # One of two threads for connections is blocked, and one of two for long calls.
                connections = [opened.enter_context(connect(service)) for _ in range(8)]
                for connection in connections:
                    connection.sendall(head(service, len(LONG_CALL)) + LONG_CALL)
                answered = select.select(connections, [], [], 3)[0]
                self.assertTrue(answered, "all threads wait for the blocked ones")
                for connection in answered:
                    self.assertTrue(connection.recv(1000).startswith(b"HTTP/1.1 200 "))
                self.assertTrue(all(thread.is_alive() for thread in blocked), "both calls are blocked")
            finally:
                writer.execute("ROLLBACK")
                for thread in blocked:
                    thread.join()

    def test_a_call_may_take_longer_than_a_request(self):
        request_time = 1
        with Service("--request-time", str(request_time)) as service, database_of(service) as writer:
            writer.execute("BEGIN IMMEDIATE")
            ending = threading.Timer(3 * request_time, writer.execute, ["COMMIT"])
            ending.start()
            waited = duration(lambda: self.assertEqual(service.login(NAME), 0))
            ending.join()
            self.assertGreater(waited, 2 * request_time)

    def test_the_option_sets_the_number_of_threads(self):
        for count in (1, 5):
            with Service("--threads", str(count), demo=False) as service:
                self.assertEqual(service.call(26, Len=16)[0], 0)
                main_and_watcher = 2
                self.assertEqual(status_of(service, "Threads"), main_and_watcher + 2 * count)


if __name__ == "__main__":
    unittest.main()
