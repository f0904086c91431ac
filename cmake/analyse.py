"""Run clang-tidy and cppcheck on the project's sources. Fail if either reports anything.

usage: analyse.py [--root ROOT] [--jobs N] [--only clang-tidy|cppcheck] [PART...]

Reads the compilation databases of build/native and build/windows. A source that is in both is analysed as in
the native build only. With PARTs, only files whose path contains one of them are analysed.

.clang-tidy lists the checks of clang-tidy, cmake/cppcheck_suppressions.txt the suppressions of cppcheck.
"""

import argparse
import json
import shlex
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

# The first release that can compile libstdc++'s <source_location>.
CLANG_TIDY = "clang-tidy-16"
CLANG = "clang++-16"
TARGET = "x86_64-w64-mingw32"
TREES = ("native", "windows")


def compiled(root, tree):
    """Return the project's own sources in a build tree's compilation database, with their entries."""
    database = json.loads((root / "build" / tree / "compile_commands.json").read_text())
    return {path: entry for entry in database
            if (path := Path(entry["file"])).is_relative_to(root) and path.suffix == ".cpp"
            and not path.is_relative_to(root / "build")}


def is_asked_for(name, parts):
    return not parts or any(part in name for part in parts)


def sources(root, parts):
    """Return the sources to analyse by build tree, each source once."""
    chosen, seen = {}, set()
    for tree in TREES:
        chosen[tree] = {path: entry for path, entry in compiled(root, tree).items()
                        if path not in seen and is_asked_for(path.relative_to(root).as_posix(), parts)}
        seen.update(chosen[tree])
    return chosen


def windows_headers():
    """Return the cross compiler's system header folders as clang options."""
    report = subprocess.run([f"{TARGET}-g++-posix", "-xc++", "-E", "-v", "/dev/null"],
                            check=True, capture_output=True, text=True).stderr
    listed = report.split("search starts here:\n")[-1].split("End of search list")[0]
    folders = [str(Path(line.strip()).resolve()) for line in listed.splitlines()]
    # Without gcc's own headers, such as intrinsics: clang has its own versions.
    return [f"-isystem{folder}" for folder in folders
            if "/c++" in folder or f"/{TARGET}/include" in folder]


def is_tidied(root, path):
    """Return whether clang-tidy analyses a source.

    Of the tests only the support code and the tests of the library's headers; cppcheck analyses all.
    """
    relative = path.relative_to(root).as_posix()
    return ("tests/" not in relative or relative.startswith("tests/support/")
            or (relative.startswith("tests/unit/") and "/windows/" not in relative
                and "/support_" not in relative))


def options_of(entry):
    """Return compile options without file names and without what clang does not support or need."""
    words = shlex.split(entry["command"])[1:]
    named = {"-o", "-c", words[words.index("-o") + 1], words[words.index("-c") + 1]}
    return tuple(word for word in words if word not in named
                 and not word.startswith("-fexec-charset") and not word.endswith("_EXPORTS"))


def groups(root, tree, chosen):
    """Group the sources that can be analysed together: same folder, same options."""
    found = {}
    for path, entry in sorted(chosen.items()):
        if is_tidied(root, path):
            found.setdefault((tree, path.parent, options_of(entry)), []).append(path)
    return found


def run_clang_tidy(root, group, paths, extra):
    """Analyse sources as one translation unit and return the findings.

    The system headers, which take nearly all of the time, are then parsed only once. If the sources do not
    compile together because of clashing names, the group is split.
    """
    tree, folder, options = group
    started = time.monotonic()
    place = root / "build" / "analyse" / tree / folder.relative_to(root)
    place.mkdir(parents=True, exist_ok=True)
    # clang's static analyzer analyses included sources only if the main file has such a name.
    joined = place / f"UnifiedSource-{paths[0].stem}.cpp"
    joined.write_text("".join(f'#include "{path}"\n' for path in paths))

    def run(*command):
        return subprocess.run(command, cwd=root / "build" / tree, capture_output=True, text=True)

    words = [*extra, *options, "-Wno-unknown-warning-option"]
    if len(paths) > 1 and run(CLANG, *words, "-fsyntax-only", "-Wno-everything", joined).returncode != 0:
        half = len(paths) // 2
        return (run_clang_tidy(root, group, paths[:half], extra)
                + run_clang_tidy(root, group, paths[half:], extra))
    result = run(CLANG_TIDY, "--quiet", f"--header-filter=^{root}/", "--checks=-bugprone-suspicious-include",
                 joined, "--", *words)
    names = " ".join(path.name for path in paths)
    print(f"  {folder.relative_to(root)}: {names} ({time.monotonic() - started:.0f} s)", flush=True)
    if result.returncode == 0:
        return []
    found = result.stdout.strip() or result.stderr.strip()
    print(found, flush=True)
    return [found]


def tidy_findings(root, chosen, jobs):
    # clang does not support all of gcc's attributes.
    extra = {"native": [], "windows": [f"--target={TARGET}", *windows_headers(), "-Wno-ignored-attributes"]}
    work = {group: paths for tree in TREES for group, paths in groups(root, tree, chosen[tree]).items()}
    with ThreadPoolExecutor(jobs) as pool:
        findings = pool.map(lambda job: run_clang_tidy(root, *job, extra[job[0][0]]), work.items())
        return sum(len(paths) for paths in work.values()), sum(findings, [])


def cppcheck_findings(root, chosen, jobs):
    findings = []
    for tree in filter(chosen.get, TREES):
        folder = root / "build" / "analyse" / tree
        folder.mkdir(parents=True, exist_ok=True)
        database = folder / "compile_commands.json"
        database.write_text(json.dumps(list(chosen[tree].values())))
        command = ["cppcheck", f"--project={database}", f"-j{jobs}", "--quiet", "--inline-suppr",
                   "--enable=warning,performance,portability,style", "--library=googletest",
                   f"--suppressions-list={root}/cmake/cppcheck_suppressions.txt",
                   f"--platform={'win64' if tree == 'windows' else 'unix64'}",
                   "--template={file}:{line}: {severity}: {message} [{id}]"]
        result = subprocess.run(command, cwd=root, capture_output=True, text=True)
        if result.returncode != 0:
            raise RuntimeError(f"cppcheck failed: {result.stdout}{result.stderr}")
        found = sorted(set(result.stderr.splitlines()))
        print("\n".join(found), end="\n" if found else "", flush=True)
        findings += found
    return sum(len(chosen[tree]) for tree in TREES), findings


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", type=Path, default=Path(__file__).resolve().parent.parent)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--only", choices=("clang-tidy", "cppcheck"))
    parser.add_argument("parts", nargs="*")
    arguments = parser.parse_args()
    chosen = sources(arguments.root, arguments.parts)
    tools = {"cppcheck": cppcheck_findings, "clang-tidy": tidy_findings}
    failed = False
    for name, findings_of in tools.items():
        if arguments.only not in (None, name):
            continue
        count, findings = findings_of(arguments.root, chosen, arguments.jobs)
        print(f"{name}: {count} files, {len(findings)} findings", flush=True)
        failed = failed or count == 0 or bool(findings)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
