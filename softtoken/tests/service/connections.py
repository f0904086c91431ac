"""Plain connections to the local service, for tests and benchmarks of its behaviour under load."""

import resource
import socket
import statistics
import time

from token_service import JSON_TYPE

HELLO = b'{"funcid":58}'


def connect(service):
    return socket.create_connection(("127.0.0.1", service.port), timeout=50)


def head(service, length, content_type=JSON_TYPE, extra=""):
    return (f"POST / HTTP/1.1\r\nHost: 127.0.0.1:{service.port}\r\nContent-Type: {content_type}\r\n"
            f"{extra}Content-Length: {length}\r\n\r\n").encode()


def median_latency(service, calls=200):
    """Seconds that a small call takes on a kept connection."""
    times = []
    with connect(service) as connection:
        for _ in range(calls):
            started = time.monotonic()
            connection.sendall(head(service, len(HELLO)) + HELLO)
            answer = b""
            while not answer.endswith(b"}"):
                part = connection.recv(4096)
                assert part, answer
                answer += part
            times.append(time.monotonic() - started)
    return statistics.median(times)


def allow_open_files(count):
    """Raises the limit of open files of this process and of the services that it starts. Returns whether the
    system allows it."""
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    if most < count:
        return False
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    return True


class IdleConnections:
    """Connections on which nothing is sent."""

    def __init__(self, service, count):
        self.connections = [connect(service) for _ in range(count)]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for connection in self.connections:
            connection.close()
