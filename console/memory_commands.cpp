#include "console/commands.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "shm/readable.h"

namespace {

constexpr int64_t read_size_max = 4000;
constexpr int bytes_per_line = 16;
constexpr int bytes_per_group = 4;

// A store of its own width at any alignment.
using unaligned_u32 [[gnu::aligned(1), gnu::may_alias]] = uint32_t;

/// True when the address lies in the PHU shared memory, both ends included; else says why not.
bool in_phu_shm(uint64_t address) {
    const auto start = reinterpret_cast<uint64_t>(phu_shm_start());
    if (start == 0) {
        plu_debug_printf("NULL tbm_handle\n");
        return false;
    }
    if (address >= start && address <= start + phu_shm_span) {
        return true;
    }
    plu_debug_printf("PHU shared mem range: addr 0x%lx - 0x%lx, set a3 = 1 to bypass check\n",
                     start, start + phu_shm_span);
    return false;
}

bool store_allowed(uint64_t address, size_t size, bool bypass) {
    return (bypass || in_phu_shm(address)) && operator_address_readable(address, size) &&
           operator_address_writable(address, size);
}

bool read_allowed(uint64_t address, int64_t size, bool bypass) {
    if (!bypass && !in_phu_shm(address)) {
        return false;
    }
    if (!bypass && size > read_size_max) {
        plu_debug_printf("read size > 4000, set a3 = 1 to bypass the check\n");
        return false;
    }
    return size <= 0 || operator_address_readable(address, static_cast<size_t>(size));
}

}    // namespace

void cmd_memr(uint64_t address, uint64_t size_argument, uint64_t bypass) {
    const auto size = static_cast<int64_t>(size_argument);
    if (!read_allowed(address, size, bypass != 0)) {
        return;
    }
    const auto *bytes = reinterpret_cast<const volatile uint8_t *>(address);
    plu_debug_printf("read start from %p", reinterpret_cast<void *>(address));
    for (int64_t i = 0; i < size; ++i) {
        if (i % bytes_per_line == 0) {
            plu_debug_printf("\n0x%04x  ", static_cast<uint32_t>(i));
        }
        if (i % bytes_per_group == 0) {
            plu_debug_printf(" ");
        }
        plu_debug_printf("%02x", unsigned{bytes[i]});
    }
    plu_debug_printf("\n");
}

void cmd_memw8(uint64_t address, uint64_t value_argument, uint64_t bypass) {
    const auto value = static_cast<uint8_t>(value_argument);
    if (!store_allowed(address, sizeof value, bypass != 0)) {
        return;
    }
    plu_debug_printf("write 0x%x to %p\n", unsigned{value}, reinterpret_cast<void *>(address));
    *reinterpret_cast<volatile uint8_t *>(address) = value;
}

void cmd_memw32(uint64_t address, uint64_t value_argument, uint64_t bypass) {
    const auto value = static_cast<uint32_t>(value_argument);
    if (!store_allowed(address, sizeof value, bypass != 0)) {
        return;
    }
    plu_debug_printf("write 0x%08x to %p\n", value, reinterpret_cast<void *>(address));
    *reinterpret_cast<volatile unaligned_u32 *>(address) = value;
}
