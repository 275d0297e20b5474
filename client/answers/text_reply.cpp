#include "client/answers/text_reply.h"

#include <cerrno>
#include <cstring>

#include "client/answers/default_routes.h"
#include "client/replies/verdict.h"

namespace client {
namespace {

constexpr uint64_t walk_recording = 11;

class text_reader : public reply_reader {
public:
    /// With `lines_alone` the text is not written: whoever takes the lines writes them.
    text_reader(output &out, reply_lines &lines, bool lines_alone)
        : out_(out), lines_(lines), lines_alone_(lines_alone) {}
    void piece(std::string_view text) override {
        if (!lines_alone_) {
            out_.write(text);
        }
        lines_.piece(text);
    }
    void pause() override { out_.flush(); }
    [[nodiscard]] bool wanted() const override { return out_.wanted(); }

private:
    output &out_;
    reply_lines &lines_;
    bool lines_alone_;
};

// A recording is a table: what speaks of the card stays out of it.
void write_recorded(const reply_line &line, output &out) {
    if (line.known != nullptr && speaks(line.known->kind->row.means)) {
        notice(std::string(line.text));
    } else {
        out.write(line.text);
        out.write("\n");
    }
}

}    // namespace

exit_status run_as_text(const parsed_command &command, const options &chosen, output &out) {
    const char *name = command.row == nullptr ? command.request.name : command.row->name;
    reply_judge judge(name);
    const bool recording = std::string_view(name) == "walk" && command.request.a1 == walk_recording;
    reply_lines lines(name, [&](const reply_line &line) {
        judge.take(line);
        if (recording) {
            write_recorded(line, out);
        }
    });
    text_reader reader(out, lines, recording);
    const exchange_result result = exchange(command.request, chosen.limits, reader);
    lines.finish();
    out.flush();
    if (result.kind != outcome::done) {
        if (result.kind != outcome::interrupted) {
            notice(result.message);
        }
        return status_of(result.kind);
    }
    const ending how =
        explained_misses(command.request, judge, chosen.limits, ending_of(result, judge));
    if (judge.lacks_summary() && judge.result() != verdict::refused) {
        notice("the reply lacks the check's summary");
    } else if (judge.unexplained_misses() > 0 && judge.result() == verdict::ok) {
        notice(how.status == status_done
                   ? std::to_string(judge.unexplained_misses()) +
                         " misses are not shown; all are default routes, which always miss"
                   : how.message + (same_word(command.request.name, "cklkuphw")
                                        ? ""
                                        : " (cklkuphw lists every miss)"));
    }
    return how.status;
}

}    // namespace client
