// geoip_to_table FILE...: turns text ranges ("FIRST,LAST,...", one a line) into prefixes, one a
// line, on standard output. Lines that say anything else are named on standard error and skipped.
#include <fstream>
#include <iostream>
#include <string>

#include "client/tables/address_range.h"

namespace {

struct conversion {
    size_t prefixes = 0;
    size_t bad_lines = 0;
};

void convert_line(const std::string &line, const std::string &place, conversion &counts) {
    if (line.empty() || line[0] == '#') {
        return;
    }
    const auto range = parse_range(line);
    if (!range) {
        std::cerr << place << ": not a range, skipped: " << line << '\n';
        ++counts.bad_lines;
        return;
    }
    split_range(*range, [&](const address_prefix &prefix) {
        std::cout << prefix_text(prefix) << '\n';
        ++counts.prefixes;
    });
}

bool convert_file(const char *name, conversion &counts) {
    std::ifstream file(name);
    std::string line;
    for (size_t number = 1; std::getline(file, line); ++number) {
        convert_line(line, std::string(name) + ':' + std::to_string(number), counts);
    }
    if (!file.eof()) {
        std::cerr << name << ": cannot be read\n";
        return false;
    }
    return true;
}

}    // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::cerr << "usage: geoip_to_table FILE...\n";
        return 2;
    }
    std::ios::sync_with_stdio(false);
    conversion counts;
    bool whole = true;
    for (int i = 1; i < argc; ++i) {
        whole = convert_file(argv[i], counts) && whole;
    }
    std::cout.flush();
    std::cerr << counts.prefixes << " prefixes, " << counts.bad_lines << " bad lines\n";
    return whole && std::cout ? 0 : 1;
}
