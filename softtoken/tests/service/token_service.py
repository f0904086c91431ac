"""The local service for the tests: the program, its store, and a client of its protocol."""

import base64
import contextlib
import glob
import http.client
import json
import os
import pathlib
import shutil
import sqlite3
import struct
import subprocess
import tempfile

PROGRAM = os.environ["VELM_SOFTTOKEN"]
PIN = "12345678"

JSON_TYPE = "application/json;charset=UTF-8;"
FRAME_TYPE = "application/octet-stream;charset=UTF-8;"


def b64(data):
    return base64.b64encode(data).decode()


def unb64(text):
    return base64.b64decode(text)


def run_token(*arguments, store):
    """Runs a command of the program and returns its output."""
    command = [PROGRAM, *arguments, "--data", store]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def database_of(service):
    """The store as another process opens it, without transactions of its own accord."""
    return contextlib.closing(sqlite3.connect(service.store, isolation_level=None, check_same_thread=False))


class SentTexts:
    """What clients have sent, in all forms in which a service could write it."""

    PINS = ("PassWd", "OldPassWd", "NewPassWd", "Pin")
    SHORTEST = 6  # shorter texts occur by chance

    def __init__(self):
        self.secrets = set()  # must not be in the store either
        self.others = set()

    def note(self, fields):
        for name, value in fields.items():
            if isinstance(value, (str, bytes)):
                (self.secrets if name in self.PINS else self.others).update(self.forms(value))

    def note_secrets(self, *values):
        for value in values:
            self.secrets.update(self.forms(value))

    def forms(self, value):
        """The value, and what it is the base64 text of: each as it is, in base64 and in hexadecimal."""
        raw = value.encode() if isinstance(value, str) else value
        try:
            decoded = base64.b64decode(raw, validate=True)
        except ValueError:
            decoded = b""
        for text in (raw[:300], decoded[:300]):
            if len(text) >= self.SHORTEST and len(set(text)) > 3:
                yield from (text, base64.b64encode(text).rstrip(b"="), text.hex().encode(),
                            text.hex().upper().encode())

    def expect_in_none(self, written):
        for place, content in written.items():
            is_file = os.path.isabs(place)
            for text in self.secrets if is_file else self.secrets | self.others:
                assert text not in content, f"{place} contains {text}"


class Service:
    """A running service on a free port with a store of its own. At its end, what it has written must not
    contain what clients have sent."""

    def __init__(self, *options, store=None, demo=True, port=0):
        self.folder = None
        self.sent = SentTexts()
        self.errors = tempfile.TemporaryFile()  # standard error of all starts
        self.outputs = []
        if store is None:
            self.folder = tempfile.mkdtemp(prefix="velm-token-")
            store = os.path.join(self.folder, "store.db")
            run_token("init", *(["--demo"] if demo else []), store=store)
        self.store = store
        self.options = ("--port", str(port), *options)
        self.start()

    def start(self):
        command = [PROGRAM, "serve", "--data", self.store, *self.options]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=self.errors, text=True)
        line = self.process.stdout.readline()
        assert "listening" in line, (line, self.standard_error())
        self.outputs.append(line)
        self.port = int(line.rsplit(":", 1)[1])

    def end(self):
        """Waits for the end of the process and returns its exit code."""
        self.outputs.append(self.process.communicate(timeout=30)[0])
        return self.process.returncode

    def stop(self):
        self.process.terminate()
        return self.end()

    def kill(self):
        self.process.kill()
        self.end()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        running = self.process.poll() is None
        trace = self.trace() if running else b""
        code = self.stop() if running else self.process.returncode
        try:
            self.sent.expect_in_none(self.written(trace))
        finally:
            self.errors.close()
            if self.folder:
                shutil.rmtree(self.folder)
        assert code == 0, f"the service ended with {code}"

    def standard_error(self):
        self.errors.seek(0)
        return self.errors.read()

    def trace(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        try:
            connection.request("GET", "/trace")
            return connection.getresponse().read()
        finally:
            connection.close()

    def written(self, trace):
        """Everything that the service has written, by the place."""
        files = {path: pathlib.Path(path).read_bytes() for path in glob.glob(glob.escape(self.store) + "*")}
        return {"standard output": "".join(self.outputs).encode(), "standard error": self.standard_error(),
                "the trace": trace, **files}

    def post(self, body, content_type, headers=None, path="/"):
        """Returns status, headers and body of the answer."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        try:
            connection.request("POST", path, body, {"Content-Type": content_type, **(headers or {})})
            response = connection.getresponse()
            return response.status, response.headers, response.read()
        finally:
            connection.close()

    def call(self, funcid, **fields):
        """Makes a JSON call and returns code and result. Members are sent in the order in which clients
        send them."""
        body = json.dumps({"funcid": funcid, **fields}, ensure_ascii=False).encode()
        self.sent.note(fields)
        _, _, answer = self.post(body, JSON_TYPE)
        answer = json.loads(answer)
        return int(answer["ErrorCode"], 16), answer.get("Result")

    def frame(self, funcid, *fields):
        """Makes a frame call and returns code and data. Fields are int (number), str (text) or bytes (byte
        string)."""
        self.sent.note(dict(enumerate(fields)))
        _, _, answer = self.post(make_frame(funcid, *fields), FRAME_TYPE)
        code = struct.unpack_from("<I", answer)[0]
        if code != 0:
            assert len(answer) == 4, answer
            return code, None
        length = struct.unpack_from("<I", answer, 4)[0]
        assert len(answer) == 8 + length
        return code, answer[8:]

    def login(self, name, pin=PIN):
        return self.call(7, UserName=name, PassWd=b64(pin.encode()))[0]

    def certificate(self, name, funcid=6):
        code, result = self.call(funcid, ContainerName=name)
        assert code == 0, hex(code)
        return unb64(result["UserCert"])

    def sign(self, name, data):
        code, result = self.call(15, ContainerName=name, InData=b64(data), base64=1)
        return code, unb64(result["Sign"]) if code == 0 else None

    def sign_message(self, name, data, flag):
        code, result = self.call(23, Flag=flag, ContainerName=name, InData=b64(data), base64=1)
        assert code == 0, hex(code)
        return unb64(result["SignData"])


def make_frame(funcid, *fields):
    frame = bytes([0x77, funcid])
    for field in fields:
        if isinstance(field, int):
            frame += struct.pack("<I", field)
        else:
            data = field.encode() + b"\0" if isinstance(field, str) else field
            frame += struct.pack("<I", len(data)) + data
    return frame
