// Start-up and event loop of the real executable over fake calls, one fault at a time.
#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "records/request.h"
#include "tests/frame/process_run.h"
#include "tests/support/queue_client.h"

namespace {

using lines = std::vector<std::string>;

// Without queues the debug thread ends, so the process ends once the event loop has failed.
const std::string no_queues = "/plu_msg_queue=-1";
const environment all_traces = {"FAKE_SWITCH=perpfx_dbg_key_match"};

environment failing(const std::string &plan, environment variables = all_traces) {
    variables.push_back("FAKE_FAIL=" + plan + " " + no_queues);
    return variables;
}

const lines start_calls = {
    "event_manager_create 0 /dev/qmt_plu_bkg 5 plu_bkg_lwm_chan",
    "qerr_register_dll 6909 qerrno/libplu_error.dll",
    "getprio 0",
    "event_async_attach_proctimer EVM 128 0 null 10",
    "timer_settime 0x77 0 interval 5.0 first 5.0 null",
    "sysmgr_proc_ready",
    "plu_init 7 EVM 0",
    "plu_edm_init EVM",
    "plu_config_profile_init EVM",
    "plu_startup_done_notify_register EVM",
    "set_thread_name Main self",
};

const lines start_traces = {
    "syslog 2 PLU: Start PLU BKG timer: 5\\n|",
    "syslog 2 PLU init with profile 1, 5242880 prefix entries\\n|",
    "syslog 2 PLU: PLU thread loop start\\n|",
    "syslog 2 plu_bkg_thread_loop: Event block failed\\n|",
};

class StartUp : public testing::Test {
protected:
    static void SetUpTestSuite() { use_private_queues(); }
    void SetUp() override {    // a client must not meet those of the test before
        mq_unlink(plu_request_queue);
        mq_unlink(plu_reply_queue);
    }
};

TEST_F(StartUp, CallsThePlatformInOrderThenServesTimerEventsUntilTheLoopFails) {
    environment variables = failing("");
    variables.emplace_back("FAKE_EVENTS=2");
    process_run run(variables);
    EXPECT_TRUE(all_threads_ended(run.outcome()));
    lines expected = start_calls;
    for (int event = 0; event < 2; event++) {
        expected.insert(expected.end(),
                        {"event_block ec", "kq_event_dispatch ec 0", "plu_fill_hole_background 1",
                         "plu_hw_increase_flush_timer", "handler result 42"});
    }
    expected.emplace_back("event_block ec");
    EXPECT_EQ(run.calls(), expected);
    EXPECT_EQ(run.traces(), start_traces);
    EXPECT_EQ(run.standard_error(), "");
}

struct fault {
    const char *plan;
    const char *last_call;
    const char *message;    // traced, empty for none
    int traces_before;      // of start_traces
};

/// The first `count` traces of a start, a message if there is one, then the rest or nothing.
lines traces_with(const fault &fault, bool goes_on) {
    lines traces(start_traces.begin(), start_traces.begin() + fault.traces_before);
    if (*fault.message != '\0') {
        traces.push_back("syslog 2 " + std::string(fault.message) + "|");
    }
    if (goes_on) {
        traces.insert(traces.end(), start_traces.begin() + fault.traces_before, start_traces.end());
    }
    return traces;
}

TEST_F(StartUp, StoppingFaultEndsTheProcessWithStatus0AfterItsMessage) {
    const fault faults[] = {
        {"event_manager_create=0", "event_manager_create 0 /dev/qmt_plu_bkg 5 plu_bkg_lwm_chan",
         "Plu BKG Process plu_bkg_evm_init could not init: null EVM", 0},
        {"event_async_attach_proctimer=-1:11", "event_async_attach_proctimer EVM 128 0 null 10",
         "plu_bkg_timer_init: Cannot create Timer errono b", 0},
        {"timer_settime=-1:22", "timer_settime 0x77 0 interval 5.0 first 5.0 null",
         "plu_bkg_timer_start : Cannot set timer_id = 119 itime = 5 errono 16 Invalid argument", 1},
        {"plu_init=1", "plu_init 7 EVM 0", "", 2},
        {"plu_edm_init=-1", "plu_edm_init EVM", "", 2},
        {"plu_config_profile_init=77", "plu_config_profile_init EVM",
         "PLU hw-module config profile failed 77", 2},
        {"plu_startup_done_notify_register=-3", "plu_startup_done_notify_register EVM",
         "PLU register to sysdb startup done failed -3", 2},
    };
    for (const fault &fault : faults) {
        SCOPED_TRACE(fault.plan);
        process_run run(failing(fault.plan));
        EXPECT_EQ(run.outcome(), "exit 0");
        const lines calls = run.calls();
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls.back(), fault.last_call);
        EXPECT_EQ(run.traces(), traces_with(fault, false));
    }
}

TEST_F(StartUp, ToleratedFaultLeavesStartUpRunning) {
    const fault faults[] = {
        {"qerr_register_dll=9", "", "Failed to init PLU qerrno module:text of 9\\n", 0},
        {"event_async_attach_proctimer=-1:0", "",
         "plu_bkg_timer_init: Cannot create Timer errono 0", 0},
        {"timer_settime=-1:0", "",
         "plu_bkg_timer_start : Cannot set timer_id = 119 itime = 5 errono 0 Success", 1},
        {"timer_settime=1:22", "", "", 0},
        {"sysmgr_proc_ready=-1", "", "", 0},
        {"pthread_create=11", "", "", 0},
    };
    for (const fault &fault : faults) {
        SCOPED_TRACE(fault.plan);
        process_run run(failing(fault.plan));
        EXPECT_TRUE(all_threads_ended(run.outcome()));
        lines expected = start_calls;
        expected.emplace_back("event_block ec");
        EXPECT_EQ(run.calls(), expected);
        EXPECT_EQ(run.traces(), traces_with(fault, true));
    }
}

TEST_F(StartUp, SignalCallsThatFailAbortTheProcess) {
    const struct {
        const char *plan;
        const char *assertion;
    } cases[] = {{"sigemptyset=-1", "\"rc == 0\""},
                 {"sigaddset+6=-1", "\"rc == 0\""},
                 {"sigaddset+10=-1", "\"rc ==0\""},
                 {"pthread_sigmask=22", "\"rc == 0\""}};
    for (const auto &c : cases) {
        process_run run(failing(c.plan));
        EXPECT_EQ(run.outcome(), "signal " + std::to_string(SIGABRT)) << c.plan;
        EXPECT_NE(run.standard_error().find(c.assertion), std::string::npos)
            << c.plan << ": " << run.standard_error();
    }
}

TEST_F(StartUp, TracesAreSilentWithoutAFlag) {
    process_run run(failing("qerr_register_dll=9", {}));
    EXPECT_TRUE(all_threads_ended(run.outcome()));
    EXPECT_EQ(run.traces(), lines{});
    EXPECT_EQ(run.standard_error(), "");
}

TEST_F(StartUp, ReplyQueueThatCannotBeOpenedEndsTheDebugThreadOnly) {
    process_run run({"FAKE_FAIL=/plu_reply_queue=-1"});
    EXPECT_TRUE(all_threads_ended(run.outcome()));
    EXPECT_EQ(run.calls().back(), "event_block ec");
}

/// Blocked signals of every live thread of a process.
std::vector<uint64_t> blocked_signals(pid_t pid) {
    std::vector<uint64_t> masks;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto &task : std::filesystem::directory_iterator(tasks)) {
        std::ifstream status(task.path() / "status");
        std::string word;
        while (status >> word && word != "SigBlk:") {
        }
        status >> word;
        masks.push_back(std::stoull(word, nullptr, 16));
    }
    return masks;
}

TEST_F(StartUp, CommandsAreAnsweredAfterTheEventLoopFailed) {
    process_run run({"FAKE_FILL_CONTEXTS=1"});
    ASSERT_TRUE(run.main_thread_ended());
    const queue_client client;
    ASSERT_TRUE(client.connected());
    ASSERT_TRUE(client.send("-help"));
    EXPECT_EQ(client.reply().value_or(lines{}).size(), 37U);
    // Filled by a library at load time, the contexts need no location; these are not ready.
    ASSERT_TRUE(client.send("dump"));
    EXPECT_EQ(client.reply(), (lines{"\n", "plu shm ctx not ready\n"}));
}

TEST_F(StartUp, BothThreadsBlockThePlatformsSignals) {
    process_run run({});
    const queue_client client;
    ASSERT_TRUE(client.connected());
    ASSERT_TRUE(client.send("-h"));
    ASSERT_TRUE(client.reply());
    const uint64_t expected = 1ULL << (SIGRTMIN + 6 - 1) | 1ULL << (SIGRTMIN + 10 - 1);
    const std::vector<uint64_t> masks = blocked_signals(run.pid());
    EXPECT_GE(masks.size(), 2U);
    for (const uint64_t mask : masks) {
        EXPECT_EQ(mask & expected, expected);
    }
}

TEST_F(StartUp, StandInPlatformTracesWhatTheEnvironmentAsksFor) {
    process_run run({"LD_PRELOAD=" FAKE_LIBRARY, "SIMCARD_TRACE=progress,plu_debug_crit,ec",
                     "FAKE_FAIL=plu_config_profile_init=7"});
    EXPECT_EQ(run.outcome(), "exit 0");
    EXPECT_EQ(run.standard_error(),
              "SIMCARD_TRACE: no trace class or debug flag \"ec\"\n"
              "plu_bkg buginf progress: PLU: Start PLU BKG timer: 5\n"
              "plu_bkg buginf progress: PLU init with profile 1, 5242880 prefix entries\n"
              "plu_bkg syslog level 2: PLU hw-module config profile failed 7\n");
}

// On the stand-in platform, in real time, as the interval is fixed.
TEST_F(StartUp, BackgroundWorkRunsEveryFiveSecondsFromTheArming) {
    using clock = std::chrono::steady_clock;
    const clock::time_point start = clock::now();
    const process_run run({"LD_PRELOAD=" FAKE_LIBRARY});
    lines expected(4);    // the library's start
    for (int tick = 1; tick <= 2; ++tick) {
        expected.insert(expected.end(),
                        {"plu_fill_hole_background 1", "plu_hw_increase_flush_timer"});
        lines calls = run.calls_once_there(expected.size());
        EXPECT_GE(clock::now() - start, tick * std::chrono::seconds(5));
        std::fill_n(calls.begin(), std::min(calls.size(), size_t{4}), "");
        EXPECT_EQ(calls, expected);
    }
    EXPECT_LT(clock::now() - start, std::chrono::seconds(15)) << "a third tick would be there";
}

}    // namespace
