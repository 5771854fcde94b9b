// SPDX-License-Identifier: Apache-2.0
// An open library does not slow down the end of a process: the library releases nothing then.
#include <string>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

std::string releases(const std::string &mode) {
    const Fake_Daemon daemon;
    Child_Process program({HB_QUIET_EXIT, mode});
    const auto end = program.wait();
    EXPECT_TRUE(end);
    EXPECT_EQ(0, end ? end->exit_status : -1) << program.error_output();
    return program.output();
}

ISOLATED_TEST(QuietExit, OfAnOpenLibraryReleasesNothing) {
    EXPECT_EQ("", releases("open"));
}

// The program detects releases: terminating closes the socket and deletes the connection.
ISOLATED_TEST(QuietExit, ReleasesAreSeenWhereTheyAreMade) {
    const std::string made = releases("terminated");
    EXPECT_NE(std::string::npos, made.find("close\n")) << made;
    EXPECT_NE(std::string::npos, made.find("delete\n")) << made;
}

} // namespace
} // namespace hb_test
