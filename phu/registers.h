// Register access through the direct-access library. All return the library's code, 0 on success.
// When the library function is not loaded they send "NAME not loaded\n" and return
// register_not_loaded without touching the value.
#pragma once

#include <cstdint>

inline constexpr int register_not_loaded = -1;

int plu_reg_read(uint32_t npu, uint16_t offset, uint32_t *value);
int plu_reg_write(uint32_t npu, uint16_t offset, uint32_t *value);
int plu_npu_profile_read(uint32_t *value);
