"""Tests `sof doctor`: each finding, its advice and the verdict."""

import os
import shutil
import time
import unittest

from sof_case import CHINESE, DONE, NO_LIBRARY, PROBLEMS, ServiceCase, SofCase
from sof_console import ENVIRONMENT, FOLDER, Service, refusing_service, sof

DRIVE = os.path.join(os.environ["WINEPREFIX"], "drive_c")
LOG_FOLDER = os.path.join(DRIVE, "ProgramData", "VELM", "log")


class DoctorCase(SofCase):
    def findings(self, status=PROBLEMS, program_folder=FOLDER, **settings):
        """Returns the findings by subject. The verdict must agree with them."""
        result = sof("doctor --json", b"", self.folder, program_folder, **settings)
        self.assertEqual((result.status, result.errors), (status, ""), result.output)
        found = result.json
        grades = [finding["grade"] for finding in found["findings"]]
        problems, warnings = grades.count("problem"), grades.count("warning")
        self.assertEqual(found["verdict"],
                         f"not usable: {problems} problem{'s' * (problems != 1)}" if problems else
                         f"usable with {warnings} warning{'s' * (warnings != 1)}" if warnings else
                         "ready to use")
        self.assertEqual(found["worst"],
                         next(grade for grade in ("problem", "warning", "note", "ok") if grade in grades))
        self.assertEqual(found["ok"], status == DONE)
        return {finding["subject"]: finding for finding in found["findings"]}

    def expect(self, finding, grade, found, advice="^$"):
        self.assertEqual(finding["grade"], grade, finding)
        self.assertRegex(finding["found"], found)
        self.assertRegex(finding.get("advice", ""), advice)


class Verdict(DoctorCase):
    def test_a_complete_installation_is_ready_to_use(self):
        service = Service()
        self.addCleanup(service.remove)
        service.run("container", "add", "ONLY", "--pin", "12345678")
        service.start()
        self.addCleanup(service.stop)
        self.assertTrue(self.done("doctor").text.endswith("\n\nVerdict: ready to use.\n"))
        self.findings(status=DONE)


class Modules(DoctorCase):
    def test_doctor_and_log_run_without_a_module(self):
        folder = self.copy_of_program("incomplete")
        os.remove(os.path.join(folder, "velm_openssl_api.dll"))
        found = self.findings(program_folder=folder)
        self.assertEqual(found["velm_openssl_api.dll"]["found"], "is missing")
        self.assertEqual(found["velm_client_saf.dll"]["grade"], "ok")
        self.assertEqual(found["library"]["grade"], "problem")
        self.ends(DONE, "log", program_folder=folder)
        errors = self.ends(NO_LIBRARY, "users", program_folder=folder).errors
        self.assertIn("`sof doctor` tells what is missing", errors)

    def test_no_module_is_loaded_from_the_current_folder_or_path(self):
        for name in ("velm_client_saf.dll", "velm_openssl_api.dll", "velm_common.dll", "velm_dev_enum.dll"):
            folder = self.copy_of_program("without_" + name)
            elsewhere = os.path.join(self.folder, "elsewhere")
            os.makedirs(elsewhere, exist_ok=True)
            os.replace(os.path.join(folder, name), os.path.join(elsewhere, name))
            for run in ({"folder": elsewhere}, {"folder": self.folder, "env": {**ENVIRONMENT,
                                                                             "WINEPATH": elsewhere}}):
                result = sof("base64", b"x", program_folder=folder, **run)
                self.assertEqual(result.status, NO_LIBRARY, (name, run["folder"], result.output))

    def test_a_module_that_other_programs_load_is_named(self):
        folder = self.copy_of_program("path")
        elsewhere = os.path.join(self.folder, "on_path")
        os.makedirs(elsewhere)
        os.replace(os.path.join(folder, "velm_common.dll"), os.path.join(elsewhere, "velm_common.dll"))
        found = self.findings(program_folder=folder, env={**ENVIRONMENT, "WINEPATH": elsewhere})
        self.expect(found["velm_common.dll"], "problem",
                    r"^is missing; other programs may load .*on_path\\velm_common\.dll$", "install it in")

    def test_a_module_of_the_system_folder_is_a_warning(self):
        folder = self.copy_of_program("system")
        system = os.path.join(DRIVE, "windows", "system32", "velm_common.dll")
        shutil.move(os.path.join(folder, "velm_common.dll"), system)
        self.addCleanup(os.remove, system)
        found = self.findings(program_folder=folder)
        self.expect(found["velm_common.dll"], "warning", "outside the program folder$", "install it in")
        self.expect(found["velm_dev_enum.dll"], "ok", r"\\system\\velm_dev_enum\.dll$")


class Folders(DoctorCase):
    def setUp(self):
        self.remove_log()
        self.addCleanup(self.remove_log)

    @staticmethod
    def remove_log():
        velm = os.path.dirname(LOG_FOLDER)
        if os.path.islink(velm):
            os.remove(velm)
        shutil.rmtree(velm, ignore_errors=True)

    def test_a_program_folder_that_others_may_change(self):
        folder = self.copy_of_program("open")
        os.chmod(folder, 0o755)
        self.expect(self.findings(program_folder=folder)["program folder"], "ok", r"\\open$")
        os.chmod(folder, 0o777)
        self.expect(self.findings(program_folder=folder)["program folder"], "warning",
                    r"\\open can be changed by .*Everyone$", "only administrators")

    def test_the_log_folder_is_created(self):
        self.expect(self.findings()["log folder"], "ok", r"^C:\\ProgramData\\VELM\\log$")
        self.assertEqual(os.listdir(LOG_FOLDER), [time.strftime("%Y%m%d")])

    def test_a_log_folder_that_others_may_replace(self):
        os.makedirs(LOG_FOLDER)
        for folder in (LOG_FOLDER, os.path.dirname(LOG_FOLDER)):
            os.chmod(folder, 0o777)
            self.expect(self.findings()["log folder"], "warning", r"log can be replaced by .*Everyone$",
                        "installer")
            os.chmod(folder, 0o755)
        self.expect(self.findings()["log folder"], "ok", "VELM.log$")

    def test_a_log_folder_that_is_a_link(self):
        target = os.path.join(self.folder, "target")
        os.makedirs(os.path.join(target, "log"))
        days = [time.strftime("%Y%m%d", time.localtime(time.time() + day * 86400)) for day in (0, 1)]
        for links in ([os.path.dirname(LOG_FOLDER)], [LOG_FOLDER],
                      [os.path.join(LOG_FOLDER, day) for day in days]):
            self.remove_log()
            os.makedirs(os.path.dirname(links[0]), exist_ok=True)
            for link in links:
                os.symlink(target, link)
            self.expect(self.findings()["log folder"], "warning", "is a link; nothing is logged$",
                        "delete the link")

    def test_a_log_folder_that_cannot_be_written(self):
        os.makedirs(os.path.dirname(LOG_FOLDER))
        with open(LOG_FOLDER, "wb"):
            pass
        self.expect(self.findings()["log folder"], "warning", "cannot be written$", "not logged")

    def test_links_in_the_log_folder_are_not_followed(self):
        os.makedirs(LOG_FOLDER)
        self.write("victim", b"as it was")
        for process in range(4, 8000, 4):
            os.symlink(os.path.join(self.folder, "victim"), os.path.join(LOG_FOLDER, f"sof-doctor-{process}"))
        self.expect(self.findings()["log folder"], "ok", "VELM.log$")
        self.assertEqual(self.read("victim"), b"as it was")
        self.assertEqual(len([name for name in os.listdir(LOG_FOLDER) if name.startswith("sof-")]), 1999)


class WithoutService(DoctorCase):
    def test_an_unreachable_service(self):
        text = self.ends(PROBLEMS, "doctor").text
        self.assertIn("problem  service: does not answer on 127.0.0.1, port 55661\n", text)
        self.assertIn("-> start it", text)
        self.assertTrue(text.endswith("\n\nVerdict: not usable: 1 problem.\n"), text)
        found = self.findings()
        self.assertEqual(found["velm_sof_client.dll"]["grade"], "ok")
        self.assertEqual(found["log folder"]["grade"], "ok")
        self.assertEqual(found["service"]["grade"], "problem")
        self.assertNotIn("service port", found)

    def test_containers_that_cannot_be_listed(self):
        with refusing_service():
            found = self.findings()
        self.assertEqual(found["service"]["grade"], "ok")
        self.assertEqual(found["containers"]["grade"], "problem")
        self.assertRegex(found["containers"]["found"], "^SOF_GetUserList: 0x0B000200 .")

    # Wine knows only the sockets of its own processes.
    def test_a_listener_that_the_system_does_not_name(self):
        with refusing_service():
            found = self.findings()
        self.expect(found["service port"], "note", "^belongs to a process that the system does not name$",
                    "receives every PIN")


class WithService(ServiceCase, DoctorCase):
    def test_doctor_checks_everything(self):
        text = self.done("doctor").text
        self.assertRegex(text, r"ok +service: version 1\.0\.0 answers in \d+\.\d ms\n")
        self.assertRegex(text, rf"ok +{CHINESE}: both certificates are valid until \d+Z\n")
        self.assertRegex(text, r"warning +EXPIRED_RSA_2048_DEMO, signing certificate: 0x0B000407 证书已过期")
        self.assertRegex(text, r"\n\nVerdict: usable with \d+ warnings\.\n$")
        found = self.findings(status=DONE)
        for subject in ("velm_common.dll", "program folder", "log folder", "code page", "signature provider"):
            self.assertIn(subject, found)

    def test_a_provider_that_cannot_be_opened(self):
        folder = self.copy_of_program("misconfigured")
        with open(os.path.join(folder, "saf_config.dat"), "w") as file:
            file.write("no such key = 1\n")
        found = self.findings(program_folder=folder)
        self.expect(found["signature provider"], "problem", "^cannot be opened$",
                    r"^check saf_config\.dat in .*\\misconfigured, or in the current folder if there is none")


if __name__ == "__main__":
    unittest.main()
