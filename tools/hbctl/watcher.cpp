#include "tools/hbctl/watcher.h"

#include <algorithm>
#include <utility>

#include "common/socket_path.h"
#include "hb_client.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

constexpr std::chrono::milliseconds FIRST_PAUSE{100};
constexpr std::chrono::milliseconds LONGEST_PAUSE{2000};

// Error numbers after which the connection is unusable.
bool means_loss(int error) {
    return error == HB_ERROR_RECEIVE_FAILED || error == HB_ERROR_DISCONNECTED || error == HB_ERROR_SEND_IO ||
           error == HB_ERROR_SEND_FAILED;
}

Wall_Time now() {
    return std::chrono::system_clock::now();
}

} // namespace

Watcher::Watcher(bool json, const Watch_Limits &limits)
    : json_(json), limits_(limits), socket_(common::socket_path_from_environment()),
      deadline_(limits.timeout ? deadline_after(*limits.timeout) : Deadline{}) {}

int Watcher::run(std::vector<Subscription_Request> requests) {
    connect(std::move(requests));
    do {
        if (is_time_to_migrate()) {
            migrate();
        }
    } while (read_one() == Next::go_on);
    hb_terminate();
    return exit_status_;
}

void Watcher::connect(std::vector<Subscription_Request> requests) {
    open_library();
    picture_ = read_picture();
    if (requests.empty()) {
        requests = everything();
    }
    for (Subscription_Request &request : requests) {
        subscriptions_.emplace_back(std::move(request));
    }
    subscribe();
    announce_start();
}

void Watcher::subscribe() {
    stream_.attach();
    for (Subscription &subscription : subscriptions_) {
        subscription.ask();
    }
}

Watcher::Next Watcher::read_one() {
    Event_Record event;
    switch (stream_.next(stop_.descriptor(), deadline_, picture_, event)) {
    case Arrival::event:
        failures_in_a_row_ = 0;
        show(event);
        if (limits_.count && shown_ >= *limits_.count) {
            return Next::end;
        }
        if (event.kind == HB_EVENT_CONFIG) {
            try {
                refresh_subscriptions();
            } catch (const Request_Failed &failure) {
                if (!means_loss(failure.number())) {
                    throw;
                }
                return handle_loss();
            }
        }
        return Next::go_on;
    case Arrival::dropped:
        complain("dropped an inconsistent event (sequence number " + std::to_string(event.sequence) + ")");
        return Next::go_on;
    case Arrival::lost:
        return handle_loss();
    case Arrival::failed:
        handle_failure();
        return Next::go_on;
    case Arrival::time_over:
    case Arrival::stopped:
    case Arrival::output_closed:
        break;
    }
    return Next::end;
}

void Watcher::show(const Event_Record &event) {
    say_line(json_ ? event_json(event) : event_text(event));
    ++shown_;
}

void Watcher::refresh_subscriptions() {
    for (Subscription &subscription : subscriptions_) {
        const std::string note = subscription.refresh();
        if (!note.empty()) {
            complain(note);
        }
    }
}

bool Watcher::is_time_to_migrate() const {
    return limits_.migrate_after && !migration_tried_ && shown_ >= *limits_.migrate_after;
}

// Subscribing again brings a report of the present members under the service's numbers.
void Watcher::migrate() {
    migration_tried_ = true;
    const Preparation preparation = prepare_migration();
    if (!preparation.succeeded()) {
        announce_migration("refused", preparation,
                           "not possible: " + obstacle_text(preparation) + "; staying with the daemon");
        return;
    }
    announce_migration("prepared", preparation,
                       "prepared: the cluster service knows this node and all nodes of the daemon");
    hb_migrate_to_mox_commit();
    announce_migration("committed", preparation,
                       "done: events now come from the cluster service; the daemon was asked to stop");
    stream_.attach_to_service();
    for (Subscription &subscription : subscriptions_) {
        subscription.ask();
    }
}

// Skips one event that cannot be processed. Ends the command when the service delivers no valid event any more.
void Watcher::handle_failure() {
    constexpr int too_many = 5;
    const std::string line = "cannot read an event of the cluster service";
    if (++failures_in_a_row_ >= too_many) {
        throw Request_Failed(line + ", several times in a row", hb_get_errno());
    }
    complain(line);
}

void Watcher::announce_migration(const std::string &step, const Preparation &preparation,
                                 const std::string &detail) const {
    say_line(json_ ? migration_step_json(now(), step, preparation) : notice_text(now(), "migration", detail));
}

Watcher::Next Watcher::handle_loss() {
    if (limits_.reconnect) {
        announce_loss();
        return reconnect();
    }
    complain("the heartbeat daemon at " + socket_ + " disconnected");
    exit_status_ = STATUS_FAILURE;
    return Next::end;
}

Watcher::Next Watcher::reconnect() {
    auto pause = FIRST_PAUSE;
    for (;;) {
        hb_terminate();
        Deadline until = deadline_after(pause);
        if (deadline_ && *deadline_ < *until) {
            until = deadline_;
        }
        std::vector<int> nobody;
        if (wait_for({}, stop_.descriptor(), until, nobody) != Wake::time_over || until == deadline_) {
            return Next::end;
        }
        if (try_to_reconnect()) {
            return Next::go_on;
        }
        pause = std::min(2 * pause, LONGEST_PAUSE);
    }
}

bool Watcher::try_to_reconnect() {
    try {
        open_library();
        picture_ = read_picture();
        subscribe();
    } catch (const Request_Failed &) {
        return false;
    }
    announce_return();
    return true;
}

void Watcher::announce_start() const {
    if (!json_) {
        put_line("watching " + socket_ + ": " + counts_text(count(picture_)));
        say_line(event_heading_text());
    }
}

void Watcher::announce_loss() const {
    say_line(json_ ? disconnected_json(now(), socket_)
                   : notice_text(now(), "disconnected",
                                 "the heartbeat daemon at " + socket_ + " disconnected; reconnecting"));
}

void Watcher::announce_return() const {
    const Counts counts = count(picture_);
    say_line(json_ ? reconnected_json(now(), Status_Report{socket_, picture_.local_node, counts, std::nullopt})
                   : notice_text(now(), "reconnected", counts_text(counts)));
}

} // namespace hbctl
