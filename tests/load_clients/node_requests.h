// Requests on tree nodes, at addresses that earlier replies named: by the time they are used, a
// node may be another or none.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/load_clients/requests.h"

class node_requests {
public:
    explicit node_requests(std::minstd_rand &random) : random_(random) {}

    /// A search in what the changer and the clients change, the roots, or a command on a node of
    /// one of their replies. The reply is noted: the request must not outlive this object.
    load_request next();

private:
    static constexpr size_t kept = 100;

    uint32_t pick(size_t n) { return static_cast<uint32_t>(random_() % n); }
    load_request search();
    load_request subtree();
    void note(const std::string &reply);

    std::minstd_rand &random_;
    std::vector<uint64_t> nodes_;
    size_t noted_ = 0;
};
