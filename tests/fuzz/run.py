"""Run fuzz targets, two at a time, and print a summary line for each.

usage: run.py BUILD_FOLDER [NAME...]

VELM_FUZZ_SECONDS is the time per target (default 60). New inputs are added to BUILD_FOLDER/corpus. An input
that fails is stored in BUILD_FOLDER/findings, next to a file with the command that repeats it.
"""

import csv
import os
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

AT_ONCE = 2
SECONDS = int(os.environ.get("VELM_FUZZ_SECONDS", "60"))
INPUT_LIMITS = ["-timeout=20", "-rss_limit_mb=2048", "-max_len=8192"]


class Target:
    def __init__(self, build, row):
        self.name, self.program, self.seeds, self.dictionary = row
        self.corpus = build / "corpus" / self.name
        self.findings = build / "findings"
        self.log = build / "logs" / f"{self.name}.log"

    def run(self):
        for folder in (self.corpus, self.findings, self.log.parent):
            folder.mkdir(parents=True, exist_ok=True)
        prefix = self.findings / f"{self.name}-"
        before = self.found()
        command = [self.program, f"-max_total_time={SECONDS}", "-print_final_stats=1",
                   f"-artifact_prefix={prefix}", *INPUT_LIMITS]
        if self.dictionary:
            command.append(f"-dict={self.dictionary}")
        scratch = tempfile.mkdtemp(prefix="velm-fuzz-")
        with open(self.log, "w") as log:
            code = subprocess.run([*command, str(self.corpus), self.seeds], check=False, stdout=log,
                                  stderr=subprocess.STDOUT,
                                  env={**os.environ, "TMPDIR": scratch}).returncode
        shutil.rmtree(scratch)
        self.read_log(code)
        for finding in self.found() - before:
            finding.with_suffix(".command").write_text(f"{self.program} {finding}\n")
            self.verdict = f"finding; to repeat: {self.program} {finding}"

    def found(self):
        return {path for path in self.findings.glob(f"{self.name}-*") if path.suffix != ".command"}

    def read_log(self, code):
        text = self.log.read_text(errors="replace")
        last = lambda pattern: (re.findall(pattern, text) or ["-"])[-1]
        self.runs = last(r"stat::number_of_executed_units: (\d+)")
        self.per_second = last(r"stat::average_exec_per_sec: +(\d+)")
        self.coverage = last(r" cov: (\d+)")
        self.inputs = last(r" corp: (\d+)")
        self.verdict = "ok" if code == 0 else f"exited with {code}, see {self.log}"


def main(build, *names):
    build = Path(build).resolve()
    with open(build / "fuzz_targets.tsv") as table:
        targets = [Target(build, row) for row in csv.reader(table, delimiter="\t")]
    unknown = set(names) - {target.name for target in targets}
    if unknown:
        sys.exit(f"no target {', '.join(sorted(unknown))}; available: {' '.join(t.name for t in targets)}")
    chosen = [target for target in targets if not names or target.name in names]
    print(f"{len(chosen)} fuzz targets, {SECONDS} s each, {AT_ONCE} at a time", flush=True)
    line = "{:18} {:>10} {:>8} {:>7} {:>9}  {}".format
    print(line("target", "runs", "runs/s", "corpus", "coverage", ""), flush=True)
    with ThreadPoolExecutor(AT_ONCE) as pool:
        for target, _ in zip(chosen, pool.map(Target.run, chosen)):
            print(line(target.name, target.runs, target.per_second, target.inputs, target.coverage,
                       target.verdict), flush=True)
    return 1 if any(target.verdict != "ok" for target in chosen) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
