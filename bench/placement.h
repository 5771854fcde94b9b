// SPDX-License-Identifier: Apache-2.0
// Places processes on processors while the object exists. The scheduler puts a client and its server on one processor or
// on two, as it likes, and that decides more than all their work.
#pragma once

#include <filesystem>
#include <sched.h>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

class Placement {
  public:
    Placement() = default;
    Placement(const Placement &) = delete;
    Placement &operator=(const Placement &) = delete;
    ~Placement() {
        for (const auto &[thread, before] : before_) {
            sched_setaffinity(thread, sizeof before, &before);
        }
    }

    // Puts all threads of the process on the first or second processor (0 or 1) that they may use. A machine with one
    // processor has everything there.
    void put(pid_t process, int place) {
        for (const auto &entry :
             std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
            put_thread(std::stoi(entry.path().filename()), place);
        }
    }

  private:
    void put_thread(pid_t thread, int place) {
        cpu_set_t before;
        sched_getaffinity(thread, sizeof before, &before);
        before_.emplace_back(thread, before);
        cpu_set_t chosen;
        CPU_ZERO(&chosen);
        for (int processor = 0; processor < CPU_SETSIZE && place >= 0; ++processor) {
            if (CPU_ISSET(processor, &before)) {
                CPU_ZERO(&chosen);
                CPU_SET(processor, &chosen);
                --place;
            }
        }
        sched_setaffinity(thread, sizeof chosen, &chosen);
    }

    std::vector<std::pair<pid_t, cpu_set_t>> before_;
};
