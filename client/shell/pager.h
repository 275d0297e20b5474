// Shows text on a terminal one screen at a time.
#pragma once

#include <cstddef>
#include <string_view>

#include "client/base/output.h"

namespace client {

class pager : public text_sink {
public:
    /// `screen` is the terminal when `pages`, else everything just passes. With `drops` an
    /// interrupt also drops what has come but is not shown yet.
    pager(output &screen, bool pages, bool drops) : screen_(screen), pages_(pages), drops_(drops) {}

    /// A new command may fill a screen.
    void start();

    /// Shows text and waits for a key after each screen. When the operator has had enough, the
    /// command is interrupted and everything up to the next start is dropped.
    void take(std::string_view text) override;

    /// Ends a command: the last line gets its end.
    void finish();

    [[nodiscard]] bool quit() const { return quit_; }

private:
    void page(std::string_view text);
    void show(std::string_view text);
    void show_all(std::string_view text);
    [[nodiscard]] bool dropping() const;
    size_t fitting(std::string_view text);
    void ask();

    output &screen_;
    bool pages_;
    bool drops_;
    bool all_ = true;    // without stops
    bool quit_ = false;
    size_t rows_ = 0;    // left on this screen
    size_t columns_ = 80;
    size_t column_ = 0;
    size_t line_ends_ = 0;    // held back until a text follows, so that they alone ask for no key
    char last_ = '\n';
};

}    // namespace client
