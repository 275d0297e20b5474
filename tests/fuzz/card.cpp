#include "tests/fuzz/card.h"

#include <sys/prctl.h>

#include <cstring>

#include "reply/reply.h"
#include "tbm/access.h"
#include "tests/card/powered_card.h"
#include "tests/fuzz/memory_view.h"
#include "tests/support/form_print.h"

namespace {

constexpr uint64_t card_size = 0x180000000;

constexpr struct {
    const char *prefix;
    uint16_t vrf;
} prefixes_on_card[] = {
    {"0.0.0.0/0", 0},           {"10.0.0.0/8", 0},         {"10.1.0.0/16", 0},
    {"10.1.2.0/24", 0},         {"10.1.2.128/25", 0},      {"10.1.2.3/32", 0},
    {"10.64.0.0/10", 0},        {"10.65.0.0/17", 0},       {"172.16.0.0/12", 0},
    {"172.16.5.0/30", 0},       {"192.168.0.0/16", 0},     {"192.168.7.0/28", 0},
    {"224.0.0.0/4", 0},         {"0.0.0.0/1", 5},          {"10.1.2.0/24", 5},
    {"10.1.3.0/24", 5},         {"10.1.3.64/26", 5},       {"255.255.255.255/32", 5},
    {"1.2.3.4/31", 70},         {"1.2.0.0/15", 70},        {"::/0", 0},
    {"2001:db8::/32", 0},       {"2001:db8:1::/48", 0},    {"2001:db8:1:2::/64", 0},
    {"2001:db8:1:2::1/128", 0}, {"2001:db8:8000::/33", 0}, {"fe80::/10", 0},
    {"ff00::/8", 200},          {"2001:db8::/29", 200},    {"2001:db8::ffff:0/112", 200},
};

}    // namespace

/// The client knows every line, but the words of a request without a command.
static void check_line(const client::reply_line &line) {
    static bool own_words = false;
    own_words = line.known == nullptr ? own_words : line.known->is("no_handler");
    const std::string fault = own_words ? "" : form_fault(line);
    if (!fault.empty()) {
        fprintf(stderr, "%s\n", fault.c_str());
        abort();
    }
}

int plu_debug_reply(const char *text) {
    static volatile size_t sent = 0;    // every byte is read, for the sanitizers
    sent = sent + strnlen(text, plu_output_buffer_size);
    static client::reply_lines lines("*", check_line);
    lines.piece(std::string_view(text, strnlen(text, plu_reply_text_max)));
    return 0;
}

void fuzz_card::start() {
    prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);    // clearing large pages would cost most of the time
    card = &powered_card();
    limit_memory_to(&card->fixed(), card_size);
    for (const auto &row : prefixes_on_card) {
        card->add(row.prefix, row.vrf);
    }
    nodes.clear();
    children.clear();
    leaf_arrays.clear();
    leaves.clear();
    hw_indexes.clear();
    for (tn *root : card->fixed().root_slots) {
        collect(root);
    }
}

void fuzz_card::collect(leaf_array *array) {
    leaf_arrays.push_back(array);
    leaves.insert(leaves.end(), array->la_leaves, array->la_leaves + array->la_nnodes);
}

void fuzz_card::collect(tn *node) {
    if (node == nullptr) {
        return;
    }
    nodes.push_back(node);
    hw_indexes.push_back(node->hw_index);
    if (!tn_is_search(node)) {
        if (node->in_lfarray != nullptr) {
            collect(node->in_lfarray);
        }
        return;
    }
    if (node->sn_charray != nullptr) {
        children.push_back(node->sn_charray);
    }
    const child_slots slots = tn_child_slots(node);
    for (int i = 0; i < slots.end; ++i) {
        collect(slots.nodes[i]);
    }
}

bool fuzz_card::holds(uint64_t address) const {
    const auto begin = reinterpret_cast<uint64_t>(&card->fixed());
    return address >= begin && address < begin + card_size;
}
