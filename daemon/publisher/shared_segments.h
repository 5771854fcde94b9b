// SPDX-License-Identifier: Apache-2.0
// The three shared segments that clients attach (sizes of the configuration, routes, security keys), and the
// semaphores that protect the routes.
//
// Their keys contain only 16 bits of the socket's inode, so two sockets can have the same keys. If an object
// with such a key exists, wispd assumes that another program owns it, and does not change it. The exception is
// an object that a killed wispd left behind: the lock file lists it (instance_lock.h).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "cluster/routes.h"
#include "daemon/publisher/route_semaphores.h"
#include "daemon/publisher/segment_layout.h"
#include "host/socket_file.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

struct Ipc_Keys {
    std::array<int32_t, SEGMENTS> segments{};
    int32_t semaphores = 0;
};

// Returns the keys that clients will derive from this path, which must exist.
Ipc_Keys keys_of(const std::string &socket_path);

class Shared_Segments {
  public:
    // Creates all segments and semaphores. Returns std::nullopt if a segment or semaphore set with one
    // of the keys already exists. Throws Start_Failure for other errors.
    static std::optional<Shared_Segments> create(const Ipc_Keys &keys, const Access &access);

    Shared_Segments(Shared_Segments &&other) noexcept;
    Shared_Segments &operator=(Shared_Segments &&) = delete;
    ~Shared_Segments();

    // Publishes the number of configured adapters. The number of node records does not depend on the
    // configuration.
    void publish(int adapters);

    Route_Semaphores &semaphores() { return semaphores_; }
    // Returns true if any other process has the route segment attached.
    bool others_attached() const;
    // Writes the routes. Call only while the semaphores block new readers, and after the last reader has
    // finished. If wispd is killed during the call, no half-written route is marked valid.
    void write_routes(Hb_Sequence_Number sequence, const Routes &routes);

    // Publishes the security information. Readers do not lock: a slot has length 0 while its bytes change, and
    // the generation changes with every write.
    void publish_security(const Hb_security_information &content);

  private:
    struct Segment {
        int id = -1;
        void *address = nullptr;
    };

    Shared_Segments(const Ipc_Keys &keys, const Access &access) : keys_(keys), access_(access) {}
    bool make_segment(std::size_t which, std::size_t size);
    void drop_segment(std::size_t which);

    Ipc_Keys keys_;
    Access access_;
    std::array<Segment, SEGMENTS> segments_{};
    Route_Semaphores semaphores_;
    std::size_t routes_used_ = 0; // all later records have never been written and are invalid
};

} // namespace wispd
