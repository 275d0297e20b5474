// The simulated line card: memory, tree, hardware and exact match behind one lock.
//
// Every public function of the card takes the lock. Without it may be read: where the contexts and
// the hash tables lie, which power-on alone decides; and, by the process, the records in shared
// memory, which it reads as they are.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "simcard/banks.h"
#include "simcard/chip.h"
#include "simcard/exact_match.h"
#include "simcard/memory.h"
#include "simcard/mirror.h"
#include "simcard/prefix.h"
#include "simcard/search.h"
#include "simcard/tree.h"

namespace simcard {

/// Codes of the entry functions; 0 is success, any other one means that nothing has changed.
enum CardCode : uint32_t {
    card_ok = 0,
    card_not_ready = 0x4d7e9001,        // the library was not initialised
    card_bad_entry = 0x4d7e9002,        // impossible family or length
    card_exists = 0x4d7e9003,           // the prefix is in the table already
    card_absent = 0x4d7e9004,           // the prefix is not in the table
    card_tables_full = 0x4d7e9005,      // no place in the hash tables
    card_out_of_memory = 0x4d7e9006,    // no room for tree records
    card_damaged = 0x4d7e9007,          // a record on the way is not what the card has made of it
};

constexpr uint8_t default_mask_limit = 8;

struct CardOptions {
    uint32_t npus = 4;
    uint32_t active_map = ~uint32_t{0};
    uint8_t mask_limit = default_mask_limit;    // lengths that one end node may announce
};

class Card {
public:
    /// The card of this process, powered off at first.
    static Card &instance();

    /// Starts with empty tables. False when the kernel refuses the memory.
    [[nodiscard]] bool power_on(const CardOptions &options = {});

    uint32_t add(const pfx_entry &entry);
    uint32_t remove(const pfx_entry &entry);

    /// Adds many prefixes at once, the hardware being built at the end. Entries that cannot be
    /// added (doubles, impossible ones, full tables) are counted in `refused`. Returns the number
    /// added. A card with a damaged tree is out of service after that.
    size_t load(std::vector<pfx_entry> entries, size_t *refused = nullptr);

    /// Text forms for tests and tools: "10.1.2.0/24". A malformed text gives card_bad_entry.
    uint32_t add(const std::string &prefix, uint16_t vrf = 0);
    uint32_t remove(const std::string &prefix, uint16_t vrf = 0);

    /// Background work, as the process's timer drives it.
    uint32_t fill_holes();
    uint32_t flush();

    /// Longest match of an address into a fresh result, which says nothing with another code than
    /// card_ok.
    uint32_t search(const Key &key, SearchResult &result) const;
    [[nodiscard]] SearchResult search(const Key &key) const;
    /// Leaf of exactly this prefix, null without one.
    uint32_t find(const pfx_entry &entry, leaf *&result) const;
    [[nodiscard]] leaf *find(const pfx_entry &entry) const;
    /// The exact match of a prefix in some buckets, one per table: its table and its leaf
    /// reference.
    uint32_t match_in(const ExactMatch::Homes &homes, const MatchEntry &wanted, uint32_t &table,
                      uint32_t &reference) const;
    [[nodiscard]] uint32_t prefixes() const;

    /// The chips' own calls and codes.
    int read_node(uint32_t hw_index, void *buffer) const;
    int read_chip(int npu, uint64_t address, void *out) const;
    int write_chip(int npu, uint64_t address, const void *value);

    [[nodiscard]] bool ready() const;

    /// Nothing changes on the card while the lock returned is held.
    [[nodiscard]] std::unique_lock<std::mutex> hold() const { return std::unique_lock(lock_); }
    /// Nodes whose children could not be hinted for lack of bank room.
    [[nodiscard]] uint32_t starved() const;

    /// The parts, without the lock: for tests that plant faults and for the library's start.
    [[nodiscard]] FixedPart &fixed() { return memory_.fixed(); }
    [[nodiscard]] Memory &memory() { return memory_; }
    [[nodiscard]] Chip &chip() { return chip_; }
    [[nodiscard]] Banks &banks() { return banks_; }
    [[nodiscard]] Mirror &mirror() { return mirror_; }
    [[nodiscard]] ExactMatch &match() { return match_; }

private:
    /// A prefix on its way into the tables or out of them.
    struct Target {
        Key key;
        MatchEntry match;
        ExactMatch::Homes homes;
        MatchEntry *found;
        Path path;
    };

    Card();

    template <typename Operation>
    uint32_t change(const Operation &operation);
    template <typename Look>
    uint32_t look(const Look &look) const;
    uint32_t add_entry(const pfx_entry &entry);
    uint32_t remove_entry(const pfx_entry &entry);
    uint32_t target_of(const pfx_entry &entry, Target &target) const;
    uint32_t add_to_tables(Target &target);
    size_t load_sorted(const std::vector<std::pair<Key, MatchEntry>> &sorted);
    void drop_empty_root(uint32_t slot);
    void build_hardware();
    void set_up_contexts(const CardOptions &options);

    mutable std::mutex lock_;
    Memory memory_;
    Tree tree_{memory_};
    Banks banks_;
    Chip chip_;
    ExactMatch match_{memory_};
    Mirror mirror_{memory_, banks_, chip_};
    bool ready_ = false;
};

}    // namespace simcard
