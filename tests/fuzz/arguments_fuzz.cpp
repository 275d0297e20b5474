// The operator client's command line: words stand on lines of their own.
#include <cstdlib>

#include "client/words/arguments.h"
#include "client/words/options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<std::string> words(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            words.emplace_back();
        } else if (data[i] != 0) {    // no argument holds one
            words.back() += static_cast<char>(data[i]);
        }
    }
    std::string error;
    const client::options chosen = client::parse_options(words, error);
    if (!error.empty() || chosen.words.empty()) {
        return 0;
    }
    const client::parsed_command command = client::parse_command(chosen.words, chosen.raw);
    if (command.error.empty() && !chosen.raw &&
        !client::same_word(command.request.name, chosen.words[0])) {
        abort();
    }
    return 0;
}
