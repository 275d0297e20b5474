// What the preloaded changer and the clients of the load run share: a file of this content.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

struct load_counters {
    // The changer, inside the process.
    std::atomic<uint32_t> stop;       // ask it to take back what it added and to wait
    std::atomic<uint32_t> stopped;    // it has
    std::atomic<uint64_t> changes;
    std::atomic<uint64_t> refused;    // changes with another code than 0
    std::atomic<uint64_t> ticks;      // of the background timer

    // The clients.
    std::atomic<uint64_t> served;
    std::atomic<uint64_t> wrong;    // replies lost, mixed or otherwise not those of the request
    std::atomic<uint64_t> stalled;

    // The changer again.
    std::atomic<uint64_t> damages;     // records that were garbage for a moment
    std::atomic<uint32_t> damaging;    // ask it for them
};

/// Maps the file of the counters; ends the program when that fails.
inline load_counters &map_counters(const char *file) {
    const int descriptor = file == nullptr ? -1 : open(file, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0 || ftruncate(descriptor, sizeof(load_counters)) != 0) {
        _exit(2);
    }
    void *at =
        mmap(nullptr, sizeof(load_counters), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (at == MAP_FAILED) {
        _exit(2);
    }
    return *static_cast<load_counters *>(at);
}
