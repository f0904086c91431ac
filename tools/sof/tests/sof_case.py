"""What the tests of sof share: runs of command lines, and a local service."""

import base64
import os
import shutil
import tempfile
import unittest

from sof_console import FOLDER, Service, sof

PIN = b"12345678\n"
CHINESE = "演示容器_SM2"
SCAN_CONTAINERS = ("SM2_SCAN_CONTAINER_DEMO", "RSA_2048_SCAN_CONTAINER_DEMO")
BINARY = bytes(range(256)) * 3 + b"\r\n\x1a\n"

DONE, CALL_FAILED, USAGE, FILE, REFUSED, NO_SERVICE, NO_ACCESS, PROBLEMS, NO_LIBRARY = range(9)


class SofCase(unittest.TestCase):
    """Runs command lines in a folder of the class; write() and read() access files there."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="velm-sof-test-")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def write(self, name, content):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(content)

    def read(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def ends(self, status, line, data=b"", program_folder=FOLDER):
        """Runs the program and checks its exit status."""
        result = sof(line, data, self.folder, program_folder)
        self.assertEqual(result.status, status, (line, result.output[:2000], result.errors))
        return result

    def done(self, line, data=b""):
        result = self.ends(DONE, line, data)
        self.assertEqual(result.errors, "")
        return result

    def json(self, line, data=b"", status=DONE):
        result = self.ends(status, line + " --json", data).json
        self.assertEqual(result["ok"], status == DONE)
        return result

    def json_data(self, line, data=b""):
        found = self.json(line, data)
        content = base64.b64decode(found["data"])
        self.assertEqual(len(content), found["size"])
        return content

    def fails(self, status, function, code, line, data=b""):
        """Checks that the failed call, its code and its text appear on stderr and in the JSON object."""
        result = self.ends(status, line + " --json", data)
        found = result.json
        self.assertEqual((found["ok"], found["function"], found["code"]), (False, function, code))
        self.assertEqual(result.errors, f"sof: {function}: {code} {found['text']}\n")
        return found["text"]

    def copy_of_program(self, name):
        """Copies the complete installation to another folder. Other tests write files beside it."""
        folder = os.path.join(self.folder, name)
        os.mkdir(folder)
        for file in os.listdir(FOLDER):
            if file.endswith((".exe", ".dll")) or file == "saf_config.dat":
                shutil.copy(os.path.join(FOLDER, file), folder)
        return folder


class ServiceCase(SofCase):
    """Runs the local service with logged-in containers."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.service = Service("--demo")
        cls.service.start()
        for name in ("SM2_DEMO", "RSA_2048_DEMO", CHINESE, *SCAN_CONTAINERS):
            assert sof(f"login {name}", PIN, cls.folder).status == DONE

    @classmethod
    def tearDownClass(cls):
        cls.service.stop()
        cls.service.remove()
        super().tearDownClass()
