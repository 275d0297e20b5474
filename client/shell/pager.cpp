#include "client/shell/pager.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "client/base/interrupt.h"
#include "client/base/terminal.h"

namespace client {
namespace {

constexpr std::string_view question = "--More-- (SPACE page, ENTER line, a all, q quit)";
constexpr size_t tab_width = 8;
constexpr size_t piece_size = 8192;

bool interrupted() {
    return interrupts_seen() > 0;
}

size_t page_rows() {
    return std::max<size_t>(size_of_terminal(STDOUT_FILENO).rows, 2) - 1;
}

}    // namespace

void pager::start() {
    const terminal_size size = size_of_terminal(STDOUT_FILENO);
    all_ = !pages_ || isatty(STDIN_FILENO) != 1;
    quit_ = false;
    columns_ = size.columns;
    rows_ = page_rows();
    column_ = 0;
    line_ends_ = 0;
    last_ = '\n';
}

void pager::show(std::string_view text) {
    if (!text.empty()) {
        screen_.write(text);
        last_ = text.back();
    }
}

// How much of the text fits on the rest of this screen; 0 when a key must be asked for first.
size_t pager::fitting(std::string_view text) {
    size_t at = 0;
    for (; at < text.size() && rows_ > 0; ++at) {
        if (text[at] == '\n') {
            column_ = 0;
            --rows_;
            continue;
        }
        const size_t width = text[at] == '\t' ? tab_width - column_ % tab_width : 1;
        if (column_ + width > columns_) {
            column_ = 0;
            if (--rows_ == 0) {
                break;
            }
        }
        column_ += width;
    }
    return at;
}

void pager::ask() {
    const quiet_keys keys(STDIN_FILENO, true);    // before the question: an answer may come at once
    screen_.write(last_ == '\n' ? "" : "\n");
    screen_.write(question);
    screen_.flush();
    for (bool answered = false; !answered && !quit_;) {
        answered = true;
        switch (read_key(STDIN_FILENO, interrupted)) {
            case ' ':
                rows_ = page_rows();
                break;
            case '\r':
            case '\n':
                rows_ = 1;
                break;
            case 'a':
                all_ = true;
                break;
            case 'q':
            case 'Q':
            case -1:
                quit_ = true;
                break;
            default:
                answered = false;
        }
    }
    if (quit_ && !interrupted()) {
        interrupts_request();    // Ctrl-C has done so itself
    }
    screen_.write_as_is("\r" + std::string(question.size(), ' ') + '\r');
    last_ = '\n';
}

bool pager::dropping() const {
    return quit_ || (drops_ && interrupts_seen() > 0);
}

// In small pieces: a slow terminal must not hold up an interrupt.
void pager::show_all(std::string_view text) {
    show(std::string(std::exchange(line_ends_, 0), '\n'));
    for (; !text.empty() && !dropping(); text.remove_prefix(std::min(text.size(), piece_size))) {
        show(text.substr(0, piece_size));
        screen_.flush();
    }
}

void pager::take(std::string_view text) {
    if (is_printable(text)) {
        page(text);
    } else {
        page(printable(text));
    }
}

void pager::page(std::string_view text) {
    while (!text.empty() && !dropping()) {
        if (all_) {
            show_all(text);
            break;
        }
        const size_t ends = std::min(text.find_first_not_of('\n'), text.size());
        if (rows_ == 0) {
            line_ends_ += ends;
            text.remove_prefix(ends);
            if (!text.empty()) {
                ask();
            }
            continue;
        }
        if (line_ends_ > 0) {
            const std::string held(line_ends_, '\n');
            const size_t shown = fitting(held);
            show(std::string_view(held).substr(0, shown));
            line_ends_ -= shown;
            continue;
        }
        const size_t shown = fitting(text);
        show(text.substr(0, shown));
        text.remove_prefix(shown);
    }
    if (dropping()) {
        finish();    // what is said about the interrupt gets a line of its own
    }
    screen_.flush();
}

void pager::finish() {
    if (last_ != '\n') {
        show("\n");
    }
    screen_.flush();
}

}    // namespace client
