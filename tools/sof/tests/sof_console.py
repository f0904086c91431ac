"""The console program and the token's service as the tests run them: under Wine, in a folder of their own."""

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
import time

FOLDER = os.environ["SOF_FOLDER"]
RUNNER = os.environ["SOF_RUNNER"]
SERVICE_ADDRESS = ("127.0.0.1", 55661)
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8"}


class Result:
    """How a run of the program ended, and what it wrote."""

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


def sof(line, data, folder, program_folder=FOLDER):
    """One run of the program in `folder`; `line` as a shell takes it, `data` is its standard input."""
    command = [RUNNER, os.path.join(program_folder, "sof.exe"), *shlex.split(line)]
    return Result(subprocess.run(command, input=data, capture_output=True, cwd=folder, env=ENVIRONMENT,
                                 timeout=120))


class ConsoleRun:
    """One run of the program on a console: what it shows, and its exit status at the end."""

    def __init__(self, line, folder):
        self.terminal, inner = pty.openpty()
        command = [RUNNER, os.path.join(FOLDER, "sof.exe"), *shlex.split(line)]
        self.process = subprocess.Popen(command, stdin=inner, stdout=inner, stderr=inner, cwd=folder,
                                        start_new_session=True, env={**ENVIRONMENT, "TERM": "xterm"})
        os.close(inner)
        self.shown = b""
        self.deadline = time.monotonic() + 120

    def show_more(self):
        """Waits for output; false at its end."""
        readable, _, _ = select.select([self.terminal], [], [], 0.1)
        try:
            piece = os.read(self.terminal, 65536) if readable else None
        except OSError:
            return False
        assert time.monotonic() < self.deadline, self.shown
        self.shown += piece or b""
        return piece != b""

    def type(self, text, after):
        """Types once the program has shown `after` and the console takes keys one by one."""
        while after not in self.shown or termios.tcgetattr(self.terminal)[3] & termios.ICANON:
            assert self.show_more(), self.shown
        os.write(self.terminal, text)

    def end(self):
        """The exit status."""
        while self.show_more():
            pass
        os.close(self.terminal)
        return self.process.wait()


def answers():
    with socket.socket() as connection:
        return connection.connect_ex(SERVICE_ADDRESS) == 0


class Service:
    """The token's service with a demo store of its own."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="velm-sof-")
        self.store = "Z:" + os.path.join(self.folder, "store.db")
        self.program = os.path.join(FOLDER, "velm_softtoken.exe")
        assert not answers(), "something listens on the service's port already"
        command = [RUNNER, self.program, "init", "--demo", "--data", self.store]
        subprocess.run(command, check=True, env=ENVIRONMENT)

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


class Follower:
    """A running `sof log --follow`, and what it has shown."""

    def __enter__(self):
        command = [RUNNER, os.path.join(FOLDER, "sof.exe"), "log", "--follow"]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, env=ENVIRONMENT)
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def lines(self, count):
        """Its first lines; waits for them."""
        return [self.process.stdout.readline().decode() for _ in range(count)]
