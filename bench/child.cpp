#include "bench/child.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

void redirect(int descriptor, const std::string &file) {
    if (!file.empty()) {
        const int target = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(target, descriptor);
        close(target);
    }
}

}    // namespace

child::child(const std::function<void()> &action) : pid_(fork()) {
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        action();
        _exit(0);
    }
}

child::child(const std::vector<std::string> &words, const std::string &output,
             const std::string &errors)
    : child([&] {
          redirect(STDOUT_FILENO, output);
          redirect(STDERR_FILENO, errors);
          std::vector<char *> arguments;
          for (const std::string &word : words) {
              arguments.push_back(const_cast<char *>(word.c_str()));
          }
          arguments.push_back(nullptr);
          execv(arguments[0], arguments.data());
          _exit(127);
      }) {}

child::~child() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

bool child::running() {
    if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == pid_) {
        pid_ = -1;
    }
    return pid_ > 0;
}

bool child::wait() {
    int status = 1;
    const pid_t pid = pid_;
    pid_ = -1;
    return pid > 0 && waitpid(pid, &status, 0) == pid && status == 0;
}
