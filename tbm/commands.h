// Commands on the software tree. Arguments are the request's a1, a2, a3.
#pragma once

#include <cstdint>

void cmd_v4(uint64_t address, uint64_t detail_and_length, uint64_t vrf);
void cmd_v6(uint64_t high, uint64_t low, uint64_t vrf_and_length);
void cmd_tnbl(uint64_t node, uint64_t a2, uint64_t a3);
void cmd_showla(uint64_t leaf_array, uint64_t force, uint64_t a3);
void cmd_cntpfx(uint64_t start, uint64_t a2, uint64_t a3);
void cmd_rootsn(uint64_t a1, uint64_t a2, uint64_t a3);
void cmd_setbmsf(uint64_t node, uint64_t bmsf, uint64_t a3);
