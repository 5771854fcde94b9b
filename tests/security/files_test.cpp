// What other accounts can do to the lock file, the keys and the semaphores of wispd.
#include <csignal>
#include <fstream>
#include <sched.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/security/roles.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using testing::HasSubstr;

// Uses separate segments and semaphores, so that tests and other programs do not disturb each other.
class FilesUnderAttack : public testing::Test {
  protected:
    void SetUp() override {
        HB_NEEDS_ROLES();
        if (unshare(CLONE_NEWIPC) != 0) {
            GTEST_SKIP() << "segments apart from those of other programs need a namespace of their own";
        }
        programs = std::make_unique<Public_Programs>(programs_of_this_build());
        daemon = std::make_unique<Daemon>(programs_of_this_build(), two_chains_file() +
                                                                        "[security]\n[daemon]\ngroup = \"" +
                                                                        std::to_string(CLIENT_GROUP) + "\"\n");
        ASSERT_EQ(chmod(daemon->directory().c_str(), 0755), 0);
    }

    // Starts a program that has printed the line and runs until its input ends.
    std::unique_ptr<Child_Process> attack(Role role, const std::vector<std::string> &words,
                                          const std::string &line) {
        std::unique_ptr<Child_Process> attacker = programs->start(role, words);
        const std::optional<std::string> said = attacker->read_line();
        EXPECT_TRUE(said && said->find(line) != std::string::npos)
            << said.value_or("nothing") << attacker->error_output();
        return attacker;
    }
    int semaphore(int number) const { return semctl(daemon->ipc_ids()[3], number, GETVAL); }
    bool routes_are_current() {
        return nlohmann::json::parse(daemon->tell(R"({"do":"state"})")).at("state").at("routes_current");
    }
    Ended hbctl(Role role, std::vector<std::string> words) const {
        words.insert(words.begin(), {"hbctl", "--socket", daemon->socket()});
        return programs->run(role, words);
    }

    std::unique_ptr<Public_Programs> programs;
    std::unique_ptr<Daemon> daemon;
};

// ---- The lock file ----

TEST_F(FilesUnderAttack, AnOutsiderCannotHoldTheLockOfAKilledDaemon) {
    ASSERT_TRUE(daemon->start());
    daemon->kill();
    const Ended held = programs->run(Role::outsider, {"hb_attack", "hold-lock", daemon->socket() + ".lock"});
    EXPECT_EQ(1, held.exit_status);
    EXPECT_EQ("cannot open it: Permission denied\n", held.output);
    ASSERT_TRUE(daemon->start());
    EXPECT_TRUE(daemon->stop());
}

TEST_F(FilesUnderAttack, ALockThatEverybodyCouldReadIsReplacedWhenAnOutsiderHoldsIt) {
    ASSERT_TRUE(daemon->start());
    daemon->kill();
    const std::string lock = daemon->socket() + ".lock";
    ASSERT_EQ(chmod(lock.c_str(), 0644), 0) << "as earlier versions made it";
    const auto attacker = attack(Role::outsider, {"hb_attack", "hold-lock", lock}, "held");
    ASSERT_TRUE(daemon->start());
    EXPECT_THAT(daemon->log(), HasSubstr("was held by process id " + std::to_string(attacker->pid()) +
                                         " (hb_attack) of user 65534, which cannot be wispd; replacing it"));
    EXPECT_THAT(daemon->log(), HasSubstr("removed 4 segments and semaphores"));
    EXPECT_TRUE(daemon->stop());
}

TEST_F(FilesUnderAttack, ASecondDaemonNamesTheProcessThatHoldsTheLock) {
    ASSERT_TRUE(daemon->start());
    // A number other than the process id of the lock's holder.
    std::ofstream(daemon->socket() + ".lock")
        << "pid 1\nsegments 0x00000001 0x00000002 0x00000003\nsemaphores 0x00000004\n";
    const Ended second =
        programs->run(Role::root, {"wispd", "--config", daemon->configuration_file(), "--socket",
                                   daemon->socket(), "--control", daemon->file("c"), "--foreground"});
    EXPECT_EQ(1, second.exit_status);
    EXPECT_THAT(second.errors,
                HasSubstr("wispd with process id " + std::to_string(daemon->pid()) + " is running already"));
    EXPECT_TRUE(daemon->stop());
}

// ---- The names ----

TEST_F(FilesUnderAttack, NamesAreForClientsAlone) {
    ASSERT_TRUE(daemon->start());
    EXPECT_EQ(hbctl(Role::client, {"route", "node8", "--shared"}).exit_status, 0);
    const std::string file = daemon->socket() + ".cluster";
    EXPECT_NE(programs->run(Role::outsider, {"cat", file}).exit_status, 0);
    EXPECT_NE(programs->run(Role::client, {"sh", "-c", "echo >> " + file}).exit_status, 0);
    EXPECT_TRUE(daemon->stop());
}

// Anyone can create files in a sticky directory, but cannot remove those of others.
TEST_F(FilesUnderAttack, NamesThatAnOutsiderPlantedAreNotUsed) {
    ASSERT_EQ(chmod(daemon->directory().c_str(), 01777), 0);
    const std::string file = daemon->socket() + ".cluster";
    const std::string names = R"({"format":1,"cluster":"c","version":"1","started":1,"engine":"none",)"
                              R"("nodes":{"7":"node8","8":"node7"}})";
    const Ended planted =
        programs->run(Role::outsider, {"sh", "-c", "umask 0; echo '" + names + "' > " + file});
    ASSERT_EQ(planted.exit_status, 0) << planted.errors;
    ASSERT_TRUE(daemon->start());
    EXPECT_THAT(daemon->log(),
                HasSubstr("cannot write " + file + ": " + file +
                          " belongs to user 65534; remove it; hbctl shows numbers without names"));
    for (const Role role : {Role::root, Role::client}) {
        const Ended end = hbctl(role, {"node-down", "node8"});
        EXPECT_EQ(end.exit_status, 1);
        EXPECT_THAT(end.errors, HasSubstr("no names are known: cannot read " + file));
    }
    EXPECT_EQ(unlink(file.c_str()), 0);
    EXPECT_TRUE(daemon->stop());
}

// ---- The keys ----

TEST_F(FilesUnderAttack, TakenKeysOfTheNextInodesDoNotKeepWispdFromStarting) {
    const auto attacker =
        attack(Role::outsider, {"hb_attack", "squat-keys", daemon->configuration_file(), "3000", "9000"},
               "12000 keys held");
    ASSERT_TRUE(daemon->start());
    EXPECT_THAT(daemon->log(), HasSubstr("inodes for " + daemon->socket() +
                                         " are used by segments or semaphores of other programs (most of "
                                         "them created by user 65534); using another inode"));
    EXPECT_EQ(0, hbctl(Role::client, {"route", "8", "--shared"}).exit_status);
    EXPECT_TRUE(daemon->stop()) << "no placeholder stays";
}

TEST_F(FilesUnderAttack, WhereAllSegmentsAreTakenWispdSaysByWhom) {
    std::ofstream limit("/proc/sys/kernel/shmmni");
    limit << "64" << std::endl;
    if (!limit) {
        GTEST_SKIP() << "the limit of segments cannot be set here";
    }
    const auto attacker = attack(
        Role::outsider, {"hb_attack", "squat-keys", daemon->configuration_file(), "100", "0"}, "64 keys held");
    EXPECT_FALSE(daemon->start());
    EXPECT_THAT(daemon->log(),
                HasSubstr("limit of segments or semaphores is reached; user 65534 owns 64 of 64"));
    EXPECT_EQ(daemon->files_left(), std::vector<std::string>());
}

// ---- The semaphores ----

TEST_F(FilesUnderAttack, AnOutsiderCannotAlterTheSemaphores) {
    ASSERT_TRUE(daemon->start());
    for (const char *number : {"0", "1"}) {
        const std::vector<std::string> words{"hb_attack", "set-semaphore", daemon->socket(), number, "1"};
        EXPECT_EQ("cannot set semaphore " + std::string(number) + ": Permission denied\n",
                  programs->run(Role::outsider, words).output);
    }
    EXPECT_TRUE(daemon->stop());
}

TEST_F(FilesUnderAttack, AWriterThatIsNoneHoldsReadersUpForAMomentOnly) {
    ASSERT_TRUE(daemon->start());
    EXPECT_EQ("set\n",
              programs->run(Role::client, {"hb_attack", "set-semaphore", daemon->socket(), "1", "1"}).output);
    EXPECT_EQ(0, hbctl(Role::client, {"route", "8", "--shared"}).exit_status);
    EXPECT_TRUE(wait_until([&] { return semaphore(1) == 0; }));
    EXPECT_TRUE(daemon->wait_logged("route semaphores were altered and have been reset: semaphore 1"));
    EXPECT_EQ("added\n",
              programs->run(Role::client, {"hb_attack", "add-semaphore", daemon->socket(), "1", "3"}).output);
    EXPECT_EQ(0, hbctl(Role::client, {"route", "8", "--shared"}).exit_status);
    EXPECT_TRUE(wait_until([&] { return semaphore(1) == 0; }));
    EXPECT_TRUE(daemon->stop());
}

TEST_F(FilesUnderAttack, ReadersThatAreNoneKeepNoRouteFromBeingPublished) {
    ASSERT_TRUE(daemon->start());
    // A program that has attached the segment. For all that wispd knows, it could be inside.
    const auto reader = programs->start(Role::other_client, {"hbctl", "--socket", daemon->socket(), "watch"});
    EXPECT_TRUE(reader->read_until("node")) << reader->error_output();
    const std::vector<std::vector<std::string>> ways = {
        {"hb_attack", "set-semaphore", daemon->socket(), "0", "5"},
        {"hb_attack", "set-semaphore", daemon->socket(), "0", "32767"},
        {"hb_attack", "add-semaphore", daemon->socket(), "0", "5"}};
    bool down = false;
    for (const std::vector<std::string> &words : ways) {
        EXPECT_EQ(0, programs->run(Role::client, words).exit_status);
        down = !down;
        EXPECT_TRUE(daemon->tells(down ? R"({"do":"adapter-down","adapter":1})"
                                       : R"({"do":"adapter-up","adapter":1})"));
        EXPECT_TRUE(wait_until([&] { return routes_are_current() && semaphore(0) == 0; }))
            << words[1] << words[4];
    }
    EXPECT_EQ(0, hbctl(Role::client, {"route", "8", "--shared"}).exit_status);
    reader->send_signal(SIGTERM);
    EXPECT_TRUE(reader->wait());
    EXPECT_TRUE(daemon->stop());
}

} // namespace
} // namespace hb_test
