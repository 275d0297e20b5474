#include "frame/background_timer.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "platform/event.h"
#include "platform/plu_library.h"
#include "reply/trace.h"

namespace {

constexpr int timer_interval = 5;    // seconds
constexpr int timer_event_class = 128;

timer_t plu_bkg_timer_id = nullptr;
static_assert(sizeof plu_bkg_timer_id == sizeof(int64_t));

long printable_timer_id() {
    return static_cast<long>(reinterpret_cast<intptr_t>(plu_bkg_timer_id));
}

}    // namespace

int plu_bkg_timer_init(void *event_manager) {
    const int result =
        event_async_attach_proctimer(event_manager, timer_event_class, 0, plu_bkg_timer_handler,
                                     nullptr, getprio(0), &plu_bkg_timer_id);
    if (result == 0) {
        return 0;
    }
    const int error = errno;
    PLU_TRACE(trace_class::failure, "%s: Cannot create Timer errono %x", "plu_bkg_timer_init",
              static_cast<unsigned>(error));
    return error;
}

int plu_bkg_timer_start() {
    PLU_TRACE(trace_class::progress, "PLU: Start PLU BKG timer: %d\n", timer_interval);
    itimerspec schedule = {};
    schedule.it_interval.tv_sec = timer_interval;
    schedule.it_value.tv_sec = timer_interval;
    if (timer_settime(plu_bkg_timer_id, 0, &schedule, nullptr) != -1) {
        return 0;
    }
    const int error = errno;
    PLU_TRACE(trace_class::failure, "%s : Cannot set timer_id = %ld itime = %ld errono %x %s",
              "plu_bkg_timer_start", printable_timer_id(), static_cast<long>(timer_interval),
              static_cast<unsigned>(error), strerror(error));
    return error;
}

int plu_bkg_timer_handler(void *) {
    uint32_t scratch = 0;
    plu_fill_hole_background(&scratch, 1);
    return plu_hw_increase_flush_timer();
}
