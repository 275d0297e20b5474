#include "tests/fuzz/card.h"

#include <sys/prctl.h>

#include <cstring>

#include "reply/reply.h"
#include "tests/card/powered_card.h"
#include "tests/fuzz/memory_view.h"
#include "tests/support/form_print.h"
#include "tests/support/random_table.h"

namespace {

constexpr uint64_t card_size = 0x180000000;

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
