// SPDX-License-Identifier: Apache-2.0
#include "engine/corosync/corosync_follower.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/log.h"
#include "host/text.h"

namespace wispd {
namespace {

constexpr std::chrono::milliseconds FIRST_RETRY(100);
constexpr std::chrono::milliseconds LONGEST_RETRY(1000);

int64_t seconds_of(std::chrono::milliseconds time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time).count();
}

bool is_same_report(const Liveness &is, const Liveness &reported) {
    return is.nodes_back.empty() && is.adapters_back.empty() && is.nodes == reported.nodes &&
           is.adapters == reported.adapters;
}

} // namespace

Corosync_Follower::Corosync_Follower(const Corosync_Settings &settings, Corosync_Connect connect,
                                     std::unique_ptr<Local_Interfaces> interfaces)
    : settings_(settings), connect_(std::move(connect)), interfaces_(std::move(interfaces)),
      retry_after_(FIRST_RETRY) {
    wait_point_.add({interfaces_->descriptor()});
    wait_point_.wake_at(retry_at_);
}

void Corosync_Follower::set(const Engine_Settings &settings) {
    const auto &next = std::get<Corosync_Settings>(settings);
    must_reread_ = must_reread_ || next.names != settings_.names;
    settings_ = next;
    wait_point_.wake_at({});
}

std::optional<Engine_Step> Corosync_Follower::advance(Time now) {
    interfaces_->dispatch();
    try {
        if (!engine_ && now >= retry_at_) {
            connect(now);
        }
        if (engine_) {
            listen();
            check_links(now);
        }
    } catch (const std::runtime_error &trouble) { // Corosync disconnected, or no descriptors available
        lose(trouble.what(), now);
    }
    if (!engine_ && configuration_ && std::exchange(must_reread_, false)) {
        apply_configuration(engine_configuration_, false); // wispd's own names do not need Corosync
    }
    drop_overdue(now);
    std::optional<Engine_Step> step;
    if (configuration_) {
        Liveness is = liveness();
        if (configuration_is_new_ || !reported_ || !is_same_report(is, *reported_)) {
            step.emplace();
            step->liveness = is;
            if (std::exchange(configuration_is_new_, false)) {
                step->configuration = configuration_;
            }
            reported_ = std::move(is);
        }
    }
    wait_point_.wake_at(next_due());
    return step;
}

Corosync_Follower::Time Corosync_Follower::next_due() const {
    Time due = engine_ ? next_check_ : retry_at_;
    for (const auto &[node, until] : held_nodes_) {
        due = std::min(due, until);
    }
    for (const auto &[adapter, until] : held_adapters_) {
        due = std::min(due, until);
    }
    return due;
}

// ---- The engine ----

void Corosync_Follower::connect(Time now) {
    ++status_.attempts;
    // A new engine starts its counters again.
    members_reported_.clear();
    links_reported_.clear();
    engine_ = connect_();
    wait_point_.add(engine_->descriptors());
    members_ = engine_->members();
    Corosync_Configuration read = engine_->configuration();
    log_info(text("connected to Corosync: ", members_.size(), " members"));
    apply_configuration(std::move(read), false);
    must_reread_ = false;
    next_check_ = now;
    retry_after_ = FIRST_RETRY;
    status_.connected = true;
    status_.trouble.clear();
    status_.attempts = 0;
}

void Corosync_Follower::listen() {
    const Corosync_News news = engine_->dispatch();
    if (news.reload_rejected) {
        log_warning("Corosync rejected a configuration reload and keeps the previous one; see Corosync's log");
    }
    if (news.membership) {
        apply_members(engine_->members());
    }
    if (news.configuration || must_reread_) {
        log_info("reading Corosync's configuration again");
        Corosync_Configuration read = engine_->configuration();
        must_reread_ = false;
        apply_configuration(std::move(read), news.configuration);
        // Report members that arrived with the configuration in the same step.
        next_check_ = {};
        must_count_joins_ = must_count_joins_ || std::exchange(has_news_of_members_, false);
    }
}

// Forgets cached link states of a node that has rejoined.
void Corosync_Follower::apply_members(const Corosync_Members &now) {
    std::erase_if(links_, [&](const auto &link) {
        const auto was = members_.find(link.first.first);
        const auto is = now.find(link.first.first);
        return was != members_.end() && is != now.end() && was->second < is->second;
    });
    members_ = now;
    has_news_of_members_ = true;
}

// Rejects an invalid configuration; the previous one stays in use with its names.
void Corosync_Follower::apply_configuration(Corosync_Configuration read, bool is_news) {
    try {
        Configuration translated = translate(read, settings_.names);
        if (configuration_ && translated.local_node != configuration_->local_node) {
            throw Corosync_Refused(text("the local node's number changed from ", configuration_->local_node,
                                        " to ", translated.local_node, ": restart wispd"));
        }
        configuration_is_new_ = configuration_is_new_ || is_news || !configuration_ ||
                                read != engine_configuration_ || settings_.names != names_in_force_;
        renumber_held(read);
        engine_configuration_ = std::move(read);
        names_in_force_ = settings_.names;
        configuration_ = std::move(translated);
        status_.refused.clear();
    } catch (const Corosync_Refused &refused) {
        status_.refused = refused.what();
        log_error(text("cannot use Corosync's configuration: ", refused.what(),
                       configuration_ ? "; the previous one stays in use" : ""));
    }
}

// Moves pending grace entries to the new node numbers; drops nodes that are no longer configured.
void Corosync_Follower::renumber_held(const Corosync_Configuration &next) {
    std::map<int, Time> nodes;
    std::map<int64_t, Time> adapters;
    for (const Corosync_Node &node : next.nodes) {
        const auto is_same = [&](const Corosync_Node &before) { return before.id == node.id; };
        if (std::none_of(engine_configuration_.nodes.begin(), engine_configuration_.nodes.end(), is_same)) {
            continue;
        }
        const int before = node_number(node.id, names_in_force_);
        const int now = node_number(node.id, settings_.names);
        if (const auto held = held_nodes_.find(before); held != held_nodes_.end()) {
            nodes[now] = held->second;
        }
        for (const auto &[link, address] : node.addresses) {
            const auto held = held_adapters_.find(int64_t{before} * ENGINE_ADAPTERS_PER_NODE + link);
            if (held != held_adapters_.end()) {
                adapters[int64_t{now} * ENGINE_ADAPTERS_PER_NODE + link] = held->second;
            }
        }
    }
    held_nodes_ = std::move(nodes);
    held_adapters_ = std::move(adapters);
}

void Corosync_Follower::check_links(Time now) {
    // Deaths and joins are reported before any query that Corosync can be slow to answer.
    if (std::exchange(has_news_of_members_, false)) {
        must_count_joins_ = true;
        next_check_ = now;
    } else if (now >= next_check_) {
        if (std::exchange(must_count_joins_, false)) {
            // A correction of the estimated counts is not a flap: real flaps were reported already.
            members_ = members_reported_ = engine_->count_joins();
        }
        links_ = engine_->links(engine_configuration_);
        next_check_ = now + settings_.patience.poll;
    }
}

void Corosync_Follower::lose(const std::string &why, Time now) {
    if (engine_) {
        wait_point_.remove(engine_->descriptors());
        engine_.reset();
    }
    members_.clear();
    links_.clear();
    if (std::exchange(status_.connected, false)) {
        log_warning(text("Corosync disconnected (", why, "): reporting the other nodes down in ",
                         seconds_of(settings_.patience.grace),
                         " s (grace_seconds) unless it returns; start Corosync, or read its log"));
        hold_members_up(now);
    } else if (status_.trouble.empty()) {
        log_warning(text("Corosync unreachable (", why, "); retrying"));
    }
    status_.trouble = why;
    retry_at_ = now + retry_after_;
    retry_after_ = std::min(2 * retry_after_, LONGEST_RETRY);
}

// ---- Nodes and adapters that are up ----

void Corosync_Follower::hold_members_up(Time now) {
    if (!reported_) {
        return;
    }
    for (const int node : reported_->nodes) {
        if (node != configuration_->local_node) {
            held_nodes_.try_emplace(node, now + settings_.patience.grace);
        }
    }
    for (const int64_t adapter : reported_->adapters) {
        if (adapter / ENGINE_ADAPTERS_PER_NODE != configuration_->local_node) {
            held_adapters_.try_emplace(adapter, now + settings_.patience.grace);
        }
    }
}

void Corosync_Follower::drop_overdue(Time now) {
    const std::size_t dead = std::erase_if(held_nodes_, [&](const auto &held) { return held.second <= now; });
    std::erase_if(held_adapters_, [&](const auto &held) { return held.second <= now; });
    if (dead > 0) {
        log_warning(text("reporting ", dead, " nodes down: not seen within ",
                         seconds_of(settings_.patience.grace),
                         " s (grace_seconds) after Corosync disconnected"));
    }
}

Liveness Corosync_Follower::liveness() {
    Liveness is = translate(engine_configuration_, names_in_force_, {members_, links_},
                            {members_reported_, links_reported_}, local_links());
    members_reported_ = members_;
    links_reported_ = links_;
    std::erase_if(held_nodes_, [&](const auto &held) { return is.nodes.contains(held.first); });
    std::erase_if(held_adapters_, [&](const auto &held) { return is.adapters.contains(held.first); });
    is.nodes.insert(configuration_->local_node); // always up, even without Corosync
    status_.awaited.clear();
    for (const auto &[node, until] : held_nodes_) {
        is.nodes.insert(node);
        status_.awaited.push_back(node);
    }
    // A node that was seen again and then left ends the grace of its adapters.
    std::erase_if(held_adapters_, [&](const auto &held) {
        return !is.nodes.contains(static_cast<int>(held.first / ENGINE_ADAPTERS_PER_NODE));
    });
    for (const auto &[adapter, until] : held_adapters_) {
        is.adapters.insert(adapter);
    }
    return is;
}

std::set<int> Corosync_Follower::local_links() const {
    std::set<int> links;
    for (const Configured_Node &node : configuration_->nodes) {
        for (const Configured_Adapter &adapter : node.adapters) {
            if (node.number == configuration_->local_node && interfaces_->carries(adapter.address)) {
                links.insert(adapter.network);
            }
        }
    }
    return links;
}

} // namespace wispd
