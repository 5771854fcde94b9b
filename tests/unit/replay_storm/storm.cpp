// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/storm.h"

#include <algorithm>

#include "tests/unit/replay_storm/faulty_seam.h"

namespace hb_test::replay_storm {
namespace {

constexpr std::size_t LINES = 60;
constexpr int MOST_READINGS = 2000; // more than can be pending at one time
constexpr int FRUITLESS_ROUNDS = 3;
constexpr int NODES_UNKNOWN = 75;
constexpr int NO_HANDLERS = 74; // creating them needs the cluster's name

bool is_query_error(int error) {
    return error >= 63 && error <= 65;
}

} // namespace

Storm::Storm(const Plan &plan) : counts_unknown_nodes_(plan.counts_unknown_nodes), world_(plan.make_world()) {
    if (plan.daemon_places) {
        daemon_ = std::make_unique<Daemon_Side>(world_->state(), *plan.daemon_places);
    } else {
        no_daemon_.emplace("HB_SERVER_SOCKET", "/nonexistent/hb_replay_storm");
    }
}

void Storm::open() {
    if (!daemon_) {
        hb_migrate_to_mox_commit(); // there is no daemon to leave
        moved_ = true;
    }
    if (hb_init() != Hb_Success) {
        throw Violation("call failed", "hb_init, error " + std::to_string(hb_get_errno()));
    }
    if (moved_) {
        if (!prepare(false)) {
            throw Violation("call failed", "preparation, error " + std::to_string(hb_get_errno()));
        }
        commit();
        drain(false);
    }
    replay_.start(client_.configuration());
    world_moved();
    client_.subscribe();
    if (daemon_) {
        replay_.possible(daemon_->state());
        daemon_->send_accounts();
    }
    drain();
    compare();
}

void Storm::note(const std::string &line) {
    story_.push_back(line);
    if (story_.size() > LINES) {
        story_.pop_front();
    }
}

std::string Storm::story() const {
    std::string text;
    for (const std::string &line : story_) {
        text += "    " + line + "\n";
    }
    return text;
}

int Storm::failures() const {
    return faulty_seam::failed_queries() + faulty_seam::failed_readings();
}

void Storm::world_moved() {
    for (const Cluster_State &moment : world_->moments()) {
        replay_.possible(moment);
    }
    replay_.possible(world_->state());
}

void Storm::step(const Step &step) {
    note(text_of(step));
    switch (step.verb) {
    case Verb::read:
        read_some(step);
        break;
    case Verb::settle:
        settle(step.a % 4 == 0);
        break;
    case Verb::message:
        message(step);
        break;
    case Verb::prepare:
        prepare(step.a % 2 == 0);
        break;
    case Verb::commit:
        if (moved_ || prepared_) {
            commit();
        }
        break;
    case Verb::abort:
        abort();
        break;
    case Verb::restart:
        if (moved_) {
            settle(false);
            restart();
        }
        break;
    case Verb::fail_query:
        fail_query(step);
        break;
    case Verb::fail_reading:
        faulty_seam::fail_reading();
        break;
    case Verb::follow:
        follow();
        break;
    default:
        if (world_->act(step)) {
            world_moved();
        } else {
            story_.pop_back();
        }
    }
}

// ---- The service's answers ----

void Storm::fail_query(const Step &step) {
    using faulty_seam::Query;
    constexpr Query QUERIES[] = {Query::cluster, Query::nodes, Query::interfaces, Query::interfaces};
    faulty_seam::fail(QUERIES[step.a % std::size(QUERIES)], static_cast<int>(step.b % 3),
                      1 + static_cast<int>(step.c % 2));
}

// ---- Reading ----

void Storm::read_some(const Step &step) {
    const std::vector<int> ready = client_.ready();
    if (!ready.empty()) {
        read(ready[step.a % ready.size()]);
    }
}

// Returns false if there was nothing to read.
bool Storm::read(int descriptor) {
    const int failures_before = failures();
    const Taken taken = client_.read(descriptor);
    for (const faulty_seam::Reading &reading : faulty_seam::take_readings()) {
        note("  read: " +
             std::string(reading.category == QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS ? "node " : "peer ") +
             std::to_string(reading.node) + (reading.type == QZ_ORB_EVENT_UP ? " up" : " down"));
        replay_.read(reading.category, reading.type, reading.node);
    }
    if (taken.is_nothing()) {
        return false;
    }
    note("  " + text_of(taken));
    if (taken.result == Hb_Success) {
        take(taken);
    } else if (failures() == failures_before) {
        throw Violation("call failed", text_of(taken));
    }
    return true;
}

void Storm::take(const Taken &taken) {
    const int events = taken.event.events;
    std::string name = "<EMPTY EVENT>";
    switch (events) {
    case HB_EVENT_DEATH:
    case HB_EVENT_JOIN:
    case HB_EVENT_NEW_GROUP:
        name = taken.event.of_nodes ? "n" : "a";
        replay_.missed_answers(failures() != failures_repaired_);
        replay_.take(taken.event);
        break;
    case HB_EVENT_CONFIG:
        name = "Hb_Config_Group";
        replay_.take_configuration(client_.configuration());
        break;
    case 0:
        return;
    default:
        throw Violation("event of no kind", text_of(taken));
    }
    if (taken.name != name) {
        throw Violation("event has the wrong name", text_of(taken));
    }
}

// Reads everything that is pending. Before a start the events belong to a client that no longer exists.
//
// A service without a thread checks its cluster inside the readings, and may postpone a check to the next
// reading.
void Storm::drain(bool replayed) {
    int readings = 0;
    for (int fruitless = 0; fruitless < FRUITLESS_ROUNDS; ++fruitless) {
        const std::vector<int> ready = client_.ready();
        if (ready.empty()) {
            break;
        }
        for (const int descriptor : ready) {
            const bool something = replayed ? read(descriptor) : !client_.read(descriptor).is_nothing();
            fruitless = something ? -1 : fruitless;
            if (++readings > MOST_READINGS) {
                throw Violation("readings have no end", std::to_string(readings) + " of them");
            }
        }
    }
    if (!replayed) {
        faulty_seam::take_readings();
    }
}

void Storm::settle(bool anew) {
    world_->come_to_rest();
    world_moved();
    faulty_seam::heal();
    if (moved_ && (prepared_ || (was_away_ && watching_))) {
        commit(); // it completes what was read since the preparation
    }
    return_to_events();
    drain();
    if (moved_ && failures() != failures_repaired_) {
        note("  rebuild");
        world_->provoke_rebuild();
        drain();
    }
    failures_repaired_ = failures();
    compare();
    if (anew && moved_) {
        note("  subscribe");
        client_.subscribe();
        drain();
        compare();
    }
}

void Storm::compare() {
    replay_.compare(moved_ ? world_->state() : daemon_->state(), client_.configuration());
    if (moved_) {
        replay_.forget_causes();
    } else {
        world_moved(); // the client has not read the service's state: the commit reports it
    }
    if (faulty_seam::lists_out() != 0 || faulty_seam::events_out() != 0) {
        throw Violation("what the service gave is not released",
                        std::to_string(faulty_seam::lists_out()) + " lists, " +
                            std::to_string(faulty_seam::events_out()) + " events");
    }
}

// ---- The client's calls ----

void Storm::follow() {
    if (!moved_ && daemon_) {
        const Cluster_State now = world_->state();
        daemon_->follow(now);
        replay_.possible(daemon_->state());
        replay_.possible(now);
    }
}

void Storm::message(const Step &step) {
    if (!moved_) {
        return;
    }
    const int node = 1 + static_cast<int>(step.a % 6);
    if (hb_mox_msg_received_from(static_cast<short>(node)) != Hb_Success) {
        throw Violation("call failed", "hb_mox_msg_received_from, error " + std::to_string(hb_get_errno()));
    }
    if (has_handlers_) { // without handlers a message causes no event
        replay_.message_from(node);
    }
}

bool Storm::prepare(bool abort_when_refused) {
    const int failures_before = failures();
    if (hb_migrate_to_mox_prep() == Hb_Success) {
        prepared_ = true;
        has_handlers_ = true;
        watching_ = moved_;
        note("  prepared");
        return true;
    }
    const int error = hb_get_errno();
    note("  refused, error " + std::to_string(error));
    prepared_ = false;
    has_handlers_ = has_handlers_ || is_query_error(error); // the handlers are created before the queries
    const bool failed = (is_query_error(error) || error == NO_HANDLERS) && failures() != failures_before;
    if (!failed && error != NODES_UNKNOWN) {
        throw Violation("call failed", "preparation, error " + std::to_string(error));
    }
    if (abort_when_refused && !moved_) {
        hb_migrate_to_mox_abort();
    }
    return false;
}

void Storm::commit() {
    const int failures_before = failures();
    hb_migrate_to_mox_commit();
    if (!moved_ && failures() != failures_before) {
        replay_.keeps_older_events();
    }
    was_away_ = false;
    if (!moved_ && !counts_unknown_nodes_) {
        replay_.forgive_unknown_nodes();
    }
    moved_ = true;
    watching_ = watching_ || prepared_;
    prepared_ = false;
}

void Storm::abort() {
    hb_migrate_to_mox_abort();
    was_away_ = moved_;
    prepared_ = false;
    watching_ = false;
    has_handlers_ = false;
}

// After an abort in cluster-event mode, a preparation and its commit restore the events. If the preparation
// fails because nodes have left meanwhile, the client restarts.
void Storm::return_to_events() {
    if (!moved_ || watching_) {
        return;
    }
    if (prepare(false)) {
        commit();
    } else {
        restart();
    }
}

// Queued events survive the closing of the library, but do not belong to the new start.
void Storm::restart() {
    note("  restart");
    hb_terminate();
    prepared_ = false;
    watching_ = false;
    has_handlers_ = false;
    faulty_seam::heal();
    if (hb_init() != Hb_Success || !prepare(false)) {
        throw Violation("call failed", "a new start, error " + std::to_string(hb_get_errno()));
    }
    commit();
    drain(false);
    replay_.start(client_.configuration());
    world_moved();
    client_.subscribe();
    drain();
    compare();
}

} // namespace hb_test::replay_storm
