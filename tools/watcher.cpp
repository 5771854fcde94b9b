#include "tools/watcher.h"

#include "hb_client.h"
#include "tools/daemon_path.h"
#include "tools/output.h"
#include "tools/read_picture.h"
#include "tools/render_json.h"
#include "tools/render_text.h"
#include "tools/request.h"

#include <algorithm>
#include <utility>

namespace hbctl {
namespace {

constexpr std::chrono::milliseconds first_pause{100};
constexpr std::chrono::milliseconds longest_pause{2000};

// Numbers that mean that the connection is no longer good for anything.
bool means_loss(int error) {
    return error == 12 || error == 16 || error == 21 || error == 22;
}

WallTime now() {
    return std::chrono::system_clock::now();
}

} // namespace

Watcher::Watcher(bool json, const WatchLimits &limits)
    : json_(json), limits_(limits), socket_(daemon_path()),
      deadline_(limits.timeout ? deadline_after(*limits.timeout) : Deadline{}) {}

int Watcher::run(std::vector<SubscriptionRequest> requests) {
    connect(std::move(requests));
    while (take_one() == Next::go_on) {
    }
    hb_terminate();
    return exit_status_;
}

void Watcher::connect(std::vector<SubscriptionRequest> requests) {
    open_library();
    picture_ = read_picture();
    if (requests.empty()) {
        requests = everything();
    }
    for (SubscriptionRequest &request : requests) {
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

Watcher::Next Watcher::take_one() {
    EventRecord event;
    switch (stream_.next(stop_.descriptor(), deadline_, picture_, event)) {
    case Arrival::event:
        show(event);
        if (limits_.count && shown_ >= *limits_.count) {
            return Next::end;
        }
        if (event.kind == HB_EVENT_CONFIG) {
            try {
                refresh_subscriptions();
            } catch (const RequestFailed &failure) {
                if (!means_loss(failure.number())) {
                    throw;
                }
                return handle_loss();
            }
        }
        return Next::go_on;
    case Arrival::dropped:
        complain("an event that does not hold together was dropped (sequence number " +
                 std::to_string(event.sequence) + ")");
        return Next::go_on;
    case Arrival::lost:
        return handle_loss();
    case Arrival::time_over:
    case Arrival::stopped:
    case Arrival::output_closed:
        break;
    }
    return Next::end;
}

void Watcher::show(const EventRecord &event) {
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

Watcher::Next Watcher::handle_loss() {
    if (limits_.reconnect) {
        announce_loss();
        return reconnect();
    }
    complain("the heartbeat daemon at " + socket_ + " has gone");
    exit_status_ = exit_failure;
    return Next::end;
}

Watcher::Next Watcher::reconnect() {
    auto pause = first_pause;
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
        pause = std::min(2 * pause, longest_pause);
    }
}

bool Watcher::try_to_reconnect() {
    try {
        open_library();
        picture_ = read_picture();
        subscribe();
    } catch (const RequestFailed &) {
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
    say_line(
        json_ ? disconnected_json(now(), socket_)
              : notice_text(now(), "disconnected",
                            "the heartbeat daemon at " + socket_ + " has gone; waiting for it to come back"));
}

void Watcher::announce_return() const {
    const Counts counts = count(picture_);
    say_line(json_ ? reconnected_json(now(), StatusReport{socket_, picture_.local_node, counts, std::nullopt})
                   : notice_text(now(), "reconnected", counts_text(counts)));
}

} // namespace hbctl
