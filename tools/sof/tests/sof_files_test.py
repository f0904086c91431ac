"""Tests the files that sof writes: complete or not at all, under names that nobody can prepare."""

import contextlib
import os
import resource
import signal
import time
import unittest

from sof_case import BINARY, CALL_FAILED, DONE, FILE, ServiceCase
from sof_console import sof, started_sof


class OutputFiles(ServiceCase):
    def test_a_failure_leaves_no_file(self):
        self.write("kept.bin", b"as it was")
        before = set(os.listdir(self.folder))
        for name in ("kept.bin", "never.bin"):
            for form in ("", "--base64"):
                self.ends(CALL_FAILED, f"decrypt file SM2_DEMO {form} -o {name}", b"no envelope")
        self.assertEqual(self.read("kept.bin"), b"as it was")
        self.assertEqual(set(os.listdir(self.folder)), before)

    def test_a_file_that_cannot_be_completed_leaves_the_earlier_one(self):
        self.write("plain", bytes(3 << 20))
        self.write("earlier", b"as it was")
        before = set(os.listdir(self.folder))
        # Enough for the digital envelope but not for its base64 text.
        limit = (7 << 20) // 2
        result = sof("encrypt file --container SM2_DEMO --base64 -i plain -o earlier", b"", self.folder,
                     restore_signals=False,
                     preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.assertEqual(result.status, FILE, result.errors)
        self.assertEqual(self.read("earlier"), b"as it was")
        self.assertEqual(set(os.listdir(self.folder)), before)

    def test_an_interrupted_decryption_leaves_no_plaintext(self):
        with open(os.path.join(self.folder, "huge"), "wb") as file:
            file.truncate(128 << 20)
        self.done("encrypt file --container SM2_DEMO -i huge -o huge.p7m")
        opened = os.path.join(self.folder, "opened")
        # Repeat in case the call finishes before the signal arrives.
        for _ in range(5):
            process = started_sof("decrypt file SM2_DEMO -i huge.p7m -o opened", self.folder)
            while not any(self.temporary_sizes()) and process.poll() is None:
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
            process.wait(timeout=120)
            if not os.path.exists(opened):
                break
            os.remove(opened)
        else:
            self.fail("no decryption was interrupted")
        self.assertFalse(any(self.temporary_sizes()))
        for name in os.listdir(self.folder):
            if name.startswith(("sof-", "huge")):
                os.remove(os.path.join(self.folder, name))

    def temporary_sizes(self):
        sizes = []
        for file in os.scandir(self.folder):
            # The file may have been deleted meanwhile.
            with contextlib.suppress(FileNotFoundError):
                if file.name.startswith("sof-"):
                    sizes.append(file.stat().st_size)
        return sizes

    # Names of temporary files

    def test_links_with_guessed_names_are_not_followed(self):
        self.write("victim", b"as it was")
        names = [f"sof-{process}{ending}" for process in range(4, 8000, 4) for ending in (".in", ".out")]
        for name in names:
            os.symlink("victim", os.path.join(self.folder, name))
        self.done("encrypt file --container SM2_DEMO -o envelope.p7m", BINARY)
        self.assertEqual(self.done("decrypt file SM2_DEMO -i envelope.p7m").output, BINARY)
        self.assertEqual(self.read("victim"), b"as it was")
        for name in names:
            path = os.path.join(self.folder, name)
            self.assertTrue(os.path.islink(path), name)
            os.remove(path)
        self.assertEqual(self.temporary_sizes(), [])

    def test_each_run_has_its_own_names(self):
        found = set()
        with open(os.path.join(self.folder, "large"), "wb") as file:
            file.truncate(64 << 20)
        for _ in range(2):
            process = started_sof("encrypt file --container SM2_DEMO -i large -o large.p7m", self.folder)
            names = set()
            while process.poll() is None:
                names |= {name.split(".")[0] for name in os.listdir(self.folder) if name.startswith("sof-")}
                time.sleep(0.01)
            self.assertEqual(process.returncode, DONE)
            (name,) = names
            self.assertRegex(name, r"^sof-[0-9a-f]{32}$")
            found.add(name)
        self.assertEqual(len(found), 2)
        self.assertEqual(self.temporary_sizes(), [])


if __name__ == "__main__":
    unittest.main()
