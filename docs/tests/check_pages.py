"""Holds the Markdown pages to each other: links lead somewhere, and both languages have the same parts.

usage: check_pages.py ROOT

Prints one line per fault and exits with 1; prints a summary and exits with 0 when there is none. Links to
other sites are not followed.
"""

import re
import sys
from dataclasses import dataclass, field
from pathlib import Path

# Pages that are also installed. There docs/ has another name and the rest of the tree is missing, so they
# may link to each other only.
INSTALLED = re.compile(r"docs/|CHANGELOG\.md$")

# Present beside the pages in an installation only.
MADE_BY_THE_BUILD = {"docs/reference/index.html", "docs/reference_cpp/index.html"}

# Pages without a Chinese counterpart. A page that gets one must be removed from the list.
ENGLISH_ONLY = {"docs/performance.md", "docs/reliability.md"}

SKIPPED_FOLDERS = {"build", ".deps", ".git"}


@dataclass
class Page:
    """What of a page is compared."""
    links: list = field(default_factory=list)
    anchors: set = field(default_factory=set)
    heading_levels: list = field(default_factory=list)
    table_rows: list = field(default_factory=list)  # number of cells in each
    blocks: list = field(default_factory=list)  # fenced blocks that name a language, without sh's comments


def anchor_of(heading):
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


def cells_in(row):
    return len(re.findall(r"(?<!\\)\|", row)) - 1


def code_in(language, lines):
    if language == "sh":
        lines = [re.sub(r"(^|\s+)#.*", "", line) for line in lines]
    return language, "\n".join(lines)


def parse_page(text):
    page = Page()
    block = None
    for line in text.splitlines():
        fence = re.match(r"```(\w*)", line)
        if block is not None:
            if fence:
                page.blocks += [code_in(language, block)] if language else []
                block = None
            else:
                block.append(line)
            continue
        if fence:
            language, block = fence[1], []
            continue
        heading = re.match(r"(#+) +(.*)", line)
        if heading:
            page.heading_levels.append(len(heading[1]))
            anchor, number = anchor_of(heading[2]), 1
            while anchor in page.anchors:
                anchor, number = f"{anchor_of(heading[2])}-{number}", number + 1
            page.anchors.add(anchor)
        if line.startswith("|"):
            page.table_rows.append(cells_in(line))
        page.links += re.findall(r"\]\(([^()\s]+)\)", re.sub(r"`[^`]*`", "", line))
    return page


def read_pages(root):
    paths = (path.relative_to(root) for path in root.rglob("*.md"))
    return {path.as_posix(): parse_page((root / path).read_text(encoding="utf-8"))
            for path in sorted(paths) if not SKIPPED_FOLDERS & set(path.parts)}


def resolved(root, page, link):
    """The target's path below the root, or nothing for one outside."""
    target = (root / page).parent.joinpath(link).resolve()
    return target.relative_to(root).as_posix() if target.is_relative_to(root) else None


def link_fault(root, pages, name, link):
    path, _, anchor = link.partition("#")
    target = resolved(root, name, path) if path else name
    if target is None or INSTALLED.match(name) and not INSTALLED.match(target):
        return "leads out of what is installed"
    if target in MADE_BY_THE_BUILD:
        return None
    if not (root / target).exists():
        return "leads nowhere"
    if anchor and target in pages and anchor not in pages[target].anchors:
        return "has no such heading to lead to"
    return None


def check_links(root, pages):
    for name, page in pages.items():
        for link in page.links:
            if re.match(r"(https?|mailto):", link):
                continue
            fault = link_fault(root, pages, name, link)
            if fault:
                yield f"{name}: the link {link} {fault}"


def counterpart_of(name):
    """The Chinese page of an English one; nothing for a page that needs none."""
    if name == "README.md":
        return "README.zh-CN.md"
    match = re.fullmatch(r"docs/([^/]+\.md)", name)
    return f"docs/zh/{match[1]}" if match else None


def first_difference(ours, theirs):
    for number, (one, other) in enumerate(zip(ours, theirs), 1):
        if one != other:
            return number
    return min(len(ours), len(theirs)) + 1


def compare(root, name, page, other_name, other):
    for what, ours, theirs in (("heading", page.heading_levels, other.heading_levels),
                               ("table row", page.table_rows, other.table_rows),
                               ("code block", page.blocks, other.blocks)):
        if ours != theirs:
            yield f"{name} and {other_name} differ from {what} {first_difference(ours, theirs)} on"
    for source, links, target in ((name, page.links, other_name), (other_name, other.links, name)):
        if target not in (resolved(root, source, link) for link in links):
            yield f"{source} does not link to {target}"


def check_languages(root, pages):
    chinese = {name for name in pages if name.startswith("docs/zh/")}
    for name, page in pages.items():
        other_name = counterpart_of(name)
        if other_name is None:
            continue
        chinese.discard(other_name)
        if other_name in pages:
            if name in ENGLISH_ONLY:
                yield f"{name}: is said to have no Chinese counterpart, but has one"
            yield from compare(root, name, page, other_name, pages[other_name])
        elif name not in ENGLISH_ONLY:
            yield f"{name}: has no Chinese counterpart"
    for name in sorted(chinese):
        yield f"{name}: has no English counterpart"


def main(root):
    root = Path(root).resolve()
    pages = read_pages(root)
    faults = [*check_links(root, pages), *check_languages(root, pages)]
    if not any(name.startswith("docs/") for name in pages):
        faults.append(f"{root}: no pages in docs/")
    for fault in faults:
        print(fault)
    if not faults:
        untranslated = sorted(ENGLISH_ONLY & set(pages))
        print(f"{len(pages)} pages, {sum(len(page.links) for page in pages.values())} links; "
              f"English only: {', '.join(untranslated) or 'none'}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
