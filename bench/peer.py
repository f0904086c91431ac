"""What the benchmarks that compare the library under Wine with another program share."""

import os
import statistics
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


class LibraryProgram:
    """A benchmark program that uses the library and reads commands from its standard input."""

    def __init__(self, program):
        command = [os.path.join(ROOT, "cmake", "run-under-wine"), program]
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(timeout=60)

    def ask(self, *words):
        """Send a command and return the words of the answer."""
        print(*words, file=self.process.stdin, flush=True)
        for line in self.process.stdout:
            if line.startswith("answer "):
                return line.split()[1:]
        sys.exit(f"the library's program failed: {' '.join(map(str, words))}")

    def seconds(self, *words):
        """Send a command that is answered with its duration."""
        return float(self.ask(*words)[0])


def run_openssl(*arguments):
    """Run openssl and return the duration in seconds."""
    start = time.perf_counter()
    subprocess.run(["openssl", *arguments], check=True, capture_output=True)
    return time.perf_counter() - start


def make_rsa_certificate():
    """Make key.pem and certificate.pem in the current folder."""
    run_openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=bench",
                "-keyout", "key.pem", "-out", "certificate.pem")


def report(name, value):
    print(f"{name} {value:.4f}", flush=True)


def compare(ours, theirs, rounds):
    """Measure both sides alternately and return the medians."""
    times = [(ours(), theirs()) for _ in range(rounds)]
    return [statistics.median(side) for side in zip(*times)]
