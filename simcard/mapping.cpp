#include "simcard/mapping.h"

#include <sys/mman.h>

namespace simcard {

namespace {

void *reserve(void *wanted, size_t bytes, int flags) {
    void *region = mmap(wanted, bytes, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | flags, -1, 0);
    return region == MAP_FAILED ? nullptr : region;
}

}    // namespace

Mapping::~Mapping() {
    if (begin_ != nullptr) {
        munmap(begin_, bytes_);
    }
}

bool Mapping::map(size_t bytes, void *preferred) {
    void *region = nullptr;
    if (begin_ != nullptr) {
        region = reserve(begin_, bytes, MAP_FIXED);
    } else if (preferred != nullptr) {    // at null the kernel would take root by its word
        region = reserve(preferred, bytes, MAP_FIXED_NOREPLACE);
    }
    if (region == nullptr) {
        region = reserve(nullptr, bytes, 0);
    }
    if (region == nullptr) {
        return false;
    }
    begin_ = region;
    bytes_ = bytes;
    madvise(begin_, bytes_, MADV_HUGEPAGE);
    return true;
}

}    // namespace simcard
