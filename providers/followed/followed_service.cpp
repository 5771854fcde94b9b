// SPDX-License-Identifier: Apache-2.0
#include "providers/followed/followed_service.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <pthread.h>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "host/log.h"
#include "host/text.h"
#include "providers/service/service_lists.h"

namespace mox_followed {
namespace {

using mox_service::Event_Record;
using mox_service::Interface;
using mox_service::Monitor_Event;
using mox_service::Node;
using mox_service::Picture;

constexpr int NOTHING_HELD = -16;
constexpr int FAILED = -1;

constexpr std::array<std::string_view, 8> MONITORS = {"node_liveness", "adapter_liveness", "node_list",
                                                      PEER_LIVENESS,   "ip_change",        "cluster_reconfig",
                                                      "site_cfg",      "repos_disk"};

Followed_Service *installed = nullptr;

int fail(int error) {
    errno = error;
    return FAILED;
}

// Delays the cancellation of a thread until the end of the call. A thread cancelled during a call would lose an
// event.
class Uncancelled {
  public:
    Uncancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    Uncancelled(const Uncancelled &) = delete;
    Uncancelled &operator=(const Uncancelled &) = delete;
    ~Uncancelled() { pthread_setcancelstate(before_, nullptr); }

  private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

// Runs a call and returns its result. Exceptions must not reach the C callers of the service.
template <typename Call> int answer(Call call) {
    const Uncancelled guard;
    try {
        return call();
    } catch (const std::bad_alloc &) {
        return fail(ENOMEM);
    } catch (const std::exception &error) {
        wispd::log_error(wispd::text("cluster service: ", error.what()));
        return fail(EIO);
    }
}

template <typename Nodes> auto *find_node(Nodes &nodes, uint32_t number) {
    const auto found =
        std::find_if(nodes.begin(), nodes.end(), [&](const Node &node) { return node.number == number; });
    return found != nodes.end() ? &*found : nullptr;
}

} // namespace

// The functions of the installed table. Each holds the service's lock.
struct Entries {
    static Followed_Service &service() { return *installed; }

    static int get_cluster_info(const char *, qz_mox_cluster_info_t **info) {
        return answer([&] {
            const std::lock_guard lock(service().mutex_);
            service().begin_whole_reading();
            const Followed_Cluster &cluster = service().cluster_;
            if (!cluster.is_known()) {
                return fail(ENOTCONN);
            }
            *info = mox_service::make_cluster_info(cluster.name(), static_cast<uint32_t>(cluster.local_node()));
            return 0;
        });
    }
    static int get_node_info(const char *, qz_mox_node_info_t **list) {
        return give_list(list, [](const Picture &picture) { return mox_service::make_list(picture.nodes); });
    }
    static int get_node_info_after_event(const char *name, const qz_orb_event_metadata_t *,
                                         qz_mox_node_info_t **list) {
        return get_node_info(name, list);
    }
    static int get_net_intf_info(const char *, qz_mox_net_intf_info_t **list) {
        return give_list(list,
                         [](const Picture &picture) { return mox_service::make_list(picture.interfaces); });
    }
    static int get_net_intf_info_after_event(const char *name, const qz_orb_event_metadata_t *,
                                             qz_mox_net_intf_info_t **list) {
        return get_net_intf_info(name, list);
    }
    template <typename List, typename Make> static int give_list(List **list, Make make) {
        return answer([&] {
            const std::lock_guard lock(service().mutex_);
            service().check_before_list();
            if (!service().cluster_.is_known()) {
                return fail(ENOTCONN);
            }
            *list = make(service().picture());
            if constexpr (std::is_same_v<List, qz_mox_net_intf_info_t>) {
                // The interfaces are the last part of a complete reading.
                service().in_whole_reading_ = false;
            }
            return 0;
        });
    }

    template <typename List> static void release(List *list) { mox_service::free_list(list); }

    static int open_monitor(const char *name, int *fd) {
        return answer([&] {
            if (name == nullptr || std::find(MONITORS.begin(), MONITORS.end(), name) == MONITORS.end()) {
                return fail(ENOENT);
            }
            const std::lock_guard lock(service().mutex_);
            const int opened = service().open(name);
            if (opened < 0) {
                return FAILED;
            }
            *fd = opened;
            return 0;
        });
    }
    static int read_event(int fd, int category, qz_orb_event_metadata_t *event) {
        return answer([&] {
            const std::lock_guard lock(service().mutex_);
            const std::optional<Event_Record> read = service().read(fd, category);
            if (!read) {
                return NOTHING_HELD;
            }
            mox_service::make_event(*read, event);
            return 0;
        });
    }
    static void release_event(qz_orb_event_metadata_t *event) {
        if (event != nullptr) {
            const std::lock_guard lock(service().mutex_);
            mox_service::free_event(event);
            --service().events_out_;
        }
    }

    // No engine has sites.
    static constexpr qz_mox_service_t TABLE = {get_cluster_info,
                                               get_node_info,
                                               get_node_info_after_event,
                                               get_net_intf_info,
                                               get_net_intf_info_after_event,
                                               nullptr,
                                               nullptr,
                                               nullptr,
                                               release<qz_mox_cluster_info_t>,
                                               release<qz_mox_node_info_t>,
                                               release<qz_mox_net_intf_info_t>,
                                               open_monitor,
                                               read_event,
                                               release_event};
};

Followed_Service::Followed_Service(std::unique_ptr<wispd::Engine> engine, std::unique_ptr<Followed_Peers> peers)
    : engine_(std::move(engine)), peers_(std::move(peers)) {
    if (installed != nullptr) {
        throw std::logic_error("there is a cluster service over an engine already");
    }
    installed = this;
    qz_mox_install_service(&Entries::TABLE);
}

Followed_Service::~Followed_Service() {
    qz_mox_install_service(nullptr);
    installed = nullptr;
}

// Opens a monitor. Changes from before its opening are not reported on it.
int Followed_Service::open(const std::string &name) {
    in_whole_reading_ = false;
    if (events_out_ == 0) {
        check_engine_for_query();
    }
    if (!monitors_.any_open()) {
        // The first poll skips the links. Read them now; their states are not events of the new monitor.
        check_engine();
        configuration_ = cluster_.picture();
    }
    std::vector<int> sources = {engine_->descriptor()};
    if (name == PEER_LIVENESS && peers_) {
        sources.push_back(peers_->descriptor());
    }
    return monitors_.open(name, sources);
}

// ---- Polling the engine ----

void Followed_Service::check_engine() {
    const auto now = std::chrono::steady_clock::now();
    if (const std::optional<wispd::Engine_Step> step = engine_->advance(now)) {
        apply(*step);
    }
    if (peers_) {
        for (const Peer_Report &peer : peers_->advance(now, engine_->status())) {
            report(peer);
        }
    }
}

// Polls the engine. An engine that connects without waiting has no answer to the first poll, although its agents
// run. A program that loads the service and queries it at once still receives the cluster, because the query waits
// for the first step. After a wait without a cluster, queries fail at once for the same time.
void Followed_Service::check_engine_for_query() {
    check_engine();
    const std::chrono::milliseconds longest = engine_->time_to_connect();
    Time now = std::chrono::steady_clock::now();
    if (cluster_.is_known() || longest.count() == 0 || now < next_wait_) {
        return;
    }
    const Time latest = now + longest;
    while (!cluster_.is_known() && now < latest) {
        pollfd waiting = {engine_->descriptor(), POLLIN, 0};
        poll(&waiting, 1, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(latest - now).count()));
        check_engine();
        now = std::chrono::steady_clock::now();
    }
    next_wait_ = now + longest;
}

void Followed_Service::apply(const wispd::Engine_Step &step) {
    const Picture before = cluster_.picture();
    const std::vector<Monitor_Event> events = cluster_.apply(step);
    reported_.change(before, cluster_.picture(), events);
}

// Polls the engine, because a preparation or commit needs the current configuration. The library may still
// reject the preparation, so the configuration does not count as reported.
void Followed_Service::begin_whole_reading() {
    if (events_out_ == 0) {
        check_engine_for_query();
        // Read what the first poll skipped in order to report deaths and joins sooner.
        check_engine();
        in_whole_reading_ = true;
    }
}

void Followed_Service::check_before_list() {
    if (events_out_ == 0 && !monitors_.any_open()) {
        check_engine_for_query();
    }
}

// ---- Reporting peers ----

// Reports a change of a node's peer. The death of a node has its own event, which includes the death of its
// programs.
void Followed_Service::report(const Peer_Report &peer) {
    const Node *node = find_node(cluster_.picture().nodes, static_cast<uint32_t>(peer.node));
    const bool is_local = cluster_.is_known() && peer.node == cluster_.local_node();
    if (node == nullptr || is_local || (!peer.up && node->status != QZ_MOX_NODE_STATUS_UP)) {
        return;
    }
    Monitor_Event monitor_event{PEER_LIVENESS, {}};
    monitor_event.event.category = QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS;
    monitor_event.event.type = peer.up ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    monitor_event.event.name = peers_->name();
    monitor_event.event.node = node->number;
    monitors_.push(monitor_event.monitor, {0, 0, monitor_event.event, nullptr, 0});
}

// ---- Reading ----

std::optional<Event_Record> Followed_Service::read(int fd, int category) {
    in_whole_reading_ = false;
    check_engine();
    const std::optional<mox_service::Reading> reading = reported_.read(fd, category);
    if (!reading) {
        return std::nullopt;
    }
    ++events_out_;
    if (reading->event.is_reconfiguration) {
        configuration_ = cluster_.picture();
    }
    return reading->event;
}

Picture Followed_Service::picture() {
    const bool is_as_now = events_out_ > 0 || in_whole_reading_ || !monitors_.any_open();
    return is_as_now ? reported_.shown(cluster_.picture())
                     : reported_.shown(configuration_, cluster_.picture());
}

} // namespace mox_followed
