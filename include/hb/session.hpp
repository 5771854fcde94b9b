// SPDX-License-Identifier: Apache-2.0
// hb/session.hpp - hb::session: the program's session with the heartbeat daemon, or with the cluster service
#ifndef HB_SESSION_HPP
#define HB_SESSION_HPP

#include <string_view>

#include "hb/event_mask.hpp"
#include "hb/requests.hpp"
#include "hb/result.hpp"
#include "hb/subscription.hpp"
#include "hb/text.hpp"

namespace hb {

// Opens the library, and closes it when it is destroyed. A process has one session: keep one object at a time. It can be
// moved, but not copied. A session that was moved from is closed.
//
// The queries are in hb/configuration.hpp, the control requests in hb/requests.hpp. Use the session from one thread at
// a time, as conventions 6 and 7 of hb_client.h say: a write to a daemon that has ended raises SIGPIPE.
class session : public requests {
  public:
    // Opens the library. Waits without limit while a daemon does not answer.
    // Errors: those of hb_init; 15 if no daemon listens.
    static result<session> open() {
        return detail::checked(hb_init()).transform([] { return session(true); });
    }

    // Opens the library on the operating system's cluster service, without a daemon. A daemon that it reaches is asked
    // to end, also for its other clients: see hb_migrate_to_mox_commit.
    // Errors: 17, 63, 64, 65, 74 of the cluster service.
    static result<session> open_on_service() {
        // Without a daemon there is nothing to leave. From the first commit on, the service is the source.
        hb_migrate_to_mox_commit();
        result<session> opened = open();
        if (opened) {
            const result<void> prepared = opened->prepare_migration();
            if (!prepared) {
                return prepared.error();
            }
            hb_migrate_to_mox_commit();
        }
        return opened;
    }

    session(session &&other) noexcept : requests(other.is_open()) { other.set_open(false); }
    session &operator=(session &&other) noexcept {
        if (this != &other) {
            // Closing would close the other one as well, since the process has one session.
            set_open(is_open() || other.is_open());
            other.set_open(false);
        }
        return *this;
    }
    session(const session &) = delete;
    session &operator=(const session &) = delete;
    ~session() { close(); }

    // Closes the library. Its descriptors and subscriptions end. Does nothing if the session is closed.
    void close() noexcept {
        if (is_open()) {
            set_open(false);
            hb_terminate();
        }
    }

    // Closes the library and opens it again, as is needed after HB_ERROR_DISCONNECTED or HB_ERROR_RECEIVE_FAILED. Then
    // subscribe again, and refresh the event sources. After a failure the session is closed; reopen() may be called
    // again, after a pause.
    result<void> reopen() {
        close();
        const result<void> opened = detail::checked(hb_init());
        set_open(opened.has_value());
        return opened;
    }

    // ---- Subscribing ----

    // Subscribes to events of these members, under a name of at most 31 bytes; a longer one is cut.
    // Errors: 4 the mask is empty, 11 the set is empty, 16, 18, 21, 22 sending failed, 59 in cluster-event mode.
    result<void> subscribe(std::string_view name, subscription members, event_mask events) {
        subscription_name copy(name);
        return request(hb_subscribe, copy.data(), &members.native(), static_cast<int>(events));
    }

    // Ends the subscription of that name. Errors: 16, 18, 21, 22 sending failed.
    result<void> unsubscribe(std::string_view name) {
        const subscription_name copy(name);
        return request(hb_unsubscribe, copy.c_str());
    }

    // ---- The move to cluster-event mode ----

    // Prepares the move from the daemon to the cluster service. The session with the daemon continues.
    // Errors: 17; 63, 64, 65, 74, 75 of the cluster service. If the two disagree about the local node, the call fails
    // and sets no number: the error is then that of an earlier failure.
    result<void> prepare_migration() { return request(hb_migrate_to_mox_prep); }

    // Moves to the cluster service. Differences are reported as events. Refresh the event sources afterwards.
    result<void> commit_migration() { return request(hb_migrate_to_mox_commit); }

    // Cancels the preparation.
    result<void> abort_migration() { return request(hb_migrate_to_mox_abort); }

    // Reports, in cluster-event mode, that a message has arrived from a node, which is therefore alive.
    // Errors: 59 the event could not be signalled.
    result<void> message_received_from(node_number node) { return request(hb_mox_msg_received_from, node); }

  private:
    explicit session(bool is_open) noexcept : requests(is_open) {}
};

} // namespace hb

#endif
