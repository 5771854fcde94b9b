// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/unit/watch/watch_parts.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A report as a line: what, number, and the letters of its flags.
std::string line_of(const Hb_Watch_Report &report) {
    static const std::map<int, std::string> words = {{HB_WATCH_NODE_JOINED, "node+ "},
                                                     {HB_WATCH_NODE_DIED, "node- "},
                                                     {HB_WATCH_ADAPTER_JOINED, "adapter+ "},
                                                     {HB_WATCH_ADAPTER_DIED, "adapter- "},
                                                     {HB_WATCH_CONFIGURATION, "configuration"}};
    std::string line = words.at(report.kind);
    if (report.adapter != 0xFFFFFFFFU) {
        line += std::to_string(report.adapter);
    } else if (report.node >= 0) {
        line += std::to_string(report.node);
    }
    line += (report.flags & HB_WATCH_INITIAL) != 0 ? " initial" : "";
    line += (report.flags & HB_WATCH_CAUGHT_UP) != 0 ? " caught-up" : "";
    line += (report.flags & HB_WATCH_REMOVED) != 0 ? " removed" : "";
    return line;
}

// Nodes 0 to 9 with two adapter slots each. Adapter number = node x 2 + slot.
class Account : public testing::Test {
  protected:
    static constexpr int64_t TIME = 2000;
    static constexpr int64_t SINCE = 1000;

    ~Account() override { hbw_account_free(&account_); }

    void configure(const std::vector<uint32_t> &adapters, bool announced = false) {
        stamp();
        ASSERT_EQ(hbw_configuration_begin(&account_.next, 10, 20, adapters.size()), 0);
        account_.next.local_node = 1;
        for (const uint32_t number : adapters) {
            Hb_Watch_Adapter adapter{};
            adapter.number = number;
            adapter.node = static_cast<int16_t>(number / 2);
            adapter.network = static_cast<int16_t>(number % 2);
            hbw_configuration_add(&account_.next, &adapter);
        }
        hbw_configuration_end(&account_.next);
        ASSERT_EQ(hbw_account_configure(&account_, announced), 0);
    }

    void stamp(const char *failure = nullptr) { hbw_account_stamp(&account_, TIME, SINCE, failure); }

    void group(Hbw_Sort sort, const std::vector<uint32_t> &members, uint32_t incarnation = 1) {
        stamp();
        hbw_account_begin_group(&account_, sort);
        for (const uint32_t member : members) {
            hbw_account_add_member(&account_, sort, member, incarnation);
        }
        hbw_account_end_group(&account_, sort);
    }

    void join(Hbw_Sort sort, uint32_t number, uint32_t incarnation = 1) {
        stamp();
        hbw_account_join(&account_, sort, number, incarnation);
    }

    void die(Hbw_Sort sort, uint32_t number, bool removed = false) {
        stamp();
        hbw_account_die(&account_, sort, number, removed);
    }

    std::vector<std::string> reports() {
        std::vector<std::string> lines;
        Hb_Watch_Report report;
        while (hbw_account_has_more(&account_)) {
            EXPECT_EQ(hbw_account_next(&account_, &report), 1);
            lines.push_back(line_of(report));
        }
        EXPECT_EQ(hbw_account_next(&account_, &report), 0);
        return lines;
    }

    Hbw_Account account_{};
};

TEST_F(Account, KnowsNothingBeforeTheFirstConfiguration) {
    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_EQ(hbw_account_node_state(&account_, 1), Hb_Entity_Undef);
    EXPECT_EQ(hbw_account_node_state(&account_, -1), Hb_Entity_Undef);
    EXPECT_EQ(hbw_account_adapter_state(&account_, 2), Hb_Entity_Undef);
}

TEST_F(Account, ReportsWhatIsUpAtTheStart) {
    configure({2, 4, 6});
    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_EQ(hbw_account_node_state(&account_, 1), Hb_Entity_Undef);
    group(HBW_NODE, {1, 3});
    EXPECT_THAT(reports(), ElementsAre("node+ 1 initial", "node+ 3 initial"));
    group(HBW_ADAPTER, {2});
    EXPECT_THAT(reports(), ElementsAre("adapter+ 2 initial"));
    EXPECT_EQ(hbw_account_node_state(&account_, 1), Hb_Entity_Up);
    EXPECT_EQ(hbw_account_node_state(&account_, 2), Hb_Entity_Down);
    EXPECT_EQ(hbw_account_node_state(&account_, 5), Hb_Entity_Undef);
    EXPECT_EQ(hbw_account_adapter_state(&account_, 2), Hb_Entity_Up);
    EXPECT_EQ(hbw_account_adapter_state(&account_, 4), Hb_Entity_Down);
}

TEST_F(Account, StateIsTheReportedOne) {
    configure({2});
    group(HBW_NODE, {1});
    EXPECT_EQ(hbw_account_node_state(&account_, 1), Hb_Entity_Down);
    reports();
    EXPECT_EQ(hbw_account_node_state(&account_, 1), Hb_Entity_Up);
}

TEST_F(Account, ReportsEachEventOnce) {
    configure({2, 4});
    group(HBW_NODE, {1});
    reports();
    join(HBW_NODE, 2);
    EXPECT_THAT(reports(), ElementsAre("node+ 2"));
    die(HBW_NODE, 2);
    EXPECT_THAT(reports(), ElementsAre("node- 2"));
    die(HBW_NODE, 2);
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(Account, ReportsTheDeathThatAJoinImplies) {
    configure({2, 4});
    group(HBW_NODE, {1, 2});
    group(HBW_ADAPTER, {2, 4});
    reports();
    join(HBW_NODE, 2);
    EXPECT_THAT(reports(), ElementsAre("node- 2 caught-up", "node+ 2"));
    join(HBW_ADAPTER, 4, 2);
    EXPECT_THAT(reports(), ElementsAre("adapter- 4 caught-up", "adapter+ 4"));
    join(HBW_ADAPTER, 4, 2);
    EXPECT_THAT(reports(), IsEmpty()) << "the same incarnation has not died";
}

TEST_F(Account, ReportsTheDifferenceAfterALoss) {
    configure({2, 4, 6});
    group(HBW_NODE, {1, 2});
    reports();
    configure({2, 4, 6});
    group(HBW_NODE, {1, 3});
    EXPECT_THAT(reports(), ElementsAre("node- 2 caught-up", "node+ 3 caught-up"));
}

TEST_F(Account, FindsAnAdapterThatReturnedByItsIncarnation) {
    configure({2, 4});
    group(HBW_ADAPTER, {2, 4}, 1);
    reports();
    group(HBW_ADAPTER, {2, 4}, 2);
    EXPECT_THAT(reports(), IsEmpty()) << "another daemon counts from the start";
    account_.same_source = 1;
    group(HBW_ADAPTER, {2, 4}, 3);
    EXPECT_THAT(reports(), ElementsAre("adapter- 2 caught-up", "adapter- 4 caught-up", "adapter+ 2 caught-up",
                                       "adapter+ 4 caught-up"));
}

TEST_F(Account, ReportsInTheOrderOfTheDaemon) {
    configure({2, 4, 6});
    group(HBW_NODE, {1, 2});
    group(HBW_ADAPTER, {2, 4});
    reports();
    configure({2, 6}, true);
    hbw_account_join(&account_, HBW_NODE, 3, 0);
    hbw_account_join(&account_, HBW_ADAPTER, 6, 1);
    EXPECT_THAT(reports(),
                ElementsAre("adapter- 4 removed", "node- 2 removed", "configuration", "adapter+ 6", "node+ 3"));
    EXPECT_EQ(hbw_account_adapter_state(&account_, 4), Hb_Entity_Undef);
}

TEST_F(Account, DescribesARemovedAdapter) {
    configure({2, 5});
    group(HBW_ADAPTER, {2, 5});
    reports();
    configure({2}, true);
    Hb_Watch_Report report;
    ASSERT_EQ(hbw_account_next(&account_, &report), 1);
    EXPECT_EQ(report.adapter, 5U);
    EXPECT_EQ(report.node, 2);
    EXPECT_EQ(report.network, 1);
}

TEST_F(Account, ReportsAConfigurationThatDiffersOrIsAnnounced) {
    configure({2, 4});
    configure({2, 4});
    EXPECT_THAT(reports(), IsEmpty());
    configure({2, 4}, true);
    EXPECT_THAT(reports(), ElementsAre("configuration"));
    configure({2});
    EXPECT_THAT(reports(), ElementsAre("configuration caught-up"));
}

TEST_F(Account, GivesTheTimesAndTheIdentifierOfTheRecord) {
    configure({2, 4});
    group(HBW_NODE, {1, 2});
    reports();
    const Hb_FFDC_Id failure = "failure-7";
    stamp(failure);
    hbw_account_die(&account_, HBW_NODE, 2, 0);
    Hb_Watch_Report report;
    ASSERT_EQ(hbw_account_next(&account_, &report), 1);
    EXPECT_EQ(report.time, TIME);
    EXPECT_EQ(report.since, TIME);
    EXPECT_EQ(report.failure, std::string("failure-7"));
    group(HBW_NODE, {2});
    ASSERT_EQ(hbw_account_next(&account_, &report), 1);
    EXPECT_EQ(report.since, SINCE);
    EXPECT_EQ(report.failure, std::string());
}

TEST_F(Account, IgnoresMembersThatAreNotConfigured) {
    configure({2});
    group(HBW_NODE, {1, 4, 9, 2000});
    group(HBW_ADAPTER, {2, 3, 98351});
    EXPECT_THAT(reports(), ElementsAre("adapter+ 2 initial", "node+ 1 initial"));
    join(HBW_NODE, 7);
    die(HBW_NODE, 7);
    die(HBW_NODE, 4000000000U);
    EXPECT_THAT(reports(), IsEmpty());
}

// The truth is kept as two sets. Whatever happens, the reports replayed give it.
class Random_Account : public Account {
  protected:
    void replay() {
        Hb_Watch_Report report;
        while (hbw_account_next(&account_, &report)) {
            const bool of_node = report.kind == HB_WATCH_NODE_JOINED || report.kind == HB_WATCH_NODE_DIED;
            const bool joined = report.kind == HB_WATCH_NODE_JOINED || report.kind == HB_WATCH_ADAPTER_JOINED;
            if (report.kind == HB_WATCH_CONFIGURATION) {
                continue;
            }
            auto &set = of_node ? seen_nodes_ : seen_adapters_;
            const uint32_t number = of_node ? static_cast<uint32_t>(report.node) : report.adapter;
            if (joined) {
                EXPECT_TRUE(set.insert(number).second) << "joined twice: " << line_of(report);
            } else {
                EXPECT_EQ(set.erase(number), 1U) << "died twice: " << line_of(report);
            }
        }
    }

    std::set<uint32_t> nodes_;
    std::set<uint32_t> adapters_;
    std::set<uint32_t> seen_nodes_;
    std::set<uint32_t> seen_adapters_;
};

TEST_F(Random_Account, ReplayedReportsAreTheTruth) {
    std::mt19937 random(20261122);
    std::set<uint32_t> configured;
    const auto reconfigure = [&] {
        configured.clear();
        for (uint32_t adapter = 0; adapter < 20; ++adapter) {
            if (random() % 3 != 0) {
                configured.insert(adapter);
            }
        }
        std::erase_if(adapters_, [&](uint32_t adapter) { return configured.count(adapter) == 0; });
        std::erase_if(nodes_, [&](uint32_t node) {
            return configured.count(node * 2) == 0 && configured.count(node * 2 + 1) == 0;
        });
        configure({configured.begin(), configured.end()}, random() % 2 == 0);
    };
    const auto list = [](const std::set<uint32_t> &set) {
        return std::vector<uint32_t>(set.begin(), set.end());
    };
    reconfigure();
    group(HBW_NODE, {});
    group(HBW_ADAPTER, {});
    for (int round = 0; round < 20000; ++round) {
        const auto adapter = static_cast<uint32_t>(random() % 20);
        const uint32_t node = adapter / 2;
        const bool has_node = configured.count(node * 2) + configured.count(node * 2 + 1) > 0;
        switch (random() % 12) {
        case 0:
            reconfigure();
            break;
        case 1: // a loss: the events in between are not seen
            if (has_node && !nodes_.erase(node)) {
                nodes_.insert(node);
            }
            group(HBW_NODE, list(nodes_));
            group(HBW_ADAPTER, list(adapters_), static_cast<uint32_t>(round));
            break;
        case 2:
        case 3:
        case 4:
            if (has_node) {
                nodes_.insert(node);
            }
            join(HBW_NODE, node);
            break;
        case 5:
        case 6:
            nodes_.erase(node);
            die(HBW_NODE, node);
            break;
        case 7:
        case 8:
        case 9:
            if (configured.count(adapter) != 0) {
                adapters_.insert(adapter);
            }
            join(HBW_ADAPTER, adapter, static_cast<uint32_t>(round));
            break;
        default:
            adapters_.erase(adapter);
            die(HBW_ADAPTER, adapter, random() % 5 == 0);
            break;
        }
        if (random() % 4 != 0 || round % 100 == 0) {
            replay();
            ASSERT_EQ(seen_nodes_, nodes_) << round;
            ASSERT_EQ(seen_adapters_, adapters_) << round;
        }
    }
}

} // namespace
