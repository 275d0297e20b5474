// A reply as typed JSON members: objects and arrays made from the records of its lines.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/base/json.h"
#include "client/replies/reply_lines.h"

namespace client {

class typed_answer {
public:
    explicit typed_answer(json_writer &json);

    /// The next line of the reply. Elements of an array that may be long are written one by one as
    /// they end, everything else is kept.
    void take(const reply_line &line);

    /// Writes what was kept: all members but the counters.
    void close();

private:
    using value = rapidjson::Value;
    using allocator = rapidjson::MemoryPoolAllocator<>;

    /// Where a member's fields go, made when it is not there.
    static value &place(value &at, std::string_view path, allocator &pool);
    void begin_stream(std::string_view name);
    void end_element();

    json_writer &json_;
    std::string stream_;    // the array that is written as it comes
    allocator kept_pool_;
    value kept_;
    std::vector<char> element_memory_;
    allocator element_pool_;
    value element_;
    bool element_open_ = false;
};

}    // namespace client
