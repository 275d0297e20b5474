// The simulated card under the process's commands, with the capturing reply sink.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "shm/contexts.h"
#include "simcard/card.h"
#include "tbm/key.h"
#include "tests/support/capture.h"

extern "C" {
uint32_t plu_add_entry(const pfx_entry *entry);
uint32_t plu_delete_entry(const pfx_entry *entry);
int phu_search(tbm_handle_record *handle, const uint8_t *key, leaf **result, uint8_t *level,
               mask128 *hint_mask, uint8_t *hint_level, uint8_t *hint_codes,
               hint_trail_entry *hint_trail);
int phu_lkup_entry(const pfx_entry *entry, leaf **result);
int tbmh_count_prefixes(tbm_handle_record *handle);
int ot_csr_read(int npu, uint64_t address, int width, int count, void *out);
int ot_csr_write(int npu, uint64_t address, int width, int count, int flags, const void *value);
}

/// Powers the card on and points the process's contexts and function table at it.
inline simcard::Card &powered_card(const simcard::CardOptions &options = {}) {
    simcard::Card &card = simcard::Card::instance();
    if (!card.power_on(options)) {
        abort();
    }
    plu_shm_ctx = &card.fixed().plu_shm;
    phu_shm_ctx = &card.fixed().phu_shm;
    f_vector = {plu_add_entry, plu_delete_entry, phu_search,         phu_lkup_entry,
                ot_csr_read,   ot_csr_write,     tbmh_count_prefixes};
    plu_ctx_derive();
    return card;
}

/// Number behind a label in a command's text, e.g. number_after(text, "bmsf MISMATCH:"). Fails hard
/// when the label is missing, so that a check cannot pass for want of its line.
inline long number_after(const std::string &text, const std::string &label) {
    const size_t at = text.find(label);
    if (at == std::string::npos) {
        throw std::runtime_error("no \"" + label + "\" in:\n" + text.substr(0, 2000));
    }
    return std::stol(text.substr(at + label.size()));
}

/// What the command of the prefix's family answers for it.
inline std::string asked(const pfx_entry &entry, command_function v4, command_function v6) {
    uint64_t halves[2] = {};
    for (int i = 0; i < 16; ++i) {
        halves[i / 8] = halves[i / 8] << 8 | entry.address[i];
    }
    const uint64_t vrf = pfx_entry_vrf(entry);
    return entry.type == PFX_IPV6 ? reply_of(v6, halves[0], halves[1], 1000 * vrf + entry.length())
                                  : reply_of(v4, halves[0] >> 32, entry.length(), vrf);
}

inline void flip_bit(simcard::Key &key, uint32_t bit) {
    key.bytes[bit / 8] ^= static_cast<uint8_t>(0x80 >> (bit % 8));
}

/// The first bits of a key, zeros behind.
inline simcard::Key front_of(const simcard::Key &key, uint32_t bits) {
    pfx_entry entry;
    tbm_key_to_pfx_entry(entry, key.bytes, bits);
    return *simcard::key_of(entry);
}

/// What a card's commands were told, as a model of the table.
class TableModel {
public:
    /// Adds or removes an entry on the card; the codes must fit the model.
    bool toggle(simcard::Card &card, const pfx_entry &entry) {
        const simcard::Key key = *simcard::key_of(entry);
        const bool present = entries_.erase(key) != 0;
        if (!present) {
            entries_.emplace(key, entry);
        }
        return (present ? card.remove(entry) : card.add(entry)) == simcard::card_ok;
    }
    void load(simcard::Card &card, const std::vector<pfx_entry> &entries) {
        for (const pfx_entry &entry : entries) {
            entries_.emplace(*simcard::key_of(entry), entry);
        }
        card.load(entries);
    }
    /// The longest prefix that holds an address, of 0 bits for none.
    [[nodiscard]] simcard::Key longest_match(const simcard::Key &address) const {
        for (uint32_t bits = address.bits; bits >= tbm_header_bits; --bits) {
            if (const auto found = entries_.find(front_of(address, bits));
                found != entries_.end()) {
                return found->first;
            }
        }
        return {};
    }
    [[nodiscard]] const std::map<simcard::Key, pfx_entry> &entries() const { return entries_; }

private:
    std::map<simcard::Key, pfx_entry> entries_;
};
