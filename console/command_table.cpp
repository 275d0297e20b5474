// The one list of commands: help, dispatch and every tool that asks the process follow it.
#include "console/command_table.h"

#include "checks/commands.h"
#include "console/commands.h"
#include "phu/commands.h"
#include "tbm/commands.h"

constexpr plu_debug_command msg_handler_list[plu_debug_commands] = {
    {.name = "dump", .handler = cmd_dump, .help = "dump "},
    {.name = "ckall", .handler = cmd_ckall, .help = "invoke all but hw lookup checking"},
    {.name = "walk",
     .handler = cmd_walk,
     .help = "walk tbm tree and dump: val1:1 dump leaf, 11 recording, val2: 1 dump phu node "},
    {.name = "rootsn", .handler = cmd_rootsn, .help = "show root tbm search node address"},
    {.name = "banksum", .handler = cmd_banksum, .help = "show summary of bank usage"},
    {.name = "bankbitmap",
     .handler = cmd_bankbitmap,
     .help = "bank id, show specified bank bitmap, [item # for hint node data]"},
    {.name = "hwidxr",
     .handler = cmd_hwidxr,
     .help = "read hw index, hw idx,  1: show children 10:show parent 11:show both"},
    {.name = "hwidxwalk",
     .handler = cmd_hwidxwalk,
     .help = "walk hw index, count en/sn nodes, 11 to dump hwindex + 17B hw nodes"},
    {.name = "hwdis", .handler = cmd_hwdis, .help = "walk all hwidx, show en node distribution"},
    {.name = "regr32",
     .handler = cmd_regr32,
     .help = "read plu reg, offset, npu (offset:HintEn 0x40e0, profile 0xfa8)"},
    {.name = "regw32", .handler = cmd_regw32, .help = "write plu reg, offset, value, npu"},
    {.name = "memr", .handler = cmd_memr, .help = "read addr, size"},
    {.name = "memw8", .handler = cmd_memw8, .help = "write addr, 8 bits value"},
    {.name = "memw32", .handler = cmd_memw32, .help = "write addr, 32 bits value"},
    {.name = "v4",
     .handler = cmd_v4,
     .help = "search v4 pfx thr tbm: pfx in hex, mask length (1000X detailed level, vrf"},
    {.name = "v4hw",
     .handler = cmd_v4hw,
     .help = "search v4 pfx thr phu nodes: prefix, mask len, vrf "},
    {.name = "cklkupv4",
     .handler = cmd_cklkupv4,
     .help = "check plu and phu lookups with specific v4 prefix, mask, vrf"},
    {.name = "v6",
     .handler = cmd_v6,
     .help = "search v6 pfx thr tbm: pfx_high, pfx_low, mask length + 1000 X vrf"},
    {.name = "v6hw",
     .handler = cmd_v6hw,
     .help = "search v6 pfx thr phu nodes: pfx h, pfx low, mask len + 1000 X vrf "},
    {.name = "cklkupv6",
     .handler = cmd_cklkupv6,
     .help = "check plu/phu lkups, v6 pfx high, pfx low, 1000 x vrf+masklen"},
    {.name = "addv4",
     .handler = cmd_addv4,
     .help = "add v4 pfx: pfx in hex, mask length (1000X detailed level, vrf"},
    {.name = "delv4",
     .handler = cmd_delv4,
     .help = "del v4 pfx: pfx in hex, mask length (1000X detailed level, vrf"},
    {.name = "addv6", .handler = cmd_addv6, .help = "add v6 pfx: pfx high, low, mask + 1000x vrf"},
    {.name = "delv6", .handler = cmd_delv6, .help = "del pfx: pfx high, low, mask + 1000x vrf"},
    {.name = "tn",
     .handler = cmd_tn,
     .help = "dump tn: tn addr, 1: parent tn 2: inode pfx, 4: parent tn chain 8: full child tn "},
    {.name = "tnwalk", .handler = cmd_tnwalk, .help = "dump tree nodes start from tn, tn addr  "},
    {.name = "tnbl", .handler = cmd_tnbl, .help = "dump tn bl for child: tn addr  "},
    {.name = "cntpfx",
     .handler = cmd_cntpfx,
     .help = "walk tn tree inode to count prefix, optional start from a tn "},
    {.name = "setbmsf", .handler = cmd_setbmsf, .help = "set bmsf of a tn, tn address, bmsf value"},
    {.name = "ckbmsf",
     .handler = cmd_ckbmsf,
     .help = "walk through tn tree and verfiy bmsf value for each tn node"},
    {.name = "ckbank",
     .handler = cmd_ckbank,
     .help = "walk through bank and tn tree, check usage and hw-index, 1 for detailed output"},
    {.name = "ckhmask",
     .handler = cmd_ckhmask,
     .help = "walk though tn tree, verify hint mask value for each tn"},
    {.name = "cklkup", .handler = cmd_cklkup, .help = "lookup all prefix from phu + plu"},
    {.name = "cklkuphw", .handler = cmd_cklkuphw, .help = "lookup all prefix from phu hw + plu"},
    {.name = "ckparbl", .handler = cmd_ckparbl, .help = "walk tn tree to check all bar bl values"},
    {.name = "showla",
     .handler = cmd_showla,
     .help = "show all leafs in a leaf array, hex addr of leaf array"},
};

namespace {

constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool same_name(const char *a, const char *b) {
    while (*a != '\0' && lower(*a) == lower(*b)) {
        a++;
        b++;
    }
    return lower(*a) == lower(*b);
}

// A row without a handler is a missing initialiser and does not compile; comparing addresses of
// functions here would not either, under sanitizers.
constexpr bool rows_complete() {
    for (const plu_debug_command &command : msg_handler_list) {
        if (command.name == nullptr || command.help == nullptr) {
            return false;
        }
    }
    return true;
}

constexpr bool name_taken_before(int row) {
    for (int i = 0; i < row; i++) {
        if (same_name(msg_handler_list[i].name, msg_handler_list[row].name)) {
            return true;
        }
    }
    return false;
}

constexpr bool names_unique() {
    for (int row = 0; row < plu_debug_commands; row++) {
        if (name_taken_before(row) || msg_handler_list[row].name[0] == '-') {
            return false;    // a leading dash is left to the listing requests
        }
    }
    return true;
}

static_assert(rows_complete());
static_assert(names_unique());

}    // namespace
