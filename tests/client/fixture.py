"""Starts the fake process and runs the client against it, as a user would."""
import collections
import json
import os
import pathlib
import re
import socket
import subprocess
import tempfile
import threading
import time
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ["PLU_BIN"])
PATIENCE = 60
NO_LOG = "plu_debug: the system log cannot be reached: changes of the card are not logged\n"
OWN_GROUND = "PLU_OWN_GROUND" in os.environ
ALL = """dump ckall walk rootsn banksum bankbitmap hwidxr hwidxwalk hwdis regr32 regw32 memr memw8 memw32
v4 v4hw cklkupv4 v6 v6hw cklkupv6 addv4 delv4 addv6 delv6 tn tnwalk tnbl cntpfx setbmsf ckbmsf ckbank
ckhmask cklkup cklkuphw ckparbl showla""".split()
CHECKS = ["ckbank", "ckbmsf", "ckhmask", "ckparbl", "cklkup", "cklkuphw"]
Form = collections.namedtuple("Form", "name commands means member text")
# The client's table of reply forms.
FORMS = [Form(*line.split("\t")) for line in
         subprocess.run([BIN / "generate_texts", "forms"], capture_output=True, text=True, check=True).stdout.splitlines()]
SUMMARY = "summary"
SCHEMA = jsonschema.Draft202012Validator(json.loads(
    (pathlib.Path(os.environ["PLU_TEXTS"]) / "plu_debug.schema.json").read_text()))


def counters_of(command):
    """The names of the numbers in a command's summary; numbered lines count for none."""
    return [name for form in FORMS if form.means == SUMMARY and command in form.commands.split()
            for name in re.findall(r"\{(\w+)!?\}", form.text) if "#}" not in form.text]


def parsed(text):
    """A document of machine output, held against the schema."""
    document = json.loads(text)
    SCHEMA.validate(document)
    return document


def summary(check):
    """The lines that end the reply of a check that looked at nothing."""
    return [re.sub(r"\{[^}]*\}", "", form.text).replace("%ld", "%d") % ((0,) * form.text.count("%"))
            for form in FORMS if form.means == SUMMARY and check in form.commands.split()]


class SystemLog:
    """What the tests' own system log is told; without ground of their own they have none."""

    def __init__(self, test):
        if not OWN_GROUND:
            test.skipTest("this system gives no /dev of the test's own")
        self.lines = []
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind("/dev/log")
        self.reader = threading.Thread(target=self.read)
        self.reader.start()
        test.addCleanup(self.close)

    def read(self):
        while line := self.socket.recv(65536):
            self.lines.append(line.decode())

    def close(self):
        """Ends the log; what was told until now is in `lines`."""
        if self.reader.is_alive():
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as end:
                end.sendto(b"", "/dev/log")
            self.reader.join()
            self.socket.close()
            os.unlink("/dev/log")


def lock_file():
    """The lock file of the clients in this IPC namespace."""
    number = os.readlink("/proc/self/ns/ipc").strip("ipc:[]")
    return pathlib.Path("/dev/shm", "plu_debug.lock" if number == "4026531839" else f"plu_debug.{number}.lock")


class ClientTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.addCleanup(self.remove_queues)
        self.process = None

    def remove_queues(self):
        subprocess.run([BIN / "fake_plu", "--remove"], check=True)

    def start(self, *rules, name="fake_plu"):
        """Starts the fake process under a name, after ending an earlier one; rules are NAME=BEHAVIOUR."""
        self.stop()
        named = {rule.split("=")[0] for rule in rules}
        checks = self.answering(**{name: [] for name in CHECKS + ["ckall"] if name not in named})
        self.process = subprocess.Popen([name, self.folder / "log", *rules, *checks], executable=BIN / "fake_plu",
                                        stdout=subprocess.PIPE)
        self.addCleanup(self.stop)
        self.assertEqual(self.process.stdout.readline(), b"ready\n")

    def start_real(self, table):
        """Starts the real process on a card with this table, after ending an earlier one."""
        self.stop()
        self.process = subprocess.Popen([BIN / "plu_bkg"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        env=dict(os.environ, SIMCARD_TABLE=str(table)))
        self.addCleanup(self.stop)
        for _ in range(600):
            if self.client("-t", "5", "rootsn")[0] == 0:    # also shows where the contexts are
                return
        self.fail("the process does not answer")

    def answering(self, **replies):
        """Rules that answer the named commands with these lines; checks have their summary before."""
        for name, lines in replies.items():
            lines = (summary(name) if name in CHECKS + ["ckall"] else []) + lines
            (self.folder / name).write_text("".join(line + "\n" for line in lines))
        return [f"{name}=file:{self.folder / name}" for name in replies]

    def stop(self):
        if self.process:
            self.process.kill()
            self.process.wait()
            self.process.stdout.close()
            self.process = None

    def requests(self):
        """The requests that the process took, less those by which clients get into step."""
        lines = (self.folder / "log").read_text().splitlines()
        return [line for line in lines if not line.startswith("plu_debug-sync")]

    def send_and_leave(self, name):
        subprocess.run([BIN / "fake_plu", "--send", name], check=True)

    def client(self, *words, **options):
        """Runs the client to its end; returns status, output, errors."""
        done = subprocess.run([BIN / "plu_debug", *map(str, words)], capture_output=True, text=True,
                              timeout=PATIENCE, check=False, stdin=subprocess.DEVNULL, **options)
        return done.returncode, done.stdout, done.stderr

    def client_running(self, *words, stdin=subprocess.DEVNULL, **options):
        """Starts the client; it is killed at the end of the test."""
        running = subprocess.Popen([BIN / "plu_debug", *words], stdin=stdin, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, **options)
        self.addCleanup(running.stdout.close)
        self.addCleanup(running.stderr.close)
        self.addCleanup(running.wait)
        self.addCleanup(running.kill)
        return running

    def wait_for_request(self, name):
        deadline = time.monotonic() + PATIENCE
        while not any(line.startswith(name + " ") for line in self.requests()):
            self.assertLess(time.monotonic(), deadline, f"{name} was never taken")
            time.sleep(0.01)

    def assert_answers(self, name="banksum"):
        """The next command gets exactly its own reply."""
        self.assertEqual(self.client(name)[:2], (0, f"\n{name} 0x0 0x0 0x0\n\n"))
