// The card's shared memory: one reserved mapping with the contexts in front and size-classed pools
// behind them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "records/context.h"
#include "records/tree.h"
#include "simcard/block_table.h"
#include "simcard/mapping.h"
#include "simcard/undo.h"

namespace simcard {

/// Pools as the context dump counts them.
enum class Pool : uint8_t { nodes = 0, arrays = 1, leaves = 2, tables = 3 };

constexpr Pool pool_of(Kind kind) {
    switch (kind) {
        case Kind::node:
            return Pool::nodes;
        case Kind::leaf:
            return Pool::leaves;
        case Kind::table:
            return Pool::tables;
        default:
            return Pool::arrays;
    }
}

/// Everything in front of the pools, in the order in which it lies in memory: the node of root slot
/// 0 comes last, so that every record of the pools lies above it.
struct FixedPart {
    alignas(64) plu_shm_block plu_shm;
    alignas(64) phu_shm_block phu_shm;
    alignas(64) plu_context plu;
    alignas(64) tbm_handle_record handle;
    uint8_t stride_map[phu_stride_levels];
    phu_pool_record pool_record[phu_pools_with_record];
    alignas(16) tree_array root;
    tn *root_slots[1U << tbm_root_bits];
    alignas(64) tn first_node;
};

/// Adds to a counter that anybody may have set to anything.
template <typename Counter>
void advance(Counter &counter, int64_t change) {
    counter = static_cast<Counter>(static_cast<uint64_t>(counter) + static_cast<uint64_t>(change));
}

class Memory {
public:
    /// Maps (or maps afresh, all zero) the region and sets up pools. Returns false when the kernel
    /// refuses the address space.
    [[nodiscard]] bool map();

    [[nodiscard]] FixedPart &fixed() const { return *static_cast<FixedPart *>(region_.begin()); }
    [[nodiscard]] phu_context &phu() const { return fixed().plu.phu; }

    /// Lets the smallest records of each kind begin at the same addresses whatever is added first.
    void open_first_slabs();

    /// Zeroed memory, 8-byte aligned; nodes and leaves are for a place in the tree. Null when the
    /// region is exhausted, which `room` tells before.
    void *allocate(Kind kind, size_t bytes, uint32_t place = 0);
    template <typename Record>
    Record *allocate(Kind kind, uint32_t place = 0) {
        return static_cast<Record *>(allocate(kind, sizeof(Record), place));
    }
    /// Gives a block in use of the pools back when the current operation is done. Null is ignored.
    void release(Kind kind, const void *block);

    /// What is known of the blocks of the pools, for any address.
    [[nodiscard]] const BlockTable &blocks() const { return blocks_; }
    /// The seals of a node in use.
    [[nodiscard]] BlockTable::Seals &seals(const tn *node) const {
        return node == &fixed().first_node ? first_seals_ : blocks_.find(Kind::node, node).seals();
    }

    /// The node of a root slot, null without one, as the card keeps it and as it shows it.
    [[nodiscard]] tn *root(uint32_t slot) const { return roots_[slot]; }
    void set_root(uint32_t slot, tn *node);

    /// Room left for records, in bytes.
    [[nodiscard]] size_t room() const { return static_cast<size_t>(end_ - next_); }

    /// Reference to a record in 8-byte units from the region's start.
    [[nodiscard]] uint32_t reference(const void *record) const;

    /// Whatever the current operation is about to change is kept here first.
    [[nodiscard]] Undo &undo() { return undo_; }
    /// Ends the current operation: its changes stand, or all is as it was before.
    void commit();
    void roll_back();

private:
    static constexpr size_t classes = 96;

    struct SizeClass {
        std::deque<void *> free;    // beside the blocks, not in them
        uint8_t *slab_next = nullptr;
        uint8_t *slab_end = nullptr;
    };
    struct Used {
        Kind kind;
        void *block;
    };

    SizeClass &class_of(Kind kind, size_t bytes) {
        return classes_[static_cast<size_t>(kind)][bytes / block_step];
    }
    void *allocate_table(size_t bytes);
    void *carve(Kind kind, size_t bytes);
    void new_slab(SizeClass &size_class, Kind kind, size_t bytes);
    void note_place(Kind kind, const void *block, uint32_t place);
    void put_back(const Used &used);
    void count(Pool pool, int64_t blocks, size_t bytes);

    Mapping region_;
    BlockTable blocks_;
    uint8_t *next_ = nullptr;
    uint8_t *end_ = nullptr;
    mutable BlockTable::Seals first_seals_{};    // of the node of root slot 0
    std::array<tn *, 1U << tbm_root_bits> roots_{};
    std::array<std::array<SizeClass, classes>, kinds> classes_{};
    Undo undo_;
    std::vector<Used> allocated_;    // by the current operation
    std::vector<Used> released_;
};

}    // namespace simcard
