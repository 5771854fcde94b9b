// SPDX-License-Identifier: Apache-2.0
// Any client that can connect may read and subscribe. Only root and the members of act_group may act on the
// node.
#include <filesystem>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/system/client.h"
#include "tests/system/clusters.h"
#include "tests/system/hbctl.h"

namespace hb_test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// A client of this user and this group has no more rights than any other user.
constexpr char NOBODY[] = "65534";
// The group that may act in these tests, and the group that may only connect. Both exist on every Debian
// system.
constexpr char ADM[] = "4";
constexpr char DAEMON[] = "1";

std::string open_cluster_file() {
    return small_cluster_file() + "[security]\n[daemon]\nsocket_mode = \"0666\"\nkey_mode = \"0644\"\ngroup = "
                                  "\"daemon\"\nact_group = \"adm\"\n";
}

// Copies of hbctl and the libraries that every user can read; the build directory may be closed to others.
class Public_Hbctl {
  public:
    explicit Public_Hbctl(const Programs &programs) : programs_{programs.abi, directory_.path()} {
        EXPECT_EQ(chmod(directory_.path().c_str(), 0755), 0);
        fs::copy(programs.path("hbctl"), directory_.path());
        for (const auto &entry : fs::directory_iterator(fs::path(programs.directory).parent_path() / "lib")) {
            if (entry.path().extension() == ".so") {
                fs::copy(entry.path(), directory_.path());
            }
        }
    }

    // Runs it as a user without rights. Besides its own, that user has only the given group.
    Hbctl_End run(const Daemon &daemon, const std::string &group, const std::vector<std::string> &words) const {
        return run_hbctl(programs_, daemon, words,
                         {"env", "LD_LIBRARY_PATH=" + directory_.path(), "setpriv", "--reuid", NOBODY,
                          "--regid", NOBODY, "--groups", group});
    }

  private:
    Temp_Dir directory_;
    Programs programs_;
};

class Access : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override {
        ASSERT_EQ(geteuid(), 0U) << "only root can run a program as somebody else";
        ASSERT_TRUE(daemon.start());
        ASSERT_EQ(chmod(daemon.directory().c_str(), 0755), 0);
    }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    Hbctl_End hbctl_as(const std::string &group, const std::vector<std::string> &words) {
        return hbctl.run(daemon, group, words);
    }
    testing::AssertionResult is_refused(const std::vector<std::string> &words, const std::string &error) {
        const Hbctl_End end = hbctl_as(NOBODY, words);
        const bool as_expected =
            end.exit_status == 1 && end.output.empty() && end.errors.ends_with(" (error " + error + ")\n");
        return as_expected ? testing::AssertionSuccess()
                           : testing::AssertionFailure() << testing::PrintToString(end);
    }
    json state() { return json::parse(daemon.tell(R"({"do":"state"})")).at("state"); }
    // The whole state that a request could change.
    json model() {
        json all = state();
        all.erase("uptime_seconds");
        all.erase("clients");
        all.erase("users");
        return all;
    }

    Public_Hbctl hbctl{GetParam().clients.back()};
    Daemon daemon{GetParam().daemon, open_cluster_file()};
};

TEST_P(Access, EverybodyWhoMayConnectCanListenAndAsk) {
    EXPECT_EQ(hbctl_as(NOBODY, {"route", "3"}).output,
              "route to node 3 (gamma): 2 hops\nHOP  ADDRESS\n  1  10.1.0.1\n  2  10.1.0.3\n");
    EXPECT_EQ(hbctl_as(NOBODY, {"route", "3", "--shared"}).exit_status, 0);
    EXPECT_EQ(hbctl_as(NOBODY, {"adapter-state", "3"}).output,
              "ADAPTER  NAME         STATE\n      3  alpha/net_b  up\n");
    EXPECT_EQ(hbctl_as(NOBODY, {"keys"}).exit_status, 0);
    EXPECT_EQ(hbctl_as(NOBODY, {"client-heartbeat", "3"}).exit_status, 0);
    const Hbctl_End events = hbctl_as(NOBODY, {"watch", "--count", "2", "--timeout", "300"});
    EXPECT_EQ(events.exit_status, 0) << events.errors;
    EXPECT_NE(events.output.find("3 nodes: 1-3"), std::string::npos) << events.output;
}

TEST_P(Access, WhatActsOnTheNodeIsRefusedAndLoggedAndChangesNothing) {
    const json before = model();
    EXPECT_TRUE(is_refused({"configure", "2", "10.1.0.99"}, "3"));
    EXPECT_TRUE(is_refused({"unconfigure", "2"}, "3"));
    EXPECT_TRUE(is_refused({"swap", "2", "10.2.0.1"}, "3"));
    EXPECT_TRUE(is_refused({"grace", "2", "5"}, "8"));
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"node-down", "3"},
                                               {"node-may-be-down", "3"},
                                               {"adapter-down", "4"},
                                               {"disable", "2"},
                                               {"enable", "2"},
                                               {"adapter-may-be-down", "4"},
                                               {"ifconfig-down", "2"},
                                               {"ifconfig-up", "2"},
                                               {"simulate-death", "5"},
                                               {"discard-stale", "on"},
                                               {"shutdown"},
                                               {"manual-control", "on"},
                                               {"multicast", "--port", "1", "--nodes", "2", "hello"}}) {
        EXPECT_TRUE(is_refused(words, "3")) << words.front() << " has no answer, and is not reported as sent";
    }
    EXPECT_THAT(hbctl_as(NOBODY, {"multicast", "--port", "1", "--nodes", "2", "h"}).errors,
                testing::HasSubstr("cannot deliver a message of 1 byte: "));
    // A later request has been answered, so the daemon has read all requests of these clients.
    EXPECT_TRUE(is_refused({"unconfigure", "3"}, "3"));
    for (const char *logged :
         {"uid 65534", "configure adapter", "unconfigure adapter", "swap adapters", "adapter grace",
          "node is down", "node may be down", "adapter is down", "adapter may be down", "disable adapter",
          "enable adapter", "simulate death", "delayed shutdown"}) {
        EXPECT_TRUE(daemon.wait_logged(logged)) << logged;
    }
    EXPECT_EQ(model(), before);
}

TEST_P(Access, MembersOfTheGroupThatConnectsMayNotAct) {
    const Hbctl_End end = hbctl_as(DAEMON, {"unconfigure", "2"});
    EXPECT_EQ(end, (Hbctl_End{1, "",
                              "hbctl: cannot remove the address of adapter 2: the daemon does not permit "
                              "this user to act: run as "
                              "root or as a member of its act_group (error 3)\n"}));
}

TEST_P(Access, MembersOfTheActGroupMayAct) {
    EXPECT_EQ(hbctl_as(ADM, {"configure", "2", "10.1.0.99"}), said("configure 2 10.1.0.99: done"));
    EXPECT_EQ(hbctl_as(ADM, {"node-down", "3"}), said("node-down 3: sent"));
    EXPECT_EQ(hbctl_as(ADM, {"multicast", "--port", "1", "--nodes", "2", "hello"}),
              said("multicast: 5 bytes sent for port 1 of 1 node"));
    EXPECT_EQ(state().at("graces"), json::array()) << "asking for the permission changes nothing";
    EXPECT_TRUE(wait_until([&] {
        return state().dump().find(R"("number":3,"state":"down")") != std::string::npos ||
               daemon.log().find("nodes died: 3") != std::string::npos;
    }));
}

SYSTEM_TESTS(Access);

unsigned mode_of_segment(int id) {
    shmid_ds facts{};
    EXPECT_EQ(shmctl(id, IPC_STAT, &facts), 0);
    return facts.shm_perm.mode;
}

unsigned mode_of_semaphores(int id) {
    semid_ds facts{};
    EXPECT_EQ(semctl(id, 0, IPC_STAT, &facts), 0);
    return facts.sem_perm.mode;
}

class DefaultAccess : public testing::TestWithParam<Setup> {};

TEST_P(DefaultAccess, GivesOthersNothing) {
    Daemon daemon(GetParam().daemon, small_cluster_file());
    ASSERT_TRUE(daemon.start());
    ASSERT_EQ(chmod(daemon.directory().c_str(), 0755), 0);
    EXPECT_EQ(fs::status(daemon.socket()).permissions() & fs::perms::others_all, fs::perms::none);
    EXPECT_EQ(fs::status(daemon.control()).permissions() & fs::perms::others_all, fs::perms::none);
    const Ipc_Ids ids = daemon.ipc_ids();
    for (int segment = 0; segment < 3; ++segment) {
        EXPECT_EQ(mode_of_segment(ids[static_cast<std::size_t>(segment)]) & 0007U, 0U) << segment;
    }
    EXPECT_EQ(mode_of_semaphores(ids[3]) & 0007U, 0U);
    EXPECT_EQ(fs::status(daemon.control()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    const Hbctl_End end = Public_Hbctl(GetParam().clients.back()).run(daemon, NOBODY, {"status"});
    EXPECT_EQ(end.exit_status, 1);
    EXPECT_EQ(end.errors, "hbctl: permission denied for the daemon's socket " + daemon.socket() +
                              ": run as root or as a member of wispd's group\n");
    EXPECT_TRUE(daemon.stop());
}

SYSTEM_TESTS(DefaultAccess);

} // namespace
} // namespace hb_test
