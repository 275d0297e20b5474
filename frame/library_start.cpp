#include "frame/library_start.h"

#include <cstdint>

#include "platform/plu_library.h"
#include "reply/trace.h"

namespace {

constexpr uint32_t plu_init_word0 = 7;
constexpr int traced_profile = 1;
constexpr int traced_prefix_entries = 5242880;

bool base_started(void *event_manager) {
    PLU_TRACE(trace_class::progress, "PLU init with profile %d, %d prefix entries\n",
              traced_profile, traced_prefix_entries);
    plu_init_params params = {};
    params.word0 = plu_init_word0;
    params.event_manager = event_manager;
    return plu_init(&params) == 0 && plu_edm_init(event_manager) == 0;
}

bool profile_configured(void *event_manager) {
    const int code = plu_config_profile_init(event_manager);
    if (code != 0) {
        PLU_TRACE(trace_class::failure, "PLU hw-module config profile failed %d", code);
    }
    return code == 0;
}

bool startup_notification_registered(void *event_manager) {
    const int code = plu_startup_done_notify_register(event_manager);
    if (code != 0) {
        PLU_TRACE(trace_class::failure, "PLU register to sysdb startup done failed %d", code);
    }
    return code == 0;
}

}    // namespace

bool plu_library_start(void *event_manager) {
    return base_started(event_manager) && profile_configured(event_manager) &&
           startup_notification_registered(event_manager);
}
