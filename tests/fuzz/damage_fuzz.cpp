// Requests on a card with damaged records: every pointer null or naming another record of its kind,
// counts and flags never beyond the memory behind the pointers, everything else at random.
#include <algorithm>
#include <cstring>

#include "debug_channel/contexts.h"
#include "debug_channel/dispatch.h"
#include "phu/node_image.h"
#include "tbm/access.h"
#include "tests/fuzz/requests.h"

namespace {

constexpr size_t run_max = 16;    // damaged bytes in a row

fuzz_card card;

/// Old bytes of what was damaged, for putting them back.
class journal {
public:
    ~journal() {
        for (; !entries_.empty(); entries_.pop_back()) {
            memcpy(entries_.back().at, entries_.back().old, entries_.back().size);
        }
    }
    void set(void *at, const void *bytes, size_t size) {
        entry saved{at, size, {}};
        memcpy(saved.old, at, size);
        entries_.push_back(saved);
        memcpy(at, bytes, size);
    }
    template <typename Field>
    void set(Field &field, Field value) {
        set(&field, &value, sizeof field);
    }

private:
    struct entry {
        void *at;
        size_t size;
        uint8_t old[run_max];
    };
    std::vector<entry> entries_;
};

/// Part of a record that holds no pointer.
struct span {
    size_t first;
    size_t end;
};

/// Sets a run of bytes of a span to anything.
void damage_bytes(void *record, const span &part, fuzz_input &input, journal &undo) {
    const size_t at = part.first + input.bytes(3) % (part.end - part.first);
    const size_t size = std::min<size_t>(input.byte() % run_max + 1, part.end - at);
    uint8_t bytes[run_max];
    std::generate_n(bytes, size, [&] { return input.byte(); });
    undo.set(static_cast<uint8_t *>(record) + at, bytes, size);
}

template <typename Record>
Record *null_or_any(const std::vector<Record *> &records, fuzz_input &input) {
    return input.byte() % 4 == 0 ? nullptr : records[input.below(records.size())];
}

/// At most the count that is there, or negative.
template <typename Count>
Count plausible_count(Count count, fuzz_input &input) {
    const auto choice = static_cast<int8_t>(input.byte());
    return static_cast<Count>(choice < 0 ? choice : choice % (std::max<int>(count, 0) + 1));
}

enum class array_kind { children, leaves, unknown };

array_kind kind_of(uint16_t flags) {
    switch (flags & tn_type_mask) {
        case TN_SEARCH:
            return array_kind::children;
        case TN_END:
        case TN_INTERN:
            return array_kind::leaves;
        default:
            return array_kind::unknown;
    }
}

/// A type word. A node gains no internal-node slot, and a type that promises an array of another
/// kind comes without the array.
void damage_flags(tn *node, fuzz_input &input, journal &undo) {
    const auto wild = static_cast<uint16_t>(input.bytes(2));
    const auto flags = static_cast<uint16_t>(wild & (node->tn_flags | ~tn_inode_flag));
    if (kind_of(flags) != array_kind::unknown && kind_of(flags) != kind_of(node->tn_flags)) {
        undo.set(node->sn_charray, static_cast<tree_array *>(nullptr));
    }
    undo.set(node->tn_flags, flags);
}

void damage_array_pointer(tn *node, fuzz_input &input, journal &undo) {
    if (!tn_is_search(node)) {
        undo.set(node->in_lfarray, null_or_any(card.leaf_arrays, input));
        return;
    }
    tree_array *array = null_or_any(card.children, input);
    if (array != nullptr && tn_inode_bit(node) != 0 && array->ta_inode_exists == 0) {
        return;    // one slot too short
    }
    undo.set(node->sn_charray, array);
}

void damage_node(tn *node, fuzz_input &input, journal &undo) {
    static constexpr span parts[] = {
        {sizeof tn::tn_flags, offsetof(tn, par_bl_larray)},
        {offsetof(tn, par_bl_larray) + sizeof(void *), offsetof(tn, sn_charray)},
        {offsetof(tn, sn_ebmap), sizeof(tn)}};
    const size_t choice = input.byte() % (std::size(parts) + 4);
    if (choice < std::size(parts)) {
        damage_bytes(node, parts[choice], input, undo);
    } else if (choice == std::size(parts)) {
        damage_flags(node, input, undo);
    } else if (choice == std::size(parts) + 1) {
        undo.set(node->par_bl_larray, null_or_any(card.leaf_arrays, input));
    } else if (choice == std::size(parts) + 2) {
        damage_array_pointer(node, input, undo);
    } else {
        damage_bytes(node, {16, 24}, input, undo);    // the small numbers
    }
}

void damage_children(tree_array *array, fuzz_input &input, journal &undo) {
    const int slots = array->ta_nnodes + (array->ta_inode_exists != 0 ? 1 : 0);
    const uint8_t choice = input.byte() % 8;
    if (choice == 0) {
        undo.set(array->ta_nodes, static_cast<tn **>(nullptr));
    } else if (choice < 3 && array->ta_nnodes >= 0) {
        undo.set(array->ta_nnodes, plausible_count(array->ta_nnodes, input));
    } else if (slots > 0 && array->ta_nodes != nullptr) {
        undo.set(array->ta_nodes[input.below(static_cast<size_t>(slots))],
                 null_or_any(card.nodes, input));
    }
}

void damage_leaves(leaf_array *array, fuzz_input &input, journal &undo) {
    const int count = leaf_count(array);
    const uint8_t choice = input.byte() % 8;
    if (choice == 0) {
        undo.set(array->la_leaves, static_cast<leaf **>(nullptr));
    } else if (choice < 3) {
        undo.set(array->la_nnodes, plausible_count(count, input));
    } else if (count > 0 && array->la_leaves != nullptr) {
        undo.set(array->la_leaves[input.below(static_cast<size_t>(count))],
                 null_or_any(card.leaves, input));
    }
}

void damage_root(simcard::FixedPart &part, fuzz_input &input, journal &undo) {
    if (input.byte() % 4 == 0) {
        undo.set(part.root.ta_nnodes, plausible_count(part.root.ta_nnodes, input));
    } else {
        undo.set(part.root_slots[input.below(std::size(part.root_slots))],
                 null_or_any(card.nodes, input));
    }
}

/// Contexts, banks and stride levels.
void damage_contexts(simcard::FixedPart &part, fuzz_input &input, journal &undo) {
    static constexpr span numbers[] = {
        {offsetof(phu_context, cfm_mask_count_limit), offsetof(phu_context, reserved2128)},
        {offsetof(phu_context, shm_alloc), offsetof(phu_context, stride)},
        {offsetof(phu_context, stride), offsetof(phu_context, bank)},
        {offsetof(phu_context, bank), offsetof(phu_context, bank_node_used)},
        {offsetof(phu_context, bank_node_used), sizeof(phu_context)}};
    const size_t choice = input.byte() % (std::size(numbers) + 4);
    if (choice < std::size(numbers)) {
        return damage_bytes(&part.plu.phu, numbers[choice], input, undo);
    }
    switch (choice - std::size(numbers)) {
        case 0:    // the heads of the bank records
            return damage_bytes(&part.plu.phu.bank[input.below(phu_banks)],
                                {0, offsetof(phu_bank_record, node_bitmap)}, input, undo);
        case 1:
            return damage_bytes(&part.plu, {offsetof(plu_context, npu_count), sizeof(plu_context)},
                                input, undo);
        case 2:
            return damage_bytes(&part.handle, {8, offsetof(tbm_handle_record, stride_map)}, input,
                                undo);
        default:
            return damage_bytes(part.stride_map, {0, sizeof part.stride_map}, input, undo);
    }
}

void lose_pointer(simcard::FixedPart &part, fuzz_input &input, journal &undo) {
    phu_context &phu = part.plu.phu;
    switch (input.byte() % 7) {
        case 0:
            return undo.set(phu.tbm_handle, static_cast<tbm_handle_record *>(nullptr));
        case 1:
            return undo.set(phu.node_pool[input.below(phu_pools_with_record)],
                            static_cast<phu_pool_record *>(nullptr));
        case 2:
            return undo.set(part.handle.tbdb_root, static_cast<tree_array *>(nullptr));
        case 3:
            return undo.set(part.handle.stride_map, static_cast<const uint8_t *>(nullptr));
        case 4:
            return undo.set(part.root.ta_nodes, static_cast<tn **>(nullptr));
        case 5:
            return undo.set(part.plu_shm.context, static_cast<plu_context *>(nullptr));
        default:
            return damage_bytes(&part.plu_shm, {0, offsetof(plu_shm_block, context)}, input, undo);
    }
}

/// Changes the image of a node in the chips' memory; the old one goes back in the end.
class chip_damage {
public:
    ~chip_damage() {
        for (; !old_.empty(); old_.pop_back()) {
            card.card->chip().write_node(old_.back().hw_index, old_.back().image);
        }
    }
    void apply(fuzz_input &input) {
        const uint32_t hw_index = card.hw_indexes[input.below(card.hw_indexes.size())];
        phu_node image = card.card->chip().node(hw_index);
        old_.push_back({hw_index, image});
        auto *bytes = reinterpret_cast<uint8_t *>(&image);
        for (int changes = input.byte() % 4; changes >= 0; --changes) {
            const size_t at = input.below(sizeof image);
            bytes[at] = input.byte();
        }
        card.card->chip().write_node(hw_index, image);
    }

private:
    struct entry {
        uint32_t hw_index;
        phu_node image;
    };
    std::vector<entry> old_;
};

void damage(fuzz_input &input, journal &undo, chip_damage &chip) {
    simcard::FixedPart &part = card.card->fixed();
    switch (input.byte() % 16) {
        case 0:
        case 1:
            return damage_children(card.children[input.below(card.children.size())], input, undo);
        case 2:
        case 3:
            return damage_leaves(card.leaf_arrays[input.below(card.leaf_arrays.size())], input,
                                 undo);
        case 4:
        case 5:
            return damage_bytes(card.leaves[input.below(card.leaves.size())], {0, sizeof(leaf)},
                                input, undo);
        case 6:
            return damage_root(part, input, undo);
        case 7:
            return damage_contexts(part, input, undo);
        case 8:
            return lose_pointer(part, input, undo);
        case 9:
        case 10:
            return chip.apply(input);
        default:
            return damage_node(card.nodes[input.below(card.nodes.size())], input, undo);
    }
}

/// The library would follow the damage itself: it answers with any leaf, level and mask instead.
int any_answer(tbm_handle_record *, const uint8_t *key, leaf **result, uint8_t *level,
               mask128 *hint_mask, uint8_t *hint_level, uint8_t *hint_codes,
               hint_trail_entry *hint_trail) {
    *result = key[1] % 8 == 0 ? nullptr : card.leaves[key[2] % card.leaves.size()];
    *level = key[3];
    *hint_level = key[4];
    hint_mask->high = uint64_t{key[3]} << 32 | key[4];
    std::fill_n(hint_codes, hint_code_bytes, key[3]);
    std::fill_n(hint_trail, hint_trail_entries, hint_trail_entry{key[4], key[3]});
    return key[5] % 8;
}

int any_entry(const pfx_entry *entry, leaf **result) {
    *result = card.leaves[entry->address[1] % card.leaves.size()];
    return entry->address[2] % 2;
}

int no_count(tbm_handle_record *) {
    return 0;
}

}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (card.card == nullptr) {
        card.start();
        f_vector.phu_search = any_answer;
        f_vector.phu_lkup_entry = any_entry;
        f_vector.tbmh_count_prefixes = no_count;
    }
    fuzz_input input(data, size);
    journal undo;
    chip_damage chip;
    for (int i = input.byte() % 8; i >= 0; --i) {
        damage(input, undo, chip);
    }
    for (int i = 0; i < 4 && !input.empty(); ++i) {
        const plu_debug_request request = fuzz_request(card, input);
        if (fuzz_request_ends(request) && !fuzz_request_edits(request)) {
            plu_debug_msg_dispatch(&request);
        }
    }
    return 0;
}
