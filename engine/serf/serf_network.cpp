// SPDX-License-Identifier: Apache-2.0
#include "engine/serf/serf_network.h"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "cluster/address.h"
#include "common/printable.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {
namespace {

using Status = Serf_Member::Status;

constexpr unsigned REJECTIONS_LOGGED = 10; // of one report

bool is_alive(Status status) {
    return status == Status::alive || status == Status::leaving;
}

// Removes and returns the nodes whose time has come.
std::vector<int> take_overdue(std::map<int, Serf_Network::Time> &waiting, Serf_Network::Time now) {
    std::vector<int> overdue;
    std::erase_if(waiting, [&](const auto &one) {
        if (one.second <= now) {
            overdue.push_back(one.first);
        }
        return one.second <= now;
    });
    return overdue;
}

} // namespace

// ---- Names ----

Serf_Names::Id Serf_Names::id_of(const std::string &name) {
    const auto [found, is_new] = ids_.try_emplace(name, static_cast<Id>(names_.size()));
    if (is_new) {
        names_.push_back(&found->first);
    }
    return found->second;
}

Serf_Names::Id Serf_Names::find(const std::string &name) const {
    const auto found = ids_.find(name);
    return found != ids_.end() ? found->second : 0;
}

// ---- Reports ----

Serf_Network::News Serf_Network::apply(const Serf_Report &report, const Rules &rules, Time now) {
    Turn turn{rules, now, {}};
    if (report.kind == Serf_Report::Kind::all) {
        apply_list(report, turn);
    } else {
        for (const Serf_Member &member : report.members) {
            report.kind == Serf_Report::Kind::reap ? remove(member, turn) : accept(member, turn);
        }
    }
    end_turn(turn);
    return turn.news;
}

// A list has its members in random order. Of two members with the same number wispd accepts the agent's own one, else
// one that is alive, else the first by name. So all wispds agree, except on the nodes of these two members.
void Serf_Network::apply_list(const Serf_Report &all, Turn &turn) {
    std::vector<const Serf_Member *> members;
    members.reserve(all.members.size());
    for (const Serf_Member &member : all.members) {
        members.push_back(&member);
    }
    const auto rank = [&](const Serf_Member &member) {
        return std::make_tuple(member.name != turn.rules.own_name, !is_alive(member.status),
                               std::string_view(member.name));
    };
    std::sort(members.begin(), members.end(),
              [&](const Serf_Member *one, const Serf_Member *other) { return rank(*one) < rank(*other); });
    for (const Serf_Member *member : members) {
        accept(*member, turn);
    }
    await_unlisted(all, turn);
}

void Serf_Network::end_turn(Turn &turn) {
    counts_.reset();
    if (turn.number_is_free) {
        try_rejected_again(turn);
    }
    if (turn.news.rejected > REJECTIONS_LOGGED) {
        log_warning(text("Serf rejected members of network ", number_, ": ",
                         turn.news.rejected - REJECTIONS_LOGGED, " more; see wispctl state"));
    }
}

// An agent that has just returned finds its members one after the other. So a member that is missing in its list is not
// removed at once.
void Serf_Network::await_unlisted(const Serf_Report &all, Turn &turn) {
    std::vector<bool> is_listed(slots_.size());
    std::set<std::string> rejected;
    for (const Serf_Member &member : all.members) {
        if (const auto node = node_named(member.name)) {
            is_listed[at(*node)] = true;
        } else {
            rejected.insert(member.name);
        }
    }
    std::erase_if(rejected_, [&](const auto &one) { return !rejected.contains(one.first); });
    for (int node = 0; node < slots(); ++node) {
        Slot &slot = slots_[at(node)];
        if (slot.name != 0 && !is_listed[at(node)]) {
            slot.status = Status::none;
            unlisted_.try_emplace(node, turn.now + turn.rules.grace);
            if (slot.is_up && !settles_.contains(node)) {
                awaited_.try_emplace(node, turn.now + turn.rules.grace);
            }
        }
    }
}

// Vacates the slots of all members whose number changes before it fills any, so that members can exchange numbers.
Serf_Network::News Serf_Network::renumber(const Serf_Report &all, const Rules &rules, Time now) {
    Turn turn{rules, now, {}};
    for (const Serf_Member &member : all.members) {
        const auto before = node_named(member.name);
        if (before && member.name != rules.own_name && before != rules.numbers.node_of(member).node) {
            vacate(*before, turn);
        }
    }
    const News more = apply(all, rules, now);
    return {turn.news.liveness || more.liveness, true, more.rejected};
}

void Serf_Network::accept(const Serf_Member &member, Turn &turn) {
    Serf_Numbers::Answer answer = turn.rules.numbers.node_of(member);
    if (member.name == turn.rules.own_name) {
        own_number_ = answer.node;
        if (turn.rules.local_node) {
            answer = {turn.rules.local_node, {}};
        }
    }
    const auto before = node_named(member.name);
    if (before && answer.node != before) {
        vacate(*before, turn); // its tag changed
    }
    if (!answer.node) {
        reject(member, answer.reason, turn);
    } else if (is_taken(*answer.node, names_.find(member.name), member.status)) {
        reject(member,
               text("node ", *answer.node, " is already the member ",
                    terminal::printable(names_.name_of(slots_[at(*answer.node)].name))),
               turn);
    } else {
        rejected_.erase(member.name);
        put(*answer.node, member, turn);
    }
}

// Whether another member keeps the number from this one. A member that is alive replaces one that is dead.
bool Serf_Network::is_taken(int node, Serf_Names::Id name, Status status) const {
    if (!has(node) || (name != 0 && slots_[at(node)].name == name)) {
        return false;
    }
    const bool is_occupied = is_alive(slots_[at(node)].status) || awaited_.contains(node);
    return is_occupied || !is_alive(status);
}

void Serf_Network::reject(const Serf_Member &member, const std::string &reason, Turn &turn) {
    const auto [found, is_new] = rejected_.try_emplace(member.name, Rejected{member, reason});
    if (is_new || found->second.reason != reason) {
        if (++turn.news.rejected <= REJECTIONS_LOGGED) {
            log_warning(text("Serf member ", terminal::printable(member.name), " of network ", number_,
                             " rejected: ", reason, "; correct its name or its tag hb_node"));
        }
    }
    found->second = {member, reason};
}

// A rejected member is accepted when no other member keeps its number.
void Serf_Network::try_rejected_again(Turn &turn) {
    std::vector<Serf_Member> acceptable;
    for (const auto &[name, one] : rejected_) {
        const auto node = turn.rules.numbers.node_of(one.member).node;
        if (node && !is_taken(*node, names_.find(name), one.member.status)) {
            acceptable.push_back(one.member);
        }
    }
    for (const Serf_Member &member : acceptable) {
        accept(member, turn);
        if (const auto node = node_named(member.name)) {
            log_info(text("Serf member ", terminal::printable(member.name), " of network ", number_,
                          " accepted as node ", *node));
        }
    }
}

void Serf_Network::put(int node, const Serf_Member &member, Turn &turn) {
    if (at(node) >= slots_.size()) {
        slots_.resize(at(node) + 1);
    }
    const Serf_Names::Id name = names_.id_of(member.name);
    if (slots_[at(node)].name != name) {
        if (slots_[at(node)].name != 0) {
            const Serf_Member before{names_.name_of(slots_[at(node)].name), slots_[at(node)].address,
                                     slots_[at(node)].status, std::nullopt};
            vacate(node, turn);
            // The agent still knows the earlier member.
            rejected_.insert_or_assign(before.name, Rejected{before, text("node ", node, " is now the member ",
                                                                          terminal::printable(member.name))});
        }
        nodes_.resize(std::max<std::size_t>(nodes_.size(), name + 1), NOBODY);
        nodes_[name] = node;
        slots_[at(node)].name = name;
        slots_[at(node)].address = member.address;
        turn.news.configuration = true;
    }
    Slot &slot = slots_[at(node)];
    if (!same_address(slot.address, member.address)) {
        slot.address = member.address;
        turn.news.configuration = true;
    }
    set_status(node, member.status, turn);
}

void Serf_Network::set_status(int node, Status status, Turn &turn) {
    Slot &slot = slots_[at(node)];
    if (status == Status::left && names_.name_of(slot.name) == turn.rules.own_name) {
        status = Status::leaving; // the agent stops; the grace begins with its end
    }
    turn.number_is_free = turn.number_is_free || !is_alive(status);
    slot.status = status;
    awaited_.erase(node);
    unlisted_.erase(node);
    if (is_alive(status)) {
        if (settles_.erase(node) != 0) {
            ++settling_[node].withdrawn;
        } else if (!slot.is_up) {
            slot.is_up = true;
            turn.news.liveness = true;
        }
        departed_.erase(node);
        return;
    }
    if (!slot.is_up) {
        return;
    }
    if (status == Status::left && !settles_.contains(node)) {
        departed_.insert(node);
    }
    if (turn.rules.settle.count() == 0) {
        slot.is_up = false;
        died_.insert(node);
        turn.news.liveness = true;
    } else if (settles_.try_emplace(node, turn.now + turn.rules.settle).second) {
        ++settling_[node].held;
    }
}

void Serf_Network::remove(const Serf_Member &member, Turn &turn) {
    rejected_.erase(member.name);
    if (const auto node = node_named(member.name)) {
        // An agent can reap a member together with its leave.
        if (is_up(*node) && !settles_.contains(*node) &&
            (member.status == Status::left || member.status == Status::leaving)) {
            departed_.insert(*node);
        }
        vacate(*node, turn);
    }
}

void Serf_Network::vacate(int node, Turn &turn) {
    Slot &slot = slots_[at(node)];
    if (slot.is_up) {
        died_.insert(node);
    }
    turn.number_is_free = true;
    turn.news.liveness = turn.news.liveness || slot.is_up;
    turn.news.configuration = true;
    nodes_[slot.name] = NOBODY;
    slot = {};
    settles_.erase(node);
    awaited_.erase(node);
    unlisted_.erase(node);
}

// ---- Time ----

void Serf_Network::hold(Time until) {
    counts_.reset();
    for (int node = 0; node < slots(); ++node) {
        Slot &slot = slots_[at(node)];
        slot.status = Status::none;
        if (slot.is_up && !settles_.contains(node)) {
            awaited_.try_emplace(node, until);
        }
    }
}

Serf_Network::News Serf_Network::advance(const Rules &rules, Time now) {
    Turn turn{rules, now, {}};
    for (std::map<int, Time> *waiting : {&settles_, &awaited_}) {
        for (const int node : take_overdue(*waiting, now)) {
            slots_[at(node)].is_up = false;
            died_.insert(node);
            turn.news.liveness = true;
            turn.number_is_free = true;
        }
    }
    for (const int node : take_overdue(unlisted_, now)) {
        vacate(node, turn);
    }
    if (turn.number_is_free) {
        end_turn(turn);
    }
    return turn.news;
}

std::optional<Serf_Network::Time> Serf_Network::next_due() const {
    std::optional<Time> due;
    for (const auto *waiting : {&settles_, &awaited_, &unlisted_}) {
        for (const auto &[node, until] : *waiting) {
            due = due ? std::min(*due, until) : until;
        }
    }
    return due;
}

// ---- Questions ----

std::optional<int> Serf_Network::node_named(const std::string &name) const {
    const Serf_Names::Id id = names_.find(name);
    return id < nodes_.size() && nodes_[id] != NOBODY ? std::optional(nodes_[id]) : std::nullopt;
}

std::optional<Serf_Network::Place> Serf_Network::member(int node) const {
    if (!has(node)) {
        return std::nullopt;
    }
    return Place{names_.name_of(slots_[at(node)].name), slots_[at(node)].address};
}

std::vector<int> Serf_Network::awaited() const {
    std::vector<int> nodes;
    for (const auto &[node, until] : awaited_) {
        nodes.push_back(node);
    }
    return nodes;
}

int Serf_Network::held_deaths(int node) const {
    return settles_.contains(node) ? 1 : 0;
}

const Serf_Counts &Serf_Network::counts() const {
    if (counts_) {
        return *counts_;
    }
    Serf_Counts &counts = counts_.emplace();
    const auto count = [&counts](Status status) {
        ++counts.members;
        counts.failed += status == Status::failed ? 1 : 0;
        counts.left += status == Status::left ? 1 : 0;
    };
    for (const Slot &slot : slots_) {
        if (slot.name != 0 && slot.status != Status::none) {
            count(slot.status);
        }
    }
    for (const auto &[name, one] : rejected_) {
        count(one.member.status);
    }
    return counts;
}

std::vector<std::string> Serf_Network::rejections(std::size_t most) const {
    std::vector<std::string> some;
    for (const auto &[name, one] : rejected_) {
        if (some.size() == most) {
            break;
        }
        some.push_back(text("network ", number_, ", ", terminal::printable(name), ": ", one.reason));
    }
    return some;
}

std::optional<std::string> Serf_Network::rejection_of(const std::string &name) const {
    const auto found = rejected_.find(name);
    return found != rejected_.end() ? std::optional(found->second.reason) : std::nullopt;
}

} // namespace wispd
