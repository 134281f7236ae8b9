"""Tests of pdalink.py, which `pdasim run` gives a terminal: pdalink_test.py CLASS LIBRARY PDACTL PDASIM REQUESTS."""

import _ctypes
import json
import os
import subprocess
import sys
import tempfile
import threading
import unittest

from pdalink import Error, Library, Server, accepted

CLASS, LIBRARY, PDACTL, PDASIM, REQUESTS = sys.argv[1:]
PDA = {"pdaNumber": "00000001"}


def at_the_terminal(*words):
    subprocess.run([PDASIM, "ctl", *words], check=True, stdout=subprocess.DEVNULL)


class Test(unittest.TestCase):
    def expect_each_code_to_be_answered(self, host):
        with open(REQUESTS, encoding="utf-8") as requests:
            for row in json.load(requests):
                with self.subTest(row["code"]):
                    response = accepted(host.request(row["code"], **row["members"]))
                    response.pop("transCode", None)
                    self.assertEqual({name: value for name, value in response.items() if value}, row["response"])

    def expect_error(self, text, function, *arguments, **members):
        with self.assertRaisesRegex(Error, text):
            function(*arguments, **members)


class LibraryTest(Test):
    def setUp(self):
        os.chdir(os.path.dirname(LIBRARY))
        self.library = Library("./" + os.path.basename(LIBRARY))  # which finds its ini by an absolute name only
        self.addCleanup(self.library.close)

    def test_answers_each_code(self):
        self.expect_each_code_to_be_answered(self.library)

    def test_threads_take_turns(self):
        answers = []
        threads = [threading.Thread(target=lambda number: answers.append(
            self.library.request("600012", pKey="00", CheckVal=number, **PDA)["pRetCode"] + number), args=(str(each),))
            for each in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(sorted(answers), ["000000%d" % each for each in range(8)])

    def test_result_codes_are_errors_only_when_asked(self):
        for ending, code in (("REFUSE", "000099"), ("SILENT", "000060")):
            response = self.library.request("600006", pTaskID="T-" + ending, pTotal=1, pLabelList="A;", **PDA)
            self.assertEqual(response["pRetCode"], code)
            self.expect_error(code, accepted, response)
        self.expect_error("000060", lambda: accepted(self.library.request("600009", pTaskID="T-SILENT", **PDA)))

    def test_what_is_no_response_is_an_error(self):
        self.expect_error("refused 600099", self.library.request, "600099")
        self.expect_error("refused 600001", self.library.request, "600001", pFactory=1, **PDA)
        self.expect_error("nothing came back for 600011", self.library.request, "600011", pTaskID="T-SILENT", **PDA)
        at_the_terminal("unplug")
        self.expect_error("600002, or it could not be sent", self.library.request, "600002")
        at_the_terminal("replug")
        self.library.close()
        self.expect_error("closed", self.library.request, "600002")

    def test_says_what_cannot_be_loaded(self):
        self.expect_error("/no/such.so cannot be used", Library, "/no/such.so")
        self.expect_error("PDA_CommonCall", Library, _ctypes.__file__)


class ServerTest(Test):
    def setUp(self):
        self.server = Server([PDACTL, "serve"])
        self.addCleanup(self.server.close)

    def test_answers_each_code(self):
        self.expect_each_code_to_be_answered(self.server)

    def test_opens_a_lock(self):
        accepted(self.server.call("ReqOpenLock", lockIds="LOCK-1;", oneTimeCodes="123456;", usersA="a;", usersB="b;"))
        result = self.server.call("ReadLockRes")
        self.assertEqual((result["lockIds"], result["results"]), ("LOCK-1;", "00;"))

    def test_result_codes_are_errors_only_when_asked(self):
        response = self.server.call("GetLockInfo", lockId="LOCK-9")
        self.assertEqual(response["retCode"], "000006")
        self.expect_error("000006", accepted, response)

    def test_what_is_no_response_is_an_error(self):
        self.expect_error("no such code", self.server.request, "600099")
        self.expect_error("no usable reply", self.server.call, "GetLockInfo", lockId="L-SILENT")
        with Server(["echo", '{"exitCode": 1, "message": "why it ends"}']) as server:
            self.expect_error("why it ends", server.request, "600002")
            self.expect_error("has ended", server.request, "600002")
        self.expect_error("/no/such cannot be used", Server, ["/no/such"])
        self.expect_error("/no/such cannot be used", Server, socket="/no/such")

    def test_takes_files_by_their_paths(self):
        with tempfile.TemporaryDirectory() as place:
            fetched = place + "/fetched"
            accepted(self.server.request("600016", pCmdEx=9, file=fetched))
            with open(fetched, "rb") as file:
                self.assertEqual(file.read(), b"\n\v\f\r\x0e")
            accepted(self.server.request("600015", pCmdEx=8, file=fetched))

    def test_gives_events_to_each_client(self):
        with tempfile.TemporaryDirectory() as place:
            process = subprocess.Popen([PDACTL, "serve", "--socket", place + "/socket"], stderr=subprocess.PIPE)
            self.addCleanup(process.communicate)
            self.addCleanup(process.terminate)
            self.server.close()
            self.assertIn(b"listening", process.stderr.readline())
            with Server(socket=place + "/socket") as first, Server(socket=place + "/socket") as second:
                for each in (first, second):
                    accepted(each.request("600002"))  # the terminal is open, and the server knows the client
                self.assertIsNone(first.event(timeout=0))
                at_the_terminal("scan", "A1")
                for each in (first, second):
                    self.assertEqual(each.event(timeout=60)["fields"]["label"], "A1")
                process.terminate()
                for _ in range(2):
                    self.expect_error("has ended", first.event, timeout=60)
                    self.expect_error("has ended", first.request, "600002")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], CLASS])
