#include "simcard/block_table.h"

namespace simcard {

bool BlockTable::set_up(const void *begin, size_t slabs) {
    const size_t tags = slab_bytes / block_step * sizeof(uint32_t);    // of the smallest blocks
    if (!memory_.map(slabs * (sizeof(Slab) + tags + sizeof(Kind)))) {
        return false;
    }
    begin_ = reinterpret_cast<uint64_t>(begin);
    slabs_ = slabs;
    directory_ = static_cast<Slab *>(memory_.begin());
    next_tag_ = reinterpret_cast<uint32_t *>(directory_ + slabs);
    kinds_ = reinterpret_cast<Kind *>(next_tag_) + slabs * tags;
    return true;
}

uint32_t BlockTable::add_slab(const void *slab, Kind kind, size_t bytes) {
    const auto blocks = static_cast<uint32_t>((slab_bytes - block_step) / bytes);
    const auto reciprocal = static_cast<uint32_t>((uint64_t{1} << 32) / bytes + 1);
    const size_t number = (reinterpret_cast<uint64_t>(slab) - begin_) / slab_bytes;
    directory_[number] = {next_tag_, reciprocal, static_cast<uint16_t>(bytes),
                          static_cast<uint16_t>(blocks)};
    kinds_[number] = kind;
    next_tag_ += (kind == Kind::node ? 1 + sizeof(Seals) / sizeof(uint32_t) : 1) * (blocks + 1);
    return blocks;
}

}    // namespace simcard
