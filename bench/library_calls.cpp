#include "bench/library_calls.h"

#include <dlfcn.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/phu_library.h"
#include "platform/plu_library.h"
#include "records/tree.h"
#include "shm/contexts.h"

namespace {

constexpr size_t entry_front = 20;    // what the entries of the commands hold; zeros behind
constexpr int context_flags = 7;

std::vector<library_calls::call> *recorder = nullptr;
phu_search_function real_search = nullptr;

void record(library_calls::kind what, const void *arguments, size_t bytes) {
    library_calls::call made{what, {}};
    memcpy(made.arguments, arguments, bytes);
    recorder->push_back(made);
}

/// The library's function behind the one of this program.
template <typename Function>
Function next_function(Function, const char *name) {
    auto *function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    if (function == nullptr) {
        (void)fprintf(stderr, "no %s in the libraries\n", name);
        abort();
    }
    return function;
}

int recording_search(tbm_handle_record *handle, const uint8_t *key, leaf **result, uint8_t *level,
                     mask128 *hint_mask, uint8_t *hint_level, uint8_t *hint_codes,
                     hint_trail_entry *hint_trail) {
    record(library_calls::kind::search, key, tbm_key_bytes);
    return real_search(handle, key, result, level, hint_mask, hint_level, hint_codes, hint_trail);
}

int search_again(const uint8_t *key) {
    leaf *found = nullptr;
    uint8_t level = 0;
    mask128 mask{};
    uint8_t hint_level = 0;
    uint8_t codes[hint_code_bytes];
    hint_trail_entry trail[hint_trail_entries];
    return f_vector.phu_search(tbm_handle_current(), key, &found, &level, &mask, &hint_level, codes,
                               trail);
}

int lookup_again(pfx_entry &entry, const uint8_t *front) {
    memcpy(&entry, front, entry_front);
    plu_lookup_values values;
    uint32_t results[2];
    plu_entry_ctx context;
    uint32_t *word = values.word;
    plu_ctx_init(&entry, word, word + 1, word + 2, word + 3, &values.wide);
    plu_entry_ctx_init(&context, &entry, context_flags, 0);
    for (int table = 0; table < plu_hash_tables; ++table) {
        context.bucket[table] = plu_htbl_bucket(table, context.hash[table], 0);
    }
    return plu_lookup_entry(&entry, context.hash, word, word + 1, word + 2, word + 3, &values.wide,
                            results, results + 1, 0);
}

int read_again(const uint8_t *arguments) {
    uint32_t hw_index = 0;
    memcpy(&hw_index, arguments, sizeof hw_index);
    uint8_t buffer[34];
    return phu_hw_read_node(1, hw_index, buffer);
}

}    // namespace

// In front of the library's functions of the same names, for this program.
extern "C" int plu_lookup_entry(const pfx_entry *entry, void *hashes, uint32_t *word0,
                                uint32_t *word1, uint32_t *word2, uint32_t *word3, uint64_t *wide,
                                uint32_t *result0, uint32_t *result1, int options) {
    static const auto real = next_function(&plu_lookup_entry, "plu_lookup_entry");
    if (recorder != nullptr) {
        record(library_calls::kind::lookup, entry, entry_front);
    }
    return real(entry, hashes, word0, word1, word2, word3, wide, result0, result1, options);
}

extern "C" int phu_hw_read_node(int unit, uint32_t hw_index, void *buffer) {
    static const auto real = next_function(&phu_hw_read_node, "phu_hw_read_node");
    if (recorder != nullptr) {
        record(library_calls::kind::node_read, &hw_index, sizeof hw_index);
    }
    return real(unit, hw_index, buffer);
}

library_calls::library_calls(const std::function<void()> &action) {
    recorder = &calls_;
    real_search = f_vector.phu_search;
    f_vector.phu_search = recording_search;
    action();
    f_vector.phu_search = real_search;
    recorder = nullptr;
}

uint64_t library_calls::repeat() const {
    pfx_entry entry{};
    uint64_t succeeded = 0;
    for (const call &made : calls_) {
        int rc = 0;
        switch (made.what) {
            case kind::search:
                rc = search_again(made.arguments);
                break;
            case kind::lookup:
                rc = lookup_again(entry, made.arguments);
                break;
            case kind::node_read:
                rc = read_again(made.arguments);
                break;
        }
        succeeded += rc == 0 ? 1 : 0;
    }
    return succeeded;
}
