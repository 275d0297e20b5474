#include "client/shell/line_editor.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <utility>

#include "client/base/interrupt.h"
#include "client/base/terminal.h"
#include "client/shell/file_names.h"

namespace client {
namespace {

constexpr int longest_line = 1 << 20;

std::atomic<bool> resumed{false};
std::atomic<bool> resized{false};

void note_resumed(int /*signal*/) {
    resumed.store(true, std::memory_order_relaxed);
}

void note_resized(int /*signal*/) {
    resized.store(true, std::memory_order_relaxed);
}

bool interrupted() {
    return interrupts_seen() > 0;
}

bool signal_seen() {
    return interrupted() || resumed.load() || resized.load();
}

FILE *screen() {
    return isatty(STDOUT_FILENO) == 1 ? stdout : stderr;
}

// Characters, not bytes, are what the editor counts.
void use_utf8() {
    setlocale(LC_CTYPE, "");
    if (MB_CUR_MAX == 1) {
        setlocale(LC_CTYPE, "C.UTF-8");
    }
}

void watch_terminal() {
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = note_resumed;
    sigaction(SIGCONT, &action, nullptr);
    action.sa_handler = note_resized;
    sigaction(SIGWINCH, &action, nullptr);
}

std::string typed_so_far(EditLine *editor) {
    const LineInfo *line = el_line(editor);
    return {line->buffer, line->cursor};
}

int characters(const std::string &text) {
    const size_t count = std::mbstowcs(nullptr, text.c_str(), 0);
    return static_cast<int>(count == static_cast<size_t>(-1) ? text.size() : count);
}

std::string common_start(const std::vector<std::string> &words) {
    std::string common = words[0];
    for (const std::string &word : words) {
        const auto differs = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(differs.first, common.end());
    }
    return common;
}

}    // namespace

// What the editor calls; it knows no object but the one it was given.
struct line_editor::callbacks {
    static line_editor *self(EditLine *editor) {
        void *data = nullptr;
        el_get(editor, EL_CLIENTDATA, &data);
        return static_cast<line_editor *>(data);
    }
    static char *prompt(EditLine *editor) { return self(editor)->prompt_.data(); }
    static unsigned char complete_word(EditLine *editor, int /*key*/) {
        return self(editor)->complete_word();
    }
    static unsigned char explain(EditLine *editor, int /*key*/) {
        return self(editor)->explain_or_insert();
    }
    static int next_character(EditLine *editor, wchar_t *character);
};

// The terminal's modes and the line are as they were when the operator comes back to it.
void line_editor::follow_terminal() {
    if (resumed.exchange(false)) {
        el_set(editor_, EL_PREP_TERM, 0);    // else the editor believes that its modes still hold
        el_set(editor_, EL_PREP_TERM, 1);
        el_set(editor_, EL_REFRESH);
    }
    if (resized.exchange(false)) {
        resize();
    }
}

// The editor draws the line anew from where the cursor is. So it goes to the start of the line when
// that fits one row, before and now, else below it. True when it is at the start.
bool line_editor::leave_line() {
    const LineInfo *line = el_line(editor_);
    const auto width =
        prompt_.size() + static_cast<size_t>(characters({line->buffer, line->lastchar}));
    const auto behind = static_cast<size_t>(line->lastchar - line->cursor);
    const size_t columns = size_of_terminal(fileno(screen())).columns;
    const bool one_row = width < std::min(columns, std::exchange(columns_, columns));
    fputs(("\r" + std::string(one_row ? 0 : behind / columns + 1, '\n')).c_str(), screen());
    fflush(screen());
    return one_row;
}

void line_editor::resize() {
    (void)leave_line();
    el_resize(editor_);
    el_set(editor_, EL_REFRESH);
}

// What is said about the interrupt comes behind the line.
void line_editor::go_to_end() {
    if (leave_line()) {
        el_cursor(editor_, longest_line);
        el_set(editor_, EL_REFRESH);
    }
}

// The library's own reading would miss a signal that comes right before the wait.
int line_editor::callbacks::next_character(EditLine *editor, wchar_t *character) {
    std::mbstate_t state{};
    for (;;) {
        self(editor)->follow_terminal();
        if (!wait_for_input(STDIN_FILENO, signal_seen)) {
            if (interrupted()) {
                self(editor)->go_to_end();
                return -1;
            }
            if (!signal_seen() && errno != EINTR) {
                return -1;
            }
            continue;
        }
        char byte = 0;
        const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
        if (count <= 0) {
            return count < 0 && errno == EINTR ? -1 : 0;
        }
        const size_t used = std::mbrtowc(character, &byte, 1, &state);
        if (used == static_cast<size_t>(-1)) {
            state = {};    // no character: a byte of another encoding
        } else if (used != static_cast<size_t>(-2)) {
            return 1;
        }
    }
}

line_editor::line_editor(bool raw, std::function<void(const std::string &)> show)
    : raw_(raw), show_(std::move(show)), history_(history_path()) {
    use_utf8();
    editor_ = el_init_fd("plu_debug", stdin, screen(), stderr, STDIN_FILENO, fileno(screen()),
                         STDERR_FILENO);
    el_set(editor_, EL_CLIENTDATA, this);
    el_set(editor_, EL_PROMPT, callbacks::prompt);
    el_set(editor_, EL_GETCFN, callbacks::next_character);
    el_set(editor_, EL_HIST, history, history_.list());
    el_set(editor_, EL_EDITOR, "emacs");
    // The library keeps these names: the narrow form of the call would leak copies.
    el_wset(editor_, EL_ADDFN, L"plu-complete", L"Complete the word", callbacks::complete_word);
    el_wset(editor_, EL_ADDFN, L"plu-explain", L"Show what can stand here", callbacks::explain);
    el_set(editor_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_source(editor_, nullptr);
    el_set(editor_, EL_BIND, "^I", "plu-complete", nullptr);
    el_set(editor_, EL_BIND, "?", "plu-explain", nullptr);
    watch_terminal();
}

line_editor::~line_editor() {
    el_end(editor_);
}

void line_editor::explain(const completion_set &set) {
    fputs("\n", screen());
    fflush(screen());
    show_(candidate_lines(set));
}

// In an expression a question mark is itself.
unsigned char line_editor::explain_or_insert() {
    const completion_set set = complete(typed_so_far(editor_), raw_);
    if (set.pattern) {
        el_insertstr(editor_, "?");
        return CC_REFRESH;
    }
    explain(set);
    return CC_REDISPLAY;
}

// An opening quote goes, too: the text has its own where it needs them.
void line_editor::replace_typed(const std::string &typed, const std::string &text) {
    std::string before = typed_so_far(editor_);
    before.resize(before.size() - typed.size());
    const bool quoted = before.ends_with('"') || before.ends_with('\'');
    el_deletestr(editor_, characters(typed) + (quoted ? 1 : 0));
    el_insertstr(editor_, text.c_str());
}

unsigned char line_editor::complete_word() {
    completion_set set = complete(typed_so_far(editor_), raw_);
    if (set.file) {
        add_file_names(set);
    }
    std::vector<std::string> words;
    for (const candidate &one : set.candidates) {
        if (one.literal) {
            words.push_back(one.word);
        }
    }
    if (words.empty()) {
        explain(set);
        return CC_REDISPLAY;
    }
    const std::string common = common_start(words);
    const bool open = words.size() > 1 || common.ends_with('/');
    if (common.size() >= set.typed.size()) {
        replace_typed(set.typed, common + (open ? "" : " "));
    }
    if (words.size() > 1) {
        explain(set);
        return CC_REDISPLAY;
    }
    return CC_REFRESH;
}

line_editor::event line_editor::dropped() {
    el_reset(editor_);
    fputs(termination_seen() ? "\n" : "^C\n", screen());
    fflush(screen());
    return termination_seen() ? event::terminated : event::cleared;
}

line_editor::event line_editor::read(const std::string &prompt, std::string &line) {
    prompt_ = prompt;
    columns_ = size_of_terminal(fileno(screen())).columns;
    resumed.store(false);
    el_set(editor_, EL_PREP_TERM, 1);    // before the prompt invites to type
    int count = 0;
    const char *text = el_gets(editor_, &count);
    if (interrupted()) {
        return dropped();
    }
    if (text == nullptr || count <= 0) {
        fputs("\n", screen());
        fflush(screen());
        return event::end;
    }
    line = text;
    while (line.ends_with('\n') || line.ends_with('\r')) {
        line.pop_back();
    }
    return event::line;
}

}    // namespace client
