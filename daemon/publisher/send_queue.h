// What waits to be written to one client, bounded by its bytes.
#pragma once

#include <cstddef>
#include <deque>
#include <sys/uio.h>
#include <vector>

#include "daemon/publisher/packets.h"

namespace wispd {

class Send_Queue {
  public:
    explicit Send_Queue(std::size_t limit) : limit_(limit) {}

    // False when it would take the queue beyond its limit; the queue is then as it was.
    bool push(const Packet_Head &head, Body body);

    // What to write next, at most `most` pieces. Stays valid until consume or clear, also
    // while more is pushed.
    std::vector<iovec> front(std::size_t most) const;
    // Drops what was written.
    void consume(std::size_t bytes);
    void clear();
    void set_limit(std::size_t limit) { limit_ = limit; }

    std::size_t bytes() const { return bytes_; }
    bool empty() const { return packets_.empty(); }

  private:
    struct Outgoing {
        Packet_Head head;
        Body body;
        std::size_t size() const { return head.size() + body->size(); }
    };

    std::deque<Outgoing> packets_;
    std::size_t limit_;
    std::size_t bytes_ = 0;   // not yet written
    std::size_t written_ = 0; // of the first packet
};

} // namespace wispd
