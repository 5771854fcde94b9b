#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/hbctl/sample_picture.h"
#include "tools/hbctl/render_json.h"

using namespace hbctl;
using hbctl_test::sample_picture;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Event_Record event_of(int kind, std::uint32_t sequence) {
    Event_Record event;
    event.kind = kind;
    event.sequence = sequence;
    event.subscription = "s";
    event.time = Wall_Time(std::chrono::milliseconds(1500));
    return event;
}

} // namespace

TEST(HbctlJson, StatusWithEverythingKnown) {
    Status_Report report{"/tmp/s", 1, {}, Heartbeat{2, 500000, true, 42}};
    report.counts = {5, 4, 2, 10, 8, 0, true, true};
    report.local_name = "alpha";
    report.daemon = common::Cluster_File{"c", "1.0.0", Wall_Time(std::chrono::seconds(60)), "connected", {}};
    report.now = Wall_Time(std::chrono::milliseconds(3665700));
    EXPECT_THAT(
        status_json(report),
        ElementsAre(
            R"({"format":1,"socket":"/tmp/s","local_node":1,"nodes":5,"nodes_up":4,"networks":2,"adapters":10,)"
            R"("adapters_up":8,"sites":0,"heartbeat":{"enabled":true,"threshold_seconds":2,)"
            R"("threshold_microseconds":500000,"daemon_pid":42},"local_name":"alpha","cluster":"c",)"
            R"("version":"1.0.0","started":"1970-01-01T00:01:00.000Z","uptime_seconds":3605,)"
            R"("engine":"connected"})"));
}

TEST(HbctlJson, StatusTellsWhatIsUnknownAsNull) {
    Status_Report report{"/tmp/s", 1, {}, std::nullopt};
    report.counts = {5, 0, 2, 10, 0, 0, false, false};
    EXPECT_THAT(
        status_json(report),
        ElementsAre(R"({"format":1,"socket":"/tmp/s","local_node":1,"nodes":5,"nodes_up":null,"networks":2,)"
                    R"("adapters":10,"adapters_up":null,"sites":0,"heartbeat":null,"local_name":null,)"
                    R"("cluster":null,"version":null,"started":null,"uptime_seconds":null,"engine":null})"));
}

TEST(HbctlJson, OneObjectForEachNode) {
    Picture picture = sample_picture();
    picture.nodes[0].state = Liveness::up;
    picture.nodes[1].state = Liveness::down;
    picture.nodes[0].name = "alpha";
    EXPECT_THAT(
        nodes_json(picture),
        ElementsAre(R"({"format":1,"node":1,"state":"up","local":true,"adapters":[2,3],"name":"alpha"})",
                    R"({"format":1,"node":2,"state":"down","local":false,"adapters":[4,5],"name":null})"));
}

TEST(HbctlJson, OneObjectForEachNetwork) {
    Picture picture = sample_picture();
    picture.adapters[0].state = Liveness::up;
    picture.adapters[2].state = Liveness::down;
    EXPECT_THAT(
        networks_json(picture),
        ElementsAre(R"({"format":1,"network":0,"name":"net_a","type":"ether","adapters":2,"adapters_up":1})",
                    R"({"format":1,"network":1,"name":"net_b","type":"","adapters":2,"adapters_up":null})"));
}

TEST(HbctlJson, OneObjectForEachAdapter) {
    Picture picture = sample_picture();
    picture.adapters.resize(2);
    picture.adapters[0].state = Liveness::up;
    picture.adapters[1].network = -1;
    picture.adapters[0].name = "alpha/net_a";
    picture.index();
    EXPECT_THAT(
        adapters_json(picture),
        ElementsAre(
            R"({"format":1,"adapter":2,"node":1,"network":0,"network_name":"net_a","address":"10.1.0.1",)"
            R"("type":"eth0","state":"up","name":"alpha/net_a"})",
            R"({"format":1,"adapter":3,"node":1,"network":null,"network_name":null,"address":"10.2.0.1",)"
            R"("type":"eth1","state":"unknown","name":null})"));
}

TEST(HbctlJson, SitesAreOneObjectEachAndNothingWithoutSites) {
    Picture picture = sample_picture();
    EXPECT_THAT(sites_json(picture), IsEmpty());
    picture.sites = {0, 1};
    EXPECT_THAT(sites_json(picture), ElementsAre(R"({"format":1,"site":0})", R"({"format":1,"site":1})"));
}

TEST(HbctlJson, NodeDeath) {
    Event_Record event = event_of(1, 12);
    event.member_kind = Member_Kind::nodes;
    event.nodes = {{3, {"10.1.0.3"}, "gamma"}, {4, {}}};
    event.ffdc_id = "ABC.123";
    EXPECT_EQ(
        event_json(event),
        R"({"format":1,"seq":12,"time":"1970-01-01T00:00:01.500Z","event":"death","subscription":"s",)"
        R"("group":"nodes","nodes":[3,4],"adapters":[],"ffdc_id":"ABC.123","node_names":["gamma",null]})");
}

TEST(HbctlJson, AdapterGroup) {
    Event_Record event = event_of(4, 4294967295);
    event.member_kind = Member_Kind::adapters;
    event.adapters = {{2, 7, false, 1, 0, "net_a", "10.1.0.1", "eth0", "alpha/net_a"}};
    event.stable = true;
    event.adapter_group = Adapter_Group{2, 9};
    EXPECT_EQ(
        event_json(event),
        R"({"format":1,"seq":4294967295,"time":"1970-01-01T00:00:01.500Z","event":"new-group","subscription":"s",)"
        R"("group":"adapters","nodes":[],"adapters":[{"adapter":2,"incarnation":7,"removed":false,"node":1,)"
        R"("network":0,"network_name":"net_a","address":"10.1.0.1","type":"eth0","name":"alpha/net_a"}],"stable":true,)"
        R"("leader":2,"incarnation":9,"node_names":[]})");
}

TEST(HbctlJson, AnAdapterThatIsNotConfiguredHasNulls) {
    Event_Record event = event_of(1, 1);
    event.member_kind = Member_Kind::adapters;
    event.adapters = {{8, 1, true, -1, -1, "", "", ""}};
    EXPECT_EQ(
        event_json(event),
        R"({"format":1,"seq":1,"time":"1970-01-01T00:00:01.500Z","event":"death","subscription":"s","group":"adapters",)"
        R"("nodes":[],"adapters":[{"adapter":8,"incarnation":1,"removed":true,"node":null,"network":null,)"
        R"("network_name":null,"address":null,"type":null,"name":null}],"node_names":[]})");
}

TEST(HbctlJson, ConfigurationChange) {
    Event_Record event = event_of(128, 5);
    event.subscription = "Hb_Config_Group";
    event.counts = Counts{6, 5, 2, 12, 0, 0, true, false};
    EXPECT_EQ(event_json(event),
              R"({"format":1,"seq":5,"time":"1970-01-01T00:00:01.500Z","event":"configuration",)"
              R"("subscription":"Hb_Config_Group","group":"none","nodes":[],"adapters":[],"counts":{"nodes":6,)"
              R"("nodes_up":5,"networks":2,"adapters":12,"adapters_up":null,"sites":0},"node_names":[]})");
}

TEST(HbctlJson, FailureIdentifierForeignInstanceAndHeartbeat) {
    Event_Record failure = event_of(8, 6);
    failure.ffdc_id = "X";
    EXPECT_EQ(event_json(failure),
              R"({"format":1,"seq":6,"time":"1970-01-01T00:00:01.500Z","event":"ffdc","subscription":"s",)"
              R"("group":"none","nodes":[],"adapters":[],"ffdc_id":"X","node_names":[]})");
    Event_Record foreign = event_of(256, 7);
    foreign.member_kind = Member_Kind::instance;
    foreign.foreign = Foreign_Instance{"10.9.0.1", 77};
    EXPECT_EQ(
        event_json(foreign),
        R"({"format":1,"seq":7,"time":"1970-01-01T00:00:01.500Z","event":"different-instance","subscription":"s",)"
        R"("group":"instance","nodes":[],"adapters":[],"address":"10.9.0.1","instance":77,"node_names":[]})");
    Event_Record heartbeat = event_of(512, 8);
    heartbeat.heartbeat = Heartbeat{0, 250000, false, 9};
    EXPECT_EQ(
        event_json(heartbeat),
        R"({"format":1,"seq":8,"time":"1970-01-01T00:00:01.500Z","event":"heartbeat","subscription":"s","group":"none",)"
        R"("nodes":[],"adapters":[],"heartbeat":{"enabled":false,"threshold_seconds":0,)"
        R"("threshold_microseconds":250000,"daemon_pid":9},"node_names":[]})");
}

TEST(HbctlJson, SiteMergeAndSplit) {
    Event_Record merge = event_of(64, 9);
    merge.member_kind = Member_Kind::sites;
    merge.sites = Site_Pair{{1, 2, 3U}, {2, 5, 4U}};
    EXPECT_EQ(
        event_json(merge),
        R"({"format":1,"seq":9,"time":"1970-01-01T00:00:01.500Z","event":"site-merge","subscription":"s",)"
        R"("group":"sites","nodes":[],"adapters":[],"local_site":{"site":1,"node":2,"nodes_up":3},)"
        R"("remote_site":{"site":2,"node":5,"nodes_up":4},"node_names":[]})");
    Event_Record split = event_of(32, 10);
    split.member_kind = Member_Kind::sites;
    split.sites = Site_Pair{{1, 2, {}}, {2, 5, {}}};
    EXPECT_EQ(
        event_json(split),
        R"({"format":1,"seq":10,"time":"1970-01-01T00:00:01.500Z","event":"site-split","subscription":"s",)"
        R"("group":"sites","nodes":[],"adapters":[],"local_site":{"site":1,"node":2},)"
        R"("remote_site":{"site":2,"node":5},"node_names":[]})");
}

TEST(HbctlJson, TextsThatAreNotUtf8AreStillJson) {
    Picture picture = sample_picture();
    picture.networks.resize(1);
    picture.networks[0].name = "n\xFFt\"";
    EXPECT_THAT(
        networks_json(picture),
        ElementsAre(
            "{\"format\":1,\"network\":0,\"name\":\"n\xEF\xBF\xBDt\\\"\",\"type\":\"ether\",\"adapters\":2,"
            "\"adapters_up\":null}"));
}

TEST(HbctlJson, LossAndReturnOfTheDaemon) {
    EXPECT_EQ(disconnected_json(Wall_Time(std::chrono::milliseconds(1)), "/tmp/s"),
              R"({"format":1,"time":"1970-01-01T00:00:00.001Z","event":"disconnected","socket":"/tmp/s"})");
    EXPECT_EQ(
        reconnected_json(Wall_Time(std::chrono::milliseconds(2)),
                         Status_Report{"/tmp/s", 1, {5, 0, 2, 10, 0, 0, false, false}, std::nullopt}),
        R"({"format":1,"time":"1970-01-01T00:00:00.002Z","event":"reconnected","socket":"/tmp/s","local_node":1,)"
        R"("nodes":5,"nodes_up":null,"networks":2,"adapters":10,"adapters_up":null,"sites":0})");
}
