#include "client/shell/history.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "client/channel/exchange.h"

namespace client {
namespace {

constexpr int most_lines = 1000;
constexpr mode_t private_mode = 0600;

std::string environment(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

}    // namespace

std::string history_path() {
    if (std::getenv("PLU_DEBUG_HISTORY") != nullptr) {
        return environment("PLU_DEBUG_HISTORY");
    }
    const std::string state = environment("XDG_STATE_HOME");
    const std::string home = environment("HOME");
    return !state.empty()  ? state + "/plu_debug_history"
           : !home.empty() ? home + "/.plu_debug_history"
                           : "";
}

line_history::history_list line_history::make_list() {
    history_list list(history_init());
    HistEvent event{};
    history(list.get(), &event, H_SETSIZE, most_lines);
    history(list.get(), &event, H_SETUNIQUE, 1);
    return list;
}

line_history::line_history(std::string path) : path_(std::move(path)), list_(make_list()) {
    if (!path_.empty()) {
        load();
    }
}

void line_history::give_up(const std::string &reason) {
    notice("no history is kept: '" + path_ + "': " + reason);
    path_.clear();
}

void line_history::load() {
    struct stat status {};
    if (stat(path_.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            give_up(std::strerror(errno));
        }
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        give_up("no regular file");
        return;
    }
    HistEvent event{};
    const int lines = status.st_size == 0 ? 0 : history(list_.get(), &event, H_LOAD, path_.c_str());
    if (lines < 0) {
        give_up("no history of this program");
    } else if (lines >= 2 * most_lines) {
        (void)history(list_.get(), &event, H_SAVE, path_.c_str());
    }
}

void line_history::add(const std::string &line) {
    HistEvent event{};
    if (history(list_.get(), &event, H_ENTER, line.c_str()) <= 0 || path_.empty()) {
        return;
    }
    const int descriptor =
        open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, private_mode);
    FILE *file = descriptor < 0 ? nullptr : fdopen(descriptor, "a");
    if (file == nullptr) {
        give_up(std::strerror(errno));
        return;
    }
    const history_list last = make_list();
    history(last.get(), &event, H_ENTER, line.c_str());
    (void)fseek(file, 0, SEEK_END);
    const bool written = history(last.get(), &event, H_SAVE_FP, file) >= 0;
    if (fclose(file) != 0 || !written) {
        give_up(std::strerror(errno));
    }
}

}    // namespace client
