// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/send_queue.h"

#include <algorithm>

namespace wispd {

namespace {

// Fills in the bytes after the first `skip` bytes, and returns the number of pieces that it filled in. Reduces `skip`
// by the number of bytes skipped here.
std::size_t put_rest(iovec &piece, const char *bytes, std::size_t size, std::size_t &skip) {
    const std::size_t skipped = std::min(skip, size);
    skip -= skipped;
    if (skipped == size) {
        return 0;
    }
    // The iovec member is not const because it also serves reading. The bytes are never written.
    piece = {const_cast<char *>(bytes + skipped), size - skipped};
    return 1;
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

std::size_t Send_Queue::front(std::span<iovec> pieces) const {
    std::size_t count = 0;
    std::size_t skip = written_;
    for (const Outgoing &packet : packets_) {
        if (count + 2 > pieces.size()) {
            break;
        }
        count += put_rest(pieces[count], packet.head.data(), packet.head.size(), skip);
        count += put_rest(pieces[count], packet.body->data(), packet.body->size(), skip);
    }
    return count;
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
