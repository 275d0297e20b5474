#include "tools/plu_debug/tree_view.h"

#include <algorithm>

#include "tools/plu_debug/line_scan.h"

namespace client {
namespace {

constexpr int64_t slots_of_a_family = 1024;

bool steps_fit(const std::string &steps) {
    return steps.find_first_not_of("0123456789.") == std::string::npos;
}

bool bits_fit(const std::string &bits, int64_t length) {
    return bits.find_first_not_of("0123456789ABCDEF") == std::string::npos &&
           length <= static_cast<int64_t>(bits.size()) * 4;
}

// A line of the chain, or the node's own.
bool read_place(const std::string &line, tree_place &place) {
    line_scan scan(line);
    scan.text("NODE").blanks().until(' ', place.type).text(" addr: ").pointer(place.address);
    scan.text(" parent: ").pointer(place.parent).text(" child:").number(place.below).blanks();
    if (scan.complete()) {
        return true;
    }
    scan.until('(', place.steps).text("(0x").until(')', place.bits).text(")/");
    scan.number(place.length).text(" vrf:").number(place.vrf);
    if (scan.at(" hw index:")) {
        scan.text(" hw index:").pointer(place.hw_index);
    }
    place.placed = true;
    return scan.complete() && steps_fit(place.steps) && bits_fit(place.bits, place.length);
}

bool read_hint(const std::string &line, tree_view &view) {
    int64_t key_type = 0;
    std::string skipped;
    line_scan scan(line);
    scan.text("HINT state:").blanks().until(' ', view.hint_state);
    scan.until('k', skipped).text("key type:").number(key_type);
    scan.text(" hw idx: ").pointer(view.node.hw_index);
    view.addresses = key_type == 0 ? family::v4 : family::v6;
    return scan.complete();
}

bool read_child(const std::string &line, tree_view &view) {
    tree_child child;
    int64_t slot = 0;
    int64_t inode = 0;
    line_scan scan(line);
    scan.text("  child").number(slot).text(" ").pointer(child.address).text(" type:").blanks();
    scan.until(' ', child.type).text(" hw_index ").pointer(child.hw_index);
    scan.text(" inode:").number(inode);
    if (scan.at(" sn_charray.ta_nnodes:")) {
        scan.text(" sn_charray.ta_nnodes:").number(child.children);
    }
    const bool in_order = slot == static_cast<int64_t>(view.children.size());
    view.children.push_back(child);
    return scan.complete() && in_order;
}

// The line above the leaves; true when it is one.
bool read_leaf_count(const std::string &line, tree_view &view, int64_t &leaves) {
    line_scan own(line);
    uint64_t array = 0;
    if (own.text("in_lfarray->la_nnodes ").number(leaves).text(" (la ").pointer(array).complete()) {
        return true;
    }
    line_scan inner(line);
    inner.text("inode ").pointer(view.internal_node).text(" in_lfarray->la_nnodes ");
    return inner.number(leaves).complete();
}

enum class line_kind { place, hint, child, other };

line_kind kind_of(const std::string &line) {
    return line.starts_with("NODE ")         ? line_kind::place
           : line.starts_with("HINT state:") ? line_kind::hint
           : line.starts_with("  child")     ? line_kind::child
                                             : line_kind::other;
}

bool read_line(const std::string &line, tree_view &view, int64_t &leaves) {
    if (leaves > 0) {
        --leaves;
        view.leaves.push_back(line.substr(std::min<size_t>(2, line.size())));
        return line.starts_with("  ");
    }
    switch (kind_of(line)) {
        case line_kind::place:
            view.chain.emplace_back();
            return read_place(line, view.chain.back());
        case line_kind::hint:
            return read_hint(line, view);
        case line_kind::child:
            return read_child(line, view);
        case line_kind::other:
            break;
    }
    if (!read_leaf_count(line, view, leaves)) {
        leaves = 0;
    }
    return true;
}

}    // namespace

std::string read_tree_node(const std::vector<std::string> &reply, uint64_t address,
                           tree_view &view) {
    view = {};
    int64_t leaves = 0;
    for (const std::string &line : reply) {
        if (!read_line(line, view, leaves)) {
            return unexpected_line("tn", line);
        }
    }
    if (leaves > 0) {
        return "the reply to 'tn' lacks " + std::to_string(leaves) + " leaves";
    }
    if (view.chain.empty() || view.chain.back().address != address) {
        return "the reply to 'tn' lacks the node's own line";
    }
    const uint64_t hw_index = view.node.hw_index;    // from the hint line
    view.node = view.chain.back();
    view.node.hw_index = hw_index;
    view.chain.pop_back();
    if (view.addresses == family::none && !view.leaves.empty()) {
        view.addresses = view.leaves[0].find(':') == std::string::npos ? family::v4 : family::v6;
    }
    return {};
}

std::string read_child_groups(const std::vector<std::string> &reply, tree_view &view) {
    for (const std::string &line : reply) {
        if (!line.starts_with("child idx ")) {
            continue;
        }
        tree_child place;
        int64_t ordinal = 0;
        line_scan scan(line);
        scan.text("child idx ").number(place.group).text(" (").number(ordinal);
        scan.text(") child_tn ").pointer(place.address).text(" (");
        if (scan.at("(null)")) {
            scan.text("(null)");
        } else {
            scan.text("0x").until('/', place.bits).text("/").number(place.length);
        }
        scan.text("), longest match for child tn: ").rest(place.cover);
        if (!scan.complete() || place.group > 63 || !bits_fit(place.bits, place.length)) {
            return unexpected_line("tnbl", line);
        }
        for (tree_child &child : view.children) {
            if (child.address == place.address) {
                child.group = place.group;
                child.bits = place.bits;
                child.length = place.length;
                child.cover = place.cover == "(null)" ? "" : place.cover;
            }
        }
    }
    return {};
}

std::string read_root_slot(const std::vector<std::string> &reply, tree_view &view) {
    for (const std::string &line : reply) {
        if (!line.starts_with("index ")) {
            continue;
        }
        int64_t slot = 0;
        uint64_t address = 0;
        line_scan scan(line);
        if (!scan.text("index").number(slot).text(" ").pointer(address).complete()) {
            return unexpected_line("rootsn", line);
        }
        if (address == view.node.address) {
            view.root_slot = slot;
            view.addresses = slot < slots_of_a_family ? family::v4 : family::v6;
        }
    }
    return {};
}

}    // namespace client
