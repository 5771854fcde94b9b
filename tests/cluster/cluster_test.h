// What every test on real engines stands on.
#ifndef HB_TEST_CLUSTER_CLUSTER_TEST_H
#define HB_TEST_CLUSTER_CLUSTER_TEST_H

#include <gtest/gtest.h>

#include "tests/cluster/hosts.h"

namespace hb_test {

// The only tests that may be skipped: not every machine lets namespaces be made. ./check counts them and says why.
class ClusterTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const std::optional<std::string> reason = why_no_hosts()) {
            GTEST_SKIP() << "no cluster on this machine: " << *reason;
        }
    }
};

} // namespace hb_test

#endif
