// The object that machine output wraps around every command, whatever happened to it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/plu_debug/ending.h"
#include "tools/plu_debug/json.h"
#include "tools/plu_debug/stopwatch.h"

namespace client {

/// Opens the object: command, words, time.
void begin_envelope(const std::vector<std::string> &words, json_writer &json);

/// Writes the arguments as they are sent; none for commands of the client's own.
void write_arguments(std::span<const uint64_t> numbers, json_writer &json);

/// Closes the object: seconds, verdict, outcome, message, exit_status.
void end_envelope(const stopwatch &watch, const ending &how, json_writer &json);

/// A whole object for what never ran.
void write_unsent(const std::vector<std::string> &words, const ending &how, json_writer &json);

/// Text that becomes the strings of the member "lines"; a line may arrive in any number of pieces.
class json_lines : public text_sink {
public:
    explicit json_lines(json_writer &json);
    void take(std::string_view text) override;
    /// Ends the member, and a line that was cut off.
    void close();

private:
    void part(std::string_view text);
    void end_line();

    json_writer &json_;
    bool first_ = true;
    bool open_ = false;
};

}    // namespace client
