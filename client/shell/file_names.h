// Names of files that a typed word may become.
#pragma once

#include "client/words/completion.h"

namespace client {

/// Puts the files whose names begin with what is typed in front of the candidates: folders with a
/// slash, names with blanks in quotes. Hidden ones only when the word begins like them.
void add_file_names(completion_set &set);

}    // namespace client
