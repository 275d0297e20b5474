// The lines that this and earlier shells were given.
#pragma once

#include <histedit.h>

#include <memory>
#include <string>

namespace client {

/// PLU_DEBUG_HISTORY, else plu_debug_history in XDG_STATE_HOME, else .plu_debug_history at home.
/// Empty when there shall be none.
std::string history_path();

class line_history {
public:
    /// Reads the file's last lines; an empty path keeps nothing beyond this shell. A file that
    /// cannot be used is told of once, and then left alone. One that has grown to twice its size is
    /// replaced by its last lines.
    explicit line_history(std::string path);

    /// Adds a line unless the last one is the same; to the file in one piece, so that several
    /// shells may share it.
    void add(const std::string &line);

    [[nodiscard]] History *list() const { return list_.get(); }

private:
    struct closer {
        void operator()(History *list) const { history_end(list); }
    };
    using history_list = std::unique_ptr<History, closer>;

    static history_list make_list();
    void load();
    void give_up(const std::string &reason);

    std::string path_;
    history_list list_;
};

}    // namespace client
