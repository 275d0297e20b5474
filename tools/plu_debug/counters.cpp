#include "tools/plu_debug/counters.h"

#include <algorithm>
#include <charconv>

namespace client {
namespace {

constexpr char node_line[] = "     node ";

constexpr counter_row rows[] = {
    {"walk", "tbm_nodes", "SUM: ", "tbm nodes: "},
    {"walk", "hint_nodes", "SUM: ", "hint nodes: "},
    {"walk", "ncfm_nodes", "SUM: ", "ncfm_nodes "},
    {"walk", "bank_nodes", "SUM: ", "bank nodes "},
    {"walk", "dumpable_leaves", "dumpable leaf: ", "leaf: "},
    {"walk", "dumpable_nodes", "dumpable leaf: ", "nodes: "},
    {"walk", "nodes_init", node_line, "node ", 0},
    {"walk", "nodes_init_bit9", node_line, "node ", 1},
    {"walk", "nodes_search", node_line, "node ", 2},
    {"walk", "nodes_search_bit9", node_line, "node ", 3},
    {"walk", "nodes_search_end", node_line, "node ", 4},
    {"walk", "nodes_search_end_bit9", node_line, "node ", 5},
    {"walk", "nodes_end", node_line, "node ", 6},
    {"walk", "nodes_end_bit9", node_line, "node ", 7},
    {"walk", "se_leaves_init", "SE   leaf ", "leaf ", 0},
    {"walk", "se_leaves_search", "SE   leaf ", "leaf ", 1},
    {"walk", "se_leaves_search_end", "SE   leaf ", "leaf ", 2},
    {"walk", "se_leaves_end", "SE   leaf ", "leaf ", 3},
    {"walk", "int_leaves_init", "INT  leaf ", "leaf ", 0},
    {"walk", "int_leaves_search", "INT  leaf ", "leaf ", 1},
    {"walk", "int_leaves_search_end", "INT  leaf ", "leaf ", 2},
    {"walk", "int_leaves_end", "INT  leaf ", "leaf ", 3},
    {"walk", "leaf_leaves_init", "LEAF leaf ", "leaf ", 0},
    {"walk", "leaf_leaves_search", "LEAF leaf ", "leaf ", 1},
    {"walk", "leaf_leaves_search_end", "LEAF leaf ", "leaf ", 2},
    {"walk", "leaf_leaves_end", "LEAF leaf ", "leaf ", 3},
    {"walk", "end_leaves_init", "END  leaf ", "leaf ", 0},
    {"walk", "end_leaves_search", "END  leaf ", "leaf ", 1},
    {"walk", "end_leaves_search_end", "END  leaf ", "leaf ", 2},
    {"walk", "end_leaves_end", "END  leaf ", "leaf ", 3},

    {"dump", "plu_shm_init_done", "plu shm init done: ", "done: "},
    {"dump", "plu_profile", "PLU profile: ", "profile: "},
    {"dump", "npu_profile", "NPU profile ", "profile "},
    {"dump", "max_npu", "Max NPU:", "NPU:"},
    {"dump", "bank_node_used", "bank node used: ", "used: "},
    {"dump", "shm_alloc", "  shm_alloc: ", "alloc: "},
    {"dump", "alloc_bytes", " alloc byte: ", "byte: "},
    {"dump", "shm_free", "  shm_free : ", "free : "},
    {"dump", "pool0_size", "0 pool size:", "size:"},
    {"dump", "pool0_alloc", "0 pool size:", "alloc: "},
    {"dump", "pool0_free", "0 pool size:", "free: "},
    {"dump", "pool0_bytes", "0 pool size:", "bytes:"},
    {"dump", "pool1_size", "1 pool size:", "size:"},
    {"dump", "pool1_alloc", "1 pool size:", "alloc: "},
    {"dump", "pool1_free", "1 pool size:", "free: "},
    {"dump", "pool1_bytes", "1 pool size:", "bytes:"},
    {"dump", "pool2_size", "2 pool size:", "size:"},
    {"dump", "pool2_alloc", "2 pool size:", "alloc: "},
    {"dump", "pool2_free", "2 pool size:", "free: "},
    {"dump", "pool2_bytes", "2 pool size:", "bytes:"},
    {"dump", "pool3_size", "3 pool size:", "size:"},
    {"dump", "pool3_alloc", "3 pool size:", "alloc: "},
    {"dump", "pool3_free", "3 pool size:", "free: "},
    {"dump", "pool3_bytes", "3 pool size:", "bytes:"},
    {"dump", "max_bank_nodes_usage", "phu max bank nodes usage: ", "usage: "},
    {"dump", "max_cfm_mask_count", "phu max cfm mask count: ", "count: "},

    {"rootsn", "root_nodes", "tbdb_root->ta_nnodes ", "nnodes "},

    {"hwidxwalk", "hw_index_count", "  hw index count: ", "count: "},
    {"hwidxwalk", "sn_nodes", "         sn node: ", "node: "},
    {"hwidxwalk", "skip_nodes", "       skip node: ", "node: "},
    {"hwidxwalk", "en_nodes", "         en node: ", "node: "},
    {"hwidxwalk", "non_zero_sn_nodes", "non zero sn node: ", "node: ", 0, true},
    {"hwidxwalk", "non_zero_en_nodes", "non zero en node: ", "node: ", 0, true},
    {"hwidxwalk", "read_errors", "      read error: ", "error: ", 0, true},
    {"hwdis", "end_nodes", "total PHU    end nodes: ", "nodes: "},
    {"hwdis", "skip_nodes", "total PHU   skip nodes: ", "nodes: "},
    {"hwdis", "search_nodes", "total PHU search nodes: ", "nodes: "},

    {"cntpfx", "prefixes", "Prefix: ", "Prefix: "},
    {"cntpfx", "internal_count", "Prefix: ", "(internal count "},
    {"cntpfx", "end_count", "Prefix: ", "end count "},
    {"cntpfx", "init_hw_index", "Prefix: ", "INIT hw index ", 0, true},
    {"cntpfx", "hbmap", "Prefix: ", "hbmap "},
    {"cntpfx", "in_sn_ebmap", "Prefix: ", "in sn_ebmap "},
    {"cntpfx", "hwidx", "hwidx ", "hwidx "},
    {"cntpfx", "hwidx_ebmap", "hwidx ", " ebmap "},
    {"cntpfx", "idx_and_ebmap", "hwidx ", "idx+ebmap "},
    {"cntpfx", "ebmap_search", "ebmap s", "ebmap s"},
    {"cntpfx", "ebmap_search_end", "ebmap s", " se"},
    {"cntpfx", "ebmap_end", "ebmap s", " e"},
    {"cntpfx", "hwidx_search", "hwidx search ", "search "},
    {"cntpfx", "hwidx_end", "hwidx search ", "end "},
    {"cntpfx", "hwidx_search_end", "hwidx search ", "search_end "},
    {"cntpfx", "h_ebmap", "h_ebmap ", "h_ebmap "},
    {"cntpfx", "sn_ebmap", "h_ebmap ", " sn_ebmap "},
    {"cntpfx", "sn_and_h_ebmap", "h_ebmap ", "sn and h ebmap "},
    {"cntpfx", "sn_eq_h_ebmap", "h_ebmap ", "sn eq h ebmap "},
    {"cntpfx", "heb_and_ext_mask", "h_ebmap ", "heb and ext_mask "},
    {"cntpfx", "h_eq_int_n_ext", "h_eq_int_n_ext ", "h_eq_int_n_ext "},
    {"cntpfx", "h_neq_int_n_ext", "h_eq_int_n_ext ", "h_neq_int_n_ext ", 0, true},
    {"cntpfx", "ext", "h_eq_int_n_ext ", " ext "},
    {"cntpfx", "inode_match", "internal node prefix mask match ", "hint_mask "},
    {"cntpfx", "inode_not_match", "internal node prefix mask match ", "not match ", 0, true},
    {"cntpfx", "end_nodes_with_prefix", "end node with pfx ", "with pfx "},
    {"cntpfx", "end_nodes_without_prefix", "end node with pfx ", "w/o pfx "},
    {"cntpfx", "end_prefix_eq_hmask", "end node with pfx ", " eq hmask "},
    {"cntpfx", "end_prefix_neq_hmask", "end node with pfx ", " neq ", 0, true},
    {"cntpfx", "init_with_par_bl", " tn in hint state INIT but having par bl larray pointer set",
     nullptr, 0, true},

    {"ckbank", "hw_index_count", "  hw index count: ", "count: "},
    {"ckbank", "invalid_hw_index_count", "  INVALID hw index count: ", "count: ", 0, true},
    {"ckbank", "en_mask_mismatch", "  en mask MISMATCH ", ": ", 0, true},
    {"ckbank", "sn_entry_count", "  sn entry count: ", "count: "},
    {"ckbank", "en_entry_count", "  en entry count: ", "count: "},
    {"ckbank", "skip_entry_count", "  skip entry count: ", "count: "},
    {"ckbmsf", "total_tn_nodes", "  total tn nodes: ", "nodes: "},
    {"ckbmsf", "bmsf_match_non_zero", "  bmsf match non zero: ", "zero: "},
    {"ckbmsf", "bmsf_match_zero", "  bmsf match  zero: ", "zero: "},
    {"ckbmsf", "bmsf_mismatch", "  bmsf MISMATCH: ", "MISMATCH: ", 0, true},
    {"ckhmask", "inode_child_match", "  inode+child match: ", "match: "},
    {"ckhmask", "inode_child_mismatch", "  inode+child MISMATCH: ", "MISMATCH: ", 0, true},
    {"ckhmask", "int_ext_ebmap_match", "  int+ext+ebmap match: ", "match: "},
    {"ckhmask", "int_ext_ebmap_mismatch", "  int+ext+ebmap MISMATCH: ", "MISMATCH: ", 0, true},
    {"ckhmask", "inode_parent_match", "  inode & parent int mask match: ", "match: "},
    {"ckhmask", "inode_parent_mismatch", "  inode & parent int mask MISMATCH: ", "MISMATCH: ", 0,
     true},
    {"ckhmask", "inode_pfx_not_in_hint", "  inode pfx not in hint_mask: ", "mask: ", 0, true},
    {"ckparbl", "tn_nodes", "  tn nodes: ", "nodes: "},
    {"ckparbl", "tn_end_nodes", "  tn end nodes: ", "nodes: "},
    {"ckparbl", "search_nodes", "  search nodes: ", "nodes: "},
    {"ckparbl", "valid_par_bl", "  valid par bl: ", "bl: "},
    {"ckparbl", "invalid_par_bl", "  INVALID par bl: ", "bl: ", 0, true},
    {"ckparbl", "invalid_end_par_bl", "  INVALID end par bl: ", "bl: ", 0, true},
    {"ckparbl", "invalid_offset", "  INVALID offset: ", "offset: ", 0, true},
    {"ckparbl", "unknown_tn_nodes", "  unknown tn nodes: ", "nodes: ", 0, true},
    {"ckparbl", "la_high_water_mark", "  la_high_water_mark: ", "mark: "},
    {"cklkup", "total_prefix", "  total        prefix: ", "prefix: "},
    {"cklkup", "prefix_match", "  prefix        match: ", "match: "},
    {"cklkup", "prefix_longer_match", "  prefix longer match: ", "match: "},
    {"cklkup", "prefix_no_match", "  prefix     no match: ", "match: "},
    {"cklkup", "lf_lookup_mismatch", "  lf lookup MISMATCH: ", "MISMATCH: ", 0, true},
    {"cklkuphw", "total_prefix", "total        prefix: ", "prefix: "},
    {"cklkuphw", "prefix_match", "prefix        match: ", "match: "},
    {"cklkuphw", "prefix_longer_match", "prefix longer match: ", "match: "},
    {"cklkuphw", "prefix_no_match", "prefix     no match: ", "match: "},
};

constexpr std::string_view checks_of_ckall[] = {"ckbank", "ckbmsf", "ckhmask", "ckparbl", "cklkup"};

bool parse_leading(std::string_view text, int64_t &number) {
    const size_t start = text.find_first_not_of(" /");
    if (start == std::string_view::npos) {
        return false;
    }
    const char *end = text.data() + text.size();
    return std::from_chars(text.data() + start, end, number).ec == std::errc();
}

}    // namespace

std::span<const counter_row> all_counters() {
    return rows;
}

bool has_counter(std::string_view command, const counter_row &row) {
    return command == row.command ||
           (command == "ckall" && std::find(std::begin(checks_of_ckall), std::end(checks_of_ckall),
                                            row.command) != std::end(checks_of_ckall));
}

bool read_counter(const counter_row &row, std::string_view line, int64_t &number) {
    if (row.label == nullptr) {
        return line.ends_with(row.line) && parse_leading(line, number);
    }
    if (!line.starts_with(row.line)) {
        return false;
    }
    const std::string_view label = row.label;
    const size_t place = line.find(label);
    if (place == std::string_view::npos) {
        return false;
    }
    std::string_view rest = line.substr(place + label.size());
    for (int skip = row.index; skip > 0; --skip) {
        const size_t digit = rest.find_first_of("0123456789");
        const size_t after = rest.find_first_not_of("0123456789", digit);
        if (digit == std::string_view::npos || after == std::string_view::npos) {
            return false;
        }
        rest.remove_prefix(after);
    }
    return parse_leading(rest, number);
}

}    // namespace client
