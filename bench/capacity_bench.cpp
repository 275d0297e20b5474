// bench_capacity [--prefixes=N]: fills the card to its profile's capacity, checks it, and goes on
// until an add is refused.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>

#include "bench/bench_card.h"
#include "bench/counting_sink.h"
#include "bench/data_set.h"
#include "bench/timing.h"
#include "checks/commands.h"

namespace {

constexpr size_t profile_entries = 4718592;

/// Adds one by one; returns how many were taken before `code` refused one.
size_t add_until_refused(const std::vector<pfx_entry> &table, size_t from, uint32_t &code) {
    simcard::Card &card = simcard::Card::instance();
    size_t at = from;
    while (at < table.size() && (code = card.add(table[at])) == simcard::card_ok) {
        ++at;
    }
    return at;
}

double seconds(void (*action)()) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void print_memory() {
    const phu_context &phu = simcard::Card::instance().fixed().plu.phu;
    const auto mib = [](int64_t bytes) { return static_cast<long>(bytes >> 20); };
    printf(
        "result name=capacity_memory nodes_mib=%ld arrays_mib=%ld leaves_mib=%ld tables_mib=%ld\n",
        mib(phu.pool_bytes[0]), mib(phu.pool_bytes[1]), mib(phu.pool_bytes[2]),
        mib(phu.pool_bytes[3]));
}

}    // namespace

int main(int argc, char **argv) {
    const size_t wanted = std::stoul(argument(argc, argv, "prefixes", "4700000"));
    std::vector<pfx_entry> table = internet_table(profile_entries + 1000);
    std::vector<pfx_entry> loaded(table.begin(), table.begin() + static_cast<ptrdiff_t>(wanted));
    const double load_seconds = load_card(loaded);
    print_shape(std::to_string(wanted), loaded);
    require_healthy(loaded);
    const double check_seconds = seconds([] { cmd_ckall(0, 0, 0); });
    printf("result name=capacity_load prefixes=%zu seconds=%.2f ckall_seconds=%.2f unhinted=%ld\n",
           wanted, load_seconds, check_seconds,
           static_cast<long>(simcard::Card::instance().mirror().unhinted()));
    print_memory();
    uint32_t code = simcard::card_ok;
    const size_t taken = add_until_refused(table, wanted, code);
    table.resize(taken);
    require_healthy(table);
    printf("result name=capacity_full prefixes=%zu of=%zu share=%.5f code=0x%x\n", taken,
           profile_entries, static_cast<double>(taken) / static_cast<double>(profile_entries),
           code);
    return code == simcard::card_tables_full ? 0 : 1;
}
