// Clients of a running process that take turns: load_clients COUNTERS REQUESTS, or load_clients
// --table for the stable part of the table. Each reply is held against what its request must
// answer. Some clients are killed in the middle of a reply, some stop reading for seconds. The last
// line says how many there were.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "client/channel/exchange.h"
#include "tests/load_clients/counters.h"
#include "tests/load_clients/requests.h"

namespace {

constexpr unsigned clients = 4;
constexpr uint64_t requests_per_kill = 250;
constexpr uint64_t requests_per_stall = 5000;
constexpr size_t reply_shown = 400;
constexpr client::time_limits patience{std::chrono::seconds(60), std::chrono::seconds(60)};

/// Keeps the reply; at piece `at` it does what this client is here for.
class load_reader : public client::reply_reader {
public:
    enum class fate { none, stall, die };
    explicit load_reader(fate what = fate::none, unsigned at = 0) : fate_(what), at_(at) {}

    void piece(std::string_view text) override {
        text_ += text;
        if (++pieces_ != at_) {
            return;
        }
        if (fate_ == fate::die) {
            kill(getpid(), SIGKILL);
        }
        if (fate_ == fate::stall) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2000));
        }
    }
    [[nodiscard]] const std::string &text() const { return text_; }

private:
    fate fate_;
    unsigned at_;
    unsigned pieces_ = 0;
    std::string text_;
};

void ask(const load_request &asked, load_reader &reader, load_counters &counters) {
    const auto result = client::exchange(asked.request, patience, reader);
    ++counters.served;
    if (result.kind == client::outcome::done && asked.right(reader.text())) {
        return;
    }
    ++counters.wrong;
    (void)fprintf(stderr, "load: wrong reply to %s 0x%lx 0x%lx 0x%lx: %s\n%.*s\n",
                  asked.request.name, asked.request.a1, asked.request.a2, asked.request.a3,
                  result.message.c_str(), static_cast<int>(reply_shown), reader.text().c_str());
    if (result.kind != client::outcome::done) {
        _exit(1);    // without the process every further request would only cost time
    }
}

void run_client(unsigned number, uint64_t requests, load_counters &counters) {
    request_maker maker(number);
    const uint64_t first = uint64_t{number} * 37;
    for (uint64_t i = first; i < first + requests; ++i) {
        const bool stall = i % (requests_per_stall * clients) == requests_per_stall * number;
        load_reader reader(stall ? load_reader::fate::stall : load_reader::fate::none, 100);
        const bool listing = counters.stalled % 2 == 0;
        ask(!stall    ? maker.next()
            : listing ? request_maker::leaf_listing()
                      : request_maker::recording(),
            reader, counters);
        counters.stalled += stall ? 1 : 0;
    }
    for (const load_request &last : maker.closing()) {
        load_reader reader;
        ask(last, reader, counters);
    }
}

/// Runs `body` in a process of its own.
template <typename Body>
pid_t spawn(const Body &body) {
    const pid_t pid = fork();
    if (pid == 0) {
        body();
        _exit(0);
    }
    return pid;
}

/// Clients that die in the middle of a reply, one after the other, as the others get on.
class victims {
public:
    explicit victims(load_counters &counters) : counters_(counters), next_at_(counters.served) {}

    void step() {
        if (counters_.served < next_at_) {
            return;
        }
        next_at_ += requests_per_kill;
        const unsigned at = 1 + killed_ * 97 % stable_prefixes;
        const pid_t pid = spawn([&] {
            load_reader reader(load_reader::fate::die, at);
            (void)client::exchange(request_maker::recording().request, patience, reader);
        });
        int status = 0;
        if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFSIGNALED(status)) {
            ++killed_;
        }
    }
    [[nodiscard]] unsigned killed() const { return killed_; }

private:
    load_counters &counters_;
    uint64_t next_at_;
    unsigned killed_ = 0;
};

int run_load(load_counters &counters, uint64_t requests) {
    const uint64_t served_before = counters.served;
    const uint64_t stalled_before = counters.stalled;
    std::vector<pid_t> children;
    for (unsigned number = 0; number < clients; ++number) {
        children.push_back(spawn([&] { run_client(number, requests / clients, counters); }));
    }
    victims killed(counters);
    int failed = 0;
    while (!children.empty()) {
        killed.step();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        std::erase_if(children, [&](pid_t pid) {
            int status = 0;
            const bool ended = waitpid(pid, &status, WNOHANG) == pid;
            failed += ended && status != 0 ? 1 : 0;
            return ended;
        });
    }
    printf("served=%lu wrong=%lu killed=%u stalled=%lu\n", counters.served - served_before,
           counters.wrong.load(), killed.killed(), counters.stalled - stalled_before);
    return counters.wrong == 0 && failed == 0 ? 0 : 1;
}

}    // namespace

int main(int argc, char **argv) {
    if (argc == 2 && strcmp(argv[1], "--table") == 0) {
        for (int i = 0; i < stable_prefixes; ++i) {
            printf("%s %d\n", stable_prefix(i).c_str(), stable_vrf);
        }
        return 0;
    }
    if (argc < 3) {
        (void)fprintf(stderr, "usage: load_clients COUNTERS REQUESTS | load_clients --table\n");
        return 2;
    }
    damage_expected = argc > 3 && strcmp(argv[3], "damaged") == 0;
    return run_load(map_counters(argv[1]), strtoull(argv[2], nullptr, 0));
}
