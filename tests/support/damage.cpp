#include "tests/support/damage.h"

#include <algorithm>
#include <cstring>
#include <random>

uint64_t damage_place::value() const {
    uint64_t found = 0;
    memcpy(&found, at, size);
    return found;
}

void damage_place::set(uint64_t value) const {
    memcpy(at, &value, size);
}

namespace {

struct garbage_page {
    alignas(8) uint64_t words[512];
    garbage_page() {
        std::mt19937_64 random(1);
        for (uint64_t &word : words) {
            word = random();
        }
    }
};

/// Collects places from the contexts down.
class mapper {
public:
    explicit mapper(damage_map &map) : map_(map) {}

    void contexts(plu_shm_block &block) {
        pointer("plu_shm.context", block.context, record_kind::context);
        record(record_kind::context, block.context);
        phu_context &phu = block.context->phu;
        pointer("phu.tbm_handle", phu.tbm_handle, record_kind::handle);
        for (phu_pool_record *&pool : phu.node_pool) {
            pointer("phu.node_pool", pool, record_kind::pool);
            record(record_kind::pool, pool);
        }
        numbers(phu);
        banks(phu);
        tbm_handle_record &handle = *phu.tbm_handle;
        record(record_kind::handle, &handle);
        record(record_kind::stride_map, handle.stride_map);
        pointer("handle.stride_map", handle.stride_map, record_kind::stride_map);
        pointer("handle.tbdb_root", handle.tbdb_root, record_kind::child_array);
        roots(*handle.tbdb_root);
    }

private:
    template <typename Field>
    void place(const char *name, Field &field, field_kind kind,
               record_kind target = record_kind::none, const void *above = nullptr) {
        map_.places.push_back({name, where_, &field, sizeof field, kind, target, above});
    }
    template <typename Record>
    void pointer(const char *name, Record *&field, record_kind target,
                 const void *above = nullptr) {
        place(name, field, field_kind::pointer, target, above);
    }
    void record(record_kind kind, const void *address) {
        map_.records[static_cast<size_t>(kind)].push_back(address);
    }

    void numbers(phu_context &phu) {
        place("phu.cfm_mask_count_limit", phu.cfm_mask_count_limit, field_kind::number);
        place("phu.bank_node_used", phu.bank_node_used, field_kind::number);
        place("phu.max_bank_nodes_usage", phu.max_bank_nodes_usage, field_kind::number);
        place("phu.alloc_byte", phu.alloc_byte, field_kind::number);
        place("phu.pool_alloc", phu.pool_alloc[0], field_kind::number);
        place("phu.pool_free", phu.pool_free[0], field_kind::number);
        place("phu.bank_bitmap", phu.bank_bitmap, field_kind::bitmap);
        for (int level = 0; level < 4; ++level) {
            place("phu.stride_value", phu.stride_value[level], field_kind::number);
            place("stride.level", phu.stride[level].level, field_kind::number);
            place("stride.bank_used", phu.stride[level].bank_used, field_kind::number);
            place("stride.bank_bitmap", phu.stride[level].bank_bitmap, field_kind::bitmap);
        }
    }

    /// The banks in use and the first free one.
    void banks(phu_context &phu) {
        int seen_free = 0;
        for (phu_bank_record &bank : phu.bank) {
            if (bank.node_used == 0 && seen_free++ != 0) {
                continue;
            }
            place("bank.bank_id", bank.bank_id, field_kind::number);
            place("bank.stride_level", bank.stride_level, field_kind::number);
            place("bank.bitmap_size", bank.bitmap_size, field_kind::number);
            place("bank.bank_size", bank.bank_size, field_kind::number);
            place("bank.node_used", bank.node_used, field_kind::number);
            place("bank.node_bitmap", bank.node_bitmap[0], field_kind::bitmap);
        }
    }

    /// The used root slots, and an empty one behind the first and at the end.
    void roots(tree_array &root) {
        record(record_kind::child_array, &root);
        record(record_kind::child_slots, root.ta_nodes);
        place("root.ta_nnodes", root.ta_nnodes, field_kind::count);
        place("root.ta_inode_exists", root.ta_inode_exists, field_kind::count);
        pointer("root.ta_nodes", root.ta_nodes, record_kind::child_slots);
        for (int slot = 0; slot < root.ta_nnodes; ++slot) {
            tn *&node = root.ta_nodes[slot];
            where_ = std::to_string(slot);
            if (node != nullptr || slot == 1 || slot + 1 == root.ta_nnodes) {
                pointer("root slot", node, record_kind::node, root.ta_nodes[0]);
            }
            if (node != nullptr) {
                this->node(*node, &root);
            }
        }
    }

    void node(tn &node, const tree_array *above) {
        record(record_kind::node, &node);
        place("tn.tn_flags", node.tn_flags, field_kind::flags);
        place("tn.hint_state", node.hint_state, field_kind::number);
        place("tn.bmsf", node.bmsf, field_kind::number);
        place("tn.key_type", node.key_type, field_kind::number);
        place("tn.tn_nodes", node.tn_nodes, field_kind::number);
        place("tn.hw_index", node.hw_index, field_kind::number);
        place("tn.en_hw_index", node.en_hw_index, field_kind::number);
        place("tn.hint_sn_word", node.hint_sn_word, field_kind::bitmap);
        place("tn.hint_mask", node.hint_mask.high, field_kind::bitmap);
        place("tn.par_bl_offset", node.par_bl_offset, field_kind::number);
        place("tn.par_bl_len", node.par_bl_len, field_kind::number);
        pointer("tn.par_bl_larray", node.par_bl_larray, record_kind::leaf_array);
        for (uint8_t &note : node.reserved106) {
            place("tn.reserved106", note, field_kind::number);
        }
        if ((node.tn_flags & tn_type_mask) == TN_SEARCH) {
            place("tn.sn_ebmap", node.sn_ebmap, field_kind::bitmap);
            place("tn.hint_ebmap", node.hint_ebmap, field_kind::bitmap);
            pointer("tn.sn_charray", node.sn_charray, record_kind::child_array, above);
            children(node, *node.sn_charray);
        } else {
            place("tn.in_ibmap", node.in_ibmap, field_kind::bitmap);
            pointer("tn.in_lfarray", node.in_lfarray, record_kind::leaf_array);
            if (node.in_lfarray != nullptr) {
                leaves(*node.in_lfarray);
            }
        }
    }

    void children(tn &parent, tree_array &array) {
        record(record_kind::child_array, &array);
        record(record_kind::child_slots, array.ta_nodes);
        place("child array.ta_nnodes", array.ta_nnodes, field_kind::count);
        place("child array.ta_inode_exists", array.ta_inode_exists, field_kind::count);
        pointer("child array.ta_nodes", array.ta_nodes, record_kind::child_slots);
        const std::string here = where_;
        tn **slot = array.ta_nodes;
        if (array.ta_inode_exists != 0) {
            where_ = here + "/intern";
            pointer("child slot", *slot, record_kind::node, &parent);
            node(**slot++, &array);
        }
        for (uint64_t left = parent.sn_ebmap; left != 0; left &= left - 1) {
            where_ = here + "/" + std::to_string(__builtin_ctzll(left));
            pointer("child slot", *slot, record_kind::node, &parent);
            node(**slot++, &array);
        }
        where_ = here;
    }

    void leaves(leaf_array &array) {
        record(record_kind::leaf_array, &array);
        record(record_kind::leaf_slots, array.la_leaves);
        place("leaf array.la_nnodes", array.la_nnodes, field_kind::count);
        pointer("leaf array.la_leaves", array.la_leaves, record_kind::leaf_slots);
        for (int i = 0; i < array.la_nnodes; ++i) {
            leaf *&entry = array.la_leaves[i];
            pointer("leaf slot", entry, record_kind::leaf);
            record(record_kind::leaf, entry);
            place("leaf.key_bits_used", entry->key_bits_used, field_kind::number);
            place("leaf.key", entry->key[2], field_kind::number);
        }
    }

    damage_map &map_;
    std::string where_ = "contexts";
};

constexpr uint64_t non_canonical_address = 0x8000000000000;
constexpr uint64_t unmapped_address = 0x7eb800000000;

uint64_t number(const void *address) {
    return reinterpret_cast<uint64_t>(address);
}

/// The record of a kind that comes after the old one in walk order, else the first one.
uint64_t another(record_kind kind, uint64_t old, const damage_map &map) {
    const auto &records = map.records[static_cast<size_t>(kind)];
    const auto at = std::find(records.begin(), records.end(), reinterpret_cast<const void *>(old));
    const bool last = at == records.end() || at + 1 == records.end();
    return records.empty() ? old : number(last ? records.front() : at[1]);
}

/// The record half way through the list of a kind.
uint64_t distant(record_kind kind, uint64_t old, const damage_map &map) {
    const auto &records = map.records[static_cast<size_t>(kind)];
    return records.empty() ? old : number(records[records.size() / 2]);
}

constexpr uint64_t with_stride(uint64_t flags, uint64_t stride) {
    return (flags & ~(uint64_t{0xf} << tn_stride_shift)) | stride << tn_stride_shift;
}
constexpr uint64_t largest_signed(const damage_place &place) {
    return (uint64_t{1} << (8 * place.size - 1)) - 1;
}
constexpr uint64_t all_ones(const damage_place &place) {
    return ~uint64_t{0} >> (64 - 8 * place.size);
}

using place_t = const damage_place &;
using map_t = const damage_map &;

template <record_kind kind>
uint64_t another_record(place_t, uint64_t old, map_t map) {
    return another(kind, old, map);
}
template <uint64_t type>
uint64_t of_type(place_t, uint64_t old, map_t) {
    return (old & ~uint64_t{tn_type_mask}) | type;
}
template <uint64_t stride>
uint64_t of_stride(place_t, uint64_t old, map_t) {
    return with_stride(old, stride);
}

constexpr field_kind pointer = field_kind::pointer;
constexpr field_kind flags = field_kind::flags;
constexpr field_kind bitmap = field_kind::bitmap;

constexpr damage_kind kinds[] = {
    {"null", pointer, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"off by 1", pointer, [](place_t, uint64_t old, map_t) { return old + 1; }},
    {"off by 4", pointer, [](place_t, uint64_t old, map_t) { return old + 4; }},
    {"off by 8", pointer, [](place_t, uint64_t old, map_t) { return old + 8; }},
    {"non-canonical", pointer, [](place_t, uint64_t, map_t) { return non_canonical_address; }},
    {"unmapped", pointer, [](place_t, uint64_t, map_t) { return unmapped_address; }},
    {"all ones", pointer, [](place_t, uint64_t, map_t) { return ~uint64_t{0}; }},
    {"garbage", pointer, [](place_t, uint64_t, map_t map) { return number(map.garbage); }},
    {"inside a node", pointer,
     [](place_t, uint64_t old, map_t map) { return another(record_kind::node, old, map) + 16; }},
    {"another node", pointer, another_record<record_kind::node>},
    {"another child array", pointer, another_record<record_kind::child_array>},
    {"other child slots", pointer, another_record<record_kind::child_slots>},
    {"another leaf array", pointer, another_record<record_kind::leaf_array>},
    {"other leaf slots", pointer, another_record<record_kind::leaf_slots>},
    {"another leaf", pointer, another_record<record_kind::leaf>},
    {"a distant record of the kind", pointer,
     [](place_t place, uint64_t old, map_t map) { return distant(place.target, old, map); }},
    {"what is above", pointer,
     [](place_t place, uint64_t old, map_t) {
         return place.above == nullptr ? old : number(place.above);
     }},

    {"0", field_kind::count, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"1", field_kind::count, [](place_t, uint64_t, map_t) { return uint64_t{1}; }},
    {"-1", field_kind::count, [](place_t place, uint64_t, map_t) { return all_ones(place); }},
    {"largest", field_kind::count,
     [](place_t place, uint64_t, map_t) { return largest_signed(place); }},
    {"one more", field_kind::count, [](place_t, uint64_t old, map_t) { return old + 1; }},
    {"one less", field_kind::count, [](place_t, uint64_t old, map_t) { return old - 1; }},

    {"0", field_kind::number, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"all ones", field_kind::number,
     [](place_t place, uint64_t, map_t) { return all_ones(place); }},
    {"largest", field_kind::number,
     [](place_t place, uint64_t, map_t) { return largest_signed(place); }},
    {"one more", field_kind::number, [](place_t, uint64_t old, map_t) { return old + 1; }},
    {"one less", field_kind::number, [](place_t, uint64_t old, map_t) { return old - 1; }},
    {"top bit", field_kind::number,
     [](place_t place, uint64_t old, map_t) { return old ^ (largest_signed(place) + 1); }},

    {"type 0", flags, of_type<0>},
    {"type 1", flags, of_type<1>},
    {"type 2", flags, of_type<2>},
    {"type 3", flags, of_type<3>},
    {"type 4", flags, of_type<4>},
    {"type 5", flags, of_type<5>},
    {"type 6", flags, of_type<6>},
    {"type 7", flags, of_type<7>},
    {"stride 0", flags, of_stride<0>},
    {"stride 5", flags, of_stride<5>},
    {"stride 7", flags, of_stride<7>},
    {"stride 10", flags, of_stride<10>},
    {"stride 15", flags, of_stride<15>},
    {"inode flag", flags, [](place_t, uint64_t old, map_t) { return old ^ tn_inode_flag; }},
    {"all ones", flags, [](place_t place, uint64_t, map_t) { return all_ones(place); }},

    {"0", bitmap, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"all ones", bitmap, [](place_t, uint64_t, map_t) { return ~uint64_t{0}; }},
    {"one bit more", bitmap, [](place_t, uint64_t old, map_t) { return old | (old + 1); }},
    {"one bit less", bitmap, [](place_t, uint64_t old, map_t) { return old & (old - 1); }},
    {"moved by one", bitmap, [](place_t, uint64_t old, map_t) { return old << 1 | old >> 63; }},
    {"top bit", bitmap, [](place_t, uint64_t old, map_t) { return old ^ uint64_t { 1 } << 63; }},
};

}    // namespace

damage_map map_damage(plu_shm_block &block, const void *garbage) {
    static const garbage_page own;
    damage_map map;
    map.garbage = garbage == nullptr ? own.words : garbage;
    mapper(map).contexts(block);
    return map;
}

const std::span<const damage_kind> damage_kinds(kinds);

std::optional<uint64_t> damaged_value(const damage_kind &kind, const damage_place &place,
                                      const damage_map &map) {
    if (kind.fits != place.kind) {
        return std::nullopt;
    }
    const uint64_t old = place.value();
    const uint64_t value = kind.value(place, old, map) & all_ones(place);
    return value == old ? std::nullopt : std::optional(value);
}
