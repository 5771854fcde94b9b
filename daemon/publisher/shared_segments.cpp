// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/shared_segments.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>
#include <utility>

#include "daemon/publisher/ipc_users.h"
#include "daemon/publisher/security_record.h"
#include "daemon/publisher/segment_layout.h"
#include "daemon/publisher/shared_word.h"
#include "host/start_failure.h"
#include "host/text.h"

namespace wispd {

namespace {

// Every client that may connect may also read the segments.
mode_t read_mode(mode_t socket_mode) {
    return 0600 | ((socket_mode & 0020) << 1) | ((socket_mode & 0002) << 1);
}

// Members of the group count themselves in and out of the route segment. A wrong count keeps the daemon from
// publishing routes, and any member can cause it. Other users have no write access and read the routes without
// being counted.
mode_t alter_mode(mode_t socket_mode) {
    const mode_t readers = read_mode(socket_mode) & 0040;
    return 0600 | readers | (readers >> 1);
}

mode_t segment_mode(std::size_t which, const Access &access) {
    return which == SECURITY_SEGMENT ? access.key_mode : read_mode(access.socket_mode);
}

[[noreturn]] void fail(const char *what) {
    const int error = errno;
    const std::string advice = error == ENOSPC
                                   ? text(" (the system's limit of segments or semaphores is reached",
                                          most_segments(), "; see ipcs -l)")
                                   : std::string();
    throw Start_Failure(text("cannot create ", what, ": ", std::strerror(error), advice));
}

} // namespace

Ipc_Keys keys_of(const std::string &socket_path) {
    constexpr int projects[] = {HB_SHARED_MEM_PROJECT1, HB_SHARED_MEM_PROJECT2, HB_SHARED_MEM_PROJECT3,
                                HB_SHARED_SEM_PROJECT};
    key_t keys[4];
    for (std::size_t i = 0; i < 4; ++i) {
        keys[i] = ftok(socket_path.c_str(), projects[i]);
        if (keys[i] == -1) {
            throw Start_Failure(text("cannot derive a key from ", socket_path, ": ", std::strerror(errno)));
        }
    }
    return {{keys[0], keys[1], keys[2]}, keys[3]};
}

std::optional<Shared_Segments> Shared_Segments::create(const Ipc_Keys &keys, const Access &access) {
    Shared_Segments made(keys, access);
    for (std::size_t which : {ROUTE_SEGMENT, SECURITY_SEGMENT, CONFIGURATION_SEGMENT}) {
        if (!made.make_segment(which, segment_size(which))) {
            if (errno == EEXIST) {
                return std::nullopt;
            }
            fail("a shared segment");
        }
    }
    // The semaphores are created last and removed first. A segment then always exists that proves their
    // creator.
    if (!made.semaphores_.make(keys.semaphores, alter_mode(access.socket_mode), access.group)) {
        if (errno == EEXIST) {
            return std::nullopt;
        }
        fail("the semaphores");
    }
    auto *data = static_cast<Hb_memory_configuration_data *>(made.segments_[CONFIGURATION_SEGMENT].address);
    put_word(data->number_of_nodes, static_cast<uint32_t>(HB_NODE_SLOTS));
    return made;
}

Shared_Segments::Shared_Segments(Shared_Segments &&other) noexcept
    : keys_(other.keys_), access_(other.access_), segments_(std::exchange(other.segments_, {})),
      semaphores_(std::move(other.semaphores_)), routes_used_(other.routes_used_) {}

Shared_Segments::~Shared_Segments() {
    // create() reports its failure through errno.
    const int saved = errno;
    for (std::size_t which : {CONFIGURATION_SEGMENT, SECURITY_SEGMENT}) {
        if (segments_[which].address != nullptr) {
            invalidate_segment(which, segments_[which].address);
        }
    }
    semaphores_.remove();
    for (std::size_t which : {CONFIGURATION_SEGMENT, ROUTE_SEGMENT, SECURITY_SEGMENT}) {
        drop_segment(which);
    }
    errno = saved;
}

bool Shared_Segments::make_segment(std::size_t which, std::size_t size) {
    Segment &segment = segments_[which];
    segment.id = shmget(keys_.segments[which], size, static_cast<int>(IPC_CREAT | IPC_EXCL | 0600));
    if (segment.id < 0) {
        return false;
    }
    shmid_ds status{};
    if (shmctl(segment.id, IPC_STAT, &status) != 0) {
        return false;
    }
    status.shm_perm.mode = static_cast<unsigned short>(segment_mode(which, access_));
    if (access_.group != static_cast<gid_t>(-1)) {
        status.shm_perm.gid = access_.group;
    }
    if (shmctl(segment.id, IPC_SET, &status) != 0) {
        return false;
    }
    void *address = shmat(segment.id, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) {
        return false;
    }
    segment.address = address;
    if (which == SECURITY_SEGMENT) {
        madvise(address, size, MADV_DONTDUMP); // keep keys out of core files
    }
    return true;
}

void Shared_Segments::drop_segment(std::size_t which) {
    Segment &segment = segments_[which];
    if (segment.address != nullptr) {
        shmdt(segment.address);
    }
    if (segment.id >= 0) {
        shmctl(segment.id, IPC_RMID, nullptr);
    }
    segment = {};
}

void Shared_Segments::publish(int adapters) {
    auto *data = static_cast<Hb_memory_configuration_data *>(segments_[CONFIGURATION_SEGMENT].address);
    // Clients read the number without a lock.
    put_word(data->number_of_adapters, static_cast<uint32_t>(adapters));
}

// ---- Routes ----

bool Shared_Segments::others_attached() const {
    shmid_ds status{};
    return shmctl(segments_[ROUTE_SEGMENT].id, IPC_STAT, &status) != 0 || status.shm_nattch > 1;
}

void Shared_Segments::write_routes(Hb_Sequence_Number sequence, const Routes &routes) {
    auto *records = static_cast<Hb_route_sequence *>(segments_[ROUTE_SEGMENT].address);
    // Later records have never been written and are therefore invalid.
    routes_used_ = std::min<std::size_t>(std::max(routes_used_, routes.size()), HB_NODE_SLOTS);
    const Node_Route no_route;
    for (std::size_t node = 0; node < routes_used_; ++node) {
        Hb_route_sequence &record = records[node];
        const Node_Route &route = node < routes.size() ? routes[node] : no_route;
        put_word(record.sequence_number, Hb_Sequence_Number{0});
        std::atomic_thread_fence(std::memory_order_release);
        record.length = route.length;
        record.nonip = route.is_ip ? 0 : 1;
        record.ip_option = route.hops;
        std::atomic_thread_fence(std::memory_order_release);
        // The record of a node without a route stays invalid.
        put_word(record.sequence_number, route.length > 0 ? sequence : 0);
    }
    auto *data = static_cast<Hb_memory_configuration_data *>(segments_[CONFIGURATION_SEGMENT].address);
    std::atomic_ref(data->sequence_number).store(sequence, std::memory_order_seq_cst);
}

// ---- Keys ----

void Shared_Segments::publish_security(const Hb_security_information &content) {
    write_security(*static_cast<Hb_security_information *>(segments_[SECURITY_SEGMENT].address), content);
}

} // namespace wispd
