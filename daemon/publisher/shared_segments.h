// The segments and semaphores that clients attach: configuration header, routes, security information.
//
// Their keys depend on only 16 bits of the socket's inode, so two sockets can have the same keys. An existing
// object belongs to another program unless the lock file proves that a killed wispd of this socket created it.
// Objects of other programs are left alone.
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
    // Creates all segments and semaphores. Returns nothing if an object already exists under one of the keys.
    // Throws Start_Failure for other errors.
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
    // Writes the routes. Call only while readers are held back and no reader is inside. A writer killed
    // meanwhile leaves no half-written route marked valid.
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
    std::size_t routes_used_ = 0; // number of records written so far
};

} // namespace wispd
