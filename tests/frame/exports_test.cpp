// The executable's dynamic symbol table: the exported variables, all of them and nothing else.
#include <gtest/gtest.h>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string>

namespace {

std::set<std::string> defined_dynamic_symbols() {
    const std::unique_ptr<FILE, int (*)(FILE *)> nm(
        popen("nm -D --defined-only --format=posix " PROCESS_FILE, "r"), pclose);
    std::set<std::string> names;
    char name[256];
    while (fscanf(nm.get(), "%255s%*[^\n]", name) == 1) {
        // A sanitizer's own variables are copied into the executable that uses them.
        if (strncmp(name, "__asan_", 7) != 0) {
            names.insert(name);
        }
    }
    return names;
}

TEST(Exports, AreTheExportedVariablesOnly) {
    std::istringstream names(
        "count_bmsf_no_zero_match count_bmsf_not_match count_bmsf_tn_nodes count_bmsf_zero_match "
        "ec f_vector hint_state_str leaf_mask mqr msg_handler_list parent_la "
        "parent_la_high_water_mark perpfx_dbg_key_match phu_ctx phu_debug_det phu_debug_verf_err "
        "phu_debug_walk_dump phu_pfx phu_pfx_str phu_plu_lookup_lf_mismatch_count "
        "phu_plu_lookup_lf_mismatch_disp phu_shm_ctx phu_tmp_str plu_bkg_evm plu_bkg_lwm_chan "
        "plu_ctx plu_debug_crit plu_debug_det plu_debug_event_type plu_debug_lookup plu_debug_tb "
        "plu_debug_xRAM plu_shm_ctx tbmd_tmp_str tree_node_type");
    const std::set<std::string> expected{std::istream_iterator<std::string>(names), {}};
    EXPECT_EQ(defined_dynamic_symbols(), expected);
}

}    // namespace
