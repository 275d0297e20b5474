// The walk command: counts nodes and leaves by hint state and type, lists leaves and node copies,
// or records every listed prefix.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "debug_channel/text.h"
#include "debug_channel/trace.h"
#include "phu/commands.h"
#include "phu/node_image.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/key.h"
#include "tbm/operator_node.h"

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
    int depth;
    int hint_depth;
    const char *letter;
    const path_record *ancestors;
};

/// Leaf array that a node's leaves are counted in. An internal node among the children has one
/// where the other nodes have their children, and so neither counts nor is descended into.
const leaf_array *own_leaves(const tn *node) {
    if (tn_is_end(node)) {
        return inode_leaves(node);
    }
    if (tn_is_intern(node)) {
        return nullptr;
    }
    const child_slots children = tn_child_slots(node);
    return children.first == 0 ? nullptr : inode_leaves(children.nodes[0]);
}

/// "A %s %s %d #\n". A recording is a line per prefix of the whole table: without the general
/// formatter, which takes as long as the rest of the walk, the queue alone sets its pace.
void recording_line(const leaf *entry) {
    char line[text_buffer_size + 32];
    char *at = stpcpy(line, tbm_key_is_ipv6(entry->key) ? "A U6 " : "A U4 ");
    at = stpcpy(at, leaf_text(entry));
    *at++ = ' ';
    at = std::to_chars(at, std::end(line), tbm_key_vrf(entry->key)).ptr;
    memcpy(at, " #\n", sizeof " #\n");
    plu_debug_reply(line);
}

/// True when what the node's type leads the walk to can be followed. A type that is none of the
/// three walks like a search node, but its array may be of any kind.
bool array_followable(const tn *node) {
    const uint32_t type = tn_type_of(node);
    return type == TN_SEARCH || type == TN_END || type == TN_INTERN ||
           stray_children_readable(node);
}

struct tree_statistics {
    bool leaf_dump;
    bool node_dump;
    bool recording;
    bool stopped = false;
    depth_guard guard{};
    int too_deep_nodes = 0;
    uint32_t dumpable_nodes = 0;
    uint32_t dumpable_leaves = 0;
    uint32_t leaves[counted_states][counted_types] = {};
    uint32_t tbm_nodes = 0;
    uint32_t hint_nodes = 0;
    uint32_t ncfm_nodes = 0;
    uint32_t bank_nodes = 0;    // nothing counts here
    uint32_t nodes[counted_states][2] = {};

    void walk_roots(const tree_array *root);
    void visit(const tn *node, int depth, int hint_depth, const path_record *parent);
    void visit_children(const tn *node, int depth, int hint_depth, const path_record &record);
    void report_too_deep(const tn *node);
    void count_leaves(uint8_t state, uint32_t type, const leaf_array *array);
    void list_leaves(const leaf_array *array, const leaf_place &place);
    void leaf_line(const leaf *entry, const leaf_place &place) const;
    void count_node(const tn *node);
    void show_sn_copy(const tn *node);
    void show_en_copy(const tn *node, uint32_t hw_index);
    void summary() const;
};

void tree_statistics::walk_roots(const tree_array *root) {
    const path_record command{0, nullptr};
    bool any = false;
    for (int i = 0; root != nullptr && i < root->ta_nnodes && !stopped; ++i) {
        if (const tn *node = root->ta_nodes[i]; node != nullptr) {
            any = true;
            phu_pfx[0] = static_cast<uint8_t>(i >> 6 & 63);
            phu_pfx[1] = static_cast<uint8_t>(i & 63);
            visit(node, 0, 0, &command);
        }
    }
    // The text of the path follows phu_pfx at every step, but only one trace line and whoever looks
    // after the command can see it: there it is made, which saves a formatting per node.
    if (any) {
        phu_pfx_to_str(1);
    }
}

void tree_statistics::visit(const tn *node, int depth, int hint_depth, const path_record *parent) {
    if (!guard.enter(depth, node)) {
        stopped = true;
        return;
    }
    ++tbm_nodes;
    const path_record record{tbm_nodes, parent};
    count_node(node);
    if (!array_followable(node)) {
        return;
    }
    const uint8_t state = node->hint_state;
    const leaf_array *array = own_leaves(node);
    count_leaves(state, tn_type_of(node), array);
    if (tn_is_end(node)) {
        if (state == HINT_INIT || state == HINT_END) {
            list_leaves(array, {depth, hint_depth, "E", parent});
        }
        return;
    }
    if (tn_child_array(node) == nullptr) {
        return;
    }
    if (state >= counted_states) {
        ++phu_ctx->unexpected_state;
        phu_pfx_to_str(static_cast<uint32_t>(depth) + 1);
        PLU_TRACE(trace_class::phu_verification, "%s: Unexpected state incorrect: %d\n",
                  phu_pfx_str, state);
        return;
    }
    const bool hinted = state == HINT_SEARCH || state == HINT_SEARCH_END;
    const int next_hint_depth = hinted ? hint_depth + 1 : hint_depth;
    list_leaves(array,
                {(depth + 1) & 0xff, next_hint_depth, tn_is_search(node) ? "S" : "E", parent});
    visit_children(node, depth, next_hint_depth, record);
}

void tree_statistics::visit_children(const tn *node, int depth, int hint_depth,
                                     const path_record &record) {
    // A line may have waited for the client: what hangs here now is asked for anew at every slot.
    int position = -1;
    for (int slot = tn_child_slots(node).first; !stopped; ++slot) {
        const child_slots children = tn_child_slots(node);
        if (slot >= children.end) {
            return;
        }
        position = sn_ebmap_next(node, position);
        const tn *child = children.nodes[slot];
        if (child == nullptr) {
            continue;
        }
        if (depth > deepest_parent) {
            report_too_deep(node);
            return;
        }
        phu_pfx[depth + 2] = static_cast<uint8_t>(position);
        visit(child, depth + 1, hint_depth, &record);
    }
}

void tree_statistics::report_too_deep(const tn *node) {
    stopped = ++too_deep_nodes >= too_deep_nodes_max;
    plu_debug_printf("tree deeper than %d levels at tn %p, %s\n", deepest_parent + 2,
                     static_cast<const void *>(node),
                     stopped ? "walk stopped" : "children not walked");
}

void tree_statistics::count_leaves(uint8_t state, uint32_t type, const leaf_array *array) {
    if (state < counted_states && type < counted_types) {
        leaves[state][type] += static_cast<uint32_t>(leaf_count(array));
    }
}

void tree_statistics::list_leaves(const leaf_array *array, const leaf_place &place) {
    if (!leaf_dump && !recording) {
        dumpable_leaves += static_cast<uint32_t>(leaf_count(array));
        return;
    }
    for (int i = 0; i < leaf_count(array); ++i) {    // it may shrink while a line waits
        ++dumpable_leaves;
        const leaf_slots slots = leaf_array_slots(array);
        const leaf *entry = i < slots.count ? slots.leaves[i] : nullptr;
        if (entry == nullptr) {
            continue;
        }
        if (recording) {
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

void tree_statistics::count_node(const tn *node) {
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
    const tbm_handle_record *handle = tbm_handle_derive();
    if (handle == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
        return;
    }
    const bool recording = leaf_mode == recording_mode;
    tree_statistics statistics{.leaf_dump = leaf_mode != 0 && !recording,
                               .node_dump = node_mode != 0,
                               .recording = recording};
    std::fill_n(phu_pfx, phu_pfx_entries, uint8_t{0});
    statistics.walk_roots(tbdb_root_of(handle));
    if (!recording) {
        statistics.summary();
    }
}
