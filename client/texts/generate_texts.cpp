// Writes what the build makes of the client's tables: "generate_texts manual PAGE" fills a manual
// page, "generate_texts bash-completion" gives the completion script, "generate_texts forms" the
// table of reply forms, a line each with tabs between.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

#include "client/replies/forms.h"
#include "client/texts/bash_completion.h"
#include "client/texts/manual.h"

namespace {

std::string read_file(const char *name) {
    std::ifstream file(name);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        throw std::runtime_error(std::string("cannot read ") + name);
    }
    return text;
}

std::string forms() {
    static constexpr const char *meanings[] = {"progress",   "data",    "summary", "finding",
                                               "unreadable", "refusal", "code"};
    std::ostringstream text;
    for (const client::form &kind : client::all_forms()) {
        text << kind.row.name << '\t' << kind.row.commands << '\t'
             << meanings[static_cast<size_t>(kind.row.means)] << '\t' << kind.row.member << '\t'
             << kind.row.text << '\n';
    }
    return text.str();
}

std::string generated(int count, char **words) {
    const std::string kind = count > 1 ? words[1] : "";
    if (kind == "manual" && count == 3) {
        return client::filled_manual(read_file(words[2]));
    }
    if (kind == "bash-completion" && count == 2) {
        return client::bash_completion();
    }
    if (kind == "forms" && count == 2) {
        return forms();
    }
    throw std::runtime_error("use: generate_texts manual PAGE | bash-completion | forms");
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
