// The actions behind the client's own commands.
#pragma once

#include "client/answers/local_action.h"
#include "client/words/local_commands.h"

namespace client {

/// Requires a row of local_commands().
const local_action &action_of(const local_command &row);

}    // namespace client
