"""Tests `sof doctor`: each finding, its advice and the verdict."""

import os
import unittest

from sof_case import CALL_FAILED, CHINESE, DONE, NO_LIBRARY, PROBLEMS, ServiceCase, SofCase
from sof_console import ENVIRONMENT, refusing_service, sof


class WithoutService(SofCase):
    def test_doctor_reports_an_unreachable_service(self):
        text = self.ends(PROBLEMS, "doctor").text
        self.assertIn("problem  service: does not answer on 127.0.0.1, port 55661\n", text)
        self.assertIn("-> start it", text)
        found = self.json("doctor", status=PROBLEMS)
        self.assertEqual(found["worst"], "problem")
        grades = {finding["subject"]: finding["grade"] for finding in found["findings"]}
        self.assertEqual(grades["velm_sof_client.dll"], "ok")
        self.assertEqual(grades["log folder"], "ok")
        self.assertEqual(grades["service"], "problem")

    def test_doctor_reports_that_containers_cannot_be_listed(self):
        with refusing_service():
            findings = self.json("doctor", status=PROBLEMS)["findings"]
        found = {finding["subject"]: finding for finding in findings}
        self.assertEqual(found["service"]["grade"], "ok")
        self.assertEqual(found["containers"]["grade"], "problem")
        self.assertRegex(found["containers"]["found"], "^SOF_GetUserList: 0x0B000200 .")

    def test_doctor_and_log_run_without_a_module(self):
        folder = self.copy_of_program("incomplete")
        os.remove(os.path.join(folder, "velm_openssl_api.dll"))
        findings = self.ends(PROBLEMS, "doctor --json", program_folder=folder).json["findings"]
        found = {finding["subject"]: finding for finding in findings}
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


class WithService(ServiceCase):
    def test_doctor_checks_everything(self):
        text = self.done("doctor").text
        self.assertRegex(text, r"ok +service: version 1\.0\.0 answers in \d+\.\d ms\n")
        self.assertRegex(text, rf"ok +{CHINESE}: both certificates are valid until \d+Z\n")
        self.assertRegex(text, r"warning +EXPIRED_RSA_2048_DEMO, signing certificate: 0x0B000407 证书已过期")
        found = self.json("doctor")
        self.assertEqual(found["worst"], "warning")
        subjects = [finding["subject"] for finding in found["findings"]]
        for subject in ("velm_common.dll", "log folder", "code page", "signature provider"):
            self.assertIn(subject, subjects)


if __name__ == "__main__":
    unittest.main()
