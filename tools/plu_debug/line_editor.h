// Where the shell's lines come from.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace client {

class line_editor {
public:
    line_editor() = default;
    line_editor(const line_editor &) = delete;
    line_editor &operator=(const line_editor &) = delete;
    line_editor(line_editor &&) = delete;
    line_editor &operator=(line_editor &&) = delete;
    virtual ~line_editor() = default;

    enum class event { line, cleared, end, terminated };

    /// Asks for one line. `cleared`: Ctrl-C dropped what was typed; `terminated`: a signal asks to
    /// leave.
    virtual event read(const std::string &prompt, std::string &line) = 0;

    /// Makes a line one that can be called back.
    virtual void remember(const std::string &line) = 0;

    /// Shows what can stand at the end of what is typed; set by the shell.
    std::function<void(const std::string &)> show = [](const std::string &) {};
    bool raw = false;
};

}    // namespace client
