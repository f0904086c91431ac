"""Tests of check_mingw_dll.py with small DLLs, valid or with one fault each.

usage: check_mingw_dll_test.py COMPILER NM
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).resolve().parents[2] / "cmake" / "check_mingw_dll.py"
STORAGE = 'extern "C" void* __emutls_get_address(void* variable) { return variable; }\n'
compiler = nm = None


class Dll(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def check(self, source, *options, room=128):
        """Build a DLL from the source and check it. Return exit status and output."""
        (self.folder / "a.cpp").write_text(source)
        subprocess.run([compiler, "-shared", "-static", "-O1", "-o", "a.dll", "a.cpp", "-Wl,-Map=a.map",
                        *options], cwd=self.folder, check=True)
        done = subprocess.run([sys.executable, CHECK, "--nm", nm, "--room", str(room), "--map", "a.map",
                               "a.dll"], cwd=self.folder, capture_output=True, text=True)
        return done.returncode, done.stdout + done.stderr

    def test_valid_variables_are_listed(self):
        source = STORAGE + "thread_local int one; thread_local char two[112];\n" \
                           "int* first() { return &one; } char* second() { return two; }\n"
        status, output = self.check(source)
        self.assertEqual(status, 0, output)
        self.assertIn("one: 4 bytes", output)
        self.assertIn("two: 112 bytes", output)

    def test_exceeded_size_is_refused(self):
        status, output = self.check(STORAGE + "thread_local char large[129]; char* get() { return large; }\n")
        self.assertEqual(status, 1)
        self.assertIn("144 bytes of thread-local variables; the maximum is 128", output)

    def test_sizes_are_added(self):
        source = STORAGE + "thread_local char a[64], b[65];\n" \
                           "char* first() { return a; } char* second() { return b; }\n"
        self.assertEqual(self.check(source)[0], 1)
        self.assertEqual(self.check(source, room=144)[0], 0)

    def test_initial_value_is_refused(self):
        source = STORAGE + "thread_local int answer = 42; int* get() { return &answer; }\n"
        status, output = self.check(source)
        self.assertEqual(status, 1)
        self.assertIn("answer has an initial value", output)

    def test_unsupported_alignment_is_refused(self):
        source = STORAGE + "alignas(64) thread_local int wide; int* get() { return &wide; }\n"
        status, output = self.check(source)
        self.assertEqual(status, 1)
        self.assertIn("wide is aligned to 64 bytes", output)

    def test_static_local_variable_counts(self):
        source = STORAGE + "char* get() { static thread_local char a[129]; return a; }\n"
        self.assertEqual(self.check(source)[0], 1)

    def test_compiler_storage_is_refused(self):
        status, output = self.check("thread_local int one; int* get() { return &one; }\n")
        self.assertEqual(status, 1)
        self.assertIn("emutls.o of the compiler is linked", output)

    def test_compiler_exception_memory_is_refused(self):
        status, output = self.check(STORAGE + "void fail() { throw 1; }\n")
        self.assertEqual(status, 1)
        self.assertIn("eh_alloc.o of the compiler is linked", output)

    def test_stripped_dll_is_refused(self):
        status, output = self.check(STORAGE + "thread_local int one; int* get() { return &one; }\n", "-s")
        self.assertEqual(status, 1)
        self.assertIn("no symbols", output)


if __name__ == "__main__":
    nm = sys.argv.pop()
    compiler = sys.argv.pop()
    unittest.main(verbosity=2)
