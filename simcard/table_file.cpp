#include "simcard/table_file.h"

#include <cstdio>
#include <fstream>

#include "table/table_line.h"

namespace simcard {

namespace {

constexpr size_t bad_lines_shown = 20;

}    // namespace

TableLine parse_table_line(std::string_view line) {
    const table::line parsed = table::parse_line(line);
    switch (parsed.what) {
        case table::line::entry:
            return {TableLine::prefix, entry_of(parsed.value), nullptr};
        case table::line::bad:
            return {TableLine::bad, {}, parsed.problem};
        default:
            return {TableLine::nothing, {}, nullptr};
    }
}

TableReport read_table(const std::string &file, std::vector<pfx_entry> &entries) {
    TableReport report;
    std::ifstream input(file);
    report.opened = input.is_open();
    std::string line;
    for (size_t number = 1; std::getline(input, line); ++number) {
        const TableLine parsed = parse_table_line(line);
        if (parsed.kind == TableLine::prefix) {
            entries.push_back(parsed.entry);
            ++report.prefixes;
        } else if (parsed.kind == TableLine::bad && report.bad_lines++ < bad_lines_shown) {
            (void)fprintf(stderr, "simcard: %s:%zu: %s, skipped: %.80s\n", file.c_str(), number,
                          parsed.problem, line.c_str());
        }
    }
    return report;
}

}    // namespace simcard
