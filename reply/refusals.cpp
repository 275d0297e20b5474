#include "reply/refusals.h"

#include "reply/reply.h"
#include "reply/unreadable.h"
#include "shm/readable.h"

namespace {

tbm_handle_record *reported(tbm_handle_record *handle) {
    if (handle == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
    }
    return handle;
}

}    // namespace

tbm_handle_record *tbm_handle_or_report() {
    return reported(tbm_handle_current());
}

tbm_handle_record *tbm_handle_derive_or_report() {
    return reported(plu_ctx_derive() ? tbm_handle_current() : nullptr);
}

bool tn_address_valid(uint64_t address) {
    if (address >= reinterpret_cast<uint64_t>(plu_shm_ctx)) {
        return true;
    }
    plu_debug_printf("invalid tn addr: 0x%lx\n", address);
    return false;
}

bool operator_address_readable(uint64_t address, size_t size) {
    if (address_readable(address, size)) {
        return true;
    }
    report_unreadable(address);
    return false;
}

bool operator_address_writable(uint64_t address, size_t size) {
    if (address_writable(address, size)) {
        return true;
    }
    plu_debug_printf("address 0x%lx is not writable\n", address);
    return false;
}

void report_not_loaded(const char *name) {
    plu_debug_printf("%s not loaded\n", name);
}
