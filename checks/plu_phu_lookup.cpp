#include "checks/plu_phu_lookup.h"

#include <algorithm>
#include <cstring>

#include "phu/lookup_sim.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/text.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "shm/readable_memory.h"
#include "tbm/access.h"
#include "tbm/key.h"

extern "C" {
int32_t phu_plu_lookup_lf_mismatch_count = 0;
int32_t phu_plu_lookup_lf_mismatch_disp = 0;
}

namespace {

constexpr int32_t lf_mismatch_disp_max = 10;    // shown while the count before is at most 10
constexpr int entry_ctx_flags = 7;              // the library's own

int32_t family_max(const pfx_entry &entry) {
    return entry.type == PFX_IPV4 ? 32 : 128;
}

/// Longest length of a mask that is at most `limit` (up to 128), 0 for none.
int32_t longest_length(const mask128 &mask, int32_t limit) {
    if (limit > 64) {
        const uint64_t low = mask.low >> (128 - std::min(limit, 128));
        if (low != 0) {
            return limit - __builtin_ctzll(low);
        }
        limit = 64;
    }
    const uint64_t high = limit <= 0 ? 0 : mask.high >> (64 - limit);
    return high == 0 ? 0 : limit - __builtin_ctzll(high);
}

/// Everything that phu_search fills but the leaf.
struct search_results {
    mask128 hint_mask{};
    hint_trail_entry hint_trail[hint_trail_entries] = {};
    uint8_t hint_codes[hint_code_bytes] = {};
    uint8_t level = 0;
    uint8_t hint_level = 0;

    /// Hint node met last; 0 for a level that the trail does not have.
    [[nodiscard]] uint32_t hw_index() const {
        return hint_level < hint_trail_entries ? hint_trail[hint_level].hw_index : 0;
    }
};

/// Searches an entry's whole address; true when a leaf was found.
bool search_leaf(const pfx_entry &entry, leaf **found, search_results &results) {
    const phu_search_function search = loaded_function(f_vector.phu_search, "phu_search");
    tbm_handle_record *handle = search == nullptr ? nullptr : tbm_handle_or_report();
    if (handle == nullptr) {
        return false;
    }
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    const auto rc =
        static_cast<uint32_t>(search(handle, key.bytes, found, &results.level, &results.hint_mask,
                                     &results.hint_level, results.hint_codes, results.hint_trail));
    if (rc != 0) {
        plu_debug_printf("phu lookup failed rc 0x%x \n", rc);
        return false;
    }
    return *found != nullptr;
}

/// Counts a found leaf that cannot be one, and reports and drops it while lines are left.
void count_leaf_mismatch(leaf **found, const leaf *original, const tn *node) {
    ++phu_plu_lookup_lf_mismatch_count;
    if (phu_plu_lookup_lf_mismatch_disp++ > lf_mismatch_disp_max) {
        return;
    }
    plu_debug_printf("lf mismatch found in phu_plu_lookup, lf orig %p lf %p, tn %p prefix %s\n",
                     static_cast<const void *>(original), static_cast<const void *>(*found),
                     static_cast<const void *>(node),
                     original == nullptr ? "NULL" : leaf_text(original));
    *found = nullptr;
}

void print_search(const leaf *found, const search_results &results, int32_t expected,
                  int32_t longest) {
    const bool known = readable_memory::holds(found);
    if (!known) {
        report_unreadable(found);
    }
    plu_debug_printf("phu_search() results: leaf %p mask len %d  prefix %s (exp:%d)\n",
                     static_cast<const void *>(found), known ? int{found->key_bits_used} : 0,
                     known ? leaf_text(found) : "(null)", expected);
    plu_debug_printf("    hw index 0x%08x hint mask 0x%016lx 0x%016lx\n", results.hw_index(),
                     results.hint_mask.high, results.hint_mask.low);
    plu_debug_printf("plu lookup start mask len: %d\n", longest);
}

/// The exact-match side of one cross-check; its context values serve every length.
struct exact_match {
    plu_lookup_values values{};
    uint32_t results[2] = {};

    int lookup(const pfx_entry &entry) { return plu_entry_lookup(entry, values, results); }
};

/// Address of an entry as a number, its first byte most significant.
uint32_t address_32(const pfx_entry &entry) {
    const uint8_t *a = entry.address;
    return uint32_t{a[0]} << 24 | uint32_t{a[1]} << 16 | uint32_t{a[2]} << 8 | a[3];
}

/// Best length of a hardware mask that exists. Above the expected length every announced one is
/// tried and the last that exists kept (with no expected length the first one is the answer); from
/// there down the first that exists, and below it the first that is not announced, ends the search.
int32_t best_hw_length(pfx_entry &entry, const mask128 &lengths, int32_t expected, bool verbose) {
    exact_match plu;
    const auto exists = [&](int32_t length) {
        entry.set_length(static_cast<uint8_t>(length));
        const int rc = plu.lookup(entry);
        if (verbose) {
            plu_debug_printf("plu lookup v2: mask len %d, rc 0x%x\n", length,
                             static_cast<uint32_t>(rc));
        }
        return rc == 0;
    };
    const int32_t longest = family_max(entry);
    int32_t best = 0;
    for (int32_t length = longest_length(lengths, longest); length > expected;
         length = longest_length(lengths, length - 1)) {
        if (exists(length)) {
            best = length;
            if (expected == 0) {
                return best;
            }
        }
    }
    for (int32_t length = std::min(expected, longest); length > 0; --length) {
        const bool announced = longest_length(lengths, length) == length;
        if (announced && exists(length)) {
            return length;
        }
        if (announced ? best > 0 : length < expected) {
            return best;
        }
    }
    return 0;
}

}    // namespace

void plu_entry_ctx_fill_buckets(plu_entry_ctx &context) {
    for (int table = 0; table < plu_hash_tables; ++table) {
        const uint32_t hash = context.hash[table];
        context.bucket[table] = hash == plu_no_hash ? nullptr : plu_htbl_bucket(table, hash, 0);
    }
}

int plu_entry_lookup(const pfx_entry &entry, plu_lookup_values &values, uint32_t (&results)[2]) {
    uint32_t *word = values.word;
    int rc = plu_ctx_init(&entry, word, word + 1, word + 2, word + 3, &values.wide);
    if (rc != 0) {
        return rc;
    }
    plu_entry_ctx context{};
    rc = plu_entry_ctx_init(&context, &entry, entry_ctx_flags, 0);
    if (rc != 0) {
        return rc;
    }
    plu_entry_ctx_fill_buckets(context);
    return plu_lookup_entry(&entry, context.hash, word, word + 1, word + 2, word + 3, &values.wide,
                            results, results + 1, 0);
}

void pfx_entry_clear_host_bits(pfx_entry &entry) {
    if (entry.type != PFX_IPV4 && entry.type != PFX_IPV6) {
        return;
    }
    const uint8_t length = entry.length();
    if (length >= family_max(entry)) {
        return;
    }
    uint8_t *partial = entry.address + length / 8;
    uint8_t *end = entry.address + family_max(entry) / 8;
    *partial &= static_cast<uint8_t>(0xff00 >> (length % 8));
    memset(partial + 1, 0, static_cast<size_t>(end - partial - 1));
}

int32_t phu_plu_lookup(pfx_entry &entry, leaf **found, int32_t expected, bool verbose,
                       const leaf *original, const tn *node) {
    search_results results;
    if (!search_leaf(entry, found, results)) {
        return 0;
    }
    if (reinterpret_cast<uintptr_t>(*found) < reinterpret_cast<uintptr_t>(phu_shm_start())) {
        count_leaf_mismatch(found, original, node);
        return 0;
    }
    const int32_t longest = family_max(entry);
    if (verbose) {
        print_search(*found, results, expected, longest);
    }
    exact_match plu;
    for (int32_t length = longest_length(results.hint_mask, longest); length > 0;
         length = longest_length(results.hint_mask, length - 1)) {
        entry.set_length(static_cast<uint8_t>(length));
        pfx_entry prefix = entry;
        pfx_entry_clear_host_bits(prefix);
        const int rc = plu.lookup(prefix);
        if (verbose) {
            plu_debug_printf("plu lookup results: mask len %d, rc 0x%x\n", length,
                             static_cast<uint32_t>(rc));
        }
        if (rc == 0) {
            return length;
        }
    }
    return 0;
}

int32_t phu_hw_plu_lookup(pfx_entry &entry, int32_t expected, bool verbose) {
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    mask128 result{};
    const uint32_t rc = phu_hw_engine_search_sim(key.bytes, result, 0);
    if (rc != 0) {
        plu_debug_printf("phu hw lookup failed rc 0x%x\n", rc);
        return 0;
    }
    if (verbose) {
        plu_debug_printf("phu lkup: mask len %d (exp:%d) ", static_cast<int>(key.key_bits_used),
                         expected);
        plu_debug_printf("prefix 0x%08x hint mask 0x%016lx 0x%016lx\n", address_32(entry),
                         result.high, result.low);
    }
    // The hardware keeps the lengths of IPv4 in its lowest 32 bits.
    const mask128 lengths = entry.type == PFX_IPV4 ? mask128{0, result.low << 32} : result;
    return best_hw_length(entry, lengths, expected, verbose);
}
