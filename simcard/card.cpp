#include "simcard/card.h"

#include <algorithm>

namespace simcard {

namespace {

constexpr size_t reserve_room =
    1U << 20;    // adds are refused below this, so that none fails half way
constexpr uint8_t plu_profile = 1;
constexpr int32_t key_bits = 146;
constexpr uint16_t address_size = 8;
constexpr int32_t plu_shm_id = 71;
constexpr int32_t phu_shm_id = 72;

void clear_freed_node(void *chip, uint32_t bank, uint32_t node) {
    static_cast<Chip *>(chip)->write_node(hw_index_make(0, bank, node), {});
}

void forget_node(void *mirror, tn *node, int level) {
    static_cast<Mirror *>(mirror)->forget(node, level);
}

void visit_leaves(tn *node, const std::function<void(const leaf &)> &visit) {
    const tn *holder = internal_of(node);
    for (int i = 0; holder != nullptr && i < holder->in_lfarray->la_nnodes; ++i) {
        visit(*holder->in_lfarray->la_leaves[i]);
    }
    if (is_search(node)) {
        for (uint64_t left = node->sn_ebmap; left != 0; left &= left - 1) {
            visit_leaves(child_at(node, static_cast<uint32_t>(__builtin_ctzll(left))), visit);
        }
    }
}

}    // namespace

Card::Card() {
    banks_.on_clear(clear_freed_node, &chip_);
}

Card &Card::instance() {
    static Card card;
    return card;
}

bool Card::power_on(const CardOptions &options) {
    const std::lock_guard guard(lock_);
    ready_ = false;
    if (!memory_.map()) {
        return false;
    }
    set_up_contexts(options);
    tree_.set_up();
    banks_.set_up(memory_.phu());
    chip_.reset(options.npus, options.active_map);
    mirror_.reset();
    ready_ = match_.set_up();
    mirror_.rebuild();
    fixed().plu_shm.init_done = 1;
    fixed().plu_shm.ready = shm_ready_mark;
    fixed().phu_shm.ready = shm_ready_mark;
    return ready_;
}

void Card::set_up_contexts(const CardOptions &options) {
    FixedPart &part = memory_.fixed();
    part.plu_shm.shm_id = plu_shm_id;
    part.plu_shm.size = sizeof(plu_context);
    part.plu_shm.context = &part.plu;
    part.phu_shm.shm_id = phu_shm_id;
    part.phu_shm.size = sizeof(phu_context);
    part.plu.profile = plu_profile;
    part.plu.npu_count = static_cast<uint8_t>(std::min<uint32_t>(options.npus, 255));
    part.plu.active_npu_map =
        options.active_map & (options.npus >= 32 ? ~0U : (1U << options.npus) - 1);
    phu_context &phu = part.plu.phu;
    phu.tbm_handle = &part.handle;
    phu.cfm_mask_count_limit = options.mask_limit;
    for (int i = 0; i < phu_pools_with_record; ++i) {
        phu.node_pool[i] = &part.pool_record[i];
    }
    part.handle.key_length = key_bits;
    part.handle.leaf_size = sizeof(leaf);
    part.handle.address_size = address_size;
    part.handle.stride_map = part.stride_map;
    std::fill_n(part.stride_map, phu_stride_levels, static_cast<uint8_t>(tbm_stride_bits));
}

uint32_t Card::check_add(const pfx_entry &entry, Key &key, MatchEntry &match) const {
    const auto wanted = key_of(entry);
    if (!wanted || !ExactMatch::make_entry(entry, match)) {
        return card_bad_entry;
    }
    key = *wanted;
    if (match_.find(match) != nullptr) {
        return card_exists;
    }
    return memory_.room() < reserve_room ? card_out_of_memory : card_ok;
}

/// Enters a prefix in the hash tables and the tree, or changes nothing.
uint32_t Card::add_to_tables(const Key &key, MatchEntry &match, Path &path) {
    if (!match_.insert(match)) {
        return card_tables_full;
    }
    const leaf *entry = tree_.insert(key, path);
    if (entry == nullptr) {
        match_.erase(match);
        return card_out_of_memory;
    }
    const_cast<MatchEntry *>(match_.find(match))->leaf = memory_.reference(entry);
    return card_ok;
}

uint32_t Card::add(const pfx_entry &entry) {
    const std::lock_guard guard(lock_);
    if (!ready_) {
        return card_not_ready;
    }
    Key key;
    MatchEntry match;
    Path path;
    uint32_t code = check_add(entry, key, match);
    if (code == card_ok) {
        code = add_to_tables(key, match, path);
    }
    if (code == card_ok) {
        mirror_.refresh(path, key.root_slot());
    }
    return code;
}

uint32_t Card::remove(const pfx_entry &entry) {
    const std::lock_guard guard(lock_);
    if (!ready_) {
        return card_not_ready;
    }
    const auto key = key_of(entry);
    MatchEntry match;
    if (!key || !ExactMatch::make_entry(entry, match)) {
        return card_bad_entry;
    }
    Path path;
    if (tree_.find(*key, path) == nullptr || !match_.erase(match)) {
        return card_absent;
    }
    tree_.remove(*key, path, forget_node, &mirror_);
    mirror_.refresh(path, key->root_slot());
    tn *&root = tree_.root().ta_nodes[key->root_slot()];
    if (key->root_slot() != 0 && !is_search(root)) {
        memory_.release(Kind::node, root);
        root = nullptr;
    }
    return card_ok;
}

size_t Card::load(std::vector<pfx_entry> entries, size_t *refused) {
    const std::lock_guard guard(lock_);
    std::vector<std::pair<Key, MatchEntry>> sorted;
    size_t bad = 0;
    sorted.reserve(entries.size());
    for (const pfx_entry &entry : entries) {
        const auto key = key_of(entry);
        MatchEntry match;
        if (!ready_ || !key || !ExactMatch::make_entry(entry, match)) {
            ++bad;
            continue;
        }
        sorted.emplace_back(*key, match);
    }
    entries = {};
    std::sort(sorted.begin(), sorted.end(),
              [](const auto &a, const auto &b) { return a.first < b.first; });
    size_t added = 0;
    Path path;
    for (auto &[key, match] : sorted) {
        const bool possible = match_.find(match) == nullptr && memory_.room() >= reserve_room;
        if (possible && add_to_tables(key, match, path) == card_ok) {
            ++added;
        } else {
            ++bad;
        }
    }
    if (ready_) {
        mirror_.rebuild();
    }
    if (refused != nullptr) {
        *refused = bad;
    }
    return added;
}

uint32_t Card::add(const std::string &prefix, uint16_t vrf) {
    const auto entry = parse_prefix(prefix, vrf);
    return entry ? add(*entry) : uint32_t{card_bad_entry};
}

uint32_t Card::remove(const std::string &prefix, uint16_t vrf) {
    const auto entry = parse_prefix(prefix, vrf);
    return entry ? remove(*entry) : uint32_t{card_bad_entry};
}

void Card::fill_holes() {
    const std::lock_guard guard(lock_);
    if (ready_) {
        mirror_.fill_holes();
    }
}

int Card::flush() {
    const std::lock_guard guard(lock_);
    if (!ready_) {
        return static_cast<int>(card_not_ready);
    }
    banks_.flush();
    return 0;
}

SearchResult Card::search(const Key &key) const {
    const std::lock_guard guard(lock_);
    return simcard::search(tree_.root(), key);
}

leaf *Card::find(const pfx_entry &entry) const {
    const std::lock_guard guard(lock_);
    const auto key = key_of(entry);
    Path path;
    return ready_ && key ? tree_.find(*key, path) : nullptr;
}

void Card::each_leaf(const std::function<void(const leaf &)> &visit) const {
    const tree_array &root = tree_.root();
    for (int slot = 0; slot < root.ta_nnodes; ++slot) {
        if (tn *node = root.ta_nodes[slot]; node != nullptr) {
            visit_leaves(node, visit);
        }
    }
}

}    // namespace simcard
