#include "client/words/commands.h"

namespace client {
namespace {

constexpr uint64_t max_vrf = 65535;
constexpr uint64_t max_detail = 3;
constexpr uint64_t max_npu = 10;
constexpr uint64_t max_node_id = 4095;
constexpr uint64_t v4_bits = 32;
constexpr uint64_t v6_bits = 128;

// The slots of a request.
constexpr int a1 = 0;
constexpr int a2 = 1;
constexpr int a3 = 2;

constexpr keyword valued_word(const char *name, const char *value, int slot, uint64_t weight,
                              const char *meaning, uint64_t max = UINT64_MAX) {
    return {name, value, weight, max, slot, company::any, false, meaning};
}

constexpr keyword bare_word(const char *name, int slot, uint64_t weight, const char *meaning) {
    return {name, nullptr, weight, 1, slot, company::any, false, meaning};
}

// A bare word that no other word of its slot goes with.
constexpr keyword lone_word(const char *name, int slot, uint64_t weight, const char *meaning,
                            company with = company::other_slots) {
    return {name, nullptr, weight, 1, slot, with, false, meaning};
}

// Without a3 the process takes node 0 for none.
constexpr keyword node_word{
    "node", "N", 1, max_node_id, a2, company::other_slots, true, "one node of the bank"};

constexpr const char *which_vrf = "the VRF, 0 without it";
constexpr const char *start_node = "only a tree node and what is below it";
constexpr const char *anywhere = "also outside of the shared memory";

constexpr keyword search_v4_words[] = {
    valued_word("vrf", "N", a3, 1, which_vrf, max_vrf),
    valued_word("detail", "N", a2, 1000, "how much of each node is shown", max_detail)};
constexpr keyword vrf_v4_words[] = {valued_word("vrf", "N", a3, 1, which_vrf, max_vrf)};
constexpr keyword vrf_v6_words[] = {valued_word("vrf", "N", a3, 1000, which_vrf, max_vrf)};
constexpr keyword walk_words[] = {lone_word("leaves", a1, 1, "lists every leaf with its place"),
                                  lone_word("record", a1, 11, "lists all prefixes, as a recording"),
                                  bare_word("nodes", a2, 1, "lists the hardware nodes")};
constexpr keyword ckall_words[] = {bare_word("detail", a1, 1, "ckbank with its tables"),
                                   bare_word("verbose", a2, 1, "cklkup with every single lookup")};
constexpr keyword detail_words[] = {
    bare_word("detail", a1, 1, "also the tables and the distribution of masks")};
constexpr keyword bitmap_words[] = {node_word};
constexpr keyword hwidxr_words[] = {bare_word("parent", a2, 10, "also its parent"),
                                    bare_word("children", a2, 1, "also its children")};
constexpr keyword hwidxwalk_words[] = {
    lone_word("dump", a1, 11, "every hardware node's index and bytes"),
    lone_word("stale", a1, 1, "names nodes without an index whose copies are not empty"),
    valued_word("from", "NODE", a2, 1, start_node)};
constexpr keyword read_register_words[] = {
    valued_word("npu", "N", a2, 1, "the NPU that is read, 0 without it", max_npu)};
constexpr keyword write_register_words[] = {
    valued_word("npu", "N", a3, 1, "the NPU that is written, 0 without it", max_npu)};
constexpr keyword force_a3_words[] = {bare_word("force", a3, 1, anywhere)};
constexpr keyword force_a2_words[] = {bare_word("force", a2, 1, "also when no node owns it")};
constexpr keyword from_words[] = {valued_word("from", "NODE", a1, 1, start_node)};
constexpr keyword lookup_words[] = {valued_word("from", "NODE", a1, 1, start_node),
                                    bare_word("verbose", a2, 1, "shows every single lookup")};
constexpr keyword tn_words[] = {
    bare_word("parent", a2, 1, "also names its parent"),
    bare_word("prefixes", a2, 2, "also those of its internal node"),
    bare_word("chain", a2, 4, "also all nodes above it"),
    bare_word("children", a2, 8, "all children, not the first five alone"),
    lone_word("leaves", a3, 11, "nothing but its leaves", company::nobody)};
constexpr keyword tnwalk_words[] = {bare_word("leaves", a2, 11, "nothing but the leaves")};

constexpr number_slot v4_address{"ADDRESS", UINT32_MAX};
constexpr number_slot v4_vrf{"VRF", max_vrf};
constexpr number_slot tree_node{"NODE"};
constexpr number_slot memory_address{"ADDR"};
constexpr number_slot bypass{"FORCE"};
constexpr number_slot verbose{"VERBOSE"};
constexpr number_slot npu{"NPU", max_npu};
constexpr number_slot register_offset{"OFFSET", UINT16_MAX};

using slots = std::array<number_slot, 3>;
constexpr slots no_numbers;
constexpr slots v4_search{{v4_address, {"1000*DETAIL+LENGTH", max_detail, v4_bits}, v4_vrf}};
constexpr slots v4_numbers{{v4_address, {"LENGTH", v4_bits}, v4_vrf}};
constexpr slots v6_numbers{{{"HIGH"}, {"LOW"}, {"1000*VRF+LENGTH", max_vrf, v6_bits}}};
constexpr slots ckall_numbers{{{"DETAIL"}, verbose}};
constexpr slots walk_numbers{{{"LEAF-MODE"}, {"NODE-MODE"}}};
constexpr slots bitmap_numbers{{{"BANK"}, {"NODE", max_node_id}, {"ALLOW-0"}}};
constexpr slots hwidxr_numbers{{{"INDEX", UINT32_MAX}, {"OPTION"}}};
constexpr slots hwidxwalk_numbers{{{"MODE"}, tree_node}};
constexpr slots regr32_numbers{{register_offset, npu}};
constexpr slots regw32_numbers{{register_offset, {"VALUE", UINT32_MAX}, npu}};
constexpr slots memr_numbers{{memory_address, {"SIZE"}, bypass}};
constexpr slots memw8_numbers{{memory_address, {"VALUE", UINT8_MAX}, bypass}};
constexpr slots memw32_numbers{{memory_address, {"VALUE", UINT32_MAX}, bypass}};
constexpr slots tn_numbers{{tree_node, {"OPTIONS"}, {"MODE"}}};
constexpr slots tnwalk_numbers{{tree_node, {"MODE"}}};
constexpr slots start_numbers{{tree_node}};
constexpr slots setbmsf_numbers{{tree_node, {"BMSF", UINT8_MAX}}};
constexpr slots detail_numbers{{{"DETAIL"}}};
constexpr slots lookup_numbers{{tree_node, verbose}};
constexpr slots showla_numbers{{{"LEAF-ARRAY"}, bypass}};
constexpr std::span<const keyword> no_words;

constexpr command rows[] = {
    {"dump", "dump ", "shows the shared contexts and pools", family::none, 0, no_numbers, no_words,
     false},
    {"ckall", "invoke all but hw lookup checking",
     "runs ckbmsf, ckbank, ckhmask, ckparbl and cklkup", family::none, 0, ckall_numbers,
     ckall_words, false},
    {"walk", "walk tbm tree and dump: val1:1 dump leaf, 11 recording, val2: 1 dump phu node ",
     "counts the tree; lists its leaves, its prefixes or its hardware nodes", family::none, 0,
     walk_numbers, walk_words, false},
    {"rootsn", "show root tbm search node address", "lists the search nodes of the root table",
     family::none, 0, no_numbers, no_words, false},
    {"banksum", "show summary of bank usage",
     "shows how full the banks are and which stride level has which", family::none, 0, no_numbers,
     no_words, false},
    {"bankbitmap", "bank id, show specified bank bitmap, [item # for hint node data]",
     "shows which nodes of a bank are in use, or one of its nodes", family::none, 1, bitmap_numbers,
     bitmap_words, false},
    {"hwidxr", "read hw index, hw idx,  1: show children 10:show parent 11:show both",
     "shows one hardware node and its relatives", family::none, 1, hwidxr_numbers, hwidxr_words,
     false},
    {"hwidxwalk", "walk hw index, count en/sn nodes, 11 to dump hwindex + 17B hw nodes",
     "counts the hardware nodes; dumps them, or names nodes with stale copies", family::none, 0,
     hwidxwalk_numbers, hwidxwalk_words, false},
    {"hwdis", "walk all hwidx, show en node distribution",
     "shows how many prefix lengths the end nodes carry", family::none, 0, no_numbers, no_words,
     false},
    {"regr32", "read plu reg, offset, npu (offset:HintEn 0x40e0, profile 0xfa8)",
     "reads a 32-bit register", family::none, 1, regr32_numbers, read_register_words, false},
    {"regw32", "write plu reg, offset, value, npu", "writes a 32-bit register", family::none, 2,
     regw32_numbers, write_register_words, true},
    {"memr", "read addr, size", "dumps shared memory", family::none, 2, memr_numbers,
     force_a3_words, false},
    {"memw8", "write addr, 8 bits value", "writes one byte of shared memory", family::none, 2,
     memw8_numbers, force_a3_words, true},
    {"memw32", "write addr, 32 bits value", "writes four bytes of shared memory", family::none, 2,
     memw32_numbers, force_a3_words, true},
    {"v4", "search v4 pfx thr tbm: pfx in hex, mask length (1000X detailed level, vrf",
     "searches the software tree and verifies its hints", family::v4, 2, v4_search, search_v4_words,
     false},
    {"v4hw", "search v4 pfx thr phu nodes: prefix, mask len, vrf ",
     "follows the hardware nodes as the chip does", family::v4, 2, v4_numbers, vrf_v4_words, false},
    {"cklkupv4", "check plu and phu lookups with specific v4 prefix, mask, vrf",
     "compares the two lookup paths for one prefix", family::v4, 0, v4_numbers, vrf_v4_words, false,
     true},
    {"v6", "search v6 pfx thr tbm: pfx_high, pfx_low, mask length + 1000 X vrf",
     "searches the software tree and verifies its hints", family::v6, 3, v6_numbers, vrf_v6_words,
     false},
    {"v6hw", "search v6 pfx thr phu nodes: pfx h, pfx low, mask len + 1000 X vrf ",
     "follows the hardware nodes as the chip does", family::v6, 3, v6_numbers, vrf_v6_words, false},
    {"cklkupv6", "check plu/phu lkups, v6 pfx high, pfx low, 1000 x vrf+masklen",
     "compares the two lookup paths for one prefix", family::v6, 3, v6_numbers, vrf_v6_words,
     false},
    {"addv4", "add v4 pfx: pfx in hex, mask length (1000X detailed level, vrf",
     "adds a prefix to the table", family::v4, 2, v4_numbers, vrf_v4_words, true},
    {"delv4", "del v4 pfx: pfx in hex, mask length (1000X detailed level, vrf",
     "deletes a prefix from the table", family::v4, 2, v4_numbers, vrf_v4_words, true},
    {"addv6", "add v6 pfx: pfx high, low, mask + 1000x vrf", "adds a prefix to the table",
     family::v6, 3, v6_numbers, vrf_v6_words, true},
    {"delv6", "del pfx: pfx high, low, mask + 1000x vrf", "deletes a prefix from the table",
     family::v6, 3, v6_numbers, vrf_v6_words, true},
    {"tn", "dump tn: tn addr, 1: parent tn 2: inode pfx, 4: parent tn chain 8: full child tn ",
     "shows one tree node", family::none, 1, tn_numbers, tn_words, false},
    {"tnwalk", "dump tree nodes start from tn, tn addr  ", "shows a tree node and all below it",
     family::none, 1, tnwalk_numbers, tnwalk_words, false},
    {"tnbl", "dump tn bl for child: tn addr  ",
     "shows each child of a node with the longest leaf over it", family::none, 1, start_numbers,
     no_words, false},
    {"cntpfx", "walk tn tree inode to count prefix, optional start from a tn ",
     "counts prefixes and hints in the tree", family::none, 0, start_numbers, from_words, false},
    {"setbmsf", "set bmsf of a tn, tn address, bmsf value", "overwrites the bmsf of a search node",
     family::none, 2, setbmsf_numbers, no_words, true},
    {"ckbmsf", "walk through tn tree and verfiy bmsf value for each tn node",
     "checks the bmsf of every node", family::none, 0, no_numbers, no_words, false},
    {"ckbank", "walk through bank and tn tree, check usage and hw-index, 1 for detailed output",
     "checks the bank accounts and the hardware nodes of every tree node", family::none, 0,
     detail_numbers, detail_words, false},
    {"ckhmask", "walk though tn tree, verify hint mask value for each tn",
     "checks the hint mask of every node", family::none, 0, start_numbers, from_words, false},
    {"cklkup", "lookup all prefix from phu + plu",
     "looks every prefix up through tree search and exact match", family::none, 0, lookup_numbers,
     lookup_words, false},
    {"cklkuphw", "lookup all prefix from phu hw + plu",
     "looks every prefix up through hardware nodes and exact match", family::none, 0,
     lookup_numbers, lookup_words, false},
    {"ckparbl", "walk tn tree to check all bar bl values",
     "checks every reference to a parent's leaf", family::none, 0, no_numbers, no_words, false},
    {"showla", "show all leafs in a leaf array, hex addr of leaf array",
     "lists the prefixes of a leaf array", family::none, 1, showla_numbers, force_a2_words, false},
};
static_assert(std::size(rows) == 36);

}    // namespace

std::span<const command> all_commands() {
    return rows;
}

}    // namespace client
