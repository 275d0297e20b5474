#include "tests/frame/process_run.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

namespace {

std::string new_directory() {
    std::string path = (std::filesystem::temp_directory_path() / "plu_bkg_test_XXXXXX").string();
    return mkdtemp(path.data()) == nullptr ? std::string() : path;
}

[[noreturn]] void become_process(const std::string &directory, const environment &variables) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    environment all = {"LD_PRELOAD=" ALL_FAKES,
                       "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0",
                       "FAKE_LOG=" + directory + "/calls"};
    all.insert(all.end(), variables.begin(), variables.end());
    for (std::string &assignment : all) {
        putenv(assignment.data());
    }
    const int standard_error = open((directory + "/stderr").c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(standard_error, STDERR_FILENO);
    execl(PROCESS_FILE, PROCESS_FILE, nullptr);
    _exit(127);
}

bool comes_true(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}    // namespace

process_run::process_run(const environment &variables) : directory_(new_directory()) {
    pid_ = fork();
    if (pid_ == 0) {
        become_process(directory_, variables);
    }
}

process_run::~process_run() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string process_run::outcome() {
    int status = 0;
    if (!comes_true([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) {
        return "still running";
    }
    pid_ = -1;
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit " + std::to_string(WEXITSTATUS(status));
}

// A main thread that ended before the others stays behind as a zombie.
bool process_run::main_thread_ended() const {
    const std::string path = "/proc/" + std::to_string(pid_) + "/stat";
    return comes_true([&] {
        std::ifstream stat(path);
        std::string text;
        std::getline(stat, text);
        return text.find(") Z ") != std::string::npos;
    });
}

std::vector<std::string> process_run::calls_once_there(size_t count) const {
    (void)comes_true([&] { return calls().size() >= count; });
    return calls();
}

std::string process_run::standard_error() const {
    std::ostringstream text;
    text << std::ifstream(directory_ + "/stderr").rdbuf();
    return text.str();
}

std::vector<std::string> process_run::log_lines(bool traces) const {
    std::ifstream log(directory_ + "/calls");
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(log, line)) {
        const bool is_trace = line.starts_with("buginf ") || line.starts_with("syslog ");
        if (is_trace && !line.ends_with('|')) {
            std::string rest;
            std::getline(log, rest);
            line += "\\n" + rest;
        }
        if (is_trace == traces) {
            lines.push_back(line);
        }
    }
    return lines;
}
