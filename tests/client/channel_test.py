"""Whatever happens to the process, to other clients and to the client itself."""
import json
import os
import re
import signal
import subprocess
import time
import unittest

from fixture import PATIENCE, ClientTest, lock_file, summary


class Channel(ClientTest):
    def test_reply_is_printed_as_it_came(self):
        self.start("walk=stream:2000")
        status, output, errors = self.client("walk")
        self.assertEqual((status, errors), (0, ""))
        lines = output.split("\n")
        self.assertEqual((lines[0], lines[-2], lines[-1], len(lines)), ("", "", "", 2003))
        self.assertEqual([int(line.split()[1]) for line in lines[1:-2]], list(range(2000)))

    def test_failures_say_what_happened(self):
        self.assertRegex(self.client("dump")[2], "no process: plu_bkg is not running")
        self.start()
        self.stop()
        self.assertRegex(self.client("dump")[2], "left over")
        for behaviour, lines, message in (
                ("silent", 1, r"\(pid {pid}\) took the request but sent nothing for 0.4 s, and uses no processor time"),
                ("die:0", 1, "ended before its reply did"),
                ("die:100", 101, "ended before its reply did"), ("restart:3", 4, "the process restarted before")):
            with self.subTest(behaviour):
                self.start("walk=" + behaviour)
                status, output, errors = self.client("-t", "0.4", "walk")
                self.assertEqual((status, output.count("\n")), (3, lines))
                self.assertRegex(errors, message.replace("{pid}", str(self.process.pid)))
        self.assert_answers()

    def test_the_limit_is_for_silence_without_work(self):
        self.start("walk=slow:250:6", "cklkup=busy:2000")
        for name in ("walk", "cklkup"):
            self.assertEqual(self.client("-t", "0.6", name)[0], 1 if name == "cklkup" else 0)    # it has no summary

    def test_nothing_is_concluded_from_what_cannot_be_seen(self):
        def nobody():
            os.setuid(65534)
        try:
            subprocess.run(["true"], preexec_fn=nobody, check=True)
        except subprocess.SubprocessError:
            self.skipTest("there is no other user here")
        self.start("walk=late:1500", "hwdis=silent", name="plu_bkg")
        decoy = subprocess.Popen(["unshare", "--ipc", "bash", "-c", "exec -a plu_bkg sleep 600"])
        self.addCleanup(decoy.kill)
        running = self.client_running("walk", preexec_fn=nobody)
        self.wait_for_request("walk")
        time.sleep(0.6)    # it has looked for the process
        decoy.kill()
        decoy.wait()
        self.assertEqual(running.wait(PATIENCE), 0)
        _, _, errors = self.client("-t", "0.4", "hwdis", preexec_fn=nobody)
        self.assertIn("the process took the request but sent nothing for 0.4 s; whether it works cannot be seen", errors)

    def test_busy_process_does_not_run_the_withdrawn_request(self):
        self.start("hwdis=late:1500")
        for name in ("hwdis", "rootsn", "banksum"):    # all but the first still wait
            self.send_and_leave(name)
        self.wait_for_request("hwdis")
        status, _, errors = self.client("-t", "0.4", "memw8", "1", "2")
        self.assertEqual(status, 3)
        self.assertIn("withdrawn", errors)
        self.assert_answers()
        self.assertEqual([line.split()[0] for line in self.requests()], ["hwdis", "rootsn", "banksum", "banksum"])
        self.assertNotIn("memw8 0x1 0x2 0x0", self.requests())

    def test_what_others_left_is_not_mixed_in(self):
        self.start("hwdis=late:600", "walk=stream:20000")
        for name in ("hwdis", "walk"):
            self.send_and_leave(name)
            self.wait_for_request(name)
            self.assert_answers()
        self.start("hwdis=late:600", "walk=stream:20000")
        for name in ("hwdis", "walk"):
            killed = self.client_running(name)
            self.wait_for_request(name)
            killed.kill()
            killed.wait()
            self.assert_answers()

    def test_clients_take_turns_and_name_the_one_they_wait_for(self):
        self.start("walk=slow:10:300", "hwdis=stream:300")
        first = self.client_running("walk")
        self.wait_for_request("walk")
        status, output, errors = self.client("hwdis")
        self.assertEqual((status, output.count("\n")), (0, 302))
        self.assertIn(f"waiting for another client, pid {first.pid}", errors)
        self.assertEqual(first.communicate(timeout=PATIENCE)[0].count(b"\n"), 302)
        second = self.client_running("walk")
        second.stdout.readline()
        status, _, errors = self.client("-t", "0.2", "dump")
        self.assertEqual((status, errors), (3, f"plu_debug: busy: another client, pid {second.pid}, uses the debug channel\n"))

    def test_many_requests_make_way_for_one(self):
        self.start("hwdis=late:100")
        (self.folder / "script").write_text("hwdis\n" * 40)
        running = self.client_running("-f", self.folder / "script")
        self.wait_for_request("hwdis")
        for _ in range(3):
            before = len(self.requests())
            self.assertEqual(self.client("rootsn")[0], 0)
            after = self.requests()[before:]
            self.assertLess(after.index("rootsn 0x0 0x0 0x0"), 8)
        self.assertIsNone(running.poll())

    def test_interrupts_end_the_reply_and_not_the_channel(self):
        self.start("walk=slow:1:800", "hwdis=late:500", "dump=late:4000")
        for name in ("walk", "hwdis"):
            running = self.client_running(name)
            self.wait_for_request(name)
            running.send_signal(signal.SIGINT)
            self.assertEqual(running.wait(PATIENCE), 130)
            self.assert_answers()
        started = time.monotonic()
        running = self.client_running("dump")
        self.wait_for_request("dump")
        while running.poll() is None:    # the second one does not wait for the reply
            running.send_signal(signal.SIGINT)
            time.sleep(0.05)
        self.assertEqual(running.returncode, 130)
        self.assertLess(time.monotonic() - started, 3.5)
        self.assert_answers()

    def test_a_reply_that_nobody_reads_further_is_told(self):
        self.start("walk=slow:1:1800", "hwdis=stream:1000")
        for name, told in (("walk", True), ("hwdis", False)):
            running = self.client_running(name)
            running.stdout.readline()
            running.stdout.close()
            errors = running.stderr.read().decode()
            self.assertEqual(running.wait(PATIENCE), 0)
            self.assertEqual(bool(re.search(r"nobody reads the rest of the reply.*; \d+ lines dropped so far\n"
                                            r".*\d+ lines were dropped\n$", errors)), told, errors)
            self.assert_answers()

    def test_limit_shows_the_first_lines_and_keeps_the_verdict(self):
        self.start("walk=stream:2000", *self.answering(ckbmsf=["  bmsf MISMATCH:              1"]))
        status, output, errors = self.client("--limit", 3, "walk")
        self.assertEqual((status, output.count("\n"), errors), (0, 3, "plu_debug: the first 3 of 2002 lines\n"))
        self.assertEqual(self.client("-n1", "ckbmsf")[:2], (1, "\n"))
        self.assertEqual(self.client("-n", 9999, "walk")[2], "")
        self.assertEqual(self.client("-n", 0, "walk")[0], 2)
        self.assertIn("does not go with --json", self.client("-j", "-n", 2, "walk")[2])

    def test_lock_files_do_not_pile_up_and_a_removed_one_is_no_lock(self):
        self.start("walk=slow:20:100")
        running = self.client_running("walk")
        self.wait_for_request("walk")
        waiting = self.client_running("rootsn")
        self.assertIn("waiting for another client", waiting.stderr.readline().decode())
        lock_file().unlink()
        self.assertEqual(len(running.communicate(timeout=PATIENCE)[0].splitlines()), 102)
        self.assertEqual((waiting.wait(PATIENCE), running.returncode), (0, 0))
        self.assertFalse(lock_file().exists())
        killed = self.client_running("walk")
        killed.stdout.readline()
        killed.kill()
        killed.wait()
        self.assertTrue(lock_file().exists())    # says that a reply may have been left behind
        self.assert_answers()
        self.assertFalse(lock_file().exists())


class ExitStatus(ClientTest):
    def reply(self, name, *lines):
        """Status of a command whose reply is these lines."""
        self.start(*self.answering(**{name: list(lines)}))
        words = {"addv4": ["10.0.0.0/8"], "cklkupv4": ["10.0.0.1"], "regr32": ["1"], "tn": ["1"], "v4": ["1", "2"]}
        status = self.client(name, *words.get(name, []))[0]
        self.stop()
        return status

    def test_findings_and_refusals_are_1_and_healthy_replies_0(self):
        for name, *lines in (
                ("ckbmsf", "  bmsf MISMATCH:              1"),
                ("ckall", "  INVALID end par bl:       3"),
                ("ckparbl", "tree of more than 40265318 nodes at tn 0x7ea0, walk stopped"),
                ("ckbank", "ERR: bank 3 node used 1 doens't match node_bitmap ones 2"),
                ("cklkup", "lookup missed: tn 0x1 lf 0x2, lf 0/1 (0x0a000000/8)"),
                ("v4", "ERR PHU:[S:1.2][Search Node with Leafs - incorrect][bmsf:1][cal bmsf:2]"),
                ("v4", "pfx 0x3 bitused 12 level 0 tn 0x1 sn_ebmap 0x0000000000000001 next tn (nil)"),
                ("v4", "node type not handled:7"),
                ("cklkupv4", "phu_plu_lookup() lookup failed, mask len 0 lf 0x7ea000000000"),
                ("cklkuphw", "prefix     no match:       1"),
                ("addv4", "plu_add_entry with pfx 0x0A000000 10.0.0.0/8, vrf 0, rc 0x5"),
                ("regr32", "0x00000000 (offset:0x1, npu:0, rc:0x10)"),
                ("dump", "plu shm ctx not ready"),
                ("walk", "NULL tbm_handle"),
                ("cntpfx", "h_eq_int_n_ext 5 h_neq_int_n_ext 1 ext 5"),
                ("hwidxwalk", "non zero en node: 1"),
                ("tn", "invalid tn addr: 0x1")):
            with self.subTest(lines):
                self.assertEqual(self.reply(name, *lines), 1)
        for name, *lines in (
                ("ckbmsf", "  bmsf match  zero:           7", "  bmsf MISMATCH:              0"),
                ("cklkup", "lookup missed: tn 0x1 lf 0x2, lf 0/1 (0x00000000/0)", "  total        prefix:      10",
                 "  prefix        match:       6", "  prefix longer match:       3", "  prefix     no match:       1",
                 "  lf lookup MISMATCH:        0"),
                ("v4", "  rc 0x4d7e8800 prefix len 0 (0)  prefix NULL"),
                ("cklkupv4", "phu_plu_lookup() lookup failed, mask len 0 lf (nil)"),
                ("cklkupv4", "phu_search() results: leaf 0x1 mask len 18  prefix 0.0.0.0/0 (exp:32)",
                 "phu_plu_lookup() lookup failed, mask len 0 lf 0x1"),
                ("addv4", "plu_add_entry with pfx 0x0A000000 10.0.0.0/8, vrf 0, rc 0x0")):
            with self.subTest(lines):
                self.assertEqual(self.reply(name, *lines), 0)

    def test_bad_index_found_by_a_check_is_no_refusal(self):
        for name, line, verdict in (
                ("ckbank", "invalid bank id 50 or node id 3 found for hw index 0x1 tn 0x2", "findings"),
                ("hwidxr", "invalid bank id 50", "refused"),
                ("ckbmsf", "address 0x7ea0 is not readable", "findings"),
                ("hwidxr", "address 0x7ea0 is not readable", "refused"),
                ("cklkup", "  total        prefix:      10\n  prefix        match:       6", "findings")):
            self.start(*self.answering(**{name: [line]}))
            document = json.loads(self.client("--json", name, *(["1"] if name == "hwidxr" else []))[1])
            self.assertEqual(document["verdict"], verdict)
            self.assertEqual(document.get("message") == "4 prefixes are answered by a shorter one", name == "cklkup")

    def test_check_without_its_summary_is_no_clean_check(self):
        for name, lines in (("ckbmsf", summary("ckbmsf")[:-1]), ("cklkuphw", [])):
            (self.folder / "reply").write_text("\n".join(lines) + "\n")
            self.start(f"{name}=file:{self.folder / 'reply'}")
            status, _, errors = self.client(name)
            self.assertEqual((status, errors), (1, "plu_debug: the reply lacks the check's summary\n"))
            status, output, _ = self.client("health")
            self.assertEqual(status, 1)
            self.assertRegex(output, name + " +findings .* the reply lacks the check's summary")

    def test_long_unknown_name_is_refused_though_its_line_is_cut(self):
        self.start()
        self.assertEqual(self.client("--raw", "plu_debug-sync" + "x" * 210)[0], 1)


if __name__ == "__main__":
    unittest.main()
