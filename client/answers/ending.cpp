#include "client/answers/ending.h"

namespace client {

ending ending_of(const exchange_result &result, const reply_judge &judge) {
    if (result.kind != outcome::done) {
        return {status_of(result.kind), "incomplete", outcome_name(result.kind), result.message};
    }
    return {judge.status(), verdict_name(judge.result()), outcome_name(result.kind),
            judge.reason()};
}

ending wrong_usage(const std::string &message) {
    return {status_usage, "incomplete", "not_sent", message};
}

ending file_failure(const std::string &message) {
    return {status_usage, "incomplete", "file_failed", message};
}

ending interrupted() {
    return {status_interrupted, "incomplete", outcome_name(outcome::interrupted), "interrupted"};
}

}    // namespace client
