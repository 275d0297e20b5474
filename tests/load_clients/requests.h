// The requests of the load run, each with what its reply must be.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
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

class node_requests;

/// Makes one client's requests, from a seed; the prefixes that it adds are its own.
class request_maker {
public:
    explicit request_maker(unsigned client);
    ~request_maker();
    request_maker(const request_maker &) = delete;
    request_maker &operator=(const request_maker &) = delete;
    request_maker(request_maker &&) = delete;
    request_maker &operator=(request_maker &&) = delete;

    load_request next();

    /// Requests that take back what next() added.
    std::vector<load_request> closing();

    /// The recording of all prefixes.
    static load_request recording();

    /// All leaves with their places: a reply of as many lines, composed as the walk goes.
    static load_request leaf_listing();

private:
    static constexpr int edited_prefixes = 50;

    uint32_t pick(uint32_t n) { return static_cast<uint32_t>(random_() % n); }
    load_request whole_tree();
    load_request unknown_name();
    load_request register_word();
    load_request memory();
    load_request lookup();
    load_request edit(unsigned i);

    unsigned client_;
    std::minstd_rand random_;
    std::unique_ptr<node_requests> nodes_;
    std::vector<bool> present_;
    uint32_t sequence_ = 0;
    uint32_t register_value_ = 0;
};
