"""The interactive shell on a terminal of its own: prompt, keys, filters, pages, interrupts."""
import fcntl
import json
import os
import pty
import select
import signal
import struct
import termios
import time
import unittest

from fixture import BIN, PATIENCE, ClientTest

PROMPT = "plu_debug> "
CTRL_C, CTRL_D, TAB = "\x03", "\x04", "\t"


class Shell:
    """plu_debug on a pseudo terminal of 24 rows."""

    def __init__(self, test, *words, **environment):
        self.test = test
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 200, 0, 0))
            os.execve(BIN / "plu_debug", ["plu_debug", *words],
                      {"TERM": "dumb", "PLU_DEBUG_HISTORY": "", **environment})
        self.status = None
        self.seen = ""    # shown, and not asked about yet
        test.addCleanup(self.kill)
        self.expect(PROMPT)

    def kill(self):
        if self.status is None:
            os.kill(self.pid, signal.SIGKILL)
            os.waitpid(self.pid, 0)
        os.close(self.terminal)

    def read(self):
        try:
            return os.read(self.terminal, 65536).decode(errors="replace")
        except OSError:
            return ""    # the other side is closed

    def expect(self, text):
        """What is shown up to the text, without carriage returns."""
        deadline = time.monotonic() + PATIENCE
        while text not in self.seen:
            if select.select([self.terminal], [], [], 0.2)[0]:
                piece = self.read()
                self.test.assertTrue(piece, f"ended without {text!r}: {self.seen[-500:]!r}")
                self.seen = (self.seen + piece).replace("\r", "")
            self.test.assertLess(time.monotonic(), deadline, f"no {text!r}: {self.seen[-500:]!r}")
        before, self.seen = self.seen.split(text, 1)
        return before

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def run(self, line):
        """What a line shows until the next prompt."""
        self.type(line + "\r")
        self.expect(line + "\n")
        return self.expect(PROMPT)

    def end(self):
        """The exit status; the rest of the output is dropped."""
        while self.status is None:
            if select.select([self.terminal], [], [], 0.2)[0] and not self.read():
                self.status = os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])
        return self.status


class Terminal(ClientTest):
    def shell(self, *words, **environment):
        return Shell(self, *words, **environment)

    def test_lines_run_filtered_and_a_failed_one_ends_nothing(self):
        self.start("walk=stream:100")
        shell = self.shell()
        self.assertEqual(shell.run("v4 10.0.0.0/8"), "\nv4 0xa000000 0x8 0x0\n\n")
        self.assertEqual(shell.run("walk | include 4[12] of | count"), "2\n")
        self.assertIn("did you mean 'walk'?", shell.run("wlak"))
        self.assertIn("'(' is no regular expression", shell.run("walk | include ("))
        self.assertEqual(self.requests(), ["v4 0xa000000 0x8 0x0", "walk 0x0 0x0 0x0"])
        shell.type(CTRL_D)
        self.assertEqual(shell.end(), 0)

    def test_keys_complete_explain_and_clear(self):
        self.start()
        shell = self.shell()
        shell.type("rec" + TAB)
        shell.expect("record ")
        shell.type(CTRL_C)
        shell.expect(PROMPT)
        shell.type("walk ?")
        self.assertIn("leaves", shell.expect(PROMPT + "walk "))
        shell.type("rec" + TAB + "| inc" + TAB + "a?b\r")
        shell.expect("record | include a?b\n")
        shell.expect(PROMPT)
        self.assertEqual(self.requests(), ["walk 0xb 0x0 0x0"])
        shell.type("quit\r")
        self.assertEqual(shell.end(), 0)

    def test_interrupt_ends_the_reply_and_not_the_shell(self):
        self.start("walk=slow:1:800")
        shell = self.shell()
        for _ in range(2):
            shell.type("walk\r")
            shell.expect("line       3 of")
            shell.type(CTRL_C)
            self.assertIn("interrupted", shell.expect(PROMPT))
            self.assertEqual(shell.run("banksum"), "\nbanksum 0x0 0x0 0x0\n\n")

    def test_second_interrupt_leaves_and_the_next_client_drains(self):
        self.start("walk=slow:1:2500")
        shell = self.shell()
        shell.type("walk\r")
        shell.expect("line       3 of")
        shell.type(CTRL_C)
        shell.expect("draining")
        shell.type(CTRL_C)
        self.assertEqual(shell.end(), 130)
        self.assert_answers()

    def test_pages_stop_until_a_key_and_quitting_keeps_the_channel_clean(self):
        self.start("walk=stream:100000")
        shell = self.shell()
        for last_key in ("q", CTRL_C):
            shell.type("walk\r")
            self.assertIn("line      20 of", shell.expect("--More--"))
            shell.type(" ")
            self.assertIn("line      44 of", shell.expect("--More--"))
            shell.type(last_key)
            shell.expect(PROMPT)
            self.assertEqual(shell.run("banksum"), "\nbanksum 0x0 0x0 0x0\n\n")

    def test_process_that_goes_or_comes_back_is_told(self):
        self.start("dump=die:2")
        shell = self.shell()
        self.assertIn("ended before its reply did", shell.run("dump"))
        self.assertIn("no process", shell.run("rootsn"))
        self.start()
        self.assertIn("the process restarted", shell.run("rootsn"))
        self.assertEqual(shell.run("rootsn"), "\nrootsn 0x0 0x0 0x0\n\n")

    def test_history_is_kept_between_shells_and_a_broken_one_is_no_end(self):
        self.start()
        path = self.folder / "history"
        path.write_bytes(b"old\x00\xff\nbanksum\n")
        shell = self.shell(PLU_DEBUG_HISTORY=str(path))
        shell.type("\x1b[A\r")
        shell.expect("banksum 0x0")
        shell.expect(PROMPT)
        shell.run("rootsn")
        self.assertEqual(path.read_bytes(), b"old\x00\xff\nbanksum\nrootsn\n")
        shell = self.shell(PLU_DEBUG_HISTORY=str(self.folder))
        self.assertIn("rootsn 0x0", shell.run("rootsn"))

    def test_options_hold_for_every_line(self):
        self.start()
        shell = self.shell("--json")
        self.assertEqual(json.loads(shell.run("rootsn"))["verdict"], "ok")
        refused = shell.run("nonsense | count")    # on standard error, too
        self.assertEqual(json.loads(refused[refused.index("{"):])["outcome"], "not_sent")
        self.start("walk=silent")
        self.assertIn("for 0.3 s", self.shell("-t", "0.3").run("walk"))


if __name__ == "__main__":
    unittest.main()
