#include "simcard/table_file.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <fstream>

namespace simcard {

namespace {

constexpr size_t bad_lines_shown = 20;

std::string_view next_word(std::string_view &line) {
    const size_t begin = line.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos) {
        line = {};
        return {};
    }
    const size_t end = line.find_first_of(" \t\r", begin);
    const std::string_view word = line.substr(begin, end - begin);
    line = end == std::string_view::npos ? std::string_view{} : line.substr(end);
    return word;
}

TableLine bad(const char *problem) {
    return {TableLine::bad, {}, problem};
}

bool parse_vrf(std::string_view word, uint16_t &vrf) {
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), vrf);
    return error == std::errc{} && end == word.data() + word.size();
}

}    // namespace

TableLine parse_table_line(std::string_view line) {
    std::string_view word = next_word(line);
    if (word.empty() || word.front() == '#') {
        return {TableLine::nothing, {}, nullptr};
    }
    std::string_view family;
    if (word == "A") {
        family = next_word(line);
        if (family != "U4" && family != "U6") {
            return bad("unknown family of a recording line");
        }
        word = next_word(line);
    }
    const std::string_view vrf_word = next_word(line);
    uint16_t vrf = 0;
    if (!vrf_word.empty() && vrf_word.front() != '#' && !parse_vrf(vrf_word, vrf)) {
        return bad("VRF is not a number from 0 to 65535");
    }
    const std::string_view rest = next_word(line);
    if (!rest.empty() && rest.front() != '#') {
        return bad("words behind the VRF");
    }
    const auto entry = parse_prefix(word, vrf);
    if (!entry) {
        return bad("not a prefix");
    }
    if (!family.empty() && (family == "U6") != (entry->type == PFX_IPV6)) {
        return bad("family and address disagree");
    }
    return {TableLine::prefix, *entry, nullptr};
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
