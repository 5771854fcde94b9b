// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/send_queue.h"

#include <algorithm>

namespace wispd {

namespace {

// Adds the bytes after the first `skip` bytes. Reduces `skip` by the number of bytes skipped here.
void add_rest(std::vector<iovec> &pieces, const char *bytes, std::size_t size, std::size_t &skip) {
    const std::size_t skipped = std::min(skip, size);
    skip -= skipped;
    if (skipped < size) {
        // The iovec member is not const because it also serves reading. The bytes are never written.
        pieces.push_back({const_cast<char *>(bytes + skipped), size - skipped});
    }
}

} // namespace

bool Send_Queue::push(const Packet_Head &head, Body body) {
    const std::size_t size = head.size() + body->size();
    if (size > limit_ || bytes_ > limit_ - size) {
        return false;
    }
    packets_.push_back({head, std::move(body)});
    bytes_ += size;
    return true;
}

std::vector<iovec> Send_Queue::front(std::size_t most) const {
    std::vector<iovec> pieces;
    std::size_t skip = written_;
    for (const Outgoing &packet : packets_) {
        if (pieces.size() + 2 > most) {
            break;
        }
        add_rest(pieces, packet.head.data(), packet.head.size(), skip);
        add_rest(pieces, packet.body->data(), packet.body->size(), skip);
    }
    return pieces;
}

void Send_Queue::consume(std::size_t bytes) {
    bytes_ -= bytes;
    written_ += bytes;
    while (!packets_.empty() && written_ >= packets_.front().size()) {
        written_ -= packets_.front().size();
        packets_.pop_front();
    }
}

void Send_Queue::clear() {
    packets_.clear();
    bytes_ = 0;
    written_ = 0;
}

} // namespace wispd
