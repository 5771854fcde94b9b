// SPDX-License-Identifier: Apache-2.0
// Files that control requests name: which files an administrator can make wispd read, and what it reveals of
// them.
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/security/roles.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"
#include "tests/system/hbctl.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

constexpr char SECRET[] = "sesame_of_root";

class Named_Files : public testing::Test {
  protected:
    void SetUp() override {
        HB_NEEDS_ROLES();
        programs.emplace(programs_of_this_build());
        daemon.emplace(programs_of_this_build(), configuration());
        ASSERT_TRUE(daemon->start());
        ASSERT_EQ(0, chmod(daemon->directory().c_str(), 0755));
    }
    void TearDown() override {
        if (daemon) {
            EXPECT_TRUE(daemon->stop());
        }
    }

    // This group may use the control socket.
    static std::string configuration() {
        return small_cluster_file() + "[daemon]\ncontrol_group = \"" + std::to_string(CONTROL_GROUP) + "\"\n";
    }
    std::string write(const std::string &name, const std::string &content, mode_t mode = 0644,
                      uid_t owner = 0) {
        daemon->write_file(name, content);
        EXPECT_EQ(0, chown(daemon->file(name).c_str(), owner, owner));
        EXPECT_EQ(0, chmod(daemon->file(name).c_str(), mode));
        return daemon->file(name);
    }
    Ended wispctl(Role role, const std::vector<std::string> &words) {
        std::vector<std::string> line = {"wispctl", "--control", daemon->control()};
        line.insert(line.end(), words.begin(), words.end());
        return programs->run(role, line);
    }
    // The two verbs that name a file.
    void expect_refused(Role role, const std::string &path, const std::string &why) {
        for (const std::string verb : {"reconfigure", "play"}) {
            const Ended end = wispctl(role, {verb, path});
            EXPECT_EQ(1, end.exit_status) << verb << " " << path;
            EXPECT_EQ("wispctl: " + path + ": " + why + "\n", end.errors) << verb;
        }
    }

    std::optional<Public_Programs> programs;
    std::optional<Daemon> daemon;
};

TEST_F(Named_Files, NothingThatAFileHoldsIsSaidToAnAdministrator) {
    const std::string path = write("shadow", std::string(SECRET) + " = 1\n", 0600);
    expect_refused(Role::administrator, path, "rejected; only root and wispd's user can see the reason");
    for (const std::string verb : {"reconfigure", "play"}) {
        EXPECT_NE(std::string::npos, wispctl(Role::root, {verb, path}).errors.find(SECRET)) << verb;
    }
    EXPECT_EQ(std::string::npos, daemon->log().find(SECRET));
}

TEST_F(Named_Files, AnAdministratorIsToldOfNoValueThatDoesNotFitTheRunningCluster) {
    const std::string path = write("other.toml", replaced(configuration(), "local_node = 1", "local_node = 2"));
    expect_refused(Role::administrator, write("none.toml", ""),
                   "rejected; only root and wispd's user can see the reason");
    const Ended end = wispctl(Role::administrator, {"reconfigure", path});
    EXPECT_EQ("wispctl: " + path + ": rejected; only root and wispd's user can see the reason\n", end.errors);
    EXPECT_NE(std::string::npos, wispctl(Role::root, {"reconfigure", path}).errors.find("local_node"));
}

TEST_F(Named_Files, WhatAnAdministratorWroteIsNotLoaded) {
    const std::string own = write("own.toml", configuration(), 0644, ADMINISTRATOR_USER);
    expect_refused(Role::administrator, own, "is owned by uid 64004; expected uid 0 or 0 (wispd's user)");
    for (const mode_t mode : {mode_t{0664}, mode_t{0646}}) {
        const std::string open = write("open.toml", configuration(), mode);
        expect_refused(Role::root, open,
                       std::string("has mode ") + (mode == 0664 ? "0664" : "0646") +
                           ", so other users can write to it; run chmod go-w");
    }
    const std::string link = daemon->file("link.toml");
    ASSERT_EQ(0, symlink(daemon->configuration_file().c_str(), link.c_str()));
    expect_refused(Role::administrator, link, "is a symbolic link; name the file it points to");
    EXPECT_EQ(0, unlink(link.c_str()));
}

TEST_F(Named_Files, WhatIsNoFileOnADiskIsRefusedAtOnce) {
    const std::string pipe = daemon->file("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    for (const std::string &path :
         {pipe, std::string("/dev/zero"), std::string("/proc/kmsg"), std::string("/proc/self/environ"),
          std::string("/sys/kernel/uevent_seqnum"), daemon->directory(), daemon->socket()}) {
        if (access(path.c_str(), F_OK) == 0) {
            expect_refused(Role::administrator, path, "is not a regular file");
        }
    }
    EXPECT_EQ(0, unlink(pipe.c_str()));
}

TEST_F(Named_Files, ALargeFileIsNotRead) {
    const std::string path = write("large.toml", std::string(4 * 1024 * 1024, '\n') + "\n");
    expect_refused(Role::administrator, path, "has 4194305 bytes; at most 4194304 are permitted");
    EXPECT_EQ(0, truncate(path.c_str(), 4 * 1024 * 1024));
    EXPECT_NE(std::string::npos, wispctl(Role::root, {"reconfigure", path}).errors.find("[cluster]"));
}

TEST_F(Named_Files, AFileOfRootIsLoaded) {
    const std::string path = write("good.toml", replaced(configuration(), "net_b", "net_z"), 0600);
    EXPECT_EQ(0, wispctl(Role::administrator, {"reconfigure", path}).exit_status);
    EXPECT_NE(std::string::npos, wispctl(Role::administrator, {"state"}).output.find("net_z"));
    const std::string timeline =
        write("good_timeline.toml", "[[event]]\nafter = 0\ndo = \"node-down\"\nnode = 3\n");
    EXPECT_EQ(0, wispctl(Role::administrator, {"play", timeline}).exit_status);
    EXPECT_TRUE(daemon->wait_logged("timeline: node-down"));
}

TEST_F(Named_Files, EndpointsChangeBySighupAlone) {
    daemon->write_configuration(configuration() + "[[endpoint]]\nnode = 2\nport = 7000\npath = \"nobody\"\n");
    EXPECT_EQ(0, wispctl(Role::administrator, {"reconfigure"}).exit_status);
    EXPECT_TRUE(daemon->wait_logged(
        "[[endpoint]] tables not changed; put them into wispd's own configuration file and send SIGHUP"));
    const std::vector<std::string> multicast = {"multicast", "--port", "7000", "--nodes", "2", "hello"};
    EXPECT_EQ(0, run_hbctl(programs_of_this_build(), *daemon, multicast).exit_status);
    EXPECT_TRUE(daemon->wait_logged("no endpoint for nodes: 2"));
    EXPECT_EQ(std::string::npos, daemon->log().find("nobody"));

    daemon->send_signal(SIGHUP);
    EXPECT_TRUE(wait_until([&] {
        EXPECT_EQ(0, run_hbctl(programs_of_this_build(), *daemon, multicast).exit_status);
        return daemon->log().find("multicast to port 7000 of node 2 not delivered") != std::string::npos;
    }));
}

// ---- Parsing ----

TEST_F(Named_Files, DeepNestingIsRefusedBeforeItIsParsed) {
    std::string key = "a";
    for (int part = 0; part < 8000; ++part) {
        key += ".a";
    }
    constexpr int LEVELS = 60;
    std::string deep = "x = [\n";
    for (int level = 0; level < LEVELS; ++level) {
        deep += "{" + key + " = [\n";
    }
    deep += "1";
    for (int level = 0; level < LEVELS; ++level) {
        deep += "]}";
    }
    deep += "]\n";
    const std::string path = write("deep.toml", deep);
    for (const std::string verb : {"reconfigure", "play"}) {
        const Ended end = wispctl(Role::root, {verb, path});
        EXPECT_EQ(1, end.exit_status);
        EXPECT_NE(std::string::npos, end.errors.find("deep.toml:2:")) << end.errors;
        EXPECT_NE(std::string::npos, end.errors.find("deeper than 32 levels")) << end.errors;
    }
    EXPECT_TRUE(daemon->running());
}

TEST_F(Named_Files, OthersAreServedWhileAFileIsParsed) {
    daemon->write_configuration(full_cluster_file() + "\n[unknown]\n");
    const Stream loading(daemon->control());
    loading.send("{\"do\":\"reconfigure\"}\n");
    const std::string state = daemon->tell(R"({"do":"state"})");
    EXPECT_TRUE(state.starts_with(R"({"ok":true)")) << state.substr(0, 100);
    EXPECT_FALSE(wait_readable(loading.descriptor(), Deadline(std::chrono::milliseconds(0))))
        << "the file was parsed first";
    EXPECT_NE(std::string::npos, loading.read_line().find("unknown key 'unknown'"));
}

TEST_F(Named_Files, AKeyThatStandsInARequestTwiceIsRefused) {
    EXPECT_EQ(R"({"error":"'do' occurs twice in the line","ok":false})",
              daemon->tell(R"({"do":"state","do":"stop"})"));
    EXPECT_EQ(R"({"error":"'node' occurs twice in the line","ok":false})",
              daemon->tell(R"({"do":"node-down","node":2,"node":3})"));
    EXPECT_TRUE(daemon->running());
}

} // namespace
} // namespace hb_test
