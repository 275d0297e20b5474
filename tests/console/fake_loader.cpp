#include "tests/console/fake_loader.h"

#include "platform/osag.h"

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
