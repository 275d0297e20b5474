"""Long replies of the real process, cut short in every way; what comes after must be right."""
import os
import signal
import subprocess
import unittest
from concurrent.futures import ThreadPoolExecutor

from fixture import BIN, PATIENCE, ClientTest, parsed

PREFIXES = 60000


class LongReplies(ClientTest):
    def setUp(self):
        super().setUp()
        self.table = self.folder / "table"
        self.table.write_text("".join(f"10.{i // 256}.{i % 256}.0/24\n" for i in range(PREFIXES)))
        self.start_real(self.table)
        self.right = self.client("v4", "10.3.4.5")
        self.assertEqual(self.right[0], 0)
        self.assertIn("prefix 10.3.4.0/24\n", self.right[1])

    def begun(self, *words):
        """A client in the middle of a reply that it cannot finish: nobody reads on."""
        running = self.client_running(*words)
        self.read = [running.stdout.readline() for _ in range(20)]
        self.assertNotIn(b"", self.read)
        return running

    def assert_right(self):
        self.assertEqual(self.client("v4", "10.3.4.5")[:2], self.right[:2])

    def test_an_interrupt_ends_the_reply_and_nothing_else(self):
        script = self.folder / "script"
        script.write_text("rootsn\nwalk leaves\nrootsn\n")
        for words, sent in ((["walk", "leaves"], signal.SIGINT), (["-j", "walk", "leaves"], signal.SIGTERM),
                            (["-k", "-f", str(script)], signal.SIGINT)):
            with self.subTest(words):
                running = self.begun(*words)
                running.send_signal(sent)
                rest = running.stdout.read()    # what the lines above were read ahead of, too
                self.assertEqual(running.wait(PATIENCE), 130, running.stderr.read())
                self.assertLess(rest.count(b"\n"), PREFIXES)
                self.assertNotIn(b"tree walk completed", rest)
                self.assertNotIn(b"tbdb_root->ta_nnodes", rest)
                if "-j" in words:
                    document = parsed(b"".join([*self.read, rest]))
                    self.assertEqual((document["outcome"], document["exit_status"]), ("interrupted", 130))
                self.assert_right()

    def test_clients_at_once_get_their_own_replies(self):
        commands = [["walk", "record"], ["rootsn"], ["v4", "10.3.4.5"], ["walk", "record"]]
        alone = [self.client(*words)[:2] for words in commands]
        self.assertEqual(alone[0][1].count("A U4 10."), PREFIXES)
        with ThreadPoolExecutor(len(commands)) as threads:
            at_once = list(threads.map(lambda words: self.client(*words)[:2], commands))
        self.assertTrue(at_once == alone)    # too long to be shown

    def test_a_process_that_stands_still_is_told_of(self):
        self.process.send_signal(signal.SIGSTOP)
        os.waitpid(self.process.pid, os.WUNTRACED)    # every thread has stopped
        status, output, _ = self.client("-j", "-t", "0.3", "rootsn")
        document = parsed(output)
        self.assertEqual((status, document["outcome"], document["findings"]), (3, "not_taken", []))
        self.assertIn(f"(pid {self.process.pid}) is stopped (T): it did not take the request", document["message"])
        self.process.send_signal(signal.SIGCONT)
        self.assertEqual(self.client("v4", "10.3.4.5"), self.right)    # nothing is left to drain

    def test_output_that_cannot_be_written(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run([BIN / "plu_debug", "walk", "record"], stdout=full, stderr=subprocess.PIPE,
                                  timeout=PATIENCE, check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (2, b"plu_debug: cannot write the output: No space left on device\n"))
        self.assert_right()


if __name__ == "__main__":
    unittest.main()
