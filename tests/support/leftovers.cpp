// SPDX-License-Identifier: Apache-2.0
#include "tests/support/leftovers.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <new>
#include <set>
#include <sstream>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <system_error>

namespace hb_test {
namespace {

struct Entry {
    std::atomic<int> kind; // a Made; the slot is free while it is `nothing`
    int id;
    char path[256];
};
using Book = std::array<Entry, 256>;

Book *private_book() {
    static Book book{};
    return &book;
}

Book *current_book = private_book();
std::set<int> segments_of_before;

bool holds(const Entry &entry, Made kind, int id, const std::string &path) {
    return entry.kind == static_cast<int>(kind) && entry.id == id && path == entry.path;
}

std::string describe(const Entry &entry) {
    switch (static_cast<Made>(entry.kind.load())) {
    case Made::segment:
        return "shared segment " + std::to_string(entry.id);
    case Made::semaphores:
        return "semaphore set " + std::to_string(entry.id);
    case Made::directory:
        return std::string("directory ") + entry.path;
    case Made::nothing:
        break;
    }
    return {};
}

void remove(const Entry &entry) {
    std::error_code ignored;
    switch (static_cast<Made>(entry.kind.load())) {
    case Made::segment:
        shmctl(entry.id, IPC_RMID, nullptr);
        break;
    case Made::semaphores:
        semctl(entry.id, 0, IPC_RMID);
        break;
    case Made::directory:
        std::filesystem::remove_all(entry.path, ignored);
        break;
    case Made::nothing:
        break;
    }
}

bool noted(int segment) {
    for (const Entry &entry : *current_book) {
        if (holds(entry, Made::segment, segment, {})) {
            return true;
        }
    }
    return false;
}

void forget_all() {
    for (Entry &entry : *current_book) {
        entry.kind = static_cast<int>(Made::nothing);
    }
}

bool made_by(const Segment_Facts &segment, pid_t maker) {
    return segment.creator == maker && segments_of_before.count(segment.id) == 0;
}

} // namespace

void share_leftovers_book() {
    if (current_book != private_book()) {
        return;
    }
    void *memory = mmap(nullptr, sizeof(Book), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "mmap");
    }
    current_book = new (memory) Book{};
}

void note_made(Made kind, int id, const std::string &path) {
    for (Entry &entry : *current_book) {
        if (entry.kind == static_cast<int>(Made::nothing)) {
            entry.id = id;
            std::snprintf(entry.path, sizeof entry.path, "%s", path.c_str());
            entry.kind = static_cast<int>(kind);
            return;
        }
    }
    throw std::runtime_error("the book of leftovers is full");
}

void note_gone(Made kind, int id, const std::string &path) {
    for (Entry &entry : *current_book) {
        if (holds(entry, kind, id, path)) {
            entry.kind = static_cast<int>(Made::nothing);
            return;
        }
    }
}

std::vector<std::string> leftovers(pid_t maker) {
    std::vector<std::string> found;
    for (const Entry &entry : *current_book) {
        if (entry.kind != static_cast<int>(Made::nothing)) {
            found.push_back(describe(entry));
        }
    }
    for (const Segment_Facts &segment : list_segments()) {
        if (made_by(segment, maker) && !noted(segment.id)) {
            found.push_back("shared segment " + std::to_string(segment.id) + ", never noted");
        }
    }
    return found;
}

void remove_leftovers(pid_t maker) {
    for (const Entry &entry : *current_book) {
        remove(entry);
    }
    for (const Segment_Facts &segment : list_segments()) {
        if (made_by(segment, maker)) {
            shmctl(segment.id, IPC_RMID, nullptr);
        }
    }
    forget_all();
}

void open_leftovers_book() {
    forget_all();
    segments_of_before.clear();
    for (const Segment_Facts &segment : list_segments()) {
        segments_of_before.insert(segment.id);
    }
}

std::vector<Segment_Facts> list_segments() {
    std::vector<Segment_Facts> segments;
    std::ifstream table("/proc/sysvipc/shm");
    std::string line;
    std::getline(table, line); // the headings
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        Segment_Facts facts{};
        std::string permissions;
        std::string size;
        pid_t last = 0;
        if (fields >> facts.key >> facts.id >> permissions >> size >> facts.creator >> last >> facts.attached) {
            segments.push_back(facts);
        }
    }
    return segments;
}

bool semaphores_exist(int id) {
    return semctl(id, 0, GETVAL) >= 0 || (errno != EINVAL && errno != EIDRM);
}

} // namespace hb_test
