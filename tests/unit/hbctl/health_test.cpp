// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/arguments.h"
#include "tools/hbctl/health.h"

using namespace hbctl;
using testing::HasSubstr;

namespace {

Counts counts_of(std::size_t nodes, std::size_t nodes_up, std::size_t adapters, std::size_t adapters_up) {
    return {nodes, nodes_up, 2, adapters, adapters_up, 0, true, true};
}

} // namespace

TEST(HbctlHealth, OneNodeDownIsAWarningAndALostMajorityIsCritical) {
    EXPECT_EQ(judge(counts_of(5, 5, 10, 10), {}), Health::ok);
    EXPECT_EQ(judge(counts_of(5, 4, 10, 10), {}), Health::warning);
    EXPECT_EQ(judge(counts_of(5, 3, 10, 10), {}), Health::warning);
    EXPECT_EQ(judge(counts_of(5, 2, 10, 10), {}), Health::critical);
    EXPECT_EQ(judge(counts_of(4, 2, 10, 10), {}), Health::critical);
    EXPECT_EQ(judge(counts_of(1, 0, 1, 1), {}), Health::critical);
}

TEST(HbctlHealth, AdaptersAloneWarn) {
    EXPECT_EQ(judge(counts_of(5, 5, 10, 9), {}), Health::warning);
    EXPECT_EQ(judge(counts_of(5, 5, 10, 0), {}), Health::warning);
    EXPECT_EQ(judge(counts_of(5, 5, 10, 7), {0, std::nullopt, 3, 5}), Health::ok);
    EXPECT_EQ(judge(counts_of(5, 5, 10, 4), {0, std::nullopt, 3, 5}), Health::critical);
}

TEST(HbctlHealth, AnUnknownStateIsUnknownAndHasNoPerformanceData) {
    Counts counts = counts_of(5, 5, 10, 10);
    counts.adapters_known = false;
    EXPECT_EQ(judge(counts, {}), Health::unknown);
    EXPECT_EQ(health_text(counts, {}),
              "CLUSTER UNKNOWN - the daemon did not report which nodes and adapters are up");
}

TEST(HbctlHealth, TheLineHasTextAndPerformanceData) {
    EXPECT_EQ(health_text(counts_of(4, 4, 7, 7), {}),
              "CLUSTER OK - 4 of 4 nodes up, 7 of 7 adapters up | nodes_down=0;0;1;0;4 adapters_down=0;0;;0;7");
    EXPECT_EQ(
        health_text(counts_of(4, 3, 7, 5), {2, 3, 4, 6}),
        "CLUSTER OK - 3 of 4 nodes up, 5 of 7 adapters up | nodes_down=1;2;3;0;4 adapters_down=2;4;6;0;7");
    EXPECT_EQ(health_text(Health::critical, "cannot a|b"), "CLUSTER CRITICAL - cannot a/b");
}

TEST(HbctlHealth, ThresholdsComeFromTheCommandLineAndMisuseIsUnknown) {
    const auto parse = [](std::vector<const char *> words) {
        words.insert(words.begin(), "hbctl");
        return parse_arguments(static_cast<int>(words.size()), words.data());
    };
    const Parsed parsed = parse({"check", "-w", "1", "-c", "2", "--adapters-critical", "5"});
    ASSERT_TRUE(parsed.arguments) << parsed.complaint;
    EXPECT_EQ(parsed.arguments->verb, Verb::check);
    EXPECT_EQ(parsed.arguments->thresholds.nodes_warning, 1U);
    EXPECT_EQ(parsed.arguments->thresholds.nodes_critical, 2U);
    EXPECT_EQ(parsed.arguments->thresholds.adapters_warning, 0U);
    EXPECT_EQ(parsed.arguments->thresholds.adapters_critical, 5U);
    for (const auto &words :
         {std::vector<const char *>{"check", "-w", "x"}, std::vector<const char *>{"check", "--bogus"}}) {
        EXPECT_EQ(parse(words).exit_status, 3);
        EXPECT_THAT(parse(words).complaint, HasSubstr("hbctl: "));
    }
    EXPECT_EQ(parse({"nodes", "--bogus"}).exit_status, 2);
}
