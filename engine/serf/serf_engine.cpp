// SPDX-License-Identifier: Apache-2.0
#include "engine/serf/serf_engine.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "cluster/address.h"
#include "common/printable.h"
#include "host/log.h"
#include "host/text.h"
#include "host/unused_memory.h"

namespace wispd {
namespace {

constexpr std::chrono::milliseconds FIRST_RETRY(100);
constexpr std::chrono::milliseconds LONGEST_RETRY(1000);
// The first report waits so long for agents that do not answer, while others do.
constexpr std::chrono::seconds ALL_AGENTS_LATEST(2);
// An agent gathers its events for up to three seconds. Counts that differ longer reveal a lost event.
constexpr std::chrono::seconds COUNTS_DIFFER_LONGEST(5);
// A connection ends when a question has no answer for so long.
constexpr std::chrono::seconds SILENT_AFTER(2);
constexpr std::size_t REJECTIONS_SHOWN = 100;
// After a connection that was shorter than this, the interval between two attempts keeps growing.
constexpr std::chrono::seconds LASTING(10);

std::string address_of(const Serf_Agent &agent) {
    return agent.host.find(':') == std::string::npos ? text(agent.host, ":", agent.port)
                                                     : text("[", agent.host, "]:", agent.port);
}

int64_t seconds_of(std::chrono::milliseconds time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time).count();
}

// Adds an event to a complete list of members.
void add_to(Serf_Report &all, const Serf_Report &event) {
    for (const Serf_Member &member : event.members) {
        std::erase_if(all.members, [&](const Serf_Member &other) { return other.name == member.name; });
        if (event.kind != Serf_Report::Kind::reap) {
            all.members.push_back(member);
        }
    }
}

bool is_same(const Serf_Counts &one, const Serf_Counts &other) {
    return one.members == other.members && one.failed == other.failed && one.left == other.left;
}

} // namespace

Serf_Engine::Serf_Engine(const Serf_Settings &settings) : settings_(settings), numbers_(settings) {
    for (const Serf_Agent &agent : settings_.agents) {
        add_agent(agent);
    }
    if (settings_.has_local_node) {
        local_node_ = settings_.cluster.local_node;
    }
    wait_point_.wake_at({});
}

void Serf_Engine::add_agent(const Serf_Agent &settings) {
    auto agent = std::make_unique<Agent>(Agent{settings,
                                               Serf_Network(settings.network, names_, settling_),
                                               nullptr,
                                               {},
                                               {},
                                               FIRST_RETRY,
                                               {},
                                               {},
                                               {},
                                               {},
                                               false});
    agent->status.network = settings.network;
    agent->status.address = address_of(settings);
    const auto place = std::find_if(agents_.begin(), agents_.end(), [&](const auto &other) {
        return other->settings.network > settings.network;
    });
    agents_.insert(place, std::move(agent));
}

std::chrono::milliseconds Serf_Engine::time_to_connect() const {
    return ALL_AGENTS_LATEST + std::chrono::milliseconds(500);
}

// ---- Settings ----

// New numbers need each member's name and tag, which only the agents' lists have.
void Serf_Engine::set(const Engine_Settings &settings) {
    wanted_ = std::get<Serf_Settings>(settings);
    for (const std::unique_ptr<Agent> &agent : agents_) {
        agent->renewed.reset();
        agent->is_renewing = agent->connection && agent->connection->is_ready();
        if (agent->is_renewing) {
            agent->connection->ask_members();
        }
    }
    wait_point_.wake_at({});
}

void Serf_Engine::apply_wanted_settings(Time now) {
    const auto is_renewing = [](const auto &agent) { return agent->is_renewing; };
    if (!wanted_ || std::any_of(agents_.begin(), agents_.end(), is_renewing)) {
        return;
    }
    Serf_Settings next = std::move(*wanted_);
    wanted_.reset();
    if (!next.has_local_node) {
        next.cluster.local_node = static_cast<Hb_Node_Number>(local_node_.value_or(0));
    } else if (local_node_ && next.cluster.local_node != *local_node_) {
        status_.refused = text("the local node's number changed from ", *local_node_, " to ",
                               next.cluster.local_node, ": restart wispd");
        log_error(
            text("cannot use the new settings of Serf: ", status_.refused, "; the previous ones stay in use"));
        return;
    }
    if (next.discover != settings_.discover || next.cluster.max_nodes != settings_.cluster.max_nodes ||
        next.cluster.adapters_per_node != settings_.cluster.adapters_per_node) {
        status_.refused =
            "discover, max_nodes and adapters_per_node cannot change while wispd runs: restart wispd";
        log_error(
            text("cannot use the new settings of Serf: ", status_.refused, "; the previous ones stay in use"));
        return;
    }
    status_.refused.clear();
    settings_ = std::move(next);
    numbers_ = Serf_Numbers(settings_);
    apply_agents(now);
    for (const std::unique_ptr<Agent> &agent : agents_) {
        if (agent->renewed) {
            heed(agent->network.renumber(*agent->renewed, rules(*agent), now));
            agent->renewed.reset();
        }
    }
    configuration_changed_ = true;
}

// An agent whose address or key changes keeps its network: its members stay up for the grace.
void Serf_Engine::apply_agents(Time now) {
    std::map<int, Serf_Agent> wanted;
    for (const Serf_Agent &agent : settings_.agents) {
        wanted.emplace(agent.network, agent);
    }
    std::erase_if(agents_, [&](const std::unique_ptr<Agent> &agent) {
        const bool is_gone = !wanted.contains(agent->settings.network);
        if (is_gone) {
            disconnect(*agent, now);
        }
        return is_gone;
    });
    for (const std::unique_ptr<Agent> &agent : agents_) {
        const Serf_Agent next = wanted.at(agent->settings.network);
        wanted.erase(next.network);
        if (next != agent->settings) {
            disconnect(*agent, now + settings_.grace);
            agent->settings = next;
            agent->status = {next.network, address_of(next), false, false, "its settings have changed", 0};
            agent->retry_at = now;
            agent->retry_after = FIRST_RETRY;
        }
    }
    for (const auto &[network, agent] : wanted) {
        add_agent(agent);
    }
}

// ---- Agents ----

std::optional<Engine_Step> Serf_Engine::advance(Time now) {
    if (!started_) {
        started_ = now;
    }
    for (const std::unique_ptr<Agent> &agent : agents_) {
        advance(*agent, now);
        heed(agent->network.advance(rules(*agent), now));
    }
    apply_wanted_settings(now);
    std::optional<Engine_Step> next;
    if (knows_local_node(now) && (reported_ || is_ready_for_first_step(now))) {
        next = step();
    }
    update_status();
    wait_point_.wake_at(has_more_ ? Time() : next_due(now));
    return next;
}

void Serf_Engine::advance(Agent &agent, Time now) {
    try {
        if (!agent.connection && now >= agent.retry_at) {
            connect(agent, now);
        }
        if (agent.connection) {
            read(agent, now);
            compare_counts(agent, now);
        }
    } catch (const std::exception &trouble) { // the agent ended, or no descriptors or memory are available
        lose(agent, trouble.what(), now);
    }
}

void Serf_Engine::connect(Agent &agent, Time now) {
    ++agent.status.attempts;
    agent.connection = std::make_unique<Serf_Connection>(Serf_Address{agent.settings.host, agent.settings.port},
                                                         agent.settings.auth_key, now);
    wait_point_.add({agent.connection->descriptor()});
}

void Serf_Engine::read(Agent &agent, Time now) {
    for (const Serf_Report &report : agent.connection->advance(now)) {
        if (agent.connection->counts()) {
            agent.own_name = agent.connection->counts()->agent;
        }
        heed(agent.network.apply(report, rules(agent), now));
        if (report.kind != Serf_Report::Kind::all) {
            if (agent.renewed) {
                add_to(*agent.renewed, report);
            }
            continue;
        }
        if (wanted_) {
            agent.renewed = report;
        }
        agent.is_renewing = false;
        agent.differs_since.reset();
        return_unused_memory();
    }
    if (agent.connection->is_ready() && !agent.status.connected) {
        log_info(text("connected to the Serf agent of network ", agent.settings.network, " at ",
                      agent.status.address, ": ", agent.network.counts().members, " members"));
        agent.connected_at = now;
        agent.status.connected = true;
        agent.status.silent = false;
        agent.status.trouble.clear();
        agent.status.attempts = 0;
    }
}

// Counts that differ reveal a lost event: an agent discards events that it cannot deliver fast enough.
void Serf_Engine::compare_counts(Agent &agent, Time now) {
    const std::optional<Serf_Counts> &counts = agent.connection->counts();
    if (!agent.status.connected || !counts || is_same(*counts, agent.network.counts())) {
        agent.differs_since.reset();
    } else if (!agent.differs_since) {
        agent.differs_since = now;
    } else if (now - *agent.differs_since >= COUNTS_DIFFER_LONGEST) {
        log_info(text("reading the members of network ", agent.settings.network,
                      " again: the Serf agent counts ", counts->members, " members, ", counts->failed,
                      " failed and ", counts->left, " left, and its events say otherwise"));
        agent.connection->ask_members();
        agent.differs_since = now;
    }
}

void Serf_Engine::lose(Agent &agent, const std::string &why, Time now) {
    Time since = now;
    if (agent.connection) {
        const std::optional<Time> asked = agent.connection->asked_since();
        agent.status.silent = asked && now - *asked >= SILENT_AFTER;
        since = agent.status.silent ? *asked : now;
    }
    // Also before the list has arrived: events can arrive before it.
    disconnect(agent, since + settings_.grace);
    if (std::exchange(agent.status.connected, false)) {
        log_warning(text("Serf agent of network ", agent.settings.network, " disconnected (", why,
                         "): reporting the network's adapters down in ", seconds_of(settings_.grace),
                         " s (grace_seconds) unless it returns; start the agent, or read its log"));
        if (now - agent.connected_at >= LASTING) {
            agent.retry_after = FIRST_RETRY;
        }
    } else if (agent.status.trouble.empty()) {
        log_warning(
            text("Serf agent of network ", agent.settings.network, " unreachable (", why, "); retrying"));
    }
    agent.status.trouble = why;
    agent.retry_at = now + agent.retry_after;
    agent.retry_after = std::min(2 * agent.retry_after, LONGEST_RETRY);
}

void Serf_Engine::disconnect(Agent &agent, Time hold_until) {
    if (agent.connection) {
        wait_point_.remove({agent.connection->descriptor()});
        agent.connection.reset();
    }
    agent.network.hold(hold_until);
    agent.renewed.reset();
    agent.is_renewing = false;
    agent.differs_since.reset();
}

void Serf_Engine::heed(const Serf_Network::News &news) {
    liveness_changed_ = liveness_changed_ || news.liveness;
    configuration_changed_ = configuration_changed_ || (news.configuration && settings_.discover);
    status_.rejected_members += news.rejected;
}

// ---- The local node ----

// Returns whether the local node is known: the file states it, or it is the node of an agent's own member.
bool Serf_Engine::knows_local_node(Time now) {
    std::string refused;
    for (const std::unique_ptr<Agent> &agent : agents_) {
        if (local_node_ || !agent->status.connected) {
            continue;
        }
        local_node_ = agent->network.node_named(agent->own_name);
        if (local_node_) {
            status_.refused.clear();
            log_info(text("the local node is ", *local_node_, ", the Serf member ",
                          terminal::printable(agent->own_name)));
        } else {
            refused = text("the agent's own member ", terminal::printable(agent->own_name), " of network ",
                           agent->settings.network, " is not a node (",
                           agent->network.rejection_of(agent->own_name).value_or("the agent does not list it"),
                           "); set local_node in [cluster], or the tag hb_node of the agent");
        }
    }
    if (local_node_) {
        settings_.cluster.local_node = static_cast<Hb_Node_Number>(*local_node_);
        check_local_node();
    } else if (is_ready_for_first_step(now)) {
        status_.refused = refused;
    }
    return local_node_.has_value();
}

// The agents' own members are the local node, whatever their tags state. A tag with another number is an error of the
// setup.
void Serf_Engine::check_local_node() {
    std::string contradiction;
    for (const std::unique_ptr<Agent> &agent : agents_) {
        const std::optional<int> own = agent->network.own_number();
        if (own && *own != *local_node_) {
            contradiction =
                text("the agent's own member ", terminal::printable(agent->own_name), " of network ",
                     agent->settings.network, " has the number ", *own, ", but the local node is ",
                     *local_node_, "; correct its tag hb_node, or restart wispd");
        }
    }
    if (contradiction != contradiction_) {
        contradiction_ = contradiction;
        status_.refused = contradiction;
        if (!contradiction.empty()) {
            log_error(text("cannot use the number of a Serf member: ", contradiction));
        }
    }
}

// The first report has the members of all networks, unless an agent does not answer. A large list takes its time.
bool Serf_Engine::is_ready_for_first_step(Time now) const {
    const auto is_connected = [](const auto &agent) { return agent->status.connected; };
    const auto is_pending = [](const auto &agent) {
        return agent->connection && !agent->status.connected && agent->status.trouble.empty();
    };
    if (std::any_of(agents_.begin(), agents_.end(), is_pending)) {
        return false;
    }
    return std::all_of(agents_.begin(), agents_.end(), is_connected) ||
           (now - *started_ >= ALL_AGENTS_LATEST && std::any_of(agents_.begin(), agents_.end(), is_connected));
}

// ---- Steps ----

std::optional<Engine_Step> Serf_Engine::step() {
    if (reported_ && !liveness_changed_ && !configuration_changed_ && !has_more_) {
        return std::nullopt;
    }
    has_more_ = false;
    Liveness next = liveness();
    bool is_departure = false;
    if (!reported_) {
        for (const std::unique_ptr<Agent> &agent : agents_) {
            agent->network.take_died(); // a death before the first report is no event
        }
    }
    if (reported_) {
        Liveness departed = without_departed(next);
        const bool any_departed = departed.adapters.size() < reported_->adapters.size();
        const bool any_other = configuration_changed_ || departed.adapters != next.adapters;
        if (any_departed && any_other) {
            has_more_ = true;
            reported_ = departed;
            return Engine_Step{std::nullopt, std::move(departed), true};
        }
        is_departure = any_departed;
        add_died(next);
    }
    Engine_Step step{std::nullopt, next, is_departure};
    const bool changed = !reported_ || next.nodes != reported_->nodes || next.adapters != reported_->adapters ||
                         !next.adapters_back.empty();
    liveness_changed_ = false;
    if (std::exchange(configuration_changed_, false)) {
        step.configuration = configuration();
    } else if (!changed) {
        return std::nullopt;
    }
    reported_ = std::move(next);
    reported_->adapters_back.clear();
    reported_->nodes_back.clear();
    return step;
}

// An adapter that went down and is up again within one step died: its member failed and returned, or another machine
// has its number.
void Serf_Engine::add_died(Liveness &next) {
    std::set<int> nodes;
    const int per_node = settings_.cluster.adapters_per_node;
    for (const std::unique_ptr<Agent> &agent : agents_) {
        for (const int node : agent->network.take_died()) {
            const int64_t adapter = int64_t{node} * per_node + agent->settings.network;
            if (reported_->adapters.contains(adapter) && next.adapters.contains(adapter)) {
                next.adapters_back.insert(adapter);
                nodes.insert(node);
            }
        }
    }
    for (const int node : nodes) {
        const bool stayed = std::any_of(agents_.begin(), agents_.end(), [&](const auto &agent) {
            const int64_t adapter = int64_t{node} * per_node + agent->settings.network;
            return reported_->adapters.contains(adapter) && next.adapters.contains(adapter) &&
                   !next.adapters_back.contains(adapter);
        });
        if (!stayed && node != *local_node_) {
            next.nodes_back.insert(node);
        }
    }
}

// A client that migrates to a cluster service knows an adapter by its type, so no adapter is without one.
Configuration Serf_Engine::configuration() const {
    Configuration configuration = settings_.cluster;
    configuration.local_node = static_cast<Hb_Node_Number>(*local_node_);
    if (!settings_.discover) {
        for (Configured_Node &node : configuration.nodes) {
            for (Configured_Adapter &adapter : node.adapters) {
                adapter.type = adapter.type.empty() ? text("serf", adapter.network) : adapter.type;
            }
        }
        return configuration;
    }
    std::set<std::string> names;
    int slots = *local_node_ + 1;
    for (const std::unique_ptr<Agent> &agent : agents_) {
        slots = std::max(slots, agent->network.slots());
    }
    for (int number = 0; number < slots; ++number) {
        Configured_Node node;
        node.number = static_cast<Hb_Node_Number>(number);
        for (const std::unique_ptr<Agent> &agent : agents_) {
            if (const auto member = agent->network.member(number)) {
                Configured_Adapter adapter;
                adapter.network = static_cast<Hb_Network_Number>(agent->settings.network);
                adapter.type = text("serf", agent->settings.network);
                adapter.address = member->address;
                adapter.carries_ip = is_address(member->address);
                adapter.up = false;
                node.adapters.push_back(adapter);
                node.name = node.name.empty() ? terminal::printable(member->name) : node.name;
            }
        }
        if (!node.adapters.empty() || number == *local_node_) {
            // Two nodes can have the same name in different networks.
            if (node.name.empty() || !names.insert(node.name).second) {
                node.name = text("node", number);
            }
            configuration.nodes.push_back(std::move(node));
        }
    }
    return configuration;
}

Liveness Serf_Engine::liveness() const {
    Liveness liveness;
    const int per_node = settings_.cluster.adapters_per_node;
    for (int node = 0; node < settings_.cluster.max_nodes; ++node) {
        bool is_up = node == *local_node_;
        for (const std::unique_ptr<Agent> &agent : agents_) {
            if (agent->network.is_up(node)) {
                liveness.adapters.insert(liveness.adapters.end(),
                                         int64_t{node} * per_node + agent->settings.network);
                is_up = true;
            }
        }
        if (is_up) {
            liveness.nodes.insert(liveness.nodes.end(), node);
        }
    }
    return liveness;
}

bool Serf_Engine::has_departed(int node, int network) const {
    return std::any_of(agents_.begin(), agents_.end(), [&](const auto &agent) {
        return agent->settings.network == network && agent->network.has_departed(node);
    });
}

// What was reported last, without the members that left in good order since.
Liveness Serf_Engine::without_departed(const Liveness &next) const {
    const int per_node = settings_.cluster.adapters_per_node;
    Liveness before;
    before.nodes.insert(*local_node_);
    for (const int64_t adapter : reported_->adapters) {
        const int node = static_cast<int>(adapter / per_node);
        if (next.adapters.contains(adapter) || !has_departed(node, static_cast<int>(adapter % per_node))) {
            before.adapters.insert(before.adapters.end(), adapter);
            before.nodes.insert(node);
        }
    }
    return before;
}

// ---- Status ----

void Serf_Engine::update_status() {
    const auto is_connected = [](const auto &agent) { return agent->status.connected; };
    const auto disconnected = std::find_if_not(agents_.begin(), agents_.end(), is_connected);
    status_.connected = disconnected == agents_.end();
    status_.trouble = status_.connected ? "" : (*disconnected)->status.trouble;
    status_.attempts = status_.connected ? 0 : (*disconnected)->status.attempts;
    status_.silent = false;
    status_.agents.clear();
    status_.rejections.clear();
    std::set<int> awaited;
    for (const std::unique_ptr<Agent> &agent : agents_) {
        status_.silent = status_.silent || agent->status.silent;
        status_.agents.push_back(agent->status);
        for (std::string &rejection : agent->network.rejections(REJECTIONS_SHOWN - status_.rejections.size())) {
            status_.rejections.push_back(std::move(rejection));
        }
        for (const int node : agent->network.awaited()) {
            awaited.insert(node);
        }
    }
    for (const std::unique_ptr<Agent> &agent : agents_) {
        std::erase_if(awaited,
                      [&](int node) { return agent->network.is_up(node) && !agent->network.is_awaited(node); });
    }
    status_.awaited.assign(awaited.begin(), awaited.end());
    status_.settling.clear();
    for (const auto &[node, settling] : settling_) {
        Settling_Status shown = settling;
        for (const std::unique_ptr<Agent> &agent : agents_) {
            shown.held_now += agent->network.held_deaths(node);
        }
        status_.settling.emplace_back(node, shown);
    }
}

Serf_Engine::Time Serf_Engine::next_due(Time now) const {
    Time due = now + std::chrono::hours(1);
    if (!reported_ && *started_ + ALL_AGENTS_LATEST > now) {
        due = *started_ + ALL_AGENTS_LATEST;
    }
    for (const std::unique_ptr<Agent> &agent : agents_) {
        due = std::min(due, agent->connection ? agent->connection->next_due() : agent->retry_at);
        due = std::min(due, agent->network.next_due().value_or(due));
    }
    return due;
}

} // namespace wispd
