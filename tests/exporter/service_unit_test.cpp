// SPDX-License-Identifier: Apache-2.0
// The service of hb_exporter and its dashboard, as they are installed.
#include <fstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"

namespace hb_test {
namespace {

TEST(ExporterUnit, HasAnExposureOfAtMostThree) {
    if (access("/usr/bin/systemd-analyze", X_OK) != 0) {
        GTEST_SKIP() << "systemd-analyze is missing";
    }
    Child_Process process({"systemd-analyze", "security", "--offline=true", "--no-pager", "--threshold=30",
                           HB_TEST_EXPORTER_UNIT});
    process.close_input();
    const std::optional<Child_End> end = process.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(0, end->exit_status) << process.output() << process.error_output();
}

// Its clients need no rights, so a fault that one of them provokes must not use up the node's memory.
TEST(ExporterUnit, LimitsTheMemory) {
    std::ifstream unit(HB_TEST_EXPORTER_UNIT);
    std::string limit;
    for (std::string line; std::getline(unit, line);) {
        if (line.starts_with("MemoryMax=")) {
            limit = line;
        }
    }
    EXPECT_EQ(limit, "MemoryMax=256M");
}

} // namespace
} // namespace hb_test
