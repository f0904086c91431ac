"""Plant the kept faults one at a time in copies of the tree, and check that the named tests notice them.

usage: run.py [--sample NUMBER] [--seed SEED] [NAME...]

Without NAMEs: all faults. A NAME chooses the faults whose names begin with it, e.g. softtoken/store.
--sample chooses NUMBER faults at random; --seed repeats a choice.

A fault is noticed if the test passes without it and fails with it, with a message, within a minute. Anything
else fails the run. VELM_DEPS names the folder of the third-party builds. The output of each test is stored in
build/faults/logs.
"""

import argparse
import collections
import itertools
import random
import re
import sys
import threading
from concurrent.futures import ThreadPoolExecutor

from kept_faults import ROOT, read_faults, rooms
from planted_tree import SECONDS_WITHOUT_FAULT, DoesNotApply, DoesNotBuild, PlantedTree

FOLDER = ROOT / "build" / "faults"
COPIES = 2


def choose_faults(options):
    faults = [fault for fault in read_faults()
              if not options.names or any(fault.name.startswith(name) for name in options.names)]
    if not faults:
        sys.exit(f"no kept fault begins with {' or '.join(options.names)}")
    if options.sample:
        seed = options.seed or random.randrange(1, 1_000_000)
        print(f"{options.sample} of {len(faults)} kept faults; to repeat the choice: "
              f"./dev faults --sample {options.sample} --seed {seed}", flush=True)
        chosen = [fault for fault in faults if fault.test]
        faults = random.Random(seed).sample(chosen, min(options.sample, len(chosen)))
    return faults


class Run:
    """Tries faults in COPIES copies of the tree at the same time."""

    def __init__(self, faults):
        # Faults for the same test follow each other, so that each build changes little.
        key = lambda fault: (fault.tree, fault.test, fault.only or "")
        tried = sorted((fault for fault in faults if fault.test), key=lambda fault: (key(fault), fault.files))
        self.waiting = collections.deque(list(group) for _, group in itertools.groupby(tried, key))
        self.verdicts = {}
        self.lock = threading.Lock()

    def try_all(self):
        (FOLDER / "logs").mkdir(parents=True, exist_ok=True)
        # The first copy begins with the native tests, the last one with those under Wine. Each thus
        # builds few things that the others build too.
        ends = [self.waiting.popleft, self.waiting.pop]
        with ThreadPoolExecutor(COPIES) as pool:
            for done in [pool.submit(self.try_in_copy, number, ends[number % 2]) for number in range(COPIES)]:
                done.result()

    def try_in_copy(self, number, next_group):
        tree = PlantedTree(FOLDER / f"copy-{number + 1}")
        while self.waiting:
            try:
                group = next_group()
            except IndexError:  # the other thread took the last one
                return
            self.try_group(tree, group)

    def try_group(self, tree, group):
        first = group[0]
        try:
            tree.build(first.tree, first.test)
            before, output = tree.test(first.tree, first.test, first.only, SECONDS_WITHOUT_FAULT)
        except DoesNotBuild as error:
            before, output = "does not build", str(error)
        for fault in group:
            if before == "passed":
                self.report(fault, *try_fault(tree, fault))
            else:
                self.report(fault, f"its test {before} without the fault", output)

    def report(self, fault, verdict, output):
        log = FOLDER / "logs" / (fault.name.replace("/", "-") + ".log")
        log.write_text(output, encoding="utf-8")
        with self.lock:
            self.verdicts[fault] = verdict
            print(f"{fault.name:60} {verdict}", flush=True)
            if verdict != "noticed":
                print(f"    breaks: {fault.breaks}\n    by {fault.tree}/{fault.test}; output in {log}",
                      flush=True)

    def unnoticed(self):
        return [fault for fault, verdict in self.verdicts.items() if verdict != "noticed"]


def try_fault(tree, fault):
    """Return the verdict on a fault and the output that shows it."""
    try:
        tree.plant(fault)
        tree.build(fault.tree, fault.test)
        result, output = tree.test(fault.tree, fault.test, fault.only)
    except DoesNotApply as error:
        return "no longer applies", str(error)
    except DoesNotBuild as error:
        return "does not build", str(error)
    finally:
        tree.remove(fault)
    if result == "failed":
        return ("noticed" if has_message(output) else "fails without a message"), output
    return {"passed": "SURVIVES", "hangs": "HANGS"}[result], output


def has_message(output):
    """Return whether a test printed anything between ctest's own lines."""
    own = re.compile(r"^(Internal ctest|Test project|\s*Start\s|\s*\d+/\d+ Test|\d+% tests|Total Test|Label|"
                     r"The following|Errors while|\w+ += |\s*\d+ - )")
    return any(line.strip() and not own.match(line) for line in output.splitlines())


def print_rooms(faults, unnoticed):
    print(f"\n{'room':30} {'planted':>8} {'noticed':>8} {'explained':>10}")
    for room, planted, noticed, explained in rooms(faults):
        missed = sum(1 for fault in unnoticed if fault.room == room)
        print(f"{room:30} {planted:8} {noticed - missed:8} {explained:10}")
    noticed = sum(1 for fault in faults if fault.test) - len(unnoticed)
    print(f"{'all':30} {len(faults):8} {noticed:8} {sum(1 for fault in faults if fault.explained):10}")


def main():
    parser = argparse.ArgumentParser(description="Plant the kept faults and check that tests notice them.")
    parser.add_argument("--sample", type=int)
    parser.add_argument("--seed", type=int)
    parser.add_argument("names", nargs="*", metavar="NAME")
    faults = choose_faults(parser.parse_args())
    run = Run(faults)
    run.try_all()
    unnoticed = run.unnoticed()
    print_rooms(faults, unnoticed)
    return 1 if unnoticed else 0


if __name__ == "__main__":
    sys.exit(main())
