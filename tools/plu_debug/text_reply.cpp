#include "tools/plu_debug/text_reply.h"

#include <cerrno>
#include <cstring>

#include "tools/plu_debug/default_routes.h"
#include "tools/plu_debug/verdict.h"

namespace client {
namespace {

class text_reader : public reply_reader {
public:
    text_reader(output &out, reply_judge &judge) : out_(out), judge_(judge) {}
    void piece(std::string_view text) override {
        out_.write(text);
        judge_.piece(text);
    }
    void pause() override { out_.flush(); }

private:
    output &out_;
    reply_judge &judge_;
};

}    // namespace

exit_status run_as_text(const parsed_command &command, const options &chosen, output &out) {
    reply_judge judge(command.row == nullptr ? command.request.name : command.row->name);
    text_reader reader(out, judge);
    const exchange_result result = exchange(command.request, chosen.limits, reader);
    judge.finish();
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
