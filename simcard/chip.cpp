#include "simcard/chip.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace simcard {

namespace {

constexpr uint64_t register_base = 0x53450010810000;
constexpr uint64_t profile_register = 0x56500010810fa8;
constexpr uint32_t profile_offset = 0x0fa8;
constexpr uint32_t hint_enable_offset = 0x40e0;
constexpr uint32_t node_stride = 32;
constexpr uint64_t direct_read_bytes = 24;

uint64_t bank_base(int bank) {
    const auto b = static_cast<uint64_t>(bank);
    const uint64_t low = bank < phu_small_banks ? 0x05c00000 + 0x10000 * b
                                                : 0x05d40000 + 0x20000 * (b - phu_small_banks);
    return (0x00f49680 + 0x100 * b) << 32 | low;
}

/// Bank and node of a chip address in node memory, as a level-0 index.
std::optional<uint32_t> node_at(uint64_t address) {
    const auto bank = static_cast<int64_t>((address >> 32) - 0x00f49680) / 0x100;
    if (bank < 0 || bank >= phu_banks) {
        return std::nullopt;
    }
    const uint64_t offset = address - bank_base(static_cast<int>(bank));
    if (offset % node_stride != 0 ||
        offset / node_stride >= static_cast<uint64_t>(phu_bank_nodes(static_cast<int>(bank)))) {
        return std::nullopt;
    }
    return hw_index_make(0, static_cast<uint32_t>(bank),
                         static_cast<uint32_t>(offset / node_stride));
}

bool exists(uint32_t hw_index) {
    const auto bank = static_cast<int>(hw_index_bank(hw_index));
    return bank < phu_banks && static_cast<int>(hw_index_node(hw_index)) < phu_bank_nodes(bank);
}

uint32_t linear(uint32_t hw_index) {
    return phu_c_ptr_encode(hw_index_bank(hw_index), hw_index_node(hw_index));
}

}    // namespace

void Chip::reset(uint32_t npus, uint32_t active_map) {
    nodes_.fill({});
    faults_.clear();
    npus_ = npus;
    active_map_ = active_map;
    register_file_.assign(std::min<uint32_t>(npus, 32), {});
    for (auto &file : register_file_) {
        file[profile_offset] = 1;
        file[hint_enable_offset] = 1;
    }
}

void Chip::write_node(uint32_t hw_index, const phu_node &image) {
    nodes_[linear(hw_index)] = image;
}

const phu_node &Chip::node(uint32_t hw_index) const {
    return nodes_[linear(hw_index)];
}

int Chip::read_index(uint32_t hw_index, void *buffer) const {
    if (!exists(hw_index)) {
        return chip_bad_address;
    }
    if (std::find(faults_.begin(), faults_.end(), hw_index & hw_index_place_mask) !=
        faults_.end()) {
        return chip_fault;
    }
    memcpy(buffer, &nodes_[linear(hw_index)], sizeof(phu_node));
    return chip_ok;
}

bool Chip::active(int npu) const {
    return npu >= 0 && npu < 32 && static_cast<uint32_t>(npu) < npus_ &&
           (active_map_ >> npu & 1) != 0;
}

uint32_t *Chip::register_at(int npu, uint64_t address) {
    auto &file = register_file_[static_cast<size_t>(npu)];
    if (address == profile_register) {
        return &file[profile_offset];
    }
    return address >= register_base && address - register_base < registers
               ? &file[address - register_base]
               : nullptr;
}

int Chip::read(int npu, uint64_t address, void *out) const {
    if (!active(npu)) {
        return chip_npu_inactive;
    }
    if (const uint32_t *cell = const_cast<Chip *>(this)->register_at(npu, address);
        cell != nullptr) {
        memcpy(out, cell, sizeof *cell);
        return chip_ok;
    }
    const auto index = node_at(address);
    if (!index) {
        return chip_bad_address;
    }
    uint8_t unit[direct_read_bytes]{};
    const int code = read_index(*index, unit);
    if (code == chip_ok) {
        memcpy(out, unit, sizeof unit);
    }
    return code;
}

int Chip::write(int npu, uint64_t address, const void *value) {
    if (!active(npu)) {
        return chip_npu_inactive;
    }
    uint32_t *cell = register_at(npu, address);
    if (cell == nullptr) {
        return chip_bad_address;
    }
    memcpy(cell, value, sizeof *cell);
    return chip_ok;
}

void Chip::plant_read_fault(uint32_t hw_index, bool failing) {
    const uint32_t node = hw_index & hw_index_place_mask;
    std::erase(faults_, node);
    if (failing) {
        faults_.push_back(node);
    }
}

}    // namespace simcard
