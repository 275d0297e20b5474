// Sorts any number of prefixes in bounded memory.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace client {

/// One prefix of a table; ordered by VRF, family, address and length.
struct table_prefix {
    uint16_t vrf = 0;
    uint8_t family = 4;    // 4 or 6
    uint8_t length = 0;
    std::array<unsigned char, 16> address{};

    auto operator<=>(const table_prefix &other) const {
        return std::tie(vrf, family, address, length) <=>
               std::tie(other.vrf, other.family, other.address, other.length);
    }
    bool operator==(const table_prefix &) const = default;
};

/// Parses a line of a recording ("A U4 10.1.2.0/24 5 #") or of a table ("10.1.2.0/24 [5]"). None
/// for anything else.
std::optional<table_prefix> parse_table_line(std::string_view line);

/// "A U4 10.1.2.0/24 5 #" without the "A" and the "#".
std::string table_text(const table_prefix &prefix);

class prefix_sorter {
public:
    /// Keeps at most `chunk` prefixes in memory while they are added, and spills the rest.
    explicit prefix_sorter(size_t chunk = default_chunk) : chunk_(chunk) {}

    /// False when there is no room on disk to spill.
    [[nodiscard]] bool add(const table_prefix &prefix);

    /// Ends the adding. False as for add.
    [[nodiscard]] bool finish();

    /// The next prefix in order, equal ones once; none at the end.
    std::optional<table_prefix> next();

    /// True when what was spilled could not be read again: next() has left out some.
    [[nodiscard]] bool failed() const { return failed_; }

private:
    static constexpr size_t default_chunk = size_t{1} << 18;

    struct file_closer {
        void operator()(FILE *file) const { (void)!fclose(file); }
    };
    struct run {
        std::unique_ptr<FILE, file_closer> file;
        table_prefix head;
    };

    bool spill();
    void read_head(run &source);
    std::optional<table_prefix> smallest();

    size_t chunk_;
    bool failed_ = false;
    std::vector<table_prefix> prefixes_;
    std::vector<run> runs_;
    std::optional<table_prefix> last_;
};

}    // namespace client
