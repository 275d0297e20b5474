// What of the library's memory can be read. Nobody vouches for a tree that is looked at because it
// is damaged: every pointer is asked for before it is followed, in one comparison and one bit when
// it leads into shared memory that was asked for before. Debug thread only.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "shm/contexts.h"

class readable_memory {
public:
    /// Most slots of one array: the internal prefixes of the largest stride.
    static constexpr int slots_max = 2047;

    /// Forgets what lies outside the shared memory: its owners may give it back. For the beginning
    /// of a command.
    static void forget_pages();

    /// Looks from `block` (plu_shm_ctx) on; what is known of another block is forgotten.
    static void look_from(const void *block);

    /// True when a record can be read over its whole length and begins where one can. False for
    /// null.
    template <typename Record>
    [[gnu::always_inline]] static bool holds(const Record *record) {
        return known<Record>(record) || ask(record, bytes_of<Record>, alignof(Record));
    }

    /// The same for the first `count` slots (1 to slots_max) of an array.
    template <typename Slot>
    [[gnu::always_inline]] static bool holds_slots(const Slot *first, int count) {
        static_assert(bytes_of<Slot> * slots_max <= reach);
        return known<Slot>(first) ||
               ask(first, bytes_of<Slot> * static_cast<size_t>(count), alignof(Slot));
    }

    /// The same for a table of any size.
    template <typename Slot>
    static bool holds_table(const Slot *first, int count) {
        while (count > slots_max && holds_slots(first, slots_max)) {
            first += slots_max;
            count -= slots_max;
        }
        return count <= slots_max && (count <= 0 || holds_slots(first, count));
    }

private:
    static constexpr uint64_t run_bytes = 0x10000;    // asked for at once
    static constexpr uint64_t reach = 0x4000;         // what may follow a place in a known run

    // Of a slot, too, which is a pointer.
    template <typename Record>
    static constexpr size_t bytes_of = sizeof(Record);    // NOLINT(bugprone-sizeof-expression)

    template <typename Record>
    [[gnu::always_inline]] static bool known(const Record *record) {
        static_assert(bytes_of<Record> <= reach);
        // Turned to the right, a misaligned offset is as far out as one beyond the span.
        constexpr int turn = std::countr_zero(alignof(Record));
        const uint64_t place = std::rotr(reinterpret_cast<uint64_t>(record) - base_, turn);
        const uint64_t run = place / (run_bytes >> turn);
        return place < phu_shm_span >> turn && (known_[run / 64] >> run % 64 & 1) != 0;
    }
    [[gnu::cold]] static bool ask(const void *first, size_t size, size_t alignment);
    static bool run_known(uint64_t address);
    static bool page_readable(uint64_t page);

    static uint64_t base_;    // of the first run
    /// Bit n: run n and `reach` bytes behind it can be read. The libraries never give memory back,
    /// so a yes holds for good.
    static uint64_t known_[phu_shm_span / run_bytes / 64];
};
