#include "tests/load_clients/node_requests.h"

#include <algorithm>
#include <sstream>

#include "client/channel/exchange.h"
#include "tests/support/text.h"

namespace {

using client::make_request;

/// How the lines begin that a sound node has; one of a record that was read wrong has another, or
/// names a type that no node has.
bool line_of_a_node(const std::string &line) {
    static constexpr const char *beginnings[] = {
        "NODE SEARCH addr: 0x",
        "NODE INTERN addr: 0x",
        "NODE    END addr: 0x",
        "HINT ",
        "sn bitmap  0x",
        "h en mask  0x",
        "hint mask  0x",
        "h int mask 0x",
        "h ext mask 0x",
        "sn_ebmap   0x",
        "hint_ebmap 0x",
        "sn_charray->ta_nnodes:",
        "  child ",
        "inode 0x",
        "in_ibmap   0x",
        "in_lfarray->la_nnodes ",
    };
    if (line.starts_with("  child ") && line.find(" type:INVALID") != std::string::npos) {
        return line.find("(nil)") != std::string::npos;    // a slot that is being filled
    }
    const bool leaf = line.starts_with("  ") && line.find('/') != std::string::npos;
    return line.empty() || leaf ||
           std::any_of(std::begin(beginnings), std::end(beginnings),
                       [&](const char *begin) { return line.starts_with(begin); });
}

bool lines_of_nodes(const std::string &reply) {
    if (damage_expected) {
        return reply.ends_with("\n\n");
    }
    std::istringstream lines(reply);
    for (std::string line; std::getline(lines, line);) {
        if (!line_of_a_node(line)) {
            return false;
        }
    }
    return reply.ends_with("\n\n");
}

bool lists_children(const std::string &reply) {
    if (damage_expected || reply.ends_with(" is not a search node\n\n")) {
        return true;
    }
    int ones = 0;
    return sscanf(reply.c_str(), "\nones %d, nnodes ", &ones) == 1 && reply.ends_with("\n\n") &&
           occurrences(reply, "child idx ") <= static_cast<size_t>(ones);
}

}    // namespace

load_request node_requests::next() {
    if (nodes_.empty() || pick(4) == 0) {
        return search();
    }
    const uint64_t node = nodes_[pick(nodes_.size())];
    static constexpr uint64_t options[] = {0, 8, 15};
    switch (pick(4)) {
        case 0:
            return subtree();
        case 1:
            return {make_request("tnbl", node, 0, 0), lists_children};
        default: {
            const uint64_t option = options[pick(std::size(options))];
            const std::string own = format(" addr: 0x%lx", node);
            return {make_request("tn", node, option, 0), [this, own](const std::string &reply) {
                        note(reply);
                        return lines_of_nodes(reply) && reply.find(own) != std::string::npos;
                    }};
        }
    }
}

load_request node_requests::subtree() {
    const uint64_t mode = pick(2) == 0 ? 11 : 0;
    return {make_request("tnwalk", nodes_[pick(nodes_.size())], mode, 0), lines_of_nodes};
}

load_request node_requests::search() {
    const auto noting = [this](const char *last) {
        return [this, last](const std::string &reply) {
            note(reply);
            return reply.find(last) != std::string::npos && reply.ends_with("\n\n");
        };
    };
    const uint64_t way = pick(50);    // as the changer's prefixes
    const uint64_t address = (10 + way) << 24 | (way * 17 & 0xff) << 16 | (way * 34 & 0xff) << 8;
    switch (pick(10)) {
        case 0:
            return {make_request("rootsn", 0, 0, 0), noting("tbdb_root->ta_nnodes ")};
        case 1:
            return {make_request("v4", 0x14000000 + pick(50) * 0x11000, 3024, 3000 + pick(4)),
                    noting("\nPHU search results:\n")};
        default:
            return {make_request("v4", address, 3032, 2000 + way % 3),
                    noting("\nPHU search results:\n")};
    }
}

/// Keeps the addresses that stand behind these words.
void node_requests::note(const std::string &reply) {
    for (const char *word : {"tn addr: 0x", "next tn 0x", "inode 0x", "index ", "  child"}) {
        for (size_t at = reply.find(word); at != std::string::npos; at = reply.find(word, at + 1)) {
            const size_t number = reply.find("0x", at);
            const uint64_t node =
                number == std::string::npos ? 0 : strtoull(reply.c_str() + number, nullptr, 16);
            if (node < uint64_t{1} << 32) {
                continue;    // not an address
            }
            if (nodes_.size() < kept) {
                nodes_.push_back(node);
            } else {
                nodes_[noted_++ % kept] = node;
            }
        }
    }
}
