// The simulated line card: memory, tree, hardware and exact match behind one lock.
#pragma once

#include <cstdint>
#include <functional>
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

/// Codes of the entry functions; 0 is success.
enum CardCode : uint32_t {
    card_ok = 0,
    card_not_ready = 0x4d7e9001,        // the library was not initialised
    card_bad_entry = 0x4d7e9002,        // impossible family or length
    card_exists = 0x4d7e9003,           // the prefix is in the table already
    card_absent = 0x4d7e9004,           // the prefix is not in the table
    card_tables_full = 0x4d7e9005,      // no place in the hash tables
    card_out_of_memory = 0x4d7e9006,    // no room for tree records
};

inline constexpr uint8_t default_mask_limit = 8;

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
    /// added.
    size_t load(std::vector<pfx_entry> entries, size_t *refused = nullptr);

    /// Text forms for tests and tools: "10.1.2.0/24". A malformed text gives card_bad_entry.
    uint32_t add(const std::string &prefix, uint16_t vrf = 0);
    uint32_t remove(const std::string &prefix, uint16_t vrf = 0);

    /// Background work, as the process's timer drives it.
    void fill_holes();
    int flush();

    [[nodiscard]] SearchResult search(const Key &key) const;
    /// Leaf of exactly this prefix, or null.
    [[nodiscard]] leaf *find(const pfx_entry &entry) const;
    [[nodiscard]] uint32_t prefixes() const { return match_.size(); }

    [[nodiscard]] bool ready() const { return ready_; }
    /// The parts, for tests that plant faults and for the library functions.
    [[nodiscard]] FixedPart &fixed() { return memory_.fixed(); }
    [[nodiscard]] Memory &memory() { return memory_; }
    [[nodiscard]] Chip &chip() { return chip_; }
    [[nodiscard]] Banks &banks() { return banks_; }
    [[nodiscard]] Mirror &mirror() { return mirror_; }
    [[nodiscard]] ExactMatch &match() { return match_; }

    /// Every prefix of the tree in walk order.
    void each_leaf(const std::function<void(const leaf &)> &visit) const;

private:
    Card();

    uint32_t check_add(const pfx_entry &entry, Key &key, MatchEntry &match) const;
    uint32_t add_to_tables(const Key &key, MatchEntry &match, Path &path);
    void set_up_contexts(const CardOptions &options);

    mutable std::mutex lock_;
    Memory memory_;
    Tree tree_{memory_};
    Banks banks_;
    Chip chip_;
    ExactMatch match_{memory_};
    Mirror mirror_{memory_, tree_, banks_, chip_};
    bool ready_ = false;
};

}    // namespace simcard
