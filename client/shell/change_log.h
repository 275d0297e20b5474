// The system log's account of commands that may change the card.
#pragma once

#include <string>
#include <vector>

#include "client/base/exit_status.h"
#include "records/request.h"

namespace client {

/// One command: who sends it and from where stands in the log before it is sent, and how it ended
/// afterwards. When nothing listens to the log the operator is told, once.
class change_log {
public:
    change_log(const std::vector<std::string> &words, const plu_debug_request &request);
    void ended(exit_status status) const;

private:
    std::string command_;
};

}    // namespace client
