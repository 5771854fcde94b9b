// SPDX-License-Identifier: Apache-2.0
// hb/subscription_guard.hpp - hb::subscription_guard: ends a subscription at the end of a scope
#ifndef HB_SUBSCRIPTION_GUARD_HPP
#define HB_SUBSCRIPTION_GUARD_HPP

#include <string_view>
#include <utility>

#include "hb/session.hpp"
#include "hb/text.hpp"

namespace hb {

// Ends a subscription when it is destroyed. It can be moved, but not copied.
//
//     if (session.subscribe("nodes", members, hb::event_mask::death)) {
//         const hb::subscription_guard guard(session, "nodes");
//         ...
//     }
//
// The session must live longer than the guard, and must not be moved meanwhile. If the session is closed by then, the
// guard does nothing.
class subscription_guard {
  public:
    subscription_guard(session &owner, std::string_view name) noexcept : session_(&owner), name_(name) {}

    subscription_guard(subscription_guard &&other) noexcept
        : session_(std::exchange(other.session_, nullptr)), name_(other.name_) {}
    subscription_guard &operator=(subscription_guard &&other) noexcept {
        if (this != &other) {
            end();
            session_ = std::exchange(other.session_, nullptr);
            name_ = other.name_;
        }
        return *this;
    }
    subscription_guard(const subscription_guard &) = delete;
    subscription_guard &operator=(const subscription_guard &) = delete;
    ~subscription_guard() { end(); }

    // Ends the subscription now. If that fails, the connection is lost, and the subscription with it.
    void end() noexcept {
        if (session *owner = std::exchange(session_, nullptr); owner != nullptr) {
            (void)owner->unsubscribe(name_);
        }
    }

    // Keeps the subscription.
    void release() noexcept { session_ = nullptr; }

  private:
    session *session_;
    subscription_name name_;
};

} // namespace hb

#endif
