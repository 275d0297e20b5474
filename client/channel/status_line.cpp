#include "client/channel/status_line.h"

#include <unistd.h>

#include "client/base/terminal.h"

namespace client {
namespace {

void put(const std::string &text) {
    (void)!write(STDERR_FILENO, text.data(), text.size());
}

}    // namespace

status_line::status_line() : usable_(isatty(STDERR_FILENO) == 1) {}

void status_line::show(const std::string &text) {
    if (!usable_) {
        return;
    }
    clear();
    const std::string line = "plu_debug: " + text;
    const std::string fitting = line.substr(0, size_of_terminal(STDERR_FILENO).columns - 1);
    width_ = fitting.size();
    put(fitting);
}

void status_line::clear() {
    if (width_ > 0) {
        put('\r' + std::string(width_, ' ') + '\r');
        width_ = 0;
    }
}

}    // namespace client
