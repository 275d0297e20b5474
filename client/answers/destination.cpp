#include "client/answers/destination.h"

namespace client {

destination::destination(const std::string &name, output &standard) : standard_(standard) {
    if (!name.empty() && name != "-" && !is_standard_output(name)) {
        file_.emplace(name, error_);
    }
}

ending destination::commit(const ending &how) {
    if (file_ && error_.empty()) {
        error_ = file_->commit();
    }
    return error_.empty() || how.status > status_usage ? how : file_failure(error_);
}

}    // namespace client
