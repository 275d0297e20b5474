#include "bench/data_set.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <unordered_set>

#include "simcard/table_file.h"

namespace {

constexpr uint64_t seed = 20240817;
constexpr uint32_t customer_vrfs = 48;

/// Lengths with their weights; what the real tables of today look like, rounded.
struct weighted_length {
    uint8_t length;
    uint32_t weight;
};
constexpr weighted_length v4_lengths[] = {{24, 600}, {23, 95}, {22, 110}, {21, 50}, {20, 45},
                                          {19, 28},  {18, 16}, {17, 10},  {16, 14}, {15, 3},
                                          {14, 3},   {13, 2},  {12, 2},   {10, 1},  {8, 1}};
constexpr weighted_length v4_customer_lengths[] = {{32, 250}, {31, 60}, {30, 180}, {29, 90},
                                                   {28, 60},  {27, 40}, {26, 40},  {25, 30},
                                                   {24, 200}, {22, 30}, {16, 20}};
constexpr weighted_length v6_lengths[] = {{48, 450}, {32, 130}, {40, 90}, {44, 110}, {36, 60},
                                          {46, 40},  {47, 30},  {45, 15}, {42, 20},  {38, 15},
                                          {29, 25},  {33, 20},  {34, 10}, {56, 15},  {64, 20},
                                          {127, 5},  {128, 10}, {24, 2},  {20, 1}};
constexpr uint8_t v4_registries[] = {5,   23,  31,  37,  41,  45,  46,  59,  62,  64,  66,  72,
                                     77,  80,  84,  89,  91,  95,  101, 103, 104, 109, 112, 116,
                                     121, 128, 138, 146, 154, 163, 170, 176, 181, 185, 187, 192,
                                     193, 194, 196, 198, 200, 202, 203, 208, 212, 213, 216, 217};
constexpr uint16_t v6_registries[] = {0x2001, 0x2400, 0x2401, 0x2600, 0x2604, 0x2620,
                                      0x2800, 0x2804, 0x2a00, 0x2a02, 0x2a0e, 0x2c0f};

class generator {
public:
    pfx_entry next(const std::vector<pfx_entry> &earlier) {
        if (!earlier.empty() && below(8) == 0) {
            return neighbour(earlier.back());
        }
        if (!earlier.empty() && below(2) == 0) {
            return more_specific(earlier[below(earlier.size())]);
        }
        return aggregate();
    }

private:
    uint64_t below(uint64_t n) { return random_() % n; }

    template <size_t n>
    uint8_t pick(const weighted_length (&choices)[n]) {
        uint32_t sum = 0;
        for (const weighted_length &choice : choices) {
            sum += choice.weight;
        }
        auto left = static_cast<int64_t>(below(sum));
        const weighted_length *choice = choices;
        while ((left -= choice->weight) >= 0) {
            ++choice;
        }
        return choice->length;
    }

    static bool customer(const pfx_entry &entry) { return (entry.vrf[0] | entry.vrf[1]) != 0; }

    uint8_t any_length(const pfx_entry &entry) {
        if (entry.type == PFX_IPV6) {
            return pick(v6_lengths);
        }
        return customer(entry) ? pick(v4_customer_lengths) : pick(v4_lengths);
    }

    /// Random bits from bit `from` up to the length, zeros behind.
    void fill(pfx_entry &entry, uint32_t from) {
        const uint8_t length = entry.length();
        const uint32_t bits = entry.type == PFX_IPV6 ? 128 : 32;
        for (uint32_t bit = from; bit < bits; ++bit) {
            const auto mask = static_cast<uint8_t>(0x80 >> (bit % 8));
            entry.address[bit / 8] &= static_cast<uint8_t>(~mask);
            if (bit < length && below(2) != 0) {
                entry.address[bit / 8] |= mask;
            }
        }
        entry.set_length(length);
    }

    pfx_entry aggregate() {
        pfx_entry entry{};
        entry.type = below(5) == 0 ? PFX_IPV6 : PFX_IPV4;
        entry.vrf[1] = static_cast<uint8_t>(below(4) == 0 ? 1 + below(customer_vrfs) : 0);
        entry.set_length(any_length(entry));
        uint32_t from = 8;
        if (entry.type == PFX_IPV6) {
            const uint16_t registry = v6_registries[below(std::size(v6_registries))];
            entry.address[0] = static_cast<uint8_t>(registry >> 8);
            entry.address[1] = static_cast<uint8_t>(registry);
            from = 16;
        } else if (customer(entry)) {
            entry.address[0] = 10;
        } else {
            entry.address[0] = v4_registries[below(std::size(v4_registries))];
        }
        fill(entry, from);
        return entry;
    }

    pfx_entry more_specific(pfx_entry entry) {
        const uint8_t from = entry.length();
        const uint8_t length = std::max(from, any_length(entry));
        entry.set_length(length);
        fill(entry, from);
        return entry;
    }

    /// The prefix of the same length beside this one.
    static pfx_entry neighbour(pfx_entry entry) {
        for (uint32_t bit = entry.length(); bit-- > 0;) {
            const auto mask = static_cast<uint8_t>(0x80 >> (bit % 8));
            entry.address[bit / 8] ^= mask;
            if ((entry.address[bit / 8] & mask) != 0) {
                break;
            }
        }
        return entry;
    }

    std::mt19937_64 random_{seed};
};

struct entry_hash {
    size_t operator()(const simcard::Key &key) const {
        uint64_t words[3];
        memcpy(words, key.bytes, sizeof words);
        uint64_t hash = key.bits;
        for (const uint64_t word : words) {
            hash = (hash ^ word) * 0x9e3779b97f4a7c15U;
            hash ^= hash >> 29;
        }
        return hash;
    }
};

}    // namespace

std::vector<pfx_entry> internet_table(size_t count) {
    generator next;
    std::vector<pfx_entry> table;
    std::unordered_set<simcard::Key, entry_hash> known;
    table.reserve(count);
    known.reserve(count);
    while (table.size() < count) {
        const pfx_entry entry = next.next(table);
        if (known.insert(*simcard::key_of(entry)).second) {
            table.push_back(entry);
        }
    }
    return table;
}

std::vector<pfx_entry> table_of_file(const std::string &file) {
    std::vector<pfx_entry> entries;
    const simcard::TableReport report = simcard::read_table(file, entries);
    if (!report.opened || report.bad_lines != 0) {
        (void)fprintf(stderr, "%s: %zu bad lines%s\n", file.c_str(), report.bad_lines,
                      report.opened ? "" : ", cannot be opened");
        exit(1);
    }
    return entries;
}
