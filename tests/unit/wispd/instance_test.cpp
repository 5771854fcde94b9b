// SPDX-License-Identifier: Apache-2.0
// The daemon's objects in the system: socket files, the lock, segments and semaphores.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/publisher/instance_lock.h"
#include "daemon/publisher/left_behind.h"
#include "daemon/publisher/lock_holder.h"
#include "daemon/publisher/shared_segments.h"
#include "daemon/publisher/socket_claim.h"
#include "host/socket_file.h"
#include "host/start_failure.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/wispd/bytes_by_hand.h"
#include "tests/unit/wispd/log_fixture.h"
#include "tests/unit/wispd/segments_fixture.h"

namespace {

using testing::HasSubstr;
using wispd::Instance_Lock;
using wispd::Ipc_Keys;
using wispd::Ipc_Record;
using wispd::Shared_Segments;
using wispd::Socket_File;
using wispd::Start_Failure;
using wispd_test::hex;

template <typename Action> std::string failure_of(Action action) {
    try {
        action();
    } catch (const Start_Failure &error) {
        return error.what();
    }
    return "it succeeded";
}

bool exists(const std::string &path) {
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

class WispdInstance : public testing::Test {
  protected:
    hb_test::Temp_Dir directory_;
    std::string path_ = directory_.file("s");
};

// ---- Socket files ----

TEST_F(WispdInstance, SocketFileHasItsModeAndGoesWithItsOwner) {
    {
        const Socket_File file(path_, {static_cast<gid_t>(-1), 0600});
        struct stat status {};
        ASSERT_EQ(stat(path_.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600u);
    }
    EXPECT_FALSE(exists(path_));
}

TEST_F(WispdInstance, SocketFileThatWasReplacedIsLeftAlone) {
    {
        const Socket_File file(path_, {});
        std::filesystem::rename(path_, path_ + ".moved"); // its inode stays in use
        std::ofstream(path_) << "another";
    }
    EXPECT_TRUE(exists(path_));
}

TEST_F(WispdInstance, SocketNobodyListensOnIsCleared) {
    Socket_File file(path_, {});
    const std::string moved = path_ + ".kept";
    std::filesystem::rename(path_, moved);
    wispd::clear_socket_path(moved);
    EXPECT_FALSE(exists(moved));
    wispd::clear_socket_path(moved); // a missing file is also acceptable
}

TEST_F(WispdInstance, SocketSomebodyListensOnIsNotCleared) {
    Socket_File file(path_, {});
    file.listen();
    EXPECT_EQ(failure_of([&] { wispd::clear_socket_path(path_); }),
              "another process listens on " + path_ + "; stop it, or choose another path");
    EXPECT_TRUE(exists(path_));
}

TEST_F(WispdInstance, FileThatIsNoSocketIsNotCleared) {
    std::ofstream(path_) << "precious";
    EXPECT_EQ(failure_of([&] { wispd::clear_socket_path(path_); }),
              path_ + " exists and is not a socket; remove it or choose another path");
    EXPECT_TRUE(exists(path_));
}

TEST_F(WispdInstance, PathLongerThan107BytesIsRefused) {
    EXPECT_EQ(failure_of([] { wispd::check_socket_path(std::string(107, 'p'), "socket"); }), "it succeeded");
    EXPECT_THAT(failure_of([] { wispd::check_socket_path(std::string(108, 'p'), "socket"); }),
                HasSubstr("the socket path has 108 bytes, but a socket address holds at most 107"));
}

// ---- The lock ----

TEST(WispdIpcRecord, HasOneForm) {
    const Ipc_Record record{4711, {0x67001234, 0x68001234, -2}, 0x69001234};
    EXPECT_EQ(wispd::format_record(record),
              "pid 4711\nsegments 0x67001234 0x68001234 0xfffffffe\nsemaphores 0x69001234\n");
    EXPECT_EQ(
        wispd::parse_record("pid 4711\nsegments 0x67001234 0x68001234 0xfffffffe\nsemaphores 0x69001234\n"),
        record);
}

TEST(WispdIpcRecord, WhatIsNotWholeIsNoRecord) {
    const std::string whole = "pid 4711\nsegments 0x67001234 0x68001234 0xfffffffe\nsemaphores 0x69001234\n";
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(wispd::parse_record(whole.substr(0, size)).has_value()) << size;
    }
    EXPECT_FALSE(wispd::parse_record(whole + "x").has_value());
    EXPECT_FALSE(wispd::parse_record("pid -1" + whole.substr(8)).has_value());
}

// The record is only text in a file. The system reports which process holds the lock.
TEST_F(WispdInstance, SecondHolderIsToldWhoTheFirstIs) {
    Instance_Lock first(path_);
    first.write({4711, {1, 2, 3}, 4});
    EXPECT_THAT(failure_of([&] { const Instance_Lock second(path_); }),
                HasSubstr("process id " + std::to_string(getpid()) + " (wispd_unit_test) of user " +
                          std::to_string(getuid()) + " is running already: it holds " + path_));
}

TEST_F(WispdInstance, LockIsForItsOwnerAloneAlsoWhenItIsOldOrTheUmaskIsOpen) {
    const auto mode = [&] {
        struct stat status {};
        EXPECT_EQ(stat(path_.c_str(), &status), 0);
        return status.st_mode & 07777;
    };
    const mode_t before = umask(0);
    {
        const Instance_Lock lock(path_);
        EXPECT_EQ(mode(), 0600u);
    }
    umask(before);
    std::ofstream(path_).close();
    ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
    const Instance_Lock lock(path_);
    EXPECT_EQ(mode(), 0600u);
}

TEST_F(WispdInstance, FileThatIsNoLockIsLeftAsItIs) {
    std::ofstream(path_) << "precious";
    EXPECT_EQ(failure_of([&] { const Instance_Lock lock(path_); }),
              path_ + " exists and is not a lock file of wispd; move it away, or choose another socket path");
    std::ifstream file(path_);
    std::string content;
    std::getline(file, content);
    EXPECT_EQ(content, "precious");
}

TEST_F(WispdInstance, LockWithASecondNameOrOfAnotherKindIsRefused) {
    const std::string other = directory_.file("other");
    std::ofstream(other).close();
    ASSERT_EQ(link(other.c_str(), path_.c_str()), 0);
    EXPECT_THAT(failure_of([&] { const Instance_Lock lock(path_); }),
                HasSubstr("has 2 names (hard links); remove it"));
    EXPECT_TRUE(exists(other));
    std::filesystem::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_THAT(failure_of([&] { const Instance_Lock lock(path_); }), HasSubstr("is not a lock file of wispd"));
}

TEST_F(WispdInstance, LockGoesWithItsOwner) {
    { const Instance_Lock lock(path_); }
    EXPECT_FALSE(exists(path_));
    const Instance_Lock again(path_);
    EXPECT_FALSE(again.left_behind().has_value());
}

TEST_F(WispdInstance, LockOfAKilledHolderTellsWhatItLeft) {
    std::ofstream(path_) << "pid 4711\nsegments 0x00000001 0x00000002 0x00000003\nsemaphores 0x00000004\n";
    const Instance_Lock lock(path_);
    EXPECT_EQ(lock.left_behind(), (Ipc_Record{4711, {1, 2, 3}, 4}));
}

TEST_F(WispdInstance, LockThatIsALinkIsRefused) {
    std::filesystem::create_symlink(directory_.file("elsewhere"), path_);
    EXPECT_THAT(failure_of([&] { const Instance_Lock lock(path_); }), HasSubstr("cannot open the lock file"));
}

// ---- Segments and semaphores ----

using wispd_test::WispdSegments;

TEST_F(WispdSegments, HaveTheKeysAndSizesThatClientsExpect) {
    auto segments = Shared_Segments::create(keys_, {});
    ASSERT_TRUE(segments.has_value());
    EXPECT_EQ(status_of(segment('g')).shm_segsz, 12u);
    EXPECT_EQ(status_of(segment('h')).shm_segsz, 377016u) << "2049 records of 184 bytes";
    EXPECT_EQ(status_of(segment('p')).shm_segsz, 3168u);
    EXPECT_GE(semget(ftok(path_.c_str(), 'i'), 2, 0), 0);
}

TEST_F(WispdSegments, ModesFollowTheSockets) {
    {
        auto segments = Shared_Segments::create(keys_, {getgid(), 0660});
        ASSERT_TRUE(segments.has_value());
        EXPECT_EQ(status_of(segment('g')).shm_perm.mode & 0777, 0640);
        EXPECT_EQ(status_of(segment('p')).shm_perm.mode & 0777, 0640);
        EXPECT_EQ(status_of(segment('p')).shm_perm.gid, getgid());
        semid_ds status{};
        ASSERT_EQ(semctl(semget(ftok(path_.c_str(), 'i'), 2, 0), 0, IPC_STAT, &status), 0);
        EXPECT_EQ(status.sem_perm.mode & 0777, 0660);
        EXPECT_EQ(status.sem_perm.gid, getgid());
    }
    {
        auto segments = Shared_Segments::create(keys_, {static_cast<gid_t>(-1), 0666});
        ASSERT_TRUE(segments.has_value());
        EXPECT_EQ(status_of(segment('g')).shm_perm.mode & 0777, 0644);
        EXPECT_EQ(status_of(segment('p')).shm_perm.mode & 0777, 0640); // keys have their own mode
        semid_ds status{};
        ASSERT_EQ(semctl(semget(ftok(path_.c_str(), 'i'), 2, 0), 0, IPC_STAT, &status), 0);
        EXPECT_EQ(status.sem_perm.mode & 0777, 0660);
    }
    {
        auto segments = Shared_Segments::create(keys_, {static_cast<gid_t>(-1), 0600, 0600});
        ASSERT_TRUE(segments.has_value());
        EXPECT_EQ(status_of(segment('h')).shm_perm.mode & 0777, 0600);
        EXPECT_EQ(status_of(segment('p')).shm_perm.mode & 0777, 0600);
    }
}

// The system's flags of this process's mapping of the segment.
std::string mapping_flags(key_t key) {
    char name[32];
    std::snprintf(name, sizeof name, "/SYSV%08x", static_cast<unsigned>(key));
    std::ifstream maps("/proc/self/smaps");
    bool is_it = false;
    for (std::string line; std::getline(maps, line);) {
        is_it = is_it || line.find(name) != std::string::npos;
        if (is_it && line.rfind("VmFlags:", 0) == 0) {
            return line + " ";
        }
    }
    return "not found";
}

TEST_F(WispdSegments, KeysAreInNoCoreFile) {
    auto segments = Shared_Segments::create(keys_, {});
    ASSERT_TRUE(segments.has_value());
    EXPECT_THAT(mapping_flags(keys_.segments[2]), HasSubstr(" dd "));
    EXPECT_THAT(mapping_flags(keys_.segments[1]), testing::Not(HasSubstr(" dd ")));
}

TEST_F(WispdSegments, PublishTheSizeOfTheConfiguration) {
    auto segments = Shared_Segments::create(keys_, {});
    ASSERT_TRUE(segments.has_value());
    EXPECT_EQ(content('g'), hex("00000000 01080000 00000000"));
    segments->publish(6);
    EXPECT_EQ(content('g'), hex("00000000 01080000 06000000"));
    EXPECT_EQ(content('h'), std::vector<char>(377016));
    EXPECT_EQ(content('p'), std::vector<char>(3168));
}

TEST_F(WispdSegments, RouteSegmentIsTheSameForEveryConfiguration) {
    auto segments = Shared_Segments::create(keys_, {});
    ASSERT_TRUE(segments.has_value());
    const int before = segment('h');
    for (const int adapters : {6, 98352, 0}) {
        segments->publish(adapters);
        EXPECT_EQ(segment('h'), before);
        EXPECT_EQ(status_of(before).shm_perm.mode & SHM_DEST, 0);
    }
    EXPECT_EQ(content('g'), hex("00000000 01080000 00000000"));
}

// ---- A socket whose keys are free ----

// Segments of another user with the keys of the inodes near that of a file.
class Taken_Keys {
  public:
    explicit Taken_Keys(const std::string &path) {
        struct stat file {};
        EXPECT_EQ(stat(path.c_str(), &file), 0);
        for (ino_t inode = file.st_ino - 40; inode != file.st_ino + 40; ++inode) {
            const auto key = static_cast<key_t>(static_cast<unsigned>('h') << 24 |
                                                static_cast<unsigned>(file.st_dev & 0xFF) << 16 |
                                                static_cast<unsigned>(inode & 0xFFFF));
            ids_.push_back(shmget(key, 1, IPC_CREAT | IPC_EXCL | 0600));
        }
    }
    Taken_Keys(const Taken_Keys &) = delete;
    Taken_Keys &operator=(const Taken_Keys &) = delete;
    ~Taken_Keys() {
        for (const int id : ids_) {
            if (id >= 0) {
                shmctl(id, IPC_RMID, nullptr);
            }
        }
    }

  private:
    std::vector<int> ids_;
};

TEST_F(WispdInstance, SocketIsMadeUnderAnInodeWhoseKeysAreFree) {
    const wispd_test::Captured_Log log;
    std::ofstream(directory_.file("near")).close();
    const Taken_Keys taken(directory_.file("near"));
    std::ofstream(path_ + ".inode.7").close(); // as a killed daemon leaves it
    std::ofstream(path_ + ".inode.notes") << "precious";
    {
        Instance_Lock lock(directory_.file("lock"));
        const wispd::Claimed_Socket claimed = wispd::claim_socket(path_, {}, lock);
        EXPECT_GE(shmget(ftok(path_.c_str(), 'h'), 377016, 0), 0) << "under the keys that clients derive";
        EXPECT_FALSE(exists(path_ + ".inode.0"));
        EXPECT_FALSE(exists(path_ + ".inode.7"));
    }
    EXPECT_TRUE(exists(path_ + ".inode.notes"));
    EXPECT_FALSE(exists(path_));
    for (const std::string &line : log.lines()) {
        EXPECT_THAT(line, HasSubstr("using another inode"));
    }
}

// An earlier version of wispd made a segment with one record for each node of its configuration.
TEST_F(WispdSegments, SmallRouteSegmentOfAKilledDaemonIsRemovedAsWell) {
    const int id = shmget(ftok(path_.c_str(), 'h'), 8 * 184, IPC_CREAT | IPC_EXCL | 0600);
    ASSERT_GE(id, 0);
    EXPECT_EQ(wispd::remove_left_behind({getpid(), keys_.segments, keys_.semaphores}), 1);
    EXPECT_FALSE(in_use());
}

TEST_F(WispdSegments, AreGoneWithTheirOwner) {
    { const auto segments = Shared_Segments::create(keys_, {}); }
    EXPECT_FALSE(in_use());
}

TEST_F(WispdSegments, ForeignObjectsUnderAKeyAreLeftAlone) {
    for (int project : {'g', 'h', 'p'}) {
        const int foreign = shmget(ftok(path_.c_str(), project), 12, IPC_CREAT | IPC_EXCL | 0600);
        ASSERT_GE(foreign, 0);
        EXPECT_FALSE(Shared_Segments::create(keys_, {}).has_value());
        EXPECT_EQ(segment(project), foreign);
        shmctl(foreign, IPC_RMID, nullptr);
        EXPECT_FALSE(in_use());
    }
    const int foreign = semget(ftok(path_.c_str(), 'i'), 1, IPC_CREAT | IPC_EXCL | 0600);
    ASSERT_GE(foreign, 0);
    EXPECT_FALSE(Shared_Segments::create(keys_, {}).has_value());
    EXPECT_EQ(semctl(foreign, 0, IPC_RMID), 0);
    EXPECT_FALSE(in_use());
}

// The process that makes a set and ends without removing it, as a killed daemon does.
pid_t abandon(const Ipc_Keys &keys) {
    const pid_t child = fork();
    if (child == 0) {
        auto segments = Shared_Segments::create(keys, {});
        if (segments) {
            segments->write_routes(6, {});
            Hb_security_information security{};
            security.sequence_number = 7;
            security.current_sec_status.key.length = 52;
            std::memset(security.current_sec_status.key.value, 0x5A, 52);
            security.cache.keyCacheCount = 1;
            segments->publish_security(security);
        }
        _exit(segments.has_value() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return child;
}

TEST_F(WispdSegments, SetOfAKilledDaemonIsRemoved) {
    const pid_t maker = abandon(keys_);
    EXPECT_TRUE(in_use());
    EXPECT_EQ(wispd::remove_left_behind({maker, keys_.segments, keys_.semaphores}), 4);
    EXPECT_FALSE(in_use());
}

TEST_F(WispdSegments, SetThatSurvivingClientsAttachedIsRemovedAsWell) {
    const pid_t maker = abandon(keys_);
    void *attached = shmat(segment('g'), nullptr, SHM_RDONLY);
    EXPECT_EQ(wispd::remove_left_behind({maker, keys_.segments, keys_.semaphores}), 4);
    EXPECT_FALSE(in_use());
    EXPECT_TRUE(Shared_Segments::create(keys_, {}).has_value());
    shmdt(attached);
}

TEST_F(WispdSegments, SurvivingClientsKeepNeitherRoutesNorKeysOfAKilledDaemon) {
    const pid_t maker = abandon(keys_);
    const auto *header = static_cast<const char *>(shmat(segment('g'), nullptr, SHM_RDONLY));
    const auto *keys = static_cast<const char *>(shmat(segment('p'), nullptr, SHM_RDONLY));
    EXPECT_EQ(header[0], 6);
    EXPECT_EQ(keys[284 + 24], 0x5A);
    EXPECT_EQ(wispd::remove_left_behind({maker, keys_.segments, keys_.semaphores}), 4);
    EXPECT_EQ(std::vector<char>(header, header + 4), hex("00000000"));
    EXPECT_EQ(std::vector<char>(keys, keys + 4), hex("09000000"));
    EXPECT_EQ(std::vector<char>(keys + 4, keys + 3168), std::vector<char>(3164));
    shmdt(header);
    shmdt(keys);
}

TEST_F(WispdSegments, KeysOfADaemonKilledInARotationEndInAGenerationThatIsWhole) {
    const pid_t maker = abandon(keys_);
    auto *keys = static_cast<char *>(shmat(segment('p'), nullptr, 0));
    keys[0] = 8;
    EXPECT_EQ(wispd::remove_left_behind({maker, keys_.segments, keys_.semaphores}), 4);
    EXPECT_EQ(std::vector<char>(keys, keys + 8), hex("0b000000 00000000"));
    shmdt(keys);
}

TEST_F(WispdSegments, SetOfAnotherMakerIsLeftAlone) {
    const pid_t maker = abandon(keys_);
    EXPECT_EQ(wispd::remove_left_behind({maker + 1, keys_.segments, keys_.semaphores}), 0);
    EXPECT_TRUE(in_use());
    EXPECT_EQ(content('g')[0], 6);
    EXPECT_EQ(content('p')[284 + 24], 0x5A);
    EXPECT_EQ(wispd::remove_left_behind({maker, keys_.segments, keys_.semaphores}), 4);
}

TEST_F(WispdSegments, RecordWithoutKeysRemovesNothing) {
    EXPECT_EQ(wispd::remove_left_behind({getpid(), {0, 0, 0}, 0}), 0);
}

// Where the system hides other users' processes, nothing is known about a running wispd.
TEST(WispdLockHolder, MayBeWispdWhileItRunsAndIsHidden) {
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    const wispd::Lock_Holder hidden{child, "", {}};
    EXPECT_TRUE(hidden.may_be_wispd());
    EXPECT_EQ("process id " + std::to_string(child) + " (hidden by the system)", wispd::description(hidden));
    kill(child, SIGKILL);
    ASSERT_EQ(child, waitpid(child, nullptr, 0));
    EXPECT_FALSE(hidden.may_be_wispd());
    EXPECT_EQ("process id " + std::to_string(child) + " (ended)", wispd::description(hidden));
}

} // namespace
