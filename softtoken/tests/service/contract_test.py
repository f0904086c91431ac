"""Tests every function of the service protocol as a client sees it: codes, members, sizes."""

import contextlib
import json
import os
import socket
import sqlite3
import struct
import subprocess
import tempfile
import time
import unittest

from token_service import FRAME_TYPE, JSON_TYPE, PIN, PROGRAM, Service, b64, database_of, run_token, unb64

NOT_SUPPORTED = 0x0B000002
WRONG_KEY_USAGE = 0x0B000009
BAD_INPUT = 0x0B000201
BAD_LENGTH = 0x0B000200
VERIFY_FAILED = 0x0B000410
UNSUPPORTED_PARAMETER = 0x0B000419
BUFFER_TOO_SMALL = 0x0B000422
NO_CONTAINER = 0x0B000425
WRONG_PIN = 0x0B000426
NO_FILE = 0x0B000434
NOT_LOGGED_IN = 0x0B000438
KEY_MISMATCH = 0x0B000440
LOCKED = 0x0B000442
NO_SEAL = 0x0B01000B

KINDS = ("SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO", "演示容器_SM2")


class Contract(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.service = Service()

    @classmethod
    def tearDownClass(cls):
        with cls.service:
            pass

    def each_logged_in(self):
        for name in KINDS:
            self.assertEqual(self.service.login(name), 0)
            with self.subTest(name):
                yield name

    def test_responses_fit_the_buffers_of_clients(self):
        requests = [({"funcid": 58}, 128), ({"funcid": 38}, 128), ({"funcid": 0}, 128),
                     ({"funcid": 26, "Len": 16}, 288), ({"funcid": 26, "Len": 0}, 256),
                     ({"funcid": 5, "ReturnMethod": 0}, 2048),
                     ({"funcid": 6, "ContainerName": "RSA_2048_DEMO"}, 4096),
                     ({"funcid": 8, "ContainerName": "SM2_DEMO"}, 128),
                     ({"funcid": 13, "ContainerName": "SM2_DEMO", "Type": 0x211}, 256),
                     ({"funcid": 62, "container": "SEAL_SM2_DEMO"}, 128)]
        for request, capacity in requests:
            status, _, body = self.service.post(json.dumps(request), JSON_TYPE)
            self.assertEqual(status, 200)
            self.assertEqual(json.loads(body)["ErrorCode"], "0", request)
            self.assertLessEqual(len(body), capacity)

    def test_version_and_random(self):
        self.assertRegex(self.service.call(0)[1]["Version"], r"^\d+\.\d+\.\d+$")
        first, second = (unb64(self.service.call(26, Len=32)[1]["RandomData"]) for _ in range(2))
        self.assertEqual(len(first), 32)
        self.assertNotEqual(first, second)
        self.assertEqual(self.service.call(26, Len=0xFFFFFFFF)[0], BAD_LENGTH)

    def test_user_list(self):
        code, names = self.service.call(5, ReturnMethod=0)
        self.assertEqual(code, 0)
        for name in KINDS:
            self.assertIn(name, names)

    def test_unknown_functions_are_not_supported(self):
        self.assertEqual(self.service.call(1), (NOT_SUPPORTED, None))
        self.assertEqual(self.service.call(4294967296 + 58), (NOT_SUPPORTED, None))
        self.assertEqual(self.service.frame(12), (NOT_SUPPORTED, None))

    def test_a_negative_function_number_is_bad_input(self):
        for number in (-1, -(1 << 31), -(1 << 63)):
            self.assertEqual(self.service.call(number), (BAD_INPUT, None))

    def test_login_state(self):
        name = "SM2_SCAN_CONTAINER_DEMO"
        self.assertEqual(self.service.call(45, containerName=name, loginType=1)[0], NOT_LOGGED_IN)
        self.assertEqual(self.service.sign(name, b"x")[0], NOT_LOGGED_IN)
        self.assertEqual(self.service.frame(20, name, b"x")[0], NOT_LOGGED_IN)
        self.assertEqual(self.service.login(name), 0)
        self.assertEqual(self.service.call(45, containerName=name, loginType=1)[0], 0)
        self.assertEqual(self.service.call(46, containerName=name, loginType=1)[0], 0)
        self.assertEqual(self.service.call(45, containerName=name, loginType=1)[0], NOT_LOGGED_IN)
        self.assertEqual(self.service.login("nobody"), NO_CONTAINER)

    def test_ten_wrong_pins_lock_a_container(self):
        name = "RSA_2048_SCAN_CONTAINER_DEMO"
        for left in range(9, -1, -1):
            self.assertEqual(self.service.login(name, "wrong"), WRONG_PIN)
            self.assertEqual(self.service.call(8, ContainerName=name), (0, {"RetryCount": left}))
        self.assertEqual(self.service.login(name), LOCKED)
        self.assertEqual(self.service.call(9, ContainerName=name, OldPassWd=b64(PIN.encode()),
                                           NewPassWd=b64(b"1111"))[0],
                         LOCKED)

    def test_pin_change(self):
        name = "REVOKED_SM2_DEMO"
        change = lambda old, new: self.service.call(
            9, ContainerName=name, OldPassWd=b64(old.encode()), NewPassWd=b64(new.encode()))[0]
        self.assertEqual(change("wrong", "abcdef"), WRONG_PIN)
        self.assertEqual(change(PIN, "abc"), BAD_INPUT)
        self.assertEqual(change(PIN, "abcdef"), 0)
        self.assertEqual(self.service.login(name), WRONG_PIN)
        self.assertEqual(self.service.login(name, "abcdef"), 0)

    def test_names_in_gbk(self):
        body = '{"funcid":8,"ContainerName":"演示容器_SM2"}'.encode("gbk")
        status, _, answer = self.service.post(body, JSON_TYPE)
        self.assertEqual((status, json.loads(answer)["ErrorCode"]), (200, "0"))
        name = "演示容器_SM2".encode("gbk") + b"\0"
        self.assertEqual(self.service.frame(59, name, 2)[0], 0)

    def test_a_pin_in_gbk(self):
        name, pin = "EXPIRED_RSA_2048_DEMO", "口令1234"
        def call(funcid, encoding, **fields):
            body = json.dumps({"funcid": funcid, **fields}, ensure_ascii=False).encode(encoding)
            return json.loads(self.service.post(body, JSON_TYPE)[2])["ErrorCode"]
        def change(old, new):
            return call(9, "gbk", ContainerName=name, OldPassWd=b64(old), NewPassWd=b64(new))
        self.assertEqual(change(PIN.encode(), pin.encode("gbk")), "0")
        for encoding in ("gbk", "utf-8"):
            self.assertEqual(call(7, encoding, UserName=name, PassWd=b64(pin.encode(encoding))), "0")
            self.assertEqual(call(29, encoding, ContainerName=name, Pin=pin, FileType=1, FileIndex=9,
                                  Offset=0, WriteData=b64(b"data")), "0")
        self.assertEqual(change(pin.encode("gbk"), PIN.encode()), "0")
        self.assertEqual(self.service.login(name), 0)

    def test_name_and_pin_each_have_an_encoding(self):
        name, pin = "各自编码", "口令1234"
        run_token("container", "add", name, "--pin", pin, store=self.service.store)
        for name_encoding in ("gbk", "utf-8"):
            for pin_encoding in ("gbk", "utf-8"):
                body = (b'{"funcid":29,"ContainerName":"%s","Pin":"%s","FileType":1,"FileIndex":1,"Offset":0,'
                        b'"WriteData":"eA=="}' % (name.encode(name_encoding), pin.encode(pin_encoding)))
                status, _, answer = self.service.post(body, JSON_TYPE)
                self.assertEqual((status, json.loads(answer)["ErrorCode"]), (200, "0"),
                                 (name_encoding, pin_encoding))

    def test_a_gbk_name_that_is_also_utf8_is_found(self):
        name = "模_SM2".encode("gbk")
        name.decode("utf-8")
        run_token("container", "add", "模_SM2", "--pin", PIN, store=self.service.store)
        body = b'{"funcid":29,"ContainerName":"%s","Pin":"%s","FileType":1,"FileIndex":1,"Offset":0,'\
               b'"WriteData":"eA=="}' % (name, PIN.encode())
        self.assertEqual(json.loads(self.service.post(body, JSON_TYPE)[2])["ErrorCode"], "0")
        self.assertEqual(self.service.frame(59, name + b"\0", 2)[0], 0)
        run_token("unlock", name, store=self.service.store)

    def test_a_command_line_in_gbk(self):
        name, pin = "命令行", "口令1234"
        run_token("container", "add", name.encode("gbk"), "--pin", pin.encode("gbk"),
                  store=self.service.store)
        self.assertEqual(self.service.login(name, pin), 0)
        common_name = self.service.frame(11, self.service.certificate(name), 0x31)
        self.assertEqual(common_name, (0, name.encode()))

    def test_the_commands_for_containers(self):
        store = self.service.store
        for kind, printed in (("sm2", "SM2"), ("rsa2048", "RSA-2048"), ("rsa1024", "RSA-1024")):
            name = f"ADDED_{kind}"
            run_token("container", "add", name, "--pin", PIN, "--type", kind, store=store)
            self.assertEqual(self.service.login(name), 0)
            lines = run_token("container", "list", store=store).splitlines()
            self.assertTrue(any(line.startswith(printed) and line.endswith(name) for line in lines), lines)
            run_token("container", "delete", name, store=store)
            self.assertNotIn(name, run_token("container", "list", store=store))

    def test_the_trace_command(self):
        self.assertNotEqual(self.service.login("NO_SUCH_CONTAINER"), 0)
        trace = [PROGRAM, "trace", "--port", str(self.service.port)]
        lines = subprocess.run(trace, check=True, capture_output=True, text=True).stdout.splitlines()
        self.assertRegex(lines[-1], r" Login +0x0B[0-9A-F]{6} +\d+ us$")
        free = socket.create_server(("127.0.0.1", 0))
        trace[-1] = str(free.getsockname()[1])
        free.close()
        failed = subprocess.run(trace, check=False, capture_output=True, text=True)
        self.assertEqual(failed.returncode, 1)
        self.assertIn(f"no local service answers on port {trace[-1]}", failed.stderr)

    def test_certificates(self):
        for name in self.each_logged_in():
            signing, encryption = self.service.certificate(name), self.service.certificate(name, 10)
            self.assertNotEqual(signing, encryption)
            self.assertEqual(self.service.call(14, Cert=b64(signing))[0], 0)
            self.assertEqual(self.service.frame(11, signing, 0x31), (0, name.encode()))
            self.assertEqual(self.service.frame(11, signing, 0x999)[0], UNSUPPORTED_PARAMETER)
            common_name = self.service.call(12, Cert=b64(signing), Oid="2.5.4.3")[1]["Info"]
            self.assertEqual(unb64(common_name), name.encode())
            self.assertEqual(self.service.call(12, Cert=b64(signing), Oid="1.2.3.4")[0], 0x0B000444)
            long = "2.5.999." + "9" * 100_000
            self.assertEqual(self.service.call(12, Cert=b64(signing), Oid=long)[0], BAD_INPUT)
        for name, code in (("EXPIRED_RSA_2048_DEMO", 0x0B000407), ("REVOKED_SM2_DEMO", 0x0B000408)):
            self.assertEqual(self.service.call(14, Cert=b64(self.service.certificate(name)))[0], code)
        self.assertEqual(self.service.call(14, Cert=b64(b"no certificate"))[0], 0x0B000405)

    def test_an_item_of_a_certificate_has_at_most_720_bytes(self):
        for size, code in ((720, 0), (721, BUFFER_TOO_SMALL), (1000, BUFFER_TOO_SMALL)):
            with tempfile.TemporaryDirectory() as folder:
                key = os.path.join(folder, "key.pem")
                command = ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key,
                           "-subj", "/CN=long/description=" + "d" * size, "-outform", "DER"]
                made = subprocess.run(command, check=True, capture_output=True)
            found, result = self.service.call(12, Cert=b64(made.stdout), Oid="2.5.4.13")
            self.assertEqual(found, code, size)
            if code == 0:
                self.assertEqual(unb64(result["Info"]), b"d" * size)

    def test_a_time_stamp_request_that_fails_has_status_500_and_no_body(self):
        request = bytes.fromhex("3036020101" "3031300d060960864801650304020105000420") + bytes(32)  # SHA-256
        ask = lambda service: service.post(request, "application/timestamp-query", path="/tsa")
        with Service() as service, database_of(service) as store:
            status, headers, answer = ask(service)
            self.assertEqual((status, headers["Content-Type"]), (200, "application/timestamp-reply"))
            self.assertGreater(len(answer), 500)
            store.execute("UPDATE time_stamp_authority SET key = x'00'")
            status, _, answer = ask(service)
            self.assertEqual((status, answer), (500, b""))

    def test_the_control_of_the_modules(self):
        def control(name, command):
            body = json.dumps({"funcid": 8, "control": name, "command": command})
            status, _, answer = self.service.post(body, JSON_TYPE, path="/token")
            self.assertEqual(status, 200)
            return int(json.loads(answer)["ErrorCode"], 16)

        self.assertEqual(control("IDLE_LOGOUT", "30"), 0)
        self.assertEqual(control("IDLE_LOGOUT", "0"), 0)
        for command in ("", "x", "5x", "5 ", " 5", "-1", "4294967296"):
            self.assertEqual(control("IDLE_LOGOUT", command), BAD_INPUT, command)
        self.assertEqual(control("idle_logout", "5"), NOT_SUPPORTED)

    def test_data_signatures(self):
        for name in self.each_logged_in():
            certificate = b64(self.service.certificate(name))
            code, signature = self.service.sign(name, b"data")
            self.assertEqual(code, 0)
            verify = lambda data, value: self.service.call(
                16, EncodeCert=certificate, InData=b64(data), SignValue=b64(value), base64=True)[0]
            self.assertEqual(verify(b"data", signature), 0)
            self.assertEqual(verify(b"datA", signature), VERIFY_FAILED)
            self.assertEqual(verify(b"data", b"no signature"), VERIFY_FAILED)

    def test_hash_signatures(self):
        for name, algorithm, size in (("SM2_DEMO", 1, 32), ("RSA_2048_DEMO", 4, 32),
                                      ("RSA_1024_DEMO", 2, 20)):
            self.assertEqual(self.service.login(name), 0)
            call = lambda **other: self.service.call(83, **{
                "container": name, "hashAlg": algorithm, "inDataType": 1, "hashedData": b64(bytes(size)),
                **other})
            code, result = call()
            self.assertEqual(code, 0)
            self.assertGreater(len(unb64(result)), 60)
            self.assertEqual(call(hashedData=b64(bytes(size - 1)))[0], BAD_LENGTH)
            self.assertEqual(call(inDataType=7)[0], UNSUPPORTED_PARAMETER)
            self.assertEqual(call(hashAlg=3)[0], 0x0B000007)

    def test_messages(self):
        for name in self.each_logged_in():
            verify = lambda message, data: self.service.call(
                24, MessageData=b64(message), InData=b64(data), base64=True)[0]
            data = b"message" * 100
            attached, detached = (self.service.sign_message(name, data, flag) for flag in (0, 1))
            self.assertEqual([verify(attached, b""), verify(attached, data), verify(detached, data)],
                             [0, 0, 0])
            self.assertEqual(verify(detached, b"other"), VERIFY_FAILED)
            self.assertEqual(verify(detached, b""), VERIFY_FAILED)
            self.assertEqual(verify(attached[:-1], b""), 0x0B000417)
            self.assertEqual(self.service.frame(25, attached, 1), (0, data))
            self.assertEqual(self.service.frame(25, attached, 2), (0, self.service.certificate(name)))
            self.assertEqual(self.service.frame(25, attached, 3)[0], 0)
            self.assertEqual(self.service.frame(25, attached, 4)[0], UNSUPPORTED_PARAMETER)
            self.assertLessEqual(len(b64(detached)) + 64, 8192)

    def test_no_message_has_the_certificate_of_another_key(self):
        for name, other in (("SM2_DEMO", "SEAL_SM2_DEMO"), ("RSA_2048_DEMO", "RSA_2048_SCAN_CONTAINER_DEMO")):
            with Service() as service:
                with contextlib.closing(sqlite3.connect(service.store)) as store, store:
                    store.execute("UPDATE container SET signing_certificate = (SELECT signing_certificate "
                                  "FROM container WHERE name = ?) WHERE name = ?", (other, name))
                self.assertEqual(service.login(name), 0)
                for flag in (0, 1):
                    code, _ = service.call(23, ContainerName=name, InData=b64(b"x"), Flag=flag, base64=True)
                    self.assertEqual(code, KEY_MISMATCH)

    def test_digital_envelopes(self):
        for name in self.each_logged_in():
            for plain in (b"", b"x", bytes(range(256)) * 1000):
                code, envelope = self.service.frame(19, self.service.certificate(name, 10), plain)
                self.assertEqual(code, 0)
                self.assertLessEqual(len(envelope) + 8, len(plain) + 1024)
                self.assertEqual(self.service.frame(20, name, envelope), (0, plain))
            self.assertEqual(self.service.frame(20, name, b"no envelope")[0], 0x0B000417)

    def test_a_signing_certificate_is_no_recipient(self):
        for name in ("SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"):
            signing, encryption = self.service.certificate(name, 6), self.service.certificate(name, 10)
            for function in (19, 60):
                self.assertEqual(self.service.frame(function, signing, b"x")[0], WRONG_KEY_USAGE)
                self.assertEqual(self.service.frame(function, encryption, b"x")[0], 0)

    def test_a_digital_envelope_for_another_recipient(self):
        self.assertEqual(self.service.login("SM2_DEMO"), 0)
        _, envelope = self.service.frame(19, self.service.certificate("SEAL_SM2_DEMO", 10), b"x")
        self.assertEqual(self.service.frame(20, "SM2_DEMO", envelope)[0], 0x0B000440)

    def test_limits_out_of_range_are_rejected(self):
        for limit in (["--body-limit", "4096"], ["--body-limit", "0"], ["--request-time", "1e300"]):
            with self.assertRaises(subprocess.CalledProcessError, msg=limit):
                run_token("serve", "--port", "0", *limit, store=self.service.store)

    def test_public_key_encryption(self):
        for name in self.each_logged_in():
            for specifier in (1, 2):
                code, key = self.service.frame(59, name, specifier)
                self.assertEqual(code, 0)
                code, cipher = self.service.frame(60, key, b"key")
                self.assertEqual(code, 0)
                self.assertEqual(self.service.frame(61, name, specifier, cipher), (0, b"key"))
            self.assertEqual(self.service.frame(59, name, 3)[0], UNSUPPORTED_PARAMETER)
        key = self.service.frame(59, "SM2_DEMO", 1)[1]
        self.assertEqual(self.service.frame(60, key, bytes(2000))[0], BAD_LENGTH)

    def test_user_data(self):
        name = "SM2_DEMO"
        write = lambda pin, offset, data: self.service.call(
            29, ContainerName=name, Pin=pin, FileType=1, FileIndex=7, Offset=offset, WriteData=b64(data))[0]
        self.assertEqual(self.service.frame(28, name, 1, 7, 0, 10)[0], NO_FILE)
        self.assertEqual(write("wrong", 0, b"x"), WRONG_PIN)
        self.assertEqual(write(PIN, 2, b"data"), 0)
        self.assertEqual(self.service.frame(28, name, 1, 7, 0, 100), (0, b"\0\0data"))
        self.assertEqual(self.service.frame(28, name, 1, 7, 2, 2), (0, b"da"))
        self.assertEqual(write(PIN, 0xFFFFFFF0, b"x"), 0x0B000433)

    def test_seals(self):
        name = "SEAL_SM2_DEMO"
        self.assertEqual(self.service.call(62, container=name), (0, {"sealCount": 2}))
        self.assertEqual(self.service.call(62, container="SM2_DEMO"), (0, {"sealCount": 0}))
        item = lambda index, number: self.service.call(63, container=name, sealIdx=index, infoType=number)
        self.assertEqual(unb64(item(1, 2)[1]).decode(), "演示合同章")
        self.assertTrue(unb64(item(0, 8)[1]).startswith(b"<svg"))
        self.assertEqual(item(2, 1)[0], NO_SEAL)
        self.assertEqual(item(0, 11)[0], UNSUPPORTED_PARAMETER)

    def test_device(self):
        info = lambda number: self.service.call(13, ContainerName="SM2_DEMO", Type=number)
        self.assertEqual(info(0x203), (0, {"DeviceInfo": "VELM Software Token"}))
        self.assertEqual(info(-1)[0], UNSUPPORTED_PARAMETER)
        self.assertEqual(self.service.call(13, ContainerName="nobody", Type=0x203)[0], NO_CONTAINER)

    def test_configuration(self):
        self.assertEqual(self.service.frame(43, 1, struct.pack("<I", 30)), (0, b""))
        self.assertEqual(self.service.frame(43, 1, b"\x01\x02")[0], BAD_LENGTH)
        self.assertEqual(self.service.frame(43, 5, b"\x01\x02")[0], UNSUPPORTED_PARAMETER)
        self.assertEqual(self.service.frame(43, 1, struct.pack("<I", 0)), (0, b""))

    def test_missing_and_mistyped_members(self):
        self.assertEqual(self.service.call(7, UserName="SM2_DEMO")[0], BAD_INPUT)
        self.assertEqual(self.service.call(7, UserName=1, PassWd="")[0], BAD_INPUT)
        self.assertEqual(self.service.call(26, Len="16")[0], BAD_INPUT)
        self.assertEqual(self.service.call(14, Cert="not base64!")[0], BAD_INPUT)

    def test_truncated_frames_are_rejected(self):
        from token_service import make_frame
        frames = [make_frame(28, "SM2_DEMO", 1, 1, 0, 10), make_frame(59, "SM2_DEMO", 1),
                  make_frame(11, b"certificate", 1), make_frame(61, "SM2_DEMO", 1, b"cipher")]
        cut = make_frame(25, b"no message", 1)[:-1]
        self.assertEqual(self.service.post(cut, FRAME_TYPE)[2], struct.pack("<I", BAD_LENGTH))
        for frame in frames:
            for end in range(len(frame)):
                status, _, answer = self.service.post(frame[:end], FRAME_TYPE)
                self.assertEqual((status, len(answer)), (400 if end < 2 else 200, 4), frame[:end])
                self.assertNotEqual(answer, b"\0\0\0\0")


class FirstStart(unittest.TestCase):
    def test_killing_the_first_start_leaves_a_complete_store_or_none(self):
        with tempfile.TemporaryDirectory(prefix="velm-token-") as folder:
            store = os.path.join(folder, "new", "store.db")
            command = [PROGRAM, "serve", "--data", store, "--port", "0"]
            for seconds in (0.05, 0.2):
                with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
                    process.stdout.readline()
                    time.sleep(seconds)
                    process.kill()
            with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
                lines = iter(process.stdout.readline, "")
                self.assertTrue(any("listening" in line for line in lines))
                process.terminate()
            self.assertEqual(len(run_token("container", "list", store=store).splitlines()), 9)
            with self.assertRaises(subprocess.CalledProcessError):
                run_token("init", store=store)

    def test_the_store_is_never_in_a_relative_folder(self):
        with tempfile.TemporaryDirectory(prefix="velm-token-") as folder:
            for variables in ({}, {"HOME": ""}, {"HOME": "home"}, {"XDG_DATA_HOME": "data"}):
                result = subprocess.run([PROGRAM, "init"], env=variables, cwd=folder, capture_output=True,
                                        text=True)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(result.stderr, "velm_softtoken: the environment names no folder for "
                                                "application data; pass --data FILE\n")
            subprocess.run([PROGRAM, "init"], env={"HOME": folder, "XDG_DATA_HOME": "data"}, check=True,
                           capture_output=True)
            store = os.path.join(folder, ".local", "share", "VELM", "softtoken.db")
            self.assertEqual(os.stat(store).st_mode & 0o777, 0o600)
            self.assertEqual(os.listdir(folder), [".local"])

    def test_a_store_that_others_may_read_is_refused(self):
        with Service(demo=False) as service:
            os.chmod(service.store, 0o644)
            command = [PROGRAM, "container", "list", "--data", service.store]
            result = subprocess.run(command, capture_output=True, text=True)
            self.assertEqual((result.returncode, result.stdout), (1, ""))
            self.assertEqual(result.stderr, f"velm_softtoken: other users may read or write {service.store}; "
                                            f"run: chmod 600 {service.store}\n")


if __name__ == "__main__":
    unittest.main()
