// SPDX-License-Identifier: Apache-2.0
#include "exporter/follower.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string>
#include <thread>
#include <utility>

#include "common/socket_path.h"
#include "exporter/cluster_reader.h"
#include "exporter/connection_failure.h"
#include "exporter/log.h"
#include "exporter/past_event.h"

namespace exporter {
namespace {

constexpr std::chrono::milliseconds FIRST_PAUSE{100};
constexpr std::chrono::milliseconds LONGEST_PAUSE{1000};

// A stopped wispd keeps its connections, so silence proves nothing. The exporter repeats a small subscription:
// wispd answers each one with a report.
constexpr std::chrono::milliseconds PROBE_PERIOD{500};

constexpr int MEMBERSHIP = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;
constexpr const char *NODES_NAME = "hb_exporter-nodes";
constexpr const char *ADAPTERS_NAME = "hb_exporter-adapters";
constexpr const char *INSTANCES_NAME = "hb_exporter-instances";
constexpr const char *PROBE_NAME = "hb_exporter-probe";

Event_Kind kind_of(int event) {
    switch (event) {
    case HB_EVENT_DEATH:
        return Event_Kind::death;
    case HB_EVENT_JOIN:
        return Event_Kind::join;
    case HB_EVENT_NEW_GROUP:
        return Event_Kind::new_group;
    case HB_EVENT_FFDC:
        return Event_Kind::ffdc;
    case HB_EVENT_SITE_SPLIT:
        return Event_Kind::site_split;
    case HB_EVENT_SITE_MERGE:
        return Event_Kind::site_merge;
    case HB_EVENT_CONFIG:
        return Event_Kind::configuration;
    case HB_EVENT_DIFF_INSTANCE:
        return Event_Kind::different_instance;
    case HB_EVENT_HEARTBEAT:
        return Event_Kind::heartbeat;
    default:
        return Event_Kind::other;
    }
}

// "2.0 s"
std::string seconds_text(std::chrono::steady_clock::duration span) {
    char text[40];
    std::snprintf(text, sizeof text, "%.1f s", std::chrono::duration<double>(span).count());
    return text;
}

// Fills an empty group with `fill` and subscribes to it.
template <typename Fill> bool subscribe_as(const char *name, int events, Fill fill) {
    const auto group = std::make_unique<Hb_Subscription_Group>();
    std::string text = name;
    return hb_empty_subscription_group(group.get()) == Hb_Success && fill(group.get()) == Hb_Success &&
           hb_subscribe(text.data(), group.get(), events) == Hb_Success;
}

} // namespace

Follower::Follower(std::shared_ptr<Snapshot_Board> board, std::chrono::milliseconds stale)
    : board_(std::move(board)), stale_(stale), cluster_file_(common::socket_path_from_environment()),
      group_(std::make_unique<Hb_Group>()) {}

void Follower::run() {
    auto pause = FIRST_PAUSE;
    for (;;) {
        if (connect()) {
            pause = FIRST_PAUSE;
            follow();
            snapshot_.connected = false;
            remember_own("disconnected", "wispd closed the connection");
            publish_change();
            log_line("lost the heartbeat daemon at " + common::socket_path_from_environment() +
                     "; reconnecting");
        } else {
            report_failure();
        }
        hb_terminate();
        std::this_thread::sleep_for(pause);
        pause = std::min(2 * pause, LONGEST_PAUSE);
    }
}

bool Follower::connect() {
    snapshot_.nodes_reported = false;
    snapshot_.adapters_reported = false;
    if (hb_init() != Hb_Success || !read_configuration() || !get_descriptors()) {
        return false;
    }
    std::fill(snapshot_.nodes.begin(), snapshot_.nodes.end(), State::unknown);
    std::fill(snapshot_.adapters.begin(), snapshot_.adapters.end(), State::unknown);
    sequence_.start_connection();
    if (!subscribe()) {
        return false;
    }
    probe_unanswered_ = false;
    next_probe_ = std::chrono::steady_clock::now() + PROBE_PERIOD;
    snapshot_.connected = true;
    snapshot_.reconnects += was_connected_ ? 1U : 0U;
    read_about();
    remember_own("connected", was_connected_ ? "wispd answers again" : "wispd answers");
    was_connected_ = true;
    reported_failure_.clear();
    snapshot_.last_contact = std::chrono::steady_clock::now();
    silent_ = false;
    publish_change();
    log_line("connected to the heartbeat daemon at " + common::socket_path_from_environment() + ": " +
             std::to_string(snapshot_.nodes.size()) + " nodes, " + std::to_string(snapshot_.adapters.size()) +
             " adapters");
    return true;
}

bool Follower::read_configuration() {
    std::shared_ptr<const Cluster> cluster = read_cluster();
    if (!cluster) {
        return false;
    }
    set_cluster(snapshot_, std::move(cluster));
    return true;
}

bool Follower::get_descriptors() {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        return false;
    }
    descriptors_.assign(descriptors, descriptors + count);
    descriptors_.push_back(-1);
    hb_free_file_descriptor_array(descriptors);
    return true;
}

bool Follower::subscribe() {
    return subscribe_as(NODES_NAME, MEMBERSHIP | HB_EVENT_HEARTBEAT, hb_add_all_nodes_to_subscription_group) &&
           subscribe_as(ADAPTERS_NAME, MEMBERSHIP, hb_add_all_adapters_to_subscription_group) &&
           subscribe_as(INSTANCES_NAME, HB_EVENT_DIFF_INSTANCE, hb_add_all_nodes_to_subscription_group);
}

void Follower::follow() {
    do {
        if (is_probe_due()) {
            send_probe();
        }
        if (note_silence()) {
            publish_change();
        }
    } while (!wait_for_daemon() || read_one() == Outcome::proceed);
}

bool Follower::is_probe_due() const {
    return !probe_unanswered_ && std::chrono::steady_clock::now() >= next_probe_;
}

// One node is enough. A failure shows at the next read.
void Follower::send_probe() {
    const std::vector<int> &nodes = snapshot_.cluster->nodes;
    probe_unanswered_ = true;
    next_probe_ = std::chrono::steady_clock::now() + PROBE_PERIOD;
    subscribe_as(PROBE_NAME, HB_EVENT_NEW_GROUP, [&nodes](Hb_Subscription_Group *group) {
        return nodes.empty()
                   ? hb_add_all_nodes_to_subscription_group(group)
                   : hb_add_node_to_subscription_group(group, static_cast<Hb_Node_Number>(nodes.front()));
    });
}

// Returns true if there is something to read, false if the next probe is due or wispd became silent.
bool Follower::wait_for_daemon() const {
    int limit = -1;
    const Steady_Time until = std::min(probe_unanswered_ ? Steady_Time::max() : next_probe_,
                                       silent_ ? Steady_Time::max() : moment_of_silence());
    if (until != Steady_Time::max()) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now()).count();
        limit = static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
    }
    pollfd wanted{descriptors_.front(), POLLIN, 0};
    return poll(&wanted, 1, limit) > 0;
}

Follower::Outcome Follower::read_one() {
    timeval at_once{};
    int kind = HB_EVENT_NONE;
    Hb_Name name{};
    unsigned long sequence = 0;
    if (hb_get_event_message(descriptors_.data(), &at_once, &kind, name, group_.get(), &sequence) ==
        Hb_Success) {
        return apply(kind, name, static_cast<std::uint32_t>(sequence));
    }
    switch (hb_get_errno()) {
    case HB_ERROR_TIMEOUT:
        return Outcome::proceed;
    case HB_ERROR_UNEXPECTED_REPLY:
        note_contact();
        ++snapshot_.malformed_events;
        if (sequence != 0 && !sequence_.follows(static_cast<std::uint32_t>(sequence))) {
            ++snapshot_.sequence_gaps;
        }
        publish_change();
        return Outcome::proceed;
    default:
        return Outcome::lost;
    }
}

Follower::Outcome Follower::apply(int kind, const Hb_Name &name, std::uint32_t sequence) {
    note_contact();
    const bool follows = sequence_.follows(sequence);
    snapshot_.sequence_gaps += follows ? 0U : 1U;
    if (std::strncmp(name, PROBE_NAME, sizeof(Hb_Name)) == 0) {
        probe_unanswered_ = false;
        const bool has_changed = read_about() || !follows;
        snapshot_.changes += has_changed ? 1U : 0U;
        board_->publish(snapshot_);
        return Outcome::proceed;
    }
    return apply_event(kind);
}

Follower::Outcome Follower::apply_event(int kind) {
    ++snapshot_.events[static_cast<std::size_t>(kind_of(kind))];
    snapshot_.last_event = std::chrono::system_clock::now();
    snapshot_.last_event_mark = std::chrono::steady_clock::now();
    if (kind == HB_EVENT_CONFIG) {
        if (!read_configuration()) {
            return Outcome::lost;
        }
        read_about();
    }
    remember(snapshot_, describe_event(kind_of(kind), *group_, snapshot_));
    if ((kind & MEMBERSHIP) != 0) {
        apply_members(kind);
    }
    publish_change();
    return Outcome::proceed;
}

void Follower::apply_members(int kind) {
    const State state = kind == HB_EVENT_DEATH ? State::down : State::up;
    const bool all = kind == HB_EVENT_NEW_GROUP;
    if (group_->Hb_group_type == Hb_Node_Group) {
        std::vector<int> members;
        Hb_Node_Number node = -1;
        for (Hb_Rc rc = hb_get_first_node(group_.get(), &node); rc == Hb_Success;
             rc = hb_get_next_node(group_.get(), &node)) {
            members.push_back(node);
        }
        if (all) {
            std::fill(snapshot_.nodes.begin(), snapshot_.nodes.end(), State::down);
            snapshot_.nodes_reported = true;
        }
        set_nodes(snapshot_, members, state);
    } else if (group_->Hb_group_type == Hb_Adapter_Group) {
        std::vector<std::uint32_t> members;
        Hb_Adapter_Identifier adapter{};
        for (Hb_Rc rc = hb_get_first_adapter(group_.get(), &adapter); rc == Hb_Success;
             rc = hb_get_next_adapter(group_.get(), &adapter)) {
            members.push_back(adapter.Hb_adapter_number);
        }
        if (all) {
            std::fill(snapshot_.adapters.begin(), snapshot_.adapters.end(), State::down);
            snapshot_.adapters_reported = true;
        }
        set_adapters(snapshot_, members, state);
    }
}

// A call of the library can wait for a stopped wispd. Its silence is then noted when the call returns.
void Follower::note_contact() {
    note_silence();
    const Steady_Time now = std::chrono::steady_clock::now();
    if (silent_) {
        silent_ = false;
        const std::string silence = "wispd sent nothing for " + seconds_text(now - *snapshot_.last_contact);
        remember_own("answers-again", silence);
        ++snapshot_.changes;
        log_line("the heartbeat daemon at " + common::socket_path_from_environment() +
                 " answers again; it sent " + "nothing for " + seconds_text(now - *snapshot_.last_contact));
    }
    snapshot_.last_contact = now;
}

// Returns whether wispd has just become silent for too long.
bool Follower::note_silence() {
    if (silent_ || std::chrono::steady_clock::now() < moment_of_silence()) {
        return false;
    }
    silent_ = true;
    remember_own("no-answer", "wispd has sent nothing for " + seconds_text(stale_));
    log_line("no answer from the heartbeat daemon at " + common::socket_path_from_environment() + " for " +
             seconds_text(stale_) + "; check whether wispd is stopped");
    return true;
}

// The first moment at which is_up() is false.
Steady_Time Follower::moment_of_silence() const {
    return *snapshot_.last_contact + stale_ + std::chrono::milliseconds(1);
}

// Returns whether wispd has written another file.
bool Follower::read_about() {
    const bool has_changed = cluster_file_.poll();
    snapshot_.about = cluster_file_.content();
    return has_changed;
}

void Follower::remember_own(const char *event, const std::string &what) {
    remember(snapshot_, {0, std::chrono::system_clock::now(), event, what, ""});
}

void Follower::publish_change() {
    ++snapshot_.changes;
    board_->publish(snapshot_);
}

void Follower::report_failure() {
    const std::string line = connection_failure(common::socket_path_from_environment(), hb_get_errno());
    if (line != reported_failure_) {
        reported_failure_ = line;
        log_line(line + "; retrying");
    }
}

} // namespace exporter
