// Assertion of the process; part of every build type.
#pragma once

#include <source_location>

/// Aborts the process unless `holds`, after writing `text` and the place to standard error.
void require(bool holds, const char *text,
             const std::source_location &place = std::source_location::current());
