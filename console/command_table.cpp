// The one list of commands: help, dispatch and every tool that asks the process follow it.
#include "console/command_table.h"

#include "checks/commands.h"
#include "console/commands.h"
#include "phu/commands.h"
#include "records/command_texts.h"
#include "tbm/commands.h"

namespace {

consteval plu_debug_command row(std::string_view name, plu_debug_handler handler) {
    const plu_command_text &text = plu_command_text_of(name);
    return {text.name, handler, text.help};
}

}    // namespace

constexpr plu_debug_command msg_handler_list[plu_debug_commands] = {
    row("dump", cmd_dump),
    row("ckall", cmd_ckall),
    row("walk", cmd_walk),
    row("rootsn", cmd_rootsn),
    row("banksum", cmd_banksum),
    row("bankbitmap", cmd_bankbitmap),
    row("hwidxr", cmd_hwidxr),
    row("hwidxwalk", cmd_hwidxwalk),
    row("hwdis", cmd_hwdis),
    row("regr32", cmd_regr32),
    row("regw32", cmd_regw32),
    row("memr", cmd_memr),
    row("memw8", cmd_memw8),
    row("memw32", cmd_memw32),
    row("v4", cmd_v4),
    row("v4hw", cmd_v4hw),
    row("cklkupv4", cmd_cklkupv4),
    row("v6", cmd_v6),
    row("v6hw", cmd_v6hw),
    row("cklkupv6", cmd_cklkupv6),
    row("addv4", cmd_addv4),
    row("delv4", cmd_delv4),
    row("addv6", cmd_addv6),
    row("delv6", cmd_delv6),
    row("tn", cmd_tn),
    row("tnwalk", cmd_tnwalk),
    row("tnbl", cmd_tnbl),
    row("cntpfx", cmd_cntpfx),
    row("setbmsf", cmd_setbmsf),
    row("ckbmsf", cmd_ckbmsf),
    row("ckbank", cmd_ckbank),
    row("ckhmask", cmd_ckhmask),
    row("cklkup", cmd_cklkup),
    row("cklkuphw", cmd_cklkuphw),
    row("ckparbl", cmd_ckparbl),
    row("showla", cmd_showla),
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

constexpr bool rows_in_order() {
    for (int row = 0; row < plu_debug_commands; row++) {
        if (msg_handler_list[row].name != plu_command_texts[row].name) {
            return false;
        }
    }
    return std::size(plu_command_texts) == plu_debug_commands;
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

static_assert(rows_in_order());
static_assert(names_unique());

}    // namespace
