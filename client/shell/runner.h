// Runs commands from wherever they come: the command line, again and again, a file, standard input.
#pragma once

#include <string>
#include <vector>

#include "client/answers/ending.h"
#include "client/base/json.h"
#include "client/base/output.h"
#include "client/words/arguments.h"
#include "client/words/command_line.h"
#include "client/words/local_commands.h"
#include "client/words/options.h"

namespace client {

class runner {
public:
    runner(const options &chosen, output &out) : chosen_(chosen), out_(out), json_(out) {}

    /// Runs the command line's command, or the file or standard input; as often as was asked for.
    exit_status run();

    /// Runs one typed line with its filters, in JSON as a document of its own.
    exit_status run_alone(const typed_line &typed);

    /// Says that nothing runs at all, in JSON as a document of its own.
    exit_status reject(const std::string &message);

private:
    exit_status run_once();
    exit_status run_repeatedly();
    exit_status run_script();
    exit_status run_typed(const typed_line &typed);
    exit_status run_filtered(const typed_line &typed);
    exit_status run_words(std::vector<std::string> words, json_writer &json);
    exit_status send(const parsed_command &command, const std::vector<std::string> &words,
                     json_writer &json);
    exit_status run_local(const local_command &row, const std::vector<std::string> &words,
                          json_writer &json);
    void end_run();
    exit_status not_run(const std::vector<std::string> &words, const ending &how);

    const options &chosen_;
    output &out_;
    json_writer json_;
    std::string place_;    // file and line of the command, empty on the command line
};

/// True for a line that leaves the shell, or ends a file of commands.
bool is_leaving(const typed_line &typed);

}    // namespace client
