// SPDX-License-Identifier: Apache-2.0
// The file with the names: what is written, for which users, and what is in its way.
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "daemon/cluster_file_writer.h"
#include "tests/unit/wispd/log_fixture.h"

namespace {

namespace fs = std::filesystem;

using common::Cluster_File;
using common::read_cluster_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using wispd::Access;
using wispd::Cluster_File_Writer;

constexpr uid_t SOMEBODY = 65534;

Cluster_File content(const std::string &name) {
    return {"c", "1.0.0", std::chrono::system_clock::time_point(std::chrono::seconds(7)), "none", {{1, name}}};
}

class WispdNamesFile : public wispd_test::WispdLogged {
  protected:
    void begin(const Access &access = {}) { writer_ = std::make_unique<Cluster_File_Writer>(socket_, access); }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(directory_.path())) {
            names.push_back(entry.path().filename());
        }
        return names;
    }
    struct stat status() const {
        struct stat status {};
        EXPECT_EQ(lstat(path_.c_str(), &status), 0);
        return status;
    }
    std::string text() const {
        std::ostringstream all;
        all << std::ifstream(path_).rdbuf();
        return all.str();
    }
    // Whatever is in the way stays, and wispd logs it once, however often it tries.
    void expect_rejected(const std::string &why) {
        begin();
        writer_->write(content("alpha"));
        writer_->write(content("beta"));
        EXPECT_THAT(lines(), ElementsAre(HasSubstr("cannot write " + path_ + ": " + why +
                                                   "; hbctl shows numbers without names")));
    }

    hb_test::Temp_Dir directory_;
    const std::string socket_ = directory_.file("s");
    const std::string path_ = directory_.file("s.cluster");
    std::unique_ptr<Cluster_File_Writer> writer_;
};

TEST_F(WispdNamesFile, IsThereFromTheFirstWriteToTheEnd) {
    begin();
    EXPECT_THAT(files(), IsEmpty());
    writer_->write(content("alpha"));
    EXPECT_THAT(files(), ElementsAre("s.cluster"));
    EXPECT_THAT(read_cluster_file(socket_), Optional(content("alpha")));
    writer_.reset();
    EXPECT_THAT(files(), IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(WispdNamesFile, IsReplacedAsAWholeAndOnlyByOtherContent) {
    begin();
    writer_->write(content("alpha"));
    const std::ifstream reader(path_); // keeps the inode in use
    const ino_t first = status().st_ino;
    writer_->write(content("alpha"));
    EXPECT_EQ(status().st_ino, first);
    writer_->write(content("beta"));
    EXPECT_NE(status().st_ino, first);
    EXPECT_THAT(read_cluster_file(socket_), Optional(content("beta")));
    EXPECT_THAT(files(), ElementsAre("s.cluster"));
}

TEST_F(WispdNamesFile, IsReadableForTheUsersThatMayConnect) {
    const mode_t before = umask(0077);
    for (const auto &[socket_mode, mode] : {std::pair{0600U, 0600U}, {0660U, 0640U}, {0666U, 0644U}}) {
        begin(Access{.socket_mode = socket_mode});
        writer_->write(content("alpha"));
        EXPECT_EQ(status().st_mode & 07777, mode);
    }
    umask(before);
}

TEST_F(WispdNamesFile, HasTheGroupOfTheSocket) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can choose any group";
    }
    begin(Access{.group = SOMEBODY});
    writer_->write(content("alpha"));
    EXPECT_EQ(status().st_gid, SOMEBODY);
    EXPECT_EQ(status().st_uid, geteuid());
}

TEST_F(WispdNamesFile, ReplacesTheFilesOfAKilledWispd) {
    begin();
    writer_->write(content("alpha"));
    const std::string whole = text();
    writer_.reset();
    for (const std::string &left : {whole, std::string(), whole.substr(0, 40)}) {
        std::ofstream(path_) << whole;
        std::ofstream(path_ + ".new") << left;
        begin();
        writer_->write(content("beta"));
        EXPECT_THAT(read_cluster_file(socket_), Optional(content("beta")));
        EXPECT_THAT(files(), ElementsAre("s.cluster"));
        writer_.reset();
    }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(WispdNamesFile, ALinkInItsPlaceIsRejected) {
    std::ofstream(directory_.file("precious")) << "precious";
    fs::create_symlink(directory_.file("precious"), path_);
    expect_rejected(path_ + " is a symbolic link; remove it");
    writer_.reset();
    EXPECT_TRUE(fs::is_symlink(path_));
    EXPECT_EQ(text(), "precious");
}

TEST_F(WispdNamesFile, ALinkInThePlaceOfTheIncompleteFileIsRejected) {
    std::ofstream(directory_.file("precious")) << "precious";
    fs::create_symlink(directory_.file("precious"), path_ + ".new");
    expect_rejected(path_ + ".new is a symbolic link; remove it");
    EXPECT_TRUE(fs::is_symlink(path_ + ".new"));
    EXPECT_FALSE(fs::exists(path_));
}

TEST_F(WispdNamesFile, AFileOfAnotherUserIsRejected) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    std::ofstream(path_) << "{\n \"format\": 1}";
    ASSERT_EQ(chown(path_.c_str(), SOMEBODY, 0), 0);
    expect_rejected(path_ + " belongs to user 65534; remove it");
    writer_.reset();
    EXPECT_EQ(status().st_uid, SOMEBODY);
}

TEST_F(WispdNamesFile, AFileOfAnotherProgramIsRejected) {
    std::ofstream(path_) << "precious";
    expect_rejected(path_ + " exists and wispd did not write it; move it away");
    writer_.reset();
    EXPECT_EQ(text(), "precious");
}

TEST_F(WispdNamesFile, ADirectoryInItsPlaceIsRejected) {
    fs::create_directory(path_);
    expect_rejected(path_ + " exists and wispd did not write it; move it away");
    EXPECT_TRUE(fs::is_directory(path_));
}

TEST_F(WispdNamesFile, IsWrittenAgainWhenItsPlaceIsFree) {
    fs::create_directory(path_);
    begin();
    writer_->write(content("alpha"));
    fs::remove(path_);
    writer_->write(content("alpha"));
    EXPECT_THAT(read_cluster_file(socket_), Optional(content("alpha")));
}

TEST_F(WispdNamesFile, OldNamesDoNotStayWhereNewOnesCannotBeWritten) {
    begin();
    writer_->write(content("alpha"));
    fs::create_directory(path_ + ".new");
    writer_->write(content("beta"));
    EXPECT_FALSE(fs::exists(path_));
    EXPECT_EQ(lines().size(), 1U);
    fs::remove(path_ + ".new");
    writer_->write(content("beta"));
    EXPECT_THAT(read_cluster_file(socket_), Optional(content("beta")));
}

} // namespace
