// SPDX-License-Identifier: Apache-2.0
// A socket whose keys are not in use yet, and the system's objects with these keys.
#pragma once

#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "daemon/publisher/shared_segments.h"
#include "host/socket_file.h"
#include "tests/support/temp_dir.h"

namespace wispd_test {

class WispdSegments : public testing::Test {
  protected:
    WispdSegments() : file_(path_, {}) {
        // If this inode's keys are in use, another inode is used, as the daemon does it.
        while (in_use()) {
            held_.push_back(std::move(file_));
            held_.back().set_aside(path_ + std::to_string(held_.size()));
            file_ = wispd::Socket_File(path_, {});
        }
        keys_ = wispd::keys_of(path_);
    }

    bool in_use() {
        for (int project : {'g', 'h', 'p'}) {
            if (shmget(ftok(path_.c_str(), project), 0, 0) >= 0) {
                return true;
            }
        }
        return semget(ftok(path_.c_str(), 'i'), 0, 0) >= 0;
    }

    int semaphores() { return semget(ftok(path_.c_str(), 'i'), 2, 0); }
    int semaphore(int number) { return semctl(semaphores(), number, GETVAL); }

    int segment(int project) { return shmget(ftok(path_.c_str(), project), 0, 0); }

    static shmid_ds status_of(int id) {
        shmid_ds status{};
        EXPECT_EQ(shmctl(id, IPC_STAT, &status), 0);
        return status;
    }

    std::vector<char> content(int project) {
        const int id = segment(project);
        void *address = shmat(id, nullptr, SHM_RDONLY);
        const auto *bytes = static_cast<const char *>(address);
        std::vector<char> copy(bytes, bytes + status_of(id).shm_segsz);
        shmdt(address);
        return copy;
    }

    hb_test::Temp_Dir directory_;
    std::string path_ = directory_.file("s");
    std::vector<wispd::Socket_File> held_;
    wispd::Socket_File file_;
    wispd::Ipc_Keys keys_;
};

} // namespace wispd_test
