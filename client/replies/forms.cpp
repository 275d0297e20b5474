#include "client/replies/forms.h"

namespace client {
namespace {

// What a form that begins with a field can begin with.
bool may_begin(const form &kind, size_t first) {
    return kind.fields[0].conversion != 'd' || (first >= '0' && first <= '9') || first == '-' ||
           first == ' ';
}

bool may_break_in(const form &kind) {
    return kind.row.commands == "*" && kind.count > 0 && kind.row.member == "findings[]";
}

}    // namespace

line_recogniser::line_recogniser(std::string_view command) {
    for (const form &kind : all_forms()) {
        if (command != "*" && !kind.sent_by(command)) {
            continue;
        }
        const std::string_view literal = kind.count == 0 ? kind.tail : kind.fields[0].literal;
        if (!literal.empty()) {
            by_first_[static_cast<unsigned char>(literal[0])].push_back(&kind);
            continue;
        }
        for (size_t first = 0; first < by_first_.size(); ++first) {
            if (may_begin(kind, first)) {
                by_first_[first].push_back(&kind);
            }
        }
    }
}

bool line_recogniser::recognise(std::string_view line, reply_record &record) const {
    if (line.empty()) {
        return false;
    }
    for (const form *kind : by_first_[static_cast<unsigned char>(line[0])]) {
        if (read_line(*kind, line, record)) {
            return true;
        }
    }
    return false;
}

bool line_recogniser::recognise_broken(std::string_view line, reply_record &head,
                                       reply_record &second, size_t &place) const {
    for (const form &kind : all_forms()) {
        if (!may_break_in(kind) && kind.row.name != "no_tree") {
            continue;
        }
        const std::string_view begin = kind.count == 0 ? kind.tail : kind.fields[0].literal;
        place = begin.empty() ? std::string_view::npos : line.find(begin, 1);
        if (place != std::string_view::npos && read_line(kind, line.substr(place), second) &&
            recognise(line.substr(0, place), head)) {
            return true;
        }
    }
    return false;
}

}    // namespace client
