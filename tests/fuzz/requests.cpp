#include "tests/fuzz/requests.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "console/command_table.h"
#include "tests/fuzz/card.h"

namespace {

constexpr uint64_t long_dump = 20000;    // bytes

bool is_any(const plu_debug_request &request, std::initializer_list<const char *> names) {
    return std::any_of(names.begin(), names.end(), [&](const char *name) {
        return strncasecmp(request.name, name, sizeof request.name) == 0;
    });
}

uint64_t record_address(const fuzz_card &card, fuzz_input &input) {
    static constexpr record_kind kinds[] = {record_kind::node, record_kind::node,
                                            record_kind::child_array, record_kind::leaf_array,
                                            record_kind::leaf};
    const record_kind kind = kinds[input.byte() % std::size(kinds)];
    return card.any(kind, input.bytes(2));
}

uint64_t wild_address(fuzz_input &input) {
    const uint64_t offset = input.bytes(2);
    switch (input.byte() % 4) {
        case 0:
            return library_address() + offset;
        case 1:
            return unmapped_address + offset;
        default:
            return reinterpret_cast<uint64_t>(garbage()) +
                   offset % (garbage_words * sizeof(uint64_t));
    }
}

/// What a stray word of memory may hold.
uint64_t garbage_word(const fuzz_card &card, uint64_t random) {
    const auto pick = static_cast<size_t>(random >> 8);
    switch (random % 8) {
        case 0:
            return card.any(record_kind::node, pick);
        case 1:
            return card.any(record_kind::leaf_array, pick);
        case 2:
            return reinterpret_cast<uint64_t>(garbage() + pick % garbage_words);
        case 3:
            return unmapped_address;
        case 4:
            return random;
        case 5:
            return pick % 64;
        default:
            return 0;
    }
}

/// Stray words, and copies of nodes among them.
void fill_garbage(const fuzz_card &card, fuzz_input &input) {
    uint64_t random = input.bytes(4) * 2 + 1;
    const auto next = [&] {
        random ^= random << 13;
        random ^= random >> 7;
        return random ^= random << 17;
    };
    uint64_t *words = garbage();
    std::generate_n(words, garbage_words, [&] { return garbage_word(card, next()); });
    constexpr size_t node_words = sizeof(tn) / sizeof(uint64_t);
    for (int copies = input.byte() % 8; copies > 0; --copies) {
        const auto *node =
            reinterpret_cast<const tn *>(card.any(record_kind::node, input.bytes(2)));
        uint64_t *at = words + input.below(garbage_words - node_words);
        memcpy(at, node, sizeof(tn));
        at[input.byte() % node_words] = garbage_word(card, next());
    }
}

uint64_t argument(const fuzz_card &card, fuzz_input &input) {
    static constexpr uint64_t extremes[] = {0x7fffffff,         0x80000000,         0xffffffff,
                                            0x7fffffffffffffff, 0x8000000000000000, ~uint64_t{0}};
    switch (input.byte() % 13) {
        case 0:
            return input.byte();
        case 1:
            return input.bytes(4);
        case 2:
            return input.bytes(8);
        case 3:
        case 4:
            return record_address(card, input);
        case 5:
            return record_address(card, input) + input.byte();
        case 6:
            return wild_address(input);
        case 7:
            return card.hw_indexes[input.below(card.hw_indexes.size())];
        case 8:
            return extremes[input.byte() % std::size(extremes)];
        case 9:    // length and VRF or detail, or an address near those of the table
            return input.byte() % 2 == 0 ? uint64_t{input.byte()} * 1000 + input.byte() % 130
                                         : 0x0a010000 ^ input.bytes(2);
        default:    // the whole tree
            return 0;
    }
}

}    // namespace

plu_debug_request fuzz_request(const fuzz_card &card, fuzz_input &input) {
    plu_debug_request request{};
    const size_t row = input.byte() % (plu_debug_commands + 2);
    if (row < plu_debug_commands) {
        strcpy(request.name, msg_handler_list[row].name);
    } else {
        for (char &letter : request.name) {
            letter = static_cast<char>(input.byte());
        }
    }
    request.a1 = argument(card, input);
    request.a2 = argument(card, input);
    request.a3 = argument(card, input);
    fill_garbage(card, input);
    return request;
}

bool fuzz_request_ends(const plu_debug_request &request) {
    return !is_any(request, {"memr"}) || request.a3 == 0 || request.a2 < long_dump;
}

bool fuzz_request_edits(const plu_debug_request &request) {
    return is_any(request,
                  {"addv4", "addv6", "delv4", "delv6", "memw8", "memw32", "setbmsf", "regw32"});
}
