// A number made of some words, for knowing them again.
#pragma once

#include <cstdint>

namespace simcard {

class Seal {
public:
    void add(uint64_t word) {
        mixed_ += (word ^ word >> 29) * factor_;
        factor_ += 0x6a09e667f3bcc908U;
    }
    void add(const void *address) { add(reinterpret_cast<uint64_t>(address)); }
    /// 0 when all words were 0.
    [[nodiscard]] uint32_t value() const { return static_cast<uint32_t>(mixed_ ^ mixed_ >> 32); }

private:
    uint64_t mixed_ = 0;
    uint64_t factor_ = 0x9e3779b97f4a7c15U;    // odd, like the step's sum with it
};

}    // namespace simcard
