// The cross-checks of one typed prefix.
#include "checks/commands.h"
#include "checks/plu_phu_lookup.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/text.h"
#include "shm/contexts.h"
#include "shm/readable_memory.h"
#include "tbm/key.h"

namespace {

// Shown when no address is given.
constexpr uint32_t example_address = 0x401F0000;    // 64.31.0.0
constexpr uint8_t example_length = 19;
constexpr uint16_t example_vrf = 200;

void lookup_and_report(pfx_entry &entry) {
    leaf *found = nullptr;
    const int32_t best = phu_plu_lookup(entry, &found, entry.length(), true, nullptr, nullptr);
    const bool answered = best != 0 && found != nullptr;
    const bool shown = answered && readable_memory::holds(found);
    plu_debug_printf("best match: mask len %d, %s\n", best, shown ? leaf_text(found) : "(null)");
    if (!answered) {
        plu_debug_printf("phu_plu_lookup() lookup failed, mask len %d lf %p\n", best,
                         static_cast<void *>(found));
    }
}

}    // namespace

void cmd_cklkupv4(uint64_t address, uint64_t length, uint64_t vrf) {
    if (loaded_function(f_vector.phu_search, "phu_search") == nullptr) {
        return;
    }
    pfx_entry entry =
        address == 0 ? pfx_entry_build_v4(example_address, example_length, example_vrf)
                     : pfx_entry_build_v4(static_cast<uint32_t>(address),
                                          static_cast<uint8_t>(length), static_cast<uint16_t>(vrf));
    plu_debug_printf("prefix 0x%lx, mask len: %d, vrf: %d\n", address, int{entry.length()},
                     static_cast<int32_t>(vrf));
    lookup_and_report(entry);
}

void cmd_cklkupv6(uint64_t high, uint64_t low, uint64_t vrf_and_length) {
    if ((high == 0 && low == 0) || vrf_and_length == 0) {
        plu_debug_printf("valid input: a1 pfx high, a2 pfx low, a3 1000 x vrf + mask len\n");
        return;
    }
    if (loaded_function(f_vector.phu_search, "phu_search") == nullptr) {
        return;
    }
    pfx_entry entry;
    pfx_entry_build_v6(entry, high, low, vrf_and_length);
    plu_debug_printf("prefix 0x");
    for (const uint8_t byte : entry.address) {
        plu_debug_printf("%02x", unsigned{byte});
    }
    const auto argument = static_cast<int32_t>(vrf_and_length);
    plu_debug_printf(", mask len: %d, vrf: %d\n", argument - 1000 * (argument / 1000),
                     argument / 1000);
    lookup_and_report(entry);
}
