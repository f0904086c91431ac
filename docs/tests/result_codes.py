"""Check or regenerate the tables of result codes on the documentation pages.

usage: result_codes.py ROOT [--write]

A table lists the constants and meanings of the public header, the texts of the library's table, and the
provider results mapped to each code. Without --write, fails if a table does not match the sources.
"""

import re
import sys
from pathlib import Path

HEADER = "inc/velm_sof_client.h"
TEXTS = "src/velm_sof_client/error_texts.h"
PROVIDER_NAMES = "protocol/saf_codes.h"
PROVIDER_RESULTS = "protocol/result_codes.h"
LIBRARY = "src"

BEGIN, END = "<!-- made by result_codes.py -->\n", "<!-- end -->\n"
NEGATIVE = 0x80000000
UNKNOWN = 0x0B000001  # for provider results that are not in the mapping


class Inconsistent(Exception):
    """The sources contradict each other, or a page has no markers."""


def read_constants(header):
    """Return names and meanings by code."""
    rows = re.findall(r"^#define (SOR_\w+)\s+(0x[0-9A-F]{8})u\s+/\*\*< (.*?) \*/$", header, re.MULTILINE)
    constants = {int(code, 16): (name, meaning) for name, code, meaning in rows}
    if not rows or len(rows) != len(re.findall(r"^#define SOR_", header, re.MULTILINE)):
        raise Inconsistent("a constant of the header could not be read")
    if len(constants) != len(rows):
        raise Inconsistent("two constants of the header have the same code")
    return constants


def read_texts(source):
    return {int(code, 16): text for code, text in re.findall(r"\{(0x[0-9A-F]{8}), \"(.*?)\"\}", source)}


def read_provider_results(source, by_name):
    """Return lists of provider results by the code to which they are mapped."""
    results = {}
    for first, last, mapped in re.findall(r"\{(0x0200\w{4}), (0x0200\w{4}), (SOR_\w+)\}", source):
        if mapped not in by_name:
            raise Inconsistent(f"a provider result is mapped to {mapped}, which the header does not define")
        for step in range(int(last, 16) - int(first, 16) + 1):
            results.setdefault(by_name[mapped] + step, []).append(int(first, 16) + step)
    if not results:
        raise Inconsistent("no provider results could be read")
    return results


def read_provider_names(source):
    """Return the provider results by name."""
    return {name: int(code, 16) for name, code in re.findall(r"(kSaf\w+) = (0x0200\w{4});", source)}


def own_codes(root, by_name, provider_names, provider_results):
    """Return the codes that the library's sources use, as constants or as names of provider results."""
    by_result = {result: code for code, results in provider_results.items() for result in results}
    codes = set()
    for path in sorted(Path(root, LIBRARY).rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        code = re.sub(r"//.*|[!=]= SOR_\w+", "", path.read_text(encoding="utf-8"))
        codes.update(by_name[name] for name in re.findall(r"\bSOR_\w+", code))
        for name in re.findall(r"\bkSaf\w+", code):
            if name not in provider_names:
                raise Inconsistent(f"{path.name}: {name} is not a known provider result")
            codes.add(by_result.get(provider_names[name], UNKNOWN))
    return codes


def hexadecimal(code):
    return f"`0x{code:08X}`"


def rows(root):
    """Yield code, constant, meaning, text, whether the library itself returns it, provider results."""
    def read(name):
        return Path(root, name).read_text(encoding="utf-8")

    constants, texts = read_constants(read(HEADER)), read_texts(read(TEXTS))
    by_name = {name: code for code, (name, _) in constants.items()}
    provider = read_provider_results(read(PROVIDER_RESULTS), by_name)
    own = own_codes(root, by_name, read_provider_names(read(PROVIDER_NAMES)), provider)
    with_text = {code for code in constants if code < NEGATIVE}
    if with_text != set(texts):
        odd = ", ".join(hexadecimal(code) for code in sorted(with_text ^ set(texts)))
        raise Inconsistent(f"header and texts differ in {odd}")
    if set(provider) - set(constants):
        raise Inconsistent("a provider result is mapped to a code that the header does not define")
    for code, (name, meaning) in sorted(constants.items()):
        yield code, name, meaning, texts.get(code), code in own, provider.get(code, [])


LANGUAGES = {
    "docs/result_codes.md": ("Code", "Constant", "Meaning", "Text", "Given by"),
    "docs/zh/result_codes.md": ("代码", "常量", "英文含义", "文本", "来源"),
}
LIBRARY_ITSELF = {"docs/result_codes.md": "library", "docs/zh/result_codes.md": "本库"}


def table(root, page):
    lines = [LANGUAGES[page], ("---",) * 5]
    for code, name, meaning, text, own, results in rows(root):
        given_by = [LIBRARY_ITSELF[page]] * own + [hexadecimal(result) for result in results]
        lines.append((hexadecimal(code), f"`{name}`", meaning, text or "", ", ".join(given_by)))
    return "".join(f"| {' | '.join(cells)} |\n" for cells in lines)


def with_table(text, page, new):
    before, begin, rest = text.partition(BEGIN)
    old, end, after = rest.partition(END)
    if not begin or not end:
        raise Inconsistent(f"{page}: has no markers for the table")
    return before + begin + new + end + after


def main(root, *options):
    stale = []
    try:
        for page in LANGUAGES:
            path = Path(root, page)
            text = path.read_text(encoding="utf-8")
            wanted = with_table(text, page, table(root, page))
            if options == ("--write",):
                path.write_text(wanted, encoding="utf-8")
            elif text != wanted:
                stale.append(page)
    except Inconsistent as fault:
        print(f"result codes: {fault}")
        return 1
    for page in stale:
        print(f"{page}: the table does not match the sources; result_codes.py ROOT --write regenerates it")
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
