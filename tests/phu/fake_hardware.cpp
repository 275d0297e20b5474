#include "tests/phu/fake_hardware.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "phu/banks.h"
#include "phu/node_print.h"
#include "phu/node_read.h"
#include "platform/trace_output.h"
#include "shm/contexts.h"

simcard::Chip chip;
int npu_of_last_read = -1;
int csr_reads = 0;
std::vector<std::string> syslog_lines;

namespace {

phu_node image_of(uint64_t low, uint64_t high, uint8_t type) {
    phu_node node;
    memcpy(node.low, &low, sizeof low);
    memcpy(node.high, &high, sizeof high);
    node.type_byte = static_cast<uint8_t>(type | 0xf8);    // bits that nobody interprets
    return node;
}

int counted_read(int npu, uint64_t address, int width, int count, void *out) {
    npu_of_last_read = npu;
    ++csr_reads;
    return width != 1 || count != 1 ? simcard::chip_bad_address : chip.read(npu, address, out);
}

}    // namespace

extern "C" int phu_hw_read_node(int unit, uint32_t hw_index, void *buffer) {
    return unit != 1 ? simcard::chip_bad_address : chip.read_index(hw_index, buffer);
}

extern "C" void buginf(const void *, int, int, const char *, ...) {}

extern "C" void kq_syslog(int, const char *format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    syslog_lines.emplace_back(line);
}

phu_node search_image(uint64_t bitmap, uint32_t c_ptr, uint32_t bmsf, uint32_t me) {
    return image_of(bitmap, phu_word_make(c_ptr, bmsf, me), PHU_NODE_SN);
}

phu_node skip_image(uint64_t bitmap, uint32_t c_ptr, uint32_t skip_len, uint32_t pattern) {
    const uint64_t word =
        phu_word_make(c_ptr, 0, 0) | uint64_t{skip_len} << 33 | uint64_t{pattern} << 40;
    return image_of(bitmap, word, PHU_NODE_SKIP);
}

phu_node end_image(uint64_t high, uint64_t low) {
    return image_of(low, high, PHU_NODE_EN);
}

hardware_test::hardware_test() {
    chip.reset(4, 0xf);
    npu_of_last_read = -1;
    csr_reads = 0;
    syslog_lines.clear();
    f_vector = {};
    f_vector.ot_csr_read = counted_read;
    tree.plu()->npu_count = 4;
    tree.plu()->active_npu_map = 0xf;
    phu_context &phu = *tree.phu();
    for (int b = 0; b < phu_banks; ++b) {
        phu.bank[b].bank_id = static_cast<uint8_t>(b);
        phu.bank[b].stride_level = phu_no_level;
        phu.bank[b].bank_size = static_cast<uint16_t>(phu_bank_nodes(b));
        phu.bank[b].bitmap_size = static_cast<uint16_t>(phu_bank_nodes(b) / 64);
    }
    for (uint8_t level = 0; level < phu_stride_levels; ++level) {
        phu.stride[level].level = level;
    }
    phu.bank[phu_root_bank].stride_level = 0;
    phu.bank_bitmap = uint64_t{1} << phu_reserved_bank | uint64_t{1} << phu_root_bank;
    phu.cfm_mask_count_limit = 32;
}

void hardware_test::assign(uint32_t bank_id, uint8_t level) {
    tree.phu()->bank[bank_id].stride_level = level;
    tree.phu()->bank_bitmap |= uint64_t{1} << bank_id;
    phu_stride_record &stride = tree.phu()->stride[level];
    stride.bank_bitmap |= uint64_t{1} << bank_id;
    ++stride.bank_used;
}

uint32_t hardware_test::put(uint32_t bank_id, uint32_t node_id, const phu_node &image) {
    phu_bank_record &bank = tree.phu()->bank[bank_id];
    bank.node_used =
        static_cast<uint16_t>(bank.node_used + (phu_node_in_use(bank, node_id) ? 0 : 1));
    bank.node_bitmap[node_id / 64] |= uint64_t{1} << node_id % 64;
    const uint32_t hw_index = hw_index_make(bank.stride_level, bank_id, node_id);
    chip.plant_read_fault(hw_index, false);
    chip.write_node(hw_index, image);
    return hw_index;
}

tn *hardware_test::hint(tn *node, uint8_t state, uint32_t hw_index, uint32_t en_hw_index) {
    node->hint_state = state;
    node->hw_index = hw_index;
    node->en_hw_index = en_hw_index;
    return node;
}

std::string at(const void *address) {
    return format("%p", address);
}

std::string label(const tn *node, uint32_t hw_index) {
    char text[hint_label_size];
    hint_label(text, node, hw_index);
    return text;
}
