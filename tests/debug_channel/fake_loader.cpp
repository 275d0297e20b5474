#include "tests/debug_channel/fake_loader.h"

#include <dlfcn.h>

#include "platform/osag.h"

fake_loader_state &fake_loader() {
    static fake_loader_state state;
    return state;
}

namespace {

void set_library_variable(void *library, const char *name, void *value) {
    auto **variable = static_cast<void **>(dlsym(library, name));
    if (variable != nullptr) {
        *variable = value;
    }
}

}    // namespace

void *_dlopen(const char *file, int) {
    fake_loader_state &state = fake_loader();
    state.opened.emplace_back(file);
    if (state.absent_file == file) {
        return nullptr;
    }
    const std::string variant =
        state.missing_symbol.empty() ? "complete" : "without_" + state.missing_symbol;
    void *library = dlopen((FAKE_CARD_DIR "/card_" + variant + ".so").c_str(), RTLD_NOW);
    if (library != nullptr) {
        set_library_variable(library, "plu_shm_ctx", state.plu_shm);
        set_library_variable(library, "phu_shm_ctx", state.phu_shm);
    }
    return library;
}
