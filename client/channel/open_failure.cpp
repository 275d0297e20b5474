#include "client/channel/open_failure.h"

#include <cerrno>
#include <cstring>

#include "client/channel/server_process.h"

namespace client {
namespace {

// Two queues of 10 messages of 256 bytes, with what the kernel adds for each message.
constexpr unsigned long both_queues = 2UL * 10 * (256 + 128);

exchange_result no_queues() {
    const auto server = find_server();
    if (!server) {
        return {outcome::no_process, "no process: plu_bkg is not running"};
    }
    const std::string pid = std::to_string(server->pid);
    if (server->seen == sight::hidden) {
        return {outcome::no_process,
                "no process: there are no queues; plu_bkg (pid " + pid +
                    ") runs, but this user cannot see whether in this IPC namespace"};
    }
    const auto limit = queue_limit_of(server->pid);
    if (limit && *limit < both_queues) {
        return {outcome::queue_limit, "plu_bkg (pid " + pid +
                                          ") runs but could not create its queues: its limit is " +
                                          std::to_string(*limit) +
                                          " bytes of message queues (RLIMIT_MSGQUEUE, ulimit -q)"};
    }
    return {outcome::no_process,
            "plu_bkg (pid " + pid +
                ") runs but has no queues: it is still starting, or the limit on message queues "
                "(ulimit -q, /proc/sys/fs/mqueue/queues_max) kept it from creating them"};
}

}    // namespace

exchange_result explain_open_failure(int error) {
    switch (error) {
        case ENOENT:
            return no_queues();
        case EACCES:
        case EPERM:
            return {
                outcome::no_permission,
                "no permission to open the queues of the debug channel: they are not the ones that "
                "plu_bkg makes (mode 0666), or this user is confined"};
        case EMFILE:
        case ENFILE:
        case ENOSPC:
        case ENOMEM:
            return {outcome::queue_limit,
                    std::string("a limit of the system keeps the queues from being opened: ") +
                        std::strerror(error)};
        case EMSGSIZE:
            return {
                outcome::channel_broken,
                "the queues have another message size than those of plu_bkg: some other program "
                "made them"};
        default:
            return {outcome::channel_broken,
                    std::string("the queues cannot be opened: ") + std::strerror(error)};
    }
}

}    // namespace client
