// The table loader: any text is read, and what it takes for a prefix says the same when it is
// written out and read again.
#include <cstdlib>

#include "simcard/table_file.h"
#include "tests/fuzz/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const memory_file file;
    file.fill(data, size);
    std::vector<pfx_entry> entries;
    const simcard::TableReport report = simcard::read_table(file.name(), entries);
    if (!report.opened || report.prefixes != entries.size()) {
        abort();
    }
    for (const pfx_entry &entry : entries) {
        const auto key = simcard::key_of(entry);
        const auto again =
            key ? simcard::parse_prefix(simcard::prefix_text(*key), simcard::vrf_of(*key))
                : std::nullopt;
        if (!again || simcard::key_of(*again) != key) {
            abort();
        }
    }
    return 0;
}
