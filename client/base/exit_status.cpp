#include "client/base/exit_status.h"

namespace client {
namespace {

constexpr status_row rows[] = {
    {status_done, "done"},
    {status_findings, "a check found inconsistencies, or the process refused"},
    {status_usage,
     "wrong usage, nothing was sent; or a file, or the output, cannot be read or written"},
    {status_no_answer, "no process, no permission, or no answer in time"},
    {status_interrupted, "interrupted"},
};

}    // namespace

std::span<const status_row> all_statuses() {
    return rows;
}

}    // namespace client
