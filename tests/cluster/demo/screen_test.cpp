// SPDX-License-Identifier: Apache-2.0
// How the demo shows the lines that clients print.
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cluster/demo/client_view.h"
#include "tests/cluster/demo/screen.h"

namespace hb_demo {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string NODES_UP = R"({"seq":1,"time":"2026-11-21T09:05:43.312Z","event":"new-group",)"
                             R"("subscription":"hbctl-nodes","group":"nodes","nodes":[1,2,3],"adapters":[],)"
                             R"("stable":true})";
const std::string ADAPTERS_UP =
    R"({"seq":2,"time":"2026-11-21T09:05:43.313Z","event":"new-group","subscription":"hbctl-adapters",)"
    R"("group":"adapters","nodes":[],"adapters":[{"adapter":48,"node":1},{"adapter":97,"node":2}],)"
    R"("stable":true,"leader":48,"incarnation":1})";
const std::string ADAPTERS_DIED =
    R"({"seq":3,"time":"2026-11-21T09:05:44.000Z","event":"death","subscription":"hbctl-adapters",)"
    R"("group":"adapters","nodes":[],"adapters":[{"adapter":97,"incarnation":1,"removed":false,"node":2},)"
    R"({"adapter":145,"incarnation":1,"removed":true,"node":null}]})";
const std::string NODE_JOINED = R"({"seq":4,"time":"2026-11-21T09:05:45.500Z","event":"join",)"
                                R"("subscription":"hbctl-nodes","group":"nodes","nodes":[3],"adapters":[]})";

Time at(int milliseconds_of_it) {
    return Time(milliseconds(1795251900000LL + milliseconds_of_it)); // 2026-11-21 09:05:00 UTC
}

Client_Event death(Time time, std::set<int> nodes, std::map<int, int> adapters = {}) {
    return {time, Told::death, !nodes.empty(), std::move(nodes), std::move(adapters), "death"};
}

Client_Event join(Time time, std::set<int> nodes, std::map<int, int> adapters = {}) {
    return {time, Told::join, !nodes.empty(), std::move(nodes), std::move(adapters), "join"};
}

TEST(DemoEvent, IsReadFromALineOfTheClient) {
    const Client_Event event = read_event(ADAPTERS_DIED);
    EXPECT_EQ(event.time, at(44000));
    EXPECT_EQ(event.told, Told::death);
    EXPECT_EQ(event.adapters, (std::map<int, int>{{97, 2}, {145, -1}}));
    EXPECT_THAT(event.nodes, IsEmpty());
    EXPECT_EQ(read_event(NODE_JOINED).told, Told::join);
    EXPECT_EQ(read_event(NODE_JOINED).nodes, std::set<int>{3});
    EXPECT_EQ(read_event(NODE_JOINED).time, at(45500));
    EXPECT_EQ(read_event(R"({"time":"2026-11-21T09:05:43.312Z","event":"configuration","group":"none"})").told,
              Told::other);
}

TEST(DemoEvent, ALineThatIsNoneIsRefusedWithItsText) {
    for (const char *line : {"watching 3 nodes", R"({"event":"join"})", R"({"time":"noon","event":"join"})",
                             R"({"time":"2026-11-21T09:05:43.312Z","event":"death"})"}) {
        try {
            read_event(line);
            ADD_FAILURE() << "the line was accepted: " << line;
        } catch (const std::runtime_error &trouble) {
            EXPECT_THAT(trouble.what(), HasSubstr(line));
        }
    }
}

TEST(DemoEvent, IsShownInShortLines) {
    EXPECT_THAT(lines_of(read_event(NODES_UP)), ElementsAre("up: nodes 1, 2, 3"));
    EXPECT_THAT(lines_of(read_event(ADAPTERS_UP)), ElementsAre("up: 2 adapters"));
    EXPECT_THAT(lines_of(join(at(0), {}, {{144, 3}, {145, 3}})),
                ElementsAre("adapter 144 of node 3 joined", "adapter 145 of node 3 joined"));
    EXPECT_THAT(lines_of(death(at(0), {1, 2})), ElementsAre("node 1 died", "node 2 died"));
    EXPECT_THAT(lines_of(read_event(R"({"time":"2026-11-21T09:05:43.312Z","event":"configuration"})")),
                ElementsAre("the configuration changed"));
    EXPECT_THAT(lines_of(read_event(R"({"time":"2026-11-21T09:05:43.312Z","event":"event-99"})")),
                ElementsAre("event-99"));
}

TEST(DemoView, FollowsAccountsDeathsAndJoins) {
    Client_View view;
    view.take(read_event(NODES_UP));
    view.take(read_event(ADAPTERS_UP));
    EXPECT_EQ(view.up(), (Members{{1, 2, 3}, {48, 97}}));
    view.take(death(at(100), {3}));
    view.take(death(at(100), {}, {{97, 2}}));
    EXPECT_EQ(view.up(), (Members{{1, 2}, {48}}));
    view.take(join(at(200), {3}));
    view.take(join(at(200), {}, {{97, 2}}));
    EXPECT_EQ(view.up(), (Members{{1, 2, 3}, {48, 97}}));
}

TEST(DemoView, KnowsWhenTheLastOfSeveralWasToldForTheFirstTime) {
    Client_View view;
    view.take(death(at(50), {}, {{96, 2}, {97, 2}})); // of an earlier fault
    view.take(join(at(60), {}, {{96, 2}, {97, 2}}));
    view.take(death(at(150), {}, {{96, 2}}));
    EXPECT_EQ(view.told_adapters({96, 97}, Told::death, at(100)), std::nullopt);
    view.take(death(at(170), {}, {{97, 2}}));
    view.take(join(at(180), {}, {{96, 2}}));
    view.take(death(at(190), {}, {{96, 2}})); // it flaps
    EXPECT_EQ(view.told_adapters({96}, Told::death, at(100)), at(150));
    EXPECT_EQ(view.told_adapters({96, 97}, Told::death, at(100)), at(170));
    EXPECT_EQ(view.told_adapters({96, 97}, Told::join, at(100)), std::nullopt);
    EXPECT_EQ(view.told_nodes({2}, Told::death, at(0)), std::nullopt);
    EXPECT_EQ(view.told_adapters({}, Told::death, at(0)), std::nullopt);
    view.take(death(at(200), {2}));
    EXPECT_EQ(view.told_nodes({2}, Told::death, at(200)), at(200));
    EXPECT_EQ(view.told_nodes({2}, Told::death, at(201)), std::nullopt);
}

TEST(DemoScreen, ShowsWhatWasToldInItsOrderWhateverOrderItCameIn) {
    std::ostringstream out;
    Screen screen(out, 3);
    screen.headline("A link is cut", "As it happens.", at(1000));
    screen.show(3, death(at(1429), {}, {{97, 2}}));
    screen.show(1, death(at(1425), {}, {{97, 2}}));
    screen.show(2, death(at(1009), {}, {{49, 1}, {145, 3}}));
    screen.show(1, death(at(3430), {3}));
    screen.flush(at(3430));
    EXPECT_EQ(
        out.str(),
        "\n"
        "== A link is cut =================================================================================="
        "=\n"
        "As it happens.\n"
        "\n"
        "   after  host1                         host2                         host3\n"
        "  0.00 s                                adapter 49 of node 1 died\n"
        "                                        adapter 145 of node 3 died\n"
        "  0.42 s  adapter 97 of node 2 died                                   adapter 97 of node 2 died\n");
    out.str({});
    screen.flush();
    EXPECT_EQ(out.str(), "  2.43 s  node 3 died\n");
    screen.flush();
    EXPECT_EQ(out.str(), "  2.43 s  node 3 died\n");
}

TEST(DemoScreen, WhatHappensInTheSameHundredthOfASecondStaysTogether) {
    std::ostringstream out;
    Screen screen(out, 2);
    screen.headline("x", "", at(1007));
    out.str({});
    screen.show(1, death(at(1058), {1})); // 0.051 s after
    screen.flush(at(1059));
    EXPECT_EQ(out.str(), "");
    screen.show(2, death(at(1066), {1})); // 0.059 s after
    screen.flush(at(1067));
    EXPECT_EQ(out.str(), "  0.05 s  node 1 died                   node 1 died\n");
}

TEST(DemoScreen, WhatWasToldBeforeAHeadlineStandsAboveIt) {
    std::ostringstream out;
    Screen screen(out, 1);
    screen.headline("first", "", at(0));
    screen.show(1, death(at(10), {2}));
    out.str({});
    screen.headline("second", "", at(500));
    EXPECT_THAT(out.str(), testing::StartsWith("  0.01 s  node 2 died\n\n== second ="));
}

TEST(DemoScreen, EndsWithATableOfTimes) {
    std::ostringstream out;
    Screen screen(out, 3);
    screen.table("Times",
                 {{"engine of host3 killed", "adapters died", {milliseconds(1), milliseconds(999), {}}},
                  {"", "nodes died", {milliseconds(2036), milliseconds(12345), milliseconds(0)}}});
    EXPECT_THAT(out.str(), testing::EndsWith("                                                                 "
                                             "      host1       host2       host3\n"
                                             "engine of host3 killed                    adapters died          "
                                             "    0.001 s     0.999 s           -\n"
                                             "                                          nodes died             "
                                             "    2.036 s    12.345 s     0.000 s\n"));
}

} // namespace
} // namespace hb_demo
