// SPDX-License-Identifier: Apache-2.0
// Runs hbctl until it ends.
#pragma once

#include <string>
#include <vector>

#include "tests/system/daemon.h"

namespace hb_test {

struct Hbctl_End {
    int exit_status = -1; // -1: it did not end by itself
    std::string output;
    std::string errors;

    bool operator==(const Hbctl_End &) const = default;
};

void PrintTo(const Hbctl_End &end, std::ostream *out);

// `in_front` runs hbctl: it is a program with its arguments.
Hbctl_End run_hbctl(const Programs &programs, const Daemon &daemon, const std::vector<std::string> &words,
                    const std::vector<std::string> &in_front = {});

// The result of a request that was answered or sent.
Hbctl_End said(const std::string &line);

} // namespace hb_test
