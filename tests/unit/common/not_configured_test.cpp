// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/not_configured.h"

using common::not_configured_text;

TEST(NotConfigured, ANumberIsRejectedWithTheNumbersThatExist) {
    EXPECT_EQ(not_configured_text("node", 77, {5, 1, 2, 3, 4}), "node 77 is not configured (nodes: 1-5)");
    EXPECT_EQ(not_configured_text("adapter", 1, std::vector<std::uint32_t>{}),
              "adapter 1 is not configured (adapters: none)");
}

TEST(NotConfigured, ANameIsRejectedWithTheNamesThatExist) {
    EXPECT_EQ(not_configured_text("node", "omega", {"alpha", "", "beta"}),
              "node omega is not configured (nodes: alpha, beta)");
    EXPECT_EQ(not_configured_text("node", "omega", {""}), "node omega is not configured (nodes: none)");
}

TEST(NotConfigured, ANameOfSeveralIsAmbiguous) {
    EXPECT_EQ(common::ambiguous_text("node", "twin", {7, 3}),
              "several nodes have the name twin: use the number (nodes: 3, 7)");
}

TEST(NotConfigured, LongListsAreCut) {
    const std::vector<std::string> names(100, "alpha");
    const std::string text = not_configured_text("node", "omega", names);
    EXPECT_TRUE(text.ends_with("alpha, alpha, ...)")) << text;
    EXPECT_LT(text.size(), 180U);
    EXPECT_EQ(not_configured_text("node", "x", {std::string(200, 'n')}),
              "node x is not configured (nodes: ...)");
}
