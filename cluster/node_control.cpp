// SPDX-License-Identifier: Apache-2.0
#include "cluster/node_control.h"

#include <algorithm>
#include <utility>

#include "cluster/address.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr std::size_t EXCEPTIONS_MOST = 1024;

Outcome refused(Request_Status status, std::string note) {
    return {status, 0, std::move(note), {}};
}

Outcome done(std::string note, Changes changes = {}) {
    return {REQUEST_DONE, 0, std::move(note), std::move(changes)};
}

// When the cluster rejects the operation, its message becomes the note.
template <typename Operation> Outcome attempt(std::string note, Operation operation) {
    try {
        return done(std::move(note), operation());
    } catch (const Refused &error) {
        return refused(REQUEST_FAILED, error.what());
    }
}

// Appends the deaths only: confirming suspicions changes nothing else.
void append(Changes &all, const Changes &more) {
    all.adapter_deaths.insert(all.adapter_deaths.end(), more.adapter_deaths.begin(), more.adapter_deaths.end());
    all.node_deaths.insert(all.node_deaths.end(), more.node_deaths.begin(), more.node_deaths.end());
    all.node_slots_at_death = more.node_slots_at_death;
    all.adapters_per_node_at_death = more.adapters_per_node_at_death;
}

} // namespace

Outcome Node_Control::act(const Node_Request &request, Time now) {
    switch (request.kind) {
    case HB_NODE_MAY_BE_DOWN:
        return suspect_node(request.number, now);
    case HB_NODE_IS_DOWN:
        return attempt(text("node ", request.number, " is down"),
                       [&] { return cluster_.node_down(static_cast<int>(request.number)); });
    case HB_ADAPTER_MAY_BE_DOWN:
        return suspect_adapter(request.number, now);
    case HB_ADAPTER_IS_DOWN:
        return attempt(text("adapter ", request.number, " is down"),
                       [&] { return cluster_.adapter_down(request.number); });
    case HB_SIMULATE_DEATH:
        return simulate_death(request.seconds);
    case HB_DISCARD_STALE_MESSAGES:
    case HB_DONT_DISCARD_STALE_MESSAGES:
        discards_stale_messages_ = request.kind == HB_DISCARD_STALE_MESSAGES;
        return done(discards_stale_messages_ ? "stale messages are discarded" : "stale messages are kept");
    case HB_ENABLE_MANUAL_CONTROL_NIMS:
    case HB_DISABLE_MANUAL_CONTROL_NIMS:
        return take_manual_control(request.kind == HB_ENABLE_MANUAL_CONTROL_NIMS, request.interface);
    default:
        return act_on_adapter(request, now);
    }
}

Outcome Node_Control::act_on_adapter(const Node_Request &request, Time now) {
    const std::optional<std::size_t> adapter = cluster_.local_adapter(static_cast<int>(request.number));
    if (!adapter) {
        // A grace request has no status of its own for this case.
        return refused(request.kind == HB_ADAPTER_GRACE_REQ ? REQUEST_FAILED : REQUEST_NOT_CONFIGURED,
                       text("the local node has no adapter in network ", request.number));
    }
    switch (request.kind) {
    case HB_CONFIGURE_ADAPTER:
        return configure(*adapter, request.address);
    case HB_UNCONFIGURE_ADAPTER:
        return unconfigure(*adapter);
    case HB_SWAP_ADAPTERS:
        return swap(*adapter, request.address);
    case HB_ADAPTER_GRACE_REQ:
        return give_grace(*adapter, request.seconds, now);
    case HB_GET_ADAPTER_STATE: {
        Outcome outcome = done(text("state of adapter ", *adapter, " sent"));
        outcome.word = cluster_.adapters()[*adapter].up ? Hb_Entity_Up : Hb_Entity_Down;
        return outcome;
    }
    default:
        return change_liveness(request, *adapter);
    }
}

// ---- Suspicions ----

Outcome Node_Control::suspect_node(int64_t node, Time now) {
    const auto index = static_cast<std::size_t>(node);
    if (node < 0 || index >= cluster_.nodes().size() || cluster_.nodes()[index].configured_adapters == 0) {
        return refused(REQUEST_NOT_CONFIGURED, text("node ", node, " is not in the configuration"));
    }
    if (node == cluster_.local_node()) {
        return refused(REQUEST_FAILED, text("node ", node, " is the local node, which is up while wispd runs"));
    }
    if (!cluster_.nodes()[index].up) {
        return refused(REQUEST_FAILED, text("node ", node, " is down already"));
    }
    const bool is_new = suspicions_.suspect_node(static_cast<int>(node), now + settings_.confirm);
    return done(text("node ", node, is_new ? " is suspected to be down" : " is suspected already"));
}

Outcome Node_Control::suspect_adapter(int64_t adapter, Time now) {
    const auto index = static_cast<std::size_t>(adapter);
    if (adapter < 0 || index >= cluster_.adapters().size() || !cluster_.adapters()[index].configured) {
        return refused(REQUEST_NOT_CONFIGURED, text("adapter ", adapter, " is not in the configuration"));
    }
    if (!cluster_.adapters()[index].up) {
        return refused(REQUEST_FAILED, text("adapter ", adapter, " is down already"));
    }
    if (suspicions_.in_grace(adapter, now)) {
        return refused(REQUEST_GRACE_RUNNING,
                       text("adapter ", adapter, " is in its grace period and cannot be suspected"));
    }
    const bool is_new = suspicions_.suspect_adapter(adapter, now + settings_.confirm);
    return done(text("adapter ", adapter, is_new ? " is suspected to be down" : " is suspected already"));
}

Outcome Node_Control::confirm_due(Time now) {
    const Suspicions::Due due = suspicions_.remove_due(now);
    Outcome deaths;
    std::size_t confirmed = 0;
    const auto add = [&](const Outcome &death) {
        if (death.status == REQUEST_DONE) {
            ++confirmed;
            append(deaths.changes, death.changes);
        }
    };
    // Members that went down are off the list already, but one death here can cause another one.
    for (int64_t adapter : due.adapters) {
        add(attempt("", [&] { return cluster_.adapter_down(adapter); }));
    }
    for (int node : due.nodes) {
        add(attempt("", [&] { return cluster_.node_down(node); }));
    }
    std::sort(deaths.changes.adapter_deaths.begin(), deaths.changes.adapter_deaths.end(),
              [](const Adapter_Member &a, const Adapter_Member &b) { return a.number < b.number; });
    std::sort(deaths.changes.node_deaths.begin(), deaths.changes.node_deaths.end());
    deaths.note = text(confirmed, confirmed == 1 ? " suspicion" : " suspicions", " confirmed");
    return deaths;
}

bool Node_Control::clear_node(int node) {
    bool any = suspicions_.clear_node(node);
    for (int network = 0; network < cluster_.adapters_per_node(); ++network) {
        any = suspicions_.clear_adapter(int64_t{node} * cluster_.adapters_per_node() + network) || any;
    }
    return any;
}

// ---- Adapters of the local node ----

Outcome Node_Control::change_liveness(const Node_Request &request, std::size_t adapter) {
    const auto number = static_cast<int64_t>(adapter);
    switch (request.kind) {
    case HB_ENABLE_ADAPTER:
        suspicions_.clear_adapter(number);
        return attempt(text("adapter ", adapter, " is enabled"),
                       [&] { return cluster_.adapter_enable(number); });
    case HB_DISABLE_ADAPTER:
        return attempt(text("adapter ", adapter, " is disabled"),
                       [&] { return cluster_.adapter_disable(number); });
    case HB_IFCONFIG_UP:
        suspicions_.clear_adapter(number);
        return attempt(text("the interface of adapter ", adapter, " is up"),
                       [&] { return cluster_.interface_up(number); });
    case HB_IFCONFIG_DOWN:
        return attempt(text("the interface of adapter ", adapter, " is down"),
                       [&] { return cluster_.interface_down(number); });
    default:
        return refused(REQUEST_FAILED,
                       text("request ", static_cast<int>(request.kind), " does not concern an adapter"));
    }
}

Outcome Node_Control::configure(std::size_t adapter, const Hb_IP_address4 &address) {
    const Hb_IP_address6 wanted = mapped(address);
    if (!cluster_.adapters()[adapter].carries_ip || !fits_interface(address)) {
        return refused(REQUEST_ADDRESS_UNFIT,
                       text("adapter ", adapter, " cannot carry the address ", address_text(wanted)));
    }
    const std::optional<std::size_t> owner = cluster_.owner_of(wanted);
    if (owner && *owner != adapter) {
        return refused(REQUEST_ADDRESS_IN_USE,
                       text("address ", address_text(wanted), " already belongs to adapter ", *owner));
    }
    return attempt(text("adapter ", adapter, " has the address ", address_text(wanted)),
                   [&] { return cluster_.set_address(static_cast<int64_t>(adapter), wanted); });
}

Outcome Node_Control::unconfigure(std::size_t adapter) {
    if (!is_address(cluster_.adapters()[adapter].address)) {
        return refused(REQUEST_NOT_CONFIGURED, text("adapter ", adapter, " already has no address"));
    }
    return attempt(text("adapter ", adapter, " no longer has an address"),
                   [&] { return cluster_.clear_address(static_cast<int64_t>(adapter)); });
}

Outcome Node_Control::swap(std::size_t adapter, const Hb_IP_address4 &address) {
    const Hb_IP_address6 wanted = mapped(address);
    const std::optional<std::size_t> owner = cluster_.owner_of(wanted);
    if (!owner || !cluster_.is_local(*owner)) {
        return refused(REQUEST_NOT_CONFIGURED,
                       text("no adapter of the local node has the address ", address_text(wanted)));
    }
    return attempt(text("adapters ", adapter, " and ", *owner, " exchanged their addresses"), [&] {
        return cluster_.swap_addresses(static_cast<int64_t>(adapter), static_cast<int64_t>(*owner));
    });
}

Outcome Node_Control::give_grace(std::size_t adapter, int32_t seconds, Time now) {
    const auto number = static_cast<int64_t>(adapter);
    if (seconds < 0 || seconds > settings_.max_grace_seconds) {
        return refused(REQUEST_GRACE_OUT_OF_RANGE,
                       text("a grace of ", seconds, " s; expected 0 to ", settings_.max_grace_seconds));
    }
    if (!cluster_.adapters()[adapter].up) {
        return refused(REQUEST_ADAPTER_DOWN, text("adapter ", adapter, " is down"));
    }
    if (suspicions_.in_grace(number, now)) {
        return refused(REQUEST_GRACE_RUNNING, text("adapter ", adapter, " has grace already"));
    }
    suspicions_.give_grace(number, now + std::chrono::seconds(seconds));
    return done(text("adapter ", adapter, " has grace for ", seconds, " s"));
}

// ---- The node ----

Outcome Node_Control::simulate_death(int32_t slept_seconds) {
    if (slept_seconds <= 0) {
        return refused(REQUEST_FAILED, text("a sleep of ", slept_seconds, " s; expected 1 or more"));
    }
    return attempt(text("the node died and rejoined, as after a sleep of ", slept_seconds, " s"),
                   [&] { return cluster_.sleep_and_wake(); });
}

Outcome Node_Control::take_manual_control(bool take, const std::string &interface) {
    const char *what = take ? " under manual control" : " not under manual control";
    if (interface.empty()) {
        manual_control_ = {take, {}};
        return done(text("all interfaces are", what));
    }
    if (take == manual_control_.all) {
        manual_control_.exceptions.erase(interface);
    } else if (manual_control_.exceptions.size() >= EXCEPTIONS_MOST &&
               !manual_control_.exceptions.contains(interface)) {
        return refused(REQUEST_FAILED, text("more than ", EXCEPTIONS_MOST, " interfaces are named"));
    } else {
        manual_control_.exceptions.insert(interface);
    }
    return done(text("interface ", interface, " is", what));
}

} // namespace wispd
