// What the card knows of the blocks in its memory, kept beside them where no damage reaches: what a
// block is, and the place in the tree that it was taken for.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/tree.h"
#include "simcard/mapping.h"

namespace simcard {

/// What a block holds. A block that was given back is handed out for the same kind and size only,
/// the oldest first, and keeps its contents until then: a reader that still follows it, without a
/// lock, meets records of the kind that it expects.
enum class Kind : uint8_t {
    none,
    node,
    child_array,
    leaf_array,
    child_slots,
    leaf_slots,
    leaf,
    table
};
constexpr size_t kinds = 8;

constexpr size_t block_step = 8;    // blocks begin and end at multiples of it
constexpr size_t slab_bytes = 64U << 10;

/// Slabs of blocks of one kind and size each.
class BlockTable {
public:
    struct Slab {
        uint32_t *tags;         // of its blocks and of its end; of nodes, seals behind them
        uint32_t reciprocal;    // of a block's size, in 2^-32
        uint16_t bytes;         // of a block
        uint16_t blocks;
    };

    /// What is noted of a node.
    struct Seals {
        uint32_t structure;    // of its arrays and of its internal node
        uint32_t leaves;       // of its leaf array
        uint32_t hardware;     // of its state and its places in the banks
    };

    /// A block: the tag of a node or leaf is its place in the tree, 0 while nobody uses it.
    struct Note {
        const Slab *slab;    // null: no such block
        uint32_t index;

        // NOLINTBEGIN(clang-analyzer-core.NullDereference): asked of blocks that there are
        [[nodiscard]] uint32_t &tag() const { return slab->tags[index]; }
        [[nodiscard]] size_t bytes() const { return slab->bytes; }
        /// Of a node.
        [[nodiscard]] Seals &seals() const {
            return reinterpret_cast<Seals *>(slab->tags + slab->blocks + 1)[index];
        }
        // NOLINTEND(clang-analyzer-core.NullDereference)
    };

    /// A table for so many slabs from an address on, none of them given to a kind. False when the
    /// kernel refuses the memory.
    [[nodiscard]] bool set_up(const void *begin, size_t slabs);

    /// Gives the slab at an address to blocks of a size; its last step begins none. Returns how
    /// many it holds.
    uint32_t add_slab(const void *slab, Kind kind, size_t bytes);

    /// True when so many bytes from an address on can be read and lie among blocks of a kind: what
    /// is read there is still to be held against a tag.
    [[nodiscard]] bool among(Kind kind, const void *at, size_t bytes) const {
        const uint64_t offset = reinterpret_cast<uint64_t>(at) - begin_;
        return offset / slab_bytes < slabs_ && kinds_[offset / slab_bytes] == kind &&
               offset % block_step == 0 && offset % slab_bytes + bytes <= slab_bytes;
    }
    template <typename Record>
    [[nodiscard]] bool among(Kind kind, const Record *record) const {
        return among(kind, record, sizeof(Record));
    }
    /// The block of a kind that starts at an address, in use or not; no note when none does.
    [[nodiscard]] Note find(Kind kind, const void *block) const {
        if (!among(kind, block, block_step)) {
            return {};
        }
        const uint64_t offset = reinterpret_cast<uint64_t>(block) - begin_;
        const Slab &slab = directory_[offset / slab_bytes];
        const auto inside = static_cast<uint32_t>(offset % slab_bytes);
        const auto index = static_cast<uint32_t>(uint64_t{inside} * slab.reciprocal >> 32);
        return index * slab.bytes == inside ? Note{&slab, index} : Note{};
    }
    /// Fetches what is noted of a node, if it is one.
    void prefetch(const tn *node) const {
        if (const Note found = find(Kind::node, node); found.slab != nullptr) {
            __builtin_prefetch(&found.tag());
            __builtin_prefetch(&found.seals());
        }
    }
    /// True when a block of a kind starts at an address that is in use for a place.
    [[nodiscard]] bool holds(Kind kind, const void *block, uint32_t place) const {
        const Note found = find(kind, block);
        return found.slab != nullptr && found.tag() == place;
    }

private:
    Mapping memory_;
    uint64_t begin_ = 0;
    Kind *kinds_ = nullptr;    // of each slab
    Slab *directory_ = nullptr;
    uint32_t *next_tag_ = nullptr;
    size_t slabs_ = 0;
};

}    // namespace simcard
