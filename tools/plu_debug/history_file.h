// The lines that earlier shells were given.
#pragma once

#include <string>
#include <vector>

namespace client {

/// PLU_DEBUG_HISTORY, else plu_debug_history in XDG_STATE_HOME, else .plu_debug_history at home.
/// Empty when there shall be none.
std::string history_path();

class history_file {
public:
    /// An empty path keeps nothing.
    explicit history_file(std::string path) : path_(std::move(path)) {}

    static constexpr size_t most_lines = 1000;

    /// The last lines, oldest first. A file that cannot be used is told of once, and then left
    /// alone. One that has grown to twice its size is replaced by its last lines.
    std::vector<std::string> load();

    /// Appends one line in one piece, so that several shells may share the file.
    void append(const std::string &line);

private:
    void give_up(const std::string &reason);

    std::string path_;
};

}    // namespace client
