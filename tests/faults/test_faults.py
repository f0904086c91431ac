"""Tests of the programs that read, plant and try the kept faults."""

import tempfile
import unittest
from pathlib import Path
from unittest import mock

import kept_faults
import planted_tree
import run

PATCH = """--- a/room/text.txt
+++ b/room/text.txt
@@ -1,2 +1,2 @@
 first
-second
+wrong
"""
HEAD = "breaks: the second line is wrong\nnoticed by: native/some_test\n"


class FaultTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enter(tempfile.TemporaryDirectory()))
        self.enter(mock.patch.object(kept_faults, "FOLDER", self.folder / "faults"))
        self.enter(mock.patch.object(planted_tree, "ROOT", self.folder / "root"))
        (self.folder / "root/room").mkdir(parents=True)
        (self.folder / "root/room/text.txt").write_text("first\nsecond\n", encoding="utf-8")

    def enter(self, manager):
        value = manager.__enter__()
        self.addCleanup(manager.__exit__, None, None, None)
        return value

    def fault(self, head=HEAD, patch=PATCH, room="room"):
        path = self.folder / "faults" / room / "wrong.patch"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"{head}\n{patch}", encoding="utf-8")
        return kept_faults.Fault(path)

    def tree(self):
        """A planted tree of one file, without git, CMake and ctest."""
        with mock.patch.object(planted_tree.PlantedTree, "update"):
            tree = planted_tree.PlantedTree(self.folder / "copy")
        tree.restore("room/text.txt")
        return tree

    def text(self, tree):
        return (tree.folder / "room/text.txt").read_text(encoding="utf-8")


class ReadingTest(FaultTest):
    def test_a_fault_names_its_room_its_test_and_its_files(self):
        fault = self.fault(HEAD + "only: Some.Case\n")
        self.assertEqual(("room/wrong", "room", "native", "some_test", "Some.Case", ["room/text.txt"]),
                         (fault.name, fault.room, fault.tree, fault.test, fault.only, fault.files))

    def test_other_forms_are_refused(self):
        for head in ("", "breaks: something\n", "noticed by: native/some_test\n", HEAD + "explained: both\n",
                     HEAD + "some text\n", HEAD + "unknown: key\n", HEAD.replace("native", "other")):
            with self.subTest(head), self.assertRaises(ValueError):
                self.fault(head)
        with self.assertRaises(ValueError):
            self.fault(room="elsewhere")


class PlantingTest(FaultTest):
    def test_a_fault_is_planted_and_removed(self):
        tree, fault = self.tree(), self.fault()
        tree.plant(fault)
        self.assertEqual("first\nwrong\n", self.text(tree))
        tree.remove(fault)
        self.assertEqual("first\nsecond\n", self.text(tree))

    def test_a_fault_that_does_not_fit_is_reported_and_leaves_nothing(self):
        tree = self.tree()
        verdict, output = run.try_fault(tree, self.fault(patch=PATCH.replace("-second", "-third")))
        self.assertEqual("no longer applies", verdict)
        self.assertIn("room/text.txt", output)
        self.assertEqual(["text.txt"], [path.name for path in (tree.folder / "room").iterdir()])
        self.assertEqual("first\nsecond\n", self.text(tree))


class VerdictTest(FaultTest):
    CTEST = ("Test project /x\n    Start 1: some_test\n1/1 Test #1: some_test ....***Failed\n{}\n"
             "0% tests passed\n")

    def verdict(self, result, output=CTEST.format("")):
        tree = self.tree()
        tree.build = lambda *_: None
        tree.test = lambda *_: self.assertEqual("first\nwrong\n", self.text(tree)) or (result, output)
        verdict = run.try_fault(tree, self.fault())[0]
        self.assertEqual("first\nsecond\n", self.text(tree))
        return verdict

    def test_a_failure_with_a_message_is_required(self):
        self.assertEqual("noticed", self.verdict("failed", self.CTEST.format("expected 1, got 2")))
        self.assertEqual("fails without a message", self.verdict("failed"))
        self.assertEqual("SURVIVES", self.verdict("passed"))
        self.assertEqual("HANGS", self.verdict("hangs"))

    def test_a_fault_that_does_not_build_is_not_noticed(self):
        tree = self.tree()
        tree.build = mock.Mock(side_effect=planted_tree.DoesNotBuild("error: ..."))
        self.assertEqual("does not build", run.try_fault(tree, self.fault())[0])
        self.assertEqual("first\nsecond\n", self.text(tree))

    def test_a_test_that_fails_without_the_fault_proves_nothing(self):
        tree = self.tree()
        tree.build = lambda *_: None
        tree.test = lambda *_: ("failed", "expected 1, got 2")
        fault = self.fault()
        tried = run.Run([fault])
        with mock.patch.object(run, "FOLDER", self.folder), mock.patch("builtins.print"):
            (self.folder / "logs").mkdir()
            tried.try_group(tree, [fault])
        self.assertEqual({fault: "its test failed without the fault"}, tried.verdicts)
        self.assertEqual([fault], tried.unnoticed())


if __name__ == "__main__":
    unittest.main()
