// Node memory and registers of a card for tests: a small map of images behind the library's and
// the direct-access read functions, over hand-built contexts with a healthy bank accounting.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "records/context.h"
#include "records/hw_node.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

phu_node search_image(uint64_t bitmap, uint32_t c_ptr, uint32_t bmsf = 0, uint32_t me = 0);
phu_node skip_image(uint64_t bitmap, uint32_t c_ptr, uint32_t skip_len, uint32_t pattern);
phu_node end_image(uint64_t high, uint64_t low);

class hardware_test : public ::testing::Test {
protected:
    hardware_test();
    void TearDown() override;

    /// Assigns a bank to a stride level.
    void assign(uint32_t bank_id, uint8_t level);
    /// Puts an image into a node of an assigned bank, in use; returns its index.
    uint32_t put(uint32_t bank_id, uint32_t node_id, const phu_node &image);
    /// Gives a tree node the hardware node at an index.
    static tn *hint(tn *node, uint8_t state, uint32_t hw_index, uint32_t en_hw_index = 0);

    /// Reads of this node fail with code 7.
    void break_node(uint32_t hw_index) { broken_ = hw_index & hw_index_place_mask; }

    hand_tree tree;

private:
    friend int fake_csr_read(int, uint64_t, int, int, void *);
    friend int fake_library_read(int, uint32_t, void *);
    int read(uint32_t place, void *out);

    std::map<uint32_t, phu_node> images_;    // by bank and node
    std::map<uint64_t, uint32_t> places_;    // by address
    uint32_t broken_ = 0xffffffff;
};

extern int npu_of_last_read;
extern int csr_reads;
extern uint32_t npu_profile;
extern bool profile_broken;
extern std::vector<std::string> syslog_lines;

/// The text form of an address in a reply.
std::string at(const void *address);
/// "tn: ... hw index: ..." of a label.
std::string label(const tn *node, uint32_t hw_index);
