"""Starts the fake process and runs the client against it, as a user would."""
import os
import pathlib
import subprocess
import tempfile
import time
import unittest

BIN = pathlib.Path(os.environ["PLU_BIN"])
PATIENCE = 60


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
        self.process = subprocess.Popen([BIN / "fake_plu", self.folder / "log", *rules],
                                        stdout=subprocess.PIPE)
        self.addCleanup(self.stop)
        self.assertEqual(self.process.stdout.readline(), b"ready\n")

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

    def client_running(self, *words):
        """Starts the client and returns once its first output is there."""
        running = subprocess.Popen([BIN / "plu_debug", *words], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
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
