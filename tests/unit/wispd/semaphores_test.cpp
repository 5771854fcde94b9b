// SPDX-License-Identifier: Apache-2.0
// The semaphores as wispd creates them.
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/publisher/shared_segments.h"
#include "host/socket_file.h"
#include "tests/support/temp_dir.h"

namespace {

// A socket file whose keys are not in use.
class Fresh_Socket {
  public:
    Fresh_Socket() : path_(directory_.file("s")), file_(path_, {}) {
        while (in_use()) {
            held_.push_back(std::move(file_));
            held_.back().set_aside(path_ + std::to_string(held_.size()));
            file_ = wispd::Socket_File(path_, {});
        }
    }
    const std::string &path() const { return path_; }

  private:
    bool in_use() const {
        for (int project : {'g', 'h', 'p'}) {
            if (shmget(ftok(path_.c_str(), project), 0, 0) >= 0) {
                return true;
            }
        }
        return semget(ftok(path_.c_str(), 'i'), 0, 0) >= 0;
    }

    hb_test::Temp_Dir directory_;
    std::string path_;
    std::vector<wispd::Socket_File> held_;
    wispd::Socket_File file_;
};

TEST(WispdSemaphores, AreTwoAndZeroWhenTheyAreMade) {
    const Fresh_Socket socket;
    auto segments = wispd::Shared_Segments::create(wispd::keys_of(socket.path()), {});
    ASSERT_TRUE(segments.has_value());
    const int id = semget(ftok(socket.path().c_str(), 'i'), 2, 0);
    ASSERT_GE(id, 0);
    EXPECT_EQ(semctl(id, 0, GETVAL), 0);
    EXPECT_EQ(semctl(id, 1, GETVAL), 0);
    EXPECT_EQ(semctl(id, 2, GETVAL), -1) << "there is no third";
    segments->publish(6);
    EXPECT_EQ(semctl(id, 0, GETVAL), 0);
    EXPECT_EQ(semctl(id, 1, GETVAL), 0) << "a reader may enter";
}

} // namespace
