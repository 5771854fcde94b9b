// SPDX-License-Identifier: Apache-2.0
// The programs, and their ABIs, that a system test runs together.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace hb_test {

// The programs of one build.
struct Programs {
    std::string abi;
    std::string directory;

    std::string path(const std::string &name) const { return directory + "/" + name; }
};

struct Setup {
    std::string name;
    Programs daemon;
    std::vector<Programs> clients; // one entry for each client of a test
};

Programs programs_of_this_build();

// Every test marked with SYSTEM_TESTS runs once for each of these.
std::vector<Setup> setups();

std::string name_of(const testing::TestParamInfo<Setup> &info);
void PrintTo(const Setup &setup, std::ostream *out);

} // namespace hb_test

#define SYSTEM_TESTS(suite) INSTANTIATE_TEST_SUITE_P(System, suite, testing::ValuesIn(setups()), name_of)
