#include "simcard/exact_match.h"

#include <cstring>

namespace simcard {

namespace {

uint64_t mixed(uint64_t value) {
    value = (value ^ value >> 32) * 0xd6e8feb86659fd93U;
    value = (value ^ value >> 32) * 0xd6e8feb86659fd93U;
    return value ^ value >> 32;
}

/// The 20 bytes in front of the leaf, in three words.
bool same_prefix(const MatchEntry &a, const MatchEntry &b) {
    uint64_t wide_a[2];
    uint64_t wide_b[2];
    uint32_t head_a = 0;
    uint32_t head_b = 0;
    memcpy(&head_a, &a, sizeof head_a);
    memcpy(&head_b, &b, sizeof head_b);
    memcpy(wide_a, a.address, sizeof wide_a);
    memcpy(wide_b, b.address, sizeof wide_b);
    return ((head_a ^ head_b) | (wide_a[0] ^ wide_b[0]) | (wide_a[1] ^ wide_b[1])) == 0;
}

MatchEntry *free_entry(Bucket *bucket) {
    for (MatchEntry &entry : bucket->entry) {
        if (entry.type == 0) {
            return &entry;
        }
    }
    return nullptr;
}

MatchEntry *first_free(const ExactMatch::Homes &buckets) {
    for (Bucket *bucket : buckets) {
        if (MatchEntry *place = free_entry(bucket); place != nullptr) {
            return place;
        }
    }
    return nullptr;
}

}    // namespace

void ExactMatch::set_up() {
    size_ = 0;
    for (size_t table = 0; table < tables_.size(); ++table) {
        tables_[table] = static_cast<Bucket *>(
            memory_.allocate(Kind::table, size_t{table_entries[table]} * sizeof(MatchEntry)));
    }
}

bool ExactMatch::make_entry(const pfx_entry &prefix, MatchEntry &entry) {
    const bool v6 = prefix.type == PFX_IPV6;
    const uint8_t length = prefix.length();
    if ((!v6 && prefix.type != PFX_IPV4) || length > (v6 ? 128 : 32)) {
        return false;
    }
    entry = {};
    entry.type = prefix.type;
    entry.length = length;
    memcpy(entry.vrf, prefix.vrf, sizeof entry.vrf);
    memcpy(entry.address, prefix.address, length / 8);
    if (length % 8 != 0) {
        entry.address[length / 8] =
            prefix.address[length / 8] & static_cast<uint8_t>(0xff00 >> (length % 8));
    }
    return true;
}

std::array<uint32_t, plu_hash_tables> ExactMatch::hashes(const MatchEntry &entry) {
    uint64_t word[2];
    uint32_t head = 0;
    memcpy(&head, &entry, sizeof head);
    memcpy(word, entry.address, sizeof word);
    const uint64_t first = mixed(word[0] + mixed(head));
    const uint64_t wide = mixed(first ^ word[1]);
    std::array<uint32_t, plu_hash_tables> result = {static_cast<uint32_t>(wide),
                                                    static_cast<uint32_t>(wide >> 32),
                                                    static_cast<uint32_t>(mixed(wide + 1))};
    for (uint32_t &hash : result) {
        hash ^= hash == plu_no_hash ? 1 : 0;
    }
    return result;
}

Bucket *ExactMatch::bucket(int table, uint32_t hash) const {
    const auto t = static_cast<size_t>(table);
    if (table < 0 || table >= plu_hash_tables) {
        return nullptr;
    }
    Bucket *home = tables_[t] + hash % (table_entries[t] / bucket_entries);
    // All buckets of an entry are asked for before the first is read.
    for (size_t line = 0; line < sizeof(Bucket); line += 64) {
        __builtin_prefetch(reinterpret_cast<const char *>(home) + line);
    }
    return home;
}

ExactMatch::Homes ExactMatch::homes(const MatchEntry &entry) const {
    const auto hash = hashes(entry);
    return {bucket(0, hash[0]), bucket(1, hash[1]), bucket(2, hash[2])};
}

MatchEntry *ExactMatch::find_in(Bucket *bucket, const MatchEntry &entry) {
    for (uint32_t i = 0; bucket != nullptr && i < bucket_entries; ++i) {
        if (same_prefix(bucket->entry[i], entry)) {
            return &bucket->entry[i];
        }
    }
    return nullptr;
}

MatchEntry *ExactMatch::find(const Homes &homes, const MatchEntry &entry) {
    MatchEntry *found = nullptr;
    for (size_t table = 0; table < homes.size() && found == nullptr; ++table) {
        found = find_in(homes[table], entry);
    }
    return found;
}

void ExactMatch::erase(MatchEntry *found) {
    *found = {};
    --size_;
}

MatchEntry *ExactMatch::insert(const Homes &homes, const MatchEntry &entry) {
    MatchEntry *place = first_free(homes);
    if (place == nullptr && make_room(homes)) {
        place = first_free(homes);
    }
    if (place != nullptr) {
        *place = entry;
        ++size_;
    }
    return place;
}

/// Breadth-first search for a chain of moves that frees an entry in one of the prefix's buckets.
bool ExactMatch::make_room(const Homes &homes) {
    constexpr size_t longest_search = 20000;
    std::vector<Step> steps;
    for (Bucket *home : homes) {
        steps.push_back({home, -1, 0});
    }
    for (size_t at = 0; at < steps.size() && steps.size() < longest_search; ++at) {
        if (free_a_place(steps, at)) {
            return true;
        }
    }
    return false;
}

/// Frees an entry of a step's bucket if one of its entries has a free place elsewhere; else notes
/// the buckets where they could go.
bool ExactMatch::free_a_place(std::vector<Step> &steps, size_t at) {
    Bucket *bucket = steps[at].bucket;
    for (uint32_t victim = 0; victim < bucket_entries; ++victim) {
        for (Bucket *target : homes(bucket->entry[victim])) {
            if (target == bucket) {
                continue;
            }
            if (MatchEntry *place = free_entry(target); place != nullptr) {
                move_chain(steps, at, &bucket->entry[victim], place);
                return true;
            }
            steps.push_back({target, static_cast<int>(at), victim});
        }
    }
    return false;
}

/// Moves an entry of a step's bucket to its place, then the parent's victim to where it was, and so
/// on: from the end of the chain, so that every prefix can be found at any moment.
void ExactMatch::move_chain(const std::vector<Step> &steps, size_t at, MatchEntry *source,
                            MatchEntry *place) {
    *place = *source;
    *source = {};
    for (Step step = steps[at]; step.parent >= 0;) {
        const Step &parent = steps[static_cast<size_t>(step.parent)];
        MatchEntry *next = &parent.bucket->entry[step.victim];
        *source = *next;
        *next = {};
        source = next;
        step = parent;
    }
}

}    // namespace simcard
