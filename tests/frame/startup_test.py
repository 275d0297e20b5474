"""Start-up and event loop of the real executable over fake calls, one fault at a time."""
import os
import pathlib
import re
import signal
import subprocess
import time
import unittest

from fixture import BIN, ClientTest

FAKES, FAKE_LIBRARY = os.environ["FAKES"], os.environ["FAKE_LIBRARY"]
THREAD_SANITIZER = "THREAD_SANITIZER" in os.environ    # has a thread of its own, which never ends
PATIENCE = 8 if THREAD_SANITIZER else 20
TRACE = re.compile(r"^((?:buginf|syslog) ?[^|]*\|)\n", re.MULTILINE)
# Without queues the debug thread ends, so the process ends once the event loop has failed.
NO_QUEUES = "/plu_msg_queue=-1"

CREATE = "event_manager_create 0 /dev/qmt_plu_bkg 5 plu_bkg_lwm_chan"
ATTACH = "event_async_attach_proctimer EVM 128 0 null 10"
SET_TIMER = "timer_settime 0x77 0 interval 5.0 first 5.0 null"
START_CALLS = [CREATE, "qerr_register_dll 6909 qerrno/libplu_error.dll", "getprio 0", ATTACH, SET_TIMER,
               "sysmgr_proc_ready", "plu_init 7 EVM 0", "plu_edm_init EVM", "plu_config_profile_init EVM",
               "plu_startup_done_notify_register EVM", "set_thread_name Main self"]
START_TRACES = ["syslog 2 PLU: Start PLU BKG timer: 5\n|", "syslog 2 PLU init with profile 1, 5242880 prefix entries\n|",
                "syslog 2 PLU: PLU thread loop start\n|", "syslog 2 plu_bkg_thread_loop: Event block failed\n|"]


class StartUp(ClientTest):
    def run_process(self, fail="", **environment):
        self.stop()
        self.remove_queues()
        self.log, self.errors = self.folder / "calls", self.folder / "stderr"
        self.log.write_text("")
        with open(self.errors, "w") as errors:
            self.process = subprocess.Popen([BIN / "plu_bkg"], stdout=subprocess.PIPE, stderr=errors, env={
                **os.environ, "LD_PRELOAD": FAKES, "FAKE_LOG": str(self.log), "FAKE_FAIL": fail,
                "ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0", **environment})
        self.addCleanup(self.stop)

    def fail_at(self, plan, **environment):
        self.run_process(f"{plan} {NO_QUEUES}", **{"FAKE_SWITCH": "perpfx_dbg_key_match", **environment})

    def outcome(self):
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            return "still running"

    def assert_all_threads_end(self):
        self.assertIn(self.outcome(), [0, "still running"] if THREAD_SANITIZER else [0])

    def calls(self):
        return TRACE.sub("", self.log.read_text()).splitlines()

    def assert_traces(self, before, message, after):
        """What was traced: the start's traces with a message behind the first `before`."""
        self.assertEqual(TRACE.findall(self.log.read_text()),
                         START_TRACES[:before] + ([f"syslog 2 {message}|"] if message else []) + after)

    def wait_for(self, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.005)

    def test_platform_is_called_in_order_and_timer_events_are_served_until_the_loop_fails(self):
        self.fail_at("", FAKE_EVENTS="2")
        self.assert_all_threads_end()
        event = ["event_block ec", "kq_event_dispatch ec 0", "plu_fill_hole_background 1", "plu_hw_increase_flush_timer",
                 "handler result 42"]
        self.assertEqual(self.calls(), START_CALLS + 2 * event + ["event_block ec"])
        self.assert_traces(4, "", [])
        self.assertEqual(self.errors.read_text(), "")

    def test_stopping_fault_ends_the_process_with_status_0_after_its_message(self):
        for plan, last_call, message, before in (
                ("event_manager_create=0", CREATE, "Plu BKG Process plu_bkg_evm_init could not init: null EVM", 0),
                ("event_async_attach_proctimer=-1:11", ATTACH, "plu_bkg_timer_init: Cannot create Timer errono b", 0),
                ("timer_settime=-1:22", SET_TIMER,
                 "plu_bkg_timer_start : Cannot set timer_id = 119 itime = 5 errono 16 Invalid argument", 1),
                ("plu_init=1", "plu_init 7 EVM 0", "", 2),
                ("plu_edm_init=-1", "plu_edm_init EVM", "", 2),
                ("plu_config_profile_init=77", "plu_config_profile_init EVM", "PLU hw-module config profile failed 77", 2),
                ("plu_startup_done_notify_register=-3", "plu_startup_done_notify_register EVM",
                 "PLU register to sysdb startup done failed -3", 2)):
            with self.subTest(plan):
                self.fail_at(plan)
                self.assertEqual((self.outcome(), self.calls()[-1]), (0, last_call))
                self.assert_traces(before, message, [])

    def test_tolerated_fault_leaves_start_up_running(self):
        for plan, message, before in (
                ("qerr_register_dll=9", "Failed to init PLU qerrno module:text of 9\n", 0),
                ("event_async_attach_proctimer=-1:0", "plu_bkg_timer_init: Cannot create Timer errono 0", 0),
                ("timer_settime=-1:0", "plu_bkg_timer_start : Cannot set timer_id = 119 itime = 5 errono 0 Success", 1),
                ("timer_settime=1:22", "", 0), ("sysmgr_proc_ready=-1", "", 0), ("pthread_create=11", "", 0)):
            with self.subTest(plan):
                self.fail_at(plan)
                self.assert_all_threads_end()
                self.assertEqual(self.calls(), START_CALLS + ["event_block ec"])
                self.assert_traces(before, message, START_TRACES[before:])

    def test_signal_calls_that_fail_abort_the_process(self):
        for plan, assertion in (("sigemptyset=-1", '"rc == 0"'), ("sigaddset+6=-1", '"rc == 0"'),
                                ("sigaddset+10=-1", '"rc ==0"'), ("pthread_sigmask=22", '"rc == 0"')):
            with self.subTest(plan):
                self.fail_at(plan)
                self.assertEqual(self.outcome(), -signal.SIGABRT)
                self.assertIn(assertion, self.errors.read_text())

    def test_traces_are_silent_without_a_flag(self):
        self.fail_at("qerr_register_dll=9", FAKE_SWITCH="")
        self.assert_all_threads_end()
        self.assert_traces(0, "", [])
        self.assertEqual(self.errors.read_text(), "")

    def test_reply_queue_that_cannot_be_opened_ends_the_debug_thread_only(self):
        self.run_process("/plu_reply_queue=-1")
        self.assert_all_threads_end()
        self.assertEqual(self.calls()[-1], "event_block ec")

    def test_commands_are_answered_after_the_event_loop_failed(self):
        self.run_process(FAKE_FILL_CONTEXTS="1")
        tasks = pathlib.Path(f"/proc/{self.process.pid}/task")
        self.wait_for(lambda: ") Z " in (tasks / str(self.process.pid) / "stat").read_text())    # the main thread alone
        self.wait_for(lambda: self.client("-h")[0] == 0)
        self.assertEqual(len(self.client("-h")[1].splitlines()), 37)
        # Filled by a library at load time, the contexts need no location; these are not ready.
        self.assertEqual(self.client("dump")[:2], (1, "\nplu shm ctx not ready\n"))
        self.run_process(FAKE_EVENTS="1000000")
        self.wait_for(lambda: self.client("-h")[0] == 0)
        masks = [int(re.search(r"SigBlk:\s*(\w+)", status.read_text())[1], 16) for status in tasks.parent.parent.glob(
            f"{self.process.pid}/task/*/status")]
        self.assertGreaterEqual(len(masks), 2)
        blocked = 1 << signal.SIGRTMIN + 6 - 1 | 1 << signal.SIGRTMIN + 10 - 1
        self.assertEqual({mask & blocked for mask in masks}, {blocked})

    def test_stand_in_platform_traces_what_the_environment_asks_for(self):
        self.run_process("plu_config_profile_init=7", LD_PRELOAD=FAKE_LIBRARY, SIMCARD_TRACE="progress,plu_debug_crit,ec")
        self.assertEqual(self.outcome(), 0)
        self.assertEqual(self.errors.read_text(), 'SIMCARD_TRACE: no trace class or debug flag "ec"\n'
                         "plu_bkg buginf progress: PLU: Start PLU BKG timer: 5\n"
                         "plu_bkg buginf progress: PLU init with profile 1, 5242880 prefix entries\n"
                         "plu_bkg syslog level 2: PLU hw-module config profile failed 7\n")

    def test_background_work_runs_every_five_seconds_from_the_arming(self):
        """On the stand-in platform, in real time, as the interval is fixed."""
        start = time.monotonic()
        self.run_process(LD_PRELOAD=FAKE_LIBRARY)
        tick = ["plu_fill_hole_background 1", "plu_hw_increase_flush_timer"]
        for ticks in (1, 2):
            self.wait_for(lambda: len(self.calls()) >= 4 + 2 * ticks)    # behind the library's start
            self.assertGreaterEqual(time.monotonic() - start, 5 * ticks)
            self.assertEqual(self.calls()[4:], ticks * tick)
        self.assertLess(time.monotonic() - start, 15, "a third tick would be there")

    def test_the_exported_variables_are_exported_and_nothing_else(self):
        exported = """count_bmsf_no_zero_match count_bmsf_not_match count_bmsf_tn_nodes count_bmsf_zero_match
            ec f_vector hint_state_str leaf_mask mqr msg_handler_list parent_la
            parent_la_high_water_mark perpfx_dbg_key_match phu_ctx phu_debug_det phu_debug_verf_err
            phu_debug_walk_dump phu_pfx phu_pfx_str phu_plu_lookup_lf_mismatch_count
            phu_plu_lookup_lf_mismatch_disp phu_shm_ctx phu_tmp_str plu_bkg_evm plu_bkg_lwm_chan
            plu_ctx plu_debug_crit plu_debug_det plu_debug_event_type plu_debug_lookup plu_debug_tb
            plu_debug_xRAM plu_shm_ctx tbmd_tmp_str tree_node_type"""
        listed = subprocess.run(["nm", "-D", "--defined-only", "--format=posix", BIN / "plu_bkg"], check=True, text=True,
                                capture_output=True).stdout
        names = {line.split()[0] for line in listed.splitlines()}
        # A sanitizer's own variables are copied into the executable that uses them.
        self.assertEqual({name for name in names if not name.startswith("__asan_")}, set(exported.split()))


if __name__ == "__main__":
    unittest.main()
