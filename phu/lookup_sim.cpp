#include "phu/lookup_sim.h"

#include <cstring>

#include "phu/node_print.h"
#include "platform/phu_library.h"
#include "records/hw_node.h"
#include "reply/reply.h"
#include "tbm/access.h"
#include "tbm/key.h"

namespace {

constexpr uint32_t key_chunks = 25;
constexpr int library_unit = 1;
constexpr size_t library_buffer_bytes = 34;

/// The key in 6-bit chunks; those beyond the family's whole key bytes stay 0.
void key_6_split(const uint8_t *key, uint8_t (&key_6)[key_chunks]) {
    const int groups = tbm_key_is_ipv6(key) ? 6 : 2;    // of 3 bytes, 4 chunks
    memset(key_6, 0, sizeof key_6);
    for (int group = 0; group < groups; ++group) {
        const uint8_t *at = key + ptrdiff_t{3} * group;
        const uint32_t bits = uint32_t{at[0]} << 16 | uint32_t{at[1]} << 8 | at[2];
        for (int chunk = 0; chunk < 4; ++chunk) {
            key_6[4 * group + chunk] = static_cast<uint8_t>(bits >> (18 - 6 * chunk) & 0x3f);
        }
    }
}

bool library_read(uint32_t hw_index, phu_node &node) {
    uint8_t buffer[library_buffer_bytes] = {};
    if (phu_hw_read_node(library_unit, hw_index, buffer) != 0) {
        plu_debug_printf("ERR: phu_hw_read_node error: phu_hw_index:0x%08x\n", hw_index);
        return false;
    }
    memcpy(&node, buffer, sizeof node);
    return true;
}

/// Index of the child that the hardware takes for a chunk, at `level`; false after the line that
/// says why there is none.
bool child_hw_index(const phu_node &node, uint32_t chunk, uint32_t level, uint32_t &hw_index) {
    const uint64_t word = phu_node_high(node);
    const uint64_t bitmap = phu_ext_bitmap(node);
    const phu_child_block children = phu_c_ptr_decode(phu_word_c_ptr(word));
    uint32_t offset = 0;    // the match-end node
    if (bit_test(&bitmap, chunk) != 0) {
        offset = phu_word_me(word) + bitmap_count_below(bitmap, chunk);
    } else if (phu_word_me(word) == 0) {
        plu_debug_printf("ERR: both tt and me_exists are 0\n");
        return false;
    }
    // Not cut to a bank's bits: a wild child pointer shows in the index.
    hw_index = level << 24 | children.bank_id << 16 | ((children.first_node + offset) & 0xffff);
    return true;
}

}    // namespace

uint32_t phu_hw_engine_search_sim(const uint8_t *key, mask128 &result, int verbose) {
    uint8_t key_6[key_chunks];
    key_6_split(key, key_6);
    uint32_t hw_index =
        hw_index_make(0, phu_root_bank, uint32_t{key_6[0]} << 6 | uint32_t{key_6[1]});
    phu_node node;
    for (uint32_t level = 0; library_read(hw_index, node); ++level) {
        if (verbose != 0) {
            phu_print_search_node(node, level, hw_index);
        }
        if (phu_node_type_of(node) == PHU_NODE_EN) {
            result = phu_mask_bitmap(node);
            return 0;
        }
        if (!phu_node_branches(node)) {
            plu_debug_printf("Wrong node type: %d\n", phu_node_type_of(node));
            break;
        }
        if (level + 2 >= key_chunks) {
            plu_debug_printf("ERR: hint node chain too deep, level:%d\n", level);
            break;
        }
        if (!child_hw_index(node, key_6[level + 2], level + 1, hw_index)) {
            break;
        }
    }
    return phu_lookup_failed;
}
