#include "tools/hbctl/subscription.h"

#include <algorithm>
#include <utility>

#include "tools/hbctl/configured.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

bool is_absent(int error) {
    return error == HB_ERROR_BAD_ARGUMENT || error == HB_ERROR_ADAPTER_NOT_CONFIGURED ||
           error == HB_ERROR_NODE_NOT_CONFIGURED;
}

bool is_number(const std::string &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

Hb_Network_Number network_of_digits(const std::string &digits) {
    constexpr std::size_t most_digits = 4;
    if (digits.size() > most_digits) {
        return HB_NETWORK_SLOTS; // out of range, like the number
    }
    return static_cast<Hb_Network_Number>(std::stoi(digits));
}

// -1 when no network has the name.
Hb_Network_Number find_network(const std::string &number_or_name) {
    if (is_number(number_or_name)) {
        return network_of_digits(number_or_name);
    }
    Hb_Network_Number network = -1;
    std::string name = number_or_name;
    return hb_get_network_number_by_name(name.data(), &network) == Hb_Success ? network : Hb_Network_Number{-1};
}

void note(std::string &left_out, const std::string &who) {
    left_out += left_out.empty() ? "left out, because no longer configured: " + who : ", " + who;
}

} // namespace

std::vector<Subscription_Request> everything() {
    constexpr int membership = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;
    std::vector<Subscription_Request> requests{
        {"hbctl-nodes", Selection::all_nodes, {}, "", membership | HB_EVENT_HEARTBEAT},
        {"hbctl-adapters", Selection::all_adapters, {}, "", membership},
        {"hbctl-instances", Selection::different_instance, {}, "", HB_EVENT_DIFF_INSTANCE},
    };
    int sites = 0;
    if (hb_get_number_of_configured_sites(&sites) == Hb_Success && sites > 0) {
        requests.push_back(
            {"hbctl-sites", Selection::sites, {}, "", HB_EVENT_SITE_SPLIT | HB_EVENT_SITE_MERGE});
    }
    return requests;
}

Subscription::Subscription(Subscription_Request request)
    : request_(std::move(request)), group_(std::make_unique<Hb_Subscription_Group>()) {}

void Subscription::ask() {
    find_names();
    std::string left_out;
    const Missing missing = active_ ? Missing::leave_out : Missing::refuse;
    if (build(missing, left_out)) {
        send();
    }
    active_ = true;
}

std::string Subscription::refresh() {
    const bool follows_by_itself = request_.selection != Selection::nodes &&
                                   request_.selection != Selection::adapters &&
                                   request_.selection != Selection::network;
    if (follows_by_itself) {
        return "";
    }
    std::string left_out;
    const bool has_members = build(Missing::leave_out, left_out);
    const Asked wanted = has_members ? asked_for() : Asked{};
    if (wanted == asked_) {
        return "";
    }
    if (has_members) {
        send();
    } else {
        require(hb_unsubscribe(request_.name.c_str()), "end the subscription " + request_.name);
        asked_ = wanted;
    }
    return left_out;
}

// Returns false if no member is left to subscribe to.
bool Subscription::build(Missing missing, std::string &left_out) {
    require(hb_empty_subscription_group(group_.get()), "make a subscription group");
    switch (request_.selection) {
    case Selection::nodes:
        build_nodes(missing, left_out);
        break;
    case Selection::adapters:
        build_adapters(missing, left_out);
        break;
    case Selection::network:
        return build_network(missing, left_out);
    case Selection::all_nodes:
        require(hb_add_all_nodes_to_subscription_group(group_.get()), "subscribe to all nodes");
        break;
    case Selection::all_adapters:
        require(hb_add_all_adapters_to_subscription_group(group_.get()), "subscribe to all adapters");
        break;
    case Selection::sites:
    case Selection::different_instance:
        return true; // the event mask alone defines the subscription
    }
    return group_->Hb_subscription_type != Hb_Empty_Subscription;
}

// Names become numbers once, at the start: later changes follow the numbers, as without names.
void Subscription::find_names() {
    const auto is_unknown = [](const Member_Word &word) { return !word.name.empty(); };
    if (std::none_of(request_.members.begin(), request_.members.end(), is_unknown)) {
        return;
    }
    const Picture picture = read_picture();
    for (Member_Word &word : request_.members) {
        const bool is_node = request_.selection == Selection::nodes;
        word = {is_node ? static_cast<std::uint32_t>(find_node(word, picture)) : find_adapter(word, picture),
                ""};
    }
}

void Subscription::build_nodes(Missing missing, std::string &left_out) {
    for (const Member_Word &word : request_.members) {
        const std::string who = "node " + word_text(word);
        const Hb_Rc result =
            hb_add_node_to_subscription_group(group_.get(), static_cast<Hb_Node_Number>(word.number));
        if (result != Hb_Success && missing == Missing::leave_out && is_absent(hb_get_errno())) {
            note(left_out, who);
        } else if (result != Hb_Success) {
            require_node(static_cast<int>(word.number), read_picture());
            require(result, "subscribe to " + who);
        }
    }
}

void Subscription::build_adapters(Missing missing, std::string &left_out) {
    for (const Member_Word &word : request_.members) {
        const std::string who = "adapter " + word_text(word);
        const Hb_Rc result = hb_add_adapter_to_subscription_group(group_.get(), word.number);
        if (result != Hb_Success && missing == Missing::leave_out && is_absent(hb_get_errno())) {
            note(left_out, who);
        } else if (result != Hb_Success) {
            require_adapter(word.number, read_picture());
            require(result, "subscribe to " + who);
        }
    }
}

bool Subscription::build_network(Missing missing, std::string &left_out) {
    const std::string who = "network " + request_.network;
    const Hb_Network_Number network = find_network(request_.network);
    if (missing == Missing::refuse) {
        require_network(request_.network, read_picture());
    }
    const Hb_Rc result = network < 0 ? Hb_Failure : hb_add_network_to_subscription_group(group_.get(), network);
    if (result == Hb_Success) {
        return true;
    }
    if (missing == Missing::refuse) {
        require(result, "subscribe to " + who);
    }
    note(left_out, who);
    return false;
}

Subscription::Asked Subscription::asked_for() const {
    const auto &members = group_->Hb_subscription_grp_union;
    Asked asked;
    int configured = -1;
    if (group_->Hb_subscription_type == Hb_Node_Subscription) {
        const auto &nodes = members.Hb_node_subscription_grp;
        asked.members.assign(std::begin(nodes.Hb_node_list), std::end(nodes.Hb_node_list));
        require(hb_get_number_of_configured_nodes(&configured), "count the nodes");
        asked.all = nodes.Hb_num_nodes == configured;
    } else {
        const auto &adapters = members.Hb_adapter_subscription_grp;
        asked.members.assign(std::begin(adapters.Hb_adapter_list), std::end(adapters.Hb_adapter_list));
        require(hb_get_number_of_configured_adapters(&configured), "count the adapters");
        asked.all =
            group_->Hb_subscription_type == Hb_Adapter_Subscription && adapters.Hb_num_adapters == configured;
    }
    return asked;
}

void Subscription::send() {
    if (request_.selection != Selection::sites && request_.selection != Selection::different_instance) {
        asked_ = asked_for();
    }
    std::string name = request_.name;
    require(hb_subscribe(name.data(), group_.get(), request_.events), "subscribe as " + request_.name);
}

} // namespace hbctl
