"""Starts the fake process and runs the client against it, as a user would."""
import os
import pathlib
import re
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ["PLU_BIN"])
PATIENCE = 60
CHECKS = ["ckbank", "ckbmsf", "ckhmask", "ckparbl", "cklkup", "cklkuphw"]
# (command, counter, start of its line, label) of every row of the client's table
COUNTERS = re.findall(r'^    \{"(\w+)",\s*"(\w+)",\s*(?:"([^"]*)"|\w+),\s*(?:"([^"]*)"|nullptr)',
                      (ROOT / "tools/plu_debug/counters.cpp").read_text(), re.MULTILINE)


def summary(check):
    """The lines that end the reply of a check that looked at nothing."""
    names = CHECKS[:-1] if check == "ckall" else [check]
    return [line + ("" if line.endswith(label) else label) + "0"
            for command, _, line, label in COUNTERS if command in names]


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

    def start(self, *rules):
        """Starts the fake process, after ending an earlier one; rules are NAME=BEHAVIOUR."""
        self.stop()
        named = {rule.split("=")[0] for rule in rules}
        checks = self.answering(**{name: [] for name in CHECKS + ["ckall"] if name not in named})
        self.process = subprocess.Popen([BIN / "fake_plu", self.folder / "log", *rules, *checks],
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

    def client_running(self, *words, stdin=subprocess.DEVNULL):
        """Starts the client; it is killed at the end of the test."""
        running = subprocess.Popen([BIN / "plu_debug", *words], stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
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
