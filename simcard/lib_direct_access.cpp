// libostrel_direct_access.so: registers and node memory of the chips.

#include "platform/direct_access.h"
#include "simcard/card.h"

extern "C" {

int ot_csr_read(int npu, uint64_t address, int, int, void *out) {
    return simcard::Card::instance().read_chip(npu, address, out);
}

int ot_csr_write(int npu, uint64_t address, int, int, int, const void *value) {
    return simcard::Card::instance().write_chip(npu, address, value);
}
}
