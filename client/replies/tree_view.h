// A tree node and what surrounds it, as the process describes it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/replies/reply_lines.h"
#include "client/words/commands.h"

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

/// Reads what the process says of the node at an address.
class tree_reader {
public:
    explicit tree_reader(uint64_t address) : address_(address) {}

    /// A line of the replies to tn with all its options, to tnbl and to rootsn.
    void take_node(const reply_line &line);
    void take_group(const reply_line &line);
    void take_root(const reply_line &line);
    /// The reply to tn is over: the last place of the chain is the node's own.
    void end_node();

    /// What is unexpected in the replies; empty when all is well.
    [[nodiscard]] const std::string &unexpected() const { return unexpected_; }
    [[nodiscard]] const tree_view &view() const { return view_; }

private:
    bool take_place(const reply_record &record);
    bool take_child(const reply_record &record);
    bool take_group(const reply_record &record);
    void take_leaves(const reply_record &record);
    void say(const std::string &message);

    uint64_t address_;
    tree_view view_;
    int64_t leaves_ = 0;    // that are still to come
    std::string unexpected_;
};

}    // namespace client
