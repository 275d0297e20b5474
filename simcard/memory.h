// The card's shared memory: one reserved mapping with the contexts in front and size-classed pools
// behind them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "phu/records.h"
#include "tbm/records.h"

namespace simcard {

enum class Pool : uint8_t { nodes = 0, arrays = 1, leaves = 2, tables = 3 };

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

    /// Zeroed memory of a pool, 8-byte aligned; null when the region is exhausted.
    void *allocate(Pool pool, size_t bytes);
    /// Gives memory back; `bytes` as it was asked for. Null is ignored.
    void release(Pool pool, void *block, size_t bytes);

    template <typename Record>
    Record *allocate(Pool pool) {
        return static_cast<Record *>(allocate(pool, sizeof(Record)));
    }
    template <typename Record>
    void release(Pool pool, Record *record) {
        release(pool, record, sizeof(Record));
    }

    /// Room left for records, in bytes.
    [[nodiscard]] size_t room() const { return static_cast<size_t>(end_ - next_); }

    /// Reference to a record in 8-byte units from the region's start, and back; 0 is null.
    [[nodiscard]] uint32_t reference(const void *record) const;
    [[nodiscard]] void *resolve(uint32_t reference) const;

private:
    static constexpr size_t class_step = 8;
    static constexpr size_t classes = 96;

    struct FreeBlock {
        FreeBlock *next;
    };
    struct SizeClass {
        FreeBlock *free;
        uint8_t *slab_next;
        uint8_t *slab_end;
    };

    void *carve(SizeClass &size_class, Pool pool, size_t bytes);
    void count(Pool pool, int64_t blocks, size_t bytes);

    void *base_ = nullptr;
    uint8_t *next_ = nullptr;
    uint8_t *end_ = nullptr;
    std::array<std::array<SizeClass, classes>, phu_pools> pools_{};
};

}    // namespace simcard
