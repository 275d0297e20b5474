// Dispatcher of the debug channel. Debug thread only.
#pragma once

#include "records/request.h"

/// Runs one request to its end, replying through the sink; a null request is ignored.
void plu_debug_msg_dispatch(const plu_debug_request *request);
