"""Whatever happens to the process, to other clients and to the client itself."""
import json
import pathlib
import signal
import time
import unittest

from fixture import PATIENCE, ClientTest, summary


class Channel(ClientTest):
    def test_reply_is_printed_as_it_came(self):
        self.start("walk=stream:2000")
        status, output, errors = self.client("walk")
        self.assertEqual((status, errors), (0, ""))
        lines = output.split("\n")
        self.assertEqual((lines[0], lines[-2], lines[-1], len(lines)), ("", "", "", 2003))
        self.assertEqual([int(line.split()[1]) for line in lines[1:-2]], list(range(2000)))

    def test_without_queues_there_is_no_process(self):
        self.remove_queues()
        status, _, errors = self.client("dump")
        self.assertEqual(status, 3)
        self.assertIn("no process", errors)

    def test_queues_of_a_dead_process_are_told_apart(self):
        self.start()
        self.stop()
        status, _, errors = self.client("dump")
        self.assertEqual(status, 3)
        self.assertIn("left over", errors)

    def test_silence_ends_with_the_time_limit(self):
        self.start("walk=silent")
        status, _, errors = self.client("-t", "0.4", "walk")
        self.assertEqual(status, 3)
        self.assertIn(f"(pid {self.process.pid}) took the request but sent nothing for 0.4 s", errors)

    def test_limit_counts_per_gap(self):
        self.start("walk=slow:300:8")
        self.assertEqual(self.client("-t", "2", "walk")[0], 0)

    def test_busy_process_does_not_run_the_withdrawn_request(self):
        self.start("hwdis=late:1500")
        self.send_and_leave("hwdis")
        self.wait_for_request("hwdis")
        status, _, errors = self.client("-t", "0.4", "memw8", "1", "2")
        self.assertEqual(status, 3)
        self.assertIn("withdrawn", errors)
        self.assert_answers()
        self.assertNotIn("memw8 0x1 0x2 0x0", self.requests())

    def test_reply_to_somebody_else_is_not_mixed_in(self):
        self.start("hwdis=late:600", "walk=stream:3000")
        for name in ("hwdis", "walk"):
            self.send_and_leave(name)
            self.wait_for_request(name)
            self.assert_answers()

    def test_two_clients_take_turns(self):
        self.start("walk=slow:2:300", "hwdis=stream:300")
        first = self.client_running("walk")
        self.wait_for_request("walk")
        status, output, _ = self.client("hwdis")
        self.assertEqual((status, output.count("\n")), (0, 302))
        self.assertEqual(first.communicate(timeout=PATIENCE)[0].count(b"\n"), 302)

    def test_holder_is_named_after_a_wait(self):
        self.start("walk=late:3000")
        first = self.client_running("walk")
        self.wait_for_request("walk")
        status, _, errors = self.client("-t", "1.5", "dump")
        self.assertEqual(status, 3)
        self.assertIn(f"waiting for another client, pid {first.pid}", errors)
        self.assertIn("busy", errors)
        self.assertEqual(self.client("dump")[0], 0)

    def test_killed_client_leaves_nothing_behind(self):
        self.start("walk=stream:20000", "hwdis=late:700")
        for name in ("walk", "hwdis"):
            first = self.client_running(name)
            self.wait_for_request(name)
            first.kill()
            first.wait()
            self.assert_answers()

    def test_interrupt_ends_the_reply_and_not_the_channel(self):
        self.start("walk=slow:1:3000", "hwdis=late:1000")
        for name in ("walk", "hwdis"):
            running = self.client_running(name)
            self.wait_for_request(name)
            time.sleep(0.1)
            running.send_signal(signal.SIGINT)
            self.assertEqual(running.wait(PATIENCE), 130)
            self.assert_answers()

    def test_second_interrupt_leaves_at_once(self):
        self.start("walk=late:4000")
        running = self.client_running("walk")
        self.wait_for_request("walk")
        started = time.monotonic()
        while running.poll() is None:
            running.send_signal(signal.SIGINT)
            time.sleep(0.05)
        self.assertEqual(running.returncode, 130)
        self.assertLess(time.monotonic() - started, 3)
        self.assert_answers()

    def test_closed_output_is_no_fault_of_the_channel(self):
        self.start("walk=stream:20000")
        running = self.client_running("walk")
        running.stdout.readline()
        running.stdout.close()
        self.assertEqual(running.wait(PATIENCE), 0)
        self.assert_answers()

    def test_death_in_mid_reply_is_noticed(self):
        for lines in (0, 100):
            self.start(f"walk=die:{lines}")
            started = time.monotonic()
            status, output, errors = self.client("walk")
            self.assertEqual((status, output.count("\n")), (3, lines + 1))
            self.assertIn("ended before its reply did", errors)
            self.assertLess(time.monotonic() - started, 10)

    def test_restart_in_mid_reply_is_noticed(self):
        self.start("walk=restart:3")
        status, _, errors = self.client("walk")
        self.assertEqual(status, 3)
        self.assertIn("restarted", errors)
        self.assert_answers()


class ExitStatus(ClientTest):
    def reply(self, name, *lines):
        """Status of a command whose reply is these lines."""
        self.start(*self.answering(**{name: list(lines)}))
        words = {"addv4": ["10.0.0.0/8"], "cklkupv4": ["10.0.0.1"], "regr32": ["1"], "tn": ["1"], "v4": ["1", "2"]}
        status = self.client(name, *words.get(name, []))[0]
        self.stop()
        return status

    def test_findings_and_refusals_are_1(self):
        for name, line in (
                ("ckbmsf", "  bmsf MISMATCH:              1"),
                ("ckall", "  INVALID end par bl:       3"),
                ("ckparbl", "tree of more than 40265318 nodes at tn 0x7ea0, walk stopped"),
                ("ckbank", "ERR: bank 3 node used 1 doens't match node_bitmap ones 2"),
                ("cklkup", "lookup missed: tn 0x1 lf 0x2, lf 0/1 (0x0a000000/8)"),
                ("v4", "ERR PHU:[S:1.2][Search Node with Leafs - incorrect][bmsf:1][cal bmsf:2]"),
                ("v4", "pfx 0x3 bitused 12 level 0 tn 0x1 sn_ebmap 0x0000000000000001 next tn (nil)"),
                ("v4", "node type not handled:7"),
                ("cklkupv4", "phu_plu_lookup() lookup failed, mask len 0 lf 0x7ea000000000"),
                ("cklkuphw", "prefix     no match: 1"),
                ("addv4", "plu_add_entry with pfx 0x0A000000 10.0.0.0/8, vrf 0, rc 0x5"),
                ("regr32", "0x00000000 (offset:0x1, npu:0, rc:0x10)"),
                ("dump", "plu shm ctx not ready"),
                ("walk", "NULL tbm_handle"),
                ("cntpfx", "h_eq_int_n_ext 5 h_neq_int_n_ext 1 ext 5"),
                ("hwidxwalk", "non zero en node: 1"),
                ("tn", "invalid tn addr: 0x1")):
            with self.subTest(line):
                self.assertEqual(self.reply(name, line), 1)

    def test_bad_index_found_by_a_check_is_no_refusal(self):
        for name, line, verdict in (
                ("ckbank", "invalid bank id 50 or node id 3 found for hw index 0x1 tn 0x2", "findings"),
                ("hwidxr", "invalid bank id 50", "refused")):
            self.start(*self.answering(**{name: [line]}))
            output = self.client("--json", name, *(["1"] if name == "hwidxr" else []))[1]
            self.assertEqual(json.loads(output)["verdict"], verdict)

    def test_healthy_replies_are_0(self):
        for name, lines in (
                ("ckbmsf", ["  bmsf match  zero:           7", "  bmsf MISMATCH:              0"]),
                ("cklkup", ["lookup missed: tn 0x1 lf 0x2, lf 0/1 (0x00000000/0)",
                            "  total        prefix:      10", "  prefix        match:       6",
                            "  prefix longer match:       3", "  prefix     no match:       1",
                            "  lf lookup MISMATCH:        0"]),
                ("v4", ["  rc 0x4d7e8800 prefix len 0 (0)  prefix NULL"]),
                ("cklkupv4", ["phu_plu_lookup() lookup failed, mask len 0 lf (nil)"]),
                ("cklkupv4", ["phu_search() results: leaf 0x1 mask len 18  prefix 0.0.0.0/0 (exp:32)",
                              "phu_plu_lookup() lookup failed, mask len 0 lf 0x1"]),
                ("addv4", ["plu_add_entry with pfx 0x0A000000 10.0.0.0/8, vrf 0, rc 0x0"])):
            with self.subTest(name):
                self.assertEqual(self.reply(name, *lines), 0, lines)

    def test_check_without_its_summary_is_no_clean_check(self):
        for name, lines in (("ckbmsf", summary("ckbmsf")[:-1]), ("cklkuphw", [])):
            (self.folder / "reply").write_text("\n".join(lines) + "\n")
            self.start(f"{name}=file:{self.folder / 'reply'}")
            status, _, errors = self.client(name)
            self.assertEqual((status, errors), (1, "plu_debug: the reply lacks the check's summary\n"))
            status, output, _ = self.client("health")
            self.assertEqual(status, 1)
            self.assertRegex(output, name + " +findings .* the reply lacks the check's summary")

    def test_prefix_answered_by_a_shorter_one_is_a_finding(self):
        self.start(*self.answering(cklkup=["  total        prefix:      10",
                                           "  prefix        match:       6"]))
        document = json.loads(self.client("-j", "cklkup")[1])
        self.assertEqual((document["verdict"], document["message"]),
                         ("findings", "4 prefixes are answered by a shorter one"))

    def test_long_unknown_name_is_refused_though_its_line_is_cut(self):
        self.start()
        self.assertEqual(self.client("--raw", "plu_debug-sync" + "x" * 210)[0], 1)

    def test_lock_file_that_was_removed_is_no_lock(self):
        self.start("walk=slow:20:100")
        running = self.client_running("walk")
        self.wait_for_request("walk")
        lock = next(pathlib.Path("/dev/shm").glob("plu_debug*.lock"))
        waiting = self.client_running("rootsn")
        time.sleep(0.3)
        lock.unlink()
        self.assertEqual(len(running.communicate(timeout=PATIENCE)[0].splitlines()), 102)
        self.assertEqual((waiting.wait(PATIENCE), running.returncode), (0, 0))


if __name__ == "__main__":
    unittest.main()
