// libqmt_plu.so: start-up, background work, entry functions and the exact-match path.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "platform/plu_library.h"
#include "simcard/start.h"

using simcard::Card;
using simcard::ExactMatch;
using simcard::MatchEntry;

namespace {

constexpr uint32_t init_kind = 7;

uint32_t ready_code() {
    return Card::instance().ready() ? simcard::card_ok : simcard::card_not_ready;
}

int manager_code(const void *event_manager) {
    return event_manager == nullptr ? static_cast<int>(simcard::card_bad_entry)
                                    : static_cast<int>(ready_code());
}

}    // namespace

extern "C" {

int plu_init(const plu_init_params *params) {
    if (params == nullptr || params->word0 != init_kind || params->event_manager == nullptr) {
        return static_cast<int>(simcard::card_bad_entry);
    }
    return static_cast<int>(simcard::start_from_environment());
}

int plu_edm_init(void *event_manager) {
    return manager_code(event_manager);
}

int plu_config_profile_init(void *event_manager) {
    return manager_code(event_manager);
}

int plu_startup_done_notify_register(void *event_manager) {
    return manager_code(event_manager);
}

int plu_fill_hole_background(uint32_t *scratch, int) {
    const uint32_t code = Card::instance().fill_holes();
    if (scratch != nullptr) {
        *scratch = Card::instance().starved();
    }
    return static_cast<int>(code);
}

int plu_hw_increase_flush_timer() {
    return static_cast<int>(Card::instance().flush());
}

uint32_t plu_add_entry(const pfx_entry *entry) {
    return entry == nullptr ? uint32_t{simcard::card_bad_entry} : Card::instance().add(*entry);
}

uint32_t plu_delete_entry(const pfx_entry *entry) {
    return entry == nullptr ? uint32_t{simcard::card_bad_entry} : Card::instance().remove(*entry);
}

int plu_ctx_init(const pfx_entry *entry, uint32_t *word0, uint32_t *word1, uint32_t *word2,
                 uint32_t *word3, uint64_t *wide) {
    if (entry == nullptr) {
        return static_cast<int>(simcard::card_bad_entry);
    }
    *word0 = entry->type;
    *word1 = static_cast<uint32_t>(entry->vrf[0] << 8 | entry->vrf[1]);
    *word2 = entry->length();
    *word3 = 0;
    *wide = 0;
    return static_cast<int>(ready_code());
}

int plu_entry_ctx_init(plu_entry_ctx *context, const pfx_entry *entry, int, int) {
    MatchEntry match;
    if (context == nullptr || entry == nullptr || !ExactMatch::make_entry(*entry, match)) {
        return static_cast<int>(simcard::card_bad_entry);
    }
    const auto hashes = ExactMatch::hashes(match);
    memcpy(context->hash, hashes.data(), sizeof context->hash);
    return 0;
}

void *plu_htbl_bucket(int table, uint32_t hash, int) {
    return Card::instance().match().bucket(table, hash);
}

int plu_lookup_entry(const pfx_entry *entry, void *hashes, uint32_t *, uint32_t *, uint32_t *,
                     uint32_t *, uint64_t *, uint32_t *result0, uint32_t *result1, int) {
    MatchEntry match;
    if (entry == nullptr || hashes == nullptr || !ExactMatch::make_entry(*entry, match)) {
        return static_cast<int>(simcard::card_bad_entry);
    }
    // The hashes are those of a whole work record.
    const auto *context = reinterpret_cast<const plu_entry_ctx *>(
        static_cast<const char *>(hashes) - offsetof(plu_entry_ctx, hash));
    ExactMatch::Homes homes;
    std::transform(std::begin(context->bucket), std::end(context->bucket), homes.begin(),
                   [](void *bucket) { return static_cast<simcard::Bucket *>(bucket); });
    return static_cast<int>(Card::instance().match_in(homes, match, *result0, *result1));
}
}
