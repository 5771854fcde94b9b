// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "exporter/past_event.h"

namespace exporter {
namespace {

TEST(PastEvent, NamesTheFirstMembers) {
    EXPECT_EQ(members_text("node", "nodes", {}, 0), "no node");
    EXPECT_EQ(members_text("node", "nodes", {"alpha"}, 1), "node alpha");
    EXPECT_EQ(members_text("node", "nodes", {"alpha", "beta"}, 2), "nodes alpha and beta");
    EXPECT_EQ(members_text("node", "nodes", {"alpha", "beta", "3"}, 3), "nodes alpha, beta and 3");
    EXPECT_EQ(members_text("node", "nodes", {"alpha", "beta"}, 2049), "nodes alpha, beta and 2047 more");
}

TEST(PastEvent, AFullListDropsItsOldestLine) {
    Snapshot snapshot;
    for (std::size_t line = 0; line < HISTORY_LONGEST + 2; ++line) {
        remember(snapshot, {0, {}, "death", std::to_string(line), ""});
    }
    ASSERT_EQ(snapshot.history.size(), HISTORY_LONGEST);
    EXPECT_EQ(snapshot.history.front()->what, "2");
    EXPECT_EQ(snapshot.history.front()->number, 3U);
    EXPECT_EQ(snapshot.history.back()->number, HISTORY_LONGEST + 2);
}

} // namespace
} // namespace exporter
