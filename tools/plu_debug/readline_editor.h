// Line editing, history and completion by GNU readline. Nothing else of the client knows of it.
#pragma once

#include <memory>

#include "tools/plu_debug/line_editor.h"

namespace client {

/// The terminal's line editor; there can be one. Prompts go to standard output or, when that is no
/// terminal, to standard error.
std::unique_ptr<line_editor> make_readline_editor();

}    // namespace client
