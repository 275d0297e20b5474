// Old contents of what the current operation changes, for taking it back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace simcard {

class Undo {
public:
    /// Keeps a record as it is now.
    template <typename Record>
    void save(const Record &record) {
        save(&record, sizeof(Record));    // NOLINT(bugprone-sizeof-expression): pointers, too
    }
    [[gnu::always_inline]] void save(const void *at, size_t bytes) {
        if (!on_) {
            return;
        }
        if (saved_.size() < end_ + bytes) [[unlikely]] {
            saved_.resize(2 * (end_ + bytes));
        }
        memcpy(saved_.data() + end_, at, bytes);
        places_.push_back({const_cast<void *>(at), end_});
        end_ += bytes;
    }

    /// Puts everything back, the newest first.
    void roll_back() {
        for (; !places_.empty(); places_.pop_back()) {
            const Place &last = places_.back();
            memcpy(last.at, saved_.data() + last.begin, end_ - last.begin);
            end_ = last.begin;
        }
    }
    void forget() {
        places_.clear();
        end_ = 0;
    }

    /// Off while changes need not be taken back.
    void keep(bool on) { on_ = on; }

private:
    struct Place {
        void *at;
        size_t begin;    // of its contents in saved_
    };
    std::vector<Place> places_;
    std::vector<uint8_t> saved_;
    size_t end_ = 0;
    bool on_ = true;
};

}    // namespace simcard
