// The readers of recordings: two files, parted by a line "=", are compared both ways; what the
// reader takes for a prefix says the same when it is written out and read again. The same lines are
// a reply, whose verdict the client must reach.
#include <fcntl.h>

#include "client/recordings/recording_diff.h"
#include "client/replies/verdict.h"
#include "table/table_line.h"
#include "tests/fuzz/memory_file.h"

namespace {

void check_lines(std::string_view text) {
    client::reply_judge judge("walk");
    client::reply_lines lines("walk", [&](const client::reply_line &line) { judge.take(line); });
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        lines.piece(line);
        lines.piece("\n");
        const table::line read = table::parse_line(line);
        if (read.what == table::line::entry &&
            read.value != *table::parse_prefix(text_of(read.value), read.value.vrf)) {
            abort();
        }
    }
    (void)judge.result();
}

}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const memory_file before;
    static const memory_file after;
    static client::output nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const size_t part = std::min(text.find("=\n"), size);
    const size_t behind = std::min(part + 2, size);
    before.fill(data, part);
    after.fill(data + behind, size - behind);
    client::local_report report{nowhere};
    const client::options options;
    const auto there =
        client::run_diff({"diff", before.name(), after.name()}, options, report).status;
    const auto back =
        client::run_diff({"diff", after.name(), before.name()}, options, report).status;
    if (there != back) {
        abort();
    }
    check_lines(text.substr(0, part));
    return 0;
}
