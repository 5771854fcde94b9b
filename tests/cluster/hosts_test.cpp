// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "tests/cluster/cluster_test.h"
#include "tests/cluster/namespace_sweep.h"
#include "tests/support/child_process.h"
#include "tests/support/deadline.h"

namespace hb_test {
namespace {

using testing::HasSubstr;

class HostsTest : public ClusterTest {};

std::string read_file(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

unsigned long number_of(const std::optional<std::string> &text) {
    return text ? std::stoul(*text) : 0;
}

TEST_F(HostsTest, FourHostsOnTwoLinksReachQuorum) {
    Hosts hosts(4, 2);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    for (int host = 1; host <= 4; ++host) {
        EXPECT_TRUE(hosts.wait_sees(host, {1, 2, 3, 4})) << hosts.account();
        for (int peer = 1; peer <= 4; ++peer) {
            for (int link = 0; host != peer && link < 2; ++link) {
                EXPECT_TRUE(hosts.wait_reaches(host, peer, link, true)) << host << ' ' << peer << ' ' << link;
            }
        }
    }
    EXPECT_EQ(hosts.value(2, "nodelist.node.2.ring1_addr"), "10.91.1.3");
    EXPECT_EQ(hosts.value(2, "totem.cluster_name"), "hb_test");
}

TEST_F(HostsTest, TheOthersSeeAKilledEngineLeaveAndItsReturnAsANewIncarnation) {
    Hosts hosts(4, 2);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    const unsigned long joined = number_of(hosts.value(1, "runtime.members.3.join_count"));
    hosts.kill(3);
    EXPECT_FALSE(hosts.running(3));
    for (const int host : {1, 2, 4}) {
        EXPECT_TRUE(hosts.wait_sees(host, {1, 2, 4})) << hosts.account();
        EXPECT_EQ(hosts.value(host, "runtime.members.3.status"), "left");
    }
    EXPECT_FALSE(hosts.view(3));
    hosts.start(3);
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    EXPECT_EQ(hosts.value(1, "runtime.members.3.status"), "joined");
    EXPECT_GT(number_of(hosts.value(1, "runtime.members.3.join_count")), joined);
}

TEST_F(HostsTest, AStoppedEngineLeavesAndTheHalfThatRemainsLosesQuorum) {
    Hosts hosts(4, 1);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    hosts.stop(4);
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    hosts.stop(3);
    ASSERT_TRUE(hosts.wait_sees(1, {1, 2})) << hosts.account();
    EXPECT_THAT(hosts.account(), HasSubstr("host1: no quorum, members 1 2, ring "));
    EXPECT_FALSE(hosts.wait_quorum(Deadline(std::chrono::milliseconds(0))));
    hosts.start(3);
    EXPECT_TRUE(hosts.wait_quorum()) << hosts.account();
}

TEST_F(HostsTest, ACutLinkIsSeenByBothEndsAndTheOtherLinkCarriesOn) {
    Hosts hosts(3, 2);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    for (int link = 0; link < 2; ++link) {
        ASSERT_TRUE(hosts.wait_reaches(1, 2, link, true));
        ASSERT_TRUE(hosts.wait_reaches(2, 1, link, true));
    }
    const std::string downs = "stats.knet.node2.link1.down_count";
    const unsigned long before = number_of(hosts.value(1, downs, Engine_Map::stats));
    hosts.cut(2, 1);
    EXPECT_TRUE(hosts.wait_reaches(1, 2, 1, false));
    EXPECT_TRUE(hosts.wait_reaches(2, 1, 1, false));
    EXPECT_TRUE(hosts.wait_reaches(1, 2, 0, true));
    EXPECT_TRUE(hosts.wait_reaches(1, 3, 1, true));
    EXPECT_GT(number_of(hosts.value(1, downs, Engine_Map::stats)), before);
    EXPECT_THAT(hosts.places().run_to_end(2, {"ip", "-o", "link", "show", "link1"}).output,
                HasSubstr("NO-CARRIER"));
    EXPECT_TRUE(hosts.wait_sees(1, {1, 2, 3})) << hosts.account();
    hosts.restore(2, 1);
    EXPECT_TRUE(hosts.wait_reaches(1, 2, 1, true));
    EXPECT_TRUE(hosts.wait_reaches(2, 1, 1, true));
}

TEST_F(HostsTest, AHostWithoutAnyLinkIsAloneUntilTheyAreMended) {
    Hosts hosts(3, 2);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    hosts.cut(3, 0);
    hosts.cut(3, 1);
    EXPECT_TRUE(hosts.wait_sees(1, {1, 2})) << hosts.account();
    EXPECT_TRUE(hosts.wait_sees(3, {3})) << hosts.account();
    hosts.restore(3, 0);
    hosts.restore(3, 1);
    EXPECT_TRUE(hosts.wait_quorum()) << hosts.account();
}

TEST_F(HostsTest, AnEngineThatIsHeldUpLeavesAndGivesNoAnswerUntilItGoesOn) {
    Hosts hosts(3, 1);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    hosts.engine(2).send_signal(SIGSTOP);
    EXPECT_TRUE(hosts.wait_sees(1, {1, 3})) << hosts.account();
    EXPECT_FALSE(hosts.view(2));
    hosts.engine(2).send_signal(SIGCONT);
    EXPECT_TRUE(hosts.wait_quorum()) << hosts.account();
}

TEST_F(HostsTest, ANodeListThatGrowsAndShrinksIsTakenOverByAReload) {
    Hosts hosts(3, 1);
    const std::vector<Engine_Node> all = hosts.nodes();
    hosts.set_nodes({all[0], all[1]});
    hosts.start(1);
    hosts.start(2);
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    EXPECT_EQ(hosts.value(1, "nodelist.node.2.nodeid"), std::nullopt);
    hosts.set_nodes(all);
    const Reload grown = hosts.reload(1);
    ASSERT_TRUE(grown.accepted) << grown.message;
    EXPECT_EQ(hosts.value(1, "nodelist.node.2.name"), "host3");
    hosts.start(3);
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    hosts.stop(3);
    hosts.set_nodes({all[0], all[1]});
    ASSERT_TRUE(hosts.reload(2).accepted);
    EXPECT_TRUE(wait_until([&] { return !hosts.value(1, "nodelist.node.2.name"); }));
}

TEST_F(HostsTest, AConfigurationThatIsWrongIsRejectedAndTheEngineGoesOnWithTheOldOne) {
    Hosts hosts(2, 1);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    hosts.write_configuration(1, "totem {\n    version: 2\n    token: much\n}\n");
    const Reload reload = hosts.reload(1);
    EXPECT_FALSE(reload.accepted);
    EXPECT_THAT(reload.message, HasSubstr("Could not reload configuration"));
    EXPECT_TRUE(wait_until([&] {
        return hosts.log(1).find("Unable to reload config file") != std::string::npos;
    })) << hosts.log(1); // the engine writes its log after its answer
    EXPECT_EQ(hosts.value(1, "totem.token"), "1000");
}

TEST_F(HostsTest, NodesMayHaveLargeIdentifiersAndNamesThatAreNotTheHosts) {
    Hosts hosts(2, 1);
    std::vector<Engine_Node> nodes = hosts.nodes();
    nodes[0].id = 60000;
    nodes[1].name = "basement";
    hosts.set_nodes(nodes);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    EXPECT_TRUE(hosts.wait_sees(2, {2, 60000})) << hosts.account();
    EXPECT_TRUE(hosts.wait_reaches(2, 1, 0, true));
    EXPECT_EQ(hosts.value(1, "nodelist.node.1.name"), "basement");
}

TEST_F(HostsTest, AnEngineThatCannotStartIsToldWithItsOwnWords) {
    Hosts hosts(2, 1);
    hosts.write_configuration(2, "totem {\n    version: 2\n}\n");
    hosts.start_all();
    try {
        hosts.wait_quorum();
        FAIL() << "the engine started";
    } catch (const std::runtime_error &trouble) {
        EXPECT_THAT(trouble.what(), HasSubstr("the engine of host2 has ended by itself"));
        EXPECT_THAT(trouble.what(), HasSubstr("No interfaces defined"));
    }
}

// ---- Hosts without engines ----

TEST_F(HostsTest, AProgramInsideAHostHasItsNameItsRunAndItsAddresses) {
    const Host_Namespaces places(2, 2);
    EXPECT_EQ(places.run_to_end(2, {"hostname"}).output, "host2\n");
    EXPECT_EQ(places.run_to_end(2, {"pwd"}).output, "/\n");
    const Finished addresses = places.run_to_end(2, {"ip", "-o", "-4", "addr"});
    EXPECT_THAT(addresses.output, HasSubstr("10.91.0.2/24"));
    EXPECT_THAT(addresses.output, HasSubstr("10.91.1.2/24"));
    EXPECT_EQ(places.run_to_end(1, {"sh", "-c", "echo there >/run/note; echo -n >/dev/shm/note"}).exit_status,
              0);
    EXPECT_EQ(read_file(places.outside(1, "/run/note")), "there\n");
    EXPECT_EQ(places.run_to_end(2, {"test", "-e", "/run/note"}).exit_status, 1);
    EXPECT_EQ(places.run_to_end(2, {"test", "-e", "/dev/shm/note"}).exit_status, 1);
    EXPECT_FALSE(std::filesystem::exists("/run/note"));
    EXPECT_FALSE(std::filesystem::exists("/dev/shm/note"));
}

TEST_F(HostsTest, AProgramInsideAHostIsAChildWithPipesThatSignalsReach) {
    const Host_Namespaces places(1, 1);
    const std::unique_ptr<Child_Process> reader =
        places.run(1, {"sh", "-c", "read line; echo \"$line $WORD\"; exec cat"}, {{"WORD", "world"}});
    reader->write_input("hello\n");
    EXPECT_EQ(reader->read_line(), "hello world");
    EXPECT_EQ(network_namespace(reader->pid()), network_namespace(places.holders()[0]));
    reader->send_signal(SIGTERM);
    const std::optional<Child_End> end = reader->wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->signal, SIGTERM);
}

TEST_F(HostsTest, HostsReachEachOtherOnEveryNetworkThatIsNotCut) {
    Host_Namespaces places(2, 2);
    const auto reaches = [&](const std::string &address) {
        return places.run_to_end(1, {"bash", "-c", "exec 3<>/dev/tcp/" + address + "/9"}).errors;
    };
    // No program listens there, and that refusal needs an answer from the other host.
    EXPECT_THAT(reaches("10.91.0.2"), HasSubstr("Connection refused"));
    EXPECT_THAT(reaches("10.91.1.2"), HasSubstr("Connection refused"));
    places.cut(2, 0);
    // A new query for the other host's hardware address finds none.
    ASSERT_EQ(places.run_to_end(1, {"ip", "neigh", "flush", "dev", "link0"}).exit_status, 0);
    EXPECT_THAT(reaches("10.91.0.2"), HasSubstr("No route to host"));
    EXPECT_THAT(reaches("10.91.1.2"), HasSubstr("Connection refused"));
    places.restore(2, 0);
    EXPECT_TRUE(
        wait_until([&] { return reaches("10.91.0.2").find("Connection refused") != std::string::npos; }));
}

TEST_F(HostsTest, WhatIsNotThereIsRefusedByName) {
    Host_Namespaces places(2, 1);
    EXPECT_THROW(places.cut(3, 0), std::invalid_argument);
    EXPECT_THROW(places.cut(1, 1), std::invalid_argument);
    EXPECT_THROW(places.run(0, {"true"}), std::invalid_argument);
    EXPECT_THROW(Host_Namespaces(0, 1), std::invalid_argument);
    EXPECT_THROW(Host_Namespaces(1, 9), std::invalid_argument);
}

// ---- Nothing is left ----

std::set<std::string> names_in(const std::string &directory) {
    std::set<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

// The namespaces, of every kind, that a holder has and this process does not have.
std::set<std::string> namespaces_of(const std::vector<pid_t> &holders) {
    std::set<std::string> found;
    for (const pid_t holder : holders) {
        for (const char *kind : {"net", "mnt", "uts", "ipc"}) {
            const auto link = [&](const std::string &process) {
                return std::filesystem::read_symlink("/proc/" + process + "/ns/" + kind).string();
            };
            if (link(std::to_string(holder)) != link("self")) {
                found.insert(link(std::to_string(holder)));
            }
        }
    }
    return found;
}

// The processes that are in one of these, or hold an open descriptor of it, which also keeps it alive.
std::vector<std::string> users_of(const std::set<std::string> &namespaces) {
    std::vector<std::string> users;
    std::error_code gone;
    for (const auto &process : std::filesystem::directory_iterator("/proc")) {
        for (const char *directory : {"/ns", "/fd"}) {
            std::filesystem::directory_iterator links(process.path().string() + directory, gone), end;
            for (; !gone && links != end; links.increment(gone)) {
                if (namespaces.count(std::filesystem::read_symlink(links->path(), gone).string()) != 0) {
                    users.push_back(links->path().string());
                }
            }
        }
    }
    return users;
}

TEST_F(HostsTest, TenTimesUpAndDownLeavesNoProcessNamespaceInterfaceOrMount) {
    const std::set<std::string> interfaces = names_in("/sys/class/net");
    const std::string mounts = read_file("/proc/self/mountinfo");
    const std::set<std::string> temporary = names_in("/dev/shm");
    std::set<std::string> namespaces;
    for (int cycle = 0; cycle < 10; ++cycle) {
        Hosts hosts(4, 2);
        hosts.start_all();
        // The test does not wait for one cluster: it ends during its start.
        if (cycle != 4) {
            ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
        }
        namespaces.merge(namespaces_of(hosts.places().holders()));
        // A program that no process waits for, and whose parent has ended.
        hosts.places().run_to_end(1 + cycle % 4, {"sh", "-c", "cat /dev/zero >/dev/null 2>&1 & :"});
    }
    EXPECT_GE(namespaces.size(), 17U); // four kinds for each host, and the switch's network
    EXPECT_THAT(users_of(namespaces), testing::IsEmpty());
    EXPECT_EQ(names_in("/sys/class/net"), interfaces);
    EXPECT_EQ(read_file("/proc/self/mountinfo"), mounts);
    EXPECT_EQ(names_in("/dev/shm"), temporary);
}

} // namespace
} // namespace hb_test
