// SPDX-License-Identifier: Apache-2.0
// hb/subscription.hpp - hb::subscription: the nodes, adapters or sites that a program wants events for
#ifndef HB_SUBSCRIPTION_HPP
#define HB_SUBSCRIPTION_HPP

#include <cstring>
#include <initializer_list>

#include "hb/configuration.hpp"
#include "hb/numbers.hpp"
#include "hb/ranges.hpp"
#include "hb/result.hpp"

namespace hb {

namespace detail {

// The steps over the members of a group. The record has one cursor; each iterator sets it to its own position.
template <class Number, Hb_Rc (*First)(Hb_Subscription_Group *, Number *),
          Hb_Rc (*Next)(Hb_Subscription_Group *, Number *)>
struct member_steps {
    using value_type = Number;
    Hb_Subscription_Group *group = nullptr;

    bool first(Number &number, Hb_Cursor &position) const {
        if (group == nullptr || First(group, &number) != Hb_Success) {
            return false;
        }
        position = group->Hb_cursor;
        return true;
    }
    bool next(Number &number, Hb_Cursor &position) const {
        group->Hb_cursor = position;
        if (Next(group, &number) != Hb_Success) {
            return false;
        }
        position = group->Hb_cursor;
        return true;
    }
};

} // namespace detail

using subscribed_nodes =
    range<detail::member_steps<node_number, hb_get_first_subscription_node, hb_get_next_subscription_node>>;
using subscribed_adapters = range<
    detail::member_steps<adapter_number, hb_get_first_subscription_adapter, hb_get_next_subscription_adapter>>;
using subscribed_sites =
    range<detail::member_steps<site_number, hb_get_first_subscription_site, hb_get_next_subscription_site>>;

// A set of members of one kind: nodes, adapters or sites. The first member decides the kind. It becomes a subscription
// of the program when it is passed to session::subscribe, which copies it: the object can be changed and passed again.
//
// The functions need an open session, since only configured members can be added; on a closed one they fail with
// HB_ERROR_NOT_OPEN. Errors of all: 4 number out of range; not configured: 9 node, 7 adapter, 8 network, 84 site; 11 the
// set is of another kind. The object has 12 KiB and allocates nothing.
class subscription {
  public:
    // An empty set.
    subscription() noexcept {
        std::memset(&group_, 0, sizeof group_);
        group_.Hb_subscription_type = Hb_Empty_Subscription;
    }

    // ---- Sets to begin with ----

    // Return every configured node, adapter or site.
    static result<subscription> all_nodes(const configuration &session) {
        return filled(session, hb_add_all_nodes_to_subscription_group);
    }
    static result<subscription> all_adapters(const configuration &session) {
        return filled(session, hb_add_all_adapters_to_subscription_group);
    }
    static result<subscription> all_sites(const configuration &session) {
        return filled(session, hb_add_all_sites_to_subscription_group);
    }

    // Returns the adapters of a network. No other network can be added.
    static result<subscription> adapters_of_network(const configuration &session, network_number network) {
        subscription made;
        return made.change(session, hb_add_network_to_subscription_group, network).transform([&] {
            return made;
        });
    }

    // Return these nodes, adapters or sites: any container of integers, a range of the session, or a list in braces.
    template <class Nodes> static result<subscription> nodes(const configuration &session, const Nodes &nodes) {
        return of_each(session, nodes, &subscription::add_node);
    }
    template <class Adapters>
    static result<subscription> adapters(const configuration &session, const Adapters &adapters) {
        return of_each(session, adapters, &subscription::add_adapter);
    }
    template <class Sites> static result<subscription> sites(const configuration &session, const Sites &sites) {
        return of_each(session, sites, &subscription::add_site);
    }
    static result<subscription> nodes(const configuration &session, std::initializer_list<node_number> nodes) {
        return of_each(session, nodes, &subscription::add_node);
    }
    static result<subscription> adapters(const configuration &session,
                                         std::initializer_list<adapter_number> adapters) {
        return of_each(session, adapters, &subscription::add_adapter);
    }
    static result<subscription> sites(const configuration &session, std::initializer_list<site_number> sites) {
        return of_each(session, sites, &subscription::add_site);
    }

    // ---- Changes ----

    // Add or remove one member. Adding it twice and removing an absent one succeed.
    result<void> add_node(const configuration &session, node_number node) {
        return change(session, hb_add_node_to_subscription_group, node);
    }
    result<void> remove_node(const configuration &session, node_number node) {
        return change(session, hb_remove_node_from_subscription_group, node);
    }
    result<void> add_adapter(const configuration &session, adapter_number adapter) {
        return change(session, hb_add_adapter_to_subscription_group, adapter);
    }
    result<void> remove_adapter(const configuration &session, adapter_number adapter) {
        return change(session, hb_remove_adapter_from_subscription_group, adapter);
    }
    result<void> add_site(const configuration &session, site_number site) {
        return change(session, hb_add_site_to_subscription_group, site);
    }
    result<void> remove_site(const configuration &session, site_number site) {
        return change(session, hb_remove_site_from_subscription_group, site);
    }

    // ---- Members ----

    // Return the members in ascending order; none if the set is of another kind. A range ends when the set is moved,
    // changed or destroyed.
    subscribed_nodes node_members() const { return subscribed_nodes({&group_}); }
    subscribed_adapters adapter_members() const { return subscribed_adapters({&group_}); }
    subscribed_sites site_members() const { return subscribed_sites({&group_}); }

    // Returns the record of the C interface, for its calls.
    Hb_Subscription_Group &native() const noexcept { return group_; }

  private:
    static result<subscription> filled(const configuration &session, Hb_Rc (*fill)(Hb_Subscription_Group *)) {
        if (!session.is_open()) {
            return error(HB_ERROR_NOT_OPEN);
        }
        subscription made;
        return detail::checked(fill(&made.group_)).transform([&] { return made; });
    }

    template <class Numbers, class Number>
    static result<subscription> of_each(const configuration &session, const Numbers &numbers,
                                        result<void> (subscription::*add)(const configuration &, Number)) {
        subscription made;
        for (const auto number : numbers) {
            if (!detail::fits<Number>(number)) {
                return error(HB_ERROR_BAD_ARGUMENT);
            }
            if (const result<void> added = (made.*add)(session, static_cast<Number>(number)); !added) {
                return added.error();
            }
        }
        return made;
    }

    template <class Number>
    result<void> change(const configuration &session, Hb_Rc (*function)(Hb_Subscription_Group *, Number),
                        Number number) {
        return session.is_open() ? detail::checked(function(&group_, number)) : error(HB_ERROR_NOT_OPEN);
    }

    // An iteration moves the cursor in the record, which is no part of the set.
    mutable Hb_Subscription_Group group_;
};

} // namespace hb

#endif
