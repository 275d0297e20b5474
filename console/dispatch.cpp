#include "console/dispatch.h"

#include <strings.h>
#include <cstring>

#include "console/command_table.h"
#include "console/load_functions.h"
#include "console/locate_contexts.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"

namespace {

/// The request's name, terminated also when the client sent none of its 232 bytes as NUL.
class command_name {
public:
    explicit command_name(const plu_debug_request &request) {
        memcpy(text_, request.name, sizeof request.name);
    }
    bool is(const char *other) const { return strcasecmp(text_, other) == 0; }
    const char *text() const { return text_; }

private:
    char text_[plu_command_name_size + 1] = {};
};

void list_commands() {
    for (const plu_debug_command &command : msg_handler_list) {
        plu_debug_printf("%-14s  %s\n", command.name, command.help);
    }
}

const plu_debug_command *find_command(const command_name &name) {
    for (const plu_debug_command &command : msg_handler_list) {
        if (name.is(command.name)) {
            return &command;
        }
    }
    return nullptr;
}

/// A shared block that the library names and that can be read; says when only the latter fails.
template <typename Block>
bool operator_block_readable(const Block *block) {
    return block != nullptr &&
           operator_address_readable(reinterpret_cast<uint64_t>(block), sizeof *block);
}

/// Locates the shared blocks on first use, checks them and derives the contexts; says what is
/// missing.
bool contexts_ready() {
    if (plu_shm_ctx == nullptr || phu_shm_ctx == nullptr) {
        plu_debug_shm_ctx_locate();
    }
    if (!operator_block_readable(plu_shm_ctx) || plu_shm_ctx->ready != shm_ready_mark) {
        plu_debug_printf("plu shm ctx not ready\n");
        return false;
    }
    if (!operator_block_readable(phu_shm_ctx) || phu_shm_ctx->ready != shm_ready_mark) {
        plu_debug_printf("phu shm ctx not ready\n");
        return false;
    }
    if (plu_ctx_derive()) {
        return true;
    }
    if (const plu_context *context = plu_shm_ctx->context; context != nullptr) {
        report_unreadable(context);
    } else {
        plu_debug_printf("plu ctx is NULL\n");
    }
    return false;
}

void run(const plu_debug_command &command, const plu_debug_request &request) {
    if (plu_debug_load_functions() != 0) {
        // Commands that need none of the missing functions still work.
        plu_debug_printf("failed to load phu functions\n");
    }
    command.handler(request.a1, request.a2, request.a3);
    unreadable_end();
    plu_debug_printf("\n");
}

}    // namespace

void plu_debug_msg_dispatch(const plu_debug_request *request) {
    if (request == nullptr) {
        return;
    }
    const command_name name(*request);
    unreadable_begin();
    plu_debug_printf("\n");
    if (name.is("-h") || name.is("-help")) {
        list_commands();
        return;
    }
    const plu_debug_command *command = find_command(name);
    if (command == nullptr) {
        plu_debug_printf("no handler for %s\n", name.text());
        return;
    }
    if (contexts_ready()) {
        run(*command, *request);
    }
}
