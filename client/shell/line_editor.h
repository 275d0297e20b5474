// The line that the operator types: editing, history, completion and help on the terminal.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "client/shell/history.h"
#include "client/words/completion.h"

namespace client {

class line_editor {
public:
    /// Prompts go to standard output or, when that is no terminal, to standard error. There can be
    /// one. `show` shows what fits behind what is typed; with `raw` names and plain numbers alone.
    line_editor(bool raw, std::function<void(const std::string &)> show);
    ~line_editor();
    line_editor(const line_editor &) = delete;
    line_editor &operator=(const line_editor &) = delete;
    line_editor(line_editor &&) = delete;
    line_editor &operator=(line_editor &&) = delete;

    enum class event { line, cleared, end, terminated };

    /// Asks for one line. `cleared`: Ctrl-C dropped what was typed; `terminated`: a signal asks to
    /// leave.
    event read(const std::string &prompt, std::string &line);

    /// Makes a line one that can be called back.
    void remember(const std::string &line) { history_.add(line); }

private:
    struct callbacks;

    unsigned char complete_word();
    unsigned char explain_or_insert();
    void replace_typed(const std::string &typed, const std::string &text);
    void explain(const completion_set &set);
    void follow_terminal();
    bool leave_line();
    void resize();
    void go_to_end();
    event dropped();

    bool raw_;
    std::function<void(const std::string &)> show_;
    std::string prompt_;
    size_t columns_ = 0;    // of the terminal when the line was drawn
    line_history history_;
    EditLine *editor_;
};

}    // namespace client
