// SPDX-License-Identifier: Apache-2.0
// hb/requests.hpp - hb::requests: what a program asks the daemon to do
#ifndef HB_REQUESTS_HPP
#define HB_REQUESTS_HPP

#include <chrono>
#include <limits>
#include <optional>

#include "hb/configuration.hpp"

namespace hb {

// The control requests of an hb::session: they inform the daemon, or ask it to act on an adapter of the local node.
//
// Errors of all: 16, 18, 21, 22 sending failed; 4 a number is out of range; not configured: 7 adapter, 9 node. A
// request about an adapter of another node fails with 4. The daemon acts only for root and its configured group: it
// rejects a request that has an answer (error 3 or 8), and ignores one that has none.
//
// An event that arrives before the answer is lost, and ends the call with error 10. A program that also reads events
// uses an hb::watcher for them, which has a connection of its own, or another process for the requests.
class requests : public configuration {
  public:
    // ---- Requests without an answer. They do not wait ----

    // Report that a node or an adapter may be down, or is down.
    result<void> node_may_be_down(node_number node) const { return request(hb_node_may_be_down, node); }
    result<void> node_is_down(node_number node) const { return request(hb_node_is_down, node); }
    result<void> adapter_may_be_down(adapter_number adapter) const {
        return request(hb_adapter_may_be_down, adapter);
    }
    result<void> adapter_is_down(adapter_number adapter) const { return request(hb_adapter_is_down, adapter); }

    // Include an adapter of this node in heartbeats, or exclude it.
    result<void> enable_adapter(adapter_number adapter) const { return request(hb_enable_adapter, adapter); }
    result<void> disable_adapter(adapter_number adapter) const { return request(hb_disable_adapter, adapter); }

    // Report that the interface of an adapter of this node was set down, or up.
    result<void> interface_set_down(adapter_number adapter) const { return request(hb_ifconfig_down, adapter); }
    result<void> interface_set_up(adapter_number adapter) const { return request(hb_ifconfig_up, adapter); }

    // Sends a sign of life of this program. Only the low 32 bits of the number are sent.
    result<void> heartbeat(unsigned long number) const { return request(hb_client_heartbeat, number); }

    // Puts a network interface module under manual control, or ends that. An empty name means all modules.
    result<void> control_module_manually(const char *name, bool enable) const {
        // The C interface does not write to it.
        return request(hb_nim_manual_start_control, enable ? HB_NIM_MANCTRL_ENABLE : HB_NIM_MANCTRL_DISABLED,
                       const_cast<char *>(name));
    }

    // Makes the daemon discard messages that waited too long, or keep them.
    result<void> discard_stale_messages(bool discard) const {
        return request(hb_discard_stale_messages, discard ? 1 : 0);
    }

    // Test hook: makes the daemon act as if it had slept for this long.
    result<void> simulate_death(std::chrono::seconds slept) const {
        return with_seconds(hb_simulate_death, slept);
    }

    // Asks the daemon to end after its configured delay.
    result<void> end_daemon_after_delay() const { return request(hb_mox_delayed_daemon_shutdown); }

    // ---- Requests with an answer. They wait at most 55 seconds ----
    //
    // Errors of all: 2 no answer in time, 3 rejected, 8 the daemon could not do it, 10 unexpected answer, 12 waiting
    // failed.

    // Gives an adapter of this node an IPv4 address, in network byte order. Also: 50 the address is in use, 51 the
    // adapter cannot use it.
    result<void> configure_adapter(adapter_number adapter, in_addr where) const {
        return request(hb_configure_adapter, adapter, where);
    }
    // Removes the adapter's address.
    result<void> unconfigure_adapter(adapter_number adapter) const {
        return request(hb_unconfigure_adapter, adapter);
    }
    // Makes the adapter exchange addresses with the adapter of this node that has the given one.
    result<void> swap_adapters(adapter_number adapter, in_addr where) const {
        return request(hb_swap_adapters, adapter, where);
    }
    // Returns the state that the daemon reports for an adapter of this node. A daemon that rejects the request gives
    // error 10 here, not 3.
    result<entity_state> state_of_adapter(adapter_number adapter) const {
        return ask<int>(hb_get_adapter_state, adapter).transform([](int state) { return entity_state{state}; });
    }

    // Asks the daemon not to consider an adapter of this node down for this long. Waits for the answer without limit.
    // Errors: 8 the daemon could not do it, 10, 12, 52 the time is out of range, 55 the adapter is down, 56 grace is
    // running already.
    result<void> give_grace(adapter_number adapter, std::chrono::seconds time) const {
        if (!is_open()) {
            return error(HB_ERROR_NOT_OPEN);
        }
        const auto seconds = seconds_of(time);
        return seconds ? request(hb_adapter_grace, adapter, *seconds) : error(HB_ERROR_GRACE_OUT_OF_RANGE);
    }

  protected:
    explicit requests(bool is_open) noexcept : configuration(is_open) {}
    requests(const requests &) = default;
    requests &operator=(const requests &) = default;
    ~requests() = default;

  private:
    // The C interface counts seconds in an int. A longer time must not become a short one.
    static std::optional<int> seconds_of(std::chrono::seconds time) noexcept {
        if (time.count() > std::numeric_limits<int>::max() || time.count() < std::numeric_limits<int>::min()) {
            return std::nullopt;
        }
        return static_cast<int>(time.count());
    }

    result<void> with_seconds(Hb_Rc (*function)(int), std::chrono::seconds time) const {
        const auto seconds = seconds_of(time);
        return seconds ? request(function, *seconds) : error(HB_ERROR_BAD_ARGUMENT);
    }
};

} // namespace hb

#endif
