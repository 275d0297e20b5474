"""Machine output, files of commands, repetition, recordings: every mode says the same, and is valid."""
import contextlib
import json
import os
import signal
import subprocess
import time
import unittest

from fixture import BIN, CHECKS, PATIENCE, ClientTest

ALL = """dump ckall walk rootsn banksum bankbitmap hwidxr hwidxwalk hwdis regr32 regw32 memr memw8 memw32
v4 v4hw cklkupv4 v6 v6hw cklkupv6 addv4 delv4 addv6 delv6 tn tnwalk tnbl cntpfx setbmsf ckbmsf ckbank
ckhmask cklkup cklkuphw ckparbl showla""".split()


class Json(ClientTest):
    def document(self, *words, **options):
        status, output, _ = self.client("--json", *words, **options)
        document = json.loads(output)
        if isinstance(document, dict):
            self.assertEqual(document["exit_status"], status)
        return document

    def test_every_command_gives_a_document(self):
        self.start()
        for name in ALL:
            with self.subTest(name):
                document = self.document(name, 1, 2, 3)
                self.assertEqual(document["command"], name)
                self.assertEqual(document["arguments"], ["0x1", "0x2", "0x3"])
                if name not in CHECKS + ["ckall"]:
                    self.assertEqual(document["lines"], [f"{name} 0x1 0x2 0x3"])
                self.assertEqual((document["verdict"], document["outcome"]), ("ok", "done"))

    def test_counters_are_numbers_and_decide_the_verdict(self):
        (self.folder / "reply").write_text("\nResults of checking bmsf:\n  total tn nodes:       12345\n"
                                           "  bmsf match non zero:    -3\n  bmsf match  zero:  4294967296\n"
                                           "  bmsf MISMATCH:              2\n")
        self.start(f"ckbmsf=file:{self.folder / 'reply'}")
        document = self.document("ckbmsf")
        self.assertEqual(document["counters"],
                         {"total_tn_nodes": 12345, "bmsf_match_non_zero": -3,
                          "bmsf_match_zero": 4294967296, "bmsf_mismatch": 2})
        self.assertEqual((document["verdict"], document["exit_status"]), ("findings", 1))

    def test_words_stay_as_they_were_typed(self):
        self.start()
        self.assertEqual(self.document("v4", "é")["words"], ["é"])
        for odd in (b"a\0\xff", b"\xf4\x90\x80\x80", b"\xed\xa0\x80", b"\xc3"):
            done = subprocess.run([BIN / "plu_debug", "-j"], input=odd, capture_output=True, check=False)
            self.assertEqual(json.loads(done.stdout.decode())[0]["outcome"], "not_sent")

    def test_odd_bytes_stay_valid(self):
        (self.folder / "reply").write_bytes(b'quote " backslash \\ tab \t bell \x07 high \xe9\xff\n')
        self.start(f"dump=file:{self.folder / 'reply'}")
        self.assertEqual(self.document("dump")["lines"],
                         ['quote " backslash \\ tab \t bell \x07 high \xe9\xff'])

    def test_every_failure_gives_a_document(self):
        self.remove_queues()
        self.assertEqual(self.document("dump")["outcome"], "no_process")
        self.assertEqual(self.document("wlak")["outcome"], "not_sent")
        self.start("walk=silent", "hwdis=die:3", "rootsn=restart:2")
        self.assertEqual(self.document("rootsn")["outcome"], "restarted")
        died = self.document("hwdis")
        self.assertEqual((died["outcome"], len(died["lines"])), ("died", 3))
        self.start("walk=silent")
        silent = self.document("-t", "0.3", "walk")
        self.assertEqual((silent["outcome"], silent["lines"], silent["verdict"]),
                         ("no_answer", [], "incomplete"))

    def test_wrong_options_give_a_document(self):
        for words in (["--bogus", "dump"], ["-t", "soon"], ["-r", "2", "-f", "-"], ["-f", "x", "dump"]):
            document = self.document(*words)
            self.assertEqual((document["outcome"], document["exit_status"]), ("not_sent", 2))
            self.assertNotEqual(document["message"], "")

    def test_the_client_s_own_commands_give_a_document(self):
        lines = ["A U4 10.0.0.0/8 0 #", "A U6 2001:db8::/32 5 #"]
        self.start(*self.answering(walk=lines))
        saved, old = self.folder / "saved", self.folder / "old"
        old.write_text(lines[0] + "\n")
        for words, status, counters, first in (
                (["help", "v4"], 0, {}, "v4: "), (["--help"], 0, {}, "usage"), (["version"], 0, {}, "plu_debug "),
                (["record", saved], 0, {"prefixes": 2}, None), (["record", "-"], 0, {"prefixes": 2}, lines[0]),
                (["diff", old, saved], 1, {"added": 1, "removed": 0, "bad_lines": 0}, "+ U6 2001:db8::/32 5"),
                (["metrics", "-"], 1, {}, "# HELP plu_debug_up"), (["banks", "--svg"], 1, {}, None),
                (["help", "nonsense"], 2, {}, None), (["record", self.folder / "no" / "such"], 2, {}, None),
                (["diff", old, self.folder], 2, {}, None), (["tree", "x", "--dot"], 2, {}, None)):
            with self.subTest(words):
                document = self.document(*words)
                self.assertEqual((document["exit_status"], document["counters"]), (status, counters))
                self.assertEqual(document["verdict"], {0: "ok", 1: "findings", 2: "incomplete"}[status])
                self.assertTrue("".join(document["lines"][:1]).startswith(first or ""))

    def test_an_interrupt_while_a_line_is_awaited_ends_the_array(self):
        self.start()
        os.mkfifo(self.folder / "pipe")
        for options in ([], ["-f", str(self.folder / "pipe")]):
            with self.subTest(options):
                running = self.client_running("-j", *options, stdin=None if options else subprocess.PIPE)
                feed = open(self.folder / "pipe", "wb", buffering=0) if options else running.stdin
                feed.write(b"dump\n")
                feed.flush()
                text = b""
                while not text.endswith(b"}\n"):    # whole before the next line is there
                    text += running.stdout.readline()
                running.send_signal(signal.SIGINT)
                text += running.stdout.read()
                self.assertEqual(running.wait(PATIENCE), 130)
                feed.close()
                self.assertEqual([one["outcome"] for one in json.loads(text)], ["done", "interrupted"])

    def test_interrupted_reply_is_a_document(self):
        self.start("walk=slow:1:2000")
        running = self.client_running("-j", "walk")
        self.wait_for_request("walk")
        time.sleep(0.1)
        running.send_signal(signal.SIGINT)
        document = json.loads(running.communicate(timeout=PATIENCE)[0])
        self.assertEqual((document["outcome"], document["exit_status"]), ("interrupted", 130))

    def test_memory_does_not_grow_with_the_reply(self):
        self.start("walk=stream:300000")
        command = [BIN / "plu_debug", "--json", "walk"]
        done = subprocess.run(["bash", "-c", 'ulimit -v 200000; exec "$@"', "-", *command], check=False,
                              capture_output=True, timeout=PATIENCE)
        if b"ReserveShadowMemoryRange" in done.stderr or b"ThreadSanitizer" in done.stderr:
            self.skipTest("a sanitizer wants more address space than that from the start")
        text = done.stdout
        self.assertEqual(len(json.loads(text)["lines"]), 300000)

    def test_several_commands_make_an_array(self):
        self.start()
        status, output, _ = self.client("-j", "-r", "3", "-i", "0", "dump")
        self.assertEqual((status, [one["command"] for one in json.loads(output)]), (0, ["dump"] * 3))
        script = self.folder / "script"
        script.write_text("dump\nhealth\nnonsense\nrootsn\n")
        status, output, _ = self.client("-j", "-k", "-f", script)
        commands = [one["command"] for one in json.loads(output)]
        self.assertEqual((status, commands), (2, ["dump", "health", "nonsense", "rootsn"]))


class Scripts(ClientTest):
    def run_script(self, text, *options):
        return self.client(*options, "-f", self.script(text))

    def script(self, text):
        path = self.folder / "script"
        path.write_text(text)
        return path

    def test_runs_one_command_a_line(self):
        self.start()
        status, output, errors = self.run_script("# a comment\n\nv4 10.0.0.0/8 # another\nrootsn\n")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(output, "\nv4 0xa000000 0x8 0x0\n\n\nrootsn 0x0 0x0 0x0\n\n")

    def test_stops_at_the_first_failure_unless_told_otherwise(self):
        self.start()
        text = "rootsn\nv4 10.0.0.0/40\ndump\n"
        status, _, errors = self.run_script(text)
        self.assertEqual((status, len(self.requests())), (2, 1))
        self.assertIn("script:2: '10.0.0.0/40': length 40", errors)
        self.assertEqual((self.run_script(text, "-k")[0], len(self.requests())), (2, 3))

    def test_filters_follow_a_command(self):
        self.start("walk=stream:1000")
        status, output, errors = self.run_script("walk | include 9 of | exclude '  [1-8]' | count\n")
        self.assertEqual((status, output, errors), (0, "12\n", ""))
        status, output, errors = self.run_script("walk | include [\n")
        self.assertEqual((status, output, len(self.requests())), (2, "", 1))
        self.assertIn("script:1: '[' is no regular expression", errors)

    def test_standard_input_is_a_script(self):
        self.start()
        done = subprocess.run([BIN / "plu_debug"], input="dump\nnope\n", capture_output=True, text=True,
                              timeout=PATIENCE, check=False)
        self.assertEqual((done.returncode, done.stdout), (2, "\ndump 0x0 0x0 0x0\n\n"))
        self.assertIn("standard input:2: 'nope'", done.stderr)

    def test_repetition_does_not_overlap_and_keeps_the_worst_status(self):
        self.start("dump=late:300")
        started = time.monotonic()
        status, output, _ = self.client("-r", "3", "-i", "0.1", "dump")
        self.assertEqual((status, output.count("== ")), (0, 3))
        self.assertGreater(time.monotonic() - started, 0.9)
        self.assertEqual(self.client("-r", "1", "dump")[1].count("== "), 1)

    def test_interrupt_ends_a_repetition(self):
        self.start()
        running = self.client_running("-i", "0.05", "dump")
        self.wait_for_request("dump")
        running.send_signal(signal.SIGINT)
        self.assertEqual(running.wait(PATIENCE), 130)

    def test_nothing_runs_on_when_nobody_reads(self):
        self.start()
        for words, typed in ((["-j", "-r", "0", "-i", "0", "dump"], None), ([], b"dump\n" * 100000)):
            running = subprocess.Popen([BIN / "plu_debug", *words], stdout=subprocess.PIPE,
                                       stdin=subprocess.PIPE if typed else subprocess.DEVNULL)
            self.addCleanup(running.kill)
            running.stdout.close()
            if typed:
                with contextlib.suppress(BrokenPipeError):
                    running.stdin.write(typed)
                    running.stdin.close()
            self.assertEqual(running.wait(PATIENCE), 0)
        self.assertLess(len(self.requests()), 5000)

    def test_read_only_refuses_what_changes_the_card(self):
        self.start()
        for words in (["addv4", "10.0.0.0/8"], ["--raw", "MEMW32", "1"], ["--raw", "newer", "1"]):
            self.assertEqual(self.client("--read-only", *words)[0], 2)
        refused = self.client("setbmsf", 1, 2, env={"PLU_DEBUG_READ_ONLY": "1"})
        self.assertEqual((refused[0], self.requests()), (2, []))
        self.assertEqual(self.client("--read-only", "walk")[0], 0)


class Health(ClientTest):
    def test_one_line_a_check(self):
        self.start()
        status, output, _ = self.client("health")
        self.assertEqual(status, 0)
        self.assertEqual([line.split()[:2] for line in output.splitlines()],
                         [[name, "ok"] for name in CHECKS + ["health"]])

    def test_finding_names_the_counters_that_speak_against_the_card(self):
        self.start(*self.answering(ckbmsf=["  bmsf MISMATCH:              2"]))
        status, output, _ = self.client("health")
        self.assertEqual(status, 1)
        self.assertRegex(output, r"ckbmsf +findings .* bmsf_mismatch=2\n")
        self.assertRegex(output, r"health +findings\n$")

    def test_unshown_misses_are_held_against_the_default_routes(self):
        lookup = [f"lookup missed: tn 0x1 lf 0x2, lf 0/1 (0x00000000/0)" for _ in range(20)]
        lookup += ["  total        prefix:      100", "  prefix        match:       78",
                   "  prefix     no match:       22"]
        defaults = [f"A U4 0.0.0.0/0 {vrf} #" for vrf in range(22)]
        self.start(*self.answering(cklkup=lookup, ckall=lookup, walk=defaults + ["A U4 10.0.0.0/8 0 #"]))
        self.assertEqual(self.client("health")[0], 0)
        self.assertEqual(self.client("ckall")[0], 0)
        status, _, errors = self.client("cklkup")
        self.assertEqual(status, 0)
        self.assertIn("2 misses are not shown; all are default routes", errors)
        self.assertEqual(self.client("cklkup", "from", 1)[0], 1)
        shown = [lookup[0] for _ in range(22)] + ["prefix     no match: 22"]
        self.start(*self.answering(cklkup=lookup, cklkuphw=shown))
        self.assertEqual(self.client("cklkup", "from", 1)[0], 0)
        self.start(*self.answering(cklkup=lookup, ckall=lookup, walk=defaults[1:] + ["A U4 10.0.0.0/8 0 #"]))
        told = "prefix_no_match=22 with 21 default routes"
        for words in (["health"], ["cklkup"], ["ckall"], ["-j", "cklkup"]):
            status, output, errors = self.client(*words)
            self.assertEqual(status, 1)
            self.assertIn(told, output + errors)

    def test_ends_with_the_process(self):
        self.start("ckhmask=die:0")
        status, output, _ = self.client("health")
        self.assertEqual((status, len(output.splitlines())), (3, 4))
        self.assertRegex(output, r"ckhmask +incomplete .*ended")

    def test_metrics_are_whole_or_say_that_the_process_is_not_up(self):
        self.start(*self.answering(ckparbl=["  INVALID par bl:           3"]))
        target = self.folder / "plu.prom"
        self.assertEqual(self.client("metrics", target)[0], 1)
        text = target.read_text()
        self.assertIn("\nplu_debug_up 1\n", text)
        self.assertIn('\nplu_check_clean{check="ckparbl"} 0\n', text)
        self.assertIn('\nplu_counter{command="ckparbl",counter="invalid_par_bl"} 3\n', text)
        for line in text.splitlines():
            self.assertRegex(line, r'^(# (HELP|TYPE) \w+ .+|\w+(\{\w+="\w+"(,\w+="\w+")*\})? [0-9.]+)$')
        self.start(*self.answering(cklkuphw=["failed to load phu functions"]))
        self.assertEqual(self.client("metrics", target)[0], 1)
        self.assertIn("\nplu_debug_up 0\n", target.read_text())
        self.assertNotIn('check="cklkuphw"', target.read_text())
        self.assertRegex(self.client("health")[1], r"cklkuphw +refused .*\nhealth +refused\n$")
        self.stop()
        self.assertEqual(self.client("metrics", target)[0], 3)
        self.assertIn("\nplu_debug_up 0\n", target.read_text())
        (self.folder / "log").write_text("")
        self.start("walk=slow:1:2000")
        target.write_text("before\n")
        running = self.client_running("metrics", target)
        self.wait_for_request("walk")
        status, _, errors = self.client("-t", "0.2", "metrics", target)    # says nothing of the process
        self.assertEqual(status, 3)
        self.assertIn(f"busy: another client, pid {running.pid}", errors)
        running.send_signal(signal.SIGINT)
        self.assertEqual(running.wait(PATIENCE), 130)
        self.assertEqual(target.read_text(), "before\n")


class Recordings(ClientTest):
    LINES = ["A U4 10.0.0.0/8 0 #", "A U6 2001:db8::/32 5 #"]

    def test_record_writes_the_prefixes_alone(self):
        (self.folder / "reply").write_text(" plu_shm_ctx 0x1\n" + "\n".join(self.LINES) + "\n")
        self.start(f"walk=file:{self.folder / 'reply'}")
        status, output, errors = self.client("record", self.folder / "saved")
        self.assertEqual((status, output), (0, ""))
        self.assertIn("2 prefixes recorded", errors)
        self.assertEqual((self.folder / "saved").read_text().splitlines(), self.LINES)
        self.assertEqual(self.requests(), ["walk 0xb 0x0 0x0"])

    def test_failed_record_leaves_the_file_as_it_was(self):
        saved = self.folder / "saved"
        saved.write_text("before\n")
        self.start("walk=die:100")
        self.assertEqual(self.client("record", saved)[0], 3)
        self.assertEqual(saved.read_text(), "before\n")
        self.assertEqual([path.name for path in self.folder.glob("saved*")], ["saved"])
        self.assertEqual(self.client("record", self.folder / "no" / "such")[0], 2)

    def test_record_replaces_regular_files_alone(self):
        (self.folder / "reply").write_text("\n".join(self.LINES) + "\n")
        self.start(f"walk=file:{self.folder / 'reply'}")
        (self.folder / "saved").write_text("before\n")
        (self.folder / "link").symlink_to(self.folder / "saved")
        self.assertEqual(self.client("record", self.folder / "link")[0], 0)
        (self.folder / "dangling").symlink_to("new")
        self.assertEqual(self.client("record", self.folder / "dangling")[0], 0)
        for name, target in (("link", "saved"), ("dangling", "new")):
            self.assertTrue((self.folder / name).is_symlink())
            self.assertEqual((self.folder / target).read_text().splitlines(), self.LINES)
        self.assertEqual((self.folder / "saved").read_text().splitlines(), self.LINES)
        os.mkfifo(self.folder / "pipe")
        for name in ("pipe", "."):
            status, _, errors = self.client("record", self.folder / name)
            self.assertEqual(status, 2)
            self.assertIn("it is no regular file", errors)
        self.assertTrue((self.folder / "pipe").is_fifo())

    def test_record_keeps_rights_and_removes_what_killed_clients_left(self):
        self.start(*self.answering(walk=self.LINES))
        saved = self.folder / "saved"
        saved.write_text("before\n")
        saved.chmod(0o600)
        ended = subprocess.Popen(["true"])
        ended.wait()
        for pid in (ended.pid, os.getpid()):
            (self.folder / f"saved.new.{pid}").write_text("")
        self.assertEqual(self.client("record", saved)[0], 0)
        self.assertEqual(saved.stat().st_mode & 0o777, 0o600)
        self.assertEqual({path.name for path in self.folder.glob("saved*")},
                         {"saved", f"saved.new.{os.getpid()}"})

    def test_output_that_does_not_block_is_waited_for(self):
        self.start("walk=stream:20000")
        end, begin = os.pipe()
        os.set_blocking(begin, False)
        running = subprocess.Popen([BIN / "plu_debug", "walk"], stdout=begin)
        os.close(begin)
        time.sleep(0.3)    # the pipe is full long before
        with open(end, encoding="ascii") as reader:
            self.assertEqual(len(reader.readlines()), 20002)
        self.assertEqual(running.wait(PATIENCE), 0)

    def test_closed_descriptors_are_nobody_else_s(self):
        self.start(*self.answering(walk=self.LINES))
        saved = self.folder / "saved"
        run = ["bash", "-c", '"$@" 2>&- <&-', "-", BIN / "plu_debug", "record", saved]
        self.assertEqual(subprocess.run(run, check=False).returncode, 0)
        self.assertEqual(saved.read_text().splitlines(), self.LINES)
        run = ["bash", "-c", '"$@" >&-', "-", BIN / "plu_debug", "walk"]
        done = subprocess.run(run, stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"cannot write the output", done.stderr)

    def diff(self, before, after):
        for name, lines in (("a", before), ("b", after)):
            (self.folder / name).write_text("\n".join(lines) + "\n")
        return self.client("diff", self.folder / "a", self.folder / "b")

    def test_diff_tells_added_and_removed(self):
        status, output, _ = self.diff(self.LINES, ["2001:db8::/32 5", "10.0.0.0/9", "10.0.0.0/9"])
        self.assertEqual(status, 1)
        self.assertEqual(output, "- U4 10.0.0.0/8 0\n+ U4 10.0.0.0/9 0\n"
                                 "vrf 0 IPv4: 1 added, 1 removed\nall: 1 added, 1 removed\n")

    def test_diff_of_the_same_in_another_order_is_empty(self):
        self.assertEqual(self.diff(self.LINES, self.LINES[::-1])[:2],
                         (0, "all: 0 added, 0 removed\n"))

    def test_diff_names_lines_that_are_no_prefix(self):
        status, _, errors = self.diff(self.LINES, self.LINES + ["10.0.0.0/33"])
        self.assertEqual(status, 1)
        self.assertIn("b:3: no prefix, skipped: '10.0.0.0/33'", errors)

    def test_what_is_no_text_is_not_compared(self):
        status, output, errors = self.diff(self.LINES, ["x" * 2000000])
        self.assertEqual((status, output), (2, ""))
        self.assertIn("b': a line is longer than 1 MiB", errors)


if __name__ == "__main__":
    unittest.main()
