// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/outbox.h"

#include <utility>

namespace wispd {

Outbox::Outbox(std::function<void()> before_sending)
    : before_sending_(std::move(before_sending)), turn_([this] { send_all(); }) {}

// A client that learns of a change in its event finds the matching routes in shared memory, so these come first.
void Outbox::send_all() {
    before_sending_();
    for (Sender *sender : waiting_) {
        sender->send_queued();
    }
    waiting_.clear();
}

} // namespace wispd
