"""Tests the thread of the service that closes sessions, while other processes change or damage the store."""

import time
import unittest

from token_service import PIN, Service, database_of, run_token

NAME = "SM2_DEMO"
NOT_LOGGED_IN = 0x0B000438
REPORT = b"velm_softtoken: idle sessions remain open: store: no such table: container\n"


class Watcher(unittest.TestCase):
    def wait_for(self, condition, message):
        deadline = time.monotonic() + 10
        while not condition():
            self.assertLess(time.monotonic(), deadline, message)
            time.sleep(0.05)

    def test_it_goes_on_after_failures_and_reports_the_first_in_succession(self):
        with Service() as service, database_of(service) as other:
            self.assertEqual(service.login(NAME), 0)
            for reports in (1, 2):
                other.execute("ALTER TABLE container RENAME TO hidden")
                self.wait_for(lambda: service.standard_error().count(REPORT) == reports,
                              "the failure is reported")
                time.sleep(0.5)
                other.execute("ALTER TABLE hidden RENAME TO container")
                time.sleep(0.5)
                self.assertEqual(service.standard_error(), REPORT * reports)
            self.assertEqual(service.sign(NAME, b"data")[0], 0)

    def test_it_closes_sessions_of_deleted_containers(self):
        """Another process puts a container with the same number into the store."""
        with Service() as service, database_of(service) as other:
            run_token("container", "add", "FIRST", "--pin", PIN, store=service.store)
            self.assertEqual(service.login("FIRST"), 0)
            row = other.execute("SELECT * FROM container WHERE name = 'FIRST'").fetchone()
            run_token("container", "delete", "FIRST", store=service.store)
            time.sleep(1)
            other.execute(f"INSERT INTO container VALUES({','.join('?' * len(row))})", row)
            self.assertEqual(service.call(45, containerName="FIRST")[0], NOT_LOGGED_IN)
            self.assertEqual(service.login("FIRST"), 0)


if __name__ == "__main__":
    unittest.main()
