#include "tests/checks/fake_lookup_library.h"

#include <cstring>

#include "reply/text.h"
#include "shm/contexts.h"
#include "tbm/key.h"

namespace {

fake_lookup_library library;

std::string entry_text(const pfx_entry &entry) {
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    return tbmd_key_str(key.bytes, key.key_bits_used);
}

int fake_search(tbm_handle_record * /*handle*/, const uint8_t *key, leaf **result, uint8_t *level,
                mask128 *hint_mask, uint8_t *hint_level, uint8_t *hint_codes,
                hint_trail_entry *hint_trail) {
    library.searched.emplace_back(tbmd_key_str(key, tbm_key_is_ipv6(key) ? 146 : 50));
    *result = library.search_leaf;
    *level = 3;
    *hint_mask = library.search_mask;
    *hint_level = library.search_hint_level;
    memset(hint_codes, 0xee, hint_code_bytes);
    for (uint32_t i = 0; i < hint_trail_entries; ++i) {
        hint_trail[i] = {0x01020000 + i, 0x0a0b0000 + i};
    }
    return library.search_rc;
}

}    // namespace

fake_lookup_library &fake_library() {
    return library;
}

fake_lookup_library &fresh_fake_library() {
    library = {};
    f_vector = {};
    f_vector.phu_search = fake_search;
    return library;
}

int phu_hw_read_node(int /*unit*/, uint32_t /*hw_index*/, void *buffer) {
    memcpy(buffer, &library.hardware_mask, sizeof library.hardware_mask);
    static_cast<uint8_t *>(buffer)[16] = 3;
    return library.node_read_rc;
}

int plu_ctx_init(const pfx_entry * /*entry*/, uint32_t *word0, uint32_t *word1, uint32_t *word2,
                 uint32_t *word3, uint64_t *wide) {
    *word0 = *word1 = *word2 = *word3 = 1;
    *wide = 2;
    return library.ctx_init_rc;
}

int plu_entry_ctx_init(plu_entry_ctx *context, const pfx_entry * /*entry*/, int flags,
                       int options) {
    context->hash[0] = 100;
    context->hash[1] = plu_no_hash;
    context->hash[2] = static_cast<uint32_t>(flags * 10 + options);
    return library.entry_ctx_rc;
}

void *plu_htbl_bucket(int table, uint32_t hash, int options) {
    return reinterpret_cast<void *>(uint64_t{hash} * 0x100 +
                                    static_cast<uint64_t>(table + options));
}

int plu_lookup_entry(const pfx_entry *entry, void *hashes, uint32_t *word0, uint32_t *word1,
                     uint32_t *word2, uint32_t *word3, uint64_t *wide, uint32_t *result0,
                     uint32_t *result1, int /*options*/) {
    memcpy(&library.last_entry_ctx, static_cast<uint8_t *>(hashes) - 8, sizeof(plu_entry_ctx));
    *result0 = *result1 = 7;
    library.looked_up.push_back(entry_text(*entry));
    if (library.on_lookup != nullptr) {
        library.on_lookup();
    }
    const bool initialised = *word0 + *word1 + *word2 + *word3 == 4 && *wide == 2;
    return initialised && library.existing.contains(entry_text(*entry)) ? 0 : fake_not_found;
}
