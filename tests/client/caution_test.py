"""What the client does for the card's and the operator's safety: the log, questions, what a terminal gets to see."""
import json
import os
import re
import signal
import unittest

from fixture import ALL, NO_LOG, PATIENCE, ClientTest, SystemLog
from terminal import Terminal

ESCAPE = "\x1b]0;title\x07"
SHOWN = "\\x1b]0;title\\x07"


class ChangeLog(ClientTest):
    CHANGES = ("addv4 10.0.0.0/8 vrf 5", "delv4 10.0.0.0/8", "addv6 2001:db8::/32", "delv6 ::/0", "memw8 1 2",
               "memw32 1 2", "setbmsf 1 2", "regw32 1 2", "--raw frobnicate 1", "-j -y delv4 0.0.0.0/0")

    def test_every_change_is_logged_whatever_is_asked_for(self):
        log = SystemLog(self)
        self.start()
        script = self.folder / "script"
        script.write_text("addv4 10.0.0.0/8 vrf 5 | count\nrootsn\n")
        for words in (*(line.split() for line in self.CHANGES), ["-f", script], ["--read-only", "memw8", "1", "2"]):
            self.client(*words)
        log.close()
        sent = [line for line in log.lines if line.endswith(": sent")]
        self.assertEqual([re.search(r"\((\w+ .*)\): sent", line)[1] for line in sent], self.requests()[:-1])
        self.assertEqual(len(log.lines), 2 * len(sent))
        for line in sent:
            self.assertRegex(line, r"^<13>.* plu_debug\[\d+\]: (\w+, )?uid \d+(, | \(.*\), )on (no terminal|\w+/\d+): ")
        self.assertIn('"addv4 10.0.0.0/8 vrf 5" (addv4 0xa000000 0x8 0x5): sent', sent[0])

    def test_what_changes_the_card_is_what_help_says(self):
        names = {line.split()[0] for line in self.CHANGES if line[0] != "-"}
        self.assertEqual({name for name in ALL if "changes the card's state" in self.client("help", name)[1]}, names)

    def test_the_log_tells_how_it_ended(self):
        log = SystemLog(self)
        self.start("memw8=die:0", *self.answering(addv4=["plu_add_entry with pfx 0x0A000000 10.0.0.0/8, vrf 0, rc 0x5"]))
        for words in (["delv4", "10.0.0.0/8"], ["addv4", "10.0.0.0/8"], ["memw8", "1", "2"]):
            self.client(*words)
        log.close()
        self.assertEqual([line.rsplit(": ", 1)[1] for line in log.lines],
                         ["sent", "done", "sent", "refused by the process", "sent", "no whole answer, may have been done"])

    def test_a_missing_log_is_told_once(self):
        self.start()
        script = self.folder / "script"
        script.write_text("memw8 1 2\nmemw8 1 2\n")
        if not os.path.exists("/dev/log"):
            self.assertEqual(self.client("-f", script)[2], NO_LOG)


class Questions(ClientTest):
    def test_a_default_route_is_deleted_on_a_terminal_only_when_told_to(self):
        self.start()
        for words, key, sent in ((["delv4", "0.0.0.0/0", "vrf", "7"], "y", 1), (["delv6", "::/0"], "n", 0),
                                 (["--raw", "DELV4", "0", "0", "7"], "\r", 0), (["-f", "-"], "n", 0),
                                 (["--yes", "delv6", "::/0"], "", 1), (["delv4", "10.0.0.0/8"], "", 1)):
            with self.subTest(words):
                before = len(self.requests())
                terminal = Terminal(self, *words)
                if words[-1] == "-":
                    terminal.type("delv4 0.0.0.0/0\n")
                if key:
                    self.assertIn("default route of VRF " + ("7" if "7" in words else "0"), terminal.expect("(y/N) "))
                    terminal.type(key)
                if words[-1] == "-":
                    terminal.expect("not deleted")
                self.assertEqual(terminal.end(), 0 if sent else 2)
                self.assertEqual(len(self.requests()) - before, sent)
        self.assertEqual(self.client("delv4", "0.0.0.0/0")[0], 0)    # nobody to ask


class ControlCharacters(ClientTest):
    def test_they_reach_no_terminal(self):
        (self.folder / "script").write_text(f"nonsense{ESCAPE}\n")
        self.start(*self.answering(dump=[f"name {ESCAPE}"]))
        for words in (["dump"], ["dump" + ESCAPE], ["-f", str(self.folder / "script")], ["v4", ESCAPE],
                      ["-t", ESCAPE, "dump"], ["record", ESCAPE + "/x"], ["--raw", "x" + ESCAPE]):
            with self.subTest(words):
                terminal = Terminal(self, *words)
                terminal.end()
                self.assertIn(SHOWN, terminal.seen)
                self.assertNotIn("\x1b", terminal.seen)
                self.assertNotIn("\x07", terminal.seen)
        self.assertIn(ESCAPE, self.client("dump")[1])    # a file gets what the process sends


class Interrupts(ClientTest):
    def test_one_at_the_very_start_ends_the_command_unsent(self):
        self.start()
        script = self.folder / "script"
        script.write_text("memw8 1 2\n")
        for words in (["memw8", "1", "2"], ["-r", "2", "memw8", "1", "2"], ["-f", script], ["health"], ["metrics"]):
            running = self.client_running("-j", *words, preexec_fn=self.interrupted_already)
            document = json.loads(running.communicate(timeout=PATIENCE)[0])
            self.assertEqual(running.returncode, 130)
            self.assertEqual((document if isinstance(document, dict) else document[-1])["outcome"], "interrupted")
        self.assertEqual(self.requests(), [])

    @staticmethod
    def interrupted_already():
        signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGINT])
        os.kill(os.getpid(), signal.SIGINT)


if __name__ == "__main__":
    unittest.main()
