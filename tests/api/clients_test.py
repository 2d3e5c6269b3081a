"""The Python client: on the demo, and on servers that are odd. The cases of
clients.json are the JavaScript client's, too."""

import json
import os
import re
import sys
import tempfile
import unittest

sys.path.insert(0, "clients/python")
from kelto_client import Device, DeviceError, encode_form  # noqa: E402

DEMO, ODD, ODD_TLS, CA = (os.environ[name] for name in ("DEMO", "ODD_PLAIN", "ODD_TLS", "ODD_CA"))

with open("tests/api/clients.json", encoding="utf-8") as file:
    CASES = json.load(file)


class Client(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        self.device = Device(DEMO)

    def file_of(self, name, content):
        path = os.path.join(self.directory, name)
        with open(path, "wb") as out:
            out.write(content)
        return path

    def failure(self, call, *arguments):
        with self.assertRaises(DeviceError) as caught:
            call(*arguments)
        return caught.exception

    def test_forms_are_encoded_as_the_device_reads_them(self):
        for form, text in CASES["forms"]:
            self.assertEqual(encode_form(form), text)

    def test_what_is_changed_is_read_back_and_nothing_else_changes(self):
        for path, changes in CASES["changes"]:
            wanted = self.device.get(path)
            self.device.change(path, changes)
            for change in changes if isinstance(changes, list) else [changes]:
                next(one for one in wanted if one.get("id") == change.get("id", one.get("id"))).update(change)
            after = self.device.get(path)
            for key in {"date", "time"} & set(after[0]):  # they run on
                wanted[0][key] = after[0][key]
            self.assertEqual(after, wanted, path)
        self.assertIn("no entry with the id 9",
                      str(self.failure(self.device.change, "network", [{"id": 9, "type": 0}])))

    def test_an_item_is_the_one_of_the_path(self):
        [made] = self.device.post("stream", {"name": "a new one"})
        path = "stream/" + made["id"]
        self.device.put(path, {"name": "renamed", "id": 1})
        self.assertEqual(self.device.get(path)[0]["name"], "renamed")
        self.device.delete(path)
        self.assertEqual(self.failure(self.device.get, path).status, 404)

    def test_refusals_of_the_demo_carry_status_and_complaints(self):
        refused = self.failure(self.device.put, "sap", {"port": 0, "ipAddress": "x"})
        self.assertEqual(refused.status, 400)
        self.assertEqual([one["property"] for one in refused.complaints], ["ipAddress", "port"])
        bad = self.failure(self.device.upload, "general/firmwareUpgrade", "packageName",
                           self.file_of("bad.bin", b"BAD"))
        self.assertEqual((bad.status, str(bad), bad.complaints), (400, "The file is damaged.", []))
        self.assertEqual(self.failure(self.device.get, "nothing").status, 404)

    def test_a_file_arrives_whole_with_progress_under_a_name_that_is_found_again(self):
        seen = []
        path = self.file_of('100%41 "ü".pem', b"certificate " * 100000)
        [result] = self.device.upload("security/certificate", "certificateName", path, seen.append)
        self.assertEqual(result, {"status": "OK", "message": "100_41 _ü_.pem is the certificate now."})
        self.assertGreater(len(set(seen)), 10)
        self.assertEqual(seen, sorted(seen))
        self.assertEqual(seen[-1], 1)

    def test_odd_answers_are_read(self):
        for name, answer in CASES["answers"]:
            self.assertEqual(Device(f"{ODD}/{name}/").get("uptime"), answer)

    def test_failures_say_what_happened(self):
        for name, status, message, complaints in CASES["failures"]:
            with self.subTest(name):
                failed = self.failure(Device(f"{ODD}/{name}", ca=CA, timeout=0.3).get, "uptime")
                self.assertEqual((failed.status, failed.complaints), (status, complaints))
                self.assertEqual(str(failed), message or str(failed))
        self.assertIn("does not answer", str(self.failure(Device("http://127.0.0.1:1").get, "uptime")))
        self.assertIn("certificate", str(self.failure(Device(ODD_TLS).get, "uptime")))

    def test_login_body_and_method_go_along_to_where_the_server_sends_them(self):
        device = Device(f"{ODD}/moved/", user="ä", password="b:c", ca=CA)
        base = {"path": "/echo/api/stream/1", "authorization": "Basic w6Q6Yjpj"}
        form = {"type": "application/x-www-form-urlencoded", "length": "15", "body": "name=x%20y&id=1"}
        nothing = {"type": "", "length": "", "body": ""}
        self.assertEqual(device.put("stream/1", {"name": "x y"}), [{**base, "method": "PUT", **form}])
        self.assertEqual(device.delete("stream/1"), [{**base, "method": "DELETE", **nothing}])
        [sent] = device.upload("stream/1", "file", self.file_of("a.bin", b"a\r\nb"))
        self.assertEqual(sent["method"], "POST")
        self.assertIsNotNone(re.fullmatch(
            r'--(\S+)\r\nContent-Disposition: form-data; name="file"; filename="a.bin"\r\n'
            r"Content-Type: application/octet-stream\r\n\r\na\r\nb\r\n--\1--\r\n", sent["body"]))
        self.assertEqual(device.post("stream/1")[0]["length"], "0")

    def test_an_upload_that_is_refused_early_or_not_there(self):
        path = self.file_of("large.bin", bytes(30 << 20))
        arguments = ("general/firmwareUpgrade", "packageName", path)
        self.assertEqual(self.failure(Device(f"{ODD}/full").upload, *arguments).status, 413)
        self.assertEqual(self.failure(Device(f"{ODD}/closes").upload, *arguments).status, 0)
        with self.assertRaises(FileNotFoundError):
            self.device.upload("general/firmwareUpgrade", "packageName", path + ".not")

    def test_a_form_that_would_be_empty_to_the_device_is_not_sent(self):
        text = self.device.get("security")[0]["bannerText"]
        with self.assertRaises(ValueError):
            self.device.put("security", {"bannerText": "x" * 65536})
        self.assertEqual(self.device.get("security")[0]["bannerText"], text)


if __name__ == "__main__":
    unittest.main()
