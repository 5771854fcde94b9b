// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/configuration_file.h"
#include "tests/support/temp_dir.h"

namespace {

using testing::StartsWith;
using wispd::Config_Error;
using wispd::Configuration_File;
using wispd::parse_configuration_file;

// The first eight lines of every file below; a test's own text starts in line 9.
const std::string HEAD = "[cluster]\n"
                         "local_node = 1\n"
                         "max_nodes = 8\n"
                         "adapters_per_node = 2\n"
                         "[[network]]\n"
                         "number = 0\n"
                         "name = \"net_a\"\n"
                         "\n";

const std::string LOCAL = "[[node]]\n"
                          "number = 1\n"
                          "[[node.adapter]]\n"
                          "network = 0\n"
                          "address = \"10.1.0.1\"\n";

std::string error_of(const std::string &document) {
    try {
        parse_configuration_file(document, "cluster.toml");
    } catch (const Config_Error &error) {
        return error.what();
    }
    return "it was taken";
}

TEST(WispdClusterFile, ServicesCheckTheDaemonsSectionAsWispdDoes) {
    for (const std::string line : {"sockett = \"/run/s\"", "socket_mode = \"999\"", "client_queue_bytes = 5",
                                   "user_connections = 0", "log_level = \"loud\""}) {
        const std::string document = HEAD + LOCAL + "[daemon]\n" + line + "\n";
        const std::string wispds = error_of(document);
        try {
            wispd::parse_cluster_file(document, "cluster.toml");
            ADD_FAILURE() << line;
        } catch (const Config_Error &error) {
            EXPECT_EQ(error.what(), wispds);
            EXPECT_THAT(wispds, StartsWith("cluster.toml:15:"));
        }
    }
}

TEST(WispdClusterFile, SmallestFileGetsTheDefaults) {
    const Configuration_File file = parse_configuration_file(HEAD + LOCAL, "cluster.toml");
    EXPECT_EQ(file.cluster.name, "cluster");
    EXPECT_EQ(file.cluster.local_node, 1);
    EXPECT_EQ(file.cluster.max_nodes, 8);
    EXPECT_EQ(file.cluster.adapters_per_node, 2);
    EXPECT_EQ(file.cluster.instance, 1u);
    EXPECT_FALSE(file.cluster.heartbeat.has_value());
    ASSERT_EQ(file.cluster.networks.size(), 1u);
    EXPECT_EQ(file.cluster.networks[0].type, "ether");
    ASSERT_EQ(file.cluster.nodes.size(), 1u);
    EXPECT_EQ(file.cluster.nodes[0].name, "node1");
    ASSERT_EQ(file.cluster.nodes[0].adapters.size(), 1u);
    EXPECT_TRUE(file.cluster.nodes[0].adapters[0].up);
    EXPECT_EQ(file.daemon.client_queue_bytes, 16777216u);
    EXPECT_EQ(file.daemon.socket_mode, 0660u);
    EXPECT_EQ(file.daemon.socket, "");
    EXPECT_EQ(file.timeline, "");
}

TEST(WispdClusterFile, EveryKeyIsTaken) {
    const Configuration_File file = parse_configuration_file(
        "[cluster]\nname = \"demo\"\nlocal_node = 1\nmax_nodes = 8\nadapters_per_node = 2\ninstance = "
        "4294967295\n"
        "[daemon]\nsocket = \"/run/a\"\ncontrol = \"/run/b\"\ngroup = \"g\"\nsocket_mode = \"0600\"\n"
        "act_group = \"a\"\ncontrol_group = \"c\"\nmax_connections = 100\nuser_connections = 7\n"
        "user_subscriptions = 70\nuser_queue_bytes = 2000000\ncontrol_idle_seconds = 2.5\nclient_queue_bytes = "
        "1000000\nlog_file = "
        "\"/var/log/w\"\nlog_level = \"debug\"\n"
        "[heartbeat]\nthreshold_seconds = 3\nthreshold_microseconds = 999999\nenabled = false\n"
        "[source]\ntimeline = \"t.toml\"\n"
        "[[network]]\nnumber = 1\nname = \"b\"\ntype = \"ib\"\n"
        "[[node]]\nnumber = 1\nname = \"alpha\"\n[[node.adapter]]\nnetwork = 1\naddress = \"fd00::1\"\ntype = "
        "\"ib0\"\n"
        "[[node]]\nnumber = 2\nstate = \"down\"\n[[node.adapter]]\nnetwork = 1\naddress = \"10.0.0.2\"\n",
        "/etc/hb/cluster.toml");
    EXPECT_EQ(file.cluster.name, "demo");
    EXPECT_EQ(file.cluster.instance, 4294967295u);
    EXPECT_EQ(file.daemon.socket, "/run/a");
    EXPECT_EQ(file.daemon.control, "/run/b");
    EXPECT_EQ(file.daemon.group, "g");
    EXPECT_EQ(file.daemon.act_group, "a");
    EXPECT_EQ(file.daemon.control_group, "c");
    EXPECT_EQ(file.daemon.socket_mode, 0600u);
    EXPECT_EQ(file.daemon.client_queue_bytes, 1000000u);
    EXPECT_EQ(file.daemon.users, (wispd::User_Limits{100, 7, 70, 2000000}));
    EXPECT_EQ(file.daemon.control_idle, std::chrono::milliseconds(2500));
    EXPECT_EQ(file.daemon.log_file, "/var/log/w");
    EXPECT_EQ(file.daemon.log_level, "debug");
    EXPECT_EQ(file.cluster.heartbeat, (wispd::Heartbeat{3, 999999, false}));
    EXPECT_EQ(file.timeline, "/etc/hb/t.toml");
    EXPECT_EQ(file.cluster.nodes[0].adapters[0].type, "ib0");
    EXPECT_FALSE(file.cluster.nodes[1].adapters[0].up);
}

TEST(WispdClusterFile, BrokenTomlIsToldWithItsPlace) {
    EXPECT_THAT(error_of("[cluster]\nlocal_node = = 1\n"), StartsWith("cluster.toml:2:14: "));
}

TEST(WispdClusterFile, UnknownKeysAreRefusedByName) {
    EXPECT_EQ(
        error_of(HEAD + LOCAL + "colour = \"red\"\n"),
        "cluster.toml:14:1: unknown key 'colour' in [[node.adapter]]; expected one of: network, address, type, "
        "state");
    EXPECT_EQ(error_of("[clutser]\n"),
              "cluster.toml:1:2: unknown key 'clutser' in the file; expected one of: cluster, "
              "daemon, heartbeat, suspicion, security, source, network, node, endpoint");
    EXPECT_THAT(error_of("[cluster]\nlocalnode = 1\nmax_nodes = 8\n"),
                StartsWith("cluster.toml:2:1: unknown key 'localnode' in [cluster]"));
}

TEST(WispdClusterFile, MissingKeysAreRefusedAtTheirTable) {
    EXPECT_EQ(error_of("[cluster]\nmax_nodes = 8\nadapters_per_node = 2\n"),
              "cluster.toml:1:1: missing key 'local_node' in [cluster]");
    EXPECT_EQ(error_of(""), "cluster.toml:1:1: missing table [cluster]");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node]]\nname = \"b\"\n"),
              "cluster.toml:14:1: missing key 'number' in [[node]]");
}

TEST(WispdClusterFile, NodeNumberOutOfRangeIsNamed) {
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node]]\nnumber = 8\n"),
              "cluster.toml:15:10: node number 8 is out of range: max_nodes = 8 allows 0 to 7");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node]]\nnumber = -1\n"),
              "cluster.toml:15:10: node number -1 is out of range: max_nodes = 8 allows 0 to 7");
}

TEST(WispdClusterFile, AddressUsedTwiceNamesBothPlaces) {
    EXPECT_EQ(error_of(HEAD + LOCAL +
                       "[[node]]\nnumber = 2\n[[node.adapter]]\nnetwork = 0\naddress = \"10.1.0.1\"\n"),
              "cluster.toml:18:11: address 10.1.0.1 of node 2, network 0 is used twice; it already belongs to "
              "node 1, "
              "network 0 "
              "at cluster.toml:13:11");
}

TEST(WispdClusterFile, SameAddressInTwoWritingsIsUsedTwice) {
    EXPECT_THAT(
        error_of(HEAD + LOCAL +
                 "[[node]]\nnumber = 2\n[[node.adapter]]\nnetwork = 0\naddress = \"::ffff:10.1.0.1\"\n"),
        StartsWith("cluster.toml:18:11: address ::ffff:10.1.0.1 of node 2, network 0 is used twice"));
}

TEST(WispdClusterFile, AdapterNeedsADefinedNetwork) {
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node.adapter]]\nnetwork = 1\naddress = \"10.2.0.1\"\n"),
              "cluster.toml:15:11: network 1 is not defined; expected a [[network]] with number = 1");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node.adapter]]\nnetwork = 2\naddress = \"10.2.0.1\"\n"),
              "cluster.toml:15:11: network 2 is out of range: adapters_per_node = 2 allows 0 to 1");
}

TEST(WispdClusterFile, NodeHasOneAdapterInANetwork) {
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node.adapter]]\nnetwork = 0\naddress = \"10.2.0.1\"\n"),
              "cluster.toml:15:11: node 1 has two adapters in network 0; a node has at most one in each");
}

TEST(WispdClusterFile, TextsMustFitTheirFields) {
    const auto network = [](std::size_t name, std::size_t type) {
        return HEAD + LOCAL + "[[network]]\nnumber = 1\nname = \"" + std::string(name, 'n') + "\"\ntype = \"" +
               std::string(type, 't') + "\"\n";
    };
    EXPECT_EQ(error_of(network(69, 15)), "it was taken");
    EXPECT_EQ(error_of(network(70, 15)),
              "cluster.toml:16:8: 'name' in [[network]] has 70 bytes; at most 69 are permitted");
    EXPECT_EQ(error_of(network(69, 16)),
              "cluster.toml:17:8: 'type' in [[network]] has 16 bytes; at most 15 are permitted");
    EXPECT_EQ(error_of(HEAD + LOCAL + "type = \"" + std::string(35, 'e') + "\"\n"), "it was taken");
    EXPECT_EQ(error_of(HEAD + LOCAL + "type = \"" + std::string(36, 'e') + "\"\n"),
              "cluster.toml:14:8: 'type' in [[node.adapter]] has 36 bytes; at most 35 are permitted");
}

TEST(WispdClusterFile, WrongTypesSayWhatWasExpected) {
    EXPECT_EQ(error_of("[cluster]\nlocal_node = 1\nmax_nodes = \"8\"\n"),
              "cluster.toml:3:13: 'max_nodes' in [cluster] is a string; expected an integer from 1 to 2049");
    EXPECT_EQ(error_of("[cluster]\nmax_nodes = 2050\n"),
              "cluster.toml:2:13: 'max_nodes' in [cluster] is 2050; expected an integer from 1 to 2049");
    EXPECT_EQ(error_of("[cluster]\nmax_nodes = 8\nadapters_per_node = 49\n"),
              "cluster.toml:3:21: 'adapters_per_node' in [cluster] is 49; expected an integer from 1 to 48");
    EXPECT_EQ(error_of(HEAD + LOCAL + "state = \"sideways\"\n"),
              "cluster.toml:14:9: 'state' in [[node.adapter]] is \"sideways\"; expected \"up\" or \"down\"");
    EXPECT_EQ(
        error_of(HEAD + LOCAL + "[[node]]\nnumber = 2\n[[node.adapter]]\nnetwork = 0\naddress = \"10.1\"\n"),
        "cluster.toml:18:11: \"10.1\" is not an address; expected an IPv4 or IPv6 address, or \"none\" for an "
        "adapter that carries no IP");
    EXPECT_EQ(error_of(HEAD + "node = 3\n"),
              "cluster.toml:9:1: unknown key 'node' in [[network]]; expected one of: "
              "number, name, type");
}

TEST(WispdClusterFile, NumbersAndNamesAreUsedOnce) {
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node]]\nnumber = 1\n"),
              "cluster.toml:15:10: node 1 is defined twice; the first is at cluster.toml:9:1");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[network]]\nnumber = 0\nname = \"b\"\n"),
              "cluster.toml:15:10: network 0 is defined twice; the first is at cluster.toml:5:1");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[network]]\nnumber = 1\nname = \"net_a\"\n"),
              "cluster.toml:16:8: network name \"net_a\" is used twice; the first is at cluster.toml:7:8");
}

TEST(WispdClusterFile, LocalNodeMustBeThereAndUp) {
    EXPECT_EQ(error_of("[cluster]\nlocal_node = 2\nmax_nodes = 8\nadapters_per_node = 2\n"),
              "cluster.toml:2:14: local_node is 2, but there is no [[node]] with number = 2");
    EXPECT_THAT(error_of(HEAD + "[[node]]\nnumber = 1\nstate = \"down\"\n"),
                StartsWith("cluster.toml:11:9: node 1 is the local node"));
}

TEST(WispdClusterFile, NodeWithoutAnAdapterIsRefused) {
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[node]]\nnumber = 2\n"),
              "cluster.toml:14:1: node 2 has no adapter; expected at least one [[node.adapter]]");
}

TEST(WispdClusterFile, AdapterOfADeadNodeCannotBeUp) {
    EXPECT_EQ(error_of(HEAD + LOCAL +
                       "[[node]]\nnumber = 2\nstate = \"down\"\n[[node.adapter]]\nnetwork = 0\n"
                       "address = \"10.1.0.2\"\nstate = \"up\"\n"),
              "cluster.toml:20:9: node 2 is down, so its adapter cannot be \"up\"");
}

TEST(WispdClusterFile, QueueMustHoldTheLargestConfigurationMessage) {
    // 4 + 108 + 20 + 16 adapters of 64 + 2 networks of 86
    EXPECT_EQ(error_of(HEAD + LOCAL + "[daemon]\nclient_queue_bytes = 1328\n"), "it was taken");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[daemon]\nclient_queue_bytes = 1327\n"),
              "cluster.toml:15:22: client_queue_bytes is 1327; expected at least 1328, the configuration "
              "message of a "
              "full cluster of this size");
}

TEST(WispdClusterFile, ModeAndLevelAreChecked) {
    EXPECT_EQ(error_of(HEAD + LOCAL + "[daemon]\nsocket_mode = \"0999\"\n"),
              "cluster.toml:15:15: \"0999\" is not a file mode; expected octal digits, such as \"0660\"");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[daemon]\nlog_level = \"loud\"\n"),
              "cluster.toml:15:13: \"loud\" is not a log level; expected debug, info, warning or error");
}

TEST(WispdClusterFile, KeyModeLetsNobodyWriteButItsOwner) {
    EXPECT_FALSE(parse_configuration_file(HEAD + LOCAL, "cluster.toml").daemon.key_mode.has_value());
    for (const char *mode : {"0600", "0640", "0644", "0604"}) {
        const Configuration_File file =
            parse_configuration_file(HEAD + LOCAL + "[daemon]\nkey_mode = \"" + mode + "\"\n", "cluster.toml");
        EXPECT_EQ(file.daemon.key_mode, std::stoul(mode, nullptr, 8));
    }
    for (const char *mode : {"0660", "0666", "0440", "0641", "0200"}) {
        EXPECT_EQ(error_of(HEAD + LOCAL + "[daemon]\nkey_mode = \"" + mode + "\"\n"),
                  "cluster.toml:15:12: 'key_mode' in [daemon] must let the owner read and write, and others at "
                  "most read; expected \"0600\", \"0640\" or \"0644\"");
    }
}

TEST(WispdClusterFile, SuspicionsGraceAndShutdownHaveTimes) {
    const Configuration_File usual = parse_configuration_file(HEAD + LOCAL, "cluster.toml");
    EXPECT_EQ(usual.suspicion.confirm, std::chrono::seconds(1));
    EXPECT_EQ(usual.suspicion.max_grace_seconds, 3600);
    EXPECT_EQ(usual.daemon.shutdown_delay, std::chrono::seconds(5));
    const Configuration_File other = parse_configuration_file(
        HEAD + LOCAL +
            "[daemon]\nshutdown_delay_seconds = 0.25\n[suspicion]\nconfirm_seconds = 2.5\n"
            "max_grace_seconds = 10\n",
        "cluster.toml");
    EXPECT_EQ(other.suspicion.confirm, std::chrono::milliseconds(2500));
    EXPECT_EQ(other.suspicion.max_grace_seconds, 10);
    EXPECT_EQ(other.daemon.shutdown_delay, std::chrono::milliseconds(250));
    EXPECT_THAT(error_of(HEAD + LOCAL + "[suspicion]\nconfirm_seconds = -1\n"),
                StartsWith("cluster.toml:15:19: 'confirm_seconds' in [suspicion] is -1; expected a number"));
}

TEST(WispdClusterFile, SecurityIsOffUntilItsTableIsThere) {
    EXPECT_FALSE(parse_configuration_file(HEAD + LOCAL, "cluster.toml").security.enabled);
    EXPECT_EQ(parse_configuration_file(HEAD + LOCAL + "[security]\n", "cluster.toml").security,
              (wispd::Security_Settings{true, 1, 32, {}}));
    EXPECT_EQ(parse_configuration_file(HEAD + LOCAL +
                                           "[security]\nenabled = false\nkey_type = \"aes-cmac\"\n"
                                           "key_length = 24\nrotate_seconds = 60\n",
                                       "cluster.toml")
                  .security,
              (wispd::Security_Settings{false, 3, 24, std::chrono::seconds(60)}));
    EXPECT_EQ(error_of(HEAD + LOCAL + "[security]\nkey_type = \"rot13\"\n"),
              "cluster.toml:15:12: \"rot13\" is not a key type; expected hmac-sha256, hmac-sha512 or aes-cmac");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[security]\nkey_type = \"aes-cmac\"\nkey_length = 17\n"),
              "cluster.toml:16:14: an aes-cmac key has 16, 24 or 32 bytes, not 17");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[security]\nkey_length = 237\n"),
              "cluster.toml:15:14: 'key_length' in [security] is 237; expected an integer from 16 to 236");
}

TEST(WispdClusterFile, EndpointsAreRelativeToTheFileAndUsedOnce) {
    const std::string endpoint = "[[endpoint]]\nnode = 3\nport = 9000\npath = \"n3.sock\"\n";
    const Configuration_File file = parse_configuration_file(HEAD + LOCAL + endpoint, "/etc/hb/cluster.toml");
    ASSERT_EQ(file.endpoints.size(), 1u);
    EXPECT_EQ(file.endpoints[0], (wispd::Endpoint{3, 9000, "/etc/hb/n3.sock"}));
    EXPECT_EQ(error_of(HEAD + LOCAL + endpoint + endpoint),
              "cluster.toml:20:8: port 9000 of node 3 is defined twice; the first is at cluster.toml:14:1");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[endpoint]]\nnode = 8\n"),
              "cluster.toml:15:8: 'node' in [[endpoint]] is 8; expected an integer from 0 to 7");
    EXPECT_EQ(error_of(HEAD + LOCAL + "[[endpoint]]\nnode = 3\nport = 65536\n"),
              "cluster.toml:16:8: 'port' in [[endpoint]] is 65536; expected an integer from 0 to 65535");
    EXPECT_THAT(
        error_of(HEAD + LOCAL + "[[endpoint]]\nnode = 3\nport = 1\npath = \"/" + std::string(107, 'p') +
                 "\"\n"),
        StartsWith("cluster.toml:17:8: the path has 108 bytes, but a socket address holds at most 107"));
}

TEST(WispdClusterFile, AdaptersNeedNotCarryIp) {
    const std::string node = "[[node]]\nnumber = 2\n[[node.adapter]]\nnetwork = 0\naddress = \"none\"\n";
    const Configuration_File file = parse_configuration_file(
        HEAD + LOCAL + node + "[[node]]\nnumber = 3\n[[node.adapter]]\nnetwork = 0\naddress = \"none\"\n",
        "cluster.toml");
    EXPECT_TRUE(file.cluster.nodes[0].adapters[0].carries_ip);
    EXPECT_FALSE(file.cluster.nodes[1].adapters[0].carries_ip);
    EXPECT_FALSE(file.cluster.nodes[2].adapters[0].carries_ip);
    EXPECT_THAT(
        error_of(HEAD + LOCAL + "[[node]]\nnumber = 2\n[[node.adapter]]\nnetwork = 0\naddress = \"::\"\n"),
        StartsWith("cluster.toml:18:11: \"::\" is not an address"));
}

TEST(WispdClusterFile, WhatIsNoRegularFileIsRefusedWithoutWaiting) {
    const hb_test::Temp_Dir directory;
    const std::string pipe = directory.file("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    for (const std::string &path : {pipe, std::string("/dev/zero")}) {
        try {
            wispd::read_configuration_file(path);
            ADD_FAILURE() << path << " was read";
        } catch (const wispd::Config_Error &error) {
            EXPECT_EQ(path + ": is not a regular file", error.what());
        }
    }
}

TEST(WispdClusterFile, ALineThatCouldNestTooDeeplyIsRefused) {
    std::string dotted = "# a comment\na";
    for (int part = 0; part < 200000; ++part) {
        dotted += ".a";
    }
    try {
        wispd::parse_configuration_file(dotted + " = 1\n", "deep.toml");
        ADD_FAILURE() << "it was read";
    } catch (const wispd::Config_Error &error) {
        EXPECT_STREQ("deep.toml:2:16385: the line has more than 16384 bytes", error.what());
    }
}

TEST(WispdClusterFile, FileThatCannotBeReadIsNamed) {
    try {
        wispd::read_configuration_file("/nonexistent/cluster.toml");
        FAIL() << "it was read";
    } catch (const Config_Error &error) {
        EXPECT_STREQ(error.what(), "/nonexistent/cluster.toml: cannot be opened: No such file or directory");
    }
}

} // namespace
