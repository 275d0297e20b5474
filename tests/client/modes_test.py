"""Machine output, files of commands, repetition, recordings: every mode says the same, and is valid."""
import contextlib
import os
import signal
import subprocess
import time
import unittest

from fixture import ALL, BIN, CHECKS, PATIENCE, ClientTest, parsed


class Json(ClientTest):
    def document(self, *words, **options):
        status, output, _ = self.client("--json", *words, **options)
        document = parsed(output)
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
                    self.assertEqual(document["unrecognised"], [f"{name} 0x1 0x2 0x3"])
                self.assertEqual((document["verdict"], document["outcome"]), ("ok", "done"))

    def test_counters_are_numbers_and_decide_the_verdict(self):
        self.start(*self.answering(ckbmsf=["  total tn nodes:         12345", "  bmsf match non zero:       -3",
                                           "  bmsf match  zero:     4294967296", "  bmsf MISMATCH:              2"]))
        document = self.document("ckbmsf")
        self.assertEqual(document["counters"],
                         {"total_tn_nodes": 12345, "bmsf_match_non_zero": -3,
                          "bmsf_match_zero": 4294967296, "bmsf_mismatch": 2})
        self.assertEqual((document["verdict"], document["exit_status"]), ("findings", 1))

    def test_lines_that_no_card_here_provokes_are_known(self):
        stop = "tree of more than 5 nodes at tn 0x2, walk stopped"
        for words, lines, kinds in (
                (["walk"], [stop, stop.replace("nodes", "prefixes"), "reply of more than 5 lines at tn 0x2, walk stopped",
                            "7 further addresses are not readable"],
                 ["too_many_nodes", "too_many_prefixes", "too_many_lines", "more_not_readable"]),
                (["tn", 1], ["NODE SEARCH addr: 0x1" + stop, " parent: 0x3 child:4   2.32(0x0820)/12 vrf:5",
                             "HINT SKIP  ebitmap: 0x0000000000000001, ptr:0x1, bmsf:2, me:0  skip_len 3 skip_pattern: 0x4 "
                             "tn: 0x1 hw index: 0x01000002"], ["too_many_nodes"]),
                (["hwidxr", 1, "parent"], ["Parent: " + stop], ["too_many_nodes"])):
            with self.subTest(words):
                self.start(*self.answering(**{words[0]: lines}))
                document = self.document(*words)
                self.assertNotIn("unrecognised", document)
                self.assertEqual([finding["kind"] for finding in document["findings"]], kinds)

    def test_words_stay_as_they_were_typed(self):
        self.start()
        self.assertEqual(self.document("v4", "é")["words"], ["é"])
        for odd in (b"a\0\xff", b"\xf4\x90\x80\x80", b"\xed\xa0\x80", b"\xc3"):
            done = subprocess.run([BIN / "plu_debug", "-j"], input=odd, capture_output=True, check=False)
            self.assertEqual(parsed(done.stdout.decode())[0]["outcome"], "not_sent")

    def test_odd_bytes_stay_valid(self):
        (self.folder / "reply").write_bytes(b'quote " backslash \\ tab \t bell \x07 high \xe9\xff\n')
        self.start(f"dump=file:{self.folder / 'reply'}")
        odd = ['quote " backslash \\ tab \t bell \x07 high \xe9\xff']
        self.assertEqual(self.document("dump")["unrecognised"], odd)
        self.assertEqual(self.document("--json=lines", "dump")["lines"], odd)

    def test_every_failure_gives_a_document(self):
        self.remove_queues()
        self.assertEqual(self.document("dump")["outcome"], "no_process")
        for words in (["wlak"], ["--bogus", "dump"], ["-t", "soon"], ["-r", "2", "-f", "-"], ["-f", "x", "dump"]):
            document = self.document(*words)
            self.assertEqual((document["outcome"], document["exit_status"]), ("not_sent", 2))
            self.assertNotEqual(document["message"], "")
        self.start("walk=silent", "hwdis=die:3", "rootsn=restart:2")
        self.assertEqual(self.document("rootsn")["outcome"], "restarted")
        died = self.document("hwdis")
        self.assertEqual((died["outcome"], len(died["unrecognised"])), ("died", 3))
        self.start("walk=silent")
        silent = self.document("-t", "0.3", "walk")
        self.assertEqual((silent["outcome"], silent["verdict"]), ("no_answer", "incomplete"))

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
                self.assertEqual((document["exit_status"], document.get("counters", {})), (status, counters))
                self.assertEqual(document["verdict"], {0: "ok", 1: "findings", 2: "incomplete"}[status])
                self.assertTrue("".join(document.get("lines", [])[:1]).startswith(first or ""))

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
                self.assertEqual([one["outcome"] for one in parsed(text)], ["done", "interrupted"])

    def test_memory_does_not_grow_with_the_reply(self):
        self.start("walk=stream:300000")
        command = [BIN / "plu_debug", "--json", "walk"]
        done = subprocess.run(["bash", "-c", 'ulimit -v 200000; exec "$@"', "-", *command], check=False,
                              capture_output=True, timeout=PATIENCE)
        if b"ReserveShadowMemoryRange" in done.stderr or b"ThreadSanitizer" in done.stderr:
            self.skipTest("a sanitizer wants more address space than that from the start")
        text = done.stdout
        self.assertEqual(len(parsed(text)["unrecognised"]), 300000)

    def test_several_commands_make_an_array(self):
        self.start()
        status, output, _ = self.client("-j", "-r", "3", "-i", "0", "dump")
        self.assertEqual((status, [one["command"] for one in parsed(output)]), (0, ["dump"] * 3))
        script = self.folder / "script"
        script.write_text("dump\nhealth\nnonsense\nrootsn\n")
        status, output, _ = self.client("-j", "-k", "-f", script)
        commands = [one["command"] for one in parsed(output)]
        self.assertEqual((status, commands), (2, ["dump", "health", "nonsense", "rootsn"]))


class Scripts(ClientTest):
    def test_scripts_run_a_command_a_line_and_name_what_fails(self):
        script = self.folder / "script"
        answers = self.answering(dump=["plu shm ctx not ready"])
        for text, options, ends, shown, told, taken in (
                ("# a comment\n\nv4 10.0.0.0/8 # another\nrootsn", [], 0, "v4 0xa000000 0x8 0x0", "", 2),
                ("\ufeffrootsn\n", [], 0, "rootsn 0x0 0x0 0x0", "", 1),
                ("rootsn\nv4 10.0.0.0/40\ndump\n", [], 2, "", "script:2: '10.0.0.0/40': length 40", 1),
                ("v4 10.0.0.0/40\nrootsn\n", ["-k"], 2, "rootsn 0x0", "script:1: '10.0.0.0/40': length 40", 1),
                ("rootsn\ndump\nrootsn\n", [], 1, "rootsn 0x0", "script:2: 'dump' ended with status 1", 2),
                ("dump\nrootsn\n", ["-k"], 1, "rootsn 0x0", "script:1: 'dump' ended with status 1", 2),
                ("rootsn\nexit\nrootsn\n", [], 0, "rootsn", "", 1), ("dump\nqui\nrootsn\n", ["-k"], 1, "", "", 1),
                ("walk | include 9 of | exclude '  [1-8]' | count\n", [], 0, "12\n", "", 1),
                ("walk | include [\n", [], 2, "", "script:1: '[' is no regular expression", 0)):
            with self.subTest(text):
                script.write_text(text)
                self.start("walk=stream:1000", *answers)
                status, output, errors = self.client(*options, "-f", script)
                self.assertEqual((status, len(self.requests())), (ends, taken))
                self.assertIn(shown, output)
                self.assertIn(told, errors)
                self.assertTrue(told or ends or errors == "", errors)
        done = subprocess.run([BIN / "plu_debug"], input="rootsn\nnope\n", capture_output=True, text=True,
                              timeout=PATIENCE, check=False)
        self.assertEqual((done.returncode, done.stdout), (2, "\nrootsn 0x0 0x0 0x0\n\n"))
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
        changing = {"regw32", "memw8", "memw32", "addv4", "delv4", "addv6", "delv6", "setbmsf"}
        listed = self.client("help")[1].split("The process's commands")[1].split("\n\n")[0]
        names = {line.split()[0] for line in listed.splitlines()[1:]}
        self.assertEqual((len(names), changing - names), (36, set()))
        for name in [*names, "MEMW32", "newer"]:
            status = self.client("--read-only", "--raw", name, "1")[0]
            self.assertEqual(status == 2, name not in names - changing, name)
        taken = len(self.requests())
        self.assertEqual(self.client("--read-only", "addv4", "10.0.0.0/8")[0], 2)
        self.assertEqual(self.client("setbmsf", 1, 2, env={"PLU_DEBUG_READ_ONLY": "1"})[0], 2)
        self.assertEqual((len(self.requests()), taken), (len(names - changing),) * 2)


class Health(ClientTest):
    def test_one_line_a_check_names_the_counters_that_speak_against_the_card(self):
        self.start()
        status, output, _ = self.client("health")
        self.assertEqual((status, [line.split()[:2] for line in output.splitlines()]),
                         (0, [[name, "ok"] for name in CHECKS + ["health"]]))
        self.start(*self.answering(ckbmsf=["  bmsf MISMATCH:              2"]))
        status, output, _ = self.client("health")
        self.assertEqual(status, 1)
        self.assertRegex(output, r"ckbmsf +findings .* bmsf_mismatch=2\n(.*\n)*health +findings\n$")

    def test_unshown_misses_are_held_against_the_default_routes(self):
        lookup = [f"lookup missed: tn 0x1 lf 0x2, lf 0/1 (0x00000000/0)" for _ in range(20)]
        lookup += ["  total        prefix:     100", "  prefix        match:      78",
                   "  prefix     no match:      22"]
        defaults = [f"A U4 0.0.0.0/0 {vrf} #" for vrf in range(22)]
        self.start(*self.answering(cklkup=lookup, ckall=lookup, walk=defaults + ["A U4 10.0.0.0/8 0 #"]))
        self.assertEqual(self.client("health")[0], 0)
        self.assertEqual(self.client("ckall")[0], 0)
        status, _, errors = self.client("cklkup")
        self.assertEqual(status, 0)
        self.assertIn("2 misses are not shown; all are default routes", errors)
        self.assertEqual(self.client("cklkup", "from", 1)[0], 1)
        shown = [lookup[0] for _ in range(22)] + ["prefix     no match:      22"]
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
        saved = self.folder / "saved"
        told = ["address 0x7ea0 is not readable", "2 further addresses are not readable"]
        self.start(*self.answering(walk=[" plu_shm_ctx 0x1", *self.LINES]))
        for name in ("-", "/dev/stdout"):
            self.assertEqual(self.client("record", name)[1].splitlines(), self.LINES)
        for lines, ends, errors in (([" plu_shm_ctx 0x1", *self.LINES], 0, ["2 prefixes recorded"]),
                                    ([self.LINES[0], told[0], self.LINES[1], told[1]], 1, told)):
            self.start(*self.answering(walk=lines))
            done = self.client("record", saved)
            self.assertEqual((done[:2], saved.read_text().splitlines()), ((ends, ""), self.LINES))
            self.assertEqual(self.requests(), ["walk 0xb 0x0 0x0"])
            self.assertTrue(all(line in done[2] for line in errors), done[2])
        status, output, errors = self.client("walk", "record")
        self.assertEqual((status, output.splitlines()), (1, self.LINES))
        self.assertTrue(all(line in errors for line in told))

    def test_failed_record_leaves_the_file_as_it_was(self):
        saved = self.folder / "saved"
        saved.write_text("before\n")
        self.start("walk=die:100")
        self.assertEqual(self.client("record", saved)[0], 3)
        self.assertEqual(saved.read_text(), "before\n")
        self.assertEqual([path.name for path in self.folder.glob("saved*")], ["saved"])
        self.assertEqual(self.client("record", self.folder / "no" / "such")[0], 2)

    def test_record_replaces_regular_files_alone(self):
        self.start(*self.answering(walk=self.LINES))
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

    def test_diff_tells_added_and_removed_and_what_is_no_prefix(self):
        for after, ends, shown, told in (
                (["2001:db8::/32 5", "10.0.0.0/9", "10.0.0.0/9"], 1, "- U4 10.0.0.0/8 0\n+ U4 10.0.0.0/9 0\n"
                 "vrf 0 IPv4: 1 added, 1 removed\nall: 1 added, 1 removed\n", ""),
                (self.LINES[::-1], 0, "all: 0 added, 0 removed\n", ""),
                (self.LINES + ["10.0.0.0/33"], 1, "all: 0 added, 0 removed\n", "b:3: not a prefix, skipped: '10.0.0.0/33'"),
                (["x" * 2000000], 2, "", "b': a line is longer than 1 MiB")):
            for name, lines in (("a", self.LINES), ("b", after)):
                (self.folder / name).write_text("\n".join(lines) + "\n")
            status, output, errors = self.client("diff", self.folder / "a", self.folder / "b")
            self.assertEqual((status, output), (ends, shown))
            self.assertIn(told, errors)


if __name__ == "__main__":
    unittest.main()
