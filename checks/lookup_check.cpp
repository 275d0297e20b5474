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
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/key.h"
#include "tbm/start_node.h"
#include "tbm/tree_walk.h"

namespace {

constexpr uint32_t missed_lines_max = 20;
constexpr uint32_t progress_every = 20000;

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
/// every leaf. A slot without a leaf that can be read counts as visited and is not looked up.
void check_leaves(const tn *node, lkup_check_stats &stats, const lookup_rules &rules) {
    const leaf_array *array = inode_leaves(node);
    for (int i = 0;; ++i) {
        const leaf_slots slots = leaf_array_slots(array);
        if (slots.fault != nullptr) {
            report_unreadable(slots.fault);
        }
        if (slots.leaves == nullptr || i >= slots.count) {
            return;
        }
        if (stats.total == tbm_walk_prefixes) {
            stop_walks_at_prefixes(node);
            return;
        }
        ++stats.total;
        if (rules.progress && stats.total % progress_every == 0) {
            plu_debug_printf("%d prefixes checked\n", static_cast<int32_t>(stats.total));
        }
        const leaf *entry = slots.stored(i);
        if (!readable_memory::holds(entry)) {
            if (entry != nullptr) {
                report_unreadable(entry);
            }
            continue;
        }
        if (i + 1 < slots.count) {
            __builtin_prefetch(slots.stored(i + 1));
        }
        ++plu_debug_pauses;
        const visited_leaf visited{node, entry, i, slots.count,
                                   entry->key_bits_used - static_cast<int>(tbm_header_bits)};
        count_result(visited, rules.lookup(visited, stats), rules.missed_lines, stats);
    }
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

void cklkup_check_tn(tn *node, lkup_check_stats &stats, uint32_t is_root, tn * /*parent*/) {
    if (is_root == 0 && (tn_is_intern(node) || tn_is_end(node))) {
        check_leaves(node, stats, {search_path, missed_lines_max, false});
    }
}

void cklkuphw_check_tn(tn *node, lkup_check_stats &stats, uint32_t is_root, tn * /*parent*/) {
    if (is_root == 0 && (tn_is_intern(node) || tn_is_end(node))) {
        check_leaves(node, stats, {hardware_path, ~0U, true});
    }
}

void cmd_cklkup(uint64_t start, uint64_t verbose, uint64_t /*a3*/) {
    const start_node from = announced_start(start);
    if (from.refused) {
        return;
    }
    phu_plu_lookup_lf_mismatch_disp = 0;
    phu_plu_lookup_lf_mismatch_count = 0;
    if (loaded_function(f_vector.phu_search, "phu_search") == nullptr) {
        return;
    }
    lkup_check_stats stats{};
    stats.verbose = verbose != 0 ? 1 : 0;
    phu_tree_walk<cklkup_check_tn>(stats, from.node);
    plu_debug_printf("Results of lookup all existing prefixes:\n");
    print_counts(stats, "  ");
    plu_debug_printf("  lf lookup MISMATCH:  %7d\n", phu_plu_lookup_lf_mismatch_count);
}

void cmd_cklkuphw(uint64_t start, uint64_t verbose, uint64_t /*a3*/) {
    const start_node from = announced_start(start);
    if (from.refused) {
        return;
    }
    lkup_check_stats stats{};
    stats.verbose = verbose != 0 ? 1 : 0;
    phu_tree_walk<cklkuphw_check_tn>(stats, from.node);
    print_counts(stats, "");
}
