// Commands that touch registers, memory and prefixes directly. Arguments are the request's a1, a2,
// a3.
#pragma once

#include <cstdint>

void cmd_regr32(uint64_t offset, uint64_t npu, uint64_t a3);
void cmd_regw32(uint64_t offset, uint64_t value, uint64_t npu);
void cmd_memr(uint64_t address, uint64_t size, uint64_t bypass);
void cmd_memw8(uint64_t address, uint64_t value, uint64_t bypass);
void cmd_memw32(uint64_t address, uint64_t value, uint64_t bypass);
void cmd_addv4(uint64_t address, uint64_t length, uint64_t vrf);
void cmd_delv4(uint64_t address, uint64_t length, uint64_t vrf);
void cmd_addv6(uint64_t high, uint64_t low, uint64_t vrf_and_length);
void cmd_delv6(uint64_t high, uint64_t low, uint64_t vrf_and_length);
