// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "cluster/description/config_error.h"
#include "cluster/description/named_file.h"
#include "tests/support/temp_dir.h"

namespace {

class WispdNamedFile : public testing::Test {
  protected:
    void write(const std::string &content, mode_t mode) const {
        std::ofstream(path_) << content;
        EXPECT_EQ(0, chmod(path_.c_str(), mode));
    }
    // Returns it without the path.
    std::string refusal() const {
        try {
            wispd::read_named_file(path_);
        } catch (const wispd::File_Error &error) {
            return std::string(error.what()).substr(path_.size());
        }
        return "it was read";
    }

    hb_test::Temp_Dir directory_;
    const std::string path_ = directory_.file("f");
};

TEST_F(WispdNamedFile, IsReadWhole) {
    const std::string content = std::string(100000, 'x') + "\0y\n";
    write(content, 0600);
    EXPECT_EQ(content, wispd::read_named_file(path_));
    write("", 0644);
    EXPECT_EQ("", wispd::read_named_file(path_));
}

TEST_F(WispdNamedFile, IsThere) {
    EXPECT_EQ(": cannot be opened: No such file or directory", refusal());
}

TEST_F(WispdNamedFile, IsWritableByItsOwnerAlone) {
    write("a", 0620);
    EXPECT_EQ(": has mode 0620, so other users can write to it; run chmod go-w", refusal());
    write("a", 0602);
    EXPECT_EQ(": has mode 0602, so other users can write to it; run chmod go-w", refusal());
    write("a", 0755);
    EXPECT_EQ("it was read", refusal());
}

TEST_F(WispdNamedFile, IsNoLinkNoDirectoryAndNoPipe) {
    ASSERT_EQ(0, symlink("/etc/passwd", path_.c_str()));
    EXPECT_EQ(": is a symbolic link; name the file it points to", refusal());
    ASSERT_EQ(0, unlink(path_.c_str()));
    ASSERT_EQ(0, mkdir(path_.c_str(), 0700));
    EXPECT_EQ(": is not a regular file", refusal());
    ASSERT_EQ(0, rmdir(path_.c_str()));
    ASSERT_EQ(0, mkfifo(path_.c_str(), 0600));
    EXPECT_EQ(": is not a regular file", refusal());
}

TEST_F(WispdNamedFile, IsNotMadeByTheKernel) {
    EXPECT_THROW(wispd::read_named_file("/proc/self/status"), wispd::File_Error);
}

TEST_F(WispdNamedFile, HasAtMost4Mebibytes) {
    write("", 0600);
    ASSERT_EQ(0, truncate(path_.c_str(), 4194304));
    EXPECT_EQ(4194304U, wispd::read_named_file(path_).size());
    ASSERT_EQ(0, truncate(path_.c_str(), 4194305));
    EXPECT_EQ(": has 4194305 bytes; at most 4194304 are permitted", refusal());
}

TEST_F(WispdNamedFile, BelongsToRootOrToThisProcess) {
    write("a", 0644);
    if (geteuid() != 0) {
        GTEST_SKIP() << "giving a file to another user needs root";
    }
    ASSERT_EQ(0, chown(path_.c_str(), 64001, 64001));
    EXPECT_EQ(": is owned by uid 64001; expected uid 0 or 0 (wispd's user)", refusal());
}

} // namespace
