// Memory that ends where nothing can be read.
#pragma once

#include <sys/mman.h>

#include <cstdint>

/// `count` zeroed records, at most a page of them; whoever reads behind the last one faults.
template <typename Record>
Record *before_page_end(size_t count) {
    constexpr size_t page = 4096;
    auto *pages = static_cast<uint8_t *>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(pages + page, page, PROT_NONE);
    return reinterpret_cast<Record *>(pages + page - count * sizeof(Record));
}
