// hbctl, run to its end.
#ifndef HB_TEST_SYSTEM_HBCTL_H
#define HB_TEST_SYSTEM_HBCTL_H

#include <string>
#include <vector>

#include "tests/system/daemon.h"

namespace hb_test {

struct HbctlEnd {
    int exit_status = -1; // -1: it did not end by itself
    std::string output;
    std::string errors;

    bool operator==(const HbctlEnd &) const = default;
};

void PrintTo(const HbctlEnd &end, std::ostream *out);

// `in_front` runs it: a program and its arguments.
HbctlEnd run_hbctl(const Programs &programs, const Daemon &daemon, const std::vector<std::string> &words,
                   const std::vector<std::string> &in_front = {});

// What a request that was answered, or sent, leaves behind.
HbctlEnd said(const std::string &line);

} // namespace hb_test

#endif
