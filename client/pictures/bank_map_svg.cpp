#include "client/pictures/bank_map_svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace client {
namespace {

// All in pixels.
constexpr int margin = 24;
constexpr int columns = 7;
constexpr int cell_width = 136;
constexpr int cell_height = 82;
constexpr int cell_gap = 10;
constexpr int padding = 9;
constexpr int grid_top = 84;
constexpr int grid_rows = bank_count / columns;
constexpr int grid_bottom = grid_top + grid_rows * (cell_height + cell_gap) - cell_gap;
constexpr int legend_left = margin + columns * (cell_width + cell_gap) + 20;
constexpr int legend_row = 21;
constexpr int legend_bar = 90;
constexpr int legend_width = 276;
constexpr int picture_width = legend_left + legend_width + margin;
constexpr int picture_height = grid_bottom + margin;

constexpr double nearly_full = 0.9;

// Evenly dark to light, told apart with any colour vision.
struct rgb {
    int red, green, blue;
};
constexpr std::array<rgb, 10> palette = {{{68, 1, 84},
                                          {72, 40, 120},
                                          {62, 73, 137},
                                          {49, 104, 142},
                                          {38, 130, 142},
                                          {31, 158, 137},
                                          {53, 183, 121},
                                          {109, 205, 89},
                                          {180, 222, 44},
                                          {253, 231, 37}}};

std::string level_colour(int64_t level) {
    const double place =
        static_cast<double>(level) * (palette.size() - 1) / (stride_level_count - 1);
    const auto from = std::min(static_cast<size_t>(place), palette.size() - 2);
    const double share = place - static_cast<double>(from);
    const auto mix = [share](int a, int b) { return a + static_cast<int>((b - a) * share); };
    const rgb &a = palette.at(from);
    const rgb &b = palette.at(from + 1);
    std::array<char, 8> text{};
    (void)std::snprintf(text.data(), text.size(), "#%02x%02x%02x",
                        static_cast<unsigned>(mix(a.red, b.red)) & 0xff,
                        static_cast<unsigned>(mix(a.green, b.green)) & 0xff,
                        static_cast<unsigned>(mix(a.blue, b.blue)) & 0xff);
    return text.data();
}

struct usage {
    int64_t banks = 0;
    int64_t used = 0;
    int64_t size = 0;

    void add(const bank_state &bank) {
        ++banks;
        used += bank.used;
        size += bank.size;
    }
    [[nodiscard]] double share() const {
        return size == 0 ? 0 : static_cast<double>(used) / static_cast<double>(size);
    }
    // 0 and 100 are said of what is empty and full alone.
    [[nodiscard]] std::string percent() const {
        const int64_t rounded = size == 0 ? 0 : (used * 100 + size / 2) / size;
        if (rounded == 0 && used > 0) {
            return "&lt;1 %";
        }
        return (rounded == 100 && used < size ? "&gt;99" : std::to_string(rounded)) + " %";
    }
};

class drawing {
public:
    void text(int x, int y, const char *style, const std::string &words) {
        body_ += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" class=\"" +
                 style + "\">" + words + "</text>\n";
    }
    void box(int x, int y, int width, int height, const std::string &style) {
        body_ += "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
                 std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" " + style +
                 "/>\n";
    }
    // A track and, in the level's colour, how much of it is in use.
    void bar(int x, int y, int width, int height, const usage &sum, int64_t level) {
        box(x, y, width, height, R"(class="track")");
        const auto share = static_cast<int>(std::lround(sum.share() * width));
        const int filled = sum.used == 0 ? 0 : std::max(1, share);
        if (filled > 0) {
            box(x, y, filled, height,
                level < 0 ? R"(fill="#777")" : "fill=\"" + level_colour(level) + '"');
        }
        box(x, y, width, height, R"(class="frame")");
    }
    void open_group(const std::string &tip) { body_ += "<g><title>" + tip + "</title>\n"; }
    void close_group() { body_ += "</g>\n"; }

    [[nodiscard]] std::string document() const {
        const std::string size = "width=\"" + std::to_string(picture_width) + "\" height=\"" +
                                 std::to_string(picture_height) + "\"";
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<svg xmlns=\"http://www.w3.org/2000/svg\" " +
               size + " viewBox=\"0 0 " + std::to_string(picture_width) + ' ' +
               std::to_string(picture_height) +
               "\" font-family=\"DejaVu Sans, Verdana, sans-serif\" font-size=\"11\">\n"
               "<style>\n"
               "text { fill: #222; }\n"
               ".title { font-size: 20px; font-weight: bold; }\n"
               ".head { font-size: 12px; font-weight: bold; }\n"
               ".quiet { fill: #666; }\n"
               ".right { text-anchor: end; }\n"
               ".loud { text-anchor: end; font-weight: bold; fill: #a33f00; }\n"
               ".cell { fill: #fff; stroke: #bbb; }\n"
               ".full { fill: #fff; stroke: #d55e00; stroke-width: 2.5; }\n"
               ".unused { fill: #f6f6f6; stroke: #bbb; stroke-dasharray: 4 3; }\n"
               ".track { fill: #eee; }\n"
               ".frame { fill: none; stroke: #555; stroke-width: 0.8; }\n"
               "</style>\n"
               "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" +
               body_ + "</svg>\n";
    }

private:
    std::string body_;
};

std::string of_nodes(const usage &sum) {
    return std::to_string(sum.used) + " / " + std::to_string(sum.size);
}

const char *level_free_name(const bank_state &bank) {
    return bank.taken ? "reserved" : "free";
}

void draw_bank(drawing &picture, int id, const bank_state &bank) {
    const int x = margin + id % columns * (cell_width + cell_gap);
    const int y = grid_top + id / columns * (cell_height + cell_gap);
    const int right = x + cell_width - padding;
    const std::string level =
        bank.level < 0 ? level_free_name(bank) : "level " + std::to_string(bank.level);
    usage sum;
    sum.add(bank);
    const bool unused = bank.level < 0 && bank.used == 0;
    const bool full = sum.share() >= nearly_full;
    picture.open_group("bank " + std::to_string(id) + ", " + level + ": " + of_nodes(sum) +
                       " nodes in use");
    picture.box(x, y, cell_width, cell_height,
                std::string("rx=\"5\" class=\"") +
                    (unused ? "unused"
                     : full ? "full"
                            : "cell") +
                    '"');
    picture.text(x + padding, y + 20, unused ? "quiet" : "head", "bank " + std::to_string(id));
    picture.text(right, y + 20, unused ? "quiet right" : "right", level);
    if (!unused) {
        picture.bar(x + padding, y + 30, cell_width - 2 * padding, 22, sum, bank.level);
    }
    picture.text(x + padding, y + 70, unused ? "quiet" : "",
                 unused ? std::to_string(bank.size) + " nodes" : of_nodes(sum));
    if (!unused) {
        picture.text(right, y + 70, full ? "loud" : "right", sum.percent());
    }
    picture.close_group();
}

void draw_level(drawing &picture, int y, int level, const usage &sum) {
    const int right = legend_left + legend_width;
    picture.box(legend_left, y - 11, 14, 14,
                "class=\"frame\" style=\"fill:" + level_colour(level) + '"');
    picture.text(legend_left + 22, y, "", "level " + std::to_string(level));
    picture.text(legend_left + 130, y, "right",
                 std::to_string(sum.banks) + (sum.banks == 1 ? " bank" : " banks"));
    picture.bar(right - 44 - legend_bar, y - 10, legend_bar, 12, sum, level);
    picture.text(right, y, sum.share() >= nearly_full ? "loud" : "right", sum.percent());
}

void draw_legend(drawing &picture, const bank_map &map) {
    std::array<usage, stride_level_count> levels{};
    for (const bank_state &bank : map) {
        if (bank.level >= 0) {
            levels.at(static_cast<size_t>(bank.level)).add(bank);
        }
    }
    int y = grid_top + 10;
    picture.text(legend_left, y, "head", "Stride levels");
    for (int level = 0; level < stride_level_count; ++level) {
        const usage &sum = levels.at(static_cast<size_t>(level));
        if (sum.banks > 0) {
            draw_level(picture, y += legend_row, level, sum);
        }
    }
    y = grid_bottom - 6;
    picture.box(legend_left, y - 11, 18, 14, R"(rx="3" class="full")");
    picture.text(legend_left + 26, y, "", "90 % or more in use");
    picture.box(legend_left + 164, y - 11, 18, 14, R"(rx="3" class="unused")");
    picture.text(legend_left + 190, y, "", "without a level");
}

void draw_head(drawing &picture, const bank_map &map, const std::string &when) {
    usage all;
    int assigned = 0;
    for (const bank_state &bank : map) {
        all.add(bank);
        assigned += bank.level >= 0 ? 1 : 0;
    }
    picture.text(margin, 38, "title", "Banks of node memory");
    picture.text(margin, 62, "",
                 of_nodes(all) + " nodes in use (" + all.percent() + "), " +
                     std::to_string(assigned) + " of " + std::to_string(bank_count) +
                     " banks serve a stride level");
    picture.text(picture_width - margin, 62, "quiet right", when);
}

}    // namespace

std::string bank_map_svg(const bank_map &map, const std::string &when) {
    drawing picture;
    draw_head(picture, map, when);
    for (int id = 0; id < bank_count; ++id) {
        draw_bank(picture, id, map.at(static_cast<size_t>(id)));
    }
    draw_legend(picture, map);
    return picture.document();
}

}    // namespace client
