#include "tools/plu_debug/prefix_sorter.h"

#include <arpa/inet.h>

#include <algorithm>
#include <sstream>
#include <tuple>

#include "tools/plu_debug/number.h"

namespace client {
namespace {

constexpr uint64_t max_vrf = 65535;

bool parse_prefix_word(const std::string &word, table_prefix &prefix) {
    const size_t slash = word.find('/');
    if (slash == std::string::npos) {
        return false;
    }
    const std::string address = word.substr(0, slash);
    const bool v4 = address.find(':') == std::string::npos;
    const uint64_t length =
        parse_number(std::string_view(word).substr(slash + 1)).value_or(UINT64_MAX);
    if (length > (v4 ? 32U : 128U) ||
        inet_pton(v4 ? AF_INET : AF_INET6, address.c_str(), prefix.address.data()) != 1) {
        return false;
    }
    prefix.family = v4 ? 4 : 6;
    prefix.length = static_cast<uint8_t>(length);
    return true;
}

}    // namespace

std::optional<table_prefix> parse_table_line(std::string_view line) {
    std::istringstream words{std::string(line.substr(0, line.find('#')))};
    std::string word;
    words >> word;
    if (word == "A") {
        words >> word >> word;    // the family shows in the address
    }
    table_prefix prefix;
    if (!parse_prefix_word(word, prefix)) {
        return std::nullopt;
    }
    if (words >> word) {
        const auto vrf = parse_number(word);
        if (!vrf || *vrf > max_vrf || words >> word) {
            return std::nullopt;
        }
        prefix.vrf = static_cast<uint16_t>(*vrf);
    }
    return prefix;
}

std::string table_text(const table_prefix &prefix) {
    std::array<char, INET6_ADDRSTRLEN> address{};
    inet_ntop(prefix.family == 4 ? AF_INET : AF_INET6, prefix.address.data(), address.data(),
              address.size());
    return std::string(prefix.family == 4 ? "U4 " : "U6 ") + address.data() + '/' +
           std::to_string(prefix.length) + ' ' + std::to_string(prefix.vrf);
}

bool prefix_sorter::add(const table_prefix &prefix) {
    prefixes_.push_back(prefix);
    return prefixes_.size() < chunk_ || spill();
}

bool prefix_sorter::spill() {
    std::sort(prefixes_.begin(), prefixes_.end());
    run written{std::unique_ptr<FILE, file_closer>(tmpfile()), {}};
    FILE *file = written.file.get();
    const bool whole = file != nullptr &&
                       fwrite(prefixes_.data(), sizeof(table_prefix), prefixes_.size(), file) ==
                           prefixes_.size() &&
                       fflush(file) == 0;
    prefixes_.clear();
    runs_.push_back(std::move(written));
    return whole;
}

bool prefix_sorter::finish() {
    if (!runs_.empty() && !spill()) {
        return false;
    }
    std::sort(prefixes_.begin(), prefixes_.end(), std::greater<>());    // the smallest last
    for (run &source : runs_) {
        rewind(source.file.get());
        read_head(source);
    }
    return true;
}

// A run that is read to its end is closed.
void prefix_sorter::read_head(run &source) {
    if (fread(&source.head, sizeof source.head, 1, source.file.get()) != 1) {
        failed_ = failed_ || ferror(source.file.get()) != 0;
        source.file.reset();
    }
}

std::optional<table_prefix> prefix_sorter::smallest() {
    if (runs_.empty()) {
        if (prefixes_.empty()) {
            return std::nullopt;
        }
        const table_prefix result = prefixes_.back();
        prefixes_.pop_back();
        return result;
    }
    run *best = nullptr;
    for (run &source : runs_) {
        if (source.file && (best == nullptr || source.head < best->head)) {
            best = &source;
        }
    }
    if (best == nullptr) {
        return std::nullopt;
    }
    const table_prefix result = best->head;
    read_head(*best);
    return result;
}

std::optional<table_prefix> prefix_sorter::next() {
    auto result = smallest();
    while (result && last_ && *result == *last_) {
        result = smallest();
    }
    last_ = result;
    return result;
}

}    // namespace client
