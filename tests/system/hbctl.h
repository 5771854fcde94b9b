// Runs hbctl until it ends.
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

// `in_front` runs hbctl: it is a program with its arguments.
HbctlEnd run_hbctl(const Programs &programs, const Daemon &daemon, const std::vector<std::string> &words,
                   const std::vector<std::string> &in_front = {});

// The result of a request that was answered or sent.
HbctlEnd said(const std::string &line);

} // namespace hb_test

#endif
