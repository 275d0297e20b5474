// Assertion of the process; part of every build type.
#pragma once

/// Aborts the process unless `holds`, after writing `text` and the caller's place to standard
/// error.
void require(bool holds, const char *text, const char *file = __builtin_FILE(),
             int line = __builtin_LINE());
