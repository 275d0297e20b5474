#include "tests/support/form_print.h"

#include <sstream>

using client::form_field;

namespace {

std::string padded(const form_field &field, std::string text) {
    const size_t missing = text.size() < field.width ? field.width - text.size() : 0;
    const bool negative = field.zeros && text.starts_with('-');
    return field.left    ? text + std::string(missing, ' ')
           : field.zeros ? text.insert(negative ? 1 : 0, missing, '0')
                         : std::string(missing, ' ') + text;
}

std::string number_text(const form_field &field, uint64_t number) {
    std::ostringstream text;
    if (field.conversion == 'd') {
        text << static_cast<int64_t>(number);
    } else {
        text << std::hex << (field.conversion == 'X' ? std::uppercase : std::nouppercase) << number;
    }
    return text.str();
}

}    // namespace

std::string form_printed(const client::reply_record &record) {
    std::string line;
    for (size_t i = 0; i < record.kind->count; ++i) {
        const form_field &field = record.kind->fields[i];
        const client::field_value &value = record.values[i];
        line += field.literal;
        if (is_text(field.kind)) {
            line += padded(field, std::string(value.text));
        } else if (field.conversion == 'p') {
            line += value.number == 0 ? "(nil)" : "0x" + number_text(field, value.number);
        } else {
            line += padded(field, number_text(field, value.number));
        }
    }
    return line.append(record.kind->tail);
}

std::string form_fault(const client::reply_line &line) {
    if (line.known == nullptr) {
        return "no form: " + std::string(line.text);
    }
    const std::string printed = form_printed(*line.known);
    return printed == line.text ? ""
                                : "printed as: " + printed + "\nfor: " + std::string(line.text);
}
