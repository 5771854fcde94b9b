// SPDX-License-Identifier: Apache-2.0
// hb/watcher.hpp - hb::watcher: watches a cluster and reports each death and each join once
#ifndef HB_WATCHER_HPP
#define HB_WATCHER_HPP

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "hb/address.hpp"
#include "hb/numbers.hpp"
#include "hb/ranges.hpp"
#include "hb/report.hpp"
#include "hb/result.hpp"
#include "hb/text.hpp"
#include "hb/time.hpp"
#include "hb_watch.h"

namespace hb {

namespace detail {

// The steps over what a watch has configured. A null watch has nothing.
template <class Number, class Native, Native (*Next)(const Hb_Watch *, Native), Native NONE>
struct watched_steps {
    using value_type = Number;
    const Hb_Watch *watch = nullptr;

    bool first(Number &number, Hb_Cursor &position) const {
        return watch != nullptr && step(NONE, number, position);
    }
    bool next(Number &number, Hb_Cursor &position) const {
        return step(static_cast<Native>(number), number, position);
    }

  private:
    bool step(Native previous, Number &number, Hb_Cursor &position) const {
        const Native found = Next(watch, previous);
        if (found == NONE) {
            return false;
        }
        number = static_cast<Number>(found);
        position = static_cast<Hb_Cursor>(found) + 1;
        return true;
    }
};

} // namespace detail

using watched_nodes = range<detail::watched_steps<node_number, int, hb_watch_next_node, -1>>;
using watched_adapters =
    range<detail::watched_steps<adapter_number, Hb_Adapter_Number, hb_watch_next_adapter, 0xFFFFFFFF>>;
using watched_networks = range<detail::watched_steps<network_number, int, hb_watch_next_network, -1>>;

// How a watcher works. The object holds the defaults until they are changed.
//
//   socket_path      the daemon's socket; null: the path that hb_client.h describes under ENVIRONMENT
//   nodes, adapters  whether to report them; at least one of the two
//   check_interval   after this silence the watcher asks the daemon for a sign of life; default 1 s, 0: never
//   answer_timeout   without an answer for this time the daemon is considered unreachable, for example because it is
//                    suspended; default 3 s. After five times as long the watcher connects again
//   retry_min        pause before the first attempt to connect again; default 100 ms
//   retry_max        longest pause; default 5 s. Each pause is twice the last, and up to a tenth longer, at random
struct watch_options {
    watch_options() noexcept {
        Hb_Watch_Options defaults;
        hb_watch_default_options(&defaults);
        check_interval = std::chrono::milliseconds(defaults.check_interval);
        answer_timeout = std::chrono::milliseconds(defaults.answer_timeout);
        retry_min = std::chrono::milliseconds(defaults.retry_min);
        retry_max = std::chrono::milliseconds(defaults.retry_max);
    }

    const char *socket_path = nullptr;
    bool nodes = true;
    bool adapters = true;
    std::chrono::milliseconds check_interval;
    std::chrono::milliseconds answer_timeout;
    std::chrono::milliseconds retry_min;
    std::chrono::milliseconds retry_max;
};

// An adapter, as a watcher knows it.
struct watched_adapter {
    adapter_number number;
    node_number node;
    network_number network;
    entity_state state;
    hb::address address;
    adapter_type type;
};

// A network, as a watcher knows it.
struct watched_network {
    network_name name;
    network_type type;
};

// Learns from the node's daemon which nodes and adapters are up, and reports each death and each join once. It connects
// by itself, and again after every loss. After a loss it reports what differs from what it had reported. While it has no
// contact, it reports that, and does not guess.
//
//     hb::watcher watcher = hb::watcher::open().value();
//     while (hb::result<hb::report> report = watcher.wait()) {
//         if (const auto *died = std::get_if<hb::reports::node_died>(&*report)) {
//             std::printf("node %d died\n", died->node);
//         }
//     }
//
// It has its own connection: it neither uses nor disturbs an hb::session, except in cluster-event mode. It starts no
// thread, raises no SIGPIPE, and allocates nothing for a report. Use a watcher in one thread at a time. Link with
// -lhb_watch -lhb_client.
//
// It can be moved, but not copied. A watcher that was moved from is closed: it has no descriptor, reports nothing, and
// its waits fail with HB_ERROR_NOT_OPEN.
class watcher {
  public:
    // Begins to watch. Returns at once, whether a daemon runs or not: the first report says what was found.
    // Errors: EINVAL an option is out of range, ENAMETOOLONG the path is longer than 107 bytes, ENOMEM, EMFILE, ENFILE.
    static result<watcher> open(const watch_options &options = {}) {
        Hb_Watch_Options native;
        hb_watch_default_options(&native);
        native.socket_path = options.socket_path;
        native.what = (options.nodes ? std::uint32_t{HB_WATCH_NODES} : 0) |
                      (options.adapters ? std::uint32_t{HB_WATCH_ADAPTERS} : 0);
        if (!store(options.check_interval, native.check_interval) ||
            !store(options.answer_timeout, native.answer_timeout) ||
            !store(options.retry_min, native.retry_min) || !store(options.retry_max, native.retry_max)) {
            return error::of_system(EINVAL);
        }
        watcher opened(hb_watch_open(&native));
        return opened.is_open() ? result<watcher>(std::move(opened)) : error::of_system(errno);
    }

    // Returns whether the watcher is open: not closed and not moved from.
    bool is_open() const noexcept { return watch_ != nullptr; }

    // Ends the watch and closes its descriptors. A forked child may close its copy; the parent's watch continues.
    void close() noexcept { watch_.reset(); }

    // ---- Reports ----

    // Returns the descriptor to wait on for reading, with poll, epoll or an event library; -1 if closed. It stays the
    // same until the watcher is closed, and readable while a report is ready. Do not read, write or close it.
    int descriptor() const noexcept { return is_open() ? hb_watch_descriptor(watch_.get()) : -1; }

    // Returns the next report, or nothing if there is none now. Call it when the descriptor is readable.
    std::optional<report> next() {
        Hb_Watch_Report native;
        while (is_open() && hb_watch_next(watch_.get(), &native) == 1) {
            if (const std::optional<report> known = detail::report_of(native)) {
                return known;
            }
        }
        return std::nullopt;
    }

    // Waits for the next report, at most this long; a negative time is 0. Returns nothing when the time is over.
    // Errors: EINTR when a signal handler ran (error::is_interruption): wait again. HB_ERROR_NOT_OPEN: closed.
    template <class Rep, class Period>
    result<std::optional<report>> wait(std::chrono::duration<Rep, Period> time) {
        return wait_milliseconds(detail::milliseconds_of(time));
    }

    // Waits for the next report without limit. Errors: as wait() with a time.
    result<report> wait() {
        result<std::optional<report>> found = std::optional<report>();
        while (found && !found->has_value()) {
            found = wait_milliseconds(-1);
        }
        return found ? result<report>(**found) : found.error();
    }

    // ---- What is configured and up, as of the last report ----

    // Returns true after a report current, and until a report unreachable.
    bool is_current() const noexcept { return is_open() && hb_watch_is_current(watch_.get()) != 0; }

    // Returns the local node; nothing before the first configuration.
    std::optional<node_number> local_node() const noexcept {
        const int node = is_open() ? hb_watch_local_node(watch_.get()) : -1;
        return node >= 0 ? std::optional<node_number>(static_cast<node_number>(node)) : std::nullopt;
    }

    // Return the configured nodes, adapters and networks in ascending order. Do not continue an iteration over the next
    // report, or after the watcher was closed.
    watched_nodes nodes() const { return watched_nodes({watch_.get()}); }
    watched_adapters adapters() const { return watched_adapters({watch_.get()}); }
    watched_networks networks() const { return watched_networks({watch_.get()}); }

    // Return the state that was reported last. undefined means that it is not configured, not watched, or that nothing
    // is known yet.
    entity_state node_state(node_number node) const noexcept {
        return is_open() ? entity_state{hb_watch_node_state(watch_.get(), node)} : entity_state::undefined;
    }
    entity_state adapter_state(adapter_number adapter) const noexcept {
        return is_open() ? entity_state{hb_watch_adapter_state(watch_.get(), adapter)}
                         : entity_state::undefined;
    }

    // Returns an adapter; nothing if it is not configured.
    std::optional<watched_adapter> adapter(adapter_number number) const noexcept {
        Hb_Watch_Adapter found;
        if (!is_open() || hb_watch_adapter(watch_.get(), number, &found) == 0) {
            return std::nullopt;
        }
        return watched_adapter{
            found.number,           found.node,
            found.network,          entity_state{found.state},
            address(found.address), adapter_type(std::string_view(found.type, sizeof found.type))};
    }

    // Returns a network; nothing if it is not configured.
    std::optional<watched_network> network(network_number number) const noexcept {
        Hb_Network_Entry found;
        if (!is_open() || hb_watch_network(watch_.get(), number, &found) == 0) {
            return std::nullopt;
        }
        return watched_network{
            network_name(std::string_view(found.Hb_network_name, sizeof found.Hb_network_name)),
            network_type(std::string_view(found.Hb_network_type, sizeof found.Hb_network_type))};
    }

    // Returns the path of the daemon's socket; "" if closed. The text belongs to the watcher.
    const char *socket_path() const noexcept { return is_open() ? hb_watch_socket_path(watch_.get()) : ""; }

    // ---- Cluster-event mode ----

    // Moves the program from the daemon to the cluster service, and lets this watcher follow the service. It reports
    // what differs between the two. Opens the library and waits, as session::open does. From then on use no
    // event_source and no subscription. At most one watcher of a process can follow the service.
    // Errors: those of hb_init and of hb_migrate_to_mox_prep; the watcher and the program then stay with the daemon. If
    // only the last step fails, the errors are those of follow_service(), which can be called again.
    result<void> migrate() { return call(hb_watch_migrate); }

    // The same for a program that has already moved. Errors: those of hb_get_file_descriptor_array and hb_subscribe;
    // EINVAL the program is not in cluster-event mode, EBUSY another watcher follows the service, EALREADY this one
    // does, ENOMEM. The watcher then stays as it is.
    result<void> follow_service() { return call(hb_watch_follow_service); }

    // Returns the watch of the C interface, for its calls; null if closed. The watcher owns it.
    Hb_Watch *native() const noexcept { return watch_.get(); }

  private:
    struct watch_close {
        void operator()(Hb_Watch *watch) const noexcept { hb_watch_close(watch); }
    };

    explicit watcher(Hb_Watch *watch) noexcept : watch_(watch) {}

    // Writes an option in milliseconds. Returns false if it has no such value.
    static bool store(std::chrono::milliseconds time, std::int32_t &option) noexcept {
        if (time.count() < std::numeric_limits<std::int32_t>::min() ||
            time.count() > std::numeric_limits<std::int32_t>::max()) {
            return false;
        }
        option = static_cast<std::int32_t>(time.count());
        return true;
    }

    // Waits once. A report of an unknown kind counts as none.
    result<std::optional<report>> wait_milliseconds(int time) {
        if (!is_open()) {
            return error(HB_ERROR_NOT_OPEN);
        }
        Hb_Watch_Report native;
        const int found = hb_watch_wait(watch_.get(), &native, time);
        if (found < 0) {
            return error::of_system(errno);
        }
        return found == 1 ? detail::report_of(native) : std::optional<report>();
    }

    // The watch gives a value of errno for a wrong call of its own, and otherwise the library's number.
    result<void> call(Hb_Rc (*function)(Hb_Watch *)) {
        if (!is_open()) {
            return error(HB_ERROR_NOT_OPEN);
        }
        errno = 0;
        if (function(watch_.get()) == Hb_Success) {
            return {};
        }
        const int number = errno;
        const bool is_own = number == EINVAL || number == EBUSY || number == EALREADY || number == ENOMEM;
        return is_own ? error::of_system(number) : error::last();
    }

    std::unique_ptr<Hb_Watch, watch_close> watch_;
};

} // namespace hb

#endif
