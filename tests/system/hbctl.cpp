// SPDX-License-Identifier: Apache-2.0
#include "tests/system/hbctl.h"

#include <ostream>

namespace hb_test {

void PrintTo(const Hbctl_End &end, std::ostream *out) {
    *out << "status " << end.exit_status << ", output: " << end.output << ", errors: " << end.errors;
}

Hbctl_End run_hbctl(const Programs &programs, const Daemon &daemon, const std::vector<std::string> &words,
                    const std::vector<std::string> &in_front) {
    std::vector<std::string> line = in_front;
    line.insert(line.end(), {programs.path("hbctl"), "--socket", daemon.socket()});
    line.insert(line.end(), words.begin(), words.end());
    Child_Process process(line);
    process.close_input();
    const std::optional<Child_End> end = process.wait();
    const bool ended = end && end->signal == 0;
    return {ended ? end->exit_status : -1, process.output(), process.error_output()};
}

Hbctl_End said(const std::string &line) {
    return {0, line + "\n", ""};
}

} // namespace hb_test
