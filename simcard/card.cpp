#include "simcard/card.h"

#include <algorithm>

namespace simcard {

namespace {

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
    match_.set_up();
    memory_.open_first_slabs();
    mirror_.rebuild();
    fixed().plu_shm.init_done = 1;
    fixed().plu_shm.ready = shm_ready_mark;
    fixed().phu_shm.ready = shm_ready_mark;
    ready_ = true;
    return true;
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

/// One change of the card: it happens as a whole, or a code says why not.
template <typename Operation>
uint32_t Card::change(const Operation &operation) {
    const std::lock_guard guard(lock_);
    if (!ready_) {
        return card_not_ready;
    }
    banks_.next_operation();
    uint32_t code = card_damaged;
    try {
        code = operation();
    } catch (const Damaged &) {
    }
    if (code == card_ok) {
        memory_.commit();
    } else {
        mirror_.abandon();
        memory_.roll_back();
    }
    return code;
}

/// Where a prefix goes, or a code when it is none.
uint32_t Card::target_of(const pfx_entry &entry, Target &target) const {
    const auto key = key_of(entry);
    if (!key || !ExactMatch::make_entry(entry, target.match)) {
        return card_bad_entry;
    }
    target.key = *key;
    target.homes = match_.homes(target.match);
    return card_ok;
}

/// Enters a prefix in the hash tables and the tree, or changes nothing.
uint32_t Card::add_to_tables(Target &target) {
    if (ExactMatch::find(target.homes, target.match) != nullptr) {
        return card_exists;
    }
    if (memory_.room() < Tree::insert_room) {
        return card_out_of_memory;
    }
    target.found = match_.insert(target.homes, target.match);
    if (target.found == nullptr) {
        return card_tables_full;
    }
    try {
        target.found->leaf = memory_.reference(tree_.insert(target.key, target.path));
    } catch (const Damaged &) {
        match_.erase(target.found);
        return card_damaged;
    }
    return card_ok;
}

uint32_t Card::add_entry(const pfx_entry &entry) {
    Target target;
    uint32_t code = target_of(entry, target);
    if (code == card_ok) {
        code = add_to_tables(target);
    }
    if (code != card_ok) {
        return code;
    }
    try {
        mirror_.refresh(target.path, target.key.root_slot());
    } catch (const Damaged &) {
        match_.erase(target.found);
        throw;
    }
    return card_ok;
}

uint32_t Card::add(const pfx_entry &entry) {
    return change([&] { return add_entry(entry); });
}

/// Gives the node of a root slot back when nothing is below it; that of slot 0 stays.
void Card::drop_empty_root(uint32_t slot) {
    if (slot != 0 && !is_search(memory_.root(slot))) {
        memory_.release(Kind::node, memory_.root(slot));
        memory_.set_root(slot, nullptr);
    }
}

uint32_t Card::remove_entry(const pfx_entry &entry) {
    Target target;
    if (const uint32_t code = target_of(entry, target); code != card_ok) {
        return code;
    }
    if (tree_.find(target.key, target.path) == nullptr) {
        return card_absent;
    }
    target.found = ExactMatch::find(target.homes, target.match);
    demand(target.found != nullptr);
    tree_.remove(target.key, target.path, forget_node, &mirror_);
    mirror_.refresh(target.path, target.key.root_slot());
    drop_empty_root(target.key.root_slot());
    match_.erase(target.found);
    return card_ok;
}

uint32_t Card::remove(const pfx_entry &entry) {
    return change([&] { return remove_entry(entry); });
}

/// The hardware of all that was loaded; without it the card does not serve.
void Card::build_hardware() {
    if (!ready_) {
        return;
    }
    banks_.next_operation();
    try {
        mirror_.rebuild();
    } catch (const Damaged &) {
        mirror_.abandon();
        ready_ = false;
    }
    memory_.commit();
}

size_t Card::load(std::vector<pfx_entry> entries, size_t *refused) {
    const std::lock_guard guard(lock_);
    const size_t wanted = entries.size();
    std::vector<std::pair<Key, MatchEntry>> sorted;
    sorted.reserve(wanted);
    for (const pfx_entry &entry : entries) {
        const auto key = key_of(entry);
        MatchEntry match;
        if (ready_ && key && ExactMatch::make_entry(entry, match)) {
            sorted.emplace_back(*key, match);
        }
    }
    entries = {};
    std::sort(sorted.begin(), sorted.end(),
              [](const auto &a, const auto &b) { return a.first < b.first; });
    const size_t added = load_sorted(sorted);
    build_hardware();
    if (refused != nullptr) {
        *refused = wanted - added;
    }
    return added;
}

/// The buckets of the next prefix are fetched while one is entered.
size_t Card::load_sorted(const std::vector<std::pair<Key, MatchEntry>> &sorted) {
    size_t added = 0;
    Target target;
    ExactMatch::Homes next{};
    memory_.undo().keep(false);
    for (size_t i = 0; i < sorted.size(); ++i) {
        target.key = sorted[i].first;
        target.match = sorted[i].second;
        target.homes = i == 0 ? match_.homes(target.match) : next;
        if (i + 1 < sorted.size()) {
            next = match_.homes(sorted[i + 1].second);
        }
        added += add_to_tables(target) == card_ok ? 1 : 0;
        memory_.commit();
    }
    memory_.undo().keep(true);
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

uint32_t Card::fill_holes() {
    const uint32_t code = change([&]() -> uint32_t { return mirror_.fill_starved(), card_ok; });
    return code != card_ok ? code
                           : change([&]() -> uint32_t { return mirror_.fill_sparse(), card_ok; });
}

uint32_t Card::flush() {
    const std::lock_guard guard(lock_);
    if (!ready_) {
        return card_not_ready;
    }
    banks_.flush();
    return card_ok;
}

/// One look into the tree.
template <typename Look>
uint32_t Card::look(const Look &look) const {
    const std::lock_guard guard(lock_);
    try {
        return ready_ ? look() : uint32_t{card_not_ready};
    } catch (const Damaged &) {
        return card_damaged;
    }
}

uint32_t Card::search(const Key &key, SearchResult &result) const {
    return look([&]() -> uint32_t {
        simcard::search(memory_, key, result);
        return card_ok;
    });
}

SearchResult Card::search(const Key &key) const {
    SearchResult result;
    search(key, result);
    return result;
}

uint32_t Card::find(const pfx_entry &entry, leaf *&result) const {
    return look([&]() -> uint32_t {
        const auto key = key_of(entry);
        Path path;
        result = key ? tree_.find(*key, path) : nullptr;
        return card_ok;
    });
}

leaf *Card::find(const pfx_entry &entry) const {
    leaf *result = nullptr;
    find(entry, result);
    return result;
}

uint32_t Card::match_in(const ExactMatch::Homes &homes, const MatchEntry &wanted, uint32_t &table,
                        uint32_t &reference) const {
    const std::lock_guard guard(lock_);
    for (uint32_t t = 0; t < plu_hash_tables; ++t) {
        if (const MatchEntry *found = ExactMatch::find_in(homes[t], wanted); found != nullptr) {
            table = t;
            reference = found->leaf;
            return card_ok;
        }
    }
    return card_absent;
}

uint32_t Card::prefixes() const {
    const std::lock_guard guard(lock_);
    return match_.size();
}

int Card::read_node(uint32_t hw_index, void *buffer) const {
    const std::lock_guard guard(lock_);
    return chip_.read_index(hw_index, buffer);
}

int Card::read_chip(int npu, uint64_t address, void *out) const {
    const std::lock_guard guard(lock_);
    return chip_.read(npu, address, out);
}

int Card::write_chip(int npu, uint64_t address, const void *value) {
    const std::lock_guard guard(lock_);
    return chip_.write(npu, address, value);
}

bool Card::ready() const {
    const std::lock_guard guard(lock_);
    return ready_;
}

uint32_t Card::starved() const {
    const std::lock_guard guard(lock_);
    return mirror_.starved();
}

}    // namespace simcard
