#include "shm/readable_memory.h"

#include <cstring>

#include "shm/readable.h"

uint64_t readable_memory::base_ = 0;
uint64_t readable_memory::known_[] = {};

void readable_memory::look_from(const void *block) {
    const uint64_t base = reinterpret_cast<uint64_t>(block) / run_bytes * run_bytes;
    if (base != base_) {
        memset(known_, 0, sizeof known_);
        base_ = base;
    }
}

namespace {

constexpr uint64_t page_bytes = 4096;
constexpr size_t pages_remembered = 256;

/// Last answer for a page, at the place that its number leads to; page 0 for none.
struct page_answer {
    uint64_t page;
    bool readable;
};
page_answer answers[pages_remembered];

}    // namespace

void readable_memory::forget_pages() {
    memset(answers, 0, sizeof answers);
}

/// Asks for the whole run around an address, once; false outside the shared memory.
bool readable_memory::run_known(uint64_t address) {
    const uint64_t run = (address - base_) / run_bytes;
    if (run >= phu_shm_span / run_bytes) {
        return false;
    }
    const uint64_t bit = uint64_t{1} << run % 64;
    if ((known_[run / 64] & bit) == 0 &&
        address_readable(base_ + run * run_bytes, run_bytes + reach)) {
        known_[run / 64] |= bit;
    }
    return (known_[run / 64] & bit) != 0;
}

bool readable_memory::page_readable(uint64_t page) {
    page_answer &answer = answers[page % pages_remembered];
    if (answer.page != page || page == 0) {
        answer = {page, address_readable(page * page_bytes, 1)};
    }
    return answer.readable;
}

bool readable_memory::ask(const void *first, size_t size, size_t alignment) {
    const auto address = reinterpret_cast<uint64_t>(first);
    if (first == nullptr || address % alignment != 0) {
        return false;
    }
    const uint64_t last = address + (size - 1);
    if (last < address) {
        return false;
    }
    if (run_known(address)) {
        return true;
    }
    uint64_t page = address / page_bytes;
    while (page < last / page_bytes && page_readable(page)) {
        ++page;
    }
    return page == last / page_bytes && page_readable(page);
}
