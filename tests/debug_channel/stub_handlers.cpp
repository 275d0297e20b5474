#include "tests/debug_channel/stub_handlers.h"

#include <mutex>
#include <utility>

#include "checks/commands.h"
#include "debug_channel/commands.h"
#include "phu/commands.h"
#include "tbm/commands.h"

namespace {

std::mutex lock;
std::vector<handler_call> calls;
std::function<void(const handler_call &)> hook;

void record(const char *command, uint64_t a1, uint64_t a2, uint64_t a3) {
    const handler_call call = {command, a1, a2, a3};
    std::function<void(const handler_call &)> current;
    {
        const std::scoped_lock hold(lock);
        calls.push_back(call);
        current = hook;
    }
    if (current) {
        current(call);
    }
}

}    // namespace

std::vector<handler_call> handler_calls() {
    const std::scoped_lock hold(lock);
    return calls;
}

void clear_handler_calls() {
    const std::scoped_lock hold(lock);
    calls.clear();
}

void set_handler_hook(std::function<void(const handler_call &)> new_hook) {
    const std::scoped_lock hold(lock);
    hook = std::move(new_hook);
}

#define STUB(command)                                           \
    void cmd_##command(uint64_t a1, uint64_t a2, uint64_t a3) { \
        record(#command, a1, a2, a3);                           \
    }

STUB(dump)
STUB(ckall)
STUB(walk)
STUB(rootsn)
STUB(banksum)
STUB(bankbitmap)
STUB(hwidxr)
STUB(hwidxwalk)
STUB(hwdis)
STUB(regr32)
STUB(regw32)
STUB(memr)
STUB(memw8)
STUB(memw32)
STUB(v4)
STUB(v4hw)
STUB(cklkupv4)
STUB(v6)
STUB(v6hw)
STUB(cklkupv6)
STUB(addv4)
STUB(delv4)
STUB(addv6)
STUB(delv6)
STUB(tn)
STUB(tnwalk)
STUB(tnbl)
STUB(cntpfx)
STUB(setbmsf)
STUB(ckbmsf)
STUB(ckbank)
STUB(ckhmask)
STUB(cklkup)
STUB(cklkuphw)
STUB(ckparbl)
STUB(showla)
