// The exact-match path: three hash tables with the profile's sizes, buckets of eight entries, one
// bucket per table and prefix; entries move between their buckets to make room.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/plu_library.h"
#include "simcard/memory.h"
#include "simcard/prefix.h"

namespace simcard {

constexpr std::array<uint32_t, plu_hash_tables> table_entries = {2097152, 2097152, 524288};

/// One prefix in a table; type 0 marks a free entry.
struct MatchEntry {
    uint8_t type;
    uint8_t length;
    uint8_t vrf[2];
    uint8_t address[16];
    uint32_t leaf;    // reference into the card's memory
};
static_assert(sizeof(MatchEntry) == 24);

constexpr uint32_t bucket_entries = 8;
struct Bucket {
    MatchEntry entry[bucket_entries];
};

class ExactMatch {
public:
    explicit ExactMatch(Memory &memory) : memory_(memory) {}

    /// Takes the tables from the card's memory, which is fresh.
    void set_up();

    /// The entry of a prefix with host bits cleared; false for an impossible family or length.
    static bool make_entry(const pfx_entry &prefix, MatchEntry &entry);
    static std::array<uint32_t, plu_hash_tables> hashes(const MatchEntry &entry);

    /// Bucket of a hash; null for a table that does not exist. Tables stay where power-on put them.
    [[nodiscard]] Bucket *bucket(int table, uint32_t hash) const;

    /// The buckets where a prefix can be; they are fetched from memory meanwhile.
    using Homes = std::array<Bucket *, plu_hash_tables>;
    [[nodiscard]] Homes homes(const MatchEntry &entry) const;

    /// A prefix in a bucket (null holds nothing) or in its buckets; null when it is not there.
    [[nodiscard]] static MatchEntry *find_in(Bucket *bucket, const MatchEntry &entry);
    [[nodiscard]] static MatchEntry *find(const Homes &homes, const MatchEntry &entry);
    /// Adds an absent prefix to one of its buckets. Null when no place can be made for it; then
    /// nothing has changed.
    MatchEntry *insert(const Homes &homes, const MatchEntry &entry);
    void erase(MatchEntry *found);

    [[nodiscard]] uint32_t size() const { return size_; }

private:
    /// A bucket that the search for room has reached: `victim` of the parent's bucket can move
    /// here.
    struct Step {
        Bucket *bucket;
        int parent;    // -1 for a bucket of the prefix itself
        uint32_t victim;
    };
    bool make_room(const Homes &homes);
    bool free_a_place(std::vector<Step> &steps, size_t at);
    static void move_chain(const std::vector<Step> &steps, size_t at, MatchEntry *source,
                           MatchEntry *place);

    Memory &memory_;
    std::array<Bucket *, plu_hash_tables> tables_{};
    uint32_t size_ = 0;
};

}    // namespace simcard
