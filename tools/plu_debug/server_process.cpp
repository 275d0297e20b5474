#include "tools/plu_debug/server_process.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "debug_channel/request.h"
#include "tools/plu_debug/number.h"

namespace client {
namespace {

namespace fs = std::filesystem;

enum class queue_use { holds, does_not, unknown };

std::string program_name(const fs::path &task) {
    std::ifstream file(task / "cmdline");
    std::string first;
    std::getline(file, first, '\0');
    return fs::path(first).filename().string();
}

queue_use queue_use_of(const fs::path &task) {
    std::error_code error;
    fs::directory_iterator entry(task / "fd", error);
    if (error) {
        return queue_use::unknown;
    }
    for (; entry != fs::directory_iterator(); entry.increment(error)) {
        if (fs::read_symlink(entry->path(), error) == plu_request_queue) {
            return queue_use::holds;
        }
    }
    return queue_use::does_not;
}

// Queues belong to an IPC namespace; a process of another one serves other queues of the same
// names.
bool elsewhere(const fs::path &task) {
    std::error_code error;
    const fs::path theirs = fs::read_symlink(task / "ns/ipc", error);
    return !error && theirs != fs::read_symlink("/proc/self/ns/ipc", error);
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
        if (elsewhere(task->path())) {
            return std::nullopt;
        }
        const queue_use use = queue_use_of(task->path());
        if (use == queue_use::holds || name == "plu_bkg") {
            return server_process{pid, use == queue_use::holds, use != queue_use::unknown};
        }
        return std::nullopt;
    }
    return std::nullopt;
}

}    // namespace

std::optional<server_process> find_server() {
    std::optional<server_process> by_name;
    std::error_code error;
    fs::directory_iterator entry("/proc", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const auto pid = parse_number(entry->path().filename().string());
        if (!pid || static_cast<pid_t>(*pid) == getpid()) {
            continue;
        }
        const auto found = examine(static_cast<pid_t>(*pid));
        if (found && found->holds_queues) {
            return found;
        }
        by_name = found ? found : by_name;
    }
    return by_name;
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
