// The requests of the load run, each with what its reply must be.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "records/request.h"

/// The prefixes of VRF 7, which nobody changes: for each number below stable_prefixes one /24 or
/// /64.
inline constexpr int stable_prefixes = 2000;
inline constexpr int stable_vrf = 7;
/// The changer damages records of its own: replies about them may hold anything.
inline bool damage_expected = false;

/// "10.2.3.0/24" or "2001:db8:2:3::/64".
std::string stable_prefix(int i);

struct load_request {
    plu_debug_request request;
    std::function<bool(const std::string &reply)> right;
};

/// Makes one client's requests, from a seed; the prefixes that it adds are its own.
class request_maker {
public:
    explicit request_maker(unsigned client)
        : client_(client), random_(client + 1), present_(edited_prefixes) {}

    /// Some replies are noted: the request must not outlive this object.
    load_request next();

    /// Requests that take back what next() added.
    std::vector<load_request> closing();

    /// The recording of all prefixes.
    static load_request recording();

    /// All leaves with their places: a reply of as many lines, composed as the walk goes.
    static load_request leaf_listing();

private:
    static constexpr int edited_prefixes = 50;
    static constexpr size_t kept_nodes = 100;

    uint32_t pick(size_t n) { return static_cast<uint32_t>(random_() % n); }
    load_request whole_tree();
    load_request unknown_name();
    load_request register_word();
    load_request memory();
    load_request lookup();
    load_request edit(unsigned i);

    /// Requests on tree nodes, at addresses that earlier replies named: by the time they are used,
    /// a node may be another or none.
    load_request of_nodes();
    load_request node_search();
    void note(const std::string &reply);

    unsigned client_;
    std::minstd_rand random_;
    std::vector<uint64_t> nodes_;
    size_t noted_ = 0;
    std::vector<bool> present_;
    uint32_t sequence_ = 0;
    uint32_t register_value_ = 0;
};
