// Preloaded into the process: a thread that adds and deletes prefixes through the library all the
// time, and a background timer that ticks 250 times as often as planned.
#include <dlfcn.h>

#include <ctime>
#include <random>
#include <thread>

#include "platform/export.h"
#include "platform/plu_library.h"
#include "records/tree.h"
#include "simcard/card.h"
#include "tests/load_clients/counters.h"

namespace {

constexpr long tick_ns = 20000000;
constexpr auto pause_between_changes = std::chrono::microseconds(200);
constexpr int prefixes = 400;
constexpr uint32_t changes_per_damage = 20;
constexpr auto damage_stays = std::chrono::milliseconds(1);
constexpr uint32_t own_root = 2000 >> 6;    // by the upper 10 bits of the VRF

load_counters &counters() {
    static load_counters &mapped = map_counters(getenv("LOAD_COUNTERS"));
    return mapped;
}

template <typename Function>
Function *next_of(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/// Prefixes in VRFs of their own: ways of eight that nest, in both families.
pfx_entry entry_of(int i) {
    static constexpr uint8_t lengths[] = {8, 12, 16, 20, 24, 25, 28, 32};
    const int way = i / static_cast<int>(std::size(lengths));
    const int vrf = 2000 + way % 3;
    pfx_entry entry{};
    entry.type = way % 4 == 3 ? PFX_IPV6 : PFX_IPV4;
    entry.vrf[0] = static_cast<uint8_t>(vrf >> 8);
    entry.vrf[1] = static_cast<uint8_t>(vrf & 0xff);
    entry.address[0] = static_cast<uint8_t>(10 + way);
    for (int byte = 1; byte < 4; ++byte) {
        entry.address[byte] = static_cast<uint8_t>(way * 17 * byte);
    }
    entry.set_length(lengths[static_cast<size_t>(i) % std::size(lengths)]);
    return entry;
}

/// Makes a record below one of the changer's own roots garbage for a moment in which the card
/// stands still; the process reads on.
class damager {
public:
    void run() {
        simcard::Card &card = simcard::Card::instance();
        if (!card.ready()) {
            return;
        }
        const auto lock = card.hold();
        tn *node = any_node(card.fixed().root);
        if (node == nullptr) {
            return;
        }
        uint64_t *words = any_record(node);
        const size_t word = random_() % (words == reinterpret_cast<uint64_t *>(node)
                                             ? sizeof(tn) / sizeof(uint64_t)
                                             : sizeof(tree_array) / sizeof(uint64_t));
        const uint64_t old = words[word];
        *const_cast<volatile uint64_t *>(words + word) = garbage();
        std::this_thread::sleep_for(damage_stays);
        *const_cast<volatile uint64_t *>(words + word) = old;
        ++counters().damages;
    }

private:
    tn *any_node(const tree_array &root) {
        tn *node = root.ta_nodes[own_root];
        for (auto depth = random_() % 6; node != nullptr && depth > 0; --depth) {
            const bool branches = (node->tn_flags & tn_type_mask) == TN_SEARCH;
            const tree_array *array = branches ? node->sn_charray : nullptr;
            if (array == nullptr || array->ta_nnodes <= 0) {
                break;
            }
            node = array->ta_nodes[random_() % static_cast<uint32_t>(array->ta_nnodes)];
        }
        return node;
    }
    uint64_t *any_record(tn *node) {
        const bool array = random_() % 2 == 0 && node->sn_charray != nullptr;
        return array ? reinterpret_cast<uint64_t *>(node->sn_charray)
                     : reinterpret_cast<uint64_t *>(node);
    }
    uint64_t garbage() {
        switch (random_() % 4) {
            case 0:
                return 0;
            case 1:
                return 0x7eb800000000 + random_() % 64;    // nothing is mapped there
            case 2:
                return reinterpret_cast<uint64_t>(this) + random_() % 64;
            default:
                return uint64_t{random_()} << 33 | random_();
        }
    }

    std::minstd_rand random_{2};
};

class changer {
public:
    [[noreturn]] void run() {
        for (;;) {
            if (counters().stop != 0) {
                rest();
            }
            toggle(static_cast<int>(random_() % prefixes));
            if (counters().damaging != 0 && random_() % changes_per_damage == 0) {
                damager_.run();
            }
            std::this_thread::sleep_for(pause_between_changes);
        }
    }

private:
    void toggle(int i) {
        const pfx_entry entry = entry_of(i);
        const uint32_t code = present_[i] ? remove_(&entry) : add_(&entry);
        if (code == 0) {
            present_[i] = !present_[i];
            ++counters().changes;
        } else if (counters().changes != 0) {    // before the first one the library is not up
            ++counters().refused;
        }
    }

    void rest() {
        for (int i = 0; i < prefixes; ++i) {
            if (present_[i]) {
                toggle(i);
            }
        }
        counters().stopped = 1;
        while (counters().stop != 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        counters().stopped = 0;
    }

    std::minstd_rand random_{1};
    damager damager_;
    bool present_[prefixes] = {};
    plu_entry_function add_ = next_of<uint32_t(const pfx_entry *)>("plu_add_entry");
    plu_entry_function remove_ = next_of<uint32_t(const pfx_entry *)>("plu_delete_entry");
};

[[gnu::constructor]] void start() {
    std::thread([] { changer().run(); }).detach();
}

}    // namespace

extern "C" {

PLU_EXPORT int timer_settime(timer_t timer, int flags, const itimerspec *schedule,
                             itimerspec *old) noexcept {
    itimerspec faster = *schedule;
    faster.it_interval = faster.it_value = {0, tick_ns};
    return next_of<int(timer_t, int, const itimerspec *, itimerspec *)>("timer_settime")(
        timer, flags, &faster, old);
}

PLU_EXPORT int plu_fill_hole_background(uint32_t *scratch, int count) {
    ++counters().ticks;
    return next_of<int(uint32_t *, int)>("plu_fill_hole_background")(scratch, count);
}
}
