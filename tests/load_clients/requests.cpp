#include "tests/load_clients/requests.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "client/channel/exchange.h"
#include "client/replies/verdict.h"
#include "client/words/commands.h"
#include "tests/support/text.h"

namespace {

using client::make_request;

constexpr uint64_t tree_start = 0x7ea000000000;    // where the stand-in card maps its memory
constexpr uint32_t mapped_part = 0x100000;
constexpr uint32_t scratch_register = 0x40e0;

std::function<bool(const std::string &)> equals(std::string wanted) {
    return [wanted = std::move(wanted)](const std::string &reply) { return reply == wanted; };
}

std::function<bool(const std::string &)> holds_once(std::string wanted) {
    return [wanted = std::move(wanted)](const std::string &reply) {
        const size_t at = reply.find(wanted);
        return at != std::string::npos && reply.find(wanted, at + 1) == std::string::npos &&
               reply.starts_with("\n") && reply.ends_with("\n\n");
    };
}

std::string listing() {
    std::string text = "\n";
    for (const client::command &row : client::all_commands()) {
        text += format("%-14s  %s\n", row.name, row.help);
    }
    return text;
}

bool is_recording(const std::string &reply) {
    static const std::set<std::string> wanted = [] {
        std::set<std::string> lines;
        for (int i = 0; i < stable_prefixes; ++i) {
            const std::string prefix = stable_prefix(i);
            lines.insert(format("A %s %s %d #", prefix.find(':') == std::string::npos ? "U4" : "U6",
                                prefix.c_str(), stable_vrf));
        }
        return lines;
    }();
    std::istringstream lines(reply);
    std::set<std::string> left = wanted;
    const std::string vrf = format(" %d #", stable_vrf);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && !line.starts_with("A ") && !damage_expected) {
            return false;
        }
        if (line.ends_with(vrf) && left.erase(line) == 0) {
            return false;
        }
    }
    return left.empty();
}

/// Nothing of a record that was read wrong: the client knows each line, and nothing is amiss.
bool lines_of_nodes(const std::string &reply) {
    bool right = reply.ends_with("\n\n");
    client::reply_judge judge("tn");
    client::reply_lines lines("tn", [&](const client::reply_line &line) {
        const bool no_type = line.text.find("INVALID") != std::string::npos ||
                             line.text.find(" LEAF ") != std::string::npos ||
                             line.text.starts_with("NODE: type");
        const bool filling = line.text.find("(nil)") != std::string::npos;    // a child slot
        right = right && (damage_expected || (line.known != nullptr && (!no_type || filling)));
        judge.take(line);
    });
    lines.piece(reply);
    lines.finish();
    return right && (damage_expected || judge.result() == client::verdict::ok);
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

std::string stable_prefix(int i) {
    return i % 2 == 0 ? format("10.%d.%d.0/24", i / 512, i / 2 % 256)
                      : format("2001:db8:%x:%x::/64", i / 512 + 1, i / 2 % 256 + 1);
}

load_request request_maker::next() {
    ++sequence_;
    const uint32_t kind = pick(1000);
    if (kind < 2) {
        return recording();
    }
    if (kind < 40) {
        return {make_request("-h", 0, 0, 0), equals(listing())};
    }
    if (kind < 60) {
        return whole_tree();
    }
    if (kind < 160) {
        return of_nodes();
    }
    switch (kind % 5) {
        case 0:
            return unknown_name();
        case 1:
            return register_word();
        case 2:
            return memory();
        case 3:
            return lookup();
        default:
            return edit(pick(edited_prefixes));
    }
}

load_request request_maker::recording() {
    return {make_request("walk", 11, 0, 0), is_recording};
}

load_request request_maker::leaf_listing() {
    return {make_request("walk", 1, 0, 0), [](const std::string &reply) {
                return occurrences(reply, " tbm: ") >= stable_prefixes &&
                       reply.ends_with("\ntree walk completed\n\n");
            }};
}

std::vector<load_request> request_maker::closing() {
    std::vector<load_request> requests;
    for (unsigned i = 0; i < present_.size(); ++i) {
        if (present_[i]) {
            requests.push_back(edit(i));
        }
    }
    return requests;
}

/// Commands that visit every node as the tree changes; their figures are of the moment.
load_request request_maker::whole_tree() {
    static constexpr const char *last_words[][2] = {
        {"walk", "\ntree walk completed\n"},
        {"cntpfx", " tn in hint state INIT but having par bl larray pointer set\n"},
        {"ckhmask", "Results of checking hint mask:\n"},
        {"cklkup", "Results of lookup all existing prefixes:\n"},
        {"cklkuphw", "prefix     no match: "},
        {"ckbmsf", "\nResults of checking bmsf:\n"},
        {"ckparbl", "\nResults of checking par bl:\n"},
        {"hwidxwalk", "      read error: "},
    };
    const auto &row = last_words[pick(std::size(last_words))];
    return {make_request(row[0], 0, 0, 0), holds_once(row[1])};
}

load_request request_maker::unknown_name() {
    const std::string name = format("load-%u-%u", client_, sequence_);
    return {make_request(name, 0, 0, 0), equals("\nno handler for " + name + "\n")};
}

/// Writes the client's own register on one turn and reads it on the next; each client has an NPU.
load_request request_maker::register_word() {
    const uint32_t npu = client_ % 4;
    const uint32_t offset = scratch_register + client_ / 4 * 4;
    const auto answer = [&](uint32_t value, const char *written) {
        return equals(
            format("\n0x%08x%s (offset:0x%x, npu:%u, rc:0x0)\n\n", value, written, offset, npu));
    };
    if (register_value_ == 0) {
        register_value_ = pick(UINT32_MAX) | 1;
        return {make_request("regw32", offset, register_value_, npu),
                answer(register_value_, " written")};
    }
    const uint32_t value = std::exchange(register_value_, 0);
    return {make_request("regr32", offset, npu, 0), answer(value, "")};
}

load_request request_maker::memory() {
    const uint64_t address = tree_start + pick(mapped_part);
    const uint64_t size = pick(200) + 1;
    const std::string start = format("\nread start from 0x%lx\n", address);
    return {make_request("memr", address, size, 1), [=](const std::string &reply) {
                std::istringstream words(reply.substr(std::min(start.size(), reply.size())));
                size_t digits = 0;
                for (std::string word; words >> word;) {
                    digits += word.starts_with("0x") ? 0 : word.size();
                }
                return reply.starts_with(start) && digits == 2 * size;
            }};
}

load_request request_maker::lookup() {
    const int i = static_cast<int>(pick(stable_prefixes));
    const std::string prefix = stable_prefix(i);
    const uint64_t host = pick(250) + 1;
    if (i % 2 == 0) {
        const uint64_t address = 0x0a000000 + (static_cast<uint64_t>(i) / 512 << 16) +
                                 (static_cast<uint64_t>(i) / 2 % 256 << 8) + host;
        // The detail holds for the searches that follow, those in IPv6 too.
        return {make_request("v4", address, uint64_t{1000} * pick(4) + 32, stable_vrf),
                holds_once(" prefix len 42 (24)  prefix " + prefix + "\n")};
    }
    const uint64_t high = 0x20010db800000000 + (static_cast<uint64_t>(i / 512 + 1) << 16) +
                          static_cast<uint64_t>(i / 2 % 256 + 1);
    return {make_request("v6", high, host, uint64_t{stable_vrf} * 1000 + 128),
            holds_once(" prefix len 82 (64)  prefix " + prefix + "\n")};
}

load_request request_maker::edit(unsigned i) {
    const uint32_t address = 0x14000000 + i * 0x11000;    // no host bits for lengths from 20
    const int length = 20 + static_cast<int>(i % 5);
    const unsigned vrf = 3000 + client_;
    const bool add = !present_[i];
    present_[i] = add;
    const std::string place =
        add ? format("\nplu_add_entry with pfx 0x%08X %d.%d.%d.%d/%d, vrf %u, rc 0x0\n\n", address,
                     address >> 24, address >> 16 & 0xff, address >> 8 & 0xff, address & 0xff,
                     length, vrf)
            : format("\nplu_delete_entry with pfx 0x%08X mask %d, vrf %u, rc 0x0\n\n", address,
                     length, vrf);
    return {make_request(add ? "addv4" : "delv4", address, static_cast<uint64_t>(length), vrf),
            equals(place)};
}

load_request request_maker::of_nodes() {
    if (nodes_.empty() || pick(4) == 0) {
        return node_search();
    }
    const uint64_t node = nodes_[pick(nodes_.size())];
    static constexpr uint64_t options[] = {0, 8, 15};
    switch (pick(4)) {
        case 0:
            return {make_request("tnwalk", node, pick(2) * 11, 0), lines_of_nodes};
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

load_request request_maker::node_search() {
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
void request_maker::note(const std::string &reply) {
    for (const char *word : {"tn addr: 0x", "next tn 0x", "inode 0x", "index ", "  child"}) {
        for (size_t at = reply.find(word); at != std::string::npos; at = reply.find(word, at + 1)) {
            const size_t number = reply.find("0x", at);
            const uint64_t node =
                number == std::string::npos ? 0 : strtoull(reply.c_str() + number, nullptr, 16);
            if (node < uint64_t{1} << 32) {
                continue;    // not an address
            }
            if (nodes_.size() < kept_nodes) {
                nodes_.push_back(node);
            } else {
                nodes_[noted_++ % kept_nodes] = node;
            }
        }
    }
}
