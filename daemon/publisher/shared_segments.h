// The segments and semaphores that clients attach: configuration header, routes, security information.
//
// Their keys come from the socket's inode, of which only 16 bits count, so two sockets can get the same keys.
// What exists under a key is somebody else's unless the lock file proves that a killed wispd of this socket
// made it; what is somebody else's is left alone.
#ifndef WISPD_SHARED_SEGMENTS_H
#define WISPD_SHARED_SEGMENTS_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "daemon/model/routes.h"
#include "daemon/publisher/instance_lock.h"
#include "daemon/publisher/socket_file.h"
#include "lib/hb_wire.h"

namespace wispd {

struct Ipc_Keys {
    std::array<int32_t, 3> segments{};
    int32_t semaphores = 0;
};

// The keys that clients will derive from this path, which must exist.
Ipc_Keys keys_of(const std::string &socket_path);

// Removes what the record's process made, as far as that can be proven; gives how many objects. Who keeps a
// segment of it attached keeps neither keys nor valid routes.
int remove_left_behind(const Ipc_Record &record);

// Who is inside the route segment.
struct Readers {
    int count = 0;      // -1: it cannot be found out, errno says why
    pid_t last_pid = 0; // that went in or out
};

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

    // Keeps readers from entering the route segment; the system undoes it when the daemon dies. False, with the
    // reason in errno, when that cannot be.
    bool hold_readers();
    void let_readers_in();
    Readers readers_inside() const;
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
    bool make_semaphores();
    void drop_segment(std::size_t which);
    bool step(unsigned short semaphore, int by, int flags) const;

    Ipc_Keys keys_;
    Access access_;
    std::array<Segment, 3> segments_{};
    int semaphores_ = -1;
    std::size_t routes_used_ = 0; // records that have been written
};

} // namespace wispd

#endif
