"""A pseudo terminal with the client on it."""
import fcntl
import os
import pty
import select
import signal
import struct
import termios
import time

from fixture import BIN, PATIENCE

CTRL_C, CTRL_D, CTRL_R, TAB, UP = "\x03", "\x04", "\x12", "\t", "\x1b[A"


class Terminal:
    """plu_debug on a terminal of 24 rows that can do nothing special."""

    def __init__(self, test, *words, **environment):
        self.test = test
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 200, 0, 0))
            os.execve(BIN / "plu_debug", ["plu_debug", *words],
                      {"TERM": "dumb", "PLU_DEBUG_HISTORY": "", **environment})
        self.status = None
        self.seen = ""    # shown, and not asked about yet; without carriage returns
        test.addCleanup(self.kill)

    def kill(self):
        if self.status is None:
            os.kill(self.pid, signal.SIGKILL)
            os.waitpid(self.pid, 0)
        os.close(self.terminal)

    def read(self, deadline):
        """False when the other side is closed."""
        self.test.assertLess(time.monotonic(), deadline, f"stands still: {self.seen[-500:]!r}")
        if select.select([self.terminal], [], [], 0.2)[0]:
            try:
                piece = os.read(self.terminal, 65536)
            except OSError:
                return False
            self.seen = (self.seen + piece.decode(errors="replace")).replace("\r", "")
            return bool(piece)
        return True

    def expect(self, text):
        """What is shown up to the text."""
        deadline = time.monotonic() + PATIENCE
        while text not in self.seen:
            self.test.assertTrue(self.read(deadline), f"ended without {text!r}: {self.seen[-500:]!r}")
        before, self.seen = self.seen.split(text, 1)
        return before

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def end(self):
        """The exit status; `seen` has the rest of the output."""
        deadline = time.monotonic() + PATIENCE
        while self.status is None:
            if not self.read(deadline):
                self.status = os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])
        return self.status
