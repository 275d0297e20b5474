// Lookup of one prefix through the hardware nodes, with a trace.
#include "phu/commands.h"
#include "phu/lookup_sim.h"
#include "reply/reply.h"
#include "reply/text.h"
#include "tbm/key.h"

extern "C" {
int32_t phu_debug_det = 0;
}

void cmd_v4hw(uint64_t address, uint64_t length, uint64_t vrf) {
    phu_debug_det = 1;
    const auto bits = static_cast<uint32_t>(address);
    const pfx_entry entry =
        pfx_entry_build_v4(bits, static_cast<uint8_t>(length), static_cast<uint16_t>(vrf));
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    plu_debug_printf("prefix 0x%08x %d.%d.%d.%d/%d\n\n", bits, entry.address[0], entry.address[1],
                     entry.address[2], entry.address[3], key.key_bits_used - tbm_header_bits);
    mask128 mask{};
    const uint32_t rc = phu_hw_engine_search_sim(key.bytes, mask, 1);
    plu_debug_printf("\ncalled phu_hw_engine_search_sim(), rc = 0x%x hint_mask 0x%016lx\n", rc,
                     mask.low);
}

void cmd_v6hw(uint64_t high, uint64_t low, uint64_t vrf_and_length) {
    phu_debug_det = 1;
    pfx_entry entry;
    pfx_entry_build_v6(entry, high, low, vrf_and_length);
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    if (key.key_bits_used == tbm_header_bits) {
        plu_debug_printf("skip searching default prefix\n");
        return;
    }
    char text[128] = "";
    ipv6_addr_str(entry.address, text, sizeof text);
    plu_debug_printf("prefix 0x%016lx%016lx (%s)/%d\n\n", high, low, text,
                     key.key_bits_used - tbm_header_bits);
    mask128 mask{};
    const uint32_t rc = phu_hw_engine_search_sim(key.bytes, mask, 1);
    plu_debug_printf("\n phu_hw_engine_search_sim(): rc = 0x%x hint_mask 0x%016lx %016lx\n", rc,
                     mask.high, mask.low);
}
