// The card's shared memory: one reserved mapping with the contexts in front and size-classed pools
// behind them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>

#include "phu/records.h"
#include "tbm/records.h"

namespace simcard {

/// Pools as the context dump counts them.
enum class Pool : uint8_t { nodes = 0, arrays = 1, leaves = 2, tables = 3 };

/// What a block holds. A block that was given back is handed out for the same kind and size only,
/// the oldest first, and keeps its contents until then: a reader that still follows it, without a
/// lock, meets records of the kind that it expects.
enum class Kind : uint8_t { node, child_array, leaf_array, child_slots, leaf_slots, leaf, table };
inline constexpr size_t kinds = 7;

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

class Memory {
public:
    Memory() = default;
    ~Memory();
    Memory(const Memory &) = delete;
    Memory &operator=(const Memory &) = delete;
    Memory(Memory &&) = delete;
    Memory &operator=(Memory &&) = delete;

    /// Maps (or maps afresh, all zero) the region and sets up pools. Returns false when the kernel
    /// refuses the address space.
    [[nodiscard]] bool map();

    [[nodiscard]] FixedPart &fixed() const { return *static_cast<FixedPart *>(base_); }
    [[nodiscard]] phu_context &phu() const { return fixed().plu.phu; }
    [[nodiscard]] bool mapped() const { return base_ != nullptr; }

    /// Zeroed memory, 8-byte aligned; null when the region is exhausted.
    void *allocate(Kind kind, size_t bytes);
    /// Gives memory back; `bytes` as it was asked for. Null is ignored.
    void release(Kind kind, void *block, size_t bytes);

    template <typename Record>
    Record *allocate(Kind kind) {
        return static_cast<Record *>(allocate(kind, sizeof(Record)));
    }
    template <typename Record>
    void release(Kind kind, Record *record) {
        release(kind, record, sizeof(Record));
    }

    /// Room left for records, in bytes.
    [[nodiscard]] size_t room() const { return static_cast<size_t>(end_ - next_); }

    /// Reference to a record in 8-byte units from the region's start, and back; 0 is null.
    [[nodiscard]] uint32_t reference(const void *record) const;
    [[nodiscard]] void *resolve(uint32_t reference) const;

private:
    static constexpr size_t class_step = 8;
    static constexpr size_t classes = 96;

    struct SizeClass {
        std::deque<void *> free;    // beside the blocks, not in them
        uint8_t *slab_next = nullptr;
        uint8_t *slab_end = nullptr;
    };

    SizeClass &class_of(Kind kind, size_t size) {
        return classes_[static_cast<size_t>(kind)][size / class_step];
    }
    void *carve(SizeClass &size_class, Pool pool, size_t bytes);
    void count(Pool pool, int64_t blocks, size_t bytes);

    void *base_ = nullptr;
    uint8_t *next_ = nullptr;
    uint8_t *end_ = nullptr;
    std::array<std::array<SizeClass, classes>, kinds> classes_{};
};

}    // namespace simcard
