// Runs one command and prints its reply as one JSON object, line by line as it comes.
#pragma once

#include "tools/plu_debug/arguments.h"
#include "tools/plu_debug/json.h"
#include "tools/plu_debug/options.h"
#include "tools/plu_debug/verdict.h"

namespace client {

/// Writes the object whatever happens; its last members say how it ended. Returns the exit status.
exit_status run_as_json(const parsed_command &command, const std::vector<std::string> &words,
                        const options &chosen, json_writer &json);

/// The same object for words that were never sent.
void write_unsent(const std::vector<std::string> &words, const std::string &message,
                  json_writer &json);

/// Writes counters as one object member.
void write_counters(const reply_judge &judge, json_writer &json);

}    // namespace client
