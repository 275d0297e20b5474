// bench_commands [--table=COUNT|FILE] [--order=loaded|random] [--repetitions=N]
// [--filter=REGEX]: every command that touches the whole tree next to a bare walk over the same
// records, the library's own time, the heavy commands on one node and the single lookups, with a
// counting sink.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <random>

#include "bench/bench_card.h"
#include "bench/counting_sink.h"
#include "bench/library_calls.h"
#include "bench/sample_nodes.h"
#include "bench/timing.h"
#include "checks/commands.h"
#include "phu/commands.h"
#include "tbm/commands.h"
#include "tbm/key.h"

namespace {

struct walk_row {
    const char *name;
    bare_walk walk;
};
constexpr walk_row walks[] = {
    {"walk_nodes", walk_nodes},   {"walk_leaf_arrays", walk_leaf_arrays},
    {"walk_leaves", walk_leaves}, {"walk_internal_leaves", walk_internal_leaves},
    {"walk_covers", walk_covers}, {"walk_node_reads", walk_node_reads},
};

/// A whole-tree command, the walk over what it must touch and the ratio it may take; 0: no target.
struct command_row {
    const char *name;
    void (*run)();
    const char *walk;
    double target;
};

int read_nothing(int, uint64_t, int, int, void *) {
    return 0;
}

void hwidxwalk_without_reads() {
    const auto real = f_vector.ot_csr_read;
    f_vector.ot_csr_read = read_nothing;
    cmd_hwidxwalk(0, 0, 0);
    f_vector.ot_csr_read = real;
}

constexpr command_row commands[] = {
    {"walk_0", [] { cmd_walk(0, 0, 0); }, "walk_leaf_arrays", 2},
    {"walk_11", [] { cmd_walk(11, 0, 0); }, "walk_leaves", 0},
    {"cntpfx", [] { cmd_cntpfx(0, 0, 0); }, "walk_leaves", 2},
    {"ckbmsf", [] { cmd_ckbmsf(0, 0, 0); }, "walk_internal_leaves", 2},
    {"ckhmask", [] { cmd_ckhmask(0, 0, 0); }, "walk_leaves", 3},
    {"ckparbl", [] { cmd_ckparbl(0, 0, 0); }, "walk_covers", 2},
    {"ckbank", [] { cmd_ckbank(0, 0, 0); }, "walk_node_reads", 2},
    {"hwidxwalk_no_reads", hwidxwalk_without_reads, "walk_nodes", 2},
    {"hwidxwalk", [] { cmd_hwidxwalk(0, 0, 0); }, "walk_node_reads", 0},
    {"hwdis", [] { cmd_hwdis(0, 0, 0); }, "walk_node_reads", 2},
    {"cklkup", [] { cmd_cklkup(0, 0, 0); }, "walk_leaves", 0},
    {"cklkuphw", [] { cmd_cklkuphw(0, 0, 0); }, "walk_leaves", 0},
    {"ckall", [] { cmd_ckall(0, 0, 0); }, "walk_leaves", 0},
};
constexpr const char *lookup_commands[] = {"cklkup", "cklkuphw"};
constexpr double library_target = 0.15;
constexpr double node_command_target = 2;

struct single_row {
    const char *name;
    uint8_t family;
    void (*run)(const pfx_entry &entry);
};

uint64_t half(const pfx_entry &entry, int first) {
    uint64_t value = 0;
    for (int i = first; i < first + 8; ++i) {
        value = value << 8 | entry.address[i];
    }
    return value;
}

uint64_t vrf_and_length(const pfx_entry &entry) {
    return 1000 * uint64_t{pfx_entry_vrf(entry)} + entry.length();
}

constexpr single_row singles[] = {
    {"v4", PFX_IPV4,
     [](const pfx_entry &e) { cmd_v4(half(e, 0) >> 32, e.length(), pfx_entry_vrf(e)); }},
    {"v6", PFX_IPV6, [](const pfx_entry &e) { cmd_v6(half(e, 0), half(e, 8), vrf_and_length(e)); }},
    {"v4hw", PFX_IPV4,
     [](const pfx_entry &e) { cmd_v4hw(half(e, 0) >> 32, e.length(), pfx_entry_vrf(e)); }},
    {"v6hw", PFX_IPV6,
     [](const pfx_entry &e) { cmd_v6hw(half(e, 0), half(e, 8), vrf_and_length(e)); }},
};
constexpr size_t single_lookups = 2000;

/// Prefixes of one family, picked at random.
std::vector<pfx_entry> some_of(const std::vector<pfx_entry> &table, uint8_t family) {
    std::mt19937_64 random(family);
    std::vector<pfx_entry> chosen;
    while (chosen.size() < single_lookups) {
        const pfx_entry &entry = table[random() % table.size()];
        if (entry.type == family && entry.length() != 0) {
            chosen.push_back(entry);
        }
    }
    return chosen;
}

class command_measurements {
public:
    explicit command_measurements(const std::vector<pfx_entry> &table)
        : table_(table), nodes_(pick_sample_nodes(card_root())) {}

    void verify() const {
        require_healthy(table_);
        for (const walk_row &row : walks) {
            const walk_totals totals = row.walk(card_root());
            if (totals.nodes == 0 || totals.reads > totals.nodes ||
                (row.walk == walk_leaves && totals.leaves != table_.size())) {
                (void)fprintf(stderr, "error: %s does not see the whole tree\n", row.name);
                exit(1);
            }
        }
        verify_node_commands();
    }

    void run(int repetitions, const std::string &filter) {
        for (const walk_row &row : walks) {
            timings_.add(row.name, [&row] { sum_ += row.walk(card_root()).sum; });
        }
        for (const command_row &row : commands) {
            timings_.add(row.name, row.run);
        }
        for (const auto &[name, action] : node_commands()) {
            timings_.add(name, action);
        }
        const library_calls searches(commands[std::size(commands) - 3].run);
        const library_calls hardware(commands[std::size(commands) - 2].run);
        timings_.add("library_of_cklkup", [&] { sum_ += searches.repeat(); });
        timings_.add("library_of_cklkuphw", [&] { sum_ += hardware.repeat(); });
        add_singles();
        timings_.run(repetitions, filter);
    }

    void print(const std::string &name) const {
        for (const walk_row &row : walks) {
            line(name, row.name);
            printf("\n");
        }
        for (const command_row &row : commands) {
            line(name, row.name);
            against(row.name, row.walk, row.target);
        }
        for (const char *command : lookup_commands) {
            const std::string library = std::string("library_of_") + command;
            line(name, library);
            printf(" share=%.3f outside=%.3f target_outside=%.2f\n",
                   timings_.ns(library) / timings_.ns(command),
                   1 - timings_.ns(library) / timings_.ns(command), library_target);
        }
        for (const auto &[command, action] : node_commands()) {
            line(name, command);
            against(command, "walk_nodes", node_command_target);
        }
        for (const single_row &row : singles) {
            printf("result table=%s name=%s ns=%.0f\n", name.c_str(), row.name,
                   timings_.ns(row.name));
        }
    }

private:
    using action_row = std::pair<std::string, std::function<void()>>;

    [[nodiscard]] std::vector<action_row> node_commands() const {
        const auto many = reinterpret_cast<uint64_t>(nodes_.most_children);
        const auto last = reinterpret_cast<uint64_t>(nodes_.last_leaf_array);
        std::vector<action_row> rows = {{"tnbl", [many] { cmd_tnbl(many, 0, 0); }},
                                        {"showla", [last] { cmd_showla(last, 0, 0); }}};
        for (const uint64_t options : {1U, 2U, 4U, 5U, 8U, 15U}) {
            rows.emplace_back("tn_" + std::to_string(options),
                              [many, options] { cmd_tn(many, options, 0); });
        }
        if (nodes_.most_hinted_children != nullptr) {
            const uint64_t index = nodes_.most_hinted_children->hw_index;
            rows.emplace_back("hwidxr_11", [index] { cmd_hwidxr(index, 11, 0); });
        }
        return rows;
    }

    void verify_node_commands() const {
        for (const auto &[name, action] : node_commands()) {
            const std::string reply = replies_of(action);
            const bool parent = name != "hwidxr_11" || reply.find("Parent: ") != std::string::npos;
            if (!parent || reply.find("not found") != std::string::npos ||
                reply.find("invalid") != std::string::npos || reply.size() < 60) {
                (void)fprintf(stderr, "error: %s answers\n%s", name.c_str(), reply.c_str());
                exit(1);
            }
        }
    }

    void add_singles() {
        for (const single_row &row : singles) {
            timings_.add(
                row.name,
                [&row, some = some_of(table_, row.family)] {
                    for (const pfx_entry &entry : some) {
                        row.run(entry);
                    }
                },
                static_cast<double>(single_lookups));
        }
    }

    void line(const std::string &table, const std::string &name) const {
        const double ns = timings_.ns(name);
        printf("result table=%s name=%s ms=%.3f ns_per_prefix=%.1f", table.c_str(), name.c_str(),
               ns / 1e6, ns / static_cast<double>(table_.size()));
    }

    void against(const std::string &name, const char *walk, double target) const {
        printf(" against=%s ratio=%.2f", walk, timings_.ns(name) / timings_.ns(walk));
        if (target != 0) {
            printf(" target=%.2f", target);
        }
        printf("\n");
    }

    const std::vector<pfx_entry> &table_;
    sample_nodes nodes_;
    timings timings_;
    inline static uint64_t sum_ = 0;
};

/// Loads the table as it stands, so that the nodes lie in the order of the adds.
void add_one_by_one(const std::vector<pfx_entry> &table) {
    simcard::Card &card = powered_card();
    size_t added = 0;
    for (const pfx_entry &entry : table) {
        if (card.add(entry) != simcard::card_ok) {
            (void)fprintf(stderr, "error: prefix %zu refused\n", added);
            exit(1);
        }
        if (++added % 1000 == 0) {
            card.flush();
        }
    }
    card.flush();
    card.flush();
    card.fill_holes();
}

}    // namespace

int main(int argc, char **argv) {
    const std::string choice = argument(argc, argv, "table", "100000");
    const bool random_order = argument(argc, argv, "order", "loaded") == "random";
    const int repetitions = std::stoi(argument(argc, argv, "repetitions", "9"));
    const std::vector<pfx_entry> table = chosen_table(choice);
    const bool file = choice.find('/') != std::string::npos;
    const std::string name = (file ? "real" : choice) + (random_order ? "_random" : "");
    if (random_order) {
        add_one_by_one(table);
    } else {
        load_card(table);
    }
    print_shape(name, table);
    command_measurements measurements(table);
    measurements.verify();
    measurements.run(repetitions, argument(argc, argv, "filter", "."));
    measurements.print(name);
    return 0;
}
