#include "simcard/hint_choice.h"

#include <algorithm>

#include "simcard/length_set.h"
#include "simcard/mirror_fields.h"
#include "simcard/prefetch.h"

namespace simcard {

namespace {

struct Candidate {
    uint32_t group;
    mask128 mask;
    uint32_t count;
};

/// Hints those of the free children whose lengths no longer fit beside the others, those with the
/// most lengths first.
void hint_what_overflows(const Memory &memory, const SoundNode &at, uint64_t free_children,
                         uint32_t room, HintChoice &choice) {
    Candidate candidates[64];
    size_t count = 0;
    for (uint64_t left = free_children; left != 0; left &= left - 1) {
        const auto group = static_cast<uint32_t>(__builtin_ctzll(left));
        const mask128 mask = at.child(memory.blocks(), group)->hint_mask;
        candidates[count++] = {group, mask, lengths(mask)};
    }
    std::stable_sort(candidates, candidates + count,
                     [](const Candidate &a, const Candidate &b) { return a.count < b.count; });
    for (size_t i = 0; i < count; ++i) {
        const mask128 grown = choice.ext | candidates[i].mask;
        if (lengths(grown) <= room) {
            choice.ext = grown;
        } else {
            choice.hinted |= uint64_t{1} << candidates[i].group;
        }
    }
}

}    // namespace

mask128 lengths_below(const Memory &memory, const SoundNode &at, uint64_t children) {
    mask128 mask{};
    for (uint64_t left = children; left != 0; left &= left - 1) {
        mask |= at.child(memory.blocks(), static_cast<uint32_t>(__builtin_ctzll(left)))->hint_mask;
    }
    return mask;
}

/// A child may be hinted only when its bmsf can say what covers it: then its masks lack no length.
/// It may stay unhinted only when no leaf from this node down covers a node of its subtree: the
/// search falls back to the best leaf of the deepest hinted node and would report a shorter cover.
HintChoice choose_hinted(const Memory &memory, const SoundNode &at, bool covered_above) {
    HintChoice choice;
    if (at.groups() == 0) {
        return choice;
    }
    const tn *node = at.node;
    const uint64_t covered = InternalCover(at.bitmap()).covered;
    const uint64_t asked = (nested_bitmap(node) | covered) & at.groups();
    const uint64_t allowed = at.bitmap() == 0 || !covered_above ? ~uint64_t{0} : covered;
    const uint32_t limit = memory.phu().cfm_mask_count_limit;
    choice.needed = choice.hinted = asked & allowed;
    choice.refused = static_cast<uint32_t>(__builtin_popcountll(asked & ~allowed));
    if (choice.needed == 0 && lengths(node->hint_mask) <= limit) {
        choice.ext = without(node->hint_mask, node->int_mask);
        return choice;
    }
    prefetch_masks(at);
    choice.ext = lengths_below(memory, at, at.groups() & ~allowed);
    const uint32_t room = limit - std::min(limit, lengths(node->int_mask));
    hint_what_overflows(memory, at, at.groups() & allowed & ~choice.needed, room, choice);
    return choice;
}

}    // namespace simcard
