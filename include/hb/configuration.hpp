// SPDX-License-Identifier: Apache-2.0
// hb/configuration.hpp - hb::configuration: which nodes, adapters, networks and sites are configured
#ifndef HB_CONFIGURATION_HPP
#define HB_CONFIGURATION_HPP

#include <cstddef>
#include <string_view>

#include "hb/address.hpp"
#include "hb/numbers.hpp"
#include "hb/ranges.hpp"
#include "hb/result.hpp"
#include "hb/text.hpp"

namespace hb {

namespace detail {

// The steps of an iteration over the whole configuration.
template <class Number, Hb_Rc (*First)(Number *, Hb_Cursor *), Hb_Rc (*Next)(Number *, Hb_Cursor *)>
struct configured_steps {
    using value_type = Number;
    bool is_open = false;

    bool first(Number &number, Hb_Cursor &position) const {
        return is_open && First(&number, &position) == Hb_Success;
    }
    bool next(Number &number, Hb_Cursor &position) const { return Next(&number, &position) == Hb_Success; }
};

// The steps of an iteration over the adapters of one node or network.
template <class Owner, Hb_Rc (*First)(Owner, Hb_Adapter_Number *, Hb_Cursor *),
          Hb_Rc (*Next)(Owner, Hb_Adapter_Number *, Hb_Cursor *)>
struct owned_adapter_steps {
    using value_type = adapter_number;
    bool is_open = false;
    Owner owner = 0;

    bool first(adapter_number &number, Hb_Cursor &position) const {
        return is_open && First(owner, &number, &position) == Hb_Success;
    }
    bool next(adapter_number &number, Hb_Cursor &position) const {
        return Next(owner, &number, &position) == Hb_Success;
    }
};

} // namespace detail

// Ranges of numbers. They begin again from the configuration at every begin().
using node_range = range<detail::configured_steps<node_number, hb_get_first_configured_node_number,
                                                  hb_get_next_configured_node_number>>;
using network_range = range<detail::configured_steps<network_number, hb_get_first_configured_network_number,
                                                     hb_get_next_configured_network_number>>;
using site_range = range<detail::configured_steps<site_number, hb_get_first_configured_site_number,
                                                  hb_get_next_configured_site_number>>;
using adapter_range = range<detail::configured_steps<adapter_number, hb_get_first_configured_adapter_number,
                                                     hb_get_next_configured_adapter_number>>;
using adapters_of_node_range =
    range<detail::owned_adapter_steps<node_number, hb_get_first_configured_adapter_in_node,
                                      hb_get_next_configured_adapter_in_node>>;
using adapters_of_network_range =
    range<detail::owned_adapter_steps<network_number, hb_get_first_configured_adapter_in_network,
                                      hb_get_next_configured_adapter_in_network>>;

// The queries of an hb::session. They answer from the configuration that the library has loaded. An event of the type
// hb::events::configuration_changed replaces it: do not continue an iteration over such an event.
//
// On a closed session every range is empty, and every query fails with HB_ERROR_NOT_OPEN. Do not use a range that was made
// before the session was closed: it would open the library again. An iteration that reaches its end sets the error number
// of the C interface to HB_ERROR_NO_MORE.
class configuration {
  public:
    // Returns whether the session is open. It stays open when the daemon disconnects.
    bool is_open() const noexcept { return is_open_; }

    // ---- Ranges ----

    // Returns the nodes that own an adapter, in ascending order.
    node_range nodes() const { return node_range({is_open_}); }
    // Returns the networks that have a name, in ascending order.
    network_range networks() const { return network_range({is_open_}); }
    // Returns the sites in ascending order. There are none in daemon mode.
    site_range sites() const { return site_range({is_open_}); }
    // Returns all adapters, in the order of the configuration.
    adapter_range adapters() const { return adapter_range({is_open_}); }
    // Returns the adapters of a node in ascending order; none if the node is not configured.
    adapters_of_node_range adapters_of_node(node_number node) const {
        return adapters_of_node_range({is_open_, node});
    }
    // Returns the adapters of a network in the order of the configuration; none if the network is not configured.
    adapters_of_network_range adapters_of_network(network_number network) const {
        return adapters_of_network_range({is_open_, network});
    }

    // ---- Counts ----

    result<int> node_count() const { return ask<int>(hb_get_number_of_configured_nodes); }
    result<int> network_count() const { return ask<int>(hb_get_number_of_configured_networks); }
    result<int> adapter_count() const { return ask<int>(hb_get_number_of_configured_adapters); }
    result<int> site_count() const { return ask<int>(hb_get_number_of_configured_sites); }
    // Errors: 4 node out of range, 9 not configured.
    result<int> adapter_count_of_node(node_number node) const {
        return ask<int>(hb_get_number_of_configured_adapters_in_node, node);
    }

    // ---- Look-ups. Errors of all: 4 number out of range ----

    // Returns the node that this program runs on.
    result<node_number> local_node() const { return ask<node_number>(hb_get_my_node_number); }
    // Returns the node of an adapter. Error 7: the adapter is not configured.
    result<node_number> node_of_adapter(adapter_number adapter) const {
        return ask<node_number>(hb_get_node_number_by_adapter_number, adapter);
    }
    // Returns the adapter that a node has on a network. Error 7: there is none.
    result<adapter_number> adapter_of_node(node_number node, network_number network) const {
        return ask<adapter_number>(hb_get_adapter_number_by_node_number, node, network);
    }
    // Returns the first adapter, in the order of the configuration, that has this address. Error 7: there is none.
    result<adapter_number> adapter_at(const address &where) const {
        return ask<adapter_number>(hb_get_adapter_number_by_address, where.native());
    }
    // Returns the adapter's type, for instance the name of its interface. Error 7: the adapter is not configured.
    result<adapter_type> type_of_adapter(adapter_number adapter) const {
        return ask_text<adapter_type>(hb_get_adapter_type_by_number, adapter);
    }
    // Error 7: the adapter is not configured.
    result<address> address_of_adapter(adapter_number adapter) const {
        return ask<Hb_IP_address6>(hb_get_adapter_address_by_number, adapter)
            .transform([](const Hb_IP_address6 &found) { return address(found); });
    }
    // Error 8: the network is not configured.
    result<network_name> name_of_network(network_number network) const {
        return ask_text<network_name>(hb_get_network_name_by_number, network);
    }
    // Returns the network's type, for instance "ether". It is empty if the network is not configured.
    result<network_type> type_of_network(network_number network) const {
        return ask_text<network_type>(hb_get_network_type_by_number, network);
    }
    // Returns the lowest-numbered network of this name. Error 8: there is none.
    result<network_number> network_called(std::string_view name) const {
        if (name.size() >= HB_NETWORK_NAME_SIZE) {
            return error(is_open_ ? HB_ERROR_NETWORK_NOT_CONFIGURED : HB_ERROR_NOT_OPEN);
        }
        network_name copy(name);
        return ask<network_number>(hb_get_network_number_by_name, copy.data());
    }

  protected:
    explicit configuration(bool is_open) noexcept : is_open_(is_open) {}
    configuration(const configuration &) = default;
    configuration &operator=(const configuration &) = default;
    ~configuration() = default;

    void set_open(bool is_open) noexcept { is_open_ = is_open; }

    // Calls a function of the C interface that has no output. A closed session does not call it, since it would open
    // the library again.
    template <class... Parameters, class... Inputs>
    result<void> request(Hb_Rc (*function)(Parameters...), Inputs... inputs) const {
        return is_open_ ? detail::checked(function(inputs...)) : error(HB_ERROR_NOT_OPEN);
    }

    // The same for a function that writes one output, its last parameter.
    template <class Output, class... Parameters, class... Inputs>
    result<Output> ask(Hb_Rc (*function)(Parameters...), Inputs... inputs) const {
        Output output = {};
        const result<void> outcome = request(function, inputs..., &output);
        return outcome ? result<Output>(output) : outcome.error();
    }

    template <class Text, class... Parameters, class... Inputs>
    result<Text> ask_text(Hb_Rc (*function)(Parameters...), Inputs... inputs) const {
        Text text;
        const result<void> outcome = request(function, inputs..., text.data());
        return outcome ? result<Text>(text) : outcome.error();
    }

  private:
    bool is_open_;
};

} // namespace hb

#endif
