// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/ipc_users.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include "daemon/publisher/semaphore_argument.h"
#include "host/text.h"

namespace wispd {

namespace {

using Counts = std::map<uid_t, std::size_t>;

Counts::const_iterator most(const Counts &counts) {
    return std::max_element(counts.begin(), counts.end(),
                            [](const auto &one, const auto &other) { return one.second < other.second; });
}

} // namespace

bool Ipc_Makers::note_segment(int32_t key) {
    const int id = shmget(key, 0, 0);
    shmid_ds status{};
    if (id >= 0 && shmctl(id, IPC_STAT, &status) == 0) {
        ++made_[status.shm_perm.cuid];
    }
    return id >= 0 || errno != ENOENT;
}

bool Ipc_Makers::note_semaphores(int32_t key) {
    const int id = semget(key, 0, 0);
    semid_ds status{};
    Semaphore_Argument argument{};
    argument.buf = &status;
    if (id >= 0 && semctl(id, 0, IPC_STAT, argument) == 0) {
        ++made_[status.sem_perm.cuid];
    }
    return id >= 0 || errno != ENOENT;
}

bool Ipc_Makers::any_under(const std::array<int32_t, 3> &segments, int32_t semaphores) {
    return std::any_of(segments.begin(), segments.end(), [this](int32_t key) { return note_segment(key); }) ||
           note_semaphores(semaphores);
}

std::optional<uid_t> Ipc_Makers::most_frequent() const {
    return made_.empty() ? std::nullopt : std::optional(most(made_)->first);
}

std::string most_segments() {
    Counts counts;
    std::size_t all = 0;
    std::ifstream list("/proc/sysvipc/shm");
    for (std::string line; std::getline(list, line);) {
        std::istringstream words(line);
        long long key = 0, id = 0, mode = 0, size = 0, maker = 0, last = 0, attached = 0;
        uid_t user = 0;
        if (words >> key >> id >> mode >> size >> maker >> last >> attached >> user) {
            ++counts[user];
            ++all;
        }
    }
    if (counts.empty()) {
        return {};
    }
    const auto holder = most(counts);
    return text("; user ", holder->first, " owns ", holder->second, " of ", all, " segments");
}

} // namespace wispd
