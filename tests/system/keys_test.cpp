// SPDX-License-Identifier: Apache-2.0
// Security keys in shared memory, read by many processes while wispd rotates them.
#include <algorithm>
#include <regex>

#include <gtest/gtest.h>

#include "tests/system/client.h"
#include "tests/system/clusters.h"
#include "tests/system/readers.h"

namespace hb_test {
namespace {

class Keys : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    void rotate() { EXPECT_TRUE(daemon.tells(R"({"do":"rotate-key"})")); }

    // All keys differ. Here they are numbered 0, 1, 2, ... in the order in which they appeared.
    std::string with_key_numbers(const std::string &line) {
        static const std::regex key("<[0-9]+>");
        std::string text;
        auto last = line.cbegin();
        for (std::sregex_iterator it(line.begin(), line.end(), key), end; it != end; ++it) {
            const auto known = std::find(seen.begin(), seen.end(), it->str());
            text.append(last, (*it)[0].first).append("#" + std::to_string(known - seen.begin()));
            if (known == seen.end()) {
                seen.push_back(it->str());
            }
            last = (*it)[0].second;
        }
        return text.append(last, line.cend());
    }
    void expect_keys(Clients &clients, const std::vector<std::string> &lines) {
        order_all(clients, "keys");
        for (const auto &client : clients) {
            std::vector<std::string> told;
            for (const std::string &line : client->lines(lines.size())) {
                told.push_back(with_key_numbers(line));
            }
            EXPECT_EQ(told, lines);
        }
    }

    Daemon daemon{GetParam().daemon, small_cluster_file() + "[security]\n"};
    std::vector<std::string> seen;
};

TEST_P(Keys, AreNeverTornAndOnePictureWhereTheGenerationStays) {
    Readers readers;
    readers.start(GetParam(), daemon, "keys");
    readers.change_until_all_have_seen(150, [&] { rotate(); });
    readers.end_well();
}

TEST_P(Keys, AreTheCurrentThePreviousAndTenBeforeThem) {
    Clients clients = start_clients(GetParam(), daemon, {"open"});
    expect_lines(clients, {"opened"});
    const std::string good = " compatible 0 signs 1 authenticates 1 key ";
    const std::string old = " compatible 0 signs 0 authenticates 1 key ";
    expect_keys(clients, {"generation 1", "current on 1 count 1" + good + "#0",
                          "previous on 0 count 0 compatible 0 signs 0 authenticates 0 key none",
                          "cached 0: none none none none none none none none none none"});
    rotate();
    expect_keys(clients,
                {"generation 3", "current on 1 count 2" + good + "#1", "previous on 1 count 1" + old + "#0",
                 "cached 0: none none none none none none none none none none"});
    rotate();
    expect_keys(clients,
                {"generation 5", "current on 1 count 3" + good + "#2", "previous on 1 count 2" + old + "#1",
                 "cached 1: #0 none none none none none none none none none"});
    const std::vector<std::string> cached_then = {"cached 2: #1 #0 none none none none none none none none",
                                                  "cached 3: #2 #1 #0 none none none none none none none",
                                                  "cached 4: #3 #2 #1 #0 none none none none none none",
                                                  "cached 5: #4 #3 #2 #1 #0 none none none none none",
                                                  "cached 6: #5 #4 #3 #2 #1 #0 none none none none",
                                                  "cached 7: #6 #5 #4 #3 #2 #1 #0 none none none",
                                                  "cached 8: #7 #6 #5 #4 #3 #2 #1 #0 none none",
                                                  "cached 9: #8 #7 #6 #5 #4 #3 #2 #1 #0 none",
                                                  "cached 10: #9 #8 #7 #6 #5 #4 #3 #2 #1 #0",
                                                  "cached 10: #10 #9 #8 #7 #6 #5 #4 #3 #2 #1",
                                                  "cached 10: #11 #10 #9 #8 #7 #6 #5 #4 #3 #2"};
    for (std::size_t i = 0; i < cached_then.size(); ++i) {
        rotate();
        const std::size_t rotations = i + 3;
        const std::size_t count = std::min<std::size_t>(rotations + 1, 12);
        const std::size_t count_before = std::min<std::size_t>(rotations, 12);
        expect_keys(
            clients,
            {"generation " + std::to_string(1 + 2 * rotations),
             "current on 1 count " + std::to_string(count) + good + "#" + std::to_string(rotations),
             "previous on 1 count " + std::to_string(count_before) + old + "#" + std::to_string(rotations - 1),
             cached_then[i]});
    }
    expect_good_ends(clients);
}

TEST_P(Keys, WithoutThemThereIsAGenerationAndNothingElse) {
    EXPECT_TRUE(daemon.stop());
    daemon.write_configuration(small_cluster_file());
    ASSERT_TRUE(daemon.start());
    Clients clients = start_clients(GetParam(), daemon, {"open"});
    expect_lines(clients, {"opened"});
    const std::string nothing = " on 0 count 0 compatible 0 signs 0 authenticates 0 key none";
    expect_keys(clients, {"generation 1", "current" + nothing, "previous" + nothing,
                          "cached 0: none none none none none none none none none none"});
    EXPECT_EQ(daemon.tell(R"({"do":"rotate-key"})").find(R"({"ok":true})"), std::string::npos);
    expect_good_ends(clients);
}

SYSTEM_TESTS(Keys);

} // namespace
} // namespace hb_test
