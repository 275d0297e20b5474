// The pieces of which nodes in a Graphviz file are made: tables in its own markup.
#pragma once

#include <string>

namespace client {

/// The fill for a node of this type.
const char *colour_of(const std::string &type);

/// Text as the markup takes it.
std::string html(const std::string &text);

/// Plain text in small letters.
std::string small(const std::string &text);

/// A row of a table with one cell of markup.
std::string row(const std::string &content);

/// The attributes of a frame: whole for nodes with hardware, broken for others, heavy for the node
/// in question.
std::string frame(bool hinted, bool in_question);

/// A filled table of rows with such a frame.
std::string box(const std::string &frame, const std::string &type, const std::string &rows);

/// What fills and frames mean.
std::string legend();

}    // namespace client
