#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/text.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "shm/readable_memory.h"
#include "tbm/commands.h"
#include "tbm/key.h"
#include "tbm/search.h"

namespace {

/// What the result lines show of a search.
struct search_outcome {
    uint32_t code;
    int key_bits;
    int length;
    const char *prefix;
    uint32_t hw_index;
    tbm_search_result found;
};

/// Runs the search of an entry. False, after its line, for a default prefix or without a tree.
bool search_entry(const pfx_entry &entry, search_outcome &outcome) {
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    if (key.key_bits_used == tbm_header_bits) {
        plu_debug_printf("skip searching default prefix\n");
        return false;
    }
    const tbm_handle_record *handle = tbm_handle_or_report();
    if (handle == nullptr) {
        return false;
    }
    outcome = {};
    outcome.prefix = "NULL";
    tbm_search_result &found = outcome.found;
    outcome.code = tbm_search_hint(handle, key.bytes, found);
    if (found.best != nullptr && !readable_memory::holds(found.best)) {
        report_unreadable(found.best);
        outcome.prefix = "(null)";
    } else if (found.best != nullptr) {
        outcome.key_bits = found.best->key_bits_used;
        outcome.length = outcome.key_bits - static_cast<int>(tbm_header_bits);
        outcome.prefix = leaf_text(found.best);
    }
    if (found.hint_level < hint_trail_entries) {
        outcome.hw_index = found.trail[found.hint_level].hw_index;
    }
    return true;
}

}    // namespace

void cmd_v4(uint64_t address, uint64_t detail_and_length, uint64_t vrf) {
    const auto combined = static_cast<uint32_t>(detail_and_length);
    const uint32_t length = combined % 1000;
    const pfx_entry entry = pfx_entry_build_v4(
        static_cast<uint32_t>(address), static_cast<uint8_t>(length), static_cast<uint16_t>(vrf));
    tbm_search_detail = combined / 1000;
    plu_debug_printf("Search input: prefix 0x%08x, mask len %d, vrf %d \n",
                     static_cast<uint32_t>(address), static_cast<int>(length),
                     static_cast<uint16_t>(vrf));
    search_outcome outcome;
    if (!search_entry(entry, outcome)) {
        return;
    }
    const mask128 mask = outcome.found.calculated_mask;
    plu_debug_printf("\nPHU search results:\n");
    plu_debug_printf("  rc 0x%x prefix len %d (%d)  prefix %s\n", outcome.code, outcome.key_bits,
                     outcome.length, outcome.prefix);
    plu_debug_printf("  hint level %d, phu hw index 0x%08x hint mask 0x%016lx 0x%016lx\n",
                     outcome.found.hint_level, outcome.hw_index, mask.high, mask.low);
}

void cmd_v6(uint64_t high, uint64_t low, uint64_t vrf_and_length) {
    pfx_entry entry;
    pfx_entry_build_v6(entry, high, low, vrf_and_length);
    search_outcome outcome;
    if (!search_entry(entry, outcome)) {
        return;
    }
    const mask128 mask = outcome.found.calculated_mask;
    plu_debug_printf("\nrc 0x%x leaf prefix len %d (%d)  prefix %s\n", outcome.code,
                     outcome.key_bits, outcome.length, outcome.prefix);
    plu_debug_printf(
        "prefix 0x%016lx %016lx hint level %d, phu hw index 0x%08x hint mask 0x%016lx 0x%016lx\n",
        high, low, outcome.found.hint_level, outcome.hw_index, mask.high, mask.low);
}
