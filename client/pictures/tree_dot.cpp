#include "client/pictures/tree_dot.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "client/pictures/dot_table.h"

namespace client {
namespace {

constexpr size_t child_columns = 5;
constexpr size_t leaf_columns = 4;
constexpr size_t leaf_rows_least = 6;
constexpr int64_t roots_of_a_family = 1024;
constexpr int64_t vrfs_of_a_root = 64;

std::string hex(uint64_t value) {
    std::array<char, 24> text{};
    (void)std::snprintf(text.data(), text.size(), "0x%lx", static_cast<unsigned long>(value));
    return text.data();
}

std::string counted(int64_t count, const char *one, const char *many) {
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

// "10.1.0.0/18" from "0A0100", as far as the family is known and has so many bits.
std::string prefix_text(const std::string &bits, int64_t length, family addresses) {
    std::array<unsigned char, 16> address{};
    const size_t limit = addresses == family::v4 ? 4 : 16;
    if (addresses == family::none || bits.size() / 2 > limit) {
        return "0x" + bits + '/' + std::to_string(length);
    }
    for (size_t i = 0; i < bits.size() / 2; ++i) {
        address.at(i) = static_cast<unsigned char>(std::stoi(bits.substr(2 * i, 2), nullptr, 16));
    }
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(addresses == family::v4 ? AF_INET : AF_INET6, address.data(), text.data(),
              text.size());
    return std::string(text.data()) + '/' + std::to_string(length);
}

std::string hardware_text(uint64_t hw_index) {
    if (hw_index == 0) {
        return "no hardware node";
    }
    return "hw level " + std::to_string(hw_index >> 24 & 0xff) + ", bank " +
           std::to_string(hw_index >> 16 & 0xff) + ", node " + std::to_string(hw_index & 0xffff);
}

class graph {
public:
    explicit graph(const tree_view &view) : view_(view) {}

    std::string text() {
        head();
        std::string above = root();
        for (const tree_place &place : view_.chain) {
            above = hang(place, above, false);
        }
        node_ = hang(view_.node, above, true);
        leaves();
        children();
        return text_ + "}\n";
    }

private:
    void head();
    std::string root();
    std::string hang(const tree_place &place, const std::string &above, bool in_question);
    [[nodiscard]] std::string place_name(const tree_place &place) const;
    [[nodiscard]] std::string child_name(const tree_child &child) const;
    [[nodiscard]] std::string child_row(const tree_child &child) const;
    void children();
    void leaves();

    /// A node that looks like this table; returns its name.
    std::string add(const std::string &table) {
        std::string name = "n" + std::to_string(count_++);
        text_ += "  " + name + " [label=<" + table + ">];\n";
        return name;
    }
    void link(const std::string &from, const std::string &to, const std::string &attributes) {
        text_ += "  " + from + " -> " + to + " [" + attributes + "];\n";
    }

    const tree_view &view_;
    std::string text_;
    std::string node_;
    int count_ = 0;
};

void graph::head() {
    text_ = "digraph \"tn " + hex(view_.node.address) + "\" {\n";
    text_ +=
        "  graph [rankdir=TB, nodesep=0.25, ranksep=0.4, pad=0.3, bgcolor=white, "
        "fontname=\"Helvetica\", fontsize=10, labelloc=b,\n    label=<" +
        legend() +
        ">];\n"
        "  node [shape=plain, fontname=\"Helvetica\", fontsize=12];\n"
        "  edge [color=\"#555555\", arrowsize=0.6, fontname=\"Helvetica\", fontsize=10];\n";
}

const char *family_text(family addresses) {
    return addresses == family::v4 ? "IPv4" : addresses == family::v6 ? "IPv6" : "";
}

std::string root_text(int64_t slot) {
    const int64_t first = slot % roots_of_a_family * vrfs_of_a_root;
    return "root slot " + std::to_string(slot) + ": " +
           family_text(slot < roots_of_a_family ? family::v4 : family::v6) + ", VRF " +
           std::to_string(first) + " to " + std::to_string(first + vrfs_of_a_root - 1);
}

// The root above the chain is known by its address alone; its slot follows from family and VRF.
std::string graph::root() {
    const tree_place &first = view_.chain.empty() ? view_.node : view_.chain[0];
    if (!first.placed || first.parent == 0) {
        return {};
    }
    std::string name = "root node";
    if (view_.addresses != family::none) {
        name = root_text((view_.addresses == family::v6 ? roots_of_a_family : 0) +
                         first.vrf / vrfs_of_a_root);
    }
    return add(box(frame(true, false), "SEARCH",
                   row("<B>" + name + "</B>") + row(small("SEARCH  " + hex(first.parent)))));
}

std::string graph::place_name(const tree_place &place) const {
    if (!place.placed) {
        return view_.root_slot >= 0 ? root_text(view_.root_slot) : "not found in the tree";
    }
    if (place.type == "INTERN") {
        return "internal node, VRF " + std::to_string(place.vrf);
    }
    return prefix_text(place.bits, place.length, view_.addresses) + "  VRF " +
           std::to_string(place.vrf);
}

std::string graph::hang(const tree_place &place, const std::string &above, bool in_question) {
    std::string rows = row("<B>" + html(place_name(place)) + "</B>");
    rows += row(small(place.type + "  " + hex(place.address) + "  " +
                      counted(place.below, "node below", "nodes below")));
    rows += row(
        small((in_question && !view_.hint_state.empty() ? "hint state " + view_.hint_state + ", "
                                                        : std::string()) +
              hardware_text(place.hw_index)));
    std::string name = add(box(frame(place.hw_index != 0, in_question), place.type, rows));
    if (!above.empty()) {
        const size_t dot = place.steps.rfind('.');
        const std::string step = place.type == "INTERN"     ? "internal"
                                 : place.steps.empty()      ? "VRF " + std::to_string(place.vrf)
                                 : dot == std::string::npos ? place.steps
                                                            : place.steps.substr(dot + 1);
        link(above, name, "label=\"  " + step + '"');
    }
    return name;
}

std::string graph::child_name(const tree_child &child) const {
    if (child.address == 0) {
        return "null";
    }
    if (child.type == "INTERN") {
        return "internal node";
    }
    if (view_.root_slot >= 0 && child.group >= 0) {
        return "VRF " +
               std::to_string(view_.root_slot % roots_of_a_family * vrfs_of_a_root + child.group);
    }
    return child.length < 0 ? "" : prefix_text(child.bits, child.length, view_.addresses);
}

std::string graph::child_row(const tree_child &child) const {
    std::string detail = child.type + "  " + hex(child.address);
    if (child.children > 0) {
        detail += "  " + counted(child.children, "child", "children");
    }
    std::string rows = row("<B>" + html(child_name(child)) + "</B>") + row(small(detail)) +
                       row(small(hardware_text(child.hw_index)));
    if (!child.cover.empty()) {
        rows += row(small("under " + child.cover));
    }
    return "<TR><TD>" + (child.group < 0 ? "" : std::to_string(child.group)) +
           "</TD><TD ALIGN=\"LEFT\">" + box(frame(child.hw_index != 0, false), child.type, rows) +
           "</TD></TR>";
}

// Side by side while they are few, in columns when there are many.
void graph::children() {
    std::vector<const tree_child *> shown;
    for (const tree_child &child : view_.children) {
        if (child.address == 0 || child.address != view_.internal_node) {
            shown.push_back(&child);
        }
    }
    const size_t rows = (shown.size() + child_columns - 1) / child_columns;
    for (size_t first = 0; first < shown.size(); first += rows) {
        std::string column;
        for (size_t i = first; i < std::min(first + rows, shown.size()); ++i) {
            column += child_row(*shown[i]);
        }
        link(node_,
             add("<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"3\" CELLPADDING=\"1\">" +
                 column + "</TABLE>"),
             "");
    }
}

void graph::leaves() {
    const size_t count = view_.leaves.size();
    if (count == 0) {
        return;
    }
    const size_t rows = std::max(leaf_rows_least, (count + leaf_columns - 1) / leaf_columns);
    std::string cells;
    for (size_t i = 0; i < std::min(rows, count); ++i) {
        cells += "<TR>";
        for (size_t leaf = i; leaf < count; leaf += rows) {
            cells += "<TD ALIGN=\"LEFT\">" + html(view_.leaves[leaf]) + "   </TD>";
        }
        cells += "</TR>";
    }
    const std::string place =
        view_.internal_node == 0 ? "" : " in internal node " + hex(view_.internal_node);
    const std::string title =
        small(counted(static_cast<int64_t>(count), "prefix", "prefixes") + place);
    const std::string list =
        add("<TABLE BORDER=\"1\" COLOR=\"#777777\" BGCOLOR=\"" + std::string(colour_of("INTERN")) +
            "\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"3\"><TR><TD ALIGN=\"LEFT\" "
            "COLSPAN=\"" +
            std::to_string((count + rows - 1) / rows) + "\">" + title + "</TD></TR>" + cells +
            "</TABLE>");
    link(node_, list, "style=dotted, arrowhead=none");
}

}    // namespace

std::string tree_dot(const tree_view &view) {
    return graph(view).text();
}

}    // namespace client
