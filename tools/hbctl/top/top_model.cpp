// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/top_model.h"

#include <algorithm>
#include <utility>

#include "hb_client.h"
#include "tools/hbctl/render_text.h"

namespace hbctl {

void Top_Model::connect(Picture picture, const Moment &now) {
    picture_ = std::move(picture);
    add_entry({now.wall, was_connected_ ? "reconnected" : "connected", counts_text(count(picture_)), "", "",
               Tone::good});
    connected_ = true;
    was_connected_ = true;
    nodes_reported_ = false;
    adapters_reported_ = false;
    heartbeat_reported_ = false;
    silence_noted_ = false;
    obstacle_.clear();
    note_contact(now);
}

void Top_Model::add(const Event_Record &event, const Picture &changed, const Moment &now) {
    note_contact(now);
    if (event.kind == HB_EVENT_CONFIG) {
        picture_ = changed;
    }
    apply_event(event, picture_);
    if (!is_answer_to_subscription(event)) {
        add_entry(entry_of(event, *this));
    }
}

// The daemon answers a subscription with the present state, which the grid shows.
bool Top_Model::is_answer_to_subscription(const Event_Record &event) {
    if (event.kind == HB_EVENT_HEARTBEAT) {
        return !std::exchange(heartbeat_reported_, true);
    }
    if (event.kind != HB_EVENT_NEW_GROUP) {
        return false;
    }
    bool &reported = event.member_kind == Member_Kind::nodes ? nodes_reported_ : adapters_reported_;
    return !std::exchange(reported, true);
}

void Top_Model::note_contact(const Moment &now) {
    if (silence_noted_) {
        add_entry(
            {now.wall, "answers again", "wispd was silent since " + clock_text(since_), "", "", Tone::good});
        silence_noted_ = false;
    }
    since_ = now.wall;
    last_contact_ = now.steady;
}

void Top_Model::note_dropped(std::uint32_t sequence, const Moment &now) {
    note_contact(now);
    add_entry({now.wall, "dropped", "an inconsistent event, sequence number " + std::to_string(sequence), "",
               "", Tone::bad});
}

void Top_Model::disconnect(const std::string &reason, const Moment &now) {
    obstacle_ = reason;
    if (connected_) {
        add_entry({now.wall, "disconnected", "reconnecting to " + socket_, "", "", Tone::bad});
        since_ = now.wall;
    }
    connected_ = false;
    silence_noted_ = false;
}

void Top_Model::note_pause(const Moment &now) {
    last_contact_ = now.steady;
}

bool Top_Model::check_silence(const Moment &now) {
    if (contact(now) != Contact::silent || silence_noted_) {
        return false;
    }
    silence_noted_ = true;
    add_entry({now.wall, "no answer", "wispd has not answered since " + clock_text(since_), "", "", Tone::bad});
    return true;
}

Contact Top_Model::contact(const Moment &now) const {
    if (!connected_) {
        return was_connected_ ? Contact::disconnected : Contact::connecting;
    }
    return now.steady - last_contact_ > PATIENCE ? Contact::silent : Contact::connected;
}

std::string Top_Model::name_of(int node) const {
    const auto found = facts_.nodes.find(node);
    return found == facts_.nodes.end() ? "" : found->second;
}

void Top_Model::add_entry(Top_Entry entry) {
    entries_.push_front(std::move(entry));
    if (entries_.size() > MOST_ENTRIES) {
        entries_.pop_back();
    }
}

Top_Summary summarize(const Picture &picture) {
    Top_Summary summary;
    summary.counts = count(picture);
    for (const Network_Row &network : picture.networks) {
        summary.networks.push_back({network.number, network.name, 0, 0, 0});
    }
    for (const Adapter_Row &adapter : picture.adapters) {
        const auto found = picture.network_at.find(adapter.network);
        if (found != picture.network_at.end()) {
            Network_Summary &network = summary.networks[found->second];
            ++network.adapters;
            network.up += adapter.state == Liveness::up ? 1U : 0U;
            network.down += adapter.state == Liveness::down ? 1U : 0U;
        }
    }
    summary.networks_up =
        static_cast<std::size_t>(std::count_if(summary.networks.begin(), summary.networks.end(),
                                               [](const Network_Summary &network) { return network.up > 0; }));
    return summary;
}

namespace {

// With more members, an entry lists their numbers only.
constexpr std::size_t MOST_NAMED = 4;

std::string joined(const std::vector<std::string> &parts) {
    std::string text;
    for (const std::string &part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

template <typename Member> std::string numbers_of(const std::vector<Member> &members, const std::string &noun) {
    std::vector<std::uint32_t> numbers;
    for (const Member &member : members) {
        numbers.push_back(static_cast<std::uint32_t>(member.number));
    }
    return counted(members.size(), noun) + (members.empty() ? "" : ": " + number_ranges(numbers));
}

std::string short_name(const Node_Member &node, const Top_Model &model) {
    const std::string name = model.name_of(node.number);
    return std::to_string(node.number) + (name.empty() ? "" : " " + name);
}

std::string short_name(const Adapter_Member &adapter, const Top_Model &model) {
    const std::string node = model.name_of(adapter.node);
    std::string text = std::to_string(adapter.number);
    if (adapter.node < 0) {
        return text;
    }
    text += node.empty() ? " of node " + std::to_string(adapter.node) : " " + node;
    if (!adapter.network_name.empty()) {
        text += (node.empty() ? " on " : "/") + adapter.network_name;
    }
    return text;
}

std::string address_of(const Node_Member &node) {
    return joined(node.addresses);
}

std::string address_of(const Adapter_Member &adapter) {
    return adapter.address + (adapter.type.empty() || adapter.address.empty() ? "" : " ") + adapter.type;
}

template <typename Member>
void name_members(const std::vector<Member> &members, const std::string &noun, const Top_Model &model,
                  Top_Entry &entry) {
    if (members.empty() || members.size() > MOST_NAMED) {
        entry.who = numbers_of(members, noun);
        return;
    }
    std::vector<std::string> names;
    std::vector<std::string> addresses;
    for (const Member &member : members) {
        names.push_back(short_name(member, model));
        addresses.push_back(address_of(member));
    }
    entry.who = joined(names);
    entry.detail = joined(addresses);
}

Tone tone_of(int kind) {
    switch (kind) {
    case HB_EVENT_DEATH:
    case HB_EVENT_FFDC:
    case HB_EVENT_SITE_SPLIT:
    case HB_EVENT_DIFF_INSTANCE:
        return Tone::bad;
    case HB_EVENT_JOIN:
    case HB_EVENT_SITE_MERGE:
        return Tone::good;
    default:
        return Tone::neutral;
    }
}

} // namespace

Top_Entry entry_of(const Event_Record &event, const Top_Model &model) {
    Top_Entry entry{event.time, event_kind_text(event), "", "", event.ffdc_id, tone_of(event.kind)};
    if (event.member_kind == Member_Kind::nodes) {
        name_members(event.nodes, "node", model, entry);
    } else if (event.member_kind == Member_Kind::adapters) {
        name_members(event.adapters, "adapter", model, entry);
    } else if (event.kind != HB_EVENT_FFDC) {
        entry.who = event_detail_text(event);
    }
    return entry;
}

} // namespace hbctl
