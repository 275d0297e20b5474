#include "client/answers/typed_answer.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "records/hw_node.h"

namespace client {
namespace {

using value = rapidjson::Value;
using allocator = rapidjson::MemoryPoolAllocator<>;

constexpr std::string_view unknown_lines = "unrecognised";
constexpr size_t element_memory = size_t{64} * 1024;

value::StringRefType reference(std::string_view text) {
    return {text.data(), static_cast<rapidjson::SizeType>(text.size())};
}

value text_value(std::string_view text, allocator &pool) {
    const std::string valid = utf8_text(text);
    return {valid.data(), static_cast<rapidjson::SizeType>(valid.size()), pool};
}

value hex_value(uint64_t number, allocator &pool) {
    std::array<char, 24> text{'0', 'x'};
    const char *end = std::to_chars(text.data() + 2, text.data() + text.size(), number, 16).ptr;
    return {text.data(), static_cast<rapidjson::SizeType>(end - text.data()), pool};
}

/// Sets a member, or lengthens the array that it is. The name must live as long as the table.
void set(value &object, std::string_view name, value content, allocator &pool) {
    const auto old = object.FindMember(value(reference(name)));
    if (old == object.MemberEnd()) {
        object.AddMember(reference(name), content, pool);
    } else if (old->value.IsArray() && content.IsArray()) {
        for (value &item : content.GetArray()) {
            old->value.PushBack(item, pool);
        }
    } else {
        old->value = content;
    }
}

value hw_index_value(uint64_t number, allocator &pool) {
    const auto index = static_cast<uint32_t>(number);
    if (index == 0) {
        return {};
    }
    value result(rapidjson::kObjectType);
    result.AddMember("index", hex_value(index, pool), pool);
    result.AddMember("level", hw_index_level(index), pool);
    result.AddMember("bank", hw_index_bank(index), pool);
    result.AddMember("node", hw_index_node(index), pool);
    return result;
}

/// Adds the lengths of `count` bits, the highest of which stands for the length `first`.
void add_lengths(value &lengths, uint64_t word, int count, int first, allocator &pool) {
    for (int i = 0; i < count; ++i) {
        if ((word >> (count - 1 - i) & 1) != 0) {
            lengths.PushBack(first + i, pool);
        }
    }
}

value lengths_value(field_kind kind, uint64_t word, uint64_t next, allocator &pool) {
    value lengths(rapidjson::kArrayType);
    switch (kind) {
        case field_kind::mask_left:
            add_lengths(lengths, word, 64, 1, pool);
            add_lengths(lengths, next, 64, 65, pool);
            break;
        case field_kind::mask_low_left:
            add_lengths(lengths, next, 64, 1, pool);
            add_lengths(lengths, word, 64, 65, pool);
            break;
        case field_kind::mask_v4:
            add_lengths(lengths, next, 32, 1, pool);
            break;
        default:
            add_lengths(lengths, word, 32, 1, pool);
    }
    return lengths;
}

/// The positions of the marks in a row with a character per bit.
value marked_value(std::string_view text, bool low_first, int64_t base, allocator &pool) {
    std::string marks(text);
    std::erase(marks, ' ');
    if (!low_first) {
        std::ranges::reverse(marks);
    }
    value positions(rapidjson::kArrayType);
    for (size_t i = 0; i < marks.size(); ++i) {
        if (marks[i] != '_' && marks[i] != '0') {
            positions.PushBack(base + static_cast<int64_t>(i), pool);
        }
    }
    return positions;
}

value list_value(std::string_view text, bool indexes, allocator &pool) {
    value items(rapidjson::kArrayType);
    while (!text.empty()) {
        const std::string_view item = text.substr(0, text.find(' '));
        int64_t number = 0;
        std::from_chars(item.data(), item.data() + item.size(), number);
        items.PushBack(indexes ? text_value(item, pool) : value(number), pool);
        text.remove_prefix(item.size() + 1);
    }
    return items;
}

/// A prefix is a text, with its family and length beside it when it is the record's own.
void set_prefix(value &object, std::string_view name, std::string_view text, allocator &pool) {
    const size_t slash = text.find('/');
    set(object, name, slash == std::string_view::npos ? value() : text_value(text, pool), pool);
    if (name != "prefix" || slash == std::string_view::npos) {
        return;
    }
    int length = 0;
    std::from_chars(text.data() + slash + 1, text.data() + text.size(), length);
    if (text.find_first_of(".:") != std::string_view::npos) {
        set(object, "family", value(text.find(':') == std::string_view::npos ? 4 : 6), pool);
    }
    set(object, "length", value(length), pool);
}

/// The VRF is in the bits 2 to 17 of a key, six bits a step.
int64_t vrf_of_key(std::string_view steps) {
    int64_t bits = 0;
    for (int i = 0; i < 3 && !steps.empty(); ++i) {
        int64_t step = 0;
        const char *end = std::from_chars(steps.data(), steps.data() + steps.size(), step).ptr;
        bits = bits << 6 | step;
        steps.remove_prefix(std::min(steps.size(), static_cast<size_t>(end - steps.data()) + 1));
    }
    return bits & UINT16_MAX;
}

std::string without_blanks(std::string_view text) {
    std::string result(text);
    std::erase(result, ' ');
    return result;
}

value field_content(const reply_record &record, size_t i, allocator &pool) {
    const form_field &field = record.kind->fields[i];
    const field_value &content = record.values[i];
    switch (field.kind) {
        case field_kind::number:
            return field.conversion == 'd' ? value(static_cast<int64_t>(content.number))
                                           : value(content.number);
        case field_kind::hex:
            return hex_value(content.number, pool);
        case field_kind::address:
            return content.number == 0 ? value() : hex_value(content.number, pool);
        case field_kind::hw_index:
            return hw_index_value(content.number, pool);
        case field_kind::bytes:
            return text_value(without_blanks(content.text), pool);
        case field_kind::relation:
            return text_value(content.text == "Parent: " ? "parent" : "child", pool);
        case field_kind::numbers:
        case field_kind::indexes:
            return list_value(content.text, field.kind == field_kind::indexes, pool);
        case field_kind::low_first:
        case field_kind::high_first:
            return marked_value(content.text, field.kind == field_kind::low_first,
                                record.signed_number("base"), pool);
        default:
            return is_text(field.kind) ? text_value(content.text, pool)
                                       : lengths_value(field.kind, content.number,
                                                       record.values[i + 1].number, pool);
    }
}

void set_fields(value &object, const reply_record &record, allocator &pool) {
    for (size_t i = 0; i < record.kind->count; ++i) {
        const form_field &field = record.kind->fields[i];
        if (field.name == "-" || field.name == "base" || field.kind == field_kind::more ||
            (field.kind == field_kind::relation && record.values[i].text.empty())) {
            continue;
        }
        if (field.kind == field_kind::key) {
            set(object, "vrf", value(vrf_of_key(record.values[i].text)), pool);
        }
        if (field.kind == field_kind::prefix) {
            set_prefix(object, field.name, record.values[i].text, pool);
        } else {
            set(object, field.name, field_content(record, i, pool), pool);
        }
    }
}

void describe(value &object, const reply_line &line, allocator &pool) {
    const form_row &row = line.known->kind->row;
    const bool element = row.member.ends_with("[]");
    if ((element && speaks(row.means)) || row.name.ends_with("_node")) {
        set(object, "kind", value(reference(row.name)), pool);
    }
    if (element && speaks(row.means)) {
        set(object, "text", text_value(line.text, pool), pool);
    } else if (line.known->kind->count == 0) {
        set(object, row.name, value(true), pool);
    }
    set_fields(object, *line.known, pool);
}

}    // namespace

typed_answer::typed_answer(json_writer &json)
    : json_(json),
      kept_(rapidjson::kObjectType),
      element_memory_(element_memory),
      element_pool_(element_memory_.data(), element_memory_.size()) {}

typed_answer::value &typed_answer::place(value &at, std::string_view path, allocator &pool) {
    value *here = &at;
    while (!path.empty()) {
        std::string_view name = path.substr(0, path.find('.'));
        const bool last = name.size() == path.size();
        path.remove_prefix(last ? name.size() : name.size() + 1);
        const bool array = name.ends_with("[]");
        name.remove_suffix(array ? 2 : 0);
        if (name.empty()) {
            continue;
        }
        auto member = here->FindMember(value(reference(name)));
        if (member == here->MemberEnd()) {
            here->AddMember(reference(name),
                            value(array ? rapidjson::kArrayType : rapidjson::kObjectType), pool);
            member = here->MemberEnd() - 1;
        }
        here = &member->value;
        if (array) {
            if (here->Empty() || last) {
                here->PushBack(value(rapidjson::kObjectType), pool);
            }
            here = &*(here->End() - 1);
        }
    }
    return *here;
}

void typed_answer::begin_stream(std::string_view name) {
    if (stream_.empty()) {
        stream_ = name;
        json_.key(stream_);
        json_.begin('[');
    }
}

void typed_answer::end_element() {
    if (element_open_) {
        json_.value(element_);
        json_.out().write("\n");
        element_pool_.Clear();
        element_open_ = false;
    }
}

void typed_answer::take(const reply_line &line) {
    if (line.known == nullptr) {
        begin_stream(unknown_lines);
        if (stream_ == unknown_lines) {
            json_.text(line.text);
            json_.out().write("\n");
        } else {
            value lines(rapidjson::kArrayType);
            lines.PushBack(text_value(line.text, kept_pool_), kept_pool_);
            set(kept_, unknown_lines, std::move(lines), kept_pool_);
        }
        return;
    }
    std::string_view path = line.known->kind->row.member;
    if (path.empty()) {
        return;
    }
    const bool may_be_long = path[0] == '*';
    path.remove_prefix(may_be_long ? 1 : 0);
    const std::string_view head = path.substr(0, path.find("[]"));
    if (may_be_long) {
        begin_stream(head);
    }
    if (!may_be_long || stream_ != head) {
        describe(place(kept_, path, kept_pool_), line, kept_pool_);
        return;
    }
    const std::string_view below = path.substr(head.size() + 2);
    if (below.empty() || !element_open_) {
        end_element();
        element_.SetObject();
        element_open_ = true;
    }
    describe(place(element_, below, element_pool_), line, element_pool_);
}

void typed_answer::close() {
    end_element();
    if (!stream_.empty()) {
        json_.end(']');
    }
    for (const char *always : {"findings", "refusals"}) {
        if (!kept_.HasMember(always)) {
            kept_.AddMember(value::StringRefType(always), value(rapidjson::kArrayType), kept_pool_);
        }
    }
    for (const auto &member : kept_.GetObject()) {
        json_.key({member.name.GetString(), member.name.GetStringLength()});
        json_.value(member.value);
    }
}

}    // namespace client
