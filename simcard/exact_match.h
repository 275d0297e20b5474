// The exact-match path: three hash tables with the profile's sizes, buckets of eight entries, one
// bucket per table and prefix; entries move between their buckets to make room.
#pragma once

#include <array>
#include <cstdint>

#include "platform/plu_library.h"
#include "simcard/memory.h"
#include "simcard/prefix.h"

namespace simcard {

inline constexpr std::array<uint32_t, plu_hash_tables> table_entries = {2097152, 2097152, 524288};

/// One prefix in a table; type 0 marks a free entry.
struct MatchEntry {
    uint8_t type;
    uint8_t length;
    uint8_t vrf[2];
    uint8_t address[16];
    uint32_t leaf;    // reference into the card's memory
};
static_assert(sizeof(MatchEntry) == 24);

inline constexpr uint32_t bucket_entries = 8;
struct Bucket {
    MatchEntry entry[bucket_entries];
};

class ExactMatch {
public:
    explicit ExactMatch(Memory &memory) : memory_(memory) {}

    /// Takes the tables from the card's memory. False when there is no room.
    [[nodiscard]] bool set_up();

    /// The entry of a prefix with host bits cleared; false for an impossible family or length.
    static bool make_entry(const pfx_entry &prefix, MatchEntry &entry);
    static std::array<uint32_t, plu_hash_tables> hashes(const MatchEntry &entry);

    [[nodiscard]] Bucket *bucket(int table, uint32_t hash) const;

    /// Adds an absent entry. False when no place can be made for it; then nothing has changed.
    bool insert(const MatchEntry &entry);
    /// Removes an entry; false when it is absent.
    bool erase(const MatchEntry &entry);
    [[nodiscard]] const MatchEntry *find(const MatchEntry &entry) const;

    [[nodiscard]] uint32_t size() const { return size_; }

    /// Entry of a prefix in one bucket, or null.
    static MatchEntry *find_in(Bucket *bucket, const MatchEntry &entry);

private:
    bool make_room(const MatchEntry &entry);
    [[nodiscard]] std::array<Bucket *, plu_hash_tables> homes(const MatchEntry &entry) const;

    Memory &memory_;
    std::array<Bucket *, plu_hash_tables> tables_{};
    uint32_t size_ = 0;
};

}    // namespace simcard
