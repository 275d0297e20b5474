// Verifies that the prefix of every leaf of the tree is found again: by the search path of the
// library (cklkup) or by the hardware nodes (cklkuphw), each confirmed by the exact-match path. The
// whole address is searched, so a prefix whose own address has a longer match counts as longer.
// Facts used: the leaves, both lookup paths. It cannot see: leaves of root nodes, default prefixes
// (no mask position, always missed), prefixes that only the lookup paths know, and addresses other
// than the prefixes' own.
#include "checks/lookup_check.h"

#include <algorithm>

#include "checks/commands.h"
#include "checks/plu_phu_lookup.h"
#include "checks/tree_facts.h"
#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "phu/tree_walk.h"
#include "tbm/access.h"
#include "tbm/key.h"
#include "tbm/operator_node.h"

namespace {

inline constexpr uint32_t missed_lines_max = 20;
inline constexpr uint32_t progress_every = 20000;

/// One leaf on its way through a check.
struct visited_leaf {
    const tn *node;
    const leaf *entry;
    int index;
    int count;
    int length;    // negative for a leaf of fewer bits than the header

    [[nodiscard]] int32_t expected() const { return std::max(length, 0); }
    [[nodiscard]] uint32_t address_32() const {
        uint32_t address = 0;
        for (int i = 0; i < 4; ++i) {
            address = address << 8 | tbm_key_address_byte(entry->key, i);
        }
        return address;
    }
};

/// Looks one leaf's prefix up; returns the best length, 0 for none.
using leaf_lookup = int32_t (*)(const visited_leaf &visited, lkup_check_stats &stats);

/// What the two walks do differently.
struct lookup_rules {
    leaf_lookup lookup;
    uint32_t missed_lines;    // at most
    bool progress;
};

int32_t search_path(const visited_leaf &visited, lkup_check_stats &stats) {
    pfx_entry entry;
    tbm_key_to_pfx_entry(entry, visited.entry->key, visited.entry->key_bits_used);
    leaf *found = nullptr;
    return phu_plu_lookup(entry, &found, visited.expected(), stats.verbose != 0, visited.entry,
                          visited.node);
}

int32_t hardware_path(const visited_leaf &visited, lkup_check_stats &stats) {
    pfx_entry entry;
    tbm_key_to_pfx_entry(entry, visited.entry->key, visited.entry->key_bits_used);
    if (stats.verbose != 0) {
        plu_debug_printf("tn %p pfx 0x%08x/%d\n", static_cast<const void *>(visited.node),
                         visited.address_32(), visited.length);
    }
    return phu_hw_plu_lookup(entry, visited.expected(), stats.verbose != 0);
}

void count_result(const visited_leaf &visited, int32_t best, uint32_t lines_max,
                  lkup_check_stats &stats) {
    if (best == 0) {
        ++stats.no_match;
        if (stats.missed_seen++ < lines_max) {
            plu_debug_printf("lookup missed: tn %p lf %p, lf %d/%d (0x%08x/%d)\n",
                             static_cast<const void *>(visited.node),
                             static_cast<const void *>(visited.entry), visited.index, visited.count,
                             visited.address_32(), visited.length);
        }
    } else if (best == visited.length) {
        ++stats.match;
    } else if (best > visited.length) {
        ++stats.longer;
    }
}

/// A leaf array can shrink while the library answers: its count and its slots are read anew for
/// every leaf. A slot without a leaf counts as visited and is not looked up.
void check_leaves(const tn *node, lkup_check_stats &stats, const lookup_rules &rules) {
    const volatile leaf_array *array = inode_leaves(node);
    if (array == nullptr) {
        return;
    }
    for (int i = 0; i < array->la_nnodes; ++i) {
        leaf *const *slots = array->la_leaves;
        if (slots == nullptr) {
            return;
        }
        ++stats.total;
        if (rules.progress && stats.total % progress_every == 0 && stats.total != 0) {
            plu_debug_printf("%d prefixes checked\n", static_cast<int32_t>(stats.total));
        }
        const leaf *entry = slots[i];
        if (entry == nullptr) {
            continue;
        }
        const int count = array->la_nnodes;
        if (i + 1 < count) {
            __builtin_prefetch(slots[i + 1]);
        }
        const visited_leaf visited{node, entry, i, count,
                                   entry->key_bits_used - static_cast<int>(tbm_header_bits)};
        count_result(visited, rules.lookup(visited, stats), rules.missed_lines, stats);
    }
}

/// The node at a typed start address, null for 0 (all roots); false when it was refused.
bool start_node(uint64_t start, tn *&node) {
    node = start != 0 && tn_address_valid(start) ? operator_start_node(start) : nullptr;
    if (start != 0 && node != nullptr) {
        plu_debug_printf("walk tn tree start from %p\n", static_cast<void *>(node));
    }
    return start == 0 || node != nullptr;
}

void print_counts(const lkup_check_stats &stats, const char *indent) {
    const struct {
        const char *label;
        uint32_t count;
    } lines[] = {
        {"total        prefix: ", stats.total},
        {"prefix        match: ", stats.match},
        {"prefix longer match: ", stats.longer},
        {"prefix     no match: ", stats.no_match},
    };
    for (const auto &line : lines) {
        plu_debug_printf("%s%s%7d\n", indent, line.label, static_cast<int32_t>(line.count));
    }
}

}    // namespace

void cklkup_check_tn(tn *node, void *state, uint32_t is_root, tn * /*parent*/) {
    if (is_root == 0) {
        check_leaves(node, *static_cast<lkup_check_stats *>(state),
                     {search_path, missed_lines_max, false});
    }
}

void cklkuphw_check_tn(tn *node, void *state, uint32_t is_root, tn * /*parent*/) {
    if (is_root == 0) {
        check_leaves(node, *static_cast<lkup_check_stats *>(state), {hardware_path, ~0U, true});
    }
}

void cmd_cklkup(uint64_t start, uint64_t verbose, uint64_t /*a3*/) {
    tn *node = nullptr;
    if (!start_node(start, node)) {
        return;
    }
    phu_plu_lookup_lf_mismatch_disp = 0;
    phu_plu_lookup_lf_mismatch_count = 0;
    if (loaded_function(f_vector.phu_search, "phu_search") == nullptr) {
        return;
    }
    lkup_check_stats stats{};
    stats.verbose = verbose != 0 ? 1 : 0;
    phu_tree_walk(&stats, cklkup_check_tn, node);
    plu_debug_printf("Results of lookup all existing prefixes:\n");
    print_counts(stats, "  ");
    plu_debug_printf("  lf lookup MISMATCH:  %7d\n", phu_plu_lookup_lf_mismatch_count);
}

void cmd_cklkuphw(uint64_t start, uint64_t verbose, uint64_t /*a3*/) {
    tn *node = nullptr;
    if (start_node(start, node)) {
        lkup_check_stats stats{};
        stats.verbose = verbose != 0 ? 1 : 0;
        phu_tree_walk(&stats, cklkuphw_check_tn, node);
        print_counts(stats, "");
    }
}
