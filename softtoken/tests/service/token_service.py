"""The local service for the tests: the program, its store, and a client of its protocol."""

import base64
import http.client
import json
import os
import shutil
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


class Service:
    """A running service on a free port with a store of its own."""

    def __init__(self, *options, store=None, demo=True):
        self.folder = None
        if store is None:
            self.folder = tempfile.mkdtemp(prefix="velm-token-")
            store = os.path.join(self.folder, "store.db")
            run_token("init", *(["--demo"] if demo else []), store=store)
        self.store = store
        self.options = options
        self.start()

    def start(self):
        command = [PROGRAM, "serve", "--data", self.store, "--port", "0", *self.options]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        self.port = int(line.rsplit(":", 1)[1])

    def stop(self):
        self.process.terminate()
        code = self.process.wait(timeout=30)
        self.process.stdout.close()
        return code

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        code = self.stop() if self.process.poll() is None else self.process.returncode
        if self.folder:
            shutil.rmtree(self.folder)
        assert code == 0, f"the service ended with {code}"

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
        _, _, answer = self.post(body, JSON_TYPE)
        answer = json.loads(answer)
        return int(answer["ErrorCode"], 16), answer.get("Result")

    def frame(self, funcid, *fields):
        """Makes a frame call and returns code and data. Fields are int (number), str (text) or bytes (byte
        string)."""
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
