// SPDX-License-Identifier: Apache-2.0
#include "tests/security/hostile_bytes.h"

#include <cerrno>
#include <cstring>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <system_error>

namespace hb_test {
namespace {

constexpr std::size_t NODES = 8;
constexpr std::size_t ROUTE_RECORD = 184;
constexpr std::size_t NODE = 1;
constexpr char NETWORK_NAME[] = "a\x1b[2J\x7f\xc2\x9b"
                                "31m\xe2\x80\xae\xff";

template <typename Number> std::string number(Number value) {
    return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}

std::string padded(std::string text, std::size_t size) {
    text.resize(size);
    return text;
}

std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// 6.6.6.6 in the form of an IPv6 address.
std::string address() {
    return zeros(10) + "\xff\xff\x06\x06\x06\x06";
}

std::string hops() {
    std::string all;
    for (int hop = 0; hop < 11; ++hop) {
        all += address();
    }
    return all;
}

std::string reply(int32_t kind, uint32_t value, const std::string &body) {
    const std::string record = number(kind) + zeros(52) + number(value) + zeros(48) + body;
    return number(static_cast<int32_t>(record.size())) + record;
}

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

std::string hostile_configuration() {
    std::string body = number(int16_t{1}) + zeros(2);
    for (const int32_t count : {8, 2, 1, 1}) { // node slots, adapter slots of a node, adapters, networks
        body += number(count);
    }
    body += address() + number(int16_t{0}) + padded("eth0", 38) + number(int32_t{2}) + number(int32_t{1});
    body += padded(NETWORK_NAME, 70) + padded("ether", 16);
    return reply(0, 0, body);
}

std::string hostile_route_reply(uint32_t count) {
    return reply(8, count, hops());
}

Hostile_Ipc::Hostile_Ipc(const std::string &path, uint16_t count) {
    try {
        const uint32_t generation = 1;
        const std::string record = number(generation) + number(count) + zeros(2) + hops();
        make(0, path, 'g', number(generation) + number(uint32_t{NODES}) + number(uint32_t{1}));
        make(1, path, 'h', padded(zeros(NODE * ROUTE_RECORD) + record, NODES * ROUTE_RECORD));
        make(2, path, 'p', zeros(3168));
        semaphores_ = semget(key_of(path, 'i'), 2, IPC_CREAT | IPC_EXCL | 0666);
        if (semaphores_ < 0) {
            fail("semget");
        }
    } catch (const std::exception &) {
        remove();
        throw;
    }
}

Hostile_Ipc::~Hostile_Ipc() {
    remove();
}

void Hostile_Ipc::make(std::size_t which, const std::string &path, int project, const std::string &content) {
    segments_[which] = shmget(key_of(path, project), content.size(), IPC_CREAT | IPC_EXCL | 0666);
    if (segments_[which] < 0) {
        fail("shmget");
    }
    void *memory = shmat(segments_[which], nullptr, 0);
    if (reinterpret_cast<intptr_t>(memory) == -1) {
        fail("shmat");
    }
    std::memcpy(memory, content.data(), content.size());
    shmdt(memory);
}

void Hostile_Ipc::remove() {
    for (const int id : segments_) {
        if (id >= 0) {
            shmctl(id, IPC_RMID, nullptr);
        }
    }
    if (semaphores_ >= 0) {
        semctl(semaphores_, 0, IPC_RMID);
    }
}

} // namespace hb_test
