// SPDX-License-Identifier: Apache-2.0
#include "tests/support/daemon_segments.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <system_error>

#include "tests/support/leftovers.h"

namespace hb_test {
namespace {

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

key_t key_of(const std::string &path, int project) {
    const key_t key = ftok(path.c_str(), project);
    if (key == -1) {
        fail("ftok");
    }
    return key;
}

} // namespace

Segments_Plan segments_for(int number_of_nodes, int number_of_adapters) {
    Segments_Plan plan;
    plan.configuration.size = 12;
    plan.configuration.content = Bytes().i32(1).i32(number_of_nodes).i32(number_of_adapters);
    plan.routes.size = static_cast<std::size_t>(number_of_nodes) * 184;
    plan.security.size = 3168;
    return plan;
}

Segments_Plan no_segments() {
    Segments_Plan plan = segments_for(1);
    plan.configuration.present = plan.routes.present = plan.security.present = plan.semaphores = false;
    return plan;
}

Daemon_Segments::Daemon_Segments(const std::string &path, const Segments_Plan &plan) {
    try {
        make(segments_[0], path, 103, plan.configuration);
        make(segments_[1], path, 104, plan.routes);
        make(segments_[2], path, 112, plan.security);
        make_semaphores(path, plan);
    } catch (...) {
        remove_all();
        throw;
    }
}

Daemon_Segments::~Daemon_Segments() {
    remove_all();
}

void Daemon_Segments::make(Segment &segment, const std::string &path, int project, const Segment_Plan &plan) {
    if (!plan.present) {
        return;
    }
    segment.id = shmget(key_of(path, project), plan.size, IPC_CREAT | IPC_EXCL | 0600);
    if (segment.id < 0) {
        fail("shmget");
    }
    note_made(Made::segment, segment.id);
    void *memory = shmat(segment.id, nullptr, 0);
    if (reinterpret_cast<intptr_t>(memory) == -1) {
        fail("shmat");
    }
    segment.memory = static_cast<char *>(memory);
    std::copy_n(plan.content.begin(), std::min(plan.content.size(), plan.size), segment.memory);

    shmid_ds settings{};
    shmctl(segment.id, IPC_STAT, &settings);
    settings.shm_perm.mode = static_cast<decltype(settings.shm_perm.mode)>(plan.mode);
    if (shmctl(segment.id, IPC_SET, &settings) != 0) {
        fail("shmctl");
    }
}

void Daemon_Segments::make_semaphores(const std::string &path, const Segments_Plan &plan) {
    if (!plan.semaphores) {
        return;
    }
    semaphores_ = semget(key_of(path, 105), plan.semaphore_count, IPC_CREAT | IPC_EXCL | plan.semaphore_mode);
    if (semaphores_ < 0) {
        fail("semget");
    }
    note_made(Made::semaphores, semaphores_);
}

void Daemon_Segments::remove(Segment &segment) {
    if (segment.memory != nullptr) {
        shmdt(segment.memory);
        segment.memory = nullptr;
    }
    if (segment.id >= 0) {
        shmctl(segment.id, IPC_RMID, nullptr);
        note_gone(Made::segment, segment.id);
        segment.id = -1;
    }
}

void Daemon_Segments::remove_all() {
    for (Segment &segment : segments_) {
        remove(segment);
    }
    if (semaphores_ >= 0) {
        semctl(semaphores_, 0, IPC_RMID);
        note_gone(Made::semaphores, semaphores_);
        semaphores_ = -1;
    }
}

} // namespace hb_test
