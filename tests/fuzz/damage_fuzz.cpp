// Requests on a card with damaged records: any field of any record holds any kind of damage.
#include <algorithm>
#include <deque>

#include "console/dispatch.h"
#include "records/hw_node.h"
#include "shm/contexts.h"
#include "tests/card/powered_card.h"
#include "tests/fuzz/card.h"
#include "tests/fuzz/requests.h"
#include "tests/support/damage.h"

namespace {

fuzz_card card;

/// Changes the image of a node in the chips' memory; the old one goes back in the end.
class chip_damage {
public:
    ~chip_damage() {
        for (; !old_.empty(); old_.pop_back()) {
            card.card->chip().write_node(old_.back().hw_index, old_.back().image);
        }
    }
    void apply(fuzz_input &input) {
        const uint32_t hw_index = card.hw_indexes[input.below(card.hw_indexes.size())];
        phu_node image = card.card->chip().node(hw_index);
        old_.push_back({hw_index, image});
        auto *bytes = reinterpret_cast<uint8_t *>(&image);
        for (int changes = input.byte() % 4; changes >= 0; --changes) {
            const size_t at = input.below(sizeof image);
            bytes[at] = input.byte();
        }
        card.card->chip().write_node(hw_index, image);
    }

private:
    struct entry {
        uint32_t hw_index;
        phu_node image;
    };
    std::vector<entry> old_;
};

/// One damaged field: a kind of damage that fits, or anything.
void damage_place_of(fuzz_input &input, std::deque<planted_damage> &planted) {
    const damage_place &place = card.map.places[input.below(card.map.places.size())];
    const damage_kind &kind = damage_kinds[input.byte() % damage_kinds.size()];
    const auto value = damaged_value(kind, place, card.map);
    planted.emplace_back(place, value ? *value : input.bytes(place.size));
}

leaf *any_leaf(uint8_t choice) {
    switch (choice % 8) {
        case 0:
            return nullptr;
        case 1:
            return reinterpret_cast<leaf *>(unmapped_address + choice);
        case 2:
            return reinterpret_cast<leaf *>(garbage() + choice);
        default:
            return reinterpret_cast<leaf *>(card.any(record_kind::leaf, choice));
    }
}

/// The library answers with any leaf, level and mask.
int any_answer(tbm_handle_record *, const uint8_t *key, leaf **result, uint8_t *level,
               mask128 *hint_mask, uint8_t *hint_level, uint8_t *hint_codes,
               hint_trail_entry *hint_trail) {
    *result = any_leaf(key[2]);
    *level = key[3];
    *hint_level = key[4];
    hint_mask->high = uint64_t{key[3]} << 32 | key[4];
    std::fill_n(hint_codes, hint_code_bytes, key[3]);
    std::fill_n(hint_trail, hint_trail_entries, hint_trail_entry{key[4], key[3]});
    return key[5] % 8;
}

}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (card.card == nullptr) {
        card.start();
    }
    fuzz_input input(data, size);
    f_vector.phu_search = input.byte() % 2 == 0 ? any_answer : phu_search;
    std::deque<planted_damage> planted;
    chip_damage chip;
    for (int i = input.byte() % 8; i >= 0; --i) {
        if (input.byte() % 8 == 0) {
            chip.apply(input);
        } else {
            damage_place_of(input, planted);
        }
    }
    for (int i = 0; i < 4 && !input.empty(); ++i) {
        const plu_debug_request request = fuzz_request(card, input);
        if (fuzz_request_ends(request) && !fuzz_request_edits(request)) {
            plu_debug_msg_dispatch(&request);
        }
    }
    while (!planted.empty()) {    // the newest first: two may lie in one place
        planted.pop_back();
    }
    return 0;
}
