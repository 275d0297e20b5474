// libqmt_phu.so: node reads and the search path.

#include <cstring>

#include "platform/phu_library.h"
#include "simcard/card.h"

using simcard::Card;

extern "C" {

int phu_hw_read_node(int, uint32_t hw_index, void *buffer) {
    return Card::instance().chip().read_index(hw_index, buffer);
}

int phu_search(tbm_handle_record *handle, const uint8_t *key, leaf **result, uint8_t *level,
               mask128 *hint_mask, uint8_t *hint_level, uint8_t *hint_codes,
               hint_trail_entry *hint_trail) {
    Card &card = Card::instance();
    if (!card.ready() || handle != &card.fixed().handle) {
        return static_cast<int>(simcard::card_not_ready);
    }
    simcard::Key wanted;
    memcpy(wanted.bytes, key, tbm_key_bytes);
    const simcard::SearchResult found = card.search(wanted);
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
    *result = Card::instance().find(*entry);
    return *result == nullptr ? static_cast<int>(simcard::card_absent) : 0;
}

int tbmh_count_prefixes(tbm_handle_record *) {
    return static_cast<int>(Card::instance().prefixes());
}
}
