// SPDX-License-Identifier: Apache-2.0
// A short storm; cluster_storm runs long ones.
#include <gmock/gmock.h>

#include "tests/cluster/cluster_test.h"
#include "tests/cluster/storm.h"

namespace hb_test {
namespace {

class StormTest : public ClusterTest {};

TEST_F(StormTest, TenRandomFaultsAreToldAsTheyWere) {
    Engine_Cluster cluster(4, 2, {100, 5});
    ASSERT_TRUE(cluster.start()) << cluster.account();
    const Storm_Outcome outcome = Storm(cluster, 20261121).run(10);
    EXPECT_THAT(outcome.complaints, testing::IsEmpty());
    if (!outcome.good()) {
        ADD_FAILURE() << storm_report(outcome, cluster, 20261121);
    }
    EXPECT_EQ(outcome.hasty + outcome.settled, 10U);
    EXPECT_GT(outcome.explained, 0U);
}

} // namespace
} // namespace hb_test
