// Recording replacements of the library's calls at start-up and in the timer. They fill the
// process's own context pointers when FAKE_FILL_CONTEXTS is set.
#include "platform/plu_library.h"
#include "tests/frame/fake_control.h"

namespace {

alignas(8) uint64_t unready_block[4];

__attribute__((constructor)) void fill_contexts() {
    if (getenv("FAKE_FILL_CONTEXTS") != nullptr) {
        *static_cast<void **>(process_symbol("plu_shm_ctx")) = unready_block;
        *static_cast<void **>(process_symbol("phu_shm_ctx")) = unready_block;
    }
}

int recorded(const char *call, void *event_manager) {
    fake_log("%s %s\n", call, evm_text(event_manager));
    return static_cast<int>(fake_result(call, 0));
}

}    // namespace

FAKE_EXPORT int plu_init(const plu_init_params *params) {
    fake_log("plu_init %u %s %u\n", params->word0, evm_text(params->event_manager), params->word16);
    return static_cast<int>(fake_result("plu_init", 0));
}

#define RECORDED(call)                          \
    FAKE_EXPORT int call(void *event_manager) { \
        return recorded(#call, event_manager);  \
    }
RECORDED(plu_edm_init)
RECORDED(plu_config_profile_init)
RECORDED(plu_startup_done_notify_register)

FAKE_EXPORT int plu_fill_hole_background(uint32_t *scratch, int count) {
    *scratch = UINT32_MAX;
    fake_log("plu_fill_hole_background %d\n", count);
    return 1;
}

FAKE_EXPORT int plu_hw_increase_flush_timer(void) {
    fake_log("plu_hw_increase_flush_timer\n");
    return 42;
}
