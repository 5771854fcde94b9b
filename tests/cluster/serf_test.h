// SPDX-License-Identifier: Apache-2.0
// The base of every test on real Serf agents.
#pragma once

#include <gtest/gtest.h>

#include "tests/cluster/serf_agents.h"

namespace hb_test {

// Only such tests may be skipped: some machines have no Serf, or do not permit namespaces. ./check counts them and
// prints why.
class SerfTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const std::optional<std::string> reason = why_no_agents()) {
            GTEST_SKIP() << "no agents on this machine: " << *reason;
        }
    }
};

} // namespace hb_test
