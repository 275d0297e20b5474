"""The interactive shell on a terminal of its own: prompt, keys, filters, pages, interrupts."""
import fcntl
import json
import os
import signal
import struct
import termios
import unittest

from fixture import ClientTest
from terminal import CTRL_C, CTRL_D, CTRL_R, TAB, UP, Terminal

PROMPT = "plu_debug> "


class Shell(Terminal):
    def __init__(self, test, *words, **environment):
        super().__init__(test, *words, **environment)
        self.expect(PROMPT)

    def run(self, line):
        """What a line shows until the next prompt."""
        self.type(line + "\r")
        self.expect(line + "\n")
        return self.expect(PROMPT)


class Keys(ClientTest):
    def setUp(self):
        super().setUp()
        self.start("walk=stream:100")

    def test_lines_run_filtered_and_a_failed_one_ends_nothing(self):
        shell = Shell(self)
        for line, shown in (("v4 10.0.0.0/8", "\nv4 0xa000000 0x8 0x0\n\n"), ("walk | include 4[12] of | count", "2\n"),
                            ("wlak", "did you mean 'walk'?"), ("walk | include (", "'(' is no regular expression"),
                            ("ban", "it begins banks, banksum, bankbitmap"), ("v4 --help", "PREFIX [vrf N]")):
            self.assertIn(shown, shell.run(line))
        self.assertEqual(self.requests(), ["v4 0xa000000 0x8 0x0", "walk 0x0 0x0 0x0"])
        shell.type(CTRL_D)
        self.assertEqual(shell.end(), 0)

    def test_keys_complete_explain_search_and_clear(self):
        for name in ("saved one", "saved two", ".hidden"):
            (self.folder / name).touch()
        shell = Shell(self)
        folder = str(self.folder)
        for keys, shown in (("rec" + TAB, "record "), ("walk ?", "  leaves  "), ("WALK L" + TAB, "leaves "),
                            ("v4 1.2.3.4 vrf ?", "0 to 65535"), ("walk | inc" + TAB + "a?", "include a?"),
                            ("ck" + TAB, "  ckbank  "), ("v4 1.2.3.4 | exclude é?", "é?"),
                            (f"record {folder}/" + TAB, f'"{folder}/saved one"\n'),
                            (f"record {folder}/saved\\ o" + TAB, "nothing fits"),
                            (f'record "{folder}/saved o' + TAB, f'record "{folder}/saved one" ')):
            with self.subTest(keys):
                shell.type(keys)
                shell.expect(shown)
                shell.type(CTRL_C)
                self.assertNotIn("hidden", shell.expect("^C\n" + PROMPT))
        self.assertEqual(self.requests(), [])
        for line in ("rootsn", "v4 10.0.0.0/8", "banksum"):
            shell.run(line)
        for keys, request in ((UP + UP + "\r", "v4 0xa000000 0x8 0x0"), (CTRL_R + "root\r", "rootsn 0x0 0x0 0x0"),
                              ("ban" + TAB + "su\r", "banksum 0x0 0x0 0x0")):
            shell.type(keys)
            shell.expect("\n" + request + "\n")
            shell.expect(PROMPT)
        shell.type("qu\r")
        self.assertEqual(shell.end(), 0)

    def test_pasted_lines_run_one_after_another(self):
        shell = Shell(self)
        shell.type("".join(f"v4 10.0.{i}.0/24 | include nothing at all\r" for i in range(60)) + "rootsn\r")
        shell.expect("\nrootsn 0x0")
        self.assertEqual(self.requests(), [f"v4 0xa00{i:02x}00 0x18 0x0" for i in range(60)] + ["rootsn 0x0 0x0 0x0"])

    def test_the_line_survives_a_resize_and_a_stop(self):
        shell = Shell(self)
        shell.type("v4 10.0.0.0/8")
        shell.expect("10.0.0.0/8")
        fcntl.ioctl(shell.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 10, 60, 0, 0))
        shell.expect(PROMPT + "v4 10.0.0.0/8")
        for sent in (signal.SIGSTOP, signal.SIGCONT):
            os.kill(shell.pid, sent)
        shell.expect(PROMPT + "v4 10.0.0.0/8")
        shell.type(" vrf 5\r")
        shell.expect("\nv4 0xa000000 0x8 0x5\n")

    def test_history_is_kept_between_shells_and_no_other_file_is_touched(self):
        path = self.folder / "history"
        for line in ("help v4", "banksum"):
            Shell(self, PLU_DEBUG_HISTORY=str(path)).run(line)
        self.assertEqual(path.stat().st_mode & 0o777, 0o600)
        shell = Shell(self, PLU_DEBUG_HISTORY=str(path))
        shell.type(UP + "\r")
        shell.expect("banksum 0x0")
        shell.expect(PROMPT)
        shell.type(UP + UP + "\r")
        shell.expect("PREFIX [vrf N]")
        foreign = self.folder / "foreign"
        foreign.write_text("not a history\n")
        os.mkfifo(self.folder / "pipe")
        for name in ("foreign", "pipe", "."):
            shell = Terminal(self, PLU_DEBUG_HISTORY=str(self.folder / name))
            shell.expect("no history is kept")
            shell.type("rootsn\r")
            shell.expect("\nrootsn 0x0")
        self.assertEqual(foreign.read_text(), "not a history\n")

    def test_options_hold_for_every_line(self):
        shell = Shell(self, "--json")
        self.assertEqual(json.loads(shell.run("rootsn"))["verdict"], "ok")
        refused = shell.run("nonsense | count")    # on standard error, too
        self.assertEqual(json.loads(refused[refused.index("{"):])["outcome"], "not_sent")
        self.assertEqual(Shell(self, "-n", "3").run("walk").count("\nline "), 2)
        self.start("walk=silent")
        self.assertIn("for 0.3 s", Shell(self, "-t", "0.3").run("walk"))


class Replies(ClientTest):
    def test_interrupts_end_the_reply_then_the_shell(self):
        self.start("walk=slow:1:1800")
        shell = Shell(self)
        for _ in range(2):
            shell.type("walk\r")
            shell.expect("line       3 of")
            shell.type(CTRL_C)
            self.assertIn("interrupted", shell.expect(PROMPT))
            self.assertEqual(shell.run("banksum"), "\nbanksum 0x0 0x0 0x0\n\n")
        shell.type("walk\r")
        shell.expect("line       3 of")
        shell.type(CTRL_C)
        shell.expect("draining")
        shell.expect("lines dropped so far")
        shell.type(CTRL_C)
        self.assertEqual(shell.end(), 130)
        self.assert_answers()

    def test_pages_stop_until_a_key_and_quitting_keeps_the_channel_clean(self):
        self.start("walk=stream:100000")
        shell = Shell(self)
        for last_key in ("q", CTRL_C):
            shell.type("walk\r")
            self.assertIn("line      20 of", shell.expect("--More--"))
            shell.type(" ")
            self.assertIn("line      44 of", shell.expect("--More--"))
            shell.type(last_key)
            shell.expect(PROMPT)
            self.assertEqual(shell.run("banksum"), "\nbanksum 0x0 0x0 0x0\n\n")

    def test_a_long_silence_is_told_while_it_lasts(self):
        for behaviour, told in (("busy:3700", "still working, "), ("late:3700", "no answer yet, ")):
            self.start("cklkup=" + behaviour)
            shell = Shell(self)
            shell.type("cklkup\r")
            shell.expect(told)
            shell.expect("line       0 of")

    def test_process_that_goes_or_comes_back_is_told(self):
        self.start("dump=die:2")
        shell = Shell(self)
        self.assertIn("ended before its reply did", shell.run("dump"))
        self.assertIn("no process", shell.run("rootsn"))
        self.start()
        self.assertIn("the process restarted", shell.run("rootsn"))
        self.assertEqual(shell.run("rootsn"), "\nrootsn 0x0 0x0 0x0\n\n")

    def test_a_reply_of_a_million_lines_is_announced(self):
        for prefixes, announced in ((1000001, True), (1000000, False)):
            self.start(*self.answering(walk=[f"dumpable leaf: {prefixes}, dumpable nodes: 1"]))
            self.assertEqual("more than 1000001 lines follows" in Shell(self).run("walk leaves"), announced)


if __name__ == "__main__":
    unittest.main()
