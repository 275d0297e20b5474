#include "console/locate_contexts.h"

#include <dlfcn.h>

#include "platform/osag.h"
#include "reply/reply.h"
#include "shm/contexts.h"

namespace {

constexpr char common_library[] = "libqmt_plu_phu_cmn.so";

/// Copies the pointer that the library's variable of that name holds. The variable is looked up in
/// the library itself: this process exports the same names.
template <typename Block>
bool copy_library_pointer(void *library, const char *name, Block **destination) {
    const void *variable = dlsym(library, name);
    if (variable == nullptr) {
        plu_debug_printf("failed to find %s from dll\n", name);
        return false;
    }
    *destination = *static_cast<Block *const *>(variable);
    return true;
}

}    // namespace

void plu_debug_shm_ctx_locate() {
    void *library = _dlopen(common_library, 0);
    if (library == nullptr) {
        plu_debug_printf("dlopen() failed for %s \n", common_library);
        return;
    }
    if (copy_library_pointer(library, "plu_shm_ctx", &plu_shm_ctx) &&
        copy_library_pointer(library, "phu_shm_ctx", &phu_shm_ctx)) {
        plu_debug_printf(" plu_shm_ctx %p\n", static_cast<void *>(plu_shm_ctx));
        plu_debug_printf(" phu_shm_ctx %p\n", static_cast<void *>(phu_shm_ctx));
    }
}
