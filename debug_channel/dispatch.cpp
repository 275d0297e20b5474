#include "debug_channel/dispatch.h"

#include <strings.h>
#include <cstring>

#include "debug_channel/command_table.h"
#include "debug_channel/contexts.h"
#include "debug_channel/load_functions.h"
#include "debug_channel/locate_contexts.h"
#include "debug_channel/reply.h"

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

/// Locates the shared blocks on first use, checks them and derives the contexts; says what is
/// missing.
bool contexts_ready() {
    if (plu_shm_ctx == nullptr || phu_shm_ctx == nullptr) {
        plu_debug_shm_ctx_locate();
    }
    if (plu_shm_ctx == nullptr || plu_shm_ctx->ready != shm_ready_mark) {
        plu_debug_printf("plu shm ctx not ready\n");
        return false;
    }
    if (phu_shm_ctx == nullptr || phu_shm_ctx->ready != shm_ready_mark) {
        plu_debug_printf("phu shm ctx not ready\n");
        return false;
    }
    plu_ctx = plu_shm_ctx->context;
    if (plu_ctx == nullptr) {
        plu_debug_printf("plu ctx is NULL\n");
        return false;
    }
    phu_ctx = &plu_ctx->phu;
    return true;
}

void run(const plu_debug_command &command, const plu_debug_request &request) {
    if (plu_debug_load_functions() != 0) {
        // Commands that need none of the missing functions still work.
        plu_debug_printf("failed to load phu functions\n");
    }
    command.handler(request.a1, request.a2, request.a3);
    plu_debug_printf("\n");
}

}    // namespace

void plu_debug_msg_dispatch(const plu_debug_request *request) {
    if (request == nullptr) {
        return;
    }
    const command_name name(*request);
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
