#include "tests/fuzz/card.h"

#include <link.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "reply/reply.h"
#include "tests/card/powered_card.h"
#include "tests/support/form_print.h"
#include "tests/support/random_table.h"

namespace {

constexpr uint64_t card_size = 0x180000000;

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

/// The client knows every line.
static void check_line(const client::reply_line &line) {
    const std::string fault = form_fault(line);
    if (!fault.empty()) {
        fprintf(stderr, "%s\n", fault.c_str());
        abort();
    }
}

int plu_debug_reply(const char *text) {
    static volatile size_t sent = 0;    // every byte is read, for the sanitizers
    sent = sent + strnlen(text, plu_output_buffer_size);
    static client::reply_lines lines("*", check_line);
    // The words of a request without a command may hold line ends, which no client sends.
    const bool foreign = strncmp(text, "no handler for ", 15) == 0;
    lines.piece(foreign ? "no handler for it\n"
                        : std::string_view(text, strnlen(text, plu_reply_text_max)));
    return 0;
}

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

/// From now on the kernel's answers cover only the card's memory, the garbage and the C library:
/// the fuzzer's own memory counts as not mapped, as no such memory is in the process.
static void limit_memory_to(const void *card, size_t size) {
    const auto first = reinterpret_cast<uint64_t>(card);
    card_range = {first, first + size - 1};
}

void fuzz_card::start() {
    prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);    // clearing large pages would cost most of the time
    card = &powered_card();
    limit_memory_to(&card->fixed(), card_size);
    for (const pfx_entry &entry : random_table(60, 4)) {
        card->add(entry);
    }
    for (const char *prefix : {"0.0.0.0/0", "10.1.0.0/16", "10.1.2.0/24", "10.1.2.3/32"}) {
        card->add(prefix);    // near the addresses that requests name
    }
    map = map_damage(card->fixed().plu_shm, garbage());
    hw_indexes.clear();
    for (const void *node : map.records[static_cast<size_t>(record_kind::node)]) {
        hw_indexes.push_back(static_cast<const tn *>(node)->hw_index);
    }
}
