#include "simcard/memory.h"

#include <cstring>

namespace simcard {

namespace {

constexpr size_t prefix_space = 0x180000000;    // 6 GiB behind the node of root slot 0
constexpr size_t slack = 4U << 20;              // the space's last byte is readable, too
constexpr size_t region_size = (sizeof(FixedPart) + prefix_space + slack) & ~size_t{4095};
constexpr size_t huge_page = 2U << 20;

// Addresses repeat from run to run; free under the sanitizers' shadow layouts, too.
constexpr uintptr_t preferred_address = 0x7ea000000000;

constexpr size_t rounded(size_t bytes, size_t step) {
    return (bytes + step - 1) / step * step;
}

}    // namespace

bool Memory::map() {
    if (!region_.map(region_size, reinterpret_cast<void *>(preferred_address))) {
        return false;
    }
    auto *start = static_cast<uint8_t *>(region_.begin());
    next_ = start + rounded(sizeof(FixedPart), huge_page);
    end_ = start + offsetof(FixedPart, first_node) + prefix_space;
    first_seals_ = {};
    roots_ = {};
    classes_ = {};
    undo_.forget();
    allocated_.clear();
    released_.clear();
    return blocks_.set_up(next_, room() / slab_bytes);
}

void Memory::open_first_slabs() {
    constexpr struct {
        Kind kind;
        size_t bytes;
    } first[] = {{Kind::leaf, sizeof(leaf)},
                 {Kind::node, sizeof(tn)},
                 {Kind::child_array, sizeof(tree_array)},
                 {Kind::child_slots, sizeof(void *)},
                 {Kind::leaf_array, sizeof(leaf_array)},
                 {Kind::leaf_slots, sizeof(void *)}};
    for (const auto &row : first) {
        new_slab(class_of(row.kind, row.bytes), row.kind, row.bytes);
    }
}

void *Memory::allocate(Kind kind, size_t bytes, uint32_t place) {
    if (kind == Kind::table) {
        return allocate_table(bytes);
    }
    void *block = carve(kind, bytes);
    if (block != nullptr) {
        memset(block, 0, bytes);
        note_place(kind, block, place);
        count(pool_of(kind), 1, bytes);
        allocated_.push_back({kind, block});
    }
    return block;
}

/// Arrays and slots are known by the seals of their nodes.
void Memory::note_place(Kind kind, const void *block, uint32_t place) {
    if (kind == Kind::node || kind == Kind::leaf) {
        const BlockTable::Note note = blocks_.find(kind, block);
        note.tag() = place;
        if (kind == Kind::node) {
            note.seals() = {};
        }
    }
}

/// Tables are never given back and begin at slabs.
void *Memory::allocate_table(size_t bytes) {
    if (room() < rounded(bytes, slab_bytes)) {
        return nullptr;
    }
    void *table = next_;
    next_ += rounded(bytes, slab_bytes);
    count(Pool::tables, 1, bytes);
    return table;
}

void *Memory::carve(Kind kind, size_t bytes) {
    SizeClass &size_class = class_of(kind, bytes);
    int64_t &ready = phu().pool_free[static_cast<size_t>(pool_of(kind))];
    if (!size_class.free.empty()) {
        void *block = size_class.free.front();
        size_class.free.pop_front();
        advance(ready, -1);
        return block;
    }
    if (size_class.slab_next == size_class.slab_end) {
        if (room() < slab_bytes) {
            return nullptr;
        }
        new_slab(size_class, kind, bytes);
    }
    void *block = size_class.slab_next;
    size_class.slab_next += bytes;
    advance(ready, -1);
    return block;
}

void Memory::new_slab(SizeClass &size_class, Kind kind, size_t bytes) {
    const uint32_t blocks = blocks_.add_slab(next_, kind, bytes);
    size_class.slab_next = next_;
    size_class.slab_end = next_ + blocks * bytes;
    next_ += slab_bytes;
    const auto pool = static_cast<size_t>(pool_of(kind));
    advance(phu().pool_free[pool], blocks);
    advance(fixed().pool_record[pool].size, blocks);
}

void Memory::set_root(uint32_t slot, tn *node) {
    tn *&shown = fixed().root_slots[slot];
    undo_.save(shown);
    undo_.save(roots_[slot]);
    shown = roots_[slot] = node;
}

void Memory::release(Kind kind, const void *block) {
    if (block != nullptr) {
        released_.push_back({kind, const_cast<void *>(block)});
    }
}

void Memory::put_back(const Used &used) {
    const size_t bytes = blocks_.find(used.kind, used.block).bytes();
    note_place(used.kind, used.block, 0);
    class_of(used.kind, bytes).free.push_back(used.block);
    advance(phu().pool_free[static_cast<size_t>(pool_of(used.kind))], 1);
    count(pool_of(used.kind), -1, bytes);
}

void Memory::commit() {
    for (const Used &used : released_) {
        put_back(used);
    }
    released_.clear();
    allocated_.clear();
    undo_.forget();
}

void Memory::roll_back() {
    undo_.roll_back();
    for (const Used &used : allocated_) {
        put_back(used);
        phu_context &context = phu();
        advance(context.shm_alloc, -1);
        advance(context.shm_free, -1);
    }
    allocated_.clear();
    released_.clear();
}

/// Alloc and free per pool are blocks in use and blocks ready for use; the shm totals count events.
void Memory::count(Pool pool, int64_t blocks, size_t bytes) {
    phu_context &context = phu();
    const int64_t change = blocks * static_cast<int64_t>(bytes);
    advance(context.pool_alloc[static_cast<size_t>(pool)], blocks);
    advance(context.pool_bytes[static_cast<size_t>(pool)], change);
    advance(context.alloc_byte, change);
    advance(blocks > 0 ? context.shm_alloc : context.shm_free, 1);
}

uint32_t Memory::reference(const void *record) const {
    const auto *start = static_cast<const uint8_t *>(region_.begin());
    return static_cast<uint32_t>((static_cast<const uint8_t *>(record) - start) / 8);
}

}    // namespace simcard
