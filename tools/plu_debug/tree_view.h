// A tree node and what surrounds it, as the process describes it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/plu_debug/commands.h"

namespace client {

/// A node with its place in the tree.
struct tree_place {
    std::string type;
    uint64_t address = 0;
    uint64_t parent = 0;    // 0 when unknown
    int64_t below = 0;      // nodes below it
    bool placed = false;    // what follows is known
    std::string steps;      // the way from the root's child on, in groups of 6 bits: "2.32.4"
    std::string bits;       // the address bits that it leads through, hexadecimal
    int64_t length = 0;     // how many they are
    int64_t vrf = 0;
    uint64_t hw_index = 0;    // 0 without a hardware node
};

struct tree_child {
    uint64_t address = 0;
    std::string type;
    uint64_t hw_index = 0;
    int64_t children = 0;
    int64_t group = -1;    // which of the parent's 64 groups; negative when unknown
    std::string bits;
    int64_t length = -1;    // negative when unknown
    std::string cover;      // the longest leaf of the parent's internal node over it
};

struct tree_view {
    std::vector<tree_place> chain;    // from the root's child down to the node's parent
    tree_place node;
    std::string hint_state;    // empty for a node without
    family addresses = family::none;
    int64_t root_slot = -1;    // when the node is a root node
    std::vector<tree_child> children;
    uint64_t internal_node = 0;         // the child that holds the leaves
    std::vector<std::string> leaves;    // prefixes of the node itself, or of its internal node
};

/// Reads the reply of tn with all its options. Returns what is unexpected in it, or nothing.
std::string read_tree_node(const std::vector<std::string> &reply, uint64_t address,
                           tree_view &view);

/// Adds the place of each child from the reply of tnbl. Returns as read_tree_node.
std::string read_child_groups(const std::vector<std::string> &reply, tree_view &view);

/// Looks for the node among the root nodes in the reply of rootsn. Returns as read_tree_node.
std::string read_root_slot(const std::vector<std::string> &reply, tree_view &view);

}    // namespace client
