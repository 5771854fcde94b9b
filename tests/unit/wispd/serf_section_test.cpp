// SPDX-License-Identifier: Apache-2.0
// A configuration file whose cluster comes from Serf agents.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/configuration_file.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using wispd::Configuration_File;
using wispd::parse_configuration_file;
using wispd::Serf_Settings;

const std::string DISCOVER = "[source]\ntype = \"serf\"\ndiscover = true\n";
const std::string AGENT = "[[source.agent]]\nnetwork = 0\nrpc = \"127.0.0.1:7373\"\n";
const std::string TWO_NODES =
    "[cluster]\nmax_nodes = 8\nadapters_per_node = 2\nlocal_node = 1\n"
    "[[network]]\nnumber = 0\nname = \"front\"\n"
    "[[node]]\nnumber = 1\n[[node.adapter]]\nnetwork = 0\naddress = \"10.0.0.1\"\n"
    "[[node]]\nnumber = 2\nname = \"db\"\n[[node.adapter]]\nnetwork = 0\naddress = \"10.0.0.2\"\n";

Serf_Settings settings_of(const std::string &document) {
    const Configuration_File file = parse_configuration_file(document, "wispd.toml");
    return std::get<Serf_Settings>(file.engine.value());
}

std::string error_of(const std::string &document) {
    try {
        parse_configuration_file(document, "wispd.toml");
    } catch (const wispd::Config_Error &error) {
        return error.what();
    }
    return "accepted";
}

TEST(WispdSerfSection, AnAgentIsEnoughWhereMembersAreDiscovered) {
    const Serf_Settings settings = settings_of(DISCOVER + AGENT);
    EXPECT_TRUE(settings.discover);
    EXPECT_FALSE(settings.has_local_node);
    EXPECT_EQ(settings.grace, 10s);
    EXPECT_EQ(settings.settle, 0ms);
    EXPECT_EQ(settings.agents, (std::vector<wispd::Serf_Agent>{{0, "127.0.0.1", 7373, ""}}));
    EXPECT_EQ(settings.cluster.max_nodes, 2049);
    EXPECT_EQ(settings.cluster.adapters_per_node, 48);
    ASSERT_EQ(settings.cluster.networks.size(), 1U);
    EXPECT_EQ(settings.cluster.networks[0].name, "network0");
    EXPECT_TRUE(settings.cluster.is_from_engine);
}

TEST(WispdSerfSection, EveryKeyIsAccepted) {
    const Serf_Settings settings =
        settings_of(DISCOVER +
                    "grace_seconds = 1.5\nsettle_milliseconds = 250\n"
                    "[[source.agent]]\nnetwork = 47\nrpc = \"[::1]:1\"\nauth_key = \"secret\"\n" +
                    AGENT +
                    "[cluster]\nname = \"c\"\ninstance = 9\nlocal_node = 2048\n[[network]]\nnumber = 47\nname "
                    "= \"back\"\n");
    EXPECT_EQ(settings.grace, 1500ms);
    EXPECT_EQ(settings.settle, 250ms);
    EXPECT_EQ(settings.agents,
              (std::vector<wispd::Serf_Agent>{{0, "127.0.0.1", 7373, ""}, {47, "::1", 1, "secret"}}));
    EXPECT_EQ(settings.cluster.name, "c");
    EXPECT_EQ(settings.cluster.instance, 9U);
    EXPECT_TRUE(settings.has_local_node);
    EXPECT_EQ(settings.cluster.local_node, 2048);
    EXPECT_EQ(settings.cluster.networks.size(), 2U);
}

TEST(WispdSerfSection, TheFileCanDescribeTheNodes) {
    const Serf_Settings settings = settings_of(TWO_NODES + "[source]\ntype = \"serf\"\n" + AGENT);
    EXPECT_FALSE(settings.discover);
    EXPECT_TRUE(settings.has_local_node);
    ASSERT_EQ(settings.cluster.nodes.size(), 2U);
    EXPECT_FALSE(settings.cluster.nodes[1].adapters[0].up); // the agent decides
    EXPECT_EQ(settings.cluster.adapters_per_node, 2);
}

TEST(WispdSerfSection, ErrorsNameThePlaceAndWhatIsExpected) {
    EXPECT_EQ(error_of(DISCOVER),
              "wispd.toml:1:1: there is no agent; expected at least one [[source.agent]] with "
              "network and rpc");
    for (const char *rpc : {"127.0.0.1", "host:7373", "127.0.0.1:0", "127.0.0.1:65536", "::1:7373", ":7373",
                            "[]:1", "127.0.0.1:", "127.0.0.1:73 73"}) {
        EXPECT_EQ(error_of(DISCOVER + "[[source.agent]]\nnetwork = 0\nrpc = \"" + rpc + "\"\n"),
                  std::string("wispd.toml:6:7: \"") + rpc +
                      "\" is not the address of an agent; expected a numeric address with a port, such as "
                      "\"127.0.0.1:7373\" or \"[::1]:7373\"");
    }
    EXPECT_THAT(error_of(DISCOVER + AGENT + AGENT), HasSubstr("network 0 has two agents; the first is at"));
    EXPECT_THAT(error_of(DISCOVER + AGENT + "[[source.agent]]\nnetwork = 1\nrpc = \"127.0.0.1:7373\"\n"),
                HasSubstr("two networks have the same agent"));
    EXPECT_THAT(error_of(DISCOVER + AGENT + TWO_NODES),
                HasSubstr("[[node]] is not permitted with discover = true"));
    EXPECT_THAT(error_of(DISCOVER + AGENT + "[[network]]\nnumber = 3\nname = \"x\"\n"),
                HasSubstr("[[network]] 3 has no agent; expected a [[source.agent]] with network = 3"));
    EXPECT_THAT(
        error_of(DISCOVER + AGENT +
                 "[[source.agent]]\nnetwork = 1\nrpc = \"127.0.0.1:7374\"\n[[network]]\nnumber = 0\nname = "
                 "\"network1\"\n"),
        HasSubstr("the name \"network1\" is that of network 1"));
    EXPECT_THAT(error_of(TWO_NODES +
                         "[source]\ntype = \"serf\"\n[[source.agent]]\nnetwork = 1\nrpc = \"127.0.0.1:1\"\n"),
                HasSubstr("network 0 has no agent; expected a [[source.agent]] with network = 0"));
    EXPECT_THAT(error_of(TWO_NODES + "[source]\ntype = \"serf\"\n" + AGENT +
                         "[[source.agent]]\nnetwork = 1\nrpc = \"127.0.0.1:1\"\n"),
                HasSubstr("the agent of network 1 has no [[network]] with number = 1"));
    EXPECT_THAT(error_of(TWO_NODES +
                         "[[node]]\nnumber = 3\nstate = \"down\"\n[[node.adapter]]\nnetwork = 0\naddress = "
                         "\"10.0.0.3\"\n[source]\ntype = \"serf\"\n" +
                         AGENT),
                HasSubstr("node 3 has state = \"down\", which is not permitted with type = \"serf\""));
    EXPECT_THAT(error_of(DISCOVER + "poll_milliseconds = 50\n" + AGENT),
                HasSubstr("unknown key 'poll_milliseconds' in [source] of type \"serf\""));
    EXPECT_THAT(error_of(DISCOVER + "settle_milliseconds = 600001\n" + AGENT),
                HasSubstr("settle_milliseconds"));
    EXPECT_THAT(error_of("[source]\ntype = \"corosync\"\ndiscover = true\n"),
                HasSubstr("unknown key 'discover'"));
}

} // namespace
