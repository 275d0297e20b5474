// The consistency checkers. Arguments are the request's a1, a2, a3.
#pragma once

#include <cstdint>

void cmd_ckall(uint64_t bank_detail, uint64_t lookup_verbose, uint64_t a3);
void cmd_ckbmsf(uint64_t a1, uint64_t a2, uint64_t a3);
void cmd_ckhmask(uint64_t start, uint64_t a2, uint64_t a3);
void cmd_ckparbl(uint64_t a1, uint64_t a2, uint64_t a3);
void cmd_cklkup(uint64_t start, uint64_t verbose, uint64_t a3);
void cmd_cklkuphw(uint64_t start, uint64_t verbose, uint64_t a3);
void cmd_cklkupv4(uint64_t address, uint64_t length, uint64_t vrf);
void cmd_cklkupv6(uint64_t high, uint64_t low, uint64_t vrf_and_length);
