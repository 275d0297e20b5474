#include "bench/bench_card.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "bench/counting_sink.h"
#include "bench/data_set.h"
#include "checks/commands.h"
#include "phu/commands.h"
#include "tbm/commands.h"

namespace {

[[noreturn]] void fail(const std::string &text) {
    (void)fprintf(stderr, "error: %s\n", text.c_str());
    exit(1);
}

/// Every prefix is found but for some of length 0, which have no position in a mask: they are
/// missed unless their own address has a longer match.
void require_found(const std::string &reply, const std::vector<pfx_entry> &table) {
    const auto defaults = std::count_if(table.begin(), table.end(),
                                        [](const pfx_entry &entry) { return entry.length() == 0; });
    const long missed = number_after(reply, "prefix     no match:");
    require(reply, "total        prefix:", static_cast<long>(table.size()));
    if (missed > defaults) {
        fail(std::to_string(missed) + " prefixes are not found:\n" + reply.substr(0, 4000));
    }
}

}    // namespace

std::vector<pfx_entry> chosen_table(const std::string &choice) {
    return choice.find_first_not_of("0123456789") == std::string::npos
               ? internet_table(std::stoul(choice))
               : table_of_file(choice);
}

double load_card(const std::vector<pfx_entry> &table) {
    simcard::Card &card = powered_card();
    size_t refused = 0;
    const auto start = std::chrono::steady_clock::now();
    card.load(table, &refused);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (refused != 0) {
        fail(std::to_string(refused) + " prefixes refused");
    }
    return elapsed.count();
}

tree_array &card_root() {
    return simcard::Card::instance().fixed().root;
}

void print_shape(const std::string &name, const std::vector<pfx_entry> &table) {
    const auto v6 = std::count_if(table.begin(), table.end(),
                                  [](const pfx_entry &entry) { return entry.type == PFX_IPV6; });
    const walk_totals shape = walk_leaves(card_root());
    const phu_context &phu = simcard::Card::instance().fixed().plu.phu;
    printf(
        "shape table=%s prefixes=%zu ipv6=%ld nodes=%lu search=%lu internal=%lu "
        "leaf_arrays=%lu hinted=%lu hw_nodes=%d tree_bytes=%ld\n",
        name.c_str(), table.size(), static_cast<long>(v6), shape.nodes, shape.search_nodes,
        shape.internal_nodes, shape.leaf_arrays, shape.hw_nodes, phu.bank_node_used,
        static_cast<long>(phu.pool_bytes[0] + phu.pool_bytes[1] + phu.pool_bytes[2]));
}

void require(const std::string &reply, const std::string &label, long expected) {
    const long found = number_after(reply, label);
    if (found != expected) {
        fail("\"" + label + "\" says " + std::to_string(found) + " instead of " +
             std::to_string(expected) + " in:\n" + reply.substr(0, 4000));
    }
}

void require_healthy(const std::vector<pfx_entry> &table) {
    const auto prefixes = static_cast<long>(table.size());
    const std::string checks = replies_of([] { cmd_ckall(0, 0, 0); });
    require(checks, "bmsf MISMATCH:", 0);
    require(checks, "INVALID hw index count:", 0);
    require(checks, "en mask MISMATCH      :", 0);
    require(checks, "inode+child MISMATCH:", 0);
    require(checks, "int+ext+ebmap MISMATCH:", 0);
    require(checks, "inode & parent int mask MISMATCH:", 0);
    require(checks, "inode pfx not in hint_mask:", 0);
    require(checks, "INVALID par bl:", 0);
    require_found(checks, table);
    const std::string hardware = replies_of([] { cmd_cklkuphw(0, 0, 0); });
    require_found(hardware, table);
    require(replies_of([] { cmd_cntpfx(0, 0, 0); }), "Prefix: ", prefixes);
    require(replies_of([] { cmd_walk(0, 0, 0); }), "dumpable leaf: ", prefixes);
    require(replies_of([] { cmd_hwidxwalk(0, 0, 0); }), "read error: ", 0);
}
