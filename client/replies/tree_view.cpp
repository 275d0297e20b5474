#include "client/replies/tree_view.h"

#include <charconv>

namespace client {
namespace {

constexpr int64_t slots_of_a_family = 1024;
constexpr int64_t groups_of_a_node = 64;

bool bits_fit(std::string_view bits, int64_t length) {
    return length >= 0 && length <= static_cast<int64_t>(bits.size()) * 4;
}

// "0x0A00/12"; false when it is no such text.
bool split_bits(std::string_view text, tree_child &child) {
    const size_t slash = text.find('/');
    if (!text.starts_with("0x") || slash == std::string_view::npos) {
        return false;
    }
    child.bits = text.substr(2, slash - 2);
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + slash + 1, end, child.length);
    return error == std::errc() && stop == end && bits_fit(child.bits, child.length) &&
           child.bits.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

}    // namespace

void tree_reader::say(const std::string &message) {
    unexpected_ = unexpected_.empty() ? message : unexpected_;
}

// A line of the chain, or the node's own.
bool tree_reader::take_place(const reply_record &record) {
    tree_place place;
    place.type = record.text("type");
    place.address = record.number("node");
    place.parent = record.number("parent");
    place.below = record.signed_number("below");
    place.placed = record.find("bits") != nullptr;
    place.steps = record.text("path");
    place.bits = record.text("bits");
    place.length = record.signed_number("length");
    place.vrf = record.signed_number("vrf");
    place.hw_index = record.number("hw_index");
    view_.chain.push_back(place);
    return bits_fit(place.bits, place.length);
}

bool tree_reader::take_child(const reply_record &record) {
    const bool in_order =
        record.signed_number("slot") == static_cast<int64_t>(view_.children.size());
    tree_child child;
    child.address = record.number("node");
    child.type = record.text("type");
    child.hw_index = record.number("hw_index");
    child.children = record.signed_number("children");
    view_.children.push_back(child);
    return in_order;
}

void tree_reader::take_leaves(const reply_record &record) {
    leaves_ = record.signed_number("count");
    if (!record.is("own_leaves")) {
        view_.internal_node = record.number("node");
    }
}

void tree_reader::take_node(const reply_line &line) {
    bool expected = line.known != nullptr;
    if (!expected) {
        say(unexpected_line("tn", line.text));
        return;
    }
    const reply_record &record = *line.known;
    if (record.is("ancestor") || record.is("unplaced") || record.is("placed")) {
        expected = take_place(record);
    } else if (record.is("hint")) {
        view_.hint_state = record.text("hint_state");
        view_.addresses = record.number("key_type") == 0 ? family::v4 : family::v6;
        view_.node.hw_index = record.number("hw_index");
    } else if (record.is("child")) {
        expected = take_child(record);
    } else if (record.is("internal_leaves") || record.is("own_leaves")) {
        take_leaves(record);
    } else if (record.is("leaf")) {
        view_.leaves.emplace_back(record.text("prefix"));
        expected = --leaves_ >= 0;
    }
    if (!expected) {
        say(unexpected_line("tn", line.text));
    }
}

void tree_reader::end_node() {
    if (leaves_ > 0) {
        say("the reply to 'tn' lacks " + std::to_string(leaves_) + " leaves");
    }
    if (view_.chain.empty() || view_.chain.back().address != address_) {
        say("the reply to 'tn' lacks the node's own line");
        return;
    }
    const uint64_t hw_index = view_.node.hw_index;    // from the hint line
    view_.node = view_.chain.back();
    view_.node.hw_index = hw_index;
    view_.chain.pop_back();
    if (view_.addresses == family::none && !view_.leaves.empty()) {
        view_.addresses = view_.leaves[0].find(':') == std::string::npos ? family::v4 : family::v6;
    }
}

bool tree_reader::take_group(const reply_record &record) {
    const int64_t group = record.signed_number("group");
    const std::string_view bits = record.text("bits");
    tree_child place;
    if (group < 0 || group >= groups_of_a_node || (bits != "(null)" && !split_bits(bits, place))) {
        return false;
    }
    const std::string_view cover = record.text("covering");
    for (tree_child &child : view_.children) {
        if (child.address == record.number("node")) {
            child.group = group;
            child.bits = place.bits;
            child.length = place.length;
            child.cover = cover == "(null)" ? "" : cover;
        }
    }
    return true;
}

void tree_reader::take_group(const reply_line &line) {
    if (line.known == nullptr || (line.known->is("group") && !take_group(*line.known))) {
        say(unexpected_line("tnbl", line.text));
    }
}

void tree_reader::take_root(const reply_line &line) {
    if (line.known == nullptr) {
        say(unexpected_line("rootsn", line.text));
    } else if (line.known->is("root") && line.known->number("node") == view_.node.address) {
        view_.root_slot = line.known->signed_number("slot");
        view_.addresses = view_.root_slot < slots_of_a_family ? family::v4 : family::v6;
    }
}

}    // namespace client
