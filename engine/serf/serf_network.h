// SPDX-License-Identifier: Apache-2.0
// The members of one gossip network by their node numbers, and which of their adapters are up: from what the network's
// agent reports, and from its end and return. No I/O and no clock of its own.
//
//  - An adapter is up while the agent reports its member alive or leaving.
//  - A death is held back for settle_milliseconds. It is withdrawn if the member is alive again in this time.
//  - When the agent ends, its members stay up until a given time. The grace of a member ends when the agent reports it.
//  - A member without a number, or with the number of another member, is rejected. It changes nothing.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/engine.h"
#include "engine/serf/serf_numbers.h"
#include "engine/serf/serf_report.h"

namespace wispd {

// A text for each name that occurs, kept once for all networks.
class Serf_Names {
  public:
    using Id = uint32_t; // 0: no name

    Id id_of(const std::string &name);
    Id find(const std::string &name) const; // 0 if the name never occurred
    const std::string &name_of(Id id) const { return *names_[id]; }

  private:
    std::unordered_map<std::string, Id> ids_;
    std::vector<const std::string *> names_{nullptr};
};

class Serf_Network {
  public:
    using Time = Engine::Time;
    using Settling = std::map<int, Settling_Status>;

    // `names` and `settling` outlive the network. `settling` counts for the nodes of all networks.
    Serf_Network(int number, Serf_Names &names, Settling &settling)
        : number_(number), names_(names), settling_(settling) {}

    struct News {
        bool liveness = false;      // an adapter came up or went down
        bool configuration = false; // a member appeared, was removed, or has another name or address
        unsigned rejected = 0;      // members that are rejected for the first time
    };

    // What the network's changes depend on, apart from the report.
    struct Rules {
        const Serf_Numbers &numbers;
        const std::string &own_name;   // the agent's own member
        std::optional<int> local_node; // the number of the agent's own member, whatever its name and tag say
        std::chrono::milliseconds settle;
        std::chrono::milliseconds grace; // for members that a complete list of the agent does not contain
    };

    // Applies one report of the agent.
    News apply(const Serf_Report &report, const Rules &rules, Time now);
    // Begins again with a complete list of members and other numbers. Members that stay keep their state.
    News renumber(const Serf_Report &all, const Rules &rules, Time now);
    // The agent ended. Its members stay up until the time; a member that is awaited already keeps its earlier time.
    void hold(Time until);
    // Does what is overdue: deaths that were held back, members that no agent reports.
    News advance(const Rules &rules, Time now);
    // When advance() has work; nothing if it has none.
    std::optional<Time> next_due() const;

    bool is_up(int node) const { return has(node) && slots_[at(node)].is_up; }
    // Whether the adapter went down because its member left in good order.
    bool has_departed(int node) const { return departed_.contains(node); }
    // Whether the adapter is up although the agent, which ended meanwhile, has not reported its member.
    bool is_awaited(int node) const { return awaited_.contains(node); }
    std::vector<int> awaited() const;

    // The nodes whose adapter went down since the last call, also if it is up again.
    std::set<int> take_died() { return std::exchange(died_, {}); }

    struct Place {
        std::string name;
        Hb_IP_address6 address;
    };
    // The member that has this number; nothing if there is none.
    std::optional<Place> member(int node) const;
    std::optional<int> node_named(const std::string &name) const;
    int slots() const { return static_cast<int>(slots_.size()); } // no node from this number on

    int held_deaths(int node) const; // 0 or 1
    // The members as the agent should count them.
    const Serf_Counts &counts() const;
    // Rejected members with the reason, at most so many.
    std::vector<std::string> rejections(std::size_t most) const;
    // Why the member is rejected; nothing if it is not.
    std::optional<std::string> rejection_of(const std::string &name) const;
    // The number that the name or tag of the agent's own member states, if it states one.
    std::optional<int> own_number() const { return own_number_; }

  private:
    struct Slot {
        Serf_Names::Id name = 0;                                // 0: no member
        Serf_Member::Status status = Serf_Member::Status::none; // as last reported
        bool is_up = false;
        Hb_IP_address6 address{};
    };
    struct Rejected {
        Serf_Member member;
        std::string reason;
    };

    static constexpr int NOBODY = -1;

    static std::size_t at(int node) { return static_cast<std::size_t>(node); }
    bool has(int node) const { return node >= 0 && at(node) < slots_.size() && slots_[at(node)].name != 0; }
    // A report or a moment that is being applied.
    struct Turn {
        const Rules &rules;
        Time now;
        News news;
        bool number_is_free = false; // a rejected member may be acceptable now
    };
    void apply_list(const Serf_Report &all, Turn &turn);
    void end_turn(Turn &turn);
    void await_unlisted(const Serf_Report &all, Turn &turn);
    void accept(const Serf_Member &member, Turn &turn);
    void reject(const Serf_Member &member, const std::string &reason, Turn &turn);
    void put(int node, const Serf_Member &member, Turn &turn);
    bool is_taken(int node, Serf_Names::Id name, Serf_Member::Status status) const;
    void set_status(int node, Serf_Member::Status status, Turn &turn);
    void remove(const Serf_Member &member, Turn &turn);
    void vacate(int node, Turn &turn);
    void try_rejected_again(Turn &turn);

    int number_;
    Serf_Names &names_;
    Settling &settling_;
    std::vector<Slot> slots_;                  // by node number
    std::vector<int> nodes_;                   // by the id of the name; NOBODY without a member of that name
    std::map<std::string, Rejected> rejected_; // by name
    std::set<int> died_;
    std::set<int> departed_; // nodes whose member left in good order and has not returned
    std::optional<int> own_number_;
    mutable std::optional<Serf_Counts> counts_; // empty: a change has outdated them
    std::map<int, Time> settles_; // adapters that are up although their member is dead, and until when
    std::map<int, Time> awaited_; // adapters that are up although no agent reports their member, and until when
    std::map<int, Time> unlisted_; // members that a complete list did not contain, and when they are removed
};

} // namespace wispd
