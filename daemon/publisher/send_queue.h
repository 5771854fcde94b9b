// SPDX-License-Identifier: Apache-2.0
// The packets that wait to be written to one client, limited by their total size.
#pragma once

#include <cstddef>
#include <deque>
#include <span>
#include <sys/uio.h>

#include "daemon/publisher/packets.h"

namespace wispd {

class Send_Queue {
  public:
    explicit Send_Queue(std::size_t limit) : limit_(limit) {}

    // Returns false and leaves the queue unchanged if the packet would exceed the limit.
    bool push(const Packet_Head &head, Body body);

    // Fills in the next pieces to write and returns their number. They stay valid until consume() or clear(), even
    // if more packets are pushed.
    std::size_t front(std::span<iovec> pieces) const;
    // Removes `bytes` bytes that were written.
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
    std::size_t written_ = 0; // already written of the first packet
};

} // namespace wispd
