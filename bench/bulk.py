#!/usr/bin/env python3
"""Compare calls that transfer much data with WinHTTP alone, and with the openssl program.

usage: bulk.py BULK_BENCH SERVICE

BULK_BENCH is the built bulk_bench.exe, SERVICE the native velm_softtoken. Both sides run alternately; each
ratio is one of medians, printed as "name value".
"""

import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

from peer import ROOT, LibraryProgram, compare, make_rsa_certificate, report, run_openssl

MEBIBYTE = 1 << 20
EXCHANGE_BYTES = 64 * MEBIBYTE
TOKEN_BYTES = 16 * MEBIBYTE
ROUNDS = 7
ADDRESS = ("127.0.0.1", 55661)
JSON_ANSWER = b'{"ErrorCode":"0","Result":{"Sign":"c2lnbmF0dXJl"}}'


class PromptService:
    """A service that discards requests and answers at once: a frame with as much data as the request has."""

    def __init__(self):
        self.listener = socket.create_server(ADDRESS)
        self.frame = struct.pack("<II", 0, EXCHANGE_BYTES) + bytes(EXCHANGE_BYTES)
        self.space = bytearray(MEBIBYTE)
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)  # ends accept(), which close() does not
        self.thread.join()
        self.listener.close()

    def serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            with connection:
                self.answer(connection)

    def answer(self, connection):
        head = b""
        while b"\r\n\r\n" not in head:
            head += connection.recv(65536)
        head, _, begin = head.partition(b"\r\n\r\n")
        fields = dict(line.lower().split(b":", 1) for line in head.split(b"\r\n")[1:])
        missing = int(fields[b"content-length"]) - len(begin)
        while missing > 0:
            missing -= connection.recv_into(self.space)
        body = JSON_ANSWER if b"json" in fields[b"content-type"] else self.frame
        head = b"HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: %d\r\n\r\n"
        connection.sendall(head % len(body))
        connection.sendall(body)
        connection.shutdown(socket.SHUT_WR)
        connection.recv(1)


class Token:
    """The software token, as a native program."""

    def __init__(self, program):
        store = os.path.join(os.getcwd(), "token.db")
        self.process = subprocess.Popen([program, "serve", "--data", store], stdout=subprocess.DEVNULL)
        for _ in range(100):
            try:
                socket.create_connection(ADDRESS).close()
                return
            except ConnectionRefusedError:
                time.sleep(0.1)
        sys.exit("the service does not listen")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(timeout=30)

    def memory(self, name):
        """A value of /proc in bytes, for example VmRSS."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) for line in status if line.startswith(name + ":")) * 1024

    def forget_peak(self):
        with open(f"/proc/{self.process.pid}/clear_refs", "w", encoding="ascii") as file:
            file.write("5")


def measure_exchanges(library):
    with PromptService():
        calls = ("sign_data", "sign", "bare_json"), ("encrypt_data", "encrypt", "bare_frame")
        for figure, call, bare in calls:
            ours, alone = compare(lambda: library.seconds(call, EXCHANGE_BYTES),
                                  lambda: library.seconds(bare, EXCHANGE_BYTES), ROUNDS)
            report(f"{figure}_64mib_ratio", ours / alone)
            report(f"{figure}_64mib_seconds", ours)
            report(f"{figure}_64mib_bare_seconds", alone)


def measure_token_call(library, name, command, openssl_arguments):
    ours, theirs = compare(lambda: library.seconds(command, TOKEN_BYTES),
                           lambda: run_openssl(*openssl_arguments), ROUNDS)
    report(f"token_{name}_16mib_ratio", ours / theirs)
    report(f"token_{name}_16mib_seconds", ours)
    report(f"token_{name}_16mib_openssl_seconds", theirs)


def measure_token(library, token):
    library.ask("login", "SM2_DEMO")
    measure_token_call(library, "sign_data", "sign",
                       ("dgst", "-sm3", "-sign", "sm2.pem", "-out", "signature", "plain"))
    measure_token_call(library, "verify_data", "verify",
                       ("dgst", "-sm3", "-verify", "sm2.pub", "-signature", "signature", "plain"))
    measure_heap(library, token)
    library.ask("login", "RSA_2048_DEMO")
    measure_token_call(library, "sign_message", "message",
                       ("cms", "-sign", "-binary", "-nodetach", "-md", "sha256", "-signer", "certificate.pem",
                        "-inkey", "key.pem", "-outform", "DER", "-in", "plain", "-out", "message"))
    measure_token_call(library, "encrypt_data", "encrypt",
                       ("cms", "-encrypt", "-binary", "-sm4-cbc", "-outform", "DER", "-in", "plain",
                        "-out", "envelope", "certificate.pem"))
    measure_token_call(library, "decrypt_data", "decrypt",
                       ("cms", "-decrypt", "-binary", "-inform", "DER", "-in", "envelope", "-out", "opened",
                        "-recip", "certificate.pem", "-inkey", "key.pem"))


def measure_heap(library, token):
    library.ask("sign", TOKEN_BYTES)
    before = token.memory("VmRSS")
    token.forget_peak()
    library.ask("sign", EXCHANGE_BYTES)
    report("token_heap_per_byte", (token.memory("VmHWM") - before) / EXCHANGE_BYTES)


def make_openssl_files():
    make_rsa_certificate()
    run_openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:SM2", "-out", "sm2.pem")
    run_openssl("pkey", "-in", "sm2.pem", "-pubout", "-out", "sm2.pub")
    with open("plain", "wb") as plain:
        plain.write(os.urandom(TOKEN_BYTES))


def main():
    program, service = map(os.path.abspath, sys.argv[1:])
    folder = tempfile.mkdtemp(prefix="bulk-", dir=os.path.join(ROOT, "build", "bench"))
    try:
        os.chdir(folder)
        make_openssl_files()
        with LibraryProgram(program) as library:
            measure_exchanges(library)
            with Token(service) as token:
                measure_token(library, token)
    finally:
        os.chdir(ROOT)
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
