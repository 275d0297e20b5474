#include "phu/registers.h"

#include "reply/refusals.h"
#include "shm/contexts.h"

namespace {

constexpr uint64_t plu_register_base = 0x53450010810000;
constexpr uint64_t npu_profile_register = 0x56500010810fa8;
constexpr int csr_fixed_argument = 1;    // the library's own; always 1

int read_register(uint32_t npu, uint64_t address, uint32_t *value) {
    const ot_csr_read_function read = loaded_function(f_vector.ot_csr_read, "ot_csr_read");
    if (read == nullptr) {
        return register_not_loaded;
    }
    return read(static_cast<int>(npu), address, csr_fixed_argument, csr_fixed_argument, value);
}

}    // namespace

int plu_reg_read(uint32_t npu, uint16_t offset, uint32_t *value) {
    return read_register(npu, plu_register_base | offset, value);
}

int plu_reg_write(uint32_t npu, uint16_t offset, uint32_t *value) {
    const ot_csr_write_function write = loaded_function(f_vector.ot_csr_write, "ot_csr_write");
    if (write == nullptr) {
        return register_not_loaded;
    }
    return write(static_cast<int>(npu), plu_register_base | offset, csr_fixed_argument,
                 csr_fixed_argument, csr_fixed_argument, value);
}

int plu_npu_profile_read(uint32_t *value) {
    return read_register(0, npu_profile_register, value);
}
