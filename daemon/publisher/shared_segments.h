// The segments and semaphores that clients attach: configuration header, routes, security information.
//
// Their keys come from the socket's inode, of which only 16 bits count, so two sockets can get the same keys.
// What exists under a key is somebody else's unless the lock file proves that a killed wispd of this socket
// made it; what is somebody else's is left alone.
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

// The keys that clients will derive from this path, which must exist.
Ipc_Keys keys_of(const std::string &socket_path);

class Shared_Segments {
  public:
    // Empty when something exists under one of the keys already. Throws Start_Failure for other trouble.
    static std::optional<Shared_Segments> create(const Ipc_Keys &keys, const Access &access);

    Shared_Segments(Shared_Segments &&other) noexcept;
    Shared_Segments &operator=(Shared_Segments &&) = delete;
    ~Shared_Segments();

    // Publishes the number of configured adapters. The route segment has a record for every node number there can
    // be, whatever the configuration is.
    void publish(int adapters);

    Route_Semaphores &semaphores() { return semaphores_; }
    // Whether any other process has the route segment attached.
    bool others_attached() const;
    // Only while readers are held and nobody is inside. Killed in the middle it leaves no route that is valid
    // and half written.
    void write_routes(Hb_Sequence_Number sequence, const Routes &routes);

    // Readers of keys do not lock: a slot has the length 0 while its bytes change, and the generation is
    // another one while anything does.
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
    std::size_t routes_used_ = 0; // records that have been written
};

} // namespace wispd
