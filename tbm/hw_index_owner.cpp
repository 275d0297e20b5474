#include "tbm/hw_index_owner.h"

#include <algorithm>

#include "records/context.h"
#include "records/hw_node.h"
#include "reply/refusals.h"
#include "tbm/descent.h"

namespace {

/// Search for the first node of each wanted index; ends with the last one found.
struct owner_search : plain_visitor {
    static constexpr descent_rules rules{};

    std::span<const hw_index_range> ranges;
    uint32_t missing;

    way at(tn *node, const tree_place &, const handed &) {
        if (const uint32_t hw_index = node->hw_index; hw_index != 0) {
            note(node, hw_index);
        }
        return missing == 0 ? way::stop : way::down;
    }

private:
    void note(tn *node, uint32_t hw_index) {
        for (const hw_index_range &range : ranges) {
            const uint32_t offset = (hw_index - range.first) & hw_index_place_mask;
            if (offset < range.count && range.owners[offset] == nullptr) {
                range.owners[offset] = node;
                --missing;
            }
        }
    }
};

tn *owners_noted[phu_banks][phu_large_bank_nodes];
bool owners_remembered = false;

/// Place in the table of owners; null for an index that no bank has.
tn **noted_owner(uint32_t hw_index) {
    const uint32_t bank = hw_index_bank(hw_index);
    const uint32_t node = hw_index_node(hw_index);
    return bank < uint32_t{phu_banks} && node < uint32_t{phu_large_bank_nodes}
               ? &owners_noted[bank][node]
               : nullptr;
}

/// Notes the first owner of every index.
struct owner_noter : plain_visitor {
    static constexpr descent_rules rules{};

    static way at(tn *node, const tree_place &, const handed &) {
        tn **noted = noted_owner(node->hw_index);
        if (node->hw_index != 0 && noted != nullptr && *noted == nullptr) {
            *noted = node;
        }
        return way::down;
    }
};

/// The noted owner when it still owns the index, else null.
tn *remembered_owner(uint32_t hw_index) {
    tn **noted = owners_remembered ? noted_owner(hw_index) : nullptr;
    tn *node = noted == nullptr ? nullptr : *noted;
    const bool owns =
        readable_memory::holds(node) && ((node->hw_index ^ hw_index) & hw_index_place_mask) == 0;
    return owns ? node : nullptr;
}

}    // namespace

remembered_owners::remembered_owners() {
    std::fill_n(&owners_noted[0][0], phu_banks * phu_large_bank_nodes, nullptr);
    owner_noter noter;
    tree_descent descent(noter);
    descent.guard.be_quiet();
    descent.from_roots(tbdb_root_of(tbm_handle_current()));
    owners_remembered = true;
}

remembered_owners::~remembered_owners() {
    owners_remembered = false;
}

tn *phu_find_tn_by_hw_index(uint32_t hw_index) {
    tn *found = nullptr;
    if (tbm_handle_or_report() != nullptr) {
        if (tn *owner = remembered_owner(hw_index); owner != nullptr) {
            return owner;
        }
        const hw_index_range wanted[] = {{hw_index, 1, &found}};
        phu_find_owners(wanted);
    }
    return found;
}

void phu_find_owners(std::span<const hw_index_range> ranges) {
    owner_search search{{}, ranges, 0};
    for (const hw_index_range &range : ranges) {
        std::fill_n(range.owners, range.count, nullptr);
        search.missing += range.count;
    }
    tree_descent descent(search);
    descent.from_roots(tbdb_root_of(tbm_handle_current()));
}
