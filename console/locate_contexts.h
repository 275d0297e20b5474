// Lazy location of the library's shared blocks. Debug thread only.
#pragma once

/// Fills plu_shm_ctx and phu_shm_ctx from the common library's own pointer variables; sends the two
/// addresses, or one line saying what is missing.
void plu_debug_shm_ctx_locate();
