#include "shm/readable.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>

namespace {

constexpr uint64_t page_size = 4096;    // the smallest page; larger ones are asked repeatedly
constexpr size_t pages_per_question = 64;
constexpr uint64_t word_size = 4;

enum class answer { yes, no, refused };

/// Whether one byte can be read at each of the addresses from, next page, ... (count of them).
answer pages_readable(uint64_t from, size_t count) {
    iovec remote[pages_per_question];
    uint8_t bytes[pages_per_question];
    for (size_t i = 0; i < count; ++i) {
        const uint64_t at = i == 0 ? from : (from & ~(page_size - 1)) + i * page_size;
        remote[i] = {reinterpret_cast<void *>(at), 1};
    }
    const iovec local{bytes, count};
    const ssize_t got = process_vm_readv(getpid(), &local, 1, remote, count, 0);
    if (got < 0 && errno != EFAULT) {
        return answer::refused;
    }
    return got == static_cast<ssize_t>(count) ? answer::yes : answer::no;
}

bool range_readable(uint64_t first, uint64_t last) {
    uint64_t at = first;
    for (uint64_t pages = last / page_size - first / page_size + 1; pages > 0;) {
        const size_t count = std::min<uint64_t>(pages, pages_per_question);
        const answer readable = pages_readable(at, count);
        if (readable != answer::yes) {
            return readable == answer::refused;
        }
        pages -= count;
        at = (at & ~(page_size - 1)) + count * page_size;
    }
    return true;
}

/// Has the kernel add 0 to an aligned word in one atomic step: that needs a writable page, changes
/// nothing, and loses no change that the library makes at the same moment.
answer word_writable(uint64_t word) {
    static uint32_t nobody_waits_here = 0;
    const long result =
        syscall(SYS_futex, &nobody_waits_here, FUTEX_WAKE_OP | FUTEX_PRIVATE_FLAG, 0, 0L,
                reinterpret_cast<void *>(word), FUTEX_OP(FUTEX_OP_ADD, 0, FUTEX_OP_CMP_EQ, 0));
    if (result >= 0) {
        return answer::yes;
    }
    return errno == EFAULT ? answer::no : answer::refused;
}

bool range_writable(uint64_t first, uint64_t last) {
    uint64_t word = first & ~(word_size - 1);
    for (uint64_t words = last / word_size - first / word_size + 1; words > 0; --words) {
        if (word_writable(word) == answer::no) {
            return false;
        }
        word += word_size;
    }
    return true;
}

/// True when the range is empty, or does not wrap and passes the test.
bool range_passes(uint64_t address, size_t size, bool (*test)(uint64_t first, uint64_t last)) {
    const uint64_t last = address + (size - 1);
    return size == 0 || (last >= address && test(address, last));
}

}    // namespace

bool address_readable(uint64_t address, size_t size) {
    return range_passes(address, size, range_readable);
}

bool address_writable(uint64_t address, size_t size) {
    return range_passes(address, size, range_writable);
}
