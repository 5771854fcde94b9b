// SPDX-License-Identifier: Apache-2.0
// How other accounts, and the caller's environment, can affect the paths that wispd uses.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/security/roles.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using testing::HasSubstr;

std::string content_of(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

mode_t mode_of(const std::string &path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class PathsUnderAttack : public testing::Test {
  protected:
    void SetUp() override {
        HB_NEEDS_ROLES();
        programs = std::make_unique<Public_Programs>(programs_of_this_build());
        daemon = std::make_unique<Daemon>(programs_of_this_build(), small_cluster_file());
        ASSERT_EQ(chmod(daemon->directory().c_str(), 0755), 0);
    }

    std::vector<std::string> wispd_line() const {
        return {programs->path("wispd"), "--config",    daemon->configuration_file(), "--socket",
                daemon->socket(),        "--foreground"};
    }
    // Runs a wispd that must refuse to start.
    Ended refusal(const std::vector<std::string> &words) const { return programs->run(Role::root, words); }
    Ended refusal() const { return refusal(wispd_line()); }
    // The same command, after these commands of a shell.
    std::unique_ptr<Child_Process> start_behind(const std::string &script, Role role = Role::root) const {
        std::vector<std::string> words{"sh", "-c", script + "; exec \"$@\"", "sh"};
        const std::vector<std::string> line = wispd_line();
        words.insert(words.end(), line.begin(), line.end());
        return programs->start(role, words);
    }
    bool serves() const {
        return wait_until([&] {
            return programs->run(Role::root, {"wispctl", "--socket", daemon->socket(), "state"}).exit_status ==
                   0;
        });
    }
    void end(Child_Process &wispd) const {
        wispd.send_signal(SIGTERM);
        const std::optional<Child_End> ended = wispd.wait();
        EXPECT_TRUE(ended && ended->exit_status == 0) << wispd.error_output();
    }

    std::unique_ptr<Public_Programs> programs;
    std::unique_ptr<Daemon> daemon;
};

TEST_F(PathsUnderAttack, ADirectoryWhereOthersCouldExchangeTheSocketIsRefused) {
    ASSERT_EQ(chmod(daemon->directory().c_str(), 0777), 0);
    const Ended refused = refusal();
    EXPECT_EQ(1, refused.exit_status);
    EXPECT_THAT(refused.errors, HasSubstr("another user could replace " + daemon->socket() +
                                          ": other users can write to the directory " + daemon->directory() +
                                          ", which is not sticky"));
    ASSERT_EQ(chmod(daemon->directory().c_str(), 01777), 0);
    ASSERT_TRUE(daemon->start());
    const Ended moved = programs->run(Role::outsider, {"mv", daemon->socket(), daemon->socket() + ".mine"});
    EXPECT_NE(0, moved.exit_status) << "nobody else moves a file out of a sticky directory";
    EXPECT_TRUE(daemon->stop());
}

// Acts like `setfacl -m u:64001:rwx`. In the mode, the list's mask then appears as the bits of root's group.
TEST_F(PathsUnderAttack, ADirectoryWithAnAccessListForAClientIsRefused) {
    struct Entry {
        uint16_t tag;
        uint16_t permissions;
        uint32_t id;
    };
    struct {
        uint32_t version = 2;
        Entry entries[5] = {{1, 7, 0xFFFFFFFF},
                            {2, 7, CLIENT_USER},
                            {4, 5, 0xFFFFFFFF},
                            {16, 7, 0xFFFFFFFF},
                            {32, 5, 0xFFFFFFFF}};
    } const list;
    if (setxattr(daemon->directory().c_str(), "system.posix_acl_access", &list, sizeof list, 0) != 0) {
        GTEST_SKIP() << "the file system of " << daemon->directory() << " has no access lists";
    }
    EXPECT_THAT(refusal().errors, HasSubstr("another user could replace"));
    EXPECT_EQ(0, removexattr(daemon->directory().c_str(), "system.posix_acl_access"));
}

TEST_F(PathsUnderAttack, AFileOfTheLocksNameIsNeitherOverwrittenNorRemoved) {
    const std::string lock = daemon->socket() + ".lock";
    for (const char *text : {"precious\n", "pid numbers of my machines, precious\n"}) {
        daemon->write_file("s.lock", text);
        EXPECT_THAT(refusal().errors, HasSubstr(lock + " exists and is not a lock file of wispd"));
        EXPECT_EQ(text, content_of(lock));
    }

    std::filesystem::remove(lock);
    ASSERT_EQ(chmod(daemon->directory().c_str(), 01777), 0);
    EXPECT_EQ(0, programs->run(Role::outsider, {"sh", "-c", "echo pid 1 > \"$1\"", "sh", lock}).exit_status);
    // The system itself may stop root from opening such a file with O_CREAT.
    EXPECT_THAT(refusal().errors, testing::AnyOf(HasSubstr("the lock file " + lock + " belongs to user 65534"),
                                                 HasSubstr("cannot open the lock file " + lock)));
    EXPECT_EQ("pid 1\n", content_of(lock));
}

TEST_F(PathsUnderAttack, ALogFileThatAnOutsiderLinkedIsNotWrittenTo) {
    const std::string target = daemon->file("target");
    daemon->write_file("target", "precious\n");
    const std::string place = daemon->file("logs");
    ASSERT_EQ(mkdir(place.c_str(), 0777), 0);
    ASSERT_EQ(chmod(place.c_str(), 01777), 0);
    daemon->write_configuration(small_cluster_file() + "\n[daemon]\nlog_file = \"" + place + "/log\"\n");
    ASSERT_EQ(0, programs->run(Role::outsider, {"ln", "-s", target, place + "/log"}).exit_status);
    const Ended refused = refusal();
    EXPECT_EQ(1, refused.exit_status);
    EXPECT_THAT(refused.errors, HasSubstr("cannot log to " + place + "/log: it is a symbolic link"));
    EXPECT_EQ("precious\n", content_of(target));
}

TEST_F(PathsUnderAttack, FilesHaveTheirModesWhateverTheUmask) {
    daemon->write_configuration(small_cluster_file() + "\n[daemon]\nlog_file = \"" + daemon->file("l") +
                                "\"\n");
    for (const char *mask : {"umask 0", "umask 0777"}) {
        const std::unique_ptr<Child_Process> wispd = start_behind(mask);
        ASSERT_TRUE(serves()) << wispd->error_output();
        EXPECT_EQ(0600U, mode_of(daemon->socket() + ".lock")) << mask;
        EXPECT_EQ(0660U, mode_of(daemon->socket())) << mask;
        EXPECT_EQ(0600U, mode_of(daemon->control())) << mask;
        EXPECT_EQ(0640U, mode_of(daemon->file("l"))) << mask;
        end(*wispd);
        std::filesystem::remove(daemon->file("l"));
    }
}

TEST_F(PathsUnderAttack, ClosedDescriptorsAreOpenedBeforeAnythingElse) {
    const std::unique_ptr<Child_Process> wispd = start_behind("exec <&- >&- 2>&-");
    ASSERT_TRUE(serves());
    for (const char *descriptor : {"0", "1", "2"}) {
        const std::string link = "/proc/" + std::to_string(wispd->pid()) + "/fd/" + descriptor;
        EXPECT_EQ("/dev/null", std::filesystem::read_symlink(link)) << descriptor;
    }
    end(*wispd);
}

TEST_F(PathsUnderAttack, AnotherProcessOfTheSameUserCannotReadItsMemory) {
    const uid_t user = static_cast<uid_t>(user_of(Role::client));
    ASSERT_EQ(chown(daemon->directory().c_str(), user, user), 0);
    const std::unique_ptr<Child_Process> wispd = start_behind("true", Role::client);
    ASSERT_TRUE(serves()) << wispd->error_output();
    const Ended opened =
        programs->run(Role::client, {"hb_attack", "open-memory", std::to_string(wispd->pid())});
    EXPECT_EQ(1, opened.exit_status);
    EXPECT_EQ("cannot open it: Permission denied\n", opened.output);
    end(*wispd);
    ASSERT_EQ(chown(daemon->directory().c_str(), 0, 0), 0);
}

} // namespace
} // namespace hb_test
