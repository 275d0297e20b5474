// The walk command: counts nodes and leaves by hint state and type, lists leaves and node copies,
// or records every listed prefix.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

#include "phu/commands.h"
#include "records/hw_node.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/text.h"
#include "reply/trace.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/descent.h"
#include "tbm/key.h"

namespace {

constexpr uint64_t recording_mode = 11;
constexpr int counted_states = 4;
constexpr int counted_types = 4;
constexpr int ancestors_listed_max = 25;
constexpr int stride_groups_min = 6;
constexpr int deepest_parent = phu_pfx_entries - 3;    // its children take the last path entry
constexpr int too_deep_nodes_max = 10;                 // a cycle with branches would never end

/// One node on the path of the walk; the command's own record, with number 0, ends the chain.
struct path_record {
    uint32_t sequence;
    const path_record *parent;
};

/// What a leaf line says about the place of its leaf.
struct leaf_place {
    const tn *node;
    int depth;
    int hint_depth;
    const char *letter;
    const path_record *ancestors;
};

/// "A %s %s %d #\n". A recording is a line per prefix of the whole table: without the general
/// formatter, which takes as long as the rest of the walk, the queue alone sets its pace.
void recording_line(const leaf *entry) {
    char line[text_buffer_size + 32];
    const std::string_view family = tbm_key_is_ipv6(entry->key) ? "A U6 " : "A U4 ";
    const std::string_view prefix = tbmd_key_text(entry->key, entry->key_bits_used);
    char *at = std::copy(family.begin(), family.end(), line);
    at = std::copy(prefix.begin(), prefix.end(), at);
    *at++ = ' ';
    at = std::to_chars(at, std::end(line), tbm_key_vrf(entry->key)).ptr;
    memcpy(at, " #\n", sizeof " #\n");
    plu_debug_send(line);
}

/// Counts of the walk, and the visitor that makes them. A type that is none of the three walks like
/// a search node.
struct tree_statistics {
    static constexpr descent_rules rules{
        .odd_types = true, .prefetch = true, .faults = unreadable::named};
    /// From a node to its children.
    struct handed {
        int hint_depth = 0;
        const path_record *parent = nullptr;
    };
    struct kept {
        int depth;
        int hint_depth;
        path_record record;
    };

    bool leaf_dump;
    bool node_dump;
    bool recording;
    int too_deep_nodes = 0;
    uint32_t dumpable_nodes = 0;
    uint32_t dumpable_leaves = 0;
    uint32_t leaves[counted_states][counted_types] = {};
    uint32_t tbm_nodes = 0;
    uint32_t hint_nodes = 0;
    uint32_t ncfm_nodes = 0;
    uint32_t bank_nodes = 0;    // nothing counts here
    uint32_t nodes[counted_states][2] = {};

    [[gnu::always_inline]] way at(const tn *node, const tree_place &place,
                                  const handed &from_above);
    bool into(const tn *node, const tree_place &place, const handed &from_above,
              const child_slots &children, kept &own);
    static handed below(const kept &own, int position);
    void summary() const;

private:
    bool too_deep(const tn *node, const child_slots &children);
    leaf_slots count_leaves(const tn *node, const leaf_array *array);
    void list_leaves(const leaf_array *array, leaf_slots slots, const leaf_place &place);
    void leaf_line(const leaf *entry, const leaf_place &place) const;
    void count_node(const tn *node);
    void show_sn_copy(const tn *node);
    void show_en_copy(const tn *node, uint32_t hw_index);
};

inline way tree_statistics::at(const tn *node, const tree_place &place, const handed &from_above) {
    if (too_deep_nodes >= too_deep_nodes_max) {
        return way::stop;
    }
    if (place.root) {
        phu_pfx[0] = static_cast<uint8_t>(place.slot >> 6 & 63);
        phu_pfx[1] = static_cast<uint8_t>(place.slot & 63);
    }
    ++tbm_nodes;
    count_node(node);
    if (tn_is_end(node)) {
        const leaf_array *array = inode_leaves(node);
        const leaf_slots slots = count_leaves(node, array);
        if (node->hint_state == HINT_INIT || node->hint_state == HINT_END) {
            list_leaves(array, slots,
                        {node, place.level, from_above.hint_depth, "E", from_above.parent});
        }
    }
    return way::down;
}

bool tree_statistics::into(const tn *node, const tree_place &place, const handed &from_above,
                           const child_slots &children, kept &own) {
    const uint8_t state = node->hint_state;
    const leaf_array *array = inode_leaves(slot_0_inode_named(node, children));
    const leaf_slots slots = count_leaves(node, array);
    if (children.array == nullptr) {
        return false;
    }
    if (state >= counted_states) {
        ++phu_ctx->unexpected_state;
        phu_pfx_to_str(static_cast<uint32_t>(place.level) + 1);
        PLU_TRACE(trace_class::phu_verification, "%s: Unexpected state incorrect: %d\n",
                  phu_pfx_str, state);
        return false;
    }
    const bool hinted = state == HINT_SEARCH || state == HINT_SEARCH_END;
    own = {place.level, from_above.hint_depth + (hinted ? 1 : 0), {tbm_nodes, from_above.parent}};
    list_leaves(array, slots,
                {node, (place.level + 1) & 0xff, own.hint_depth, tn_is_search(node) ? "S" : "E",
                 from_above.parent});
    return place.level <= deepest_parent || !too_deep(node, children);
}

tree_statistics::handed tree_statistics::below(const kept &own, int position) {
    phu_pfx[own.depth + 2] = static_cast<uint8_t>(position);
    return {own.hint_depth, &own.record};
}

/// True, after the line that names it, for a node on the last level that has children.
bool tree_statistics::too_deep(const tn *node, const child_slots &children) {
    const auto *first = children.nodes + children.first;
    const auto *end = children.nodes + std::max(children.first, children.end);
    if (std::all_of(first, end, [](const tn *child) { return child == nullptr; })) {
        return false;
    }
    const bool stopped = ++too_deep_nodes >= too_deep_nodes_max;
    plu_debug_printf("tree deeper than %d levels at tn %p, %s\n", deepest_parent + 2,
                     static_cast<const void *>(node),
                     stopped ? "walk stopped" : "children not walked");
    return true;
}

/// The table has a row for each known state and a column for each known type.
inline leaf_slots tree_statistics::count_leaves(const tn *node, const leaf_array *array) {
    const uint8_t state = node->hint_state;
    const uint32_t type = tn_type_of(node);
    const leaf_slots slots = leaf_array_slots(array);
    if (slots.fault != nullptr) {
        report_unreadable(slots.fault);
    }
    if (state < counted_states && type < counted_types) {
        leaves[state][type] += static_cast<uint32_t>(slots.count);
    }
    return slots;
}

void tree_statistics::list_leaves(const leaf_array *array, leaf_slots slots,
                                  const leaf_place &place) {
    if (!leaf_dump && !recording) {
        dumpable_leaves += static_cast<uint32_t>(slots.count);
        return;
    }
    for (int i = 0;; ++i) {
        if (!slots.stand(array)) {    // a line may have waited
            slots = leaf_array_slots(array);
        }
        if (i >= slots.count) {
            return;
        }
        if (dumpable_leaves == tbm_walk_prefixes) {
            stop_walks_at_prefixes(place.node);
            return;
        }
        ++dumpable_leaves;
        const leaf *entry = slots.stored(i);
        if (!readable_memory::holds(entry)) {
            if (entry != nullptr) {
                report_unreadable(entry);
            }
        } else if (recording) {
            recording_line(entry);
        } else {
            leaf_line(entry, place);
        }
    }
}

void tree_statistics::leaf_line(const leaf *entry, const leaf_place &place) const {
    const char *prefix = leaf_text(entry);
    const int groups = std::max(place.hint_depth, stride_groups_min);
    plu_debug_printf("-%02d [T:%04d,#%04d,h:%04d] %s %-25s tbm: %-45s  [P: ", place.depth,
                     tbm_nodes, dumpable_leaves, hint_nodes, place.letter,
                     phu_key_stride_str(entry->key, static_cast<uint32_t>(groups)), prefix);
    const path_record *record = place.ancestors;
    for (int i = 0; i < ancestors_listed_max && record != nullptr; ++i, record = record->parent) {
        plu_debug_printf("%d ", record->sequence);
    }
    plu_debug_printf("]\n");
}

inline void tree_statistics::count_node(const tn *node) {
    const int masks = node->ext_mask_count + node->int_mask_count;
    if (masks > phu_ctx->cfm_mask_count_limit) {
        ++ncfm_nodes;
        return;
    }
    const uint8_t state = node->hint_state;
    if (state >= counted_states) {
        return;
    }
    ++nodes[state][(node->tn_flags & tn_flag_bit9) != 0 ? 1 : 0];
    if (state == HINT_INIT) {
        return;
    }
    ++hint_nodes;
    if (state == HINT_END) {
        if (masks != 0 || plu_debug_tb != 0 || plu_debug_xRAM != 0) {
            show_en_copy(node, node->hw_index);
        }
        return;
    }
    show_sn_copy(node);
    if (state == HINT_SEARCH_END) {
        show_en_copy(node, node->en_hw_index);
    }
}

void tree_statistics::show_sn_copy(const tn *node) {
    ++dumpable_nodes;
    if (node_dump) {
        const uint64_t word = node->hint_sn_word;
        plu_debug_printf("SN: hwindex 0x%08x tbm:%d me:%d bmsf:%d child ptr 0x%04x 0x%016lx\n",
                         node->hw_index, tbm_nodes, phu_word_me(word), phu_word_bmsf(word),
                         phu_word_c_ptr(word), node->hint_sn_bitmap);
    }
}

void tree_statistics::show_en_copy(const tn *node, uint32_t hw_index) {
    ++dumpable_nodes;
    if (node_dump) {
        plu_debug_printf("EN: hwindex 0x%08x bmap: 0x%016lx 0x%016lx tbm:%d\n", hw_index,
                         phu_load64(node->hint_en_mask + 8), phu_load64(node->hint_en_mask),
                         tbm_nodes);
    }
}

void tree_statistics::summary() const {
    static constexpr const char *headings[counted_types] = {"\nSE   leaf ", "\nINT  leaf ",
                                                            "\nLEAF leaf ", "\nEND  leaf "};
    plu_debug_printf("SUM: tbm nodes: %d, hint nodes: %d ncfm_nodes %d bank nodes %d\n", tbm_nodes,
                     hint_nodes, ncfm_nodes, bank_nodes);
    plu_debug_printf("dumpable leaf: %d, dumpable nodes: %d\n", dumpable_leaves, dumpable_nodes);
    plu_debug_printf("           HINT INIT   SEARCH  SEARCH_END     END\n");
    plu_debug_printf("     node ");
    for (const auto &counts : nodes) {
        plu_debug_printf("%9d/%9d ", counts[0], counts[1]);
    }
    for (int type = 0; type < counted_types; ++type) {
        plu_debug_printf("%s", headings[type]);
        for (const auto &counts : leaves) {
            plu_debug_printf("%9d ", counts[type]);
        }
    }
    plu_debug_printf("\n");
    plu_debug_printf("tree walk completed\n");
}

}    // namespace

void cmd_walk(uint64_t leaf_mode, uint64_t node_mode, uint64_t) {
    const tbm_handle_record *handle = tbm_handle_derive_or_report();
    if (handle == nullptr) {
        return;
    }
    const bool recording = leaf_mode == recording_mode;
    tree_statistics statistics{.leaf_dump = leaf_mode != 0 && !recording,
                               .node_dump = node_mode != 0,
                               .recording = recording};
    const path_record command{0, nullptr};
    std::fill_n(phu_pfx, phu_pfx_entries, uint8_t{0});
    tree_descent descent(statistics);
    descent.from_roots(tbdb_root_of(handle), {0, &command});
    // The text of the path follows phu_pfx at every step, but only one trace line and whoever looks
    // after the command can see it: there it is made, which saves a formatting per node.
    if (statistics.tbm_nodes != 0) {
        phu_pfx_to_str(1);
    }
    if (!recording) {
        statistics.summary();
    }
}
