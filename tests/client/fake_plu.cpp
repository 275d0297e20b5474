// fake_plu LOG [NAME=BEHAVIOUR]...: serves the debug channel as a test wants it and writes every
// request it takes to LOG as "NAME a1 a2 a3". Names without a behaviour are echoed. "fake_plu
// --remove" removes the queues and ends.
//
// Behaviours: stream:LINES, slow:MILLISECONDS:LINES, late:MILLISECONDS, busy:MILLISECONDS,
// die:LINES, restart:LINES, file:PATH, silent
#include <fcntl.h>
#include <mqueue.h>
#include <sys/stat.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "records/request.h"

namespace {

struct queue_pair {
    mqd_t requests;
    mqd_t replies;
};

mqd_t open_queue(const char *name) {
    struct mq_attr attributes {};
    attributes.mq_maxmsg = plu_queue_depth;
    attributes.mq_msgsize = plu_queue_message_size;
    mq_unlink(name);
    return mq_open(name, O_RDWR | O_CREAT, 0666, &attributes);
}

queue_pair open_queues() {
    return {open_queue(plu_request_queue), open_queue(plu_reply_queue)};
}

void send_text(const queue_pair &queues, const std::string &text) {
    char message[plu_text_message_size] = {};
    text.copy(message, sizeof message - 2);
    mq_send(queues.replies, message, sizeof message, 0);
}

void send_lines(const queue_pair &queues, long count, long pause) {
    char line[128];
    for (long i = 0; i < count; ++i) {
        snprintf(line, sizeof line,
                 "line %7ld of a reply as long as those of a walk, 100 bytes or so\n", i);
        send_text(queues, line);
        std::this_thread::sleep_for(std::chrono::milliseconds(pause));
    }
}

void send_file(const queue_pair &queues, const std::string &path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        send_text(queues, line + '\n');
    }
}

long next_number(std::string &text) {
    const size_t colon = text.find(':');
    const long number = std::strtol(text.substr(0, colon).c_str(), nullptr, 10);
    text = colon == std::string::npos ? "" : text.substr(colon + 1);
    return number;
}

void behave(queue_pair &queues, const std::string &behaviour) {
    const size_t colon = behaviour.find(':');
    const std::string kind = behaviour.substr(0, colon);
    std::string rest = colon == std::string::npos ? "" : behaviour.substr(colon + 1);
    if (kind == "file") {
        send_file(queues, rest);
    } else if (kind == "silent") {
        std::this_thread::sleep_for(std::chrono::hours(1));
    } else if (kind == "late") {
        std::this_thread::sleep_for(std::chrono::milliseconds(next_number(rest)));
        send_lines(queues, 1, 0);
    } else if (kind == "busy") {
        const auto end =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(next_number(rest));
        while (std::chrono::steady_clock::now() < end) {
        }
        send_lines(queues, 1, 0);
    } else {
        const long pause = kind == "slow" ? next_number(rest) : 0;
        send_lines(queues, next_number(rest), pause);
    }
    if (kind == "die") {
        std::_Exit(1);
    }
    if (kind == "restart") {
        queues = open_queues();
    }
}

void answer(queue_pair &queues, const plu_debug_request &request,
            const std::map<std::string, std::string> &behaviours) {
    char echo[512];
    send_text(queues, "\n");
    const auto found = behaviours.find(request.name);
    if (found != behaviours.end()) {
        behave(queues, found->second);
    } else if (std::strncmp(request.name, "plu_debug-sync", 14) == 0) {
        send_text(queues, std::string("no handler for ") + request.name + '\n');
    } else {
        snprintf(echo, sizeof echo, "%s 0x%" PRIx64 " 0x%" PRIx64 " 0x%" PRIx64 "\n", request.name,
                 request.a1, request.a2, request.a3);
        send_text(queues, echo);
    }
    send_text(queues, "\n");
    const char marker[plu_end_marker_size] = {};
    mq_send(queues.replies, marker, sizeof marker, 0);
}

}    // namespace

int main(int argc, char **argv) {
    const std::string mode = argc < 2 ? "--remove" : argv[1];
    if (mode == "--remove") {
        mq_unlink(plu_request_queue);
        mq_unlink(plu_reply_queue);
        return 0;
    }
    if (mode == "--send" && argc == 3) {
        plu_debug_request request{};
        std::string(argv[2]).copy(request.name, sizeof request.name - 1);
        const mqd_t queue = mq_open(plu_request_queue, O_WRONLY);
        return mq_send(queue, reinterpret_cast<const char *>(&request), sizeof request, 0);
    }
    std::map<std::string, std::string> behaviours;
    for (int i = 2; i < argc; ++i) {
        const std::string rule = argv[i];
        const size_t equals = rule.find('=');
        behaviours[rule.substr(0, equals)] = rule.substr(equals + 1);
    }
    umask(0);
    queue_pair queues = open_queues();
    FILE *log = fopen(argv[1], "w");
    if (log == nullptr) {
        return 1;
    }
    printf("ready\n");
    fflush(stdout);
    plu_debug_request request{};
    while (mq_receive(queues.requests, reinterpret_cast<char *>(&request), sizeof request,
                      nullptr) > 0) {
        fprintf(log, "%s 0x%" PRIx64 " 0x%" PRIx64 " 0x%" PRIx64 "\n", request.name, request.a1,
                request.a2, request.a3);
        fflush(log);
        answer(queues, request, behaviours);
    }
    return 1;
}
