#include "console/commands.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/text.h"
#include "shm/contexts.h"
#include "tbm/key.h"

namespace {

constexpr uint32_t address_text_size = 128;

uint64_t address_word(const uint8_t *bytes) {
    uint64_t word = 0;
    for (int i = 0; i < 8; ++i) {
        word = word << 8 | bytes[i];
    }
    return word;
}

/// Runs an entry function on an IPv6 entry and reports it; `action` opens the line.
void edit_v6(plu_entry_function function, const char *action, uint64_t high, uint64_t low,
             uint64_t vrf_and_length) {
    pfx_entry entry;
    pfx_entry_build_v6(entry, high, low, vrf_and_length);
    const uint32_t rc = function(&entry);
    char text[address_text_size] = "";
    ipv6_addr_str(entry.address, text, sizeof text);
    plu_debug_printf("%s pfx 0x%016lX %016lX(%s)/%d, vrf %d, rc 0x%x\n", action,
                     address_word(entry.address), address_word(entry.address + 8), text,
                     int{entry.length()}, int{pfx_entry_vrf(entry)}, rc);
}

}    // namespace

void cmd_addv4(uint64_t address, uint64_t length, uint64_t vrf) {
    const plu_entry_function add = loaded_function(f_vector.plu_add_entry, "plu_add_entry");
    if (add == nullptr) {
        return;
    }
    const pfx_entry entry = pfx_entry_build_v4(
        static_cast<uint32_t>(address), static_cast<uint8_t>(length), static_cast<uint16_t>(vrf));
    const uint32_t rc = add(&entry);
    plu_debug_printf("plu_add_entry with pfx 0x%08X %d.%d.%d.%d/%d, vrf %d, rc 0x%x\n",
                     static_cast<uint32_t>(address), int{entry.address[0]}, int{entry.address[1]},
                     int{entry.address[2]}, int{entry.address[3]}, int{entry.length()},
                     int{pfx_entry_vrf(entry)}, rc);
}

void cmd_delv4(uint64_t address, uint64_t length, uint64_t vrf) {
    const plu_entry_function remove =
        loaded_function(f_vector.plu_delete_entry, "plu_delete_entry");
    if (remove == nullptr) {
        return;
    }
    const pfx_entry entry = pfx_entry_build_v4(
        static_cast<uint32_t>(address), static_cast<uint8_t>(length), static_cast<uint16_t>(vrf));
    const uint32_t rc = remove(&entry);
    plu_debug_printf("plu_delete_entry with pfx 0x%08X mask %d, vrf %d, rc 0x%x\n",
                     static_cast<uint32_t>(address), int{entry.length()}, int{pfx_entry_vrf(entry)},
                     rc);
}

void cmd_addv6(uint64_t high, uint64_t low, uint64_t vrf_and_length) {
    const plu_entry_function add = loaded_function(f_vector.plu_add_entry, "plu_add_entry");
    if (add != nullptr) {
        edit_v6(add, "plu_add_entry", high, low, vrf_and_length);
    }
}

void cmd_delv6(uint64_t high, uint64_t low, uint64_t vrf_and_length) {
    const plu_entry_function remove =
        loaded_function(f_vector.plu_delete_entry, "plu_delete_entry");
    if (remove != nullptr) {
        edit_v6(remove, "plu_del_entry", high, low, vrf_and_length);
    }
}
