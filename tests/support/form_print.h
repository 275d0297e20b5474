// A record of the client printed again by its form.
#pragma once

#include <string>

#include "client/replies/reply_lines.h"

std::string form_printed(const client::reply_record &record);

/// What is wrong with a line of the process: it has no form, or its form prints another; empty when
/// nothing is.
std::string form_fault(const client::reply_line &line);
