// bench_card [--table=COUNT|FILE] [--changes=N]: loading a table, single deletes and adds on the
// full table, and prefixes that cover many nodes.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>

#include "bench/bench_card.h"
#include "bench/timing.h"

namespace {

/// Processor time of this thread: what other work on the machine does not lengthen.
double thread_us() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e6 * static_cast<double>(now.tv_sec) + 1e-3 * static_cast<double>(now.tv_nsec);
}

class latencies {
public:
    /// Times one change of the card, which must succeed.
    template <typename Change>
    void take(const Change &change) {
        const double start = thread_us();
        const uint32_t code = change();
        times_.push_back(thread_us() - start);
        if (code != simcard::card_ok) {
            (void)fprintf(stderr, "error: change refused with 0x%x\n", code);
            exit(1);
        }
    }

    /// Nothing without changes.
    void print(const std::string &table, const char *name, size_t nodes, double median_target,
               double worst_target) {
        if (times_.empty()) {
            return;
        }
        std::sort(times_.begin(), times_.end());
        printf(
            "result table=%s name=%s changes=%zu most_nodes=%zu median_us=%.2f p99_us=%.2f "
            "worst_us=%.1f",
            table.c_str(), name, times_.size(), nodes, at(0.5), at(0.99), times_.back());
        if (median_target != 0) {
            printf(" target_median_us=%.0f", median_target);
        }
        if (worst_target != 0) {
            printf(" target_worst_us=%.0f", worst_target);
        }
        printf("\n");
    }

private:
    [[nodiscard]] double at(double share) const {
        return times_[static_cast<size_t>(share * static_cast<double>(times_.size() - 1))];
    }

    std::vector<double> times_;
};

constexpr double median_target_us = 50;
constexpr double worst_target_us = 5000;
constexpr size_t changes_per_flush = 100;

/// Deletes random prefixes and adds them again.
void measure_changes(const std::string &name, const std::vector<pfx_entry> &table, size_t changes) {
    simcard::Card &card = simcard::Card::instance();
    std::mt19937_64 random(7);
    latencies removals;
    latencies adds;
    for (size_t i = 0; i < changes; ++i) {
        const pfx_entry &entry = table[random() % table.size()];
        removals.take([&] { return card.remove(entry); });
        adds.take([&] { return card.add(entry); });
        if (i % changes_per_flush == 0) {
            card.flush();
        }
    }
    removals.print(name, "delete", 1, median_target_us, worst_target_us);
    adds.print(name, "add", 1, median_target_us, worst_target_us);
}

size_t count_nodes(const tn *node) {
    size_t count = 1;
    for (uint64_t left = simcard::is_search(node) ? node->sn_ebmap : 0; left != 0;
         left &= left - 1) {
        count += count_nodes(simcard::child_at(node, static_cast<uint32_t>(__builtin_ctzll(left))));
    }
    return count;
}

/// Nodes that a prefix of at least one bit covers.
size_t covered_nodes(const pfx_entry &entry) {
    const simcard::Key key = *simcard::key_of(entry);
    const tn *node = card_root().ta_nodes[key.root_slot()];
    uint32_t depth = tbm_root_bits;
    for (; node != nullptr && key.bits >= depth + tbm_stride_bits; depth += tbm_stride_bits) {
        const uint32_t chunk = key.chunk(depth);
        const bool child = simcard::is_search(node) && (node->sn_ebmap >> chunk & 1) != 0;
        node = child ? simcard::child_at(node, chunk) : nullptr;
    }
    if (node == nullptr || !simcard::is_search(node)) {
        return 0;
    }
    size_t count = 0;
    const uint32_t free_bits = tbm_stride_bits - (key.bits - depth);
    for (uint64_t left = node->sn_ebmap; left != 0; left &= left - 1) {
        const auto group = static_cast<uint32_t>(__builtin_ctzll(left));
        if (group >> free_bits == key.chunk(depth) >> free_bits) {
            count += count_nodes(simcard::child_at(node, group));
        }
    }
    return count;
}

/// Short prefixes that the table does not have.
std::vector<pfx_entry> covers_of(const std::vector<pfx_entry> &table) {
    std::vector<pfx_entry> covers;
    simcard::Card &card = simcard::Card::instance();
    for (size_t i = 0; i < table.size(); i += table.size() / 500 + 1) {
        pfx_entry entry = table[i];
        for (uint8_t length = 1; length <= (entry.type == PFX_IPV6 ? 20 : 8); ++length) {
            entry.set_length(length);
            if (card.find(entry) == nullptr) {
                covers.push_back(entry);
            }
        }
    }
    return covers;
}

void measure_covers(const std::string &name, const std::vector<pfx_entry> &table) {
    simcard::Card &card = simcard::Card::instance();
    struct {
        latencies adds;
        latencies removals;
        size_t nodes = 0;
    } some, most;
    for (const pfx_entry &entry : covers_of(table)) {
        const size_t nodes = covered_nodes(entry);
        if (nodes < 10000) {
            continue;
        }
        auto &chosen = nodes < 100000 ? some : most;
        chosen.nodes = std::max(nodes, chosen.nodes);
        chosen.adds.take([&] { return card.add(entry); });
        chosen.removals.take([&] { return card.remove(entry); });
        card.flush();
        card.flush();
    }
    some.adds.print(name, "add_cover", some.nodes, 0, worst_target_us);
    some.removals.print(name, "delete_cover", some.nodes, 0, worst_target_us);
    most.adds.print(name, "add_widest_cover", most.nodes, 0, 0);
    most.removals.print(name, "delete_widest_cover", most.nodes, 0, 0);
}

double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}    // namespace

int main(int argc, char **argv) {
    const std::string choice = argument(argc, argv, "table", "100000");
    const size_t changes = std::stoul(argument(argc, argv, "changes", "20000"));
    const std::string name = choice.find('/') == std::string::npos ? choice : "real";
    const auto start = std::chrono::steady_clock::now();
    const std::vector<pfx_entry> table = chosen_table(choice);
    const double read_seconds = seconds_since(start);
    const double first = load_card(table);
    const double load_seconds = std::min(first, load_card(table));
    print_shape(name, table);
    printf("result table=%s name=load read_seconds=%.2f seconds=%.2f target_seconds=5\n",
           name.c_str(), read_seconds, load_seconds);
    measure_changes(name, table, changes);
    measure_covers(name, table);
    require_healthy(table);
    return 0;
}
