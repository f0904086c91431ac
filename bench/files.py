#!/usr/bin/env python3
"""Compare the library under Wine with the openssl program on a 300 MiB file.

usage: files.py FILE_BENCH

FILE_BENCH is the built file_bench.exe. Both sides run alternately in a folder below build/bench, on a file in
the page cache, with the same cipher, a 2048-bit RSA key and a digital envelope with definite lengths. Each
figure is a median, printed as "name value".
"""

import filecmp
import os
import shutil
import sys
import tempfile

from peer import ROOT, LibraryProgram, compare, make_rsa_certificate, report, run_openssl

MEBIBYTE = 1 << 20
FILE_MEBIBYTES = 300
ROUNDS = 3
# Figure, algorithm identifier of GM/T 0006, cipher option of openssl.
CIPHERS = (("envelope_300mib", 0x402, "-sm4-cbc"), ("envelope_300mib_aes", 0x4002, "-aes-128-cbc"))


class Library(LibraryProgram):
    """The program file_bench."""

    def envelope(self, method):
        return sum(float(self.ask(*words)[0]) for words in (("encrypt", method, "plain", "library.p7m"),
                                                            ("decrypt", "library.p7m", "library.out")))

    def hash(self):
        seconds, self.hash_value = self.ask("hash", "plain")
        return float(seconds)

    def peak_mebibytes(self):
        return float(self.ask("peak")[0])


class OpenSsl:
    """The system's openssl program, with its own key."""

    def __init__(self):
        make_rsa_certificate()

    def envelope(self, cipher):
        # Use the faster form of each operation: openssl decrypts the output of -stream more slowly.
        made = f"openssl{cipher}.p7m"
        encrypt = ("cms", "-encrypt", "-binary", "-outform", "DER", cipher, "-in", "plain", "-out")
        if not os.path.exists(made):
            run_openssl(*encrypt, made, "certificate.pem")
        return (run_openssl(*encrypt, "openssl.p7m", "-stream", "certificate.pem") +
                run_openssl("cms", "-decrypt", "-binary", "-inform", "DER", "-in", made,
                            "-out", "openssl.out", "-recip", "certificate.pem", "-inkey", "key.pem"))

    def hash(self):
        return run_openssl("dgst", "-sm3", "-r", "-out", "hash", "plain")


def compare_and_report(figure, ours, theirs):
    our_median, their_median = compare(ours, theirs, ROUNDS)
    report(f"{figure}_ratio", our_median / their_median)
    report(f"{figure}_seconds", our_median)
    report(f"{figure}_openssl_seconds", their_median)


def measure(library, openssl):
    for figure, method, cipher in CIPHERS:
        compare_and_report(figure, lambda: library.envelope(method), lambda: openssl.envelope(cipher))
        for output in ("library.out", "openssl.out"):
            if not filecmp.cmp("plain", output, shallow=False):
                sys.exit(f"{output} differs from the input")
    compare_and_report("hash_file", library.hash, openssl.hash)
    with open("hash", encoding="ascii") as file:
        if file.read().split()[0] != library.hash_value:
            sys.exit("the hash values differ")
    report("file_peak_mib", library.peak_mebibytes())


def main():
    program = os.path.abspath(sys.argv[1])
    folder = tempfile.mkdtemp(prefix="files-", dir=os.path.join(ROOT, "build", "bench"))
    try:
        os.chdir(folder)
        with open("plain", "wb") as plain:
            for _ in range(FILE_MEBIBYTES):
                plain.write(os.urandom(MEBIBYTE))
        with Library(program) as library:
            measure(library, OpenSsl())
    finally:
        os.chdir(ROOT)
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
