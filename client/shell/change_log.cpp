#include "client/shell/change_log.h"

#include <paths.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "client/base/file_handle.h"
#include "client/base/printable.h"
#include "client/channel/exchange.h"

namespace client {
namespace {

constexpr size_t longest_command = 400;
constexpr uid_t nobody_logged_in = static_cast<uid_t>(-1);

std::string user_text(uid_t user) {
    const passwd *entry = getpwuid(user);
    return (entry == nullptr ? "" : std::string(entry->pw_name) + ", ") + "uid " +
           std::to_string(user);
}

// Whoever logged in stays known when he becomes somebody else.
std::string who() {
    std::ifstream file("/proc/self/loginuid");
    uid_t login = nobody_logged_in;
    file >> login;
    std::string text = user_text(getuid());
    if (file && login != nobody_logged_in && login != getuid()) {
        text += " (logged in as " + user_text(login) + ")";
    }
    return text;
}

// The controlling terminal, whatever the standard files are.
std::string terminal() {
    std::ifstream file("/proc/self/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string state;
    int parent = 0;
    int group = 0;
    int session = 0;
    unsigned device = 0;
    fields >> state >> parent >> group >> session >> device;
    if (!fields || device == 0) {
        return "no terminal";
    }
    constexpr unsigned first_pts = 136;
    constexpr unsigned last_pts = 143;
    constexpr unsigned per_major = 256;
    const unsigned major_number = major(device);
    return major_number >= first_pts && major_number <= last_pts
               ? "pts/" + std::to_string((major_number - first_pts) * per_major + minor(device))
               : "terminal " + std::to_string(major_number) + ':' + std::to_string(minor(device));
}

bool log_listens() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", _PATH_LOG);
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        const file_handle socket_file(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
        if (connect(socket_file.get(), reinterpret_cast<const sockaddr *>(&address),
                    sizeof address) == 0) {
            return true;
        }
    }
    return false;
}

void tell_missing_log() {
    static const bool listens = [] {
        if (!log_listens()) {
            notice("the system log cannot be reached: changes of the card are not logged");
        }
        return true;
    }();
    (void)listens;
}

std::string command_text(const std::vector<std::string> &words, const plu_debug_request &request) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), " 0x%" PRIx64 " 0x%" PRIx64 " 0x%" PRIx64,
                  request.a1, request.a2, request.a3);
    return '"' + printable(text.substr(0, longest_command)) + "\" (" + printable(request.name) +
           numbers.data() + ")";
}

const char *result_text(exit_status status) {
    switch (status) {
        case status_done:
            return "done";
        case status_findings:
            return "refused by the process";
        case status_interrupted:
            return "interrupted, may have been done";
        default:
            return "no whole answer, may have been done";
    }
}

void write_log(const std::string &text) {
    openlog("plu_debug", LOG_PID, LOG_USER);
    syslog(LOG_NOTICE, "%s", text.c_str());
    closelog();
}

}    // namespace

change_log::change_log(const std::vector<std::string> &words, const plu_debug_request &request)
    : command_(who() + ", on " + terminal() + ": " + command_text(words, request)) {
    tell_missing_log();
    write_log(command_ + ": sent");
}

void change_log::ended(exit_status status) const {
    write_log(command_ + ": " + result_text(status));
}

}    // namespace client
