// All that the process looks up at run time, in one library; built once per symbol without it.
#include <cstdint>

#define EXPORTED extern "C" __attribute__((visibility("default")))

#ifndef WITHOUT_plu_shm_ctx
EXPORTED void *plu_shm_ctx;
void *plu_shm_ctx = nullptr;
#endif
#ifndef WITHOUT_phu_shm_ctx
EXPORTED void *phu_shm_ctx;
void *phu_shm_ctx = nullptr;
#endif
#ifndef WITHOUT_plu_add_entry
EXPORTED uint32_t plu_add_entry(const void *) {
    return 0;
}
#endif
#ifndef WITHOUT_plu_delete_entry
EXPORTED uint32_t plu_delete_entry(const void *) {
    return 0;
}
#endif
#ifndef WITHOUT_phu_search
EXPORTED int phu_search() {
    return 0;
}
#endif
#ifndef WITHOUT_phu_lkup_entry
EXPORTED int phu_lkup_entry() {
    return 0;
}
#endif
#ifndef WITHOUT_ot_csr_read
EXPORTED int ot_csr_read() {
    return 0;
}
#endif
#ifndef WITHOUT_ot_csr_write
EXPORTED int ot_csr_write() {
    return 0;
}
#endif
#ifndef WITHOUT_tbmh_count_prefixes
EXPORTED int tbmh_count_prefixes() {
    return 0;
}
#endif
