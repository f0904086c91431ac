"""Tests how the HTTP server of the service reads requests: in any pieces, from pages, on any address."""

import random
import socket
import time
import unittest

from http_case import HELLO, HttpCase
from token_service import FRAME_TYPE, JSON_TYPE, make_frame


class HttpRequests(HttpCase):
    def statuses(self, *requests):
        return [self.raw(request)[9:12] for request in requests]

    def in_pieces(self, request, ends):
        """Sends the parts of a request that end at these places one by one. Returns the answer."""
        with self.connect() as connection:
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            begin = 0
            for end in (*ends, len(request)):
                connection.sendall(request[begin:end])
                begin = end
                time.sleep(0.001)
            answer = b""
            while part := connection.recv(65536):
                answer += part
        return answer

    def test_a_request_may_arrive_in_any_pieces(self):
        """The answers depend on everything in the request: a call of another function, or a chunk that
        begins elsewhere, has another answer."""
        dice = random.Random(20260101)
        lines = f"POST / HTTP/1.1\r\nHost: {self.host}\r\nConnection: close\r\nContent-Type: ".encode()
        json_body = b'{"funcid":26,"Len":0,"a":"\\u53e3"}'
        frame_body = make_frame(25, b"no message", 1)
        requests = []
        for body, content_type in ((json_body, JSON_TYPE), (frame_body, FRAME_TYPE)):
            head = lines + content_type.encode() + b"\r\n"
            requests += [head + b"Content-Length: %d\r\n\r\n" % len(body) + body,
                         head + b"Transfer-Encoding: chunked\r\n\r\n" +
                         b"".join(b"%x\r\n%s\r\n" % (len(part), part)
                                  for part in (body[:3], body[3:14], body[14:], b""))]
        for request in requests:
            whole = self.raw(request)
            self.assertTrue(whole.startswith(b"HTTP/1.1 200 "), whole)
            splits = [(end,) for end in range(1, len(request))]
            splits += [sorted(dice.sample(range(1, len(request)), 12)) for _ in range(20)]
            splits.append(range(1, len(request)))
            for ends in splits:
                self.assertEqual(self.in_pieces(request, ends), whole, (request, ends))

    def test_requests_of_pages_are_rejected(self):
        for line, status in (("Origin:", b"403"), ("Origin: ", b"403"), ("origin: null", b"403"),
                             ("Sec-Fetch-Site: cross-site", b"403"), ("Sec-Fetch-Site: same-site", b"403"),
                             ("Sec-Fetch-Site: same-origin", b"403"), ("Sec-Fetch-Site: none", b"200")):
            post = self.head(len(HELLO), extra=line + "\r\n") + HELLO
            get = f"GET /trace HTTP/1.1\r\nHost: {self.host}\r\nConnection: close\r\n{line}\r\n\r\n"
            self.assertEqual(self.statuses(post, get.encode()), [status, status], line)

    def test_the_host_is_compared_completely(self):
        port = self.service.port
        for host in (f"127.0.0.1:{port}0", f"localhost:{port}0", f"127.0.0.1:{port}.example.com",
                     f"localhost:{port}@example.com", f"x127.0.0.1:{port}", f"127.0.0.1:{port // 10}"):
            self.assertEqual(self.statuses(self.head(13, host) + HELLO), [b"403"], host)

    def test_only_the_loopback_address_is_served(self):
        """All of 127.0.0.0/8 is the own machine on Linux."""
        self.connect().close()
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.2", self.service.port), timeout=10)

    def test_an_error_status_closes_the_connection(self):
        request = self.head(1, connection="keep-alive") + b"x" + self.head(len(HELLO)) + HELLO
        answer = self.raw(request)
        self.assertEqual(answer.count(b"HTTP/1.1 "), 1, answer)
        self.assertTrue(answer.startswith(b"HTTP/1.1 400 "), answer)
        self.assertIn(b"Connection: close\r\n", answer)

    def test_a_client_in_chunks_that_expects_100_continue_receives_it(self):
        with self.connect() as connection:
            head = self.head(0, extra="Expect: 100-continue\r\nTransfer-Encoding: chunked\r\n")
            connection.sendall(head.replace(b"Content-Length: 0\r\n", b""))
            connection.settimeout(10)
            self.assertEqual(connection.recv(4096), b"HTTP/1.1 100 Continue\r\n\r\n")
            connection.sendall(b"%x\r\n%s\r\n0\r\n\r\n" % (len(HELLO), HELLO))
            self.assertTrue(connection.recv(4096).startswith(b"HTTP/1.1 200 "))

    def test_a_kept_connection_has_the_whole_time_for_each_request(self):
        """The service has a limit of 2 s for a request, here of 5 s for the silence before it."""
        with self.connect() as connection:
            for pause in (0, 3, 3):
                time.sleep(pause)
                connection.sendall(self.head(len(HELLO), connection="keep-alive") + HELLO)
                self.assertTrue(connection.recv(4096).startswith(b"HTTP/1.1 200 "))
            started = time.monotonic()
            connection.sendall(self.head(len(HELLO), connection="keep-alive"))
            self.assertEqual(connection.recv(4096), b"")
            self.assertTrue(1 < time.monotonic() - started < 4, "a body that does not arrive")


if __name__ == "__main__":
    unittest.main()
