"""Execute the commands of docs/getting_started.md in an install tree.

usage: getting_started_test.py SOURCE_ROOT BUILD_FOLDER

Windows commands run under Wine, the mingw-w64 compiler runs natively. Visual Studio commands are printed, but
not run. Only the English page is used; check_pages.py ensures that the Chinese page has the same commands.
"""

import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

PAGE = "docs/getting_started.md"
SERVICE = ("127.0.0.1", 55661)
PIN = "12345678"
COMPILER = "x86_64-w64-mingw32-gcc"
VISUAL_STUDIO = ("cl", "lib")


class Failure(Exception):
    pass


def read_blocks(page):
    """Return the fenced blocks that name a language, in order."""
    return re.findall(r"^```(\w+)\n(.*?)^```", page.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL)


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def service_answers():
    with socket.socket() as connection:
        return connection.connect_ex(SERVICE) == 0


class NewUser:
    """A user with an unpacked package, a store folder and two console windows."""

    def __init__(self, source_root, work):
        self.wine = str(source_root / "cmake" / "run-under-wine")
        self.work = work
        self.folder = work
        self.service = None
        self.output = None
        self.tried = self.not_tried = 0

    def type_command(self, line):
        words = line.split()
        if words[0] == "cd":
            self.folder = self.folder / words[1]
            if not self.folder.is_dir():
                raise Failure(f"no folder {words[1]}")
        elif words[0] == COMPILER:
            self.run([word.replace("\\", "/") for word in words])
        elif words[0] in VISUAL_STUDIO:
            print(f"skipped: {line}")
            self.not_tried += 1
            return
        elif words[-1] == "serve":
            self.start_service(line)
        else:
            typed = PIN + "\n" if words[0].endswith("sof") and words[1] == "login" else ""
            self.output = self.run(self.windows_command(line), typed)
        self.tried += 1

    def windows_command(self, line):
        """Write the line to a batch file that sets the test's own store folder; return its command."""
        batch = self.work / "command.bat"
        batch.write_text(f"@set LOCALAPPDATA={windows_path(self.work)}\n@{line}\n", newline="\r\n")
        return [self.wine, "cmd", "/c", windows_path(batch)]

    def run(self, command, typed=""):
        done = subprocess.run(command, cwd=self.folder, input=typed, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, encoding="utf-8", timeout=120)
        if done.returncode != 0:
            raise Failure(f"{' '.join(command)} exited with {done.returncode}:\n{done.stdout}")
        return done.stdout

    def start_service(self, line):
        if service_answers():
            raise Failure("the port of the service is already in use")
        with open(self.work / "service.log", "w", encoding="utf-8") as log:
            command = self.windows_command(line)
            self.service = subprocess.Popen(command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=log,
                                            stderr=log, start_new_session=True)
        deadline = time.monotonic() + 60
        while not service_answers():
            if self.service.poll() is not None or time.monotonic() > deadline:
                raise Failure("no response from the service:\n" + (self.work / "service.log").read_text())
            time.sleep(0.1)

    def close_windows(self):
        if self.service is None:
            return
        os.killpg(self.service.pid, signal.SIGTERM)
        self.service.wait(timeout=30)
        deadline = time.monotonic() + 30
        while service_answers():
            if time.monotonic() > deadline:
                raise Failure("the service still responds after it was stopped")
            time.sleep(0.1)


def follow(page, user):
    blocks = read_blocks(page)
    program = next(text for language, text in blocks if language == "c")
    compiled = re.search(r"\w+\.c\b", next(text for _, text in blocks if COMPILER in text))[0]
    compared = False
    for language, text in blocks:
        if language == "c":
            (user.folder / compiled).write_text(program, encoding="utf-8")
        elif language == "bat":
            for line in text.splitlines():
                user.type_command(line)
        elif language == "text":
            if user.output is None or user.output.replace("\r", "").split("\n") != text.split("\n"):
                raise Failure(f"expected\n{text}\nbut got\n{user.output}")
            compared = True
    if not compared:
        raise Failure("the page contains no expected output")


def main(source_root, build_folder):
    source_root, work = Path(source_root), Path(build_folder, "docs", "getting_started")
    header = (source_root / "inc" / "velm_sof_client.h").read_text(encoding="utf-8")
    version = re.search(r'#define VELM_SOF_VERSION +"([\d.]+)"', header)[1]
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    subprocess.run(["cmake", "--install", build_folder, "--prefix", str(work / f"velm_sof_client-{version}")],
                   check=True, stdout=subprocess.DEVNULL)
    user = NewUser(source_root, work)
    try:
        follow(source_root / PAGE, user)
    except Failure as failure:
        print(f"{PAGE}: {failure}")
        return 1
    finally:
        user.close_windows()
    print(f"{PAGE}: {user.tried} commands run, {user.not_tried} skipped")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
