#!/usr/bin/env python3
"""Write benchmark results to a JSON file and to the tables of a page.

usage: report.py VALUES RESULTS PAGE

VALUES contains lines "name value" among other output. RESULTS becomes a JSON object of these numbers. In
PAGE, the text between the two markers is replaced by a description of the machine, a table of the ratios and
a table of the other values, with one row for each figure of figures.toml.

Exits with 1 if a figure is missing or exceeds its limit.
"""

import datetime
import json
import math
import os
import re
import subprocess
import sys
import tomllib

FOLDER = os.path.dirname(os.path.abspath(__file__))
BEGIN = "<!-- measured: made by ./dev bench -->"
END = "<!-- end of what was measured -->"


def read_figures():
    with open(os.path.join(FOLDER, "figures.toml"), "rb") as file:
        return tomllib.load(file)


def read_values(text):
    rows = (re.fullmatch(r"([a-z][a-z0-9_]*) ([-+0-9.e]+)", line.strip()) for line in text.splitlines())
    return {row[1]: float(row[2]) for row in rows if row}


def within(value, bound, figure):
    return value <= bound if figure["better"] == "lower" else value >= bound


def complaints(figures, values):
    """Return one line for each figure that is missing or exceeds its limit."""
    lines = [f"{name} was not measured" for name in figures if name not in values]
    for name, figure in figures.items():
        if name in values and "limit" in figure and not within(values[name], figure["limit"], figure):
            lines.append(f"{name} is {number(values[name])}, limit {number(figure['limit'])}")
    return lines


def number(value):
    """Format with three significant digits, and with all digits before the decimal point."""
    digits = 2 - math.floor(math.log10(abs(value))) if value else 0
    return f"{value:.{max(0, digits)}f}"


def aim_cell(figure, value):
    if "aim" not in figure:
        return ""
    aim = f"{'≤' if figure['better'] == 'lower' else '≥'} {figure['aim']:g}"
    return aim if value is None or within(value, figure["aim"], figure) else f"{aim}, missed"


def table(heading, figures, values, with_unit):
    lines = [f"| {heading} | Aim | Figure | Meaning |", "|---:|---:|---|---|"]
    for name, figure in figures.items():
        value = values.get(name)
        unit = f" {figure['unit']}" if with_unit else ""
        cell = "not measured" if value is None else number(value) + unit
        lines.append(f"| {cell} | {aim_cell(figure, value)} | `{name}` | {figure['meaning']} |")
    return "\n".join(lines)


def measured_text(machine, figures, values):
    ratios = {name: figure for name, figure in figures.items() if figure["unit"] == "ratio"}
    rest = {name: figure for name, figure in figures.items() if name not in ratios}
    return "\n\n".join([machine, table("Ratio", ratios, values, False), table("Value", rest, values, True)])


def replaced(page, text):
    """Return the page with `text` between its markers."""
    head, begin, rest = page.partition(BEGIN)
    _, end, tail = rest.partition(END)
    if not begin or not end:
        raise ValueError("the page has no markers")
    return f"{head}{BEGIN}\n{text}\n{END}{tail}"


def first_match(path, pattern):
    with open(path, encoding="utf-8") as file:
        match = re.search(pattern, file.read(), re.MULTILINE)
    return match[1] if match else "unknown"


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()


def this_machine():
    cpu = first_match("/proc/cpuinfo", r"^model name\s*: (.*)$")
    memory = int(first_match("/proc/meminfo", r"^MemTotal: *(\d+)")) / (1 << 20)
    system = first_match("/etc/os-release", r'^PRETTY_NAME="(.*)"$')
    wine = output_of(os.path.join(FOLDER, "..", "cmake", "run-under-wine"), "--version")
    openssl = " ".join(output_of("openssl", "version").split()[:2])
    third_party = os.path.join(FOLDER, "..", "cmake", "third_party.sh")
    token_openssl = first_match(third_party, r"^openssl_version=(.*)$")
    load = os.getloadavg()[1]
    return (f"Measured on {datetime.date.today()}: {cpu}, {os.cpu_count()} cores, "
            f"{memory:.0f} GiB of memory, load average {load:.1f},\n"
            f"{system}, {wine}.\n"
            f"The software token uses OpenSSL {token_openssl} and is compared with {openssl}.")


def main():
    values_path, results_path, page_path = sys.argv[1:]
    figures = read_figures()
    with open(values_path, encoding="utf-8", errors="replace") as file:
        values = read_values(file.read())
    with open(results_path, "w", encoding="utf-8") as file:
        json.dump(values, file, indent=2)
        file.write("\n")
    with open(page_path, encoding="utf-8") as file:
        page = file.read()
    with open(page_path, "w", encoding="utf-8") as file:
        file.write(replaced(page, measured_text(this_machine(), figures, values)))
    for name in values.keys() - figures.keys():
        print(f"{name} is not in figures.toml")
    wrong = complaints(figures, values)
    print("\n".join(wrong) or "all figures were measured and are within their limits")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
