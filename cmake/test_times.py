#!/usr/bin/env python3
"""Print the slowest tests of ctest's JUnit reports and the total time.

usage: test_times.py JUNIT_FILE...
"""

import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

SHOWN = 15


def times_of(report):
    for case in ElementTree.parse(report).getroot().iter("testcase"):
        yield float(case.get("time")), Path(report).stem, case.get("name")


def main(reports):
    times = sorted((time for report in reports for time in times_of(report)), reverse=True)
    print(f"{len(times)} tests, {sum(time for time, _, _ in times):.0f} s in total; slowest:")
    for time, tree, name in times[:SHOWN]:
        print(f"{time:8.1f} s  {tree:12} {name}")


if __name__ == "__main__":
    main(sys.argv[1:])
