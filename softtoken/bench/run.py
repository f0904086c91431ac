#!/usr/bin/env python3
"""run.py SERVICE CLIENT: signatures a second through the service, against those of the openssl program.

SERVICE is the built velm_softtoken, CLIENT the built token_sign_bench. One line a measurement, with its
ratio, which is printed once more as "name value". VELM_BENCH_SECONDS is the time of each. openssl counts the
time that passes, as the client does.
"""

import os
import re
import sqlite3
import subprocess
import sys

os.environ["VELM_SOFTTOKEN"] = sys.argv[1]
CLIENT = sys.argv[2]
SECONDS = float(os.environ.get("VELM_BENCH_SECONDS", "5"))
sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "service"))
from token_service import Service  # noqa: E402

MANY_CONTAINERS = 10000

# Container, algorithm, and where openssl prints its signatures a second.
KEYS = (("SM2_DEMO", "sm2", r"^ *256 bits SM2 .*? (\S+) +\S+$"),
        ("RSA_2048_DEMO", "rsa2048", r"^rsa 2048 bits .*? (\S+) +\S+$"),
        ("RSA_1024_DEMO", "rsa1024", r"^rsa 1024 bits .*? (\S+) +\S+$"))


def openssl_rate(algorithm, pattern):
    command = ["openssl", "speed", "-elapsed", "-seconds", str(max(1, round(SECONDS))), algorithm]
    out = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    return float(re.search(pattern, out, re.MULTILINE | re.IGNORECASE).group(1))


def service_rate(service, name, clients, *options):
    command = [CLIENT, str(service.port), name, str(clients), str(SECONDS), *options]
    return float(subprocess.run(command, capture_output=True, text=True, check=True).stdout)


def add_ballast(store):
    """Copies of a container under other names; no key of theirs is ever opened."""
    database = sqlite3.connect(store)
    columns = "tries_left, salt, signing_key, exchange_key, signing_certificate, exchange_certificate"
    row = database.execute(f"SELECT {columns} FROM container WHERE name = 'SM2_DEMO'").fetchone()
    database.executemany(f"INSERT INTO container(name, {columns}) VALUES(?, ?, ?, ?, ?, ?, ?)",
                         ((f"BALLAST_{number}", *row) for number in range(MANY_CONTAINERS)))
    database.commit()
    database.close()


def tell(key, what, rate, ratio):
    """A line for the reader, then the ratio as "key value" for whoever collects it."""
    print(f"{what:44s} {rate:9.1f}/s  ratio {ratio:5.2f}", flush=True)
    print(f"{key} {ratio:.4f}", flush=True)


def main():
    with Service() as service:
        for name, algorithm, pattern in KEYS:
            assert service.login(name) == 0
            peer = openssl_rate(algorithm, pattern)
            print(f"{'openssl speed ' + algorithm:44s} {peer:9.1f}/s", flush=True)
            alone = service_rate(service, name, 1, "sleepless")
            tell(f"token_sign_{algorithm}_ratio", f"{name}, one sleepless client, to openssl", alone,
                 alone / peer)
            one = service_rate(service, name, 1)
            two = service_rate(service, name, 2)
            tell(f"token_sign_{algorithm}_two_clients", f"{name}, two clients, to one", two, two / one)
        few = service_rate(service, "SM2_DEMO", 1)
        add_ballast(service.store)
        many = service_rate(service, "SM2_DEMO", 1)
        tell("token_sign_many_containers", f"SM2_DEMO, {MANY_CONTAINERS} containers, to few", many,
             many / few)


if __name__ == "__main__":
    main()
