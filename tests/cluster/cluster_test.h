// SPDX-License-Identifier: Apache-2.0
// The base of every test on real engines.
#pragma once

#include <gtest/gtest.h>

#include "tests/cluster/hosts.h"

namespace hb_test {

// Only these tests may be skipped: some machines do not permit namespaces. ./check counts them and prints why.
class ClusterTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const std::optional<std::string> reason = why_no_hosts()) {
            GTEST_SKIP() << "no cluster on this machine: " << *reason;
        }
    }
};

} // namespace hb_test
