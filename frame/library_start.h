// Start of the PLU library for the card's hardware profile.
#pragma once

/// Runs the library's start-up calls in order, each only after the one before succeeded. Returns
/// whether all succeeded.
[[nodiscard]] bool plu_library_start(void *event_manager);
