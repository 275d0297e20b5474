// Memory that ends where nothing can be read.
#pragma once

#include <sys/mman.h>

#include <cstdint>

/// `count` zeroed records, at most a page of them; whoever reads behind the last one faults.
template <typename Record>
class page_end {
public:
    explicit page_end(size_t count)
        : pages_(static_cast<uint8_t *>(
              mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))),
          first_(reinterpret_cast<Record *>(pages_ + page - count * sizeof(Record))) {
        mprotect(pages_ + page, page, PROT_NONE);
    }
    ~page_end() { munmap(pages_, 2 * page); }
    page_end(const page_end &) = delete;
    page_end &operator=(const page_end &) = delete;
    page_end(page_end &&) = delete;
    page_end &operator=(page_end &&) = delete;

    [[nodiscard]] Record *get() const { return first_; }

private:
    static constexpr size_t page = 4096;
    uint8_t *pages_;
    Record *first_;
};
