#include "tools/plu_debug/readline_editor.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/plu_debug/completion.h"
#include "tools/plu_debug/history_file.h"
#include "tools/plu_debug/interrupt.h"
#include "tools/plu_debug/terminal.h"

// readline's headers want stdio first.
#include <readline/history.h>
#include <readline/readline.h>

namespace client {
namespace {

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

class readline_editor : public line_editor {
public:
    readline_editor();
    event read(const std::string &prompt, std::string &line) override;
    void remember(const std::string &line) override;

private:
    static readline_editor *self;    // readline's callbacks know no object

    static void line_came(char *line);
    static int show_help(int count, int key);
    static char **complete_word(const char *text, int start, int end);
    static void show_matches(char **matches, int count, int longest);

    void explain(const completion_set &set);
    static event drop_line();
    static void follow_terminal();

    completion_set fitting_;
    bool done_ = false;
    bool ended_ = false;
    std::string line_;
};

readline_editor *readline_editor::self = nullptr;

// The line up to the cursor.
std::string typed_so_far() {
    return {rl_line_buffer, static_cast<size_t>(rl_point)};
}

void redraw() {
    rl_on_new_line();
    rl_forced_update_display();
}

// What readline frees with free(): the common start of all words, the words, null.
char **as_matches(const std::vector<std::string> &words) {
    std::string common = words[0];
    for (const std::string &word : words) {
        const auto differs = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(differs.first, common.end());
    }
    const bool several = words.size() > 1;
    auto *matches = static_cast<char **>(calloc(words.size() + 2, sizeof(char *)));
    if (matches == nullptr) {
        return nullptr;
    }
    matches[0] = strdup(common.c_str());
    for (size_t i = 0; several && i < words.size(); ++i) {
        matches[i + 1] = strdup(words[i].c_str());
    }
    return matches;
}

readline_editor::readline_editor() {
    self = this;
    rl_readline_name = "plu_debug";
    rl_outstream = isatty(STDOUT_FILENO) == 1 ? stdout : stderr;
    rl_catch_signals = 0;
    rl_catch_sigwinch = 0;
    rl_initialize();
    rl_variable_bind("enable-bracketed-paste", "off");    // pasted lines are commands
    rl_variable_bind("show-all-if-ambiguous", "on");
    rl_variable_bind("completion-ignore-case", "on");
    rl_completer_word_break_characters = " \t|";
    rl_attempted_completion_function = complete_word;
    rl_completion_display_matches_hook = show_matches;
    rl_bind_key_in_map('?', show_help, emacs_standard_keymap);
    rl_bind_key_in_map('?', show_help, vi_insertion_keymap);
    using_history();
    stifle_history(static_cast<int>(history_file::most_lines));
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = note_resumed;
    sigaction(SIGCONT, &action, nullptr);
    action.sa_handler = note_resized;
    sigaction(SIGWINCH, &action, nullptr);
}

void readline_editor::remember(const std::string &line) {
    add_history(line.c_str());
}

void readline_editor::line_came(char *line) {
    self->done_ = true;
    self->ended_ = line == nullptr;
    self->line_ = line == nullptr ? "" : line;
    free(line);
    rl_callback_handler_remove();
}

void readline_editor::explain(const completion_set &set) {
    rl_crlf();
    fflush(rl_outstream);
    show(candidate_lines(set));
    redraw();
}

// In an expression a question mark is itself.
int readline_editor::show_help(int count, int key) {
    const completion_set set = complete(typed_so_far(), self->raw);
    if (set.pattern) {
        return rl_insert(count, key);
    }
    self->explain(set);
    return 0;
}

char **readline_editor::complete_word(const char *text, int /*start*/, int /*end*/) {
    self->fitting_ = complete(typed_so_far(), self->raw);
    const completion_set &set = self->fitting_;
    rl_attempted_completion_over = set.file ? 0 : 1;
    std::vector<std::string> words;
    for (const candidate &one : set.candidates) {
        if (one.literal && set.typed == text) {
            words.push_back(one.word);
        }
    }
    if (!words.empty()) {
        rl_attempted_completion_over = 1;
        return as_matches(words);
    }
    if (!set.file && !set.pattern) {
        self->explain(set);
    }
    return nullptr;
}

void readline_editor::show_matches(char **matches, int count, int longest) {
    const bool words =
        std::any_of(self->fitting_.candidates.begin(), self->fitting_.candidates.end(),
                    [](const candidate &one) { return one.literal; });
    if (words) {
        self->explain(self->fitting_);
        return;
    }
    rl_crlf();
    rl_display_match_list(matches, count, longest);
    redraw();
}

line_editor::event readline_editor::drop_line() {
    rl_callback_sigcleanup();    // of a search
    rl_clear_message();
    rl_point = rl_end;
    rl_redisplay();
    rl_free_line_state();
    rl_replace_line("", 0);
    rl_callback_handler_remove();
    fputs(termination_seen() ? "\n" : "^C\n", rl_outstream);
    fflush(rl_outstream);
    return termination_seen() ? event::terminated : event::cleared;
}

// The terminal's modes and the line are as they were when the operator comes back to it.
void readline_editor::follow_terminal() {
    if (resized.exchange(false)) {
        rl_resize_terminal();
    }
    if (resumed.exchange(false)) {
        rl_deprep_terminal();    // else readline believes its modes still hold
        rl_prep_terminal(1);
        redraw();
    }
}

line_editor::event readline_editor::read(const std::string &prompt, std::string &line) {
    done_ = false;
    resumed.store(false);
    rl_callback_handler_install(prompt.c_str(), line_came);
    while (!done_) {
        if (wait_for_input(STDIN_FILENO, interrupted)) {
            rl_callback_read_char();
        } else if (interrupted()) {
            return drop_line();
        }
        follow_terminal();
    }
    if (ended_) {
        fputs("\n", rl_outstream);
        fflush(rl_outstream);
        return termination_seen() ? event::terminated : event::end;
    }
    line = std::move(line_);
    return event::line;
}

}    // namespace

std::unique_ptr<line_editor> make_readline_editor() {
    return std::make_unique<readline_editor>();
}

}    // namespace client
