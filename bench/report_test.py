"""Unit tests of report.py."""

import os
import tempfile
import unittest
from unittest import mock

import report

FIGURES = {
    "call_ratio": {"meaning": "a call", "unit": "ratio", "better": "lower", "aim": 1.03, "limit": 1.05},
    "sign_ratio": {"meaning": "signing", "unit": "ratio", "better": "higher", "aim": 0.8},
    "load_milliseconds": {"meaning": "loading", "unit": "ms", "better": "lower"},
}
GOOD = {"call_ratio": 1.014, "sign_ratio": 0.85, "load_milliseconds": 57.0877}


class Values(unittest.TestCase):
    def test_only_name_value_lines_are_read(self):
        text = "-- a_bench\ncall_ratio 1.0140\r\nSM2_DEMO  8.1/s ratio 0.9\nrate 1.5e-05\ntwo words 3\n"
        self.assertEqual(report.read_values(text), {"call_ratio": 1.014, "rate": 1.5e-05})


class Complaints(unittest.TestCase):
    def test_none_for_good_values(self):
        self.assertEqual(report.complaints(FIGURES, GOOD), [])

    def test_missing_value_and_exceeded_limit(self):
        values = {"call_ratio": 1.06, "sign_ratio": 0.1}
        self.assertEqual(report.complaints(FIGURES, values),
                         ["load_milliseconds was not measured", "call_ratio is 1.06, limit 1.05"])

    def test_limit_is_a_minimum_if_higher_is_better(self):
        figures = {"rate": {"better": "higher", "limit": 5}}
        self.assertEqual(len(report.complaints(figures, {"rate": 4.9})), 1)
        self.assertEqual(report.complaints(figures, {"rate": 5.1}), [])


class Numbers(unittest.TestCase):
    def test_three_significant_digits(self):
        for value, text in ((0, "0"), (0.01234, "0.0123"), (1, "1.00"), (57.0877, "57.1"), (1234.5, "1234")):
            self.assertEqual(report.number(value), text)


class Page(unittest.TestCase):
    def test_ratios_come_first(self):
        text = report.measured_text("A machine.", FIGURES, GOOD)
        self.assertEqual(text, """A machine.

| Ratio | Aim | Figure | Meaning |
|---:|---:|---|---|
| 1.01 | ≤ 1.03 | `call_ratio` | a call |
| 0.850 | ≥ 0.8 | `sign_ratio` | signing |

| Value | Aim | Figure | Meaning |
|---:|---:|---|---|
| 57.1 ms |  | `load_milliseconds` | loading |""")

    def test_missed_aim_and_missing_value_are_marked(self):
        text = report.measured_text("", FIGURES, {"call_ratio": 1.04, "sign_ratio": 0.79})
        self.assertIn("| 1.04 | ≤ 1.03, missed |", text)
        self.assertIn("| 0.790 | ≥ 0.8, missed |", text)
        self.assertIn("| not measured |  | `load_milliseconds` |", text)

    def test_only_text_between_the_markers_is_replaced(self):
        page = f"before\n{report.BEGIN}\nold\n{report.END}\nafter\n"
        once = report.replaced(page, "new")
        self.assertEqual(once, f"before\n{report.BEGIN}\nnew\n{report.END}\nafter\n")
        self.assertEqual(report.replaced(once, "new"), once)
        with self.assertRaises(ValueError):
            report.replaced("no markers", "new")


class Command(unittest.TestCase):
    def test_writes_both_files_and_fails_for_a_missing_value(self):
        with tempfile.TemporaryDirectory() as folder:
            values, results, page = (os.path.join(folder, name) for name in ("values", "results", "page"))
            whole = "call_ratio 1.0\nsign_ratio 0.9\nload_milliseconds 5\n"
            for text, code in ((whole, 0), ("call_ratio 1.0\n", 1)):
                with open(values, "w", encoding="utf-8") as file:
                    file.write(text)
                with open(page, "w", encoding="utf-8") as file:
                    file.write(f"{report.BEGIN}\n{report.END}\n")
                with mock.patch.object(report, "read_figures", lambda: FIGURES), \
                        mock.patch.object(report, "this_machine", lambda: "A machine."), \
                        mock.patch("sys.argv", ["report.py", values, results, page]), \
                        mock.patch("builtins.print"):
                    self.assertEqual(report.main(), code)
                with open(results, encoding="utf-8") as file:
                    self.assertIn('"call_ratio": 1.0', file.read())
                with open(page, encoding="utf-8") as file:
                    self.assertIn("| 1.00 | ≤ 1.03 | `call_ratio` | a call |", file.read())


class Figures(unittest.TestCase):
    def test_entries_are_complete(self):
        figures = report.read_figures()
        for name, figure in figures.items():
            with self.subTest(name):
                self.assertLessEqual(set(figure), {"meaning", "unit", "better", "aim", "limit"})
                self.assertTrue(figure["meaning"] and figure["unit"])
                self.assertIn(figure["better"], ("lower", "higher"))
                if "aim" in figure and "limit" in figure:
                    self.assertTrue(report.within(figure["aim"], figure["limit"], figure))

    def test_ratios_come_first_in_the_file(self):
        ratios = [figure["unit"] == "ratio" for figure in report.read_figures().values()]
        self.assertEqual(ratios, sorted(ratios, reverse=True))

    def test_all_are_on_the_page(self):
        with open(os.path.join(report.FOLDER, "..", "docs", "performance.md"), encoding="utf-8") as file:
            page = file.read()
        for name in report.read_figures():
            self.assertIn(f"| `{name}` |", page)


if __name__ == "__main__":
    unittest.main()
