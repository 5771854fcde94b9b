// SPDX-License-Identifier: Apache-2.0
// The texts here are typed by hand, after the rules of OpenMetrics and of Prometheus' text format.
#include <gtest/gtest.h>

#include "exporter/render.h"

namespace exporter {
namespace {

constexpr std::chrono::seconds STALE{3};
const Steady_Time NOW{std::chrono::hours(1)};

Snapshot sample() {
    const auto cluster = std::make_shared<Cluster>();
    cluster->nodes = {1, 2};
    cluster->networks = {{0, "net_a", "ether"}, {1, "the \"second\" \\ one", "token"}};
    cluster->adapters = {{2, 1, 0, "eth0", "10.1.0.1"}, {5, 2, -1, "a\nb", "2001:db8::3"}};
    Snapshot snapshot;
    snapshot.cluster = cluster;
    snapshot.nodes = {State::up, State::down};
    snapshot.adapters = {State::up, State::down};
    snapshot.connected = true;
    snapshot.nodes_reported = true;
    snapshot.adapters_reported = true;
    snapshot.last_contact = NOW - std::chrono::milliseconds(1250);
    snapshot.last_event = Wall_Time(std::chrono::milliseconds(1700000000125));
    snapshot.last_event_mark = NOW - std::chrono::milliseconds(7500);
    snapshot.events = {4, 3, 2, 1, 0, 0, 9, 8, 7, 6};
    snapshot.malformed_events = 11;
    snapshot.reconnects = 12;
    snapshot.sequence_gaps = 13;
    return snapshot;
}

TEST(ExporterMetrics, FollowOpenMetrics) {
    EXPECT_EQ(render_metrics(sample(), NOW, STALE, Format::openmetrics),
              R"(# HELP hb_up Whether wispd answers and has reported the cluster: 1 yes, 0 no.
# TYPE hb_up gauge
hb_up 1
# HELP hb_daemon_contact_seconds Time since wispd last sent anything.
# TYPE hb_daemon_contact_seconds gauge
# UNIT hb_daemon_contact_seconds seconds
hb_daemon_contact_seconds 1.250
# HELP hb_nodes_configured How many nodes the cluster's configuration has.
# TYPE hb_nodes_configured gauge
hb_nodes_configured 2
# HELP hb_node_up State of each configured node: 1 up, 0 down.
# TYPE hb_node_up gauge
hb_node_up{node="1"} 1
hb_node_up{node="2"} 0
# HELP hb_adapter_up State of each configured adapter: 1 up, 0 down.
# TYPE hb_adapter_up gauge
hb_adapter_up{adapter="2",node="1",network="0",type="eth0",address="10.1.0.1"} 1
hb_adapter_up{adapter="5",node="2",network="",type="a\nb",address="2001:db8::3"} 0
# HELP hb_network Name and type of each configured network.
# TYPE hb_network info
hb_network_info{network="0",name="net_a",type="ether"} 1
hb_network_info{network="1",name="the \"second\" \\ one",type="token"} 1
# HELP hb_events Events received from wispd, by kind.
# TYPE hb_events counter
hb_events_total{event="death"} 4
hb_events_total{event="join"} 3
hb_events_total{event="new-group"} 2
hb_events_total{event="ffdc"} 1
hb_events_total{event="site-split"} 0
hb_events_total{event="site-merge"} 0
hb_events_total{event="configuration"} 9
hb_events_total{event="different-instance"} 8
hb_events_total{event="heartbeat"} 7
hb_events_total{event="other"} 6
# HELP hb_malformed_events Events dropped because their contents were invalid.
# TYPE hb_malformed_events counter
hb_malformed_events_total 11
# HELP hb_reconnects Connections to wispd after the first one.
# TYPE hb_reconnects counter
hb_reconnects_total 12
# HELP hb_sequence_gaps How often events were missing before a received one.
# TYPE hb_sequence_gaps counter
hb_sequence_gaps_total 13
# HELP hb_last_event_seconds Time since the last event arrived.
# TYPE hb_last_event_seconds gauge
# UNIT hb_last_event_seconds seconds
hb_last_event_seconds 7.500
# HELP hb_last_event_timestamp_seconds When the last event arrived, in seconds since 1970.
# TYPE hb_last_event_timestamp_seconds gauge
# UNIT hb_last_event_timestamp_seconds seconds
hb_last_event_timestamp_seconds 1700000000.125
# HELP hb_exporter_build Version of hb_exporter.
# TYPE hb_exporter_build info
hb_exporter_build_info{version="1.0.0"} 1
# EOF
)");
}

constexpr const char *COUNTERS_AT_ZERO = R"(# HELP hb_events_total Events received from wispd, by kind.
# TYPE hb_events_total counter
hb_events_total{event="death"} 0
hb_events_total{event="join"} 0
hb_events_total{event="new-group"} 0
hb_events_total{event="ffdc"} 0
hb_events_total{event="site-split"} 0
hb_events_total{event="site-merge"} 0
hb_events_total{event="configuration"} 0
hb_events_total{event="different-instance"} 0
hb_events_total{event="heartbeat"} 0
hb_events_total{event="other"} 0
# HELP hb_malformed_events_total Events dropped because their contents were invalid.
# TYPE hb_malformed_events_total counter
hb_malformed_events_total 0
# HELP hb_reconnects_total Connections to wispd after the first one.
# TYPE hb_reconnects_total counter
hb_reconnects_total 0
# HELP hb_sequence_gaps_total How often events were missing before a received one.
# TYPE hb_sequence_gaps_total counter
hb_sequence_gaps_total 0
# HELP hb_exporter_build_info Version of hb_exporter.
# TYPE hb_exporter_build_info gauge
hb_exporter_build_info{version="1.0.0"} 1
)";

TEST(ExporterMetrics, BeforeTheFirstContactHoldNoClusterInTheTextFormat) {
    EXPECT_EQ(render_metrics(Snapshot{}, NOW, STALE, Format::prometheus_text),
              std::string(R"(# HELP hb_up Whether wispd answers and has reported the cluster: 1 yes, 0 no.
# TYPE hb_up gauge
hb_up 0
)") + COUNTERS_AT_ZERO);
}

TEST(ExporterMetrics, WithoutContactHoldNoStates) {
    const std::string text =
        render_metrics(sample(), NOW + std::chrono::seconds(2), STALE, Format::openmetrics);
    EXPECT_NE(text.find("\nhb_up 0\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nhb_daemon_contact_seconds 3.250\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nhb_reconnects_total 12\n"), std::string::npos) << text;
    for (const char *absent : {"hb_node", "hb_adapter", "hb_network"}) {
        EXPECT_EQ(text.find(absent), std::string::npos) << absent;
    }
}

TEST(ExporterMetrics, HaveNamesAndTheStateOfTheEngineWhereWispdReportsThem) {
    Snapshot snapshot = sample();
    common::Cluster_File about;
    about.cluster = "demo";
    about.version = "1.2.3";
    about.started = Wall_Time(std::chrono::seconds(1600000000));
    about.engine = "silent";
    about.nodes = {{1, "al\"pha"}};
    snapshot.about = std::make_shared<const common::Cluster_File>(about);
    const std::string text = render_metrics(snapshot, NOW, STALE, Format::openmetrics);
    for (const char *line :
         {"hb_node_up{node=\"1\",name=\"al\\\"pha\"} 1", "hb_node_up{node=\"2\"} 0",
          "hb_adapter_up{adapter=\"2\",node=\"1\",network=\"0\",type=\"eth0\",address=\"10.1.0.1\","
          "name=\"al\\\"pha/net_a\"} 1",
          "hb_engine_state{state=\"none\"} 0", "hb_engine_state{state=\"connected\"} 0",
          "hb_engine_state{state=\"silent\"} 1", "hb_engine_state{state=\"disconnected\"} 0",
          "hb_wispd_info{version=\"1.2.3\",cluster=\"demo\"} 1",
          "hb_wispd_start_timestamp_seconds 1600000000.000"}) {
        EXPECT_NE(text.find("\n" + std::string(line) + "\n"), std::string::npos) << line << " in\n" << text;
    }
    const std::string lost =
        render_metrics(snapshot, NOW + std::chrono::seconds(9), STALE, Format::openmetrics);
    EXPECT_EQ(lost.find("hb_engine_state"), std::string::npos)
        << "an old state of the engine is not a present one";
    EXPECT_EQ(lost.find("hb_wispd"), std::string::npos);
}

TEST(ExporterMetrics, LeaveOutAStateThatIsNotKnown) {
    Snapshot snapshot = sample();
    snapshot.nodes[0] = State::unknown;
    snapshot.adapters[1] = State::unknown;
    const std::string text = render_metrics(snapshot, NOW, STALE, Format::openmetrics);
    EXPECT_EQ(text.find("hb_node_up{node=\"1\"}"), std::string::npos);
    EXPECT_NE(text.find("hb_node_up{node=\"2\"} 0"), std::string::npos);
    EXPECT_EQ(text.find("hb_adapter_up{adapter=\"5\""), std::string::npos);
}

TEST(ExporterHealth, IsOneLine) {
    EXPECT_EQ(render_health(sample(), NOW, STALE), "ok: wispd answers, 1 of 2 nodes are up\n");
    EXPECT_EQ(render_health(sample(), NOW + std::chrono::seconds(10), STALE),
              "no contact with wispd: it last answered 11.2 s ago\n");
    EXPECT_EQ(render_health(Snapshot{}, NOW, STALE), "no contact with wispd so far\n");
}

} // namespace
} // namespace exporter
