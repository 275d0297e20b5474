// The stand-in card's chips for tests, behind the library's and the direct-access read functions,
// over hand-built contexts with a healthy bank accounting.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "records/context.h"
#include "records/hw_node.h"
#include "simcard/chip.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

phu_node search_image(uint64_t bitmap, uint32_t c_ptr, uint32_t bmsf = 0, uint32_t me = 0);
phu_node skip_image(uint64_t bitmap, uint32_t c_ptr, uint32_t skip_len, uint32_t pattern);
phu_node end_image(uint64_t high, uint64_t low);

class hardware_test : public ::testing::Test {
protected:
    hardware_test();

    /// Assigns a bank to a stride level.
    void assign(uint32_t bank_id, uint8_t level);
    /// Puts an image into a node of an assigned bank, in use; returns its index.
    uint32_t put(uint32_t bank_id, uint32_t node_id, const phu_node &image);
    /// Gives a tree node the hardware node at an index.
    static tn *hint(tn *node, uint8_t state, uint32_t hw_index, uint32_t en_hw_index = 0);

    hand_tree tree;
};

extern simcard::Chip chip;

extern int npu_of_last_read;
extern int csr_reads;
extern std::vector<std::string> syslog_lines;

/// The text form of an address in a reply.
std::string at(const void *address);
/// "tn: ... hw index: ..." of a label.
std::string label(const tn *node, uint32_t hw_index);
