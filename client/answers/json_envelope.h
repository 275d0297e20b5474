// The object that machine output wraps around every command, whatever happened to it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "client/answers/ending.h"
#include "client/base/json.h"
#include "client/base/stopwatch.h"

namespace client {

inline constexpr int json_version = 1;    // of the schema

/// Opens the object: schema, command, words, time.
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
    void end_line();

    json_writer &json_;
    std::string line_;
};

}    // namespace client
