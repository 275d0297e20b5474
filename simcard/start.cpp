#include "simcard/start.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "simcard/table_file.h"

extern "C" {
// The process exports variables of the same names, and the dynamic linker would bind references
// here to those; the library's own stand under names of their own and are exported as aliases. A
// section of their own keeps address sanitizers from taking the pairs for one variable defined
// twice.
#define OWN_CONTEXT __attribute__((section(".data.card_contexts")))
OWN_CONTEXT plu_shm_block *simcard_plu_shm = nullptr;
OWN_CONTEXT phu_shm_block *simcard_phu_shm = nullptr;
extern plu_shm_block *plu_shm_ctx __attribute__((alias("simcard_plu_shm")));
extern phu_shm_block *phu_shm_ctx __attribute__((alias("simcard_phu_shm")));
}

namespace simcard {

namespace {

/// Replaces a value by that of an environment variable, when that is set and not empty. False, with
/// a word about it, when it is no number from 0 to `largest`.
template <typename Number>
bool read_option(const char *name, uint32_t largest, Number &value) {
    const char *text = getenv(name);
    if (text == nullptr || *text == '\0') {
        return true;
    }
    char *end = nullptr;
    const unsigned long number = strtoul(text, &end, 0);
    if (*end != '\0' || *text == '-' || number > largest) {
        (void)fprintf(stderr, "simcard: %s=%s is not a number from 0 to %u\n", name, text, largest);
        return false;
    }
    value = static_cast<Number>(number);
    return true;
}

bool read_options(CardOptions &options) {
    const bool npus = read_option("SIMCARD_NPUS", 255, options.npus);
    const bool map = read_option("SIMCARD_ACTIVE_MAP", ~uint32_t{0}, options.active_map);
    const bool limit = read_option("SIMCARD_MASK_LIMIT", 128, options.mask_limit);
    return npus && map && limit;
}

bool read_tables(std::vector<pfx_entry> &entries, size_t &bad_lines) {
    const char *files = getenv("SIMCARD_TABLE");
    std::istringstream list(files == nullptr ? "" : files);
    for (std::string file; std::getline(list, file, ':');) {
        if (file.empty()) {
            continue;
        }
        const TableReport report = read_table(file, entries);
        if (!report.opened) {
            (void)fprintf(stderr, "simcard: cannot open table %s\n", file.c_str());
            return false;
        }
        bad_lines += report.bad_lines;
    }
    return true;
}

void report_load(size_t added, size_t refused, size_t bad_lines, double seconds) {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    Card &card = Card::instance();
    (void)fprintf(stderr,
                  "simcard: %zu prefixes loaded in %.2f s, %zu refused, %zu bad lines; peak memory "
                  "%ld MiB; %d hardware nodes, %ld children left unhinted\n",
                  added, seconds, refused, bad_lines, usage.ru_maxrss / 1024,
                  card.fixed().plu.phu.bank_node_used, card.mirror().unhinted());
}

}    // namespace

void publish_contexts(bool present) {
    FixedPart &part = Card::instance().fixed();
    simcard_plu_shm = present ? &part.plu_shm : nullptr;
    simcard_phu_shm = present ? &part.phu_shm : nullptr;
}

uint32_t start_from_environment() {
    const auto begin = std::chrono::steady_clock::now();
    CardOptions options;
    std::vector<pfx_entry> entries;
    size_t bad_lines = 0;
    if (!read_options(options) || !read_tables(entries, bad_lines)) {
        return card_not_ready;
    }
    Card &card = Card::instance();
    if (!card.power_on(options)) {
        (void)fprintf(stderr, "simcard: no memory for the card\n");
        return card_out_of_memory;
    }
    size_t refused = 0;
    const size_t added = card.load(std::move(entries), &refused);
    publish_contexts(true);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    report_load(added, refused, bad_lines, elapsed.count());
    return card_ok;
}

}    // namespace simcard
