#include "client/channel/server_process.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "client/base/number.h"
#include "records/request.h"

namespace client {
namespace {

namespace fs = std::filesystem;

std::string program_name(const fs::path &task) {
    std::ifstream file(task / "cmdline");
    std::string first;
    std::getline(file, first, '\0');
    return fs::path(first).filename().string();
}

// Queues belong to an IPC namespace; a process of another one serves other queues of the same
// names. None when it is of another one.
std::optional<sight> sight_of(const fs::path &task) {
    std::error_code error;
    const fs::path theirs = fs::read_symlink(task / "ns/ipc", error);
    if (error) {
        return sight::hidden;
    }
    if (theirs != fs::read_symlink("/proc/self/ns/ipc", error)) {
        return std::nullopt;
    }
    fs::directory_iterator entry(task / "fd", error);
    if (error) {
        return sight::hidden;
    }
    for (; entry != fs::directory_iterator(); entry.increment(error)) {
        if (fs::read_symlink(entry->path(), error) == plu_request_queue) {
            return sight::serves;
        }
    }
    return sight::idle;
}

// The main thread may have ended while others serve on; its own entry then shows nothing, so every
// thread is looked at until one speaks.
std::optional<server_process> examine(pid_t pid) {
    std::error_code error;
    fs::directory_iterator task(fs::path("/proc") / std::to_string(pid) / "task", error);
    for (; !error && task != fs::directory_iterator(); task.increment(error)) {
        const std::string name = program_name(task->path());
        if (name.empty() || name == "plu_debug") {
            continue;
        }
        const auto seen = sight_of(task->path());
        if (seen && (*seen == sight::serves || name == "plu_bkg")) {
            return server_process{pid, *seen};
        }
        return std::nullopt;
    }
    return std::nullopt;
}

// State and processor time of a thread, from the fields behind its name.
std::optional<thread_activity> activity_of_task(const fs::path &task) {
    std::ifstream file(task / "stat");
    std::string text;
    std::getline(file, text);
    const size_t name_end = text.rfind(')');
    if (name_end == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(text.substr(name_end + 1));
    thread_activity result;
    std::string skipped;
    fields >> result.state;
    constexpr int fields_before_times = 10;
    for (int i = 0; i < fields_before_times; ++i) {
        fields >> skipped;
    }
    uint64_t user = 0;
    uint64_t system = 0;
    fields >> user >> system;
    result.time = user + system;
    return fields ? std::optional(result) : std::nullopt;
}

}    // namespace

std::optional<server_process> find_server() {
    std::optional<server_process> best;
    std::error_code error;
    fs::directory_iterator entry("/proc", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const auto pid = parse_number(entry->path().filename().string());
        if (!pid || static_cast<pid_t>(*pid) == getpid()) {
            continue;
        }
        const auto found = examine(static_cast<pid_t>(*pid));
        if (found && found->seen == sight::serves) {
            return found;
        }
        if (found && (!best || best->seen == sight::idle)) {
            best = found;
        }
    }
    return best;
}

file_handle watch_process(pid_t pid) {
    return file_handle(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

bool process_ended(pid_t pid, const file_handle &watch) {
    if (!watch.is_open()) {
        return kill(pid, 0) != 0 && errno == ESRCH;
    }
    pollfd entry{watch.get(), POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

std::optional<thread_activity> activity_of(pid_t pid) {
    std::optional<thread_activity> sum;
    std::error_code error;
    const fs::path tasks = fs::path("/proc") / std::to_string(pid) / "task";
    for (fs::directory_iterator task(tasks, error); !error && task != fs::directory_iterator();
         task.increment(error)) {
        const auto one = activity_of_task(task->path());
        if (one && task->path().filename() != std::to_string(pid)) {
            sum = {one->state, one->time + (sum ? sum->time : 0)};
        }
    }
    return sum ? sum : activity_of_task(tasks / std::to_string(pid));
}

bool processes_visible() {
    return access("/proc/1/cmdline", F_OK) == 0;
}

std::optional<unsigned long> queue_limit_of(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/limits");
    const std::string label = "Max msgqueue size";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(label)) {
            const size_t start = line.find_first_not_of(' ', label.size());
            const size_t end = line.find(' ', start);
            return parse_number(std::string_view(line).substr(start, end - start));
        }
    }
    return std::nullopt;
}

}    // namespace client
