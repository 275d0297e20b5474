#include "simcard/memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

namespace simcard {

namespace {

constexpr size_t prefix_space = 0x180000000;    // 6 GiB behind the node of root slot 0
constexpr size_t slack = 4U << 20;              // the space's last byte is readable, too
constexpr size_t region_size = (sizeof(FixedPart) + prefix_space + slack) & ~size_t{4095};
constexpr size_t huge_page = 2U << 20;
constexpr size_t slab_bytes = 64U << 10;

// Addresses repeat from run to run; free under the sanitizers' shadow layouts, too.
constexpr uintptr_t preferred_address = 0x7ea000000000;

void *reserve(void *wanted, int flags) {
    void *region = mmap(wanted, region_size, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | flags, -1, 0);
    return region == MAP_FAILED ? nullptr : region;
}

constexpr size_t rounded(size_t bytes, size_t step) {
    return (bytes + step - 1) / step * step;
}

}    // namespace

Memory::~Memory() {
    if (base_ != nullptr) {
        munmap(base_, region_size);
    }
}

bool Memory::map() {
    void *wanted = base_ != nullptr ? base_ : reinterpret_cast<void *>(preferred_address);
    void *region = reserve(wanted, base_ != nullptr ? MAP_FIXED : MAP_FIXED_NOREPLACE);
    if (region == nullptr) {
        region = reserve(nullptr, 0);
    }
    if (region == nullptr) {
        return false;
    }
    base_ = region;
    madvise(base_, region_size, MADV_HUGEPAGE);
    auto *start = static_cast<uint8_t *>(base_);
    next_ = start + rounded(sizeof(FixedPart), huge_page);
    end_ = start + offsetof(FixedPart, first_node) + prefix_space;
    classes_ = {};
    return true;
}

void *Memory::allocate(Kind kind, size_t bytes) {
    const size_t size = rounded(bytes, class_step);
    const bool small = size / class_step < classes;
    void *block = nullptr;
    if (small) {
        block = carve(class_of(kind, size), pool_of(kind), size);
    } else if (room() >= size) {
        block = next_;
        next_ += rounded(size, 64);
    }
    if (block != nullptr) {
        memset(block, 0, small ? size : 0);
        count(pool_of(kind), 1, size);
    }
    return block;
}

void *Memory::carve(SizeClass &size_class, Pool pool, size_t bytes) {
    if (!size_class.free.empty()) {
        void *block = size_class.free.front();
        size_class.free.pop_front();
        phu().pool_free[static_cast<size_t>(pool)]--;
        return block;
    }
    if (size_class.slab_next == nullptr || size_class.slab_next + bytes > size_class.slab_end) {
        if (room() < slab_bytes) {
            return nullptr;
        }
        size_class.slab_next = next_;
        size_class.slab_end = next_ + slab_bytes - class_step;    // a zero word ends the slab
        next_ += slab_bytes;
        const auto blocks = static_cast<int64_t>((slab_bytes - class_step) / bytes);
        phu().pool_free[static_cast<size_t>(pool)] += blocks;
        if (static_cast<int>(pool) < phu_pools_with_record) {
            fixed().pool_record[static_cast<size_t>(pool)].size += static_cast<int32_t>(blocks);
        }
    }
    void *block = size_class.slab_next;
    size_class.slab_next += bytes;
    phu().pool_free[static_cast<size_t>(pool)]--;
    return block;
}

void Memory::release(Kind kind, void *block, size_t bytes) {
    if (block == nullptr) {
        return;
    }
    const size_t size = rounded(bytes, class_step);
    class_of(kind, size).free.push_back(block);
    phu().pool_free[static_cast<size_t>(pool_of(kind))]++;
    count(pool_of(kind), -1, size);
}

/// Alloc and free per pool are blocks in use and blocks ready for use; the shm totals count events.
void Memory::count(Pool pool, int64_t blocks, size_t bytes) {
    phu_context &context = phu();
    const int64_t delta = blocks * static_cast<int64_t>(bytes);
    context.pool_alloc[static_cast<size_t>(pool)] += blocks;
    context.pool_bytes[static_cast<size_t>(pool)] += delta;
    context.alloc_byte += delta;
    (blocks > 0 ? context.shm_alloc : context.shm_free)++;
}

uint32_t Memory::reference(const void *record) const {
    return record == nullptr
               ? 0
               : static_cast<uint32_t>(
                     (static_cast<const uint8_t *>(record) - static_cast<uint8_t *>(base_)) / 8);
}

void *Memory::resolve(uint32_t reference) const {
    return reference == 0 ? nullptr : static_cast<uint8_t *>(base_) + uint64_t{reference} * 8;
}

}    // namespace simcard
