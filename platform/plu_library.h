// The PLU side of the closed PLU/PHU library: start-up, background work and the exact-match path.
// All functions return 0 on success and a code of the library otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

struct pfx_entry;

/// Start-up record of plu_init.
struct plu_init_params {
    uint32_t word0;         // 0: always 7
    uint32_t pad4;          // 4
    void *event_manager;    // 8
    uint32_t word16;        // 16: always 0
    uint32_t pad20;         // 20
};
static_assert(sizeof(plu_init_params) == 24);
static_assert(offsetof(plu_init_params, event_manager) == 8);
static_assert(offsetof(plu_init_params, word16) == 16);

/// Marks a hash table of plu_entry_ctx for which the entry has no hash value.
inline constexpr uint32_t plu_no_hash = 0xEFEFEFEFU;

inline constexpr int plu_hash_tables = 3;

/// Exact-match work record; 96 bytes are reserved for it, the library uses at least the first 48.
struct plu_entry_ctx {
    uint64_t library_word;             // 0
    uint32_t hash[plu_hash_tables];    // 8: one per hash table
    uint32_t pad20;                    // 20
    void *bucket[plu_hash_tables];     // 24: filled by the process
    uint8_t reserved[48];              // 48
};
static_assert(sizeof(plu_entry_ctx) == 96);
static_assert(offsetof(plu_entry_ctx, hash) == 8);
static_assert(offsetof(plu_entry_ctx, bucket) == 24);

/// Values that plu_ctx_init fills for the lookups of one entry; passed by address, never read.
struct plu_lookup_values {
    uint32_t word[4];
    uint64_t wide;
};

extern "C" {

int plu_init(const plu_init_params *params);
int plu_edm_init(void *event_manager);
int plu_config_profile_init(void *event_manager);
int plu_startup_done_notify_register(void *event_manager);

/// Lets the library fill holes of the hardware tables; it may write the 32-bit value.
int plu_fill_hole_background(uint32_t *scratch, int count);

/// Advances the hardware flush timer by one step.
int plu_hw_increase_flush_timer(void);

int plu_ctx_init(const pfx_entry *entry, uint32_t *word0, uint32_t *word1, uint32_t *word2,
                 uint32_t *word3, uint64_t *wide);
int plu_entry_ctx_init(plu_entry_ctx *context, const pfx_entry *entry, int flags, int options);

/// Bucket of a hash table for a hash value; null when there is none.
void *plu_htbl_bucket(int table, uint32_t hash, int options);

/// Looks one entry up by its exact length. `hashes` is the address of plu_entry_ctx::hash.
int plu_lookup_entry(const pfx_entry *entry, void *hashes, uint32_t *word0, uint32_t *word1,
                     uint32_t *word2, uint32_t *word3, uint64_t *wide, uint32_t *result0,
                     uint32_t *result1, int options);

/// Entry functions, loaded at run time from libqmt_plu.so.
using plu_entry_function = uint32_t (*)(const pfx_entry *entry);
}
