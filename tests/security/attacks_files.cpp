// SPDX-License-Identifier: Apache-2.0
// Attacks on wispd's objects in the system: its lock file, the keys of its segments, its semaphores.
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/security/attack.h"

namespace hb_test {
namespace {

const std::string &word(const Words &words, std::size_t index) {
    if (index >= words.size()) {
        throw std::runtime_error("a word is missing");
    }
    return words[index];
}

// ---- The lock file ----

int hold_lock(const Words &words) {
    const int file = open(word(words, 0).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return refused("cannot open it");
    }
    if (flock(file, LOCK_EX | LOCK_NB) != 0) {
        return refused("cannot lock it");
    }
    say("held");
    wait_for_end_of_input();
    return 0;
}

const Add_Attack HOLD_LOCK{{"hold-lock", "FILE: lock a file that can be read, until end of input", hold_lock}};

// ---- The memory ----

int open_memory(const Words &words) {
    const int memory = open(("/proc/" + word(words, 0) + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    if (memory < 0) {
        return refused("cannot open it");
    }
    say("open");
    return 0;
}

const Add_Attack OPEN_MEMORY{{"open-memory", "PROCESS: open the memory of a process, to read it", open_memory}};

// ---- The keys ----

// Objects for the keys that ftok() makes from inodes. The destructor removes all of them.
class Squatted_Keys {
  public:
    Squatted_Keys(const struct stat &file, unsigned before) : file_(file), before_(before) {}
    Squatted_Keys(const Squatted_Keys &) = delete;
    Squatted_Keys &operator=(const Squatted_Keys &) = delete;
    ~Squatted_Keys() {
        for (const int id : segments_) {
            shmctl(id, IPC_RMID, nullptr);
        }
        for (const int id : sets_) {
            semctl(id, 0, IPC_RMID);
        }
    }

    // The inode at this distance after the first one. The first one lies at a fixed distance before the file's.
    void take_segment(unsigned behind) {
        const int id = shmget(key('g', behind), 1, IPC_CREAT | IPC_EXCL | 0600);
        if (id >= 0) {
            segments_.push_back(id);
        }
    }
    void take_semaphores(unsigned behind) {
        const int id = semget(key('i', behind), 1, IPC_CREAT | IPC_EXCL | 0600);
        if (id >= 0) {
            sets_.push_back(id);
        }
    }
    std::size_t count() const { return segments_.size() + sets_.size(); }

  private:
    key_t key(unsigned project, unsigned behind) const {
        const auto inode = static_cast<unsigned>(file_.st_ino) - before_ + behind;
        return static_cast<key_t>((project << 24) | (static_cast<unsigned>(file_.st_dev & 0xFF) << 16) |
                                  (inode & 0xFFFF));
    }

    struct stat file_;
    unsigned before_;
    std::vector<int> segments_;
    std::vector<int> sets_;
};

int squat_keys(const Words &words) {
    struct stat file {};
    if (stat(word(words, 0).c_str(), &file) != 0) {
        return refused("cannot look at the file");
    }
    const auto segments = static_cast<unsigned>(std::stoul(word(words, 1)));
    const auto sets = static_cast<unsigned>(std::stoul(word(words, 2)));
    Squatted_Keys keys(file, (segments + sets) / 2);
    for (unsigned behind = 0; behind < segments; ++behind) {
        keys.take_segment(behind);
    }
    for (unsigned behind = segments; behind < segments + sets; ++behind) {
        keys.take_semaphores(behind);
    }
    say(std::to_string(keys.count()) + " keys held");
    wait_for_end_of_input();
    return 0;
}

const Add_Attack SQUAT_KEYS{{"squat-keys",
                             "FILE SEGMENTS SETS: take the keys of so many inodes around that of the file by "
                             "segments, and of so many more by semaphore sets, until end of input",
                             squat_keys}};

// ---- The semaphores ----

int set_of(const std::string &socket) {
    return semget(ftok(socket.c_str(), 'i'), 0, 0);
}

int set_semaphore(const Words &words) {
    const int set = set_of(word(words, 0));
    const int number = std::stoi(word(words, 1));
    const int value = std::stoi(word(words, 2));
    if (semctl(set, number, SETVAL, value) != 0) {
        return refused("cannot set semaphore " + std::to_string(number));
    }
    say("set");
    return 0;
}

const Add_Attack SET_SEMAPHORE{
    {"set-semaphore", "SOCKET NUMBER VALUE: set a semaphore of the socket's daemon", set_semaphore}};

int add_semaphore(const Words &words) {
    const int set = set_of(word(words, 0));
    sembuf add = {static_cast<unsigned short>(std::stoul(word(words, 1))),
                  static_cast<short>(std::stoi(word(words, 2))), IPC_NOWAIT};
    if (semop(set, &add, 1) != 0) {
        return refused("cannot add to the semaphore");
    }
    say("added");
    return 0;
}

const Add_Attack ADD_SEMAPHORE{
    {"add-semaphore", "SOCKET NUMBER BY: add to a semaphore, which the system does not undo", add_semaphore}};

} // namespace
} // namespace hb_test
