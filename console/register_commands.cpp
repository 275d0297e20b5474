#include "console/commands.h"
#include "phu/registers.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"

namespace {

constexpr int64_t npu_argument_max = 10;

/// NPU number of a request: numbers above 10 mean NPU 0, any other its low 32 bits.
int requested_npu(uint64_t argument) {
    return static_cast<int64_t>(argument) > npu_argument_max ? 0 : static_cast<int>(argument);
}

}    // namespace

void cmd_regr32(uint64_t offset_argument, uint64_t npu_argument, uint64_t /*a3*/) {
    if (loaded_function(f_vector.ot_csr_read, "ot_csr_read") == nullptr) {
        return;
    }
    const int npu = requested_npu(npu_argument);
    const auto offset = static_cast<uint16_t>(offset_argument);
    uint32_t value = 0;
    const auto rc = static_cast<uint32_t>(plu_reg_read(static_cast<uint32_t>(npu), offset, &value));
    plu_debug_printf("0x%08x (offset:0x%x, npu:%d, rc:0x%x)\n", value, unsigned{offset}, npu, rc);
}

void cmd_regw32(uint64_t offset_argument, uint64_t value_argument, uint64_t npu_argument) {
    if (loaded_function(f_vector.ot_csr_write, "ot_csr_write") == nullptr) {
        return;
    }
    const int npu = requested_npu(npu_argument);
    const auto offset = static_cast<uint16_t>(offset_argument);
    auto value = static_cast<uint32_t>(value_argument);
    const auto rc =
        static_cast<uint32_t>(plu_reg_write(static_cast<uint32_t>(npu), offset, &value));
    plu_debug_printf("0x%08x written (offset:0x%x, npu:%d, rc:0x%x)\n", value, unsigned{offset},
                     npu, rc);
}
