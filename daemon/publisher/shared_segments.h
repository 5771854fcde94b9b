// The segments and semaphores that clients attach: configuration header, routes, security information.
//
// Their keys come from the socket's inode, of which only 16 bits count, so two sockets can get the same keys.
// What exists under a key is somebody else's unless the lock file proves that a killed wispd of this socket
// made it; what is somebody else's is left alone.
#ifndef WISPD_SHARED_SEGMENTS_H
#define WISPD_SHARED_SEGMENTS_H

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "cluster/routes.h"
#include "daemon/publisher/instance_lock.h"
#include "host/socket_file.h"
#include "lib/wire/hb_wire.h"

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

// What the semaphores hold.
struct Semaphore_Values {
    int readers = -1; // -1: it cannot be found out
    int writer = -1;
    bool set_by_others = false; // another process has set a value, as no reader does, since this one last did
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
    // -1, with the reason in errno, when it cannot be found out.
    int readers_inside() const;
    Semaphore_Values semaphore_values() const;
    // Sets the semaphore to 0. What the system would undo at the end of a process is forgotten with it.
    void reset_readers() { reset(HB_SEM_READERS); }
    void reset_writer() { reset(HB_SEM_WRITER); }
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
    bool make_semaphores();
    void drop_segment(std::size_t which);
    bool step(unsigned short semaphore, int by, int flags) const;
    void reset(unsigned short semaphore);
    std::optional<time_t> time_of_setting() const;

    Ipc_Keys keys_;
    Access access_;
    std::array<Segment, 3> segments_{};
    int semaphores_ = -1;
    time_t set_at_ = 0;           // by this process, as the system noted it
    std::size_t routes_used_ = 0; // records that have been written
};

} // namespace wispd

#endif
