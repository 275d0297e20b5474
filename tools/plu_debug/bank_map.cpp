#include "tools/plu_debug/bank_map.h"

#include <algorithm>

#include "tools/plu_debug/line_scan.h"

namespace client {
namespace {

constexpr int small_banks = 20;
constexpr int64_t small_bank_size = 2048;
constexpr int64_t large_bank_size = 4096;
constexpr int64_t no_level = 255;
constexpr std::string_view bitmap_line = "phu bank bitmap: ";

// Banks without a level and without nodes in use are not listed.
bank_map unlisted_banks() {
    bank_map map;
    for (size_t id = 0; id < map.size(); ++id) {
        map.at(id).size = id < small_banks ? small_bank_size : large_bank_size;
    }
    return map;
}

bool read_bank(std::string_view line, bank_map &map, int64_t &last_id) {
    int64_t id = 0;
    int64_t words = 0;
    bank_state bank;
    line_scan scan(line);
    scan.text("bank").number(id).text("  size").number(bank.size).text("  node used");
    scan.number(bank.used).text("  stride level").number(bank.level);
    scan.text("  bitmap size").number(words);
    if (!scan.complete() || id <= last_id || id >= bank_count || bank.size <= 0 ||
        bank.used > bank.size || (bank.level >= stride_level_count && bank.level != no_level)) {
        return false;
    }
    bank.level = bank.level == no_level ? -1 : bank.level;
    map.at(static_cast<size_t>(id)) = bank;
    last_id = id;
    return true;
}

// Binary digits from bank 63 down, with blanks between.
bool read_bitmap(std::string_view line, bank_map &map) {
    std::string digits(line.substr(bitmap_line.size()));
    std::erase(digits, ' ');
    if (digits.size() != 64 || digits.find_first_not_of("01") != std::string::npos) {
        return false;
    }
    for (size_t id = 0; id < map.size(); ++id) {
        map.at(id).taken = digits.at(63 - id) == '1';
    }
    return true;
}

}    // namespace

std::string read_bank_map(const std::vector<std::string> &summary,
                          const std::vector<std::string> &context, bank_map &map) {
    map = unlisted_banks();
    int64_t last_id = -1;
    for (const std::string &line : summary) {
        if (line.starts_with("bank ") && !read_bank(line, map, last_id)) {
            return unexpected_line("banksum", line);
        }
    }
    if (std::none_of(summary.begin(), summary.end(), [](const auto &line) {
            return line.starts_with("SUM        bank bitmap: ");
        })) {
        return "the reply to 'banksum' has no SUM line";
    }
    for (const std::string &line : context) {
        if (line.starts_with(bitmap_line)) {
            return read_bitmap(line, map) ? "" : unexpected_line("dump", line);
        }
    }
    return "the reply to 'dump' has no bank bitmap";
}

}    // namespace client
