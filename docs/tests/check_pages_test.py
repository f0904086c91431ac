"""Tests of check_pages.py: each breaks one thing in a small tree of pages."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import check_pages

ENGLISH = """# First page

[中文](zh/first.md) · [the rest](#the-rest-of-it) · [elsewhere](https://example.org/none)

| a | b |
|---|---|
| `[no](link)` | 2 |

## The rest, of it!

```c
int main(void);
```
"""
CHINESE = """# 第一页

[English](../first.md) · [其余](#其余部分)

| 甲 | 乙 |
|---|---|
| 1 | 2 |

## 其余部分

```c
int main(void);
```
"""


def tree():
    return {"README.md": "# Read me\n[中文](README.zh-CN.md) [page](docs/first.md#the-rest-of-it)\n",
            "README.zh-CN.md": "# 说明\n[English](README.md)\n",
            "CHANGELOG.md": "# Changes\n",
            "build/docs/stray.md": "[nowhere](nowhere.md)\n",
            "docs/first.md": ENGLISH,
            "docs/zh/first.md": CHINESE}


def check(files):
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            path = Path(root, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            status = check_pages.main(root)
        return status, output.getvalue().splitlines()


class Pages(unittest.TestCase):
    def expect(self, *faults, files=None, **changes):
        files = files or tree()
        for name, (old, new) in changes.items():
            path = {"english": "docs/first.md", "chinese": "docs/zh/first.md", "readme": "README.md"}[name]
            self.assertIn(old, files[path])
            files[path] = files[path].replace(old, new, 1)
        self.assertEqual(check(files), (1, list(faults)))

    def test_valid_tree(self):
        self.assertEqual(check(tree()), (0, ["5 pages, 8 links; English only: none"]))

    def test_link_to_missing_file(self):
        self.expect("README.md: the link docs/second.md points to a missing file",
                    readme=("docs/first.md#the-rest-of-it", "docs/second.md"))

    def test_link_to_missing_heading(self):
        self.expect("README.md: the link docs/first.md#rest points to a missing heading",
                    readme=("#the-rest-of-it", "#rest"))
        self.expect("docs/zh/first.md: the link #其他 points to a missing heading",
                    chinese=("#其余部分", "#其他"))

    def test_repeated_heading_has_two_anchors(self):
        files = tree()
        for name in ("docs/first.md", "docs/zh/first.md"):
            files[name] += "## Again\n## Again\n[one](#again) [two](#again-1)\n"
        self.assertEqual(check(files)[0], 0)
        files["docs/first.md"] += "[three](#again-2)\n"
        self.expect("docs/first.md: the link #again-2 points to a missing heading", files=files)

    def test_link_from_installed_page_to_another_file(self):
        self.expect("docs/first.md: the link ../README.md points outside the tree or the installed pages",
                    english=("https://example.org/none", "../README.md"))
        files = tree()
        files["CHANGELOG.md"] += "[read me](README.md)\n"
        self.expect("CHANGELOG.md: the link README.md points outside the tree or the installed pages",
                    files=files)

    def test_link_out_of_the_tree(self):
        self.expect("README.md: the link ../../x.md points outside the tree or the installed pages",
                    readme=("docs/first.md#the-rest-of-it", "../../x.md"))

    def test_link_to_the_generated_reference(self):
        files = {**tree(), "docs/first.md": ENGLISH + "[calls](reference/index.html)\n"}
        self.assertEqual(check(files)[0], 0)

    def test_missing_counterpart(self):
        files = tree()
        files["docs/second.md"] = "# Second\n"
        files["docs/zh/third.md"] = "# 第三\n"
        self.expect("docs/second.md: has no Chinese counterpart",
                    "docs/zh/third.md: has no English counterpart", files=files)
        files = tree()
        del files["README.zh-CN.md"]
        files["README.md"] = "# Read me\n"
        self.expect("README.md: has no Chinese counterpart", files=files)

    @mock.patch.object(check_pages, "ENGLISH_ONLY", {"docs/new.md"})
    def test_english_only_page(self):
        files = tree()
        files["docs/new.md"] = "# New\n[中文](zh/new.md)\n"
        files["docs/zh/new.md"] = "# 新\n[English](../new.md)\n"
        self.expect("docs/new.md: is listed as English only, but has a Chinese counterpart", files=files)
        del files["docs/zh/new.md"]
        files["docs/new.md"] = "# New\n"
        self.assertEqual(check(files), (0, ["6 pages, 8 links; English only: docs/new.md"]))

    def test_extra_heading_in_one_language(self):
        self.expect("docs/first.md and docs/zh/first.md differ from heading 3 on",
                    chinese=("int main(void);\n```\n", "int main(void);\n```\n## 多余\n"))

    def test_different_heading_level(self):
        self.expect("docs/first.md and docs/zh/first.md differ from heading 2 on",
                    chinese=("## 其余部分", "### 其余部分"))

    def test_missing_row_or_cell_in_one_language(self):
        self.expect("docs/first.md and docs/zh/first.md differ from table row 3 on",
                    chinese=("| 1 | 2 |\n", ""))
        self.expect("docs/first.md and docs/zh/first.md differ from table row 3 on",
                    chinese=("| 1 | 2 |", "| 1 |"))

    def test_different_code_in_one_language(self):
        self.expect("docs/first.md and docs/zh/first.md differ from code block 1 on",
                    chinese=("int main(void);", "int main();"))

    def test_shell_comments_may_differ(self):
        files = tree()
        files["docs/first.md"] += "```sh\nrun it  # go\n```\n"
        files["docs/zh/first.md"] += "```sh\nrun it  # 运行\n```\n"
        self.assertEqual(check(files)[0], 0)
        files["docs/zh/first.md"] = files["docs/zh/first.md"].replace("run it", "run that")
        self.expect("docs/first.md and docs/zh/first.md differ from code block 2 on", files=files)

    def test_missing_link_to_the_other_language(self):
        self.expect("docs/zh/first.md does not link to docs/first.md", chinese=("../first.md", "first.md"))

    def test_no_pages(self):
        with tempfile.TemporaryDirectory() as root:
            output = io.StringIO()
            with contextlib.redirect_stdout(output):
                self.assertEqual(check_pages.main(root), 1)
            self.assertIn("no pages in docs/", output.getvalue())


if __name__ == "__main__":
    unittest.main()
