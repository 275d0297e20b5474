#include "simcard/exact_match.h"

#include <cstring>
#include <vector>

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

}    // namespace

bool ExactMatch::set_up() {
    size_ = 0;
    for (size_t table = 0; table < tables_.size(); ++table) {
        tables_[table] = static_cast<Bucket *>(
            memory_.allocate(Kind::table, size_t{table_entries[table]} * sizeof(MatchEntry)));
        if (tables_[table] == nullptr) {
            return false;
        }
    }
    return true;
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

std::array<Bucket *, plu_hash_tables> ExactMatch::homes(const MatchEntry &entry) const {
    const auto hash = hashes(entry);
    return {bucket(0, hash[0]), bucket(1, hash[1]), bucket(2, hash[2])};
}

MatchEntry *ExactMatch::find_in(Bucket *bucket, const MatchEntry &entry) {
    for (MatchEntry &candidate : bucket->entry) {
        if (same_prefix(candidate, entry)) {
            return &candidate;
        }
    }
    return nullptr;
}

const MatchEntry *ExactMatch::find(const MatchEntry &entry) const {
    const auto hash = hashes(entry);
    for (int table = 0; table < plu_hash_tables; ++table) {
        if (const MatchEntry *found =
                find_in(bucket(table, hash[static_cast<size_t>(table)]), entry);
            found != nullptr) {
            return found;
        }
    }
    return nullptr;
}

bool ExactMatch::erase(const MatchEntry &entry) {
    auto *found = const_cast<MatchEntry *>(find(entry));
    if (found == nullptr) {
        return false;
    }
    *found = {};
    --size_;
    return true;
}

bool ExactMatch::insert(const MatchEntry &entry) {
    const auto buckets = homes(entry);
    for (int round = 0; round < 2; ++round) {
        for (Bucket *home : buckets) {
            if (MatchEntry *place = free_entry(home); place != nullptr) {
                *place = entry;
                ++size_;
                return true;
            }
        }
        if (round == 0 && !make_room(entry)) {
            return false;
        }
    }
    return false;
}

/// Breadth-first search for a chain of moves that frees an entry in one of the prefix's buckets;
/// moves from its end, so that every prefix can be found at any moment.
bool ExactMatch::make_room(const MatchEntry &entry) {
    struct Step {
        Bucket *bucket;
        int parent;         // step whose entry can move into this bucket
        uint32_t victim;    // that entry
    };
    constexpr size_t longest_search = 20000;
    std::vector<Step> steps;
    for (Bucket *home : homes(entry)) {
        steps.push_back({home, -1, 0});
    }
    for (size_t at = 0; at < steps.size() && steps.size() < longest_search; ++at) {
        for (uint32_t victim = 0; victim < bucket_entries; ++victim) {
            for (Bucket *target : homes(steps[at].bucket->entry[victim])) {
                if (target == steps[at].bucket) {
                    continue;
                }
                MatchEntry *place = free_entry(target);
                if (place == nullptr) {
                    steps.push_back({target, static_cast<int>(at), victim});
                    continue;
                }
                auto step = static_cast<int>(at);
                MatchEntry *source = &steps[at].bucket->entry[victim];
                for (;;) {
                    *place = *source;
                    *source = {};
                    const Step &done = steps[static_cast<size_t>(step)];
                    if (done.parent < 0) {
                        return true;
                    }
                    place = source;
                    source = &steps[static_cast<size_t>(done.parent)].bucket->entry[done.victim];
                    step = done.parent;
                }
            }
        }
    }
    return false;
}

}    // namespace simcard
