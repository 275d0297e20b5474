// libqmt_phu.so: node reads and the search path.

#include <cstring>

#include "platform/phu_library.h"
#include "simcard/card.h"

using simcard::Card;

extern "C" {

int phu_hw_read_node(int, uint32_t hw_index, void *buffer) {
    return Card::instance().read_node(hw_index, buffer);
}

int phu_search(tbm_handle_record *handle, const uint8_t *key, leaf **result, uint8_t *level,
               mask128 *hint_mask, uint8_t *hint_level, uint8_t *hint_codes,
               hint_trail_entry *hint_trail) {
    Card &card = Card::instance();
    simcard::Key wanted;
    memcpy(wanted.bytes, key, tbm_key_bytes);
    simcard::SearchResult found;
    const uint32_t code = handle == &card.fixed().handle ? card.search(wanted, found)
                                                         : uint32_t{simcard::card_not_ready};
    if (code != simcard::card_ok) {
        return static_cast<int>(code);
    }
    *result = found.best;
    *level = found.level;
    *hint_mask = found.hint_mask;
    *hint_level = found.hint_level;
    memset(hint_codes, 0, hint_code_bytes);
    memcpy(hint_trail, found.trail, sizeof found.trail);
    return 0;
}

int phu_lkup_entry(const pfx_entry *entry, leaf **result) {
    if (entry == nullptr || result == nullptr) {
        return static_cast<int>(simcard::card_bad_entry);
    }
    *result = nullptr;
    const uint32_t code = Card::instance().find(*entry, *result);
    const bool absent = code == simcard::card_ok && *result == nullptr;
    return static_cast<int>(absent ? simcard::card_absent : code);
}

int tbmh_count_prefixes(tbm_handle_record *) {
    return static_cast<int>(Card::instance().prefixes());
}
}
