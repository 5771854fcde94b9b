// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/watcher.h"

#include <utility>

#include "common/no_answer.h"
#include "common/printable.h"
#include "common/socket_path.h"
#include "hb_client.h"
#include "tools/hbctl/event_environment.h"
#include "tools/hbctl/library_call.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/plain_text.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/retry_pause.h"
#include "tools/hbctl/text_width.h"
#include "tools/hbctl/time_limit.h"

namespace hbctl {
namespace {

Wall_Time now() {
    return std::chrono::system_clock::now();
}

} // namespace

Watcher::Watcher(bool json, const Watch_Limits &limits)
    : json_(json), limits_(limits),
      socket_(common::socket_path_from_environment()), style_{limits.dates, limits.short_lines},
      deadline_(limits.timeout ? deadline_after(*limits.timeout) : Deadline{}) {
    if (limits.command) {
        commands_.emplace(*limits.command);
    }
}

int Watcher::run(const std::vector<Subscription_Request> &requests) {
    if (connect(requests) == Next::go_on) {
        announce_start();
        follow();
        finish_commands();
    }
    hb_terminate();
    return exit_status_;
}

void Watcher::follow() {
    // A record whose end does not arrive must not hold the command beyond its time.
    const Time_Limit limit(deadline_, {"", STATUS_SUCCESS});
    do {
        if (is_time_to_migrate()) {
            migrate();
        }
    } while (read_one() == Next::go_on);
}

Watcher::Next Watcher::connect(const std::vector<Subscription_Request> &requests) {
    const bool has_limit = deadline_ || !limits_.wait;
    const Time_Limit limit(has_limit ? deadline_after(patience()) : Deadline{},
                           {"hbctl: " + common::no_answer_line(socket_, patience()), STATUS_FAILURE});
    Retry_Pause pauses;
    bool complained = false;
    for (;;) {
        try {
            open(requests);
            return Next::go_on;
        } catch (const Request_Failed &failure) {
            if (!limits_.wait || !is_absence(failure)) {
                throw;
            }
            if (!std::exchange(complained, true)) {
                complain(std::string(failure.what()) + "; waiting for it");
            }
            hb_terminate();
            if (pause(pauses.next()) != Wake::time_over) {
                return Next::end;
            }
            if (is_over(deadline_)) {
                throw;
            }
        }
    }
}

void Watcher::open(const std::vector<Subscription_Request> &requests) {
    const Library_Call call;
    open_library();
    picture_ = read_picture();
    subscriptions_.clear();
    for (const Subscription_Request &request : requests.empty() ? everything() : requests) {
        subscriptions_.emplace_back(request);
    }
    subscribe();
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
    case Arrival::answered:
        return Next::go_on;
    case Arrival::time_over:
    case Arrival::stopped:
    case Arrival::output_closed:
        break;
    }
    return Next::end;
}

void Watcher::show(const Event_Record &event) {
    if (commands_) {
        hand_over(event_json(event), event_environment(event));
    } else {
        say(event.time, json_ ? event_json(event) : event_text(event, style_));
    }
    ++shown_;
}

void Watcher::hand_over(const std::string &json, std::vector<std::string> environment) {
    if (!commands_->add({json + "\n", std::move(environment)})) {
        exit_status_ = STATUS_FAILURE;
        if (commands_->dropped() == 1) {
            complain(
                "the command is too slow: its queue is full, and events are dropped (HB_DROPPED counts them)");
        }
    }
}

// Waits for the last command, unless the command's time or the user ends the wait.
void Watcher::finish_commands() {
    if (!commands_) {
        return;
    }
    std::vector<int> ready;
    wait_for({commands_->close()}, stop_.descriptor(), deadline_, ready);
    if (const std::size_t left = commands_->left(); left > 0) {
        complain("ended while the command had not handled the last " + counted(left, "event"));
    }
}

void Watcher::refresh_subscriptions() {
    const Library_Call call;
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
    const Preparation preparation = [] {
        const Library_Call call;
        return prepare_migration();
    }();
    if (!preparation.succeeded()) {
        announce_migration("refused", preparation,
                           "not possible: " + obstacle_text(preparation) + "; staying with the daemon");
        return;
    }
    announce_migration("prepared", preparation,
                       "prepared: the cluster service knows this node and all nodes of the daemon");
    {
        const Library_Call call;
        hb_migrate_to_mox_commit();
    }
    announce_migration("committed", preparation,
                       "done: events now come from the cluster service; the daemon was asked to stop");
    const Library_Call call;
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
                                 const std::string &detail) {
    announce("migration", migration_step_json(now(), step, preparation), detail);
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
    for (Retry_Pause pauses;;) {
        hb_terminate();
        if (pause(pauses.next()) != Wake::time_over || is_over(deadline_)) {
            return Next::end;
        }
        if (try_to_reconnect()) {
            return Next::go_on;
        }
    }
}

// Returns time_over after the pause, or after the command's own time.
Wake Watcher::pause(std::chrono::milliseconds length) const {
    Deadline until = deadline_after(length);
    if (deadline_ && *deadline_ < *until) {
        until = deadline_;
    }
    std::vector<int> nobody;
    return wait_for({}, stop_.descriptor(), until, nobody);
}

// How long the daemon may leave the first connection without an answer.
std::chrono::milliseconds Watcher::patience() const {
    return limits_.timeout.value_or(common::DEFAULT_PATIENCE);
}

bool Watcher::try_to_reconnect() {
    try {
        const Library_Call call;
        open_library();
        picture_ = read_picture();
        subscribe();
    } catch (const Request_Failed &) {
        return false;
    }
    announce_return();
    return true;
}

void Watcher::announce_start() {
    if (!json_ && !commands_) {
        const std::string date = day_.begin(now());
        const std::string line =
            terminal::printable("watching " + socket_ + " since " + date + ": " + counts_text(count(picture_)));
        put_line(style_.short_lines ? shortened(line, SHORT_LINE) : line);
        say_line(event_heading_text(style_));
    }
}

// Times have no date, so a line says when another day has begun.
void Watcher::say(Wall_Time time, const std::string &line) {
    const std::optional<std::string> date = style_.dates ? std::nullopt : day_.next(time);
    if (date) {
        put_line(notice_text(time, "date", *date, style_));
    }
    say_line(line);
}

void Watcher::announce_loss() {
    announce("disconnected", disconnected_json(now(), socket_),
             "the heartbeat daemon at " + socket_ + " disconnected; reconnecting");
}

void Watcher::announce_return() {
    const Counts counts = count(picture_);
    announce("reconnected",
             reconnected_json(now(), Status_Report{socket_, picture_.local_node, counts, std::nullopt}),
             counts_text(counts));
}

void Watcher::announce(const std::string &kind, const std::string &json, const std::string &detail) {
    if (commands_) {
        hand_over(json, notice_environment(kind, now()));
    } else {
        const Wall_Time time = now();
        say(time, json_ ? json : notice_text(time, kind, detail, style_));
    }
}

} // namespace hbctl
