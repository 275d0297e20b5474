#include "tests/console/stub_handlers.h"

#include <mutex>
#include <utility>

#include "checks/commands.h"
#include "console/commands.h"
#include "phu/commands.h"
#include "platform/osag.h"
#include "tbm/commands.h"

namespace {

std::mutex lock;
std::vector<handler_call> calls;
std::function<void(const handler_call &)> hook;

void record(const handler_call &call) {
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

void reset_handlers(std::function<void(const handler_call &)> new_hook) {
    const std::scoped_lock hold(lock);
    calls.clear();
    hook = std::move(new_hook);
}

#define COMMANDS(X) \
    X(dump)         \
    X(ckall)        \
    X(walk)         \
    X(rootsn)       \
    X(banksum)      \
    X(bankbitmap)   \
    X(hwidxr)       \
    X(hwidxwalk)    \
    X(hwdis)        \
    X(regr32)       \
    X(regw32)       \
    X(memr)         \
    X(memw8)        \
    X(memw32)       \
    X(v4)           \
    X(v4hw)         \
    X(cklkupv4)     \
    X(v6)           \
    X(v6hw)         \
    X(cklkupv6)     \
    X(addv4)        \
    X(delv4)        \
    X(addv6)        \
    X(delv6)        \
    X(tn)           \
    X(tnwalk)       \
    X(tnbl)         \
    X(cntpfx) X(setbmsf) X(ckbmsf) X(ckbank) X(ckhmask) X(cklkup) X(cklkuphw) X(ckparbl) X(showla)

#define STUB(command)                                           \
    void cmd_##command(uint64_t a1, uint64_t a2, uint64_t a3) { \
        record({#command, a1, a2, a3});                         \
    }

COMMANDS(STUB)

fake_loader_state &fake_loader() {
    static fake_loader_state state;
    return state;
}

void *_dlopen(const char *file, int) {
    fake_loader_state &state = fake_loader();
    state.opened.emplace_back(file);
    return state.absent_file == file ? nullptr : &state.opened;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the linker's name for the replaced function
extern "C" void *__wrap_dlsym(void *library, const char *name) {
    fake_loader_state &state = fake_loader();
    if (library != &state.opened || state.missing_symbol == name) {
        return nullptr;
    }
    const std::string symbol(name);
    return symbol == "plu_shm_ctx"   ? static_cast<void *>(&state.plu_shm)
           : symbol == "phu_shm_ctx" ? static_cast<void *>(&state.phu_shm)
                                     : static_cast<void *>(&state);
}
