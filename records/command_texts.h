// Names and help texts of the commands, in the order of the help: those of the process's table and
// of whoever talks to it.
#pragma once

#include <string_view>

struct plu_command_text {
    const char *name;
    const char *help;
};

inline constexpr plu_command_text plu_command_texts[] = {
    {"dump", "dump "},
    {"ckall", "invoke all but hw lookup checking"},
    {"walk", "walk tbm tree and dump: val1:1 dump leaf, 11 recording, val2: 1 dump phu node "},
    {"rootsn", "show root tbm search node address"},
    {"banksum", "show summary of bank usage"},
    {"bankbitmap", "bank id, show specified bank bitmap, [item # for hint node data]"},
    {"hwidxr", "read hw index, hw idx,  1: show children 10:show parent 11:show both"},
    {"hwidxwalk", "walk hw index, count en/sn nodes, 11 to dump hwindex + 17B hw nodes"},
    {"hwdis", "walk all hwidx, show en node distribution"},
    {"regr32", "read plu reg, offset, npu (offset:HintEn 0x40e0, profile 0xfa8)"},
    {"regw32", "write plu reg, offset, value, npu"},
    {"memr", "read addr, size"},
    {"memw8", "write addr, 8 bits value"},
    {"memw32", "write addr, 32 bits value"},
    {"v4", "search v4 pfx thr tbm: pfx in hex, mask length (1000X detailed level, vrf"},
    {"v4hw", "search v4 pfx thr phu nodes: prefix, mask len, vrf "},
    {"cklkupv4", "check plu and phu lookups with specific v4 prefix, mask, vrf"},
    {"v6", "search v6 pfx thr tbm: pfx_high, pfx_low, mask length + 1000 X vrf"},
    {"v6hw", "search v6 pfx thr phu nodes: pfx h, pfx low, mask len + 1000 X vrf "},
    {"cklkupv6", "check plu/phu lkups, v6 pfx high, pfx low, 1000 x vrf+masklen"},
    {"addv4", "add v4 pfx: pfx in hex, mask length (1000X detailed level, vrf"},
    {"delv4", "del v4 pfx: pfx in hex, mask length (1000X detailed level, vrf"},
    {"addv6", "add v6 pfx: pfx high, low, mask + 1000x vrf"},
    {"delv6", "del pfx: pfx high, low, mask + 1000x vrf"},
    {"tn", "dump tn: tn addr, 1: parent tn 2: inode pfx, 4: parent tn chain 8: full child tn "},
    {"tnwalk", "dump tree nodes start from tn, tn addr  "},
    {"tnbl", "dump tn bl for child: tn addr  "},
    {"cntpfx", "walk tn tree inode to count prefix, optional start from a tn "},
    {"setbmsf", "set bmsf of a tn, tn address, bmsf value"},
    {"ckbmsf", "walk through tn tree and verfiy bmsf value for each tn node"},
    {"ckbank", "walk through bank and tn tree, check usage and hw-index, 1 for detailed output"},
    {"ckhmask", "walk though tn tree, verify hint mask value for each tn"},
    {"cklkup", "lookup all prefix from phu + plu"},
    {"cklkuphw", "lookup all prefix from phu hw + plu"},
    {"ckparbl", "walk tn tree to check all bar bl values"},
    {"showla", "show all leafs in a leaf array, hex addr of leaf array"},
};

/// Text of a name as it stands above; a name that does not does not compile.
consteval const plu_command_text &plu_command_text_of(std::string_view name) {
    for (const plu_command_text &text : plu_command_texts) {
        if (text.name == name) {
            return text;
        }
    }
    throw "no such command";
}
