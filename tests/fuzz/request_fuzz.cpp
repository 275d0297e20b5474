// One request through the dispatcher on a small healthy card.
#include "console/dispatch.h"
#include "tests/fuzz/requests.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static fuzz_card card;
    static bool fresh = false;
    if (!fresh) {
        card.start();
        fresh = true;
    }
    fuzz_input input(data, size);
    const plu_debug_request request = fuzz_request(card, input);
    if (fuzz_request_ends(request)) {
        fresh = !fuzz_request_edits(request);
        plu_debug_msg_dispatch(&request);
    }
    return 0;
}
