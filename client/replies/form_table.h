// The table of forms: every line that the process can send.
//
// "[NAME...]" names the commands that send what follows, "*" any. Then a line each: what the line
// means, the form's name (unique, or shared by forms of one kind), where its fields go in a typed
// answer, and its text. Names and places that nobody asks for are left out: a summary's numbers are
// counters, findings and refusals go to arrays of their own. A place "a" is an object, "a[]" a new
// element of an array, "a[].b" below the latest element, "." the answer itself; '*' marks the array
// of a reply that may be long.
#pragma once

#include <string_view>

namespace client {

inline constexpr std::string_view form_table =
    R"forms(# The lines of the longest replies come first.
[walk]
data prefix *prefixes[] "A %s{-} %s{prefix} %d{vrf} #"
data leaf *leaves[] "-%02d{depth} [T:%04d{nodes},#%04d{leaves},h:%04d{hinted}] %s{node_kind} %-25s{path:key} tbm: %-45s{prefix}  [P: %*{above:numbers|%d }]"
[tn tnwalk]
data leaf *nodes[].leaf_arrays[].leaves[] "  %s{prefix}"
[showla]
data leaf *leaves[] "  %s{prefix}"
[v4 v6]
data leaf path[].leaves[] "  %s{prefix}"
[hwidxwalk]
data hardware_bytes *nodes[] "0x%08x{hw_index} %*{bytes:bytes|%02x}"
[walk]
data search_node *nodes[] "SN: hwindex 0x%08x{hw_index} tbm:%d{node} me:%d{match_end} bmsf:%d{bmsf} child ptr 0x%04x{pointer} 0x%016lx{bitmap}"
data end_node *nodes[] "EN: hwindex 0x%08x{hw_index} bmap: 0x%016lx{mask_high} 0x%016lx{mask_low} tbm:%d{node}"
[cklkuphw]
data lookup *lookups[] "tn %p{node} pfx 0x%08x{address}/%d{length}"
data lookup_step *lookups[].tried[] "plu lookup v2: mask len %d{length}, rc 0x%x{rc}"
[cklkup ckall]
data lookup_step *lookups[].tried[] "plu lookup results: mask len %d{length}, rc 0x%x{rc}"
data lookup_answer *lookups[] "phu_search() results: leaf %p{leaf} mask len %d{key_bits}  prefix %s{prefix} (exp:%d{expected})"
data lookup_hint *lookups[]. "    hw index 0x%08x{hw_index} hint mask 0x%016lx{lengths:mask_left} 0x%016lx{+}"
data lookup_start *lookups[]. "plu lookup start mask len: %d{first_length}"
[cklkuphw]
data hardware_lookup *lookups[].hardware "phu lkup: mask len %d{key_bits} (exp:%d{expected}) prefix 0x%08x{address} hint mask 0x%016lx{mask_high} 0x%016lx{mask_low}"

# Before and instead of any reply.
[*]
progress contexts contexts " plu_shm_ctx %p{plu_shm_ctx}"
progress contexts contexts " phu_shm_ctx %p{phu_shm_ctx}"
[-h -help]
data command commands[] "%-14s{name:word}  %s{help:text}"
[*]
progress library_missing loading[] "dlopen() failed for %s{library} "
progress symbol_missing loading[] "failed to find %s{symbol} from dll"
progress function_missing loading[] "failed to load %s{symbol}"
refusal functions_missing "failed to load phu functions"
refusal no_handler "no handler for %s{name:text}"
refusal plu_not_ready "plu shm ctx not ready"
refusal phu_not_ready "phu shm ctx not ready"
refusal no_context "plu ctx is NULL"
refusal no_tree "NULL tbm_handle"
refusal invalid_node "invalid tn addr: 0x%lx{address:address}"
refusal not_loaded "%s{function} not loaded"
refusal not_writable "address 0x%lx{address:address} is not writable"
unreadable not_readable "address 0x%lx{address:address} is not readable"
finding more_not_readable "%d{count} further addresses are not readable"
finding tree_too_deep "tree deeper than %d{levels} levels at tn %p{node}, walk stopped"
[walk]
finding children_too_deep "tree deeper than %d{levels} levels at tn %p{node}, children not walked"
[*]
finding too_many_nodes "tree of more than %d{nodes} nodes at tn %p{node}, walk stopped"
finding too_many_prefixes "tree of more than %d{prefixes} prefixes at tn %p{node}, walk stopped"
finding too_many_lines "reply of more than %d{lines} lines at tn %p{node}, walk stopped"
finding invalid_hw_index "invalid bank_id %d{bank} node_id %d{node_id}"
finding no_active_npu "no active npu found"
finding hardware_read_failed "failed to read hwindex from npu %d{npu}, bank_id %d{bank} node_id %d{node_id} rc: 0x%x{rc}"
[bankbitmap hwidxr]
refusal invalid_bank "invalid bank id %ld{bank}"

# walk
[walk]
summary "SUM: tbm nodes: %d{tbm_nodes}, hint nodes: %d{hint_nodes} ncfm_nodes %d{ncfm_nodes} bank nodes %d{bank_nodes}"
summary "dumpable leaf: %d{dumpable_leaves}, dumpable nodes: %d{dumpable_nodes}"
progress "           HINT INIT   SEARCH  SEARCH_END     END"
summary "     node %9d{nodes_init}/%9d{nodes_init_bit9} %9d{nodes_search}/%9d{nodes_search_bit9} %9d{nodes_search_end}/%9d{nodes_search_end_bit9} %9d{nodes_end}/%9d{nodes_end_bit9} "
summary "SE   leaf %9d{se_leaves_init} %9d{se_leaves_search} %9d{se_leaves_search_end} %9d{se_leaves_end} "
summary "INT  leaf %9d{int_leaves_init} %9d{int_leaves_search} %9d{int_leaves_search_end} %9d{int_leaves_end} "
summary "LEAF leaf %9d{leaf_leaves_init} %9d{leaf_leaves_search} %9d{leaf_leaves_search_end} %9d{leaf_leaves_end} "
summary "END  leaf %9d{end_leaves_init} %9d{end_leaves_search} %9d{end_leaves_search_end} %9d{end_leaves_end} "
progress "tree walk completed"

# dump
[dump]
data contexts contexts "plu_shm_ctx %p{plu_shm_ctx}"
data contexts contexts "phu_shm_ctx %p{phu_shm_ctx}"
summary "plu shm init done: %d{plu_shm_init_done}"
data plu_block plu_shm "plu shm id %d{id} size 0x%x{size:number}"
data phu_block phu_shm "phu shm id %d{id}, size: 0x%x{size:number}"
summary "PLU profile: %d{plu_profile}, T1,T2,T3 size %d{table1_size}, %d{table2_size}, %d{table3_size}"
finding profile_read_failed "failed to read profile"
summary "NPU profile %d{npu_profile}"
summary npus npus "Max NPU:%d{max_npu}  active npu map: [%s{active_npus:low_first}]"
summary npus_cut npus "Max NPU:%d{max_npu}  active npu map: [%s{active_npus:low_first}"
progress "==== phu global ctx ===="
summary "bank node used: %d{bank_node_used}"
data bank_bitmap phu "phu bank bitmap: %*{taken_banks:high_first|%d| }"
data handle tree "tmbd key len %d{key_length}, leaf size %d{leaf_size}, 4B aligned max level %d{max_level} plat addr size:%d{address_size}  defined max level %d{defined_max_level}"
data handle tree "tbdb_root %p{root}"
data handle tree "size of tn: %ld{node_size}"
progress "=== stride level bank bitmap ==="
progress "level, phu->str.a tbm strd_map stride.level bank_used bank_bitmap"
data level levels[] "%3d{level}    %9d{str_a}       %3d{stride_map}      %5d{stride_level}   %9d{banks_used}     0x%012lx{bank_bitmap}"
progress "=== PHU stats ==="
summary "  shm_alloc: %ld{shm_alloc}"
summary " alloc byte: %ld{alloc_bytes}"
summary "  shm_free : %ld{shm_free}"
summary "%d{pool#} pool size:%4d{size}  alloc:%8ld{alloc}  free:%8ld{free}  bytes:%ld{bytes}"
summary "phu max bank nodes usage: %d{max_bank_nodes_usage}"
summary "phu max cfm mask count: %d{max_cfm_mask_count}"

# rootsn, banksum, bankbitmap
[rootsn]
summary "tbdb_root->ta_nnodes %d{root_nodes}"
data root roots[] "index %4d{slot} 0x%lx{node:address}"
[banksum]
data bank banks[] "bank %02d{bank}  size %d{size}  node used %4d{used}  stride level %3d{stride_level}  bitmap size %d{bitmap_words}"
progress "                                        109876543210987654321098765432109876543210"
data level levels[] "stride level %2d{level} bitmap: 0x%012lX{bank_bitmap}  %s{banks:high_first}  bank_used %d{banks_used}"
data sum sum "SUM        bank bitmap: 0x%012lX{bank_bitmap}  %s{banks:high_first}"
[bankbitmap]
data bank . "bank %d{bank} bitmap"
data bitmap_row . "%4d{base} %s{used_nodes:low_first}"

# Hardware nodes.
[hwidxr bankbitmap]
data skip_node nodes[] "%*{relation:relation|Parent: |    }HINT SKIP  ebitmap: 0x%016lx{bitmap}, ptr:0x%x{pointer}, bmsf:%d{bmsf}, me:%d{match_end}  skip_len %d{skip_length} skip_pattern: 0x%x{skip_pattern} tn: %p{tree_node} hw index: 0x%08x{hw_index}"
data search_node nodes[] "%*{relation:relation|Parent: |    }HINT SN   ebitmap: 0x%016lx{bitmap}, ptr:0x%x{pointer}, bmsf:%d{bmsf}, me:%d{match_end}  tn: %p{tree_node} hw index: 0x%08x{hw_index}"
data end_node nodes[] "%*{relation:relation|Parent: |    }HINT EN:  0x%016lx{mask_high} %016lx{mask_low}  tn: %p{tree_node} hw index: 0x%08x{hw_index}"
[tn tnwalk]
data skip_node *nodes[].hardware "%*{relation:relation|Parent: |    }HINT SKIP  ebitmap: 0x%016lx{bitmap}, ptr:0x%x{pointer}, bmsf:%d{bmsf}, me:%d{match_end}  skip_len %d{skip_length} skip_pattern: 0x%x{skip_pattern} tn: %p{tree_node} hw index: 0x%08x{hw_index}"
data search_node *nodes[].hardware "%*{relation:relation|Parent: |    }HINT SN   ebitmap: 0x%016lx{bitmap}, ptr:0x%x{pointer}, bmsf:%d{bmsf}, me:%d{match_end}  tn: %p{tree_node} hw index: 0x%08x{hw_index}"
data end_node *nodes[].hardware "%*{relation:relation|Parent: |    }HINT EN:  0x%016lx{mask_high} %016lx{mask_low}  tn: %p{tree_node} hw index: 0x%08x{hw_index}"
[hwidxr]
progress "Parent: "
data children . "  %d{children} children nodes"
finding hardware_search_failed "failed to read sn/en node on for bank %d{bank} node %d{node_id}"
[hwidxwalk]
finding stale_search_copy "hw index is zero , but phu_sn not zero, tn %p{node}"
finding stale_end_copy "hw index is zero , but phu_en not zero, tn %p{node}"
finding hw_index_read_failed "failed to read hw index 0x%x{hw_index} tn %p{node}"
summary "  hw index count: %d{hw_index_count}"
summary "         sn node: %d{sn_nodes}"
summary "       skip node: %d{skip_nodes}"
summary "         en node: %d{en_nodes}"
summary "non zero sn node: %d{non_zero_sn_nodes!}"
summary "non zero en node: %d{non_zero_en_nodes!}"
summary "      read error: %d{read_errors!}"
[hwdis]
data skipped_node skipped[] "skip hint state INIT for tn %p{node}"
finding node_read_failed "failed to read tn %p{node} hwindex 0x%x{hw_index}"
progress "hw en node mask count distribution"
progress " index     sum   INIT    SEARCH SCH_END END"
data mask_count distribution[] "  %3d{lengths}   %6d{sum} %6d{init}  %6d{search} %6d{search_end} %6d{end}"
summary "total PHU    end nodes: %d{end_nodes}"
summary "total PHU   skip nodes: %d{skip_nodes}"
summary "total PHU search nodes: %d{search_nodes}"

# Registers and memory.
[regr32]
code register result "0x%08x{value} (offset:0x%x{offset}, npu:%d{npu}, rc:0x%x{rc})"
[regw32]
code register result "0x%08x{value} written (offset:0x%x{offset}, npu:%d{npu}, rc:0x%x{rc})"
[memr memw8 memw32]
refusal outside "PHU shared mem range: addr 0x%lx{first:address} - 0x%lx{last:address}, set a3 = 1 to bypass check"
[memr]
refusal too_long "read size > 4000, set a3 = 1 to bypass the check"
data memory_start . "read start from %p{address}"
data memory_row *rows[] "0x%04x{offset:number}  %*{bytes:bytes| |%02x}"
[memw8]
data memory_written result "write 0x%x{value} to %p{address}"
[memw32]
data memory_written result "write 0x%08x{value} to %p{address}"

# Searching the tree.
[v4 v6 v6hw]
refusal default_not_searched "skip searching default prefix"
[v4]
data input input "Search input: prefix 0x%08x{address}, mask len %d{length}, vrf %d{vrf} "
[v4 v6]
data node path[] "NODE type:%7s{type} key_bits_used:%3d{key_bits} vrf:%5d{vrf}, prefix bits:%2d{prefix_bits}  0x%s{prefix_digits:bytes}  tn addr: 0x%lx{node:address}"
data node path[]. "hint_state: %10s{hint_state} bmsf:%2d{bmsf} par bl larray %p{parent_leaves}, len %d{parent_leaf_length} offset %d{parent_leaf_offset}, inode:%d{internal} hw index 0x%08x{hw_index}"
data node path[]. "  int mask 0x%016lx{internal_lengths:mask_left} 0x%016lx{+}  int mask count %d{internal_count}"
data node path[]. "  ext mask 0x%016lx{external_lengths:mask_left} 0x%016lx{+}  ext mask count %d{external_count}"
data node path[]. "  hintmask 0x%016lx{hint_lengths:mask_left} 0x%016lx{+} (1 from left most)"
data node path[]. "child array nodes: %d{children}, inodes exists: %d{internal_nodes} children hw index:"
data node path[]. "%*{child_hw_indexes:indexes|0x%x }"
finding unknown_node_type "node type not handled:%d{type}"
data node path[]. "SN tn_par_larray %d{parent_leaf_count} par_bl_offset %d{parent_leaf_offset}, par bl len %d{parent_leaf_length}"
data node path[]. "  sn_ebmap 0x%016lx{child_bitmap}"
data node path[]. "hint_ebmap 0x%016lx{hint_bitmap}"
finding invalid_key_bits "invalide key bits used %d{key_bits}"
data best_leaf best_leaf "best leaf tn %p{node} la %p{leaf_array} offset %d{offset}"
data step path[]. "pfx 0x%x{chunk:number} bitused %d{bits_used} level %d{level} tn %p{node} %s{bitmap} 0x%016lx{bitmap_value} next tn %p{next}"
finding wrong_bmsf errors[] "ERR PHU:[S:%s{path:steps}][%s{hint_state:text} Node with Leafs - incorrect][bmsf:%x{stored:number}][cal bmsf:%x{expected:number}]"
finding wrong_mask errors[] "ERR PHU:[S:%s{path:steps}][%s{hint_state:text} Node incorrect][Mask:%!{stored_mask:bytes|%lx%lx}][Calculated Mask:%!{expected_mask:bytes|%lx%lx}]"
data best_leaf_taken internal "no match, take best leaf"
data internal_search internal "tbm_retrieve_leaf_local inode %p{node} base_prefix_pos 0x%x{position:number}, prefix 0x%x{prefix_bits}, max_pref_tree_len %d{longest}"
data internal_step internal.tried[] "not match yet, i %d{length}, base_prefix_pos 0x%x{position:number}, prefix 0x%x{prefix_bits}"
data internal_match internal.found "match found, i %d{length}, lf offset %d{offset}, la %p{leaf_array}"
[v4]
progress "PHU search results:"
data result result "  rc 0x%x{rc} prefix len %d{key_bits} (%d{searched_length})  prefix %s{prefix}"
data result_hint result "  hint level %d{hint_level}, phu hw index 0x%08x{hw_index} hint mask 0x%016lx{lengths:mask_left} 0x%016lx{+}"
[v6]
data result result "rc 0x%x{rc} leaf prefix len %d{key_bits} (%d{searched_length})  prefix %s{prefix}"
data result_hint result "prefix 0x%016lx{address_high} %016lx{address_low} hint level %d{hint_level}, phu hw index 0x%08x{hw_index} hint mask 0x%016lx{lengths:mask_left} 0x%016lx{+}"

# Searching the hardware nodes.
[v4hw]
data input input "prefix 0x%08x{address} %!{prefix:prefix|%d.%d.%d.%d/%d}"
[v6hw]
data input input "prefix 0x%016lx{address_high}%016lx{address_low} (%s{address})/%d{length}"
[v4hw v6hw]
data search_node nodes[] "SN: ext_bitmap: 0x%016lx{bitmap} level:%d{level} bank:%2d{child_bank} node_id:%4d{child_node} me:%d{match_end} bmsf:%2d{bmsf} c_ptr 0x%05x{pointer} hw_index: 0x%08x{hw_index}"
[v4hw]
data end_node nodes[] "EN: masks: 0x%016lx{lengths:mask_v4} %016lx{+} level:%d{level} hw_index: 0x%08x{hw_index}"
[v6hw]
data end_node nodes[] "EN: masks: 0x%016lx{lengths:mask_left} %016lx{+} level:%d{level} hw_index: 0x%08x{hw_index}"
[v4hw v6hw cklkuphw]
finding node_read_error "ERR: phu_hw_read_node error: phu_hw_index:0x%08x{hw_index}"
[v4hw v6hw]
finding no_way "ERR: both tt and me_exists are 0"
[cklkuphw]
data no_way no_ways[] "ERR: both tt and me_exists are 0"
[v4hw v6hw cklkuphw]
finding wrong_node_type "Wrong node type: %d{type}"
finding chain_too_deep "ERR: hint node chain too deep, level:%d{level}"
[v4hw]
data result result "called phu_hw_engine_search_sim(), rc = 0x%x{rc} hint_mask 0x%016lx{lengths:mask_v4_word}"
[v6hw]
data result result " phu_hw_engine_search_sim(): rc = 0x%x{rc} hint_mask 0x%016lx{lengths:mask_left} %016lx{+}"

# Both lookups.
[cklkupv4]
data input input "prefix 0x%lx{address}, mask len: %d{length}, vrf: %d{vrf}"
[cklkupv6]
refusal wrong_usage "valid input: a1 pfx high, a2 pfx low, a3 1000 x vrf + mask len"
data input input "prefix 0x%*{address:bytes|%02x}, mask len: %d{length}, vrf: %d{vrf}"
[cklkupv4 cklkupv6]
data lookup_answer search "phu_search() results: leaf %p{leaf} mask len %d{key_bits}  prefix %s{prefix} (exp:%d{expected})"
data lookup_hint search "    hw index 0x%08x{hw_index} hint mask 0x%016lx{lengths:mask_left} 0x%016lx{+}"
data lookup_start search "plu lookup start mask len: %d{first_length}"
data lookup_step tried[] "plu lookup results: mask len %d{length}, rc 0x%x{rc}"
data result result "best match: mask len %d{best_length}, %s{prefix}"
finding lookup_failed "phu_plu_lookup() lookup failed, mask len %d{best_length} lf %p{leaf}"
[cklkupv4 cklkupv6 cklkup ckall]
data search_failed failed[] "phu lookup failed rc 0x%x{rc} "
[cklkuphw]
data hardware_failed failed[] "phu hw lookup failed rc 0x%x{rc}"
[cklkupv4 cklkupv6 cklkup ckall]
finding leaf_mismatch "lf mismatch found in phu_plu_lookup, lf orig %p{leaf} lf %p{found}, tn %p{node} prefix %s{prefix}"

# Edits.
[addv4]
code added result "plu_add_entry with pfx 0x%08X{address} %!{prefix:prefix|%d.%d.%d.%d/%d}, vrf %d{vrf}, rc 0x%x{rc}"
[delv4]
code deleted result "plu_delete_entry with pfx 0x%08X{address} mask %d{length}, vrf %d{vrf}, rc 0x%x{rc}"
[addv6]
code added result "plu_add_entry pfx 0x%016lX{address_high} %016lX{address_low}(%s{address})/%d{length}, vrf %d{vrf}, rc 0x%x{rc}"
[delv6]
code deleted result "plu_del_entry pfx 0x%016lX{address_high} %016lX{address_low}(%s{address})/%d{length}, vrf %d{vrf}, rc 0x%x{rc}"
[setbmsf]
refusal bmsf_of_internal "skip setting bmsf for internal node"
data bmsf_set result "set bmsf %d{bmsf} to tn %p{node}"

# Tree nodes.
[tn]
data ancestor chain[] "NODE %6s{type} addr: %p{node} parent: %p{parent} child:%d{below}  %*{path:steps|%d|.}(0x%*{bits:bytes|%02X})/%d{length} vrf:%d{vrf} hw index:0x%08x{hw_index}"
[tn tnwalk]
data unplaced *nodes[] "NODE %6s{type} addr: %p{node}"
data unplaced *nodes[] "NODE %6s{type} addr: %p{node} parent: %p{parent} child:%d{below}   "
data placed *nodes[] "NODE %6s{type} addr: %p{node} parent: %p{parent} child:%d{below}   %*{path:steps|%d|.}(0x%*{bits:bytes|%02X})/%d{length} vrf:%d{vrf}"
data place *nodes[]. " parent: %p{parent} child:%d{below}   "
data place *nodes[]. " parent: %p{parent} child:%d{below}   %*{path:steps|%d|.}(0x%*{bits:bytes|%02X})/%d{length} vrf:%d{vrf}"
data hint *nodes[]. "HINT state: %6s{hint_state} bmsf:%2d{bmsf} pb_len:%2d{parent_leaf_length} offset:%d{parent_leaf_offset} la:%p{parent_leaves} nodes:%2d{nodes} key type:%d{key_type} hw idx: 0x%08x{hw_index}"
data search_copy *nodes[].search_copy "HINT sn bmsf:%2d{bmsf} me:%d{match_end} child_array_ptr 0x%x{pointer}"
data search_copy *nodes[].search_copy "sn bitmap  0x%016lx{bitmap}"
data end_copy *nodes[].end_copy "h en mask  0x%016lx{mask_high} 0x%016lx{mask_low}"
data lengths *nodes[]. "hint mask  0x%016lx{hint_lengths:mask_left} 0x%016lx{+}  (/1 from left most)"
data lengths *nodes[]. "h int mask 0x%016lx{internal_lengths:mask_left} 0x%016lx{+}  count %d{internal_count}"
data lengths *nodes[]. "h ext mask 0x%016lx{external_lengths:mask_left} 0x%016lx{+}  count %d{external_count}"
data bitmap *nodes[]. "sn_ebmap   0x%016lx{child_bitmap}  (right most 1 => value 0) "
data bitmap *nodes[]. "hint_ebmap 0x%016lx{hint_bitmap}"
data bitmap *nodes[]. "in_ibmap   0x%016lx{internal_bitmap}  ((2^len-1) + val)"
data child_array *nodes[]. "sn_charray->ta_nnodes:%d{child_count}  sn_charray->ta_inode_exists:%d{internal_nodes}"
data child *nodes[].children[] "  child%3d{slot} %p{node} type:%6s{type} hw_index 0x%08x{hw_index} inode:%d{internal}"
data child *nodes[].children[] "  child%3d{slot} %p{node} type:%6s{type} hw_index 0x%08x{hw_index} inode:%d{internal} sn_charray.ta_nnodes:%2d{children}"
data no_leaves *nodes[].leaf_arrays[] "inode %p{node} in_lfarray is NULL"
data internal_leaves *nodes[].leaf_arrays[] "inode %p{node} in_lfarray->la_nnodes %d{count}"
data own_leaves *nodes[].leaf_arrays[] "in_lfarray->la_nnodes %d{count} (la %p{leaf_array}"
finding unknown_node_type "NODE: type %d{type}"
[tnbl]
refusal no_search_node "tn %p{node} is not a search node"
data groups . "ones %d{group_count}, nnodes %d{child_count}"
data group *groups[] "child idx %02d{group} (%02d{ordinal}) child_tn %p{node} (%s{bits}), longest match for child tn: %s{covering:prefix}"
[showla]
refusal invalid_leaf_array "invalide leaf array addr:%p{address}"
data owner . "la %p{leaf_array} tn %p{node}"
refusal no_owner "cant find leaf array parent tn, skip detailed leaf info"
data leaf_array . "la_nnodes %d{count} (la %p{leaf_array})"

# cntpfx
[cntpfx ckhmask cklkup cklkuphw ckall]
progress "walk tn tree start from %p{node}"
[cntpfx]
finding prefixes_not_hinted "tn %p{node} inode pfx not in parent hint_mask"
finding wrong_hint_mask "tn %p{node} with hint_mask != int+ext"
summary "Prefix: %d{prefixes} (internal count %d{internal_count} end count %d{end_count}), INIT hw index %d{init_hw_index!}, hbmap %d{hbmap} in sn_ebmap %d{in_sn_ebmap}"
summary "hwidx %d{hwidx} ebmap %d{hwidx_ebmap} idx+ebmap %d{idx_and_ebmap}"
summary "ebmap s %d{ebmap_search} se%d{ebmap_search_end} e %d{ebmap_end}"
summary "hwidx search %d{hwidx_search} end %d{hwidx_end} search_end %d{hwidx_search_end}"
summary "h_ebmap %d{h_ebmap} sn_ebmap %d{sn_ebmap} sn and h ebmap %d{sn_and_h_ebmap} sn eq h ebmap %d{sn_eq_h_ebmap} heb and ext_mask %d{heb_and_ext_mask}"
summary "h_eq_int_n_ext %d{h_eq_int_n_ext} h_neq_int_n_ext %d{h_neq_int_n_ext!} ext %d{ext}"
summary "internal node prefix mask match parent hint_mask %d{inode_match} not match %d{inode_not_match!}"
summary "end node with pfx %d{end_nodes_with_prefix}, w/o pfx %d{end_nodes_without_prefix} end node pfx eq hmask %d{end_prefix_eq_hmask} neq %d{end_prefix_neq_hmask!}"
summary "%d{init_with_par_bl!} tn in hint state INIT but having par bl larray pointer set"

# Checks.
[ckbank ckall]
finding wrong_bank_id "ERR: bank id %d{stored} doesn't match bank location index %d{bank}"
finding wrong_bank_size "ERR: bank %d{bank} has incorrect bank_size: %d{size} or bitmap size %d{bitmap_words}"
data bank banks[] "index %d{index} bank id %d{bank}, stride level %d{stride_level} bank size %d{size} bitmap size %d{bitmap_words}"
data bank_nodes bank_nodes "phu bank node used %d{counted}, sum of bank node used %d{sum}"
finding wrong_bank_use "ERR: bank %d{bank} node used %d{used} doens't match node_bitmap ones %d{marked}"
data level_bank level_banks[] "info: phu_stride %d{level} bitmap bit %d{bit} phu_bank[%d{bank}] stride level %d{bank_level}"
finding wrong_bank_level "ERR: phu_stride %d{level} bitmap bit %d{bit} mismatch with phu_bank[%d{bank}] stride level %d{bank_level}"
finding wrong_level_bitmap "phu_stride %d{level} bank_bitmap 0x%016lx{stored_bitmap} doesn't match phu_ctx bank_bitmap 0x%016lx{all_banks} "
data level levels[] "bank_stride %d{index}, level %d{level}, bank used %d{banks_used} bitmap ones %d{banks_marked} 0x%016lx{bank_bitmap}"
data level_sum level_sum "stride bank used sum %d{banks_used}, phu_ctx bank_bitmap ones %d{banks_marked} (exluced bank 40, 41)"
finding wrong_bank_count "ERR: phu_ctx bank_bitmap ones (%d{banks_marked}) doesn't match phu_stride[].bank_used %d{banks_used}"
finding impossible_hw_index "invalid bank id %d{bank} or node id %d{node_id} found for hw index 0x%x{hw_index} tn %p{node}"
finding impossible_level "invalid level %d{level} found for hw index 0x%x{hw_index} tn %p{node}"
finding search_node_mismatch "ERR: hint sn mismatch for tn %p{node} hw index 0x%x{hw_index}"
finding end_mask_mismatch "ERR: hint en mask mismatch for tn %p{node} hw index 0x%x{hw_index}"
data end_mask_mismatch findings[]. "  en->mask_bitmap 0x%08x{stored_lengths:mask_v4_word} hint_mask 0x%08x{expected_lengths:mask_v4_word}"
data skip_node skip_nodes[] "node type: %d{type} tn %p{node}"
progress "Results of checking PHU banks:"
summary "  hw index count:         %d{hw_index_count} "
summary "  INVALID hw index count: %d{invalid_hw_index_count!}"
summary "  en mask MISMATCH      : %d{en_mask_mismatch!}"
summary "  sn entry count:         %d{sn_entry_count} "
summary "  en entry count:         %d{en_entry_count}"
summary "  skip entry count:       %d{skip_entry_count}"
progress "mask count    en node count"
data mask_count distribution[] "%4d{lengths}         %7d{end_nodes}"
[ckbmsf ckall]
finding bmsf_mismatch "bmsf mismatch tn %p{node} bmsf %d{expected} hint bmsf %d{stored} parent_tn %p{parent}"
finding bmsf_mismatch "bmsf mismatch tn %p{node} bmsf %d{expected} hint bmsf %d{stored} parent_tn %p{parent} child %d{slot} of %d{children}, pos %d{group}"
progress "Results of checking bmsf:"
summary "  total tn nodes:       %7d{total_tn_nodes}"
summary "  bmsf match non zero:  %7d{bmsf_match_non_zero}"
summary "  bmsf match  zero:     %7d{bmsf_match_zero}"
summary "  bmsf MISMATCH:        %7d{bmsf_mismatch!}"
[ckhmask ckall]
finding hardware_mask_mismatch "mismatch: bmsf %d{bmsf} tn %p{node} child:%d{below}"
data hardware_mask_mismatch findings[]. "  hint_mask 0x%016lx{announced_lengths:mask_low_left} %016lx{+} "
data hardware_mask_mismatch findings[]. "tn int mask 0x%016lx{internal_lengths:mask_low_left} %016lx{+}"
data hardware_mask_mismatch findings[]. "tn ext mask 0x%016lx{external_lengths:mask_low_left} %016lx{+}"
finding hint_mask_mismatch "mismatch: hint_mask 0x%016lx{expected_lengths:mask_low_left} %016lx{+} tn hmask 0x%016lx{stored_lengths:mask_low_left} %016lx{+}, tn %p{node}"
progress "Results of checking hint mask:"
summary "  inode+child match: %d{inode_child_match}"
summary "  inode+child MISMATCH: %d{inode_child_mismatch!}"
summary "  int+ext+ebmap match: %d{int_ext_ebmap_match} "
summary "  int+ext+ebmap MISMATCH: %d{int_ext_ebmap_mismatch!}"
summary "  inode & parent int mask match: %d{inode_parent_match} "
summary "  inode & parent int mask MISMATCH: %d{inode_parent_mismatch!}"
summary "  inode pfx not in hint_mask: %d{inode_pfx_not_in_hint!}"
[ckparbl ckall]
finding end_reference "par bl invalid tn %p{node}, parent_la_index %d{index} par bl la %p{leaf_array} offset %d{offset} len %d{stored_length}, nnodes %d{leaves} leaf pfx len %d{leaf_length}"
data end_reference findings[].leaf_arrays_above[] "  parent la (%d{index}) %p{leaf_array}"
finding search_reference "par bl invalid for tn %p{node}, parent_la_index %d{index} par bl la %p{leaf_array} nnodes %d{leaves}, offset %d{offset}"
finding parents_too_deep "parent_la_index reached max at tn %p{node}, stop searching tn child"
progress "Results of checking par bl:"
summary "  tn nodes:           %7d{tn_nodes}"
summary "  tn end nodes:       %7d{tn_end_nodes}"
summary "  search nodes:       %7d{search_nodes}"
summary "  valid par bl:       %7d{valid_par_bl}"
summary "  INVALID par bl:     %7d{invalid_par_bl!}"
summary "  INVALID end par bl: %7d{invalid_end_par_bl!}"
summary "  INVALID offset:     %7d{invalid_offset!}"
summary "  unknown tn nodes:   %7d{unknown_tn_nodes!}"
summary "  la_high_water_mark: %7d{la_high_water_mark}"
[cklkup cklkuphw ckall]
finding missed_lookup "lookup missed: tn %p{node} lf %p{leaf}, lf %d{index}/%d{count} (0x%08x{address_32}/%d{length})"
progress "%d{checked} prefixes checked"
[cklkup ckall]
progress "Results of lookup all existing prefixes:"
summary "  total        prefix: %7d{total_prefix}"
summary "  prefix        match: %7d{prefix_match}"
summary "  prefix longer match: %7d{prefix_longer_match}"
summary "  prefix     no match: %7d{prefix_no_match}"
summary "  lf lookup MISMATCH:  %7d{lf_lookup_mismatch!}"
[cklkuphw]
summary "total        prefix: %7d{total_prefix}"
summary "prefix        match: %7d{prefix_match}"
summary "prefix longer match: %7d{prefix_longer_match}"
summary "prefix     no match: %7d{prefix_no_match}"
)forms";

}    // namespace client
