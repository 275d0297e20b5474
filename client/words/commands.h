// The process's commands as the operator writes them: the one table behind parsing, help,
// completion and the manual.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace client {

enum class family { none, v4, v6 };

/// A plain number: what it means, and what the process has room for.
struct number_slot {
    const char *name = nullptr;    // null when unused
    uint64_t max = UINT64_MAX;
    uint64_t length_max = 0;    // when set, the number is 1000 times one of at most `max`, plus a
                                // length of at most this
};

enum class company { any, other_slots, nobody };

/// A word behind a command, and what it adds to the request's numbers.
struct keyword {
    const char *name;
    const char *value;      // what follows it, as help names it; null for a bare word
    uint64_t weight;        // added to the slot: times the value, or as it is for a bare word
    uint64_t max;           // the largest value
    int slot;               // 0 for a1, 1 for a2, 2 for a3
    company with;           // the other words that it goes with
    bool sets_a3;           // also makes a3 1
    const char *meaning;    // a few words for people
};

struct command {
    const char *name;
    const char *help;                      // as the process lists it
    const char *meaning;                   // one line for people
    family prefix;                         // a prefix may stand in place of the numbers
    int required;                          // how many numbers it needs at least
    std::array<number_slot, 3> numbers;    // a1, a2, a3
    std::span<const keyword> keywords;
    bool changes_state;
    bool example_without_address = false;    // the process looks up one of its own for 0
};

/// The 36 rows in the process's order.
std::span<const command> all_commands();

/// The row of a name, without regard to case; null when there is none.
const command *find_command(std::string_view name);

/// "PREFIX [vrf N] [detail N]": what may follow the name.
std::string natural_form(const command &row);

/// "ADDRESS 1000*DETAIL+LENGTH VRF": the plain numbers; empty when they are no other form.
std::string number_form(const command &row);

/// What is wrong with a number for a slot, such as "beyond 0xff"; empty when it fits.
std::string misfit(const number_slot &slot, uint64_t number);

/// True when the two may stand in one command.
bool go_together(const keyword &a, const keyword &b);

bool same_word(std::string_view a, std::string_view b);

}    // namespace client
