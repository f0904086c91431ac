"""What the tests of the HTTP server share: a running service and plain connections to it."""

import socket
import unittest

from token_service import JSON_TYPE, Service

HELLO = b'{"funcid":58}'


class HttpCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.service = Service("--request-time", "2", "--body-limit", "1", demo=False)

    @classmethod
    def tearDownClass(cls):
        with cls.service:
            pass

    def setUp(self):
        self.host = f"127.0.0.1:{self.service.port}"

    def tearDown(self):
        self.assertEqual(self.service.call(58)[0], 0, "the service still answers")

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.service.port), timeout=30)

    def raw(self, request):
        """Sends raw bytes and returns the whole answer."""
        with self.connect() as connection:
            connection.sendall(request)
            answer = b""
            while True:
                try:
                    part = connection.recv(65536)
                except ConnectionResetError:
                    return answer
                if not part:
                    return answer
                answer += part

    def head(self, length, host=None, extra="", connection="close"):
        return (f"POST / HTTP/1.1\r\nHost: {host or self.host}\r\nContent-Type: {JSON_TYPE}\r\n{extra}"
                f"Connection: {connection}\r\nContent-Length: {length}\r\n\r\n").encode()
