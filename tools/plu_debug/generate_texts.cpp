// Writes what the build makes of the client's tables: "generate_texts manual PAGE" fills a manual
// page, "generate_texts bash-completion" gives the completion script.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "tools/plu_debug/bash_completion.h"
#include "tools/plu_debug/manual.h"

namespace {

std::string read_file(const char *name) {
    std::ifstream file(name);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        throw std::runtime_error(std::string("cannot read ") + name);
    }
    return text;
}

std::string generated(int count, char **words) {
    const std::string kind = count > 1 ? words[1] : "";
    if (kind == "manual" && count == 3) {
        return client::filled_manual(read_file(words[2]));
    }
    if (kind == "bash-completion" && count == 2) {
        return client::bash_completion();
    }
    throw std::runtime_error("use: generate_texts manual PAGE | bash-completion");
}

}    // namespace

int main(int argc, char **argv) {
    try {
        std::cout << generated(argc, argv) << std::flush;
        return std::cout ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "generate_texts: " << error.what() << '\n';
        return 1;
    }
}
