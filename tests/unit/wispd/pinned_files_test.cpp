// SPDX-License-Identifier: Apache-2.0
// Files that other users could replace: pinned files, the directories around them, and the log file.
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/keyring.h"
#include "host/log_file.h"
#include "host/pinned_file.h"
#include "host/safe_directory.h"
#include "tests/support/temp_dir.h"

namespace {

using testing::HasSubstr;
using wispd::Pinned_File;
using wispd::why_unsafe;

constexpr uid_t SOMEBODY = 65534;

class WispdFiles : public testing::Test {
  protected:
    mode_t mode_of(const std::string &path) const {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }
    std::string log_failure() const {
        try {
            const wispd::Log_File file(path_);
            return "it succeeded";
        } catch (const std::runtime_error &error) {
            return error.what();
        }
    }

    hb_test::Temp_Dir directory_;
    std::string path_ = directory_.file("f");
};

// ---- Pinned files ----

TEST_F(WispdFiles, PinnedFileIsTheSameWhateverComesToItsPath) {
    std::ofstream(path_).close();
    ASSERT_EQ(chmod(path_.c_str(), 0600), 0);
    const Pinned_File file(path_);
    ASSERT_TRUE(file.exists());
    EXPECT_TRUE(file.is_at(path_));
    std::filesystem::rename(path_, path_ + ".moved");
    std::ofstream(path_).close();
    ASSERT_EQ(chmod(path_.c_str(), 0600), 0);
    EXPECT_FALSE(file.is_at(path_));
    EXPECT_TRUE(file.set_mode(0640));
    EXPECT_TRUE(file.set_group(getgid()));
    EXPECT_EQ(mode_of(path_ + ".moved"), 0640u);
    EXPECT_EQ(mode_of(path_), 0600u);
}

TEST_F(WispdFiles, PinnedLinkIsTheLink) {
    std::filesystem::create_symlink("/etc/passwd", path_);
    const Pinned_File file(path_);
    EXPECT_TRUE(S_ISLNK(file.status().st_mode));
}

TEST_F(WispdFiles, NothingIsPinnedWhereNothingIs) {
    const Pinned_File file(path_);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(file.exists());
    EXPECT_FALSE(file.is_at(path_));
}

// ---- Directories ----

TEST_F(WispdFiles, DirectoryThatOthersWriteToIsUnsafeUnlessItIsSticky) {
    EXPECT_EQ(why_unsafe(path_), "");
    for (const mode_t mode : {0777U, 0702U}) {
        ASSERT_EQ(chmod(directory_.path().c_str(), mode), 0);
        EXPECT_EQ(why_unsafe(path_),
                  "other users can write to the directory " + directory_.path() + ", which is not sticky");
        ASSERT_EQ(chmod(directory_.path().c_str(), mode | S_ISVTX), 0);
        EXPECT_EQ(why_unsafe(path_), "");
    }
}

TEST_F(WispdFiles, DirectoryOfAGroupIsUnsafeUnlessTheGroupIsRoots) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    ASSERT_EQ(chmod(directory_.path().c_str(), 0770), 0);
    EXPECT_EQ(why_unsafe(path_), "");
    ASSERT_EQ(chown(directory_.path().c_str(), 0, 65534), 0);
    EXPECT_THAT(why_unsafe(path_), HasSubstr("other users can write"));
}

TEST_F(WispdFiles, DirectoryOrLinkOfAnotherUserIsUnsafeAlsoFurtherUp) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    const std::string inner = directory_.file("inner");
    ASSERT_EQ(mkdir(inner.c_str(), 0755), 0);
    EXPECT_EQ(why_unsafe(inner + "/f"), "");
    const std::string link = directory_.file("link");
    std::filesystem::create_symlink(inner, link);
    EXPECT_EQ(why_unsafe(link + "/f"), "");
    ASSERT_EQ(lchown(link.c_str(), SOMEBODY, 0), 0);
    EXPECT_EQ(why_unsafe(link + "/f"), "the link " + link + " belongs to user 65534");
    ASSERT_EQ(chown(directory_.path().c_str(), SOMEBODY, 0), 0);
    EXPECT_EQ(why_unsafe(inner + "/f"), "the directory " + directory_.path() + " belongs to user 65534");
}

// ---- The log file ----

TEST_F(WispdFiles, LogFileHasItsModeWhateverTheUmask) {
    for (const mode_t mask : {0000U, 0077U}) {
        const mode_t before = umask(mask);
        { const wispd::Log_File file(path_); }
        umask(before);
        EXPECT_EQ(mode_of(path_), 0640u);
        std::filesystem::remove(path_);
    }
}

TEST_F(WispdFiles, LogFileThatOthersCouldWriteToIsTakenFromThem) {
    std::ofstream(path_) << "earlier\n";
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    { const wispd::Log_File file(path_); }
    EXPECT_EQ(mode_of(path_), 0644u);
    EXPECT_EQ(std::filesystem::file_size(path_), 8u);
}

TEST_F(WispdFiles, LogFileIsNoLinkAndNoDeviceAndHasOneName) {
    const std::string target = directory_.file("target");
    std::ofstream(target).close();
    std::filesystem::create_symlink(target, path_);
    EXPECT_EQ(log_failure(), "cannot log to " + path_ + ": it is a symbolic link; name the file itself");
    std::filesystem::remove(path_);
    ASSERT_EQ(link(target.c_str(), path_.c_str()), 0);
    EXPECT_EQ(log_failure(), "cannot log to " + path_ + ": it has more than one hard link");
    std::filesystem::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_THAT(log_failure(), HasSubstr("cannot log to " + path_)); // it does not wait for a reader
    EXPECT_EQ(std::filesystem::file_size(target), 0u);
}

TEST_F(WispdFiles, LogFileOfAnotherUserOrInTheReachOfOneIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    std::ofstream(path_).close();
    ASSERT_EQ(chown(path_.c_str(), SOMEBODY, 0), 0);
    EXPECT_EQ(log_failure(), "cannot log to " + path_ + ": it belongs to user 65534");
    ASSERT_EQ(chmod(directory_.path().c_str(), 0777), 0);
    EXPECT_THAT(log_failure(), HasSubstr("another user could replace it: other users can write"));
}

// ---- Memory ----

// The system's flags of the pages that contain the address.
std::string flags_of(const void *address) {
    const auto wanted = reinterpret_cast<unsigned long>(address);
    std::ifstream maps("/proc/self/smaps");
    bool is_it = false;
    for (std::string line; std::getline(maps, line);) {
        unsigned long first = 0, last = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx ", &first, &last) == 2) {
            is_it = first <= wanted && wanted < last;
        } else if (is_it && line.rfind("VmFlags:", 0) == 0) {
            return line + " ";
        }
    }
    return "not found";
}

TEST(WispdKeyMemory, IsInNoCoreFile) {
    const wispd::Keyring keyring({true, SEC_KEY_TYPE_HMAC_SHA256, 32, {}});
    EXPECT_THAT(flags_of(&keyring.content()), HasSubstr(" dd "));
    const int on_the_stack = 0;
    EXPECT_THAT(flags_of(&on_the_stack), testing::Not(HasSubstr(" dd ")));
}

} // namespace
