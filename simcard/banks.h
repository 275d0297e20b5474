// Node memory accounting: banks given to stride levels, blocks of consecutive nodes, and blocks
// that wait for the flush timer. The account is the card's own; the records of the context show it,
// and damage there is neither followed nor mended.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "records/context.h"

namespace simcard {

/// Consecutive nodes of one bank.
struct Block {
    uint32_t bank;
    uint32_t first;
    uint32_t nodes;
};

class Banks {
public:
    /// Empty banks: 40 reserved, 41 the root bank, the others without a level.
    void set_up(phu_context &context);

    /// Reserves consecutive nodes for a stride level (1 to 23). When no bank has room, takes back
    /// what waits from earlier operations; none when that does not help either.
    std::optional<Block> allocate(int level, uint32_t nodes);

    /// The block stays in use until flush() has been called twice.
    void release_later(const Block &block);

    /// Marks a root node used or free, at once.
    void set_root(uint32_t slot, bool used);
    [[nodiscard]] bool root_used(uint32_t slot) const {
        return (banks_[phu_root_bank].bitmap[slot / 64] >> (slot % 64) & 1) != 0;
    }

    /// One step of the flush timer: frees what has waited since before the last step.
    void flush();

    /// Starts a new operation: what was released before may be taken back when room is short.
    void next_operation();
    /// Takes back what was allocated and released since then.
    void roll_back();

    /// Banks worth emptying: of each level with several, the one with the fewest nodes in use when
    /// the others have room for them. Bit b: bank b.
    [[nodiscard]] uint64_t sparse() const;

    /// Keeps new blocks out of some banks, and takes no further bank, until called with 0.
    void avoid(uint64_t banks) { avoided_ = banks; }
    [[nodiscard]] bool avoided(uint32_t bank) const { return (avoided_ >> bank & 1) != 0; }

    /// True when nodes were freed since the last call.
    bool take_freed();

    /// Nodes that wait for the flush timer.
    [[nodiscard]] uint32_t waiting() const { return waiting_nodes_; }

    /// Called for every node that becomes free.
    using Clear = void (*)(void *context, uint32_t bank, uint32_t node);
    void on_clear(Clear clear, void *context) { clear_ = clear, clear_context_ = context; }

private:
    struct Bank {
        uint8_t level;
        uint32_t size;
        uint32_t used;
        uint32_t longest_run;    // upper bound of its free runs
        std::array<uint64_t, phu_large_bank_nodes / 64> bitmap;
    };
    struct Waiting {
        Block block;
        uint64_t operation;
        uint64_t tick;
    };

    std::optional<Block> allocate_now(int level, uint32_t nodes);
    std::optional<Block> allocate_in(uint32_t bank, uint32_t nodes);
    std::optional<uint32_t> assign_bank(int level);
    void mark(const Block &block, bool used);
    void free_now(const Block &block);
    void free_front();
    bool reclaim();

    phu_context *context_ = nullptr;
    std::array<Bank, phu_banks> banks_{};
    std::array<uint64_t, phu_stride_levels> level_banks_{};    // bit b: bank b has the level
    std::deque<Waiting> waiting_;
    std::vector<Block> allocated_;    // since the current operation began
    uint64_t avoided_ = 0;
    uint32_t waiting_nodes_ = 0;
    int32_t nodes_used_ = 0;
    uint64_t operation_ = 0;
    uint64_t tick_ = 0;
    bool freed_ = false;
    Clear clear_ = nullptr;
    void *clear_context_ = nullptr;
};

}    // namespace simcard
