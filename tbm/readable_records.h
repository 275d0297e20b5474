// Tree records in memory that nobody vouches for: the kernel is asked before one is read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "debug_channel/contexts.h"
#include "tbm/records.h"

/// Answers for one command, silent. After the first few questions in the shared memory it asks for,
/// and remembers, whole runs of pages, so that a walk asks for each about once. Where no record can
/// begin (misaligned), none can be read.
class readable_records {
public:
    readable_records();

    /// One record alone; false for null.
    template <typename Record>
    bool holds(const Record *record) {
        return range(record, sizeof(Record), alignof(Record));
    }

    /// A node with the array that it names: the children of a SEARCH node, the leaf slots of an
    /// INTERN or END node.
    bool node(const tn *record);

    /// The child array of a node, whatever its type, with its slots; no array is fine. More
    /// children than a node can have are garbage.
    bool child_array(const tn *record);

    /// A leaf array with its slots; none is fine. The same for more leaves than a node can hold.
    bool leaves(const leaf_array *array);

    /// A leaf that a slot names; an empty slot is fine.
    bool slot_leaf(const leaf *entry) { return entry == nullptr || holds(entry); }

    /// The address behind the last false.
    [[nodiscard]] uint64_t fault() const { return fault_; }

private:
    static constexpr uint64_t run_bytes = 0x10000;    // asked for at once
    static constexpr int single_questions = 64;

    /// Runs of the shared memory that can be read. The libraries never give it back, so a yes holds
    /// for good.
    struct known_runs {
        uint64_t base;    // of the first run
        uint64_t bits[phu_shm_span / run_bytes / 64];
    };
    static known_runs known_;

    bool range(const void *first, size_t size, size_t alignment) {
        const auto address = reinterpret_cast<uint64_t>(first);
        const uint64_t offset = address - known_.base;
        const uint64_t run = offset / run_bytes;
        const bool known = offset < phu_shm_span && (known_.bits[run / 64] >> run % 64 & 1) != 0 &&
                           offset % run_bytes + size <= run_bytes && address % alignment == 0;
        return known || ask(first, size, alignment);
    }
    bool ask(const void *first, size_t size, size_t alignment);
    static bool run_readable(uint64_t address);
    bool slots(const void *first, int count);
    bool refuse(const void *record);

    uint64_t fault_ = 0;
    int questions_ = 0;
};
