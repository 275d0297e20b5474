// Runs one command and prints its reply as one JSON object, line by line as it comes.
#pragma once

#include "client/answers/local_action.h"
#include "client/base/json.h"
#include "client/replies/verdict.h"
#include "client/words/arguments.h"
#include "client/words/options.h"

namespace client {

/// Writes the object whatever happens; its last members say how it ended. Returns the exit status.
exit_status run_as_json(const parsed_command &command, const std::vector<std::string> &words,
                        const options &chosen, json_writer &json);

/// The same for a command of the client's own.
exit_status run_local_as_json(const local_action &action, const std::vector<std::string> &words,
                              const options &chosen, json_writer &json);

/// Writes counters as one object member.
void write_counters(const reply_judge &judge, json_writer &json);

}    // namespace client
