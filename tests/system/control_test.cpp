// The daemon carries out its programs' requests, and every client receives the result.
#include <algorithm>
#include <array>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/deadline.h"
#include "tests/support/unique_fd.h"
#include "tests/system/client.h"
#include "tests/system/clusters.h"
#include "tests/system/hbctl.h"

namespace hb_test {
namespace {

using nlohmann::json;

std::string controlled_cluster_file() {
    return small_cluster_file() + "\n[suspicion]\nconfirm_seconds = 0.2\n[security]\n" +
           "[daemon]\nshutdown_delay_seconds = 0.1\n";
}

class Control : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override {
        daemon.write_configuration(controlled_cluster_file() +
                                   "[[endpoint]]\nnode = 2\nport = 7000\npath = \"" + daemon.file("endpoint") +
                                   "\"\n");
        ASSERT_TRUE(daemon.start());
        clients = start_clients(GetParam(), daemon,
                                {"open", "subscribe n 7 all-nodes", "subscribe a 7 all-adapters"});
        expect_lines(clients,
                     {"opened", "subscribed n", "subscribed a", "event 1 new-group n nodes 1 2 3 status 0",
                      "event 2 new-group a adapters 2@1 3@1 4@1 5@1 6@1 7@1 leader 2@1 group 1 status 0"});
    }
    void TearDown() override {
        if (daemon.running()) {
            expect_good_ends(clients);
            EXPECT_TRUE(daemon.stop());
        }
    }

    Hbctl_End hbctl(const std::vector<std::string> &words) {
        return run_hbctl(GetParam().clients.back(), daemon, words);
    }
    // The command succeeds and prints this line.
    testing::AssertionResult does(const std::vector<std::string> &words, const std::string &line) {
        const Hbctl_End end = hbctl(words);
        return end == said(line) ? testing::AssertionSuccess()
                                 : testing::AssertionFailure() << testing::PrintToString(end);
    }
    testing::AssertionResult is_refused(const std::vector<std::string> &words, const std::string &line) {
        const Hbctl_End end = hbctl(words);
        return end == Hbctl_End{1, "", "hbctl: " + line + "\n"}
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << testing::PrintToString(end);
    }
    json state() { return json::parse(daemon.tell(R"({"do":"state"})")).at("state"); }
    // Waits until this part of wispd's state is as expected, which shows that wispd has read the request.
    // Returns it.
    testing::AssertionResult state_becomes(const std::string &key, const json &value) {
        if (wait_until([&] { return state().at(key) == value; })) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << key << " is " << state().at(key);
    }

    Daemon daemon{GetParam().daemon, controlled_cluster_file()};
    Clients clients;
};

TEST_P(Control, WhoIsReportedDownDies) {
    EXPECT_TRUE(does({"node-down", "3"}, "node-down 3: sent"));
    expect_lines(clients, {"event 3 death a adapters 6@1 7@1", "event 4 death n nodes 3 id #1"});
    EXPECT_TRUE(does({"adapter-down", "4"}, "adapter-down 4: sent"));
    expect_lines(clients, {"event 5 death a adapters 4@1"});
    EXPECT_TRUE(is_refused({"node-down", "7"}, "node 7 is not configured (nodes: 1-4)"));
    EXPECT_TRUE(is_refused({"node-down", "8"}, "node 8 is not configured (nodes: 1-4)"));
    EXPECT_TRUE(is_refused({"adapter-down", "9"}, "adapter 9 is not configured (adapters: 2-8)"));
}

TEST_P(Control, WhoIsSuspectedDiesWhenNoSignOfLifeComes) {
    EXPECT_TRUE(does({"node-may-be-down", "3"}, "node-may-be-down 3: sent"));
    expect_lines(clients, {"event 3 death a adapters 6@1 7@1", "event 4 death n nodes 3 id #1"});
    EXPECT_TRUE(does({"adapter-may-be-down", "5"}, "adapter-may-be-down 5: sent"));
    expect_lines(clients, {"event 5 death a adapters 5@1"});
}

TEST_P(Control, AdaptersOfTheNodeAreHeldDownAndLetUpAgain) {
    EXPECT_TRUE(does({"disable", "3"}, "disable 3: sent"));
    expect_lines(clients, {"event 3 death a adapters 3@1"});
    EXPECT_EQ(hbctl({"adapter-state"}),
              said("ADAPTER  NAME         STATE\n      2  alpha/net_a  up\n      3  alpha/net_b  down"));
    EXPECT_TRUE(does({"enable", "3"}, "enable 3: sent"));
    expect_lines(clients, {"event 4 join a adapters 3@2"});
    EXPECT_TRUE(does({"ifconfig-down", "2"}, "ifconfig-down 2: sent"));
    expect_lines(clients, {"event 5 death a adapters 2@1"});
    EXPECT_TRUE(does({"ifconfig-up", "2"}, "ifconfig-up 2: sent"));
    expect_lines(clients, {"event 6 join a adapters 2@2"});
    EXPECT_EQ(hbctl({"adapter-state", "3"}), said("ADAPTER  NAME         STATE\n      3  alpha/net_b  up"));
    EXPECT_TRUE(
        is_refused({"disable", "4"}, "adapter 4 is not an adapter of this node (adapters of node 1: 2, 3)"));
    EXPECT_TRUE(is_refused({"adapter-state", "9"}, "adapter 9 is not configured (adapters: 2-8)"));
}

TEST_P(Control, AddressesAreGivenTakenAndExchanged) {
    EXPECT_TRUE(does({"swap", "2", "10.2.0.1"}, "swap 2 10.2.0.1: done"));
    expect_lines(clients, {"event 3 configuration Hb_Config_Group"});
    order_all(clients, "configuration");
    for (const auto &client : clients) {
        const std::vector<std::string> lines = client->lines_until("end of configuration");
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "adapter 2 node 1 10.2.0.1 eth0"), 1);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "adapter 3 node 1 10.1.0.1 eth1"), 1);
    }
    EXPECT_TRUE(does({"configure", "3", "10.2.0.77"}, "configure 3 10.2.0.77: done"));
    expect_lines(clients, {"event 4 configuration Hb_Config_Group"});
    EXPECT_TRUE(does({"unconfigure", "3"}, "unconfigure 3: done"));
    expect_lines(clients, {"event 5 death a adapters 3@1", "event 6 configuration Hb_Config_Group"});
    EXPECT_TRUE(is_refused(
        {"configure", "3", "10.1.0.2"},
        "cannot set the address of adapter 3 to 10.1.0.2: another adapter has the address (error 50)"));
    EXPECT_TRUE(is_refused({"configure", "3", "127.0.0.1"},
                           "cannot set the address of adapter 3 to 127.0.0.1: the "
                           "adapter cannot have such an address (error 51)"));
    EXPECT_TRUE(is_refused({"unconfigure", "3"},
                           "cannot remove the address of adapter 3: the adapter is not configured, or no "
                           "adapter of this node has the address (error 7)"));
    EXPECT_TRUE(is_refused({"swap", "2", "10.1.0.2"},
                           "cannot exchange the address of adapter 2 with the "
                           "adapter that has 10.1.0.2: out of range, or not of this node (error 4)"));
}

TEST_P(Control, GraceIsGivenOnceAndKeepsSuspicionsAway) {
    EXPECT_TRUE(does({"grace", "2", "3600"}, "grace 2 3600: done"));
    EXPECT_EQ(state().at("graces").size(), 1U);
    EXPECT_TRUE(
        is_refused({"grace", "2", "5"},
                   "cannot set a grace of 5 s for adapter 2: the adapter has grace already (error 56)"));
    EXPECT_TRUE(is_refused({"grace", "3", "-1"},
                           "cannot set a grace of -1 s for adapter 3: the time is out of range (error 52)"));
    EXPECT_TRUE(is_refused({"grace", "3", "3601"},
                           "cannot set a grace of 3601 s for adapter 3: the time is out of range (error 52)"));
    EXPECT_TRUE(does({"adapter-may-be-down", "2"}, "adapter-may-be-down 2: sent"));
    EXPECT_TRUE(does({"disable", "3"}, "disable 3: sent"));
    expect_lines(clients, {"event 3 death a adapters 3@1"});
    EXPECT_TRUE(is_refused({"grace", "3", "5"},
                           "cannot set a grace of 5 s for adapter 3: the adapter is down (error 55)"));
    EXPECT_EQ(state().at("suspicions"), json::array());
}

TEST_P(Control, WhatIsNoMatterOfMembershipIsKeptAndShown) {
    EXPECT_TRUE(does({"discard-stale", "on"}, "discard-stale on: sent"));
    EXPECT_TRUE(state_becomes("discard_stale_messages", true));
    EXPECT_TRUE(does({"discard-stale", "off"}, "discard-stale off: sent"));
    EXPECT_TRUE(state_becomes("discard_stale_messages", false));
    EXPECT_TRUE(does({"manual-control", "on", "eth0"}, "manual-control on eth0: sent"));
    EXPECT_TRUE(state_becomes("manual_control", {{"all", false}, {"interfaces", {"eth0"}}}));
    EXPECT_TRUE(does({"manual-control", "on"}, "manual-control on: sent"));
    EXPECT_TRUE(state_becomes("manual_control", {{"all", true}, {"except", json::array()}}));
}

TEST_P(Control, TheNodeDiesAndIsBackAsAfterASleep) {
    EXPECT_TRUE(does({"simulate-death", "5"}, "simulate-death 5: sent"));
    for (const auto &client : clients) {
        std::vector<std::string> lines = client->lines(2);
        EXPECT_EQ(lines, (std::vector<std::string>{"event 3 death a adapters 2@1 3@1",
                                                   "event 4 join a adapters 2@2 3@2"}));
    }
}

TEST_P(Control, ADelayedShutdownEndsTheDaemonAndClientsFindTheEndOfTheStream) {
    EXPECT_TRUE(does({"shutdown"}, "shutdown: sent"));
    for (const auto &client : clients) {
        EXPECT_EQ(client->line(), "failed event 16");
    }
    EXPECT_TRUE(daemon.wait_stopped());
    expect_good_ends(clients);
}

TEST_P(Control, ARouteToANodeThatIsNotConfiguredListsTheNodes) {
    EXPECT_TRUE(is_refused({"route", "77"}, "node 77 is not configured (nodes: 1-4)"));
    EXPECT_TRUE(is_refused({"subscribe", "--nodes", "2,77"}, "node 77 is not configured (nodes: 1-4)"));
    EXPECT_TRUE(is_refused({"subscribe", "--adapters", "99"}, "adapter 99 is not configured (adapters: 2-8)"));
    EXPECT_TRUE(is_refused({"subscribe", "--network", "net_x"},
                           "network net_x is not configured (networks: net_a, net_b)"));
}

TEST_P(Control, RoutesAndKeysAreShown) {
    EXPECT_EQ(hbctl({"route", "3"}),
              said("route to node 3 (gamma): 2 hops\nHOP  ADDRESS\n  1  10.1.0.1\n  2  10.1.0.3"));
    EXPECT_EQ(
        hbctl({"route", "3", "--shared"}),
        said(
            "route to node 3 (gamma): 2 hops, from shared memory\nHOP  ADDRESS\n  1  10.1.0.1\n  2  10.1.0.3"));
    EXPECT_EQ(hbctl({"route", "3", "--ip"}), hbctl({"route", "3", "--shared"}));
    EXPECT_TRUE(
        is_refused({"route", "4"}, "cannot read the route to node 4: no route to the node is known (error 6)"));
    EXPECT_TRUE(is_refused({"route", "4", "--shared"},
                           "cannot read the route to node 4: no route to the node is known (error 6)"));
    EXPECT_EQ(hbctl({"keys"}),
              said("security    on, 1 key, the newest signs and authenticates\nbefore      off\n"
                   "generation  1\nKEY       TYPE          VERSION  BYTES\n"
                   "current   HMAC-SHA-256        1     32\nprevious  none                -      -"));
    EXPECT_TRUE(daemon.tells(R"({"do":"rotate-key"})"));
    const json keys = json::parse(hbctl({"--json", "keys"}).output);
    EXPECT_EQ(keys["generation"], 3);
    EXPECT_EQ(keys["keys"][1]["type"], "HMAC-SHA-256");
    EXPECT_EQ(keys["previous"]["signs"], false);
}

// A datagram socket at a path. The destructor removes it.
class Endpoint {
  public:
    explicit Endpoint(const std::string &path)
        : path_(path), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    Endpoint(const Endpoint &) = delete;
    Endpoint &operator=(const Endpoint &) = delete;
    ~Endpoint() { unlink(path_.c_str()); }

    std::string receive() const {
        std::array<char, 20000> bytes;
        EXPECT_TRUE(wait_readable(socket_.get()));
        const ssize_t count = recv(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        return {bytes.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
    }

  private:
    std::string path_;
    Unique_Fd socket_;
};

TEST_P(Control, AMulticastReachesTheEndpointsOfItsNodesAndIsLogged) {
    const Endpoint endpoint(daemon.file("endpoint"));
    EXPECT_TRUE(does({"multicast", "--port", "7000", "--nodes", "2,3,4", "hello"},
                     "multicast: 5 bytes sent for port 7000 of 3 nodes"));
    EXPECT_EQ(endpoint.receive(), "hello");
    EXPECT_TRUE(
        daemon.wait_logged("multicast 5 bytes to port 7000; delivered to nodes: 2; no route to nodes: 4; no "
                           "endpoint for nodes: 3"));
    const std::string largest(9936, 'm');
    EXPECT_TRUE(does({"multicast", "--port", "7000", "--nodes", "2", largest},
                     "multicast: 9936 bytes sent for port 7000 of 1 node"));
    EXPECT_EQ(endpoint.receive(), largest);
    EXPECT_TRUE(is_refused({"multicast", "--port", "7000", "--nodes", "2", largest + "m"},
                           "cannot deliver a message of 9937 bytes: the message is too large (error 53)"));
    EXPECT_EQ(hbctl({"multicast", "--port", "1", "--nodes", "2"}),
              (Hbctl_End{1, "",
                         "hbctl: cannot send an empty message: give it as an argument or on standard "
                         "input\n"}));
}

SYSTEM_TESTS(Control);

} // namespace
} // namespace hb_test
