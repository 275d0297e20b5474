#include "tools/plu_debug/commands.h"

#include <strings.h>

#include <algorithm>

namespace client {
namespace {

constexpr uint64_t max_vrf = 65535;
constexpr uint64_t max_detail = 3;
constexpr uint64_t max_npu = 10;
constexpr uint64_t max_node_id = 4095;

constexpr keyword search_v4_words[] = {{"vrf", "N", 2, 1, max_vrf},
                                       {"detail", "N", 1, 1000, max_detail}};
constexpr keyword vrf_v4_words[] = {{"vrf", "N", 2, 1, max_vrf}};
constexpr keyword vrf_v6_words[] = {{"vrf", "N", 2, 1000, max_vrf}};
constexpr keyword walk_words[] = {{"leaves", nullptr, 0, 1, 0, true},
                                  {"record", nullptr, 0, 11, 0, true},
                                  {"nodes", nullptr, 1, 1}};
constexpr keyword ckall_words[] = {{"detail", nullptr, 0, 1}, {"verbose", nullptr, 1, 1}};
constexpr keyword detail_words[] = {{"detail", nullptr, 0, 1}};
constexpr keyword bitmap_words[] = {{"node", "N", 1, 1, max_node_id, true, true}};
constexpr keyword hwidxr_words[] = {{"parent", nullptr, 1, 10}, {"children", nullptr, 1, 1}};
constexpr keyword hwidxwalk_words[] = {
    {"dump", nullptr, 0, 11, 0, true}, {"stale", nullptr, 0, 1, 0, true}, {"from", "NODE", 1, 1}};
constexpr keyword read_register_words[] = {{"npu", "N", 1, 1, max_npu}};
constexpr keyword write_register_words[] = {{"npu", "N", 2, 1, max_npu}};
constexpr keyword force_a3_words[] = {{"force", nullptr, 2, 1}};
constexpr keyword force_a2_words[] = {{"force", nullptr, 1, 1}};
constexpr keyword from_words[] = {{"from", "NODE", 0, 1}};
constexpr keyword lookup_words[] = {{"from", "NODE", 0, 1}, {"verbose", nullptr, 1, 1}};
constexpr keyword tn_words[] = {{"parent", nullptr, 1, 1},
                                {"prefixes", nullptr, 1, 2},
                                {"chain", nullptr, 1, 4},
                                {"children", nullptr, 1, 8},
                                {"leaves", nullptr, 2, 11}};
constexpr keyword tnwalk_words[] = {{"leaves", nullptr, 1, 11}};

using names = std::array<const char *, 3>;
constexpr names v4_search = {"ADDRESS", "1000*DETAIL+LENGTH", "VRF"};
constexpr names v4_numbers = {"ADDRESS", "LENGTH", "VRF"};
constexpr names v6_numbers = {"HIGH", "LOW", "1000*VRF+LENGTH"};
constexpr std::span<const keyword> no_words;

constexpr command rows[] = {
    {"dump", "dump ", family::none, {}, 0, no_words, false, "shows the shared contexts and pools"},
    {"ckall",
     "invoke all but hw lookup checking",
     family::none,
     {"DETAIL", "VERBOSE"},
     0,
     ckall_words,
     false,
     "runs ckbank, ckbmsf, ckhmask, ckparbl and cklkup"},
    {"walk",
     "walk tbm tree and dump: val1:1 dump leaf, 11 recording, val2: 1 dump phu node ",
     family::none,
     {"LEAF-MODE", "NODE-MODE"},
     0,
     walk_words,
     false,
     "counts the tree; lists its leaves, records its prefixes, lists its hardware nodes"},
    {"rootsn",
     "show root tbm search node address",
     family::none,
     {},
     0,
     no_words,
     false,
     "lists the search nodes of the root table"},
    {"banksum",
     "show summary of bank usage",
     family::none,
     {},
     0,
     no_words,
     false,
     "shows how full the banks are and which stride level has which"},
    {"bankbitmap",
     "bank id, show specified bank bitmap, [item # for hint node data]",
     family::none,
     {"BANK", "NODE", "ALLOW-0"},
     1,
     bitmap_words,
     false,
     "shows which nodes of a bank are in use, or one of its nodes"},
    {"hwidxr",
     "read hw index, hw idx,  1: show children 10:show parent 11:show both",
     family::none,
     {"INDEX", "OPTION"},
     1,
     hwidxr_words,
     false,
     "shows one hardware node and its relatives"},
    {"hwidxwalk",
     "walk hw index, count en/sn nodes, 11 to dump hwindex + 17B hw nodes",
     family::none,
     {"MODE", "NODE"},
     0,
     hwidxwalk_words,
     false,
     "counts the hardware nodes; dumps them, or names nodes with stale copies"},
    {"hwdis",
     "walk all hwidx, show en node distribution",
     family::none,
     {},
     0,
     no_words,
     false,
     "shows how many prefix lengths the end nodes carry"},
    {"regr32",
     "read plu reg, offset, npu (offset:HintEn 0x40e0, profile 0xfa8)",
     family::none,
     {"OFFSET", "NPU"},
     1,
     read_register_words,
     false,
     "reads a 32-bit register"},
    {"regw32",
     "write plu reg, offset, value, npu",
     family::none,
     {"OFFSET", "VALUE", "NPU"},
     2,
     write_register_words,
     true,
     "writes a 32-bit register"},
    {"memr",
     "read addr, size",
     family::none,
     {"ADDR", "SIZE", "FORCE"},
     2,
     force_a3_words,
     false,
     "dumps shared memory"},
    {"memw8",
     "write addr, 8 bits value",
     family::none,
     {"ADDR", "VALUE", "FORCE"},
     2,
     force_a3_words,
     true,
     "writes one byte of shared memory"},
    {"memw32",
     "write addr, 32 bits value",
     family::none,
     {"ADDR", "VALUE", "FORCE"},
     2,
     force_a3_words,
     true,
     "writes four bytes of shared memory"},
    {"v4", "search v4 pfx thr tbm: pfx in hex, mask length (1000X detailed level, vrf", family::v4,
     v4_search, 2, search_v4_words, false, "searches the software tree and verifies its hints"},
    {"v4hw", "search v4 pfx thr phu nodes: prefix, mask len, vrf ", family::v4, v4_numbers, 2,
     vrf_v4_words, false, "follows the hardware nodes as the chip does"},
    {"cklkupv4", "check plu and phu lookups with specific v4 prefix, mask, vrf", family::v4,
     v4_numbers, 0, vrf_v4_words, false, "compares the two lookup paths for one prefix"},
    {"v6", "search v6 pfx thr tbm: pfx_high, pfx_low, mask length + 1000 X vrf", family::v6,
     v6_numbers, 3, vrf_v6_words, false, "searches the software tree and verifies its hints"},
    {"v6hw", "search v6 pfx thr phu nodes: pfx h, pfx low, mask len + 1000 X vrf ", family::v6,
     v6_numbers, 3, vrf_v6_words, false, "follows the hardware nodes as the chip does"},
    {"cklkupv6", "check plu/phu lkups, v6 pfx high, pfx low, 1000 x vrf+masklen", family::v6,
     v6_numbers, 3, vrf_v6_words, false, "compares the two lookup paths for one prefix"},
    {"addv4", "add v4 pfx: pfx in hex, mask length (1000X detailed level, vrf", family::v4,
     v4_numbers, 2, vrf_v4_words, true, "adds a prefix to the table"},
    {"delv4", "del v4 pfx: pfx in hex, mask length (1000X detailed level, vrf", family::v4,
     v4_numbers, 2, vrf_v4_words, true, "deletes a prefix from the table"},
    {"addv6", "add v6 pfx: pfx high, low, mask + 1000x vrf", family::v6, v6_numbers, 3,
     vrf_v6_words, true, "adds a prefix to the table"},
    {"delv6", "del pfx: pfx high, low, mask + 1000x vrf", family::v6, v6_numbers, 3, vrf_v6_words,
     true, "deletes a prefix from the table"},
    {"tn",
     "dump tn: tn addr, 1: parent tn 2: inode pfx, 4: parent tn chain 8: full child tn ",
     family::none,
     {"NODE", "OPTIONS", "MODE"},
     1,
     tn_words,
     false,
     "shows one tree node"},
    {"tnwalk",
     "dump tree nodes start from tn, tn addr  ",
     family::none,
     {"NODE", "MODE"},
     1,
     tnwalk_words,
     false,
     "shows a tree node and all below it"},
    {"tnbl",
     "dump tn bl for child: tn addr  ",
     family::none,
     {"NODE"},
     1,
     no_words,
     false,
     "shows each child of a node with the longest leaf over it"},
    {"cntpfx",
     "walk tn tree inode to count prefix, optional start from a tn ",
     family::none,
     {"NODE"},
     0,
     from_words,
     false,
     "counts prefixes and hints in the tree"},
    {"setbmsf",
     "set bmsf of a tn, tn address, bmsf value",
     family::none,
     {"NODE", "BMSF"},
     2,
     no_words,
     true,
     "overwrites the bmsf of a search node"},
    {"ckbmsf",
     "walk through tn tree and verfiy bmsf value for each tn node",
     family::none,
     {},
     0,
     no_words,
     false,
     "checks the bmsf of every node"},
    {"ckbank",
     "walk through bank and tn tree, check usage and hw-index, 1 for detailed output",
     family::none,
     {"DETAIL"},
     0,
     detail_words,
     false,
     "checks the bank accounts and the hardware nodes of every tree node"},
    {"ckhmask",
     "walk though tn tree, verify hint mask value for each tn",
     family::none,
     {"NODE"},
     0,
     from_words,
     false,
     "checks the hint mask of every node"},
    {"cklkup",
     "lookup all prefix from phu + plu",
     family::none,
     {"NODE", "VERBOSE"},
     0,
     lookup_words,
     false,
     "looks every prefix up through tree search and exact match"},
    {"cklkuphw",
     "lookup all prefix from phu hw + plu",
     family::none,
     {"NODE", "VERBOSE"},
     0,
     lookup_words,
     false,
     "looks every prefix up through hardware nodes and exact match"},
    {"ckparbl",
     "walk tn tree to check all bar bl values",
     family::none,
     {},
     0,
     no_words,
     false,
     "checks every reference to a parent's leaf"},
    {"showla",
     "show all leafs in a leaf array, hex addr of leaf array",
     family::none,
     {"LEAF-ARRAY", "FORCE"},
     1,
     force_a2_words,
     false,
     "lists the prefixes of a leaf array"},
};
static_assert(std::size(rows) == 36);

std::string keyword_form(const command &row) {
    std::string text;
    for (const keyword &word : row.keywords) {
        text += std::string(" [") + word.name + (word.value == nullptr ? "" : " ") +
                (word.value == nullptr ? "" : word.value) + ']';
    }
    return text;
}

std::string without_leading_blank(std::string text) {
    return text.starts_with(' ') ? text.substr(1) : text;
}

}    // namespace

std::span<const command> all_commands() {
    return rows;
}

bool same_word(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

const command *find_command(std::string_view name) {
    const auto *row = std::find_if(std::begin(rows), std::end(rows), [&](const command &candidate) {
        return same_word(candidate.name, name);
    });
    return row == std::end(rows) ? nullptr : row;
}

std::string natural_form(const command &row) {
    std::string text;
    if (row.prefix != family::none) {
        text = row.required > 0 ? " PREFIX" : " [PREFIX]";
    } else {
        for (size_t i = 0; i < static_cast<size_t>(row.required); ++i) {
            text += std::string(" ") + row.numbers.at(i);
        }
    }
    return without_leading_blank(text + keyword_form(row));
}

std::string number_form(const command &row) {
    std::string text;
    for (size_t i = 0; i < row.numbers.size() && row.numbers.at(i) != nullptr; ++i) {
        const bool optional = i >= static_cast<size_t>(row.required);
        text += std::string(optional ? " [" : " ") + row.numbers.at(i) + (optional ? "]" : "");
    }
    return without_leading_blank(text);
}

}    // namespace client
