#include "tools/plu_debug/history_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tools/plu_debug/exchange.h"
#include "tools/plu_debug/file_handle.h"
#include "tools/plu_debug/whole_file.h"

namespace client {
namespace {

constexpr off_t most_bytes = off_t{1024} * 1024;
constexpr size_t longest_line = 1024;
constexpr mode_t private_mode = 0600;

std::string environment(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// The last bytes of the file; sets an errno when it is none that can be read.
std::string read_tail(const file_handle &file, int &error) {
    struct stat status {};
    if (!file.is_open() || fstat(file.get(), &status) != 0) {
        error = errno;
        return {};
    }
    if (!S_ISREG(status.st_mode)) {
        error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return {};
    }
    std::string text(static_cast<size_t>(std::min(status.st_size, most_bytes)), '\0');
    const ssize_t got = pread(file.get(), text.data(), text.size(),
                              std::max<off_t>(status.st_size - most_bytes, 0));
    error = got < 0 ? errno : 0;
    text.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return text;
}

bool is_typed_text(const std::string &line) {
    return !line.empty() && line.size() <= longest_line &&
           std::none_of(line.begin(), line.end(),
                        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; });
}

std::vector<std::string> split_lines(const std::string &text) {
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
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

void history_file::give_up(const std::string &reason) {
    notice("no history is kept: '" + path_ + "': " + reason);
    path_.clear();
}

std::vector<std::string> history_file::load() {
    if (path_.empty()) {
        return {};
    }
    const file_handle file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.is_open() && errno == ENOENT) {
        return {};
    }
    int error = 0;
    std::vector<std::string> lines = split_lines(read_tail(file, error));
    if (error != 0) {
        give_up(error == EINVAL ? "no regular file" : std::strerror(error));
        return {};
    }
    const bool grown = lines.size() >= 2 * most_lines;
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const std::string &line) { return !is_typed_text(line); }),
                lines.end());
    lines.erase(lines.begin(),
                lines.end() - static_cast<ptrdiff_t>(std::min(lines.size(), most_lines)));
    if (grown) {
        std::string failure;
        whole_file shorter(path_, failure);
        for (const std::string &line : lines) {
            shorter.out().write(line + '\n');
        }
        failure = failure.empty() ? shorter.commit() : failure;
        if (failure.empty()) {
            (void)chmod(path_.c_str(), private_mode);
        } else {
            give_up(failure);
        }
    }
    return lines;
}

void history_file::append(const std::string &line) {
    if (path_.empty() || !is_typed_text(line)) {
        return;
    }
    const file_handle file(
        open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, private_mode));
    const std::string text = line + '\n';
    if (!file.is_open() || write(file.get(), text.data(), text.size()) < 0) {
        give_up(std::strerror(errno));
    }
}

}    // namespace client
