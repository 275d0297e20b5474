// The forwarding chips: node memory (the same on every NPU) and registers.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "records/context.h"
#include "records/hw_node.h"

namespace simcard {

enum ChipCode : int {
    chip_ok = 0,
    chip_bad_address = 0x31,
    chip_npu_inactive = 0x32,
    chip_fault = 0x33,    // planted
};

class Chip {
public:
    /// Clears node memory, registers and planted faults.
    void reset(uint32_t npus, uint32_t active_map);

    void write_node(uint32_t hw_index, const phu_node &image);
    [[nodiscard]] const phu_node &node(uint32_t hw_index) const;

    /// Library read by index: 0 and 17 bytes, or a code.
    int read_index(uint32_t hw_index, void *buffer) const;

    /// Direct access by chip address: node memory fills 24 bytes (the image and padding),
    /// registers 4.
    int read(int npu, uint64_t address, void *out) const;
    int write(int npu, uint64_t address, const void *value);

    /// Makes every read of a node fail from now on, or work again.
    void plant_read_fault(uint32_t hw_index, bool failing);

private:
    static constexpr uint32_t linear_nodes = 131072;
    static constexpr uint32_t registers = 65536;

    [[nodiscard]] bool active(int npu) const;
    [[nodiscard]] uint32_t *register_at(int npu, uint64_t address);

    std::array<phu_node, linear_nodes> nodes_{};
    std::vector<std::array<uint32_t, registers>> register_file_;
    std::vector<uint32_t> faults_;
    uint32_t npus_ = 0;
    uint32_t active_map_ = 0;
};

}    // namespace simcard
