#!/usr/bin/env python3
"""Compare signatures per second through the local service with `openssl speed`.

usage: run.py SERVICE CLIENT OPENSSL

SERVICE is the built velm_softtoken, CLIENT the built token_sign_bench, OPENSSL the program of the same
version as the service's libcrypto; the system's own is measured too. The measurements to compare alternate;
each rate is a median. Prints the rates, then the ratios as "name value". VELM_BENCH_SECONDS is the duration
of one measurement (default 2). Both sides measure elapsed time, not CPU time.
"""

import functools
import os
import re
import sqlite3
import statistics
import subprocess
import sys

os.environ["VELM_SOFTTOKEN"] = sys.argv[1]
CLIENT = sys.argv[2]
OPENSSL = sys.argv[3]
SECONDS = float(os.environ.get("VELM_BENCH_SECONDS", "2"))
ROUNDS = 3
sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "service"))
from connections import IdleConnections, allow_open_files, median_latency  # noqa: E402
from token_service import Service  # noqa: E402

MANY_CONTAINERS = 10000
IDLE_CONNECTIONS = 5000

# Container, algorithm, pattern of the signatures per second in the output of `openssl speed`.
# The line contains several durations ("0.0004s"), then as many rates, the signatures first.
KEYS = (("SM2_DEMO", "sm2", r"^ *256 bits SM2 +\S+ +(?:\S+s +)+(\S+)"),
        ("RSA_2048_DEMO", "rsa2048", r"^rsa +2048 bits +(?:\S+s +)+(\S+)"),
        ("RSA_1024_DEMO", "rsa1024", r"^rsa +1024 bits +(?:\S+s +)+(\S+)"))


def openssl_rate(program, algorithm, pattern):
    command = [program, "speed", "-elapsed", "-seconds", str(max(1, round(SECONDS))), algorithm]
    out = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    return float(re.search(pattern, out, re.MULTILINE | re.IGNORECASE).group(1))


def service_rate(service, name, clients, *options):
    command = [CLIENT, str(service.port), name, str(clients), str(SECONDS), *options]
    return float(subprocess.run(command, capture_output=True, text=True, check=True).stdout)


def add_ballast(store):
    """Add copies of a container under other names. Their keys are never used."""
    database = sqlite3.connect(store)
    columns = "tries_left, salt, signing_key, exchange_key, signing_certificate, exchange_certificate"
    row = database.execute(f"SELECT {columns} FROM container WHERE name = 'SM2_DEMO'").fetchone()
    database.executemany(f"INSERT INTO container(name, {columns}) VALUES(?, ?, ?, ?, ?, ?, ?)",
                         ((f"BALLAST_{number}", *row) for number in range(MANY_CONTAINERS)))
    database.commit()
    database.close()


def medians(sides):
    """Run the measurements alternately, print the median rates and return them by name."""
    rounds = [{name: measure() for name, measure in sides.items()} for _ in range(ROUNDS)]
    found = {name: statistics.median(one[name] for one in rounds) for name in sides}
    for name, rate in found.items():
        print(f"{name:44s} {rate:9.1f}/s", flush=True)
    return found


def report(key, ratio):
    print(f"{key} {ratio:.4f}", flush=True)


def measure_key(service, name, algorithm, pattern):
    assert service.login(name) == 0
    peer_rate = functools.partial(openssl_rate, algorithm=algorithm, pattern=pattern)
    rates = medians({f"openssl speed {algorithm}, same version": lambda: peer_rate(OPENSSL),
                     f"openssl speed {algorithm}, system": lambda: peer_rate("openssl"),
                     f"{name}, one polling client": lambda: service_rate(service, name, 1, "sleepless"),
                     f"{name}, one client": lambda: service_rate(service, name, 1),
                     f"{name}, two clients": lambda: service_rate(service, name, 2)})
    peer, system_peer, alone, one, two = rates.values()
    report(f"token_sign_{algorithm}_ratio", alone / peer)
    report(f"token_sign_{algorithm}_system_ratio", alone / system_peer)
    report(f"token_sign_{algorithm}_two_clients", two / one)


def measure_containers():
    with Service() as few, Service() as many:
        add_ballast(many.store)
        sides = {"SM2_DEMO, few containers": few, f"SM2_DEMO, {MANY_CONTAINERS} more containers": many}
        assert all(service.login("SM2_DEMO") == 0 for service in sides.values())
        rates = medians({name: functools.partial(service_rate, service, "SM2_DEMO", 1)
                         for name, service in sides.items()})
    few_rate, many_rate = rates.values()
    report("token_sign_many_containers", many_rate / few_rate)


def measure_idle_connections():
    if not allow_open_files(IDLE_CONNECTIONS + 200):
        sys.exit(f"{IDLE_CONNECTIONS} open files are not allowed")
    limit = ("--request-time", "300")
    with Service(*limit) as alone, Service(*limit) as crowded, IdleConnections(crowded, IDLE_CONNECTIONS):
        latencies = [(median_latency(crowded, 2000), median_latency(alone, 2000)) for _ in range(ROUNDS)]
    many, none = (statistics.median(side) for side in zip(*latencies))
    print(f"small call: {none * 1e6:.1f} us, with {IDLE_CONNECTIONS} idle connections {many * 1e6:.1f} us")
    report("token_idle_connections_ratio", many / none)


def main():
    with Service() as service:
        for key in KEYS:
            measure_key(service, *key)
    measure_containers()
    measure_idle_connections()


if __name__ == "__main__":
    main()
