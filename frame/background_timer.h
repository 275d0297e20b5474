// The periodic timer that drives the library's background work. Main thread only.
#pragma once

/// Attaches the timer to the event manager. Returns 0, or the errno value of the failure (0 when
/// the platform failed without one).
[[nodiscard]] int plu_bkg_timer_init(void *event_manager);

/// Arms the timer: first expiry and interval 5 seconds. Returns 0 or the errno value of the
/// failure.
[[nodiscard]] int plu_bkg_timer_start();

/// Serves one expiry on the dispatching thread; the argument is ignored. Returns the result of
/// plu_hw_increase_flush_timer.
int plu_bkg_timer_handler(void *argument);
