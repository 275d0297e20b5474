#include "client/words/commands.h"

#include "records/command_texts.h"

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

consteval command row(const char *name, const char *meaning, family prefix, int required,
                      const slots &numbers, std::span<const keyword> words, bool changes_state,
                      bool example_without_address = false) {
    const plu_command_text &text = plu_command_text_of(name);
    return {text.name, text.help,     meaning,
            prefix,    required,      numbers,
            words,     changes_state, example_without_address};
}

constexpr command rows[] = {
    row("dump", "shows the shared contexts and pools", family::none, 0, no_numbers, no_words,
        false),
    row("ckall", "runs ckbmsf, ckbank, ckhmask, ckparbl and cklkup", family::none, 0, ckall_numbers,
        ckall_words, false),
    row("walk", "counts the tree; lists its leaves, its prefixes or its hardware nodes",
        family::none, 0, walk_numbers, walk_words, false),
    row("rootsn", "lists the search nodes of the root table", family::none, 0, no_numbers, no_words,
        false),
    row("banksum", "shows how full the banks are and which stride level has which", family::none, 0,
        no_numbers, no_words, false),
    row("bankbitmap", "shows which nodes of a bank are in use, or one of its nodes", family::none,
        1, bitmap_numbers, bitmap_words, false),
    row("hwidxr", "shows one hardware node and its relatives", family::none, 1, hwidxr_numbers,
        hwidxr_words, false),
    row("hwidxwalk", "counts the hardware nodes; dumps them, or names nodes with stale copies",
        family::none, 0, hwidxwalk_numbers, hwidxwalk_words, false),
    row("hwdis", "shows how many prefix lengths the end nodes carry", family::none, 0, no_numbers,
        no_words, false),
    row("regr32", "reads a 32-bit register", family::none, 1, regr32_numbers, read_register_words,
        false),
    row("regw32", "writes a 32-bit register", family::none, 2, regw32_numbers, write_register_words,
        true),
    row("memr", "dumps shared memory", family::none, 2, memr_numbers, force_a3_words, false),
    row("memw8", "writes one byte of shared memory", family::none, 2, memw8_numbers, force_a3_words,
        true),
    row("memw32", "writes four bytes of shared memory", family::none, 2, memw32_numbers,
        force_a3_words, true),
    row("v4", "searches the software tree and verifies its hints", family::v4, 2, v4_search,
        search_v4_words, false),
    row("v4hw", "follows the hardware nodes as the chip does", family::v4, 2, v4_numbers,
        vrf_v4_words, false),
    row("cklkupv4", "compares the two lookup paths for one prefix", family::v4, 0, v4_numbers,
        vrf_v4_words, false, true),
    row("v6", "searches the software tree and verifies its hints", family::v6, 3, v6_numbers,
        vrf_v6_words, false),
    row("v6hw", "follows the hardware nodes as the chip does", family::v6, 3, v6_numbers,
        vrf_v6_words, false),
    row("cklkupv6", "compares the two lookup paths for one prefix", family::v6, 3, v6_numbers,
        vrf_v6_words, false),
    row("addv4", "adds a prefix to the table", family::v4, 2, v4_numbers, vrf_v4_words, true),
    row("delv4", "deletes a prefix from the table", family::v4, 2, v4_numbers, vrf_v4_words, true),
    row("addv6", "adds a prefix to the table", family::v6, 3, v6_numbers, vrf_v6_words, true),
    row("delv6", "deletes a prefix from the table", family::v6, 3, v6_numbers, vrf_v6_words, true),
    row("tn", "shows one tree node", family::none, 1, tn_numbers, tn_words, false),
    row("tnwalk", "shows a tree node and all below it", family::none, 1, tnwalk_numbers,
        tnwalk_words, false),
    row("tnbl", "shows each child of a node with the longest leaf over it", family::none, 1,
        start_numbers, no_words, false),
    row("cntpfx", "counts prefixes and hints in the tree", family::none, 0, start_numbers,
        from_words, false),
    row("setbmsf", "overwrites the bmsf of a search node", family::none, 2, setbmsf_numbers,
        no_words, true),
    row("ckbmsf", "checks the bmsf of every node", family::none, 0, no_numbers, no_words, false),
    row("ckbank", "checks the bank accounts and the hardware nodes of every tree node",
        family::none, 0, detail_numbers, detail_words, false),
    row("ckhmask", "checks the hint mask of every node", family::none, 0, start_numbers, from_words,
        false),
    row("cklkup", "looks every prefix up through tree search and exact match", family::none, 0,
        lookup_numbers, lookup_words, false),
    row("cklkuphw", "looks every prefix up through hardware nodes and exact match", family::none, 0,
        lookup_numbers, lookup_words, false),
    row("ckparbl", "checks every reference to a parent's leaf", family::none, 0, no_numbers,
        no_words, false),
    row("showla", "lists the prefixes of a leaf array", family::none, 1, showla_numbers,
        force_a2_words, false),
};
static_assert(std::size(rows) == std::size(plu_command_texts));

}    // namespace

std::span<const command> all_commands() {
    return rows;
}

}    // namespace client
