"""Tests that no other process can listen on the port of the service while it runs, with the socket options of
Linux. ../e2e/port_test.cpp has those of Windows."""

import itertools
import os
import socket
import subprocess
import tempfile
import unittest

from token_service import PROGRAM, Service, run_token

OPTIONS = {"nothing": [], "SO_REUSEADDR": [socket.SO_REUSEADDR], "SO_REUSEPORT": [socket.SO_REUSEPORT],
           "both": [socket.SO_REUSEADDR, socket.SO_REUSEPORT]}
# Those through which a client of 127.0.0.1 could be reached.
ADDRESSES = {"127.0.0.1": (socket.AF_INET, "127.0.0.1"), "0.0.0.0": (socket.AF_INET, "0.0.0.0")}
SYSTEM_HAS_IPV6 = os.path.exists("/proc/net/if_inet6")
if SYSTEM_HAS_IPV6:
    ADDRESSES["dual-stack ::"] = (socket.AF_INET6, "::")


def rival(address, options, port):
    """Binds a socket as another process might."""
    family, name = ADDRESSES[address]
    rival_socket = socket.socket(family)
    try:
        for option in OPTIONS[options]:
            rival_socket.setsockopt(socket.SOL_SOCKET, option, 1)
        if family == socket.AF_INET6:
            rival_socket.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0)
        rival_socket.bind((name, port))
    except OSError:
        rival_socket.close()
        raise
    return rival_socket


ATTEMPTS = list(itertools.product(ADDRESSES, OPTIONS))


class PortTest(unittest.TestCase):
    def test_no_address_that_includes_the_service_can_be_bound_beside_it(self):
        with Service(demo=False) as service:
            for address, options in ATTEMPTS:
                with self.subTest(address=address, options=options):
                    with self.assertRaises(OSError):
                        rival(address, options, service.port).close()
                    self.assertEqual(service.call(58)[0], 0)

    def test_the_same_attempts_succeed_on_a_free_port(self):
        for address, options in ATTEMPTS:
            with self.subTest(address=address, options=options), rival(address, options, 0) as other:
                other.listen()
                with socket.create_connection(("127.0.0.1", other.getsockname()[1]), timeout=10):
                    other.accept()[0].close()

    def test_beside_a_socket_that_was_bound_before_the_service_is_alone_or_ends(self):
        outcomes = set()
        with tempfile.TemporaryDirectory() as folder:
            store = os.path.join(folder, "store.db")
            run_token("init", store=store)
            for address, options in ATTEMPTS:
                with self.subTest(address=address, options=options), rival(address, options, 0) as other:
                    outcomes.add(self.start_beside(other, store))
        self.assertEqual(outcomes, {"alone", "ended"})

    def start_beside(self, other, store):
        command = [PROGRAM, "serve", "--data", store, "--port", str(other.getsockname()[1])]
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as service:
            if not service.stdout.readline():
                self.assertNotEqual(service.wait(timeout=30), 0)
                return "ended"
            with self.assertRaises(OSError):
                other.listen()
            service.terminate()
        return "alone"

    @unittest.skipUnless(SYSTEM_HAS_IPV6, "the system has no IPv6")
    def test_an_ipv6_socket_takes_no_connection_of_the_service(self):
        """A socket for IPv6 alone does not conflict. Clients of 127.0.0.1 still reach the service."""
        with Service(demo=False) as service, socket.socket(socket.AF_INET6) as other:
            other.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
            other.bind(("::", service.port))
            other.listen()
            for _ in range(10):
                self.assertEqual(service.call(58)[0], 0)
            other.setblocking(False)
            with self.assertRaises(BlockingIOError):
                other.accept()


if __name__ == "__main__":
    unittest.main()
