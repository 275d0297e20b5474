#include "tbm/start_node.h"

#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "shm/readable_memory.h"

namespace {

tn *readable_at(uint64_t address) {
    auto *node = reinterpret_cast<tn *>(address);
    if (readable_memory::holds(node)) {
        return node;
    }
    report_unreadable(address);
    return nullptr;
}

}    // namespace

tn *typed_node(uint64_t address) {
    return tn_address_valid(address) ? readable_at(address) : nullptr;
}

start_node typed_start(uint64_t address, bool bounded) {
    if (address == 0) {
        return {false, nullptr};
    }
    tn *node = bounded ? typed_node(address) : readable_at(address);
    return {node == nullptr, node};
}

start_node announced_start(uint64_t address, bool bounded) {
    const start_node start = typed_start(address, bounded);
    if (start.node != nullptr) {
        plu_debug_printf("walk tn tree start from %p\n", static_cast<void *>(start.node));
    }
    return start;
}
