"""Runs sof and the local service for the tests: under Wine, in a folder of their own."""

import contextlib
import http.server
import json
import os
import pty
import select
import shlex
import shutil
import socket
import subprocess
import tempfile
import termios
import threading
import time

FOLDER = os.environ["SOF_FOLDER"]
RUNNER = os.environ["SOF_RUNNER"]
SERVICE_ADDRESS = ("127.0.0.1", 55661)
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8"}


class Result:
    """Exit status and output of a run."""

    def __init__(self, process):
        self.status = process.returncode
        self.output = process.stdout
        self.errors = process.stderr.decode()

    @property
    def text(self):
        return self.output.decode()

    @property
    def json(self):
        return json.loads(self.output)


def command_of(line, program_folder=FOLDER):
    """Returns the command that runs sof with the arguments in `line`, split as a shell does."""
    return [RUNNER, os.path.join(program_folder, "sof.exe"), *shlex.split(line)]


def sof(line, data, folder, program_folder=FOLDER, **settings):
    """Runs the program in `folder` with `data` on standard input."""
    settings = {"stdout": subprocess.PIPE, "timeout": 120, "env": ENVIRONMENT, **settings}
    return Result(subprocess.run(command_of(line, program_folder), input=data, stderr=subprocess.PIPE,
                                 cwd=folder, **settings))


def unread_sof(line, folder):
    """Runs the program with a closed pipe as standard output."""
    reader, writer = os.pipe()
    os.close(reader)
    try:
        return sof(line, b"", folder, stdout=writer)
    finally:
        os.close(writer)


def started_sof(line, folder):
    """Starts the program without waiting for it."""
    return subprocess.Popen(command_of(line), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL, cwd=folder, env=ENVIRONMENT)


class ConsoleRun:
    """A run on a console: the output shown so far, and the exit status at the end."""

    def __init__(self, line, folder):
        self.terminal, inner = pty.openpty()
        self.process = subprocess.Popen(command_of(line), stdin=inner, stdout=inner, stderr=inner, cwd=folder,
                                        start_new_session=True, env={**ENVIRONMENT, "TERM": "xterm"})
        os.close(inner)
        self.shown = b""
        self.deadline = time.monotonic() + 120

    def show_more(self):
        """Waits for output. Returns false at the end."""
        readable, _, _ = select.select([self.terminal], [], [], 0.1)
        try:
            piece = os.read(self.terminal, 65536) if readable else None
        except OSError:
            return False
        assert time.monotonic() < self.deadline, self.shown
        self.shown += piece or b""
        return piece != b""

    def type(self, text, after):
        """Types `text` once the program has shown `after` and the console has left line mode."""
        while after not in self.shown or termios.tcgetattr(self.terminal)[3] & termios.ICANON:
            assert self.show_more(), self.shown
        os.write(self.terminal, text)

    def end(self):
        """Returns the exit status."""
        while self.show_more():
            pass
        os.close(self.terminal)
        return self.process.wait()


def answers():
    with socket.socket() as connection:
        return connection.connect_ex(SERVICE_ADDRESS) == 0


class Service:
    """The local service with a store of its own."""

    def __init__(self, *options):
        """`options` are those of `velm_softtoken init`."""
        self.folder = tempfile.mkdtemp(prefix="velm-sof-")
        self.store = "Z:" + os.path.join(self.folder, "store.db")
        self.program = os.path.join(FOLDER, "velm_softtoken.exe")
        assert not answers(), "something listens on the service's port already"
        self.run("init", *options)

    def run(self, *arguments):
        """Runs a command of the software token on the store."""
        subprocess.run([RUNNER, self.program, *arguments, "--data", self.store], check=True, env=ENVIRONMENT,
                       stdout=subprocess.DEVNULL)

    def start(self):
        command = [RUNNER, self.program, "serve", "--data", self.store]
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=ENVIRONMENT)
        deadline = time.monotonic() + 60
        while not answers():
            assert self.process.poll() is None and time.monotonic() < deadline, "the service does not answer"
            time.sleep(0.05)

    def stop(self):
        self.process.terminate()
        self.process.wait(timeout=60)
        deadline = time.monotonic() + 60
        while answers():
            assert time.monotonic() < deadline, "the service still answers"
            time.sleep(0.05)

    def remove(self):
        shutil.rmtree(self.folder)


class RefusingHandler(http.server.BaseHTTPRequestHandler):
    """Answers version queries and rejects everything else with a bad-data code."""

    def do_POST(self):
        request = self.rfile.read(int(self.headers["Content-Length"]))
        asks_version = request.startswith(b"{") and json.loads(request)["funcid"] == 0
        answer = {"ErrorCode": "B000200"}
        if asks_version:
            answer = {"ErrorCode": "0", "Result": {"Version": "1.0.0"}}
        content = json.dumps(answer).encode()
        self.send_response(200)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)

    def log_message(self, *_):
        pass


@contextlib.contextmanager
def refusing_service():
    """A service that only answers version queries."""
    with http.server.ThreadingHTTPServer(SERVICE_ADDRESS, RefusingHandler) as server:
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        yield
        server.shutdown()
        thread.join()


class Follower:
    """A running `sof log --follow` and the lines that it prints."""

    def __enter__(self):
        self.process = subprocess.Popen(command_of("log --follow"), stdout=subprocess.PIPE, env=ENVIRONMENT)
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def lines(self, count):
        """Waits for the first `count` lines."""
        return [self.process.stdout.readline().decode() for _ in range(count)]
