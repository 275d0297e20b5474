#include "console/load_functions.h"

#include <dlfcn.h>
#include <cstddef>
#include <cstring>

#include "platform/osag.h"
#include "reply/reply.h"
#include "shm/contexts.h"

namespace {

struct function_row {
    const char *symbol;
    size_t slot_at;    // offset in f_vector
};

constexpr int symbols_per_step = 3;

/// One step: the library to open (null: the one opened last) and functions that are all looked up
/// before the first of them is tested.
struct load_step {
    const char *library;
    function_row functions[symbols_per_step];
};

#define FUNCTION_ROW(name) \
    { #name, offsetof(plu_function_table, name) }

constexpr load_step load_steps[] = {
    {"libqmt_plu.so", {FUNCTION_ROW(plu_add_entry)}},
    {nullptr, {FUNCTION_ROW(plu_delete_entry)}},
    {"libqmt_phu.so",
     {FUNCTION_ROW(phu_lkup_entry), FUNCTION_ROW(phu_search), FUNCTION_ROW(tbmh_count_prefixes)}},
    {"libostrel_direct_access.so", {FUNCTION_ROW(ot_csr_read)}},
    {nullptr, {FUNCTION_ROW(ot_csr_write)}},
};

#undef FUNCTION_ROW

bool slot_filled(const function_row &row) {
    void *function = nullptr;
    memcpy(&function, reinterpret_cast<const char *>(&f_vector) + row.slot_at, sizeof function);
    return function != nullptr;
}

void fill_slot(void *library, const function_row &row) {
    void *function = dlsym(library, row.symbol);
    memcpy(reinterpret_cast<char *>(&f_vector) + row.slot_at, &function, sizeof function);
}

/// First row of a step whose slot is empty, null when none is.
const function_row *first_empty(const load_step &step) {
    for (const function_row &row : step.functions) {
        if (row.symbol != nullptr && !slot_filled(row)) {
            return &row;
        }
    }
    return nullptr;
}

bool all_loaded() {
    for (const load_step &step : load_steps) {
        if (first_empty(step) != nullptr) {
            return false;
        }
    }
    return true;
}

bool functions_loaded(void *library, const load_step &step) {
    for (const function_row &row : step.functions) {
        if (row.symbol != nullptr) {
            fill_slot(library, row);
        }
    }
    const function_row *missing = first_empty(step);
    if (missing != nullptr) {
        plu_debug_printf("failed to load %s\n", missing->symbol);
    }
    return missing == nullptr;
}

}    // namespace

int plu_debug_load_functions() {
    if (all_loaded()) {
        return 0;
    }
    void *library = nullptr;
    for (const load_step &step : load_steps) {
        if (step.library != nullptr) {
            library = _dlopen(step.library, 0);
            if (library == nullptr) {
                plu_debug_printf("dlopen() failed for %s \n", step.library);
                return 1;
            }
        }
        if (!functions_loaded(library, step)) {
            return 1;
        }
    }
    return 0;
}
