// Every whole-tree check but the one through the hardware nodes; none of them stops the others.
#include "checks/commands.h"
#include "phu/commands.h"
#include "reply/reply.h"
#include "reply/unreadable.h"

void cmd_ckall(uint64_t bank_detail, uint64_t lookup_verbose, uint64_t a3) {
    cmd_ckbmsf(bank_detail, lookup_verbose, a3);
    unreadable_end();
    plu_debug_printf("\n");
    cmd_ckbank(bank_detail, lookup_verbose, a3);
    unreadable_end();
    plu_debug_printf("\n");
    cmd_ckhmask(0, lookup_verbose, a3);
    unreadable_end();
    cmd_ckparbl(bank_detail, lookup_verbose, a3);
    unreadable_end();
    plu_debug_printf("\n");
    cmd_cklkup(0, lookup_verbose, a3);
}
