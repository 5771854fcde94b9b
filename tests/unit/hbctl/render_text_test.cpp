#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/hbctl/sample_picture.h"
#include "tools/hbctl/plain_text.h"
#include "tools/hbctl/render_text.h"

using namespace hbctl;
using hbctl_test::sample_picture;
using testing::ElementsAre;

namespace {

Event_Record event_of(int kind) {
    Event_Record event;
    event.kind = kind;
    event.sequence = 12;
    event.time = Wall_Time(std::chrono::milliseconds(1500));
    return event;
}

// The event's line without the sequence number and the time, which depends on the time zone.
std::string line_of(const Event_Record &event) {
    const std::string line = event_text(event);
    const std::string front = "    12  " + clock_text(event.time) + "  ";
    EXPECT_EQ(line.substr(0, front.size()), front);
    return line.substr(front.size());
}

} // namespace

TEST(HbctlText, Status) {
    Status_Report report{"/tmp/s", 1, {5, 4, 2, 10, 8, 0, true, true}, Heartbeat{2, 500000, true, 42}};
    report.local_name = "alpha";
    report.daemon = common::Cluster_File{"c", "1.0.0", Wall_Time(std::chrono::seconds(60)), "connected", {}};
    report.now = Wall_Time(std::chrono::seconds(3665));
    EXPECT_THAT(status_text(report),
                ElementsAre("socket      /tmp/s", "cluster     c", "version     1.0.0", "uptime      1 h 0 min",
                            "engine      Corosync connected", "local node  1 (alpha)",
                            "nodes       5 configured, 4 up", "networks    2 configured",
                            "adapters    10 configured, 8 up", "sites       0 configured",
                            "heartbeat   enabled, threshold 2.5 s, daemon process 42"));
}

TEST(HbctlText, StatusTellsWhatIsUnknown) {
    Status_Report report{"/tmp/s", 1, {5, 0, 2, 10, 0, 1, false, false}, std::nullopt};
    EXPECT_THAT(status_text(report),
                ElementsAre("socket      /tmp/s", "cluster     unknown", "version     unknown",
                            "uptime      unknown", "engine      unknown", "local node  1",
                            "nodes       5 configured, ? up", "networks    2 configured",
                            "adapters    10 configured, ? up", "sites       1 configured",
                            "heartbeat   not received yet"));
}

TEST(HbctlText, Nodes) {
    Picture picture = sample_picture();
    picture.nodes[0].state = Liveness::up;
    picture.nodes[1].state = Liveness::down;
    picture.nodes[1].name = "beta";
    EXPECT_THAT(nodes_text(picture), ElementsAre("NODE  NAME  LOCAL  STATE  ADAPTERS  ADDRESSES",
                                                 "   1  -     yes    up     2, 3      10.1.0.1, 10.2.0.1",
                                                 "   2  beta  -      down   4, 5      10.1.0.2, 10.2.0.2"));
}

TEST(HbctlText, Networks) {
    Picture picture = sample_picture();
    picture.adapters[0].state = Liveness::up;
    picture.adapters[2].state = Liveness::up;
    EXPECT_THAT(networks_text(picture),
                ElementsAre("NETWORK  NAME   TYPE   ADAPTERS  UP", "      0  net_a  ether         2   2",
                            "      1  net_b  -             2   ?"));
}

TEST(HbctlText, Adapters) {
    Picture picture = sample_picture();
    picture.adapters.resize(2);
    picture.adapters[0].state = Liveness::down;
    picture.adapters[1].network = -1;
    picture.index();
    picture.adapters[0].name = "alpha/net_a";
    EXPECT_THAT(adapters_text(picture),
                ElementsAre("ADAPTER  NAME         NODE  NETWORK  ADDRESS   TYPE  LOCAL  STATE",
                            "      2  alpha/net_a     1  net_a    10.1.0.1  eth0  yes    down",
                            "      3  -               1  -        10.2.0.1  eth1  yes    unknown"));
}

TEST(HbctlText, Sites) {
    Picture picture = sample_picture();
    EXPECT_THAT(sites_text(picture), ElementsAre("no sites are configured"));
    picture.sites = {0, 1};
    EXPECT_THAT(sites_text(picture), ElementsAre("SITE", "   0", "   1"));
}

TEST(HbctlText, TheHeadingStandsOverTheEventsColumns) {
    EXPECT_EQ(event_heading_text(), "   SEQ  TIME          EVENT           WHAT");
}

TEST(HbctlText, NodeDeathTellsAddressesAndTheFailureIdentifier) {
    Event_Record event = event_of(1);
    event.member_kind = Member_Kind::nodes;
    event.nodes = {{3, {"10.1.0.3", "10.2.0.3"}}};
    event.ffdc_id = "ABC";
    EXPECT_EQ(line_of(event), "node death      node 3 (10.1.0.3, 10.2.0.3); failure identifier ABC");
}

TEST(HbctlText, EngineStatesInWords) {
    for (const auto &[state, words] : {std::pair{"none", "none, a file describes the cluster"},
                                       {"connected", "Corosync connected"},
                                       {"silent", "Corosync does not respond"},
                                       {"disconnected", "Corosync disconnected"}}) {
        Status_Report report{"/tmp/s", 1, {}, std::nullopt};
        report.daemon = common::Cluster_File{"c", "1", Wall_Time(), state, {}};
        EXPECT_EQ(status_text(report)[4], std::string("engine      ") + words);
    }
}

TEST(HbctlText, MembersAreShownWithTheirNames) {
    Event_Record nodes = event_of(1);
    nodes.member_kind = Member_Kind::nodes;
    nodes.nodes = {{3, {"10.1.0.3"}, "gamma"}, {4, {}, "delta"}, {5, {}}};
    EXPECT_EQ(line_of(nodes), "node death      nodes 3 (gamma, 10.1.0.3), 4 (delta), 5");
    Event_Record adapters = event_of(1);
    adapters.member_kind = Member_Kind::adapters;
    adapters.adapters = {{2, 7, false, 1, 0, "net_a", "10.1.0.1", "eth0", "alpha/net_a"}};
    EXPECT_EQ(line_of(adapters), "adapter death   adapter 2 (alpha/net_a 10.1.0.1 eth0)");
}

TEST(HbctlText, ShortLinesHaveNamesInsteadOfAddressesAndFitInto80Columns) {
    const Event_Style style{false, true};
    Event_Record event = event_of(1);
    event.member_kind = Member_Kind::nodes;
    event.nodes = {{3, {"10.1.0.3"}, "gamma"}, {4, {"10.1.0.4"}}};
    const std::string front = "    12  " + clock_text(event.time) + "  node death      ";
    EXPECT_EQ(event_text(event, style), front + "nodes gamma, 4");
    for (int node = 10; node < 16; ++node) {
        event.nodes.push_back({node, {}, "a-rather-long-name"});
    }
    EXPECT_EQ(event_text(event, style), front + "nodes gamma, 4, a-rather-long-name, ...");
    event.nodes = {{3, {}, std::string(200, 'n')}};
    EXPECT_EQ(event_text(event, style).size(), 80U);
    event.nodes = {{3, {}, std::string(200, '\x1b')}};
    EXPECT_EQ(event_text(event, style).size(), 80U);
    EXPECT_EQ(event_text(event, {true, true}).size(), 80U);
    EXPECT_EQ(notice_text(event.time, "disconnected", std::string(200, 'x'), style).size(), 80U);
    EXPECT_EQ(event_heading_text(style), event_heading_text());
}

TEST(HbctlText, EachLineCanHaveTheDate) {
    const Event_Style style{true, false};
    Event_Record event = event_of(8);
    event.ffdc_id = "XYZ";
    EXPECT_EQ(event_heading_text(style), "   SEQ  TIME                     EVENT           WHAT");
    EXPECT_EQ(event_text(event, style),
              "    12  " + date_text(event.time) + " " + clock_text(event.time) + "  failure         XYZ");
}

TEST(HbctlText, AdapterJoinTellsAddressTypeNetworkAndNode) {
    Event_Record event = event_of(2);
    event.member_kind = Member_Kind::adapters;
    event.adapters = {{2, 7, false, 1, 0, "net_a", "10.1.0.1", "eth0"}, {9, 1, false, -1, -1, "", "", ""}};
    EXPECT_EQ(line_of(event), "adapter join    adapters 2 (10.1.0.1 eth0 on net_a of node 1), 9");
}

TEST(HbctlText, AdapterDeathTellsWhoWasRemoved) {
    Event_Record event = event_of(1);
    event.member_kind = Member_Kind::adapters;
    event.adapters = {{2, 7, true, 1, 0, "net_a", "10.1.0.1", "eth0"}};
    EXPECT_EQ(line_of(event), "adapter death   adapter 2 (10.1.0.1 eth0 on net_a of node 1); removed from the "
                              "configuration");
    event.adapters.push_back({9, 1, false, -1, -1, "", "", ""});
    EXPECT_EQ(line_of(event),
              "adapter death   adapters 2 (10.1.0.1 eth0 on net_a of node 1), 9; removed from the "
              "configuration: 2");
}

TEST(HbctlText, ManyMembersAreToldByRanges) {
    Event_Record event = event_of(1);
    event.member_kind = Member_Kind::nodes;
    for (int node = 1; node <= 9; ++node) {
        event.nodes.push_back({node, {"10.1.0.1"}});
    }
    EXPECT_EQ(line_of(event), "node death      9 nodes: 1-9");
}

TEST(HbctlText, NewGroups) {
    Event_Record nodes = event_of(4);
    nodes.member_kind = Member_Kind::nodes;
    nodes.nodes = {{1, {"10.1.0.1"}}, {2, {}}, {4, {}}};
    nodes.stable = true;
    EXPECT_EQ(line_of(nodes), "node group      3 nodes: 1, 2, 4; stable");
    Event_Record adapters = event_of(4);
    adapters.member_kind = Member_Kind::adapters;
    adapters.stable = false;
    adapters.adapter_group = Adapter_Group{2, 9};
    EXPECT_EQ(line_of(adapters), "adapter group   no adapters; leader 2, incarnation 9; unstable");
}

TEST(HbctlText, TheOtherEvents) {
    Event_Record configuration = event_of(128);
    configuration.counts = Counts{6, 5, 2, 12, 0, 0, true, false};
    EXPECT_EQ(line_of(configuration), "configuration   now 6 nodes (5 up), 2 networks, 12 adapters");
    Event_Record failure = event_of(8);
    failure.ffdc_id = "XYZ";
    EXPECT_EQ(line_of(failure), "failure         XYZ");
    Event_Record foreign = event_of(256);
    foreign.member_kind = Member_Kind::instance;
    foreign.foreign = Foreign_Instance{"10.9.0.1", 77};
    EXPECT_EQ(line_of(foreign), "other instance  10.9.0.1 uses configuration instance 77");
    Event_Record heartbeat = event_of(512);
    heartbeat.heartbeat = Heartbeat{30, 0, false, 9};
    EXPECT_EQ(line_of(heartbeat), "heartbeat       disabled, threshold 30 s, daemon process 9");
    EXPECT_EQ(line_of(event_of(16)), "event-16");
}

TEST(HbctlText, Sites_SplitAndMerge) {
    Event_Record split = event_of(32);
    split.member_kind = Member_Kind::sites;
    split.sites = Site_Pair{{1, 2, {}}, {2, 5, {}}};
    EXPECT_EQ(line_of(split), "site split      local site 1 (reported by node 2) and remote site 2 (reported "
                              "by node 5) lost contact");
    Event_Record merge = event_of(64);
    merge.member_kind = Member_Kind::sites;
    merge.sites = Site_Pair{{1, 2, 1U}, {2, 5, 4U}};
    EXPECT_EQ(line_of(merge),
              "site merge      local site 1 (reported by node 2, 1 node up) and remote site 2 (reported by "
              "node 5, 4 nodes up) regained contact");
}

TEST(HbctlText, NoticesHaveNoSequenceNumber) {
    const Wall_Time time(std::chrono::milliseconds(1500));
    EXPECT_EQ(notice_text(time, "disconnected", "gone"),
              "     -  " + clock_text(time) + "  disconnected    gone");
}
