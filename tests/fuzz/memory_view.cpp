#include "tests/fuzz/memory_view.h"

#include <link.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

struct range {
    uint64_t first;
    uint64_t last;
};

constexpr uint64_t garbage_at = 0x7eb400000000;    // above the card
constexpr size_t garbage_size = garbage_words * sizeof(uint64_t);

range card_range{};

/// The C library's first segment: its header and read-only data.
range library_range() {
    range found{};
    dl_iterate_phdr(
        [](dl_phdr_info *info, size_t, void *result) {
            if (strstr(info->dlpi_name, "libc.so") == nullptr) {
                return 0;
            }
            const uint64_t begin = info->dlpi_addr + info->dlpi_phdr[0].p_vaddr & ~uint64_t{4095};
            *static_cast<range *>(result) = {begin, begin + 0x10000};
            return 1;
        },
        &found);
    return found;
}

const range &library() {
    static const range found = library_range();
    return found;
}

bool visible(uint64_t address) {
    const range garbage_range{garbage_at, garbage_at + garbage_size - 1};
    const range ranges[] = {card_range, garbage_range, library()};
    return std::any_of(std::begin(ranges), std::end(ranges), [&](const range &one) {
        return address >= one.first && address <= one.last;
    });
}

}    // namespace

uint64_t *garbage() {
    static void *const mapped =
        mmap(reinterpret_cast<void *>(garbage_at), garbage_size, PROT_READ | PROT_WRITE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (mapped != reinterpret_cast<void *>(garbage_at)) {
        abort();
    }
    return static_cast<uint64_t *>(mapped);
}

uint64_t library_address() {
    return library().first;
}

void limit_memory_to(const void *card, size_t size) {
    const auto first = reinterpret_cast<uint64_t>(card);
    card_range = {first, first + size - 1};
}

/// Takes the C library's place in this program.
extern "C" ssize_t process_vm_readv(pid_t process, const iovec *local, unsigned long local_count,
                                    const iovec *remote, unsigned long remote_count,
                                    unsigned long flags) {
    const bool all_visible = std::all_of(remote, remote + remote_count, [](const iovec &one) {
        return visible(reinterpret_cast<uint64_t>(one.iov_base));
    });
    if (!all_visible) {
        errno = EFAULT;
        return -1;
    }
    return syscall(SYS_process_vm_readv, process, local, local_count, remote, remote_count, flags);
}
